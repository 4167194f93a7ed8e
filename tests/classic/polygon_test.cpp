#include <gtest/gtest.h>

#include <climits>

#include "tests/classic/painting.h"
#include "tests/classic/shapes_model.h"

namespace {

using namespace classic_test;

TEST(ClassicPolygon, EqualsTheWalkAlongEveryEdge) {
  for (unsigned seed = 0; seed < 3000; ++seed) {
    SCOPED_TRACE(seed);
    PaintedTwins twins(seed / 2);
    Random& random = twins.random;
    const auto paint = [&](int left, int right, int y) {
      if (!twins.IsInvisible()) twins.PaintSpan(left, right, y);
    };
    Points points = AnyPoints(random, random.OneIn(4) ? random.Int(33, 90) : random.Int(0, 9));
    const int count = static_cast<int>(points.size());
    if (seed % 2) {
      twins.image->FillPolygon(points.data(), count);
      ScanEveryEdge(points, paint);
    } else {  // the rules hold for any outline; the widest row counts
      twins.image->FillPolygonConvex(points.data(), count);
      WalkEveryEdge(points, paint);
    }
    ASSERT_EQ(BytesOf(*twins.image), BytesOf(*twins.twin));
  }
}

/// Lets a single span be painted.
class OpenOffscreen : public KXOffscreen {
 public:
  using KXOffscreen::FillLineRowForPolygon;
};

TEST(ClassicPolygon, SpansHeedAreasOfImageAndMask) {
  OpenOffscreen image;
  KXOffscreen mask;
  image.Create(20, 2, 8, 0xFFFFFF, 1);
  mask.Create(40, 9, 1, 0, 1);
  mask.Lock();
  image.Lock();
  KXOffscreenCursor cursor(&image, 0, 1), maskCursor(&mask, 0, 7), below(&mask, 0, 9);
  tagRECT imageArea = {3, 0, 12, 2}, maskArea = {10, 0, 19, 9};
  image.SetClipMask(&mask, 0, 0, 2);
  image.FillLineRowForPolygon(-5, 99, cursor, below, nullptr, nullptr);
  image.FillLineRowForPolygon(-5, 99, cursor, maskCursor, &imageArea, &maskArea);
  for (int x = 0; x < 20; ++x) {
    EXPECT_EQ(image.Get8BitPixel(x, 1), x >= 5 && x < 10 ? 255 : 0) << x;
    EXPECT_EQ(image.Get8BitPixel(x, 0), 0);
  }
}

// Edges from end to end of the coordinates, with slopes that are exact.
TEST(ClassicPolygon, TakesAnyPoints) {
  constexpr int kSide = 64, kLow = INT_MIN, kHigh = INT_MAX;
  tagPOINT all[] = {{kLow, kLow}, {kHigh, kLow}, {kHigh, kHigh}, {kLow, kHigh}};
  tagPOINT steep[] = {{kLow, kLow}, {kHigh, kHigh}, {kLow, kHigh}};
  tagPOINT flat[] = {{kLow, kLow / 2}, {kHigh - 1, kHigh / 2}, {kLow, kHigh / 2}};
  KXOffscreen image;
  image.Create(kSide, kSide, 8, 0xFFFFFF, 1);
  image.FillPolygon(all, 4);  // not locked
  image.Lock();
  const auto count = [&] {
    const std::vector<BYTE> bytes = BytesOf(image);
    return std::count(bytes.begin(), bytes.end(), 255);
  };
  image.FillPolygon(nullptr, 4);
  image.FillPolygonConvex(nullptr, 4);
  image.FillPolygon(all, 0);
  image.FillPolygonConvex(all, -1);
  EXPECT_EQ(count(), 0);
  image.FillPolygonConvex(flat, 3);
  for (int y = 0; y < kSide; ++y) {
    for (int x = 0; x < kSide; ++x) {
      ASSERT_EQ(image.Get8BitPixel(x, y), x < 2 * y ? 255 : 0) << x << ", " << y;
    }
  }
  image.FillPolygonConvex(steep, 3);
  EXPECT_EQ(count(), 31 * 32 + 32 * 64 + 1);  // and the first pixel of all
  image.FillPolygon(steep, 3);
  image.FillPolygon(all, 4);
  EXPECT_EQ(count(), kSide * kSide);

  Random random(1);
  Points points;
  for (int i = 0; i < 100000; ++i) {
    points.push_back({static_cast<int>(random.Bits()), static_cast<int>(random.Bits())});
  }
  image.FillPolygon(points.data(), static_cast<int>(points.size()));
  image.FillPolygonConvex(points.data(), static_cast<int>(points.size()));
}

}  // namespace
