#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <vector>

#include "kxwcmn/platform/number.h"
#include "tests/drawing/drawing_support.h"

// Polygons against the plain scan: every edge is looked at in every row.

namespace {

using namespace testing_kxw;

constexpr int kBreak = 0x7FFFFFFF;

/// Calls `op(y, a, b)` for the spans of `rows`, as they come.
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
      op(y, qmDouble2Int(row[i]), qmDouble2Int(row[i + 1]) - (closed ? 0 : 1));
    }
  }
  for (std::size_t i = 0; closed && i < points.size(); ++i) {
    const KXPoint p = points[i], q = points[(i + 1) % points.size()];
    if (p.y == q.y && p.y >= std::max(rows.top, 0) && p.y < rows.bottom) {
      op(-1 - p.y, std::min(p.x, q.x), std::max(p.x, q.x));  // marked as horizontal
    }
  }
}

/// Outlines of all sizes around an image of 300 by 280; with `breaks` two closed ones.
std::vector<KXPoint> AnyOutline(Random& random, bool breaks) {
  const int reach = random.OneIn(3) ? 2000 : random.OneIn(3) ? 30 : 120;
  const int count = random.OneIn(4) ? random.Int(33, 200) : random.Int(0, 9);
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
    Random random(seed);
    const int bits = kAllDepths[seed % 7];
    SCOPED_TRACE(testing::Message() << bits << " bits, seed " << seed);
    const ImagePtr fast = Scribbled(bits, 300, 280, seed), plain = Scribbled(bits, 300, 280, seed);
    const std::vector<KXPoint> points = AnyOutline(random, random.OneIn(4));
    KXRect clip = AnyRect(random, 300, 280);
    const bool hasClip = random.OneIn(2), closed = random.OneIn(2);
    const u64 color = AnyColor64(random);
    fast->FillPolygon64(points.data(), int(points.size()), hasClip ? &clip : nullptr, color,
                        closed);
    KXVOffscreenAutoLock lock(plain.get(), 1);
    ScanPlainly(points, true, closed, plain->GetRect(), [&](int y, int a, int b) {
      if (y < 0) {
        y = -1 - y;
        if (hasClip && (y < clip.top || y >= clip.bottom)) return;
      }
      if (hasClip) {
        // The rows of the clip limit horizontal edges alone.
        a = std::max(a, clip.left);
        b = int(std::min<i64>(b, i64(clip.right) - 1));
      }
      plain->MoveCursor(-1, y);
      plain->FillLineRowForPolygon64(a, b, color, 0, nullptr, 0, nullptr);
    });
    ASSERT_TRUE(BytesOf(*fast) == BytesOf(*plain));
  }
}

TEST(Polygon, SearchEqualsAScanOfEveryEdge) {
  int found = 0;
  for (unsigned seed = 0; seed < 400; ++seed) {
    Random random(seed);
    const int bits = kAllDepths[seed % 7];
    SCOPED_TRACE(testing::Message() << bits << " bits, seed " << seed);
    const ImagePtr image = MakeImage(bits, 300, 280, 72, RoomyManager());
    ForEachPixel(*image, image->GetRect(), [&](int x, int y) {
      if (x < 256 && y < 256 && random.OneIn(90)) image->Set32BitColor(AnyColor(random) >> 1);
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
      ScanPlainly(points, false, true, box, [&](int y, int a, int b) {
        image->MoveCursor(-1, y < 0 ? -1 - y : y);
        strongest = std::max(strongest, image->SearchLineRowForPolygon(std::max(a, box.left),
                                                                       std::min(b, box.right - 1)));
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

TEST(Polygon, FewPointsAndHorizontalEdges) {
  const ImagePtr image = MakeImage(8, 100, 100);
  const auto painted = [&](std::vector<KXPoint> points, int count, int closed, tagRECT* clip) {
    image->DestroyAllBlock();
    image->FillPolygon(points.empty() ? nullptr : points.data(), count, clip, 0xFF000000, closed);
    return PixelsOf(*image);
  };
  EXPECT_EQ(painted({}, 3, 1, nullptr), 0);
  EXPECT_EQ(painted({{5, 5}}, -1, 1, nullptr), 0);
  EXPECT_EQ(painted({{5, 5}}, 1, 1, nullptr), 1);
  EXPECT_EQ(painted({{5, 5}, {9, 5}}, 2, 0, nullptr), 0);
  EXPECT_EQ(painted({{9, 5}, {5, 5}}, 2, 1, nullptr), 5);
  EXPECT_EQ(painted({{5, 5}, {5, 9}}, 2, 1, nullptr), 4);
  const std::vector<KXPoint> square = {{10, 10}, {20, 10}, {20, 20}, {10, 20}};
  EXPECT_EQ(painted(square, 4, 0, nullptr), 100);
  EXPECT_EQ(painted(square, 4, 1, nullptr), 121);
  // The clip's rows hold back nothing but horizontal edges.
  tagRECT clip{12, 15, 15, 16};
  EXPECT_EQ(painted(square, 4, 1, &clip), 30);
  EXPECT_EQ(image->GetLockCount(), 0u);
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
  // As many crossings change places in one row as can.
  std::vector<KXPoint> zigzag;
  for (int i = 0; i < 100000; ++i) zigzag.emplace_back(i * 7919 % 100003, i % 2 ? 90 : 88);
  image->FillPolygon(zigzag.data(), int(zigzag.size()), nullptr, 0xFF000000, 0);
}

}  // namespace
