#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <map>
#include <utility>
#include <vector>

#include "kxwcmn/core/geometry.h"
#include "tests/classic/painting.h"

// Polygons against scans in which every edge is looked at in every row.

namespace {

using namespace classic_test;
using Points = std::vector<tagPOINT>;

tagPOINT Next(const Points& points, std::size_t i) { return points[(i + 1) % points.size()]; }

void PaintHorizontalEdges(PaintedTwins& twins, const Points& points) {
  for (std::size_t i = 0; i < points.size(); ++i) {
    const tagPOINT p = points[i], q = Next(points, i);
    if (p.y == q.y) twins.PaintSpan(std::min(p.x, q.x), std::max(p.x, q.x), p.y);
  }
}

void ScanPlainly(PaintedTwins& twins, const Points& points) {
  struct Edge {
    int top, bottom;
    double x, slope;
  };
  std::vector<Edge> edges;
  int first = INT_MAX, last = INT_MIN;
  for (std::size_t i = 0; i < points.size(); ++i) {
    const tagPOINT p = points[i], q = Next(points, i);
    if (p.y == q.y) continue;
    const tagPOINT upper = p.y < q.y ? p : q;
    edges.push_back(
        {upper.y, std::max(p.y, q.y), double(upper.x), (double(p.x) - q.x) / (double(p.y) - q.y)});
    first = std::min(first, upper.y);
    last = std::max(last, edges.back().bottom);
  }
  for (int y = first; y < last; ++y) {
    std::vector<double> row;
    for (Edge& edge : edges) {
      if (edge.top > y || y >= edge.bottom) continue;
      row.insert(std::upper_bound(row.begin(), row.end(), edge.x), edge.x);
      edge.x += edge.slope;
    }
    for (std::size_t i = 0; i + 1 < row.size(); i += 2) {
      twins.PaintSpan(int(row[i] + 0.5), int(row[i + 1] + 0.5), y);
    }
  }
  PaintHorizontalEdges(twins, points);
}

/// Columns by row of one edge: Bresenham's walk, of which the first column of each row counts, and
/// the end in the last one.
std::vector<int> Walk(tagPOINT upper, tagPOINT lower) {
  const int dx = std::abs(lower.x - upper.x), dy = lower.y - upper.y;
  const int step = lower.x < upper.x ? -1 : 1;
  std::vector<int> columns{upper.x};
  int x = upper.x;
  if (dx < dy || dx == dy) {
    for (int error = 2 * dx - dy; int(columns.size()) <= dy; columns.push_back(x)) {
      if (error >= 0) x += step;
      error += error >= 0 ? 2 * dx - 2 * dy : 2 * dx;
    }
  } else {
    for (int error = 2 * dy - dx; int(columns.size()) <= dy;) {
      x += step;
      if (error >= 0) columns.push_back(x);
      error += error >= 0 ? 2 * dy - 2 * dx : 2 * dy;
    }
  }
  columns.back() = lower.x;
  return columns;
}

void ScanConvexPlainly(PaintedTwins& twins, const Points& points) {
  std::map<int, std::pair<int, int>> rows;
  for (std::size_t i = 0; i < points.size(); ++i) {
    const tagPOINT p = points[i], q = Next(points, i);
    if (p.y == q.y) continue;
    int y = std::min(p.y, q.y);
    for (int x : p.y < q.y ? Walk(p, q) : Walk(q, p)) {
      const auto [row, isNew] = rows.insert({y++, {x, x}});
      row->second = {std::min(row->second.first, x), std::max(row->second.second, x)};
    }
  }
  for (const auto& [y, span] : rows) twins.PaintSpan(span.first, span.second, y);
  PaintHorizontalEdges(twins, points);
}

Points AnyPoints(Random& random, int count) {
  const int reach = random.OneIn(3) ? 400 : random.OneIn(2) ? 4 : 60;
  const int x = random.Int(-20, 150), y = random.Int(-20, 110);
  Points points;
  for (int i = 0; i < count; ++i) {
    points.push_back({x + random.Int(-reach, reach), y + random.Int(-reach, reach)});
    if (i > 0 && random.OneIn(4)) points.back().y = points[std::size_t(i) - 1].y;
  }
  return points;
}

TEST(ClassicPolygon, EqualsAScanOfEveryEdge) {
  for (unsigned seed = 0; seed < 1500; ++seed) {
    SCOPED_TRACE(seed);
    PaintedTwins twins(seed);
    Random& random = twins.random;
    Points points = AnyPoints(random, random.OneIn(4) ? random.Int(33, 90) : random.Int(0, 9));
    twins.image->FillPolygon(points.data(), int(points.size()));
    if (!twins.IsInvisible()) ScanPlainly(twins, points);
    ASSERT_EQ(BytesOf(*twins.image), BytesOf(*twins.twin));
  }
}

TEST(ClassicPolygon, ConvexOnesEqualAWalkAlongEveryEdge) {
  for (unsigned seed = 0; seed < 1500; ++seed) {
    SCOPED_TRACE(seed);
    PaintedTwins twins(seed);
    Random& random = twins.random;
    // The rules hold for any outline; the widest row counts.
    Points points = AnyPoints(random, random.OneIn(9) ? 65 : random.Int(0, 6));
    twins.image->FillPolygonConvex(points.data(), int(points.size()));
    if (!twins.IsInvisible()) ScanConvexPlainly(twins, points);
    ASSERT_EQ(BytesOf(*twins.image), BytesOf(*twins.twin));
  }
}

/// Lets a single span be painted.
class OpenOffscreen : public KXOffscreen {
 public:
  using KXOffscreen::FillLineRowForPolygon;
};

// With a mask of two columns and rows that cover two pixels each, checkered from the top left on.
TEST(ClassicPolygon, ACoarseMaskIsReadAtTheStartOfEachSpan) {
  KXOffscreen image, mask;
  image.Create(5, 4, 8, 0xFFFFFF, 1);
  mask.Create(2, 2, 1, 0xFFFFFF, 1);
  mask.Lock();
  mask.Set1BitPixel(1, 0, 0);
  mask.Set1BitPixel(1, 1, 1);
  image.Lock();
  image.SetClipMask(&mask, 1, 0, -2);
  tagPOINT points[] = {{0, 0}, {4, 0}, {4, 3}, {0, 3}};
  image.FillPolygon(points, 4);
  EXPECT_EQ(image.Get32BitPixel(0, 0), 0xFFFFFFFF);
  for (int x = 1; x < 5; ++x) {
    for (int y = 0; y < 4; ++y) EXPECT_EQ(image.Get8BitPixel(x, y), y < 2 ? 255 : 0) << x << y;
  }
}

// Meant: what is mixed into red is the pixel's alpha, and so on.
TEST(ClassicPolygon, MixesAt32BitsWithTheChannelBefore) {
  OpenOffscreen image;
  image.Create(3, 1, 32, 0x40302010, 1);
  image.Lock();
  image.SetForeColor(DWORD{0x00A0B0C0});
  image.SetTransparency(51);  // a fifth
  KXOffscreenCursor cursor(&image, 0, 0);
  image.FillLineRowForPolygon(1, 1, cursor, cursor, nullptr, nullptr);
  EXPECT_EQ(cursor.GetX(), 1);
  // 0x40 * 0.8 + 0xC0 * 0.2 = 89.6, 0x10 * 0.8 + 0xB0 * 0.2 = 48, 0x20 * 0.8 + 0xA0 * 0.2 = 57.6
  EXPECT_EQ(image.Get32BitPixel(1, 0), 0xFF393059);
  EXPECT_EQ(image.Get32BitPixel(0, 0), 0x40302010u);
}

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
