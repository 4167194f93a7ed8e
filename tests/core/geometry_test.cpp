#include "kxwcmn/core/geometry.h"

#include <gtest/gtest.h>

#include <climits>
#include <type_traits>
#include <vector>

namespace {

struct Ints {
  using Point = KXPoint;
  using Size = KXSize;
  using Rect = KXRect;
};
struct Floats {
  using Point = KXPointF;
  using Size = KXSizeF;
  using Rect = KXRectF;
};
struct Doubles {
  using Point = KXPointD;
  using Size = KXSizeD;
  using Rect = KXRectD;
};

template <class T>
class Geometry : public testing::Test {};
using Precisions = testing::Types<Ints, Floats, Doubles>;
TYPED_TEST_SUITE(Geometry, Precisions);

// Meant: a size and a rectangle are the same whichever operator joins them; margins go outwards.
TYPED_TEST(Geometry, Operators) {
  using Point = typename TypeParam::Point;
  using Size = typename TypeParam::Size;
  using Rect = typename TypeParam::Rect;
  const Point p(10, 20);
  const Size s(3, 4);
  const Rect r(10, 20, 30, 50), margins(1, 2, 3, 4);
  EXPECT_EQ((p + s) * 3 / 3 - Point(1, 2), Point(12, 22));
  EXPECT_EQ(s - p, Point(-7, -16));
  static_assert(std::is_same_v<decltype(s - p), Point>);
  EXPECT_EQ(p + &r, Rect(20, 40, 40, 70));
  EXPECT_EQ(p - &r, Rect(0, 0, 20, 30));
  EXPECT_EQ(s + &r, Rect(13, 24, 33, 54));
  EXPECT_EQ(s - &r, Rect(13, 24, 33, 54));
  EXPECT_EQ(Rect(Point(10, 20), Size(20, 30)), r);
  EXPECT_EQ(r.Size(), Size(20, 30));
  EXPECT_EQ(r + Point(1, 2) - Point(2, 4), Rect(9, 18, 29, 48));
  EXPECT_EQ(r + Size(1, 2), Rect(11, 22, 31, 52));
  EXPECT_EQ(r - Size(1, 2), Rect(11, 22, 31, 52));
  EXPECT_EQ(Rect(r) -= Size(1, 2), Rect(9, 18, 29, 48));
  EXPECT_EQ(r + &margins, Rect(9, 18, 33, 54));
  EXPECT_EQ(r - &margins, Rect(11, 22, 27, 46));
  EXPECT_EQ(r * 2 / 4, Rect(5, 10, 15, 25));

  Rect moved(30, 50, 10, 20);
  moved.SwapLeftRight();
  EXPECT_EQ(moved, Rect(10, 50, 30, 20));
  moved.NormalizeRect();
  EXPECT_EQ(moved, r);
  moved.InflateRect(1, 2, 3, 4);
  moved.DeflateRect(Size(2, 2));
  EXPECT_EQ(moved, Rect(11, 20, 31, 52));
  Point corners[4];
  moved.SetPoint(corners);
  EXPECT_EQ(corners[1], Point(31, 20));
  EXPECT_EQ(corners[3], Point(11, 52));
}

TYPED_TEST(Geometry, SetOperationsKeepTheTargetWhenEmpty) {
  using Point = typename TypeParam::Point;
  using Rect = typename TypeParam::Rect;
  const Rect a(0, 0, 10, 10), b(5, -5, 20, 5), far(10, 0, 12, 3), none(4, 4, 4, 9);
  Rect r(1, 2, 3, 4);
  EXPECT_EQ(r.IntersectRect(a, far), 0);
  EXPECT_EQ(r.UnionRect(none, Rect(3, 0, 2, 9)), 0);
  EXPECT_EQ(r, Rect(1, 2, 3, 4));
  EXPECT_EQ(a & far, Rect());
  EXPECT_FALSE(a.IsIntersectRect(far));
  EXPECT_TRUE(a.IsIntersectRect(b));
  EXPECT_EQ(a & b, Rect(5, 0, 10, 5));
  EXPECT_EQ(a | b, Rect(0, -5, 20, 10));
  EXPECT_EQ(a | none, a);
  EXPECT_EQ(none | a, a);
  EXPECT_EQ(r.IntersectWithOffset(a, b, 5, -7), 1);
  EXPECT_EQ(r, Rect(0, 2, 10, 10));

  const Point p(12, -3);
  EXPECT_EQ(r.UnionRect(&p), 1);
  EXPECT_EQ(r, Rect(0, -3, 13, 10));
  Rect grown;  // a union would leave the empty rectangle out
  grown.UnionPoint(p);
  EXPECT_EQ(grown, Rect(0, -3, 13, 0));
  grown.UnionPoint(Point(13, 0));  // on the edges that are open
  EXPECT_EQ(grown, Rect(0, -3, 14, 1));

  EXPECT_TRUE(none.IsRectEmpty());
  EXPECT_FALSE(none.IsRectNull());
  EXPECT_TRUE(Rect().IsRectNull());
  EXPECT_TRUE(a.PtInRect(Point(0, 9)));
  EXPECT_FALSE(a.PtInRect(Point(10, 9)));
}

TYPED_TEST(Geometry, BoxesOfPoints) {
  using Point = typename TypeParam::Point;
  using Rect = typename TypeParam::Rect;
  Rect r;
  r.Pt2Rect(Point(5, 5), Point(5, 5));
  EXPECT_EQ(r, Rect(5, 5, 6, 6));
  r.Pt2Rect(Point(9, 1), Point(2, 3));
  EXPECT_EQ(r, Rect(2, 1, 9, 3));
  const Point negative[] = {{-5, -5}, {-1, -1}};
  r.PolygonBox(negative, 2);
  EXPECT_EQ(r, Rect(-5, -5, 0, 0));
  const Point mixed[] = {{3, 8}, {7, 2}};
  r.PolygonBox(mixed, 2);
  EXPECT_EQ(r, Rect(3, 2, 7, 8));
  r.PolygonBox(mixed, 0);
  EXPECT_GT(r.left, 9999998);
  EXPECT_EQ(r.right, 0);
  EXPECT_THROW(r.PolygonBox(nullptr, 1), KXException);
}

TEST(GeometryInt, TruncatesAndWraps) {
  EXPECT_EQ(KXPoint(7, -7) * 0.5, KXPoint(3, -3));
  EXPECT_EQ(KXPoint(7, -7) / 2, KXPoint(3, -3));
  EXPECT_EQ(KXPoint(5, 49) / 49.0, KXPoint(0, 0));  // 49 * (1 / 49.0) is just below 1
  EXPECT_EQ(KXPoint(2, -2) * 1e300, KXPoint(INT_MAX, INT_MIN));
  EXPECT_EQ(KXRect(-3, -3, 0, 2).CenterPoint(), KXPoint(-1, 0));
  EXPECT_EQ(KXRect(INT_MIN, 0, INT_MAX, INT_MIN).Size(), KXSize(-1, INT_MIN));
  EXPECT_EQ(KXPoint(INT_MAX, INT_MIN) + KXSize(1, -1), KXPoint(INT_MIN, INT_MAX));
  EXPECT_EQ(-KXPoint(INT_MIN, 1), KXPoint(INT_MIN, -1));
  EXPECT_EQ(KXPoint(INT_MIN, 6) / -1, KXPoint(INT_MIN, -6));
  EXPECT_EQ(KXPoint(INT_MAX, 1) * 2, KXPoint(-2, 2));
  EXPECT_THROW(KXPoint(1, 1) / 0, KXException);
  EXPECT_THROW(KXRect(1, 1, 2, 2) / 0, KXException);
  EXPECT_THROW(KXRect(static_cast<const tagRECT*>(nullptr)), KXException);
}

TEST(GeometryReal, EqualityHasATolerance) {
  EXPECT_EQ(KXPointF(1, 2), KXPointF(1.00005f, 2));
  EXPECT_NE(KXPointF(1, 2), KXPointF(1, 2.0002f));
  EXPECT_NE(KXPointD(1, 2), KXPointD(1.00005, 2));
  EXPECT_EQ(KXRectD(1, 2, 3, 4), KXRectD(1, 2, 3, 4 + 9e-9));
  EXPECT_NE(KXSizeD(0, 0), KXSizeD(0, 1e-8));
  EXPECT_TRUE(KXRectF(0, 0, 1e-6f, 1e-6f).PtInRect(KXPointF()));  // containment stays exact

  KXRectD r;
  r.Pt2Rect({2, 2}, {2 + 5e-9, 2 - 5e-9});  // only a slightly larger second is widened
  EXPECT_EQ(r.right, 3);
  EXPECT_EQ(r.bottom, 2);
}

TEST(GeometryReal, DividesByTheReciprocalInDoublePrecision) {
  KXPointD d(49, 5);
  d /= 49.0;
  EXPECT_EQ(d.x, 49.0 * (1.0 / 49.0));
  EXPECT_NE(d.x, 1.0);
  KXPointF f(49, 5);
  f /= 49.0f;
  EXPECT_EQ(f.x, 1.0f);
  EXPECT_EQ(KXRectF(1, 2, 3, 4).operator/(2).left, 0.5f);
}

TEST(CalcDestRect, FitsAndCentres) {
  const struct {
    KXRect src, dst, expected;
  } cases[] = {
      {{5, 5, 15, 25}, {0, 0, 10, 20}, {0, 0, 10, 20}},       // the same size
      {{0, 0, 20, 10}, {0, 0, 100, 100}, {0, 25, 100, 75}},   // full width
      {{0, 0, 20, 10}, {10, 0, 310, 50}, {110, 0, 210, 50}},  // wide target: full height
      {{0, 0, 10, 20}, {0, 0, 100, 100}, {25, 0, 75, 100}},   // full height
      {{0, 0, 10, 20}, {0, 0, 50, 300}, {-50, 0, 100, 300}},  // a high source overflows
      {{0, 0, 10, 20}, {0, 0, 300, 50}, {137, 0, 163, 50}},   // width 25 with an odd remainder
      {{0, 0, 20, 0}, {0, 0, 100, 100}, {0, 50, 100, 50}},    // nothing to fit
      {{0, 0, 0, 0}, {0, 0, 100, 50}, {0, 25, 100, 25}},
      {{0, 0, 3, 4}, {7, 7, 7, 7}, {7, 7, 7, 7}},
  };
  for (const auto& c : cases) {
    KXRect r;
    r.CalcDestRect(c.src, c.dst);
    EXPECT_EQ(r, c.expected) << r.left << " " << r.top << " " << r.right << " " << r.bottom;
  }
}

}  // namespace
