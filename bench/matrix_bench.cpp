// Points moved by a matrix beside the same sums in a plain loop.
#include <benchmark/benchmark.h>

#include <vector>

#include "bench/table.h"
#include "kxwcmn/core/matrix2d.h"

namespace {

using benchmark::State;

constexpr double kMatrix[] = {0.75, -0.5, 12.5, 0.25, 1.5, -7.25};

/// Moves every point by `move(point)`, and looks at one outside the clock: (500, 250) goes to
/// (262.5, 492.75).
template <class Point, class Move>
void MoveAll(State& state, const Move& move) {
  std::vector<Point> from;
  for (int i = 0; i < 1000000; ++i) from.emplace_back(i % 1000, i / 1000);
  std::vector<Point> to(from.size());
  for (auto _ : state) {
    for (std::size_t i = 0; i < from.size(); ++i) to[i] = move(from[i]);
    benchmark::DoNotOptimize(to.data());
    benchmark::ClobberMemory();
  }
  using Number = decltype(to[0].x);
  if (to[250500] != Point(static_cast<Number>(262.5), static_cast<Number>(492.75))) {
    state.SkipWithError("the point is wrong");
  }
}

template <class Point>
void ByMatrix(State& state) {
  const double* m = kMatrix;
  KXMatrix2D matrix(m[0], m[1], m[2], m[3], m[4], m[5], 0, 0, 1);
  benchmark::DoNotOptimize(matrix);
  MoveAll<Point>(state, [&](const Point& p) { return matrix.MultiplyPoint(p); });
}

/// Whole points are cut without a look at the ends of their range.
template <class Point>
void ByLoop(State& state) {
  double m[6];
  for (int i = 0; i < 6; ++i) m[i] = kMatrix[i];
  benchmark::DoNotOptimize(m);
  const double a = m[0], b = m[1], c = m[2], d = m[3], e = m[4], f = m[5];
  MoveAll<Point>(state, [=](const Point& p) {
    using Number = decltype(p.x);
    return Point(static_cast<Number>(a * p.x + b * p.y + c),
                 static_cast<Number>(d * p.x + e * p.y + f));
  });
}

const bool kAdded = [] {
  using kxw::bench::Add;
  Add("matrix on 1,000,000 points", 0.9, ByMatrix<KXPointD>, "a plain loop", ByLoop<KXPointD>);
  Add("matrix on 1,000,000 whole points", 0.9, ByMatrix<KXPoint>, "a loop that cannot saturate",
      ByLoop<KXPoint>);
  return true;
}();

}  // namespace
