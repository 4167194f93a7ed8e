#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <vector>

#include "kxwcmn/drawing/polygonscan_internal.h"
#include "kxwcmn/platform/number.h"
#include "tests/drawing/drawing_support.h"

// Polygons against the plain scan: every edge is looked at in every row.

namespace {

using namespace testing_kxw;

constexpr int kBreak = 0x7FFFFFFF;

TEST(Polygon, EdgesFromFarAboveAreSummedRowByRow) {
  for (unsigned seed = 0; seed < 8000; ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    const int dx = random.Int(-(1 << random.Int(0, 30)), 1 << random.Int(0, 30));
    const double slope = double(dx) / random.Int(1, 1 << random.Int(0, 30));
    const double start = random.Int(-(1 << random.Int(0, 30)), 1 << random.Int(0, 30));
    const int rows = random.Int(0, 1 << random.Int(0, 18));
    double sum = start;
    for (int i = 0; i < rows; ++i) sum += slope;
    ASSERT_EQ(kxw::AddRepeatedly(start, slope, rows), sum);
  }
}

/// Calls `op(y, first, last, isHorizontalEdge)` for the spans of `rows`, as they come.
template <class Op>
void ScanPlainly(const std::vector<KXPoint>& points, bool breaks, bool closed, const KXRect& rows,
                 Op op) {
  struct Edge {
    double x, slope;
    int top, bottom;
  };
  std::vector<Edge> edges;
  int last = 0, first = INT_MAX;
  for (std::size_t i = 0; i < points.size(); ++i) {
    const KXPoint p = points[i], q = points[(i + 1) % points.size()];
    if (p.y == q.y || (breaks && (p.y == kBreak || q.y == kBreak))) continue;
    const KXPoint upper = p.y < q.y ? p : q;
    edges.push_back(
        {double(upper.x), (double(p.x) - q.x) / (double(p.y) - q.y), upper.y, std::max(p.y, q.y)});
    first = std::min(first, upper.y);
    last = std::max(last, edges.back().bottom);
  }
  for (int y = first; y <= last && y < rows.bottom; ++y) {
    std::vector<double> row;
    for (Edge& edge : edges) {
      if (edge.top > y || y >= edge.bottom) continue;
      row.insert(std::upper_bound(row.begin(), row.end(), edge.x), edge.x);
      edge.x += edge.slope;
    }
    if (y < rows.top) continue;
    for (std::size_t i = 0; i + 1 < row.size(); i += 2) {
      op(y, qmDouble2Int(row[i]), qmDouble2Int(row[i + 1]) - (closed ? 0 : 1), false);
    }
  }
  for (std::size_t i = 0; closed && i < points.size(); ++i) {
    const KXPoint p = points[i], q = points[(i + 1) % points.size()];
    if (p.y == q.y && p.y >= std::max(rows.top, 0) && p.y < rows.bottom) {
      op(p.y, std::min(p.x, q.x), std::max(p.x, q.x), true);
    }
  }
}

/// Outlines of all sizes around an image of 300 by 280; with `breaks` two closed ones.
std::vector<KXPoint> AnyOutline(Random& random, bool breaks) {
  const int reach = random.OneIn(3) ? 2000 : random.OneIn(3) ? 30 : 120;
  // Some have more crossings in a row than are painted at once.
  const int count = random.OneIn(99)  ? 5000
                    : random.OneIn(4) ? random.Int(33, 200)
                                      : random.Int(0, 9);
  std::vector<KXPoint> points;
  for (int outline = 0; outline < (breaks ? 2 : 1); ++outline) {
    const int x = random.Edge(0, 300), y = random.Edge(0, 280);
    const std::size_t start = points.size();
    for (int i = 0; i < count; ++i) {
      points.emplace_back(x + random.Int(-reach, reach), y + random.Int(-reach, reach));
      if (i > 0 && random.OneIn(4)) points.back().y = points[points.size() - 2].y;
    }
    if (!breaks || points.empty()) continue;
    points.push_back(points[start]);
    points.emplace_back(random.Int(-9, 9), kBreak);
  }
  return points;
}

TEST(Polygon, EqualsAScanOfEveryEdge) {
  for (unsigned seed = 0; seed < 500; ++seed) {
    SCOPED_TRACE(seed);
    Twins t(seed);
    const std::vector<KXPoint> points = AnyOutline(t.random, t.random.OneIn(4));
    const bool closed = t.random.OneIn(2);
    t.fast->FillPolygon64(points.data(), int(points.size()), t.clip, t.color, closed);
    KXVOffscreenAutoLock lock(t.plain.get(), 1);
    ScanPlainly(points, true, closed, t.plain->GetRect(), [&](int y, int a, int b, bool isEdge) {
      // The rows of the clip limit horizontal edges alone.
      if (isEdge && (y < t.bounds.top || y >= t.bounds.bottom)) return;
      t.plain->MoveCursor(-1, y);
      t.plain->FillLineRowForPolygon64(std::max(a, t.bounds.left),
                                       int(std::min<i64>(b, i64(t.bounds.right) - 1)), t.color, 0,
                                       nullptr, 0, nullptr);
    });
    ASSERT_TRUE(t.Agree());
  }
}

/// What a search finds in the pixel under the cursor.
int StrengthOf(KXVOffscreen& o) {
  const int bits = o.GetBitCount();
  if (bits < 8) return (bits == 1 ? o.Get1BitColor() : o.Get2BitColor()) ? 255 : 0;
  if (bits == 8) return o.Get8BitColor();
  if (bits == 24) return int(o.Get24BitColor() & 255);
  return bits == 64 ? int(o.Get64BitColor() >> 48) : int(o.Get32BitColor() >> 24);
}

TEST(Polygon, SearchEqualsAScanOfEveryEdge) {
  int found = 0;
  for (unsigned seed = 0; seed < 400; ++seed) {
    Random random(seed);
    SCOPED_TRACE(seed);
    const ImagePtr image = MakeImage(kAllDepths[seed % 7], 300, 280, 72, RoomyManager());
    ForEachPixel(*image, KXRect(0, 0, 256, 256), [&](int, int) {
      if (random.OneIn(90)) image->Set32BitColor(Narrowed(AnyColor(random)) >> 1);
    });
    const std::vector<KXPoint> points = AnyOutline(random, false);
    KXRect box;
    for (std::size_t i = 0; i < points.size(); ++i) {
      const KXRect point(points[i].x, points[i].y, points[i].x + 1, points[i].y + 1);
      box = i ? box | point : point;
    }
    tagRECT blocks;
    int strongest = 0;
    if (image->GetExtentBlock(blocks) && !(box = box & KXRect(blocks)).IsRectEmpty()) {
      KXVOffscreenAutoLock lock(image.get(), 0);
      ScanPlainly(points, false, true, box, [&](int y, int a, int b, bool) {
        for (int x = std::max(a, box.left); x <= std::min(b, box.right - 1); ++x) {
          image->MoveCursor(x, y);
          strongest = std::max(strongest, StrengthOf(*image));
        }
      });
    }
    found += strongest > 0;
    EXPECT_EQ(image->SearchPolygon(points.data(), int(points.size())), std::min(strongest, 255));
  }
  EXPECT_GT(found, 50);
}

int PixelsOf(KXVOffscreen& image) {
  int count = 0;
  ForEachPixel(image, image.GetRect(), [&](int, int) { count += image.Get8BitColor() != 0; });
  return count;
}

TEST(Polygon, FewPointsHorizontalEdgesAndTheClipsRows) {
  struct {
    std::vector<KXPoint> points;
    int closed, painted;
  } const cases[] = {
      {{}, 1, 0},
      {{{5, 5}}, 1, 1},
      {{{5, 5}, {9, 5}}, 0, 0},
      {{{9, 5}, {5, 5}}, 1, 5},
      {{{5, 5}, {5, 9}}, 1, 4},
      {{{10, 10}, {20, 10}, {20, 20}, {10, 20}}, 0, 100},
      {{{10, 10}, {20, 10}, {20, 20}, {10, 20}}, 1, 121},
  };
  for (const auto& c : cases) {
    const ImagePtr image = MakeImage(8, 100, 100);
    image->FillPolygon(c.points.data(), int(c.points.size()), nullptr, 0xFF000000, c.closed);
    EXPECT_EQ(PixelsOf(*image), c.painted);
    if (c.painted != 121) continue;
    // The clip's rows hold back nothing but horizontal edges.
    image->DestroyAllBlock();
    tagRECT clip{12, 15, 15, 16};
    image->FillPolygon(c.points.data(), 4, &clip, 0xFF000000, 1);
    EXPECT_EQ(PixelsOf(*image), 30);
    image->FillPolygon(nullptr, 4, nullptr, 0xFF000000, 1);
    image->FillPolygon(c.points.data(), -1, nullptr, 0xFF000000, 1);
    EXPECT_EQ(PixelsOf(*image), 30);
  }
}

TEST(Polygon, CoordinatesAtTheEndsOfTheirRange) {
  const ImagePtr image = MakeImage(8, 100, 100);
  const KXPoint huge[] = {
      {INT_MIN, INT_MIN}, {INT_MAX, INT_MIN}, {INT_MAX, INT_MAX - 1}, {INT_MIN, INT_MAX - 1}};
  image->FillPolygon(huge, 4, nullptr, 0xFF000000, 1);
  EXPECT_EQ(PixelsOf(*image), 100 * 100);
  EXPECT_EQ(image->SearchPolygon(huge, 4), 255);
  // A slanted edge from far above comes to the columns of its exact line.
  image->DestroyAllBlock();
  const KXPoint slanted[] = {{-2000000000, -2000000000}, {100, 100}, {-2000000000, 100}};
  image->FillPolygon(slanted, 3, nullptr, 0xFF000000, 0);
  EXPECT_EQ(PixelsOf(*image), 100 * 99 / 2);
  // The 64-bit depth has no spans of a narrow colour.
  const ImagePtr deep = MakeImage(64, 100, 100);
  deep->FillPolygon(huge, 4, nullptr, 0xFF000000, 1);
  EXPECT_FALSE(deep->GetBlockExist(0));
  // As many crossings change places in one row as can.
  std::vector<KXPoint> zigzag;
  for (int i = 0; i < 100000; ++i) zigzag.emplace_back(i * 7919 % 100003, i % 2 ? 90 : 88);
  image->FillPolygon(zigzag.data(), int(zigzag.size()), nullptr, 0xFF000000, 0);
}

}  // namespace
