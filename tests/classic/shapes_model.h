#pragma once

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <map>
#include <utility>
#include <vector>

#include "kxwcmn/core/geometry.h"
#include "tests/classic/support.h"

// Lines and polygons by the walks that define them, with every edge looked at in every row. Spans
// come with both ends, where they lie.

namespace classic_test {

using Points = std::vector<KXPoint>;

/// Outlines around and beyond pictures of the tests' sizes, with edges along the rows.
inline Points AnyPoints(Random& random, int count) {
  const int reach = random.OneIn(3) ? 400 : random.OneIn(2) ? 4 : 60;
  const int x = random.Int(-20, 150), y = random.Int(-20, 110);
  Points points;
  for (int i = 0; i < count; ++i) {
    points.push_back({x + random.Int(-reach, reach), y + random.Int(-reach, reach)});
    if (i > 0 && random.OneIn(4)) points.back().y = points[std::size_t(i) - 1].y;
  }
  return points;
}

/// The edges of a closed outline, each from its upper end, without those that meet a break.
inline std::vector<std::pair<KXPoint, KXPoint>> EdgesOf(const Points& points) {
  std::vector<std::pair<KXPoint, KXPoint>> edges;
  for (std::size_t i = 0; i < points.size(); ++i) {
    const KXPoint p = points[i], q = points[(i + 1) % points.size()];
    if (p.y == INT_MAX || q.y == INT_MAX) continue;
    edges.push_back(p.y < q.y ? std::pair{p, q} : std::pair{q, p});
  }
  return edges;
}

template <class Span>
void PaintHorizontalEdges(const Points& points, Span paint) {
  for (const auto& [p, q] : EdgesOf(points)) {
    if (p.y == q.y) paint(std::min(p.x, q.x), std::max(p.x, q.x), p.y);
  }
}

template <class Span>
void ScanEveryEdge(const Points& points, Span paint) {
  std::vector<std::pair<KXPoint, KXPoint>> edges = EdgesOf(points);
  std::vector<double> x;
  int first = INT_MAX, last = INT_MIN;
  for (const auto& [upper, lower] : edges) {
    x.push_back(upper.x);
    if (upper.y == lower.y) continue;
    first = std::min<int>(first, upper.y);
    last = std::max<int>(last, lower.y);
  }
  for (int y = first; y < last; ++y) {
    std::vector<double> row;
    for (std::size_t i = 0; i < edges.size(); ++i) {
      const auto& [upper, lower] = edges[i];
      if (upper.y > y || y >= lower.y) continue;
      row.insert(std::upper_bound(row.begin(), row.end(), x[i]), x[i]);
      x[i] += (double(upper.x) - lower.x) / (double(upper.y) - lower.y);
    }
    if (row.empty()) break;  // the scan ends there
    for (std::size_t i = 0; i + 1 < row.size(); i += 2) {
      paint(int(row[i] + 0.5), int(row[i + 1] + 0.5), y);
    }
  }
  PaintHorizontalEdges(points, paint);
}

/// The pixels of a line, from its first point on.
inline Points WalkLine(KXPoint from, KXPoint to) {
  const int dx = std::abs(to.x - from.x), dy = std::abs(to.y - from.y);
  const int stepX = to.x < from.x ? -1 : 1, stepY = to.y < from.y ? -1 : 1;
  const int major = std::max(dx, dy), minor = std::min(dx, dy);
  Points pixels{from};
  for (int d = 2 * minor - major; int(pixels.size()) <= major;) {
    const bool stepsAside = d >= 0;
    d += stepsAside ? 2 * (minor - major) : 2 * minor;
    if (dx >= dy || stepsAside) from.x += stepX;
    if (dx < dy || stepsAside) from.y += stepY;
    pixels.push_back(from);
  }
  return pixels;
}

/// Of the line of each edge, the pixel where it comes to a row counts, but in its last row its end.
template <class Span>
void WalkEveryEdge(const Points& points, Span paint) {
  std::map<int, std::pair<int, int>> rows;
  for (const auto& [upper, lower] : EdgesOf(points)) {
    if (upper.y == lower.y) continue;
    int last = INT_MIN;
    for (KXPoint p : WalkLine(upper, lower)) {
      if (std::exchange(last, p.y) == p.y) continue;
      const int x = p.y == lower.y ? lower.x : p.x;
      const auto [row, isNew] = rows.insert({p.y, {x, x}});
      row->second = {std::min(row->second.first, x), std::max(row->second.second, x)};
    }
  }
  for (const auto& [y, span] : rows) paint(span.first, span.second, y);
  PaintHorizontalEdges(points, paint);
}

}  // namespace classic_test
