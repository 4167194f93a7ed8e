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
template <class Move>
void MoveAll(State& state, const Move& move) {
  std::vector<KXPointD> from;
  for (int i = 0; i < 1000000; ++i) from.emplace_back(i % 1000, i / 1000);
  std::vector<KXPointD> to(from.size());
  for (auto _ : state) {
    for (std::size_t i = 0; i < from.size(); ++i) to[i] = move(from[i]);
    benchmark::DoNotOptimize(to.data());
    benchmark::ClobberMemory();
  }
  if (to[250500] != KXPointD(262.5, 492.75)) state.SkipWithError("the point is wrong");
}

void ByMatrix(State& state) {
  const double* m = kMatrix;
  KXMatrix2D matrix(m[0], m[1], m[2], m[3], m[4], m[5], 0, 0, 1);
  benchmark::DoNotOptimize(matrix);
  MoveAll(state, [&](const KXPointD& p) { return matrix.MultiplyPoint(p); });
}

void ByLoop(State& state) {
  double m[6];
  for (int i = 0; i < 6; ++i) m[i] = kMatrix[i];
  benchmark::DoNotOptimize(m);
  const double a = m[0], b = m[1], c = m[2], d = m[3], e = m[4], f = m[5];
  MoveAll(state, [=](const KXPointD& p) {
    return KXPointD(a * p.x + b * p.y + c, d * p.x + e * p.y + f);
  });
}

const bool kAdded =
    kxw::bench::Add("matrix on 1,000,000 points", 0.9, ByMatrix, "a plain loop", ByLoop);

}  // namespace
