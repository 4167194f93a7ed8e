#include "kxwcmn/drawing/polygonscan_internal.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>

#include "kxwcmn/core/exception.h"
#include "kxwcmn/platform/error.h"

namespace kxw {

// While the sum stays between two powers of two its last place stands for the same, and each
// addition adds the same: the addend, rounded to that place. Only one that ends on half of it is
// rounded up or down, to what is even; after one such sum the next ones are even, too. So from the
// second addition between two powers on, the step is known, and all but the last ones before the
// power are one product: of two whole numbers of last places, and so exact.
double AddRepeatedly(double sum, double addend, i64 times) {
  for (; times > 0; --times) {
    const double before = sum;
    sum += addend;
    const double step = sum + addend - sum;
    if (step == 0) break;
    const double power = std::exp2(std::ilogb(sum));
    const bool settled = std::ilogb(before) == std::ilogb(sum) && (before < 0) == (sum < 0);
    if (!settled) continue;
    const double size = std::abs(sum);
    const double room = (step < 0) == (sum < 0) ? 2 * power - size : size - power;
    constexpr double kMargin = 3;  // steps that could meet the power
    const double steps =
        std::min(std::floor(room / std::abs(step)) - kMargin, static_cast<double>(times - 1));
    if (steps < 1) continue;
    sum += steps * step;
    times -= static_cast<i64>(steps);
  }
  return sum;
}

PolygonScan::PolygonScan(const tagPOINT* points, int count, bool breaks) {
  if (!points || count < 1) return;
  if (count > kLocalEdges) {
    const auto capacity = static_cast<std::size_t>(count);
    edgeMemory_.reset(new (std::nothrow) Edge[capacity]);
    slopeMemory_.reset(new (std::nothrow) double[2 * capacity]);
    columnMemory_.reset(new (std::nothrow) int[2 * capacity]);
    if (!edgeMemory_ || !slopeMemory_ || !columnMemory_) kxThrowError(kErrorNotEnoughMemory);
    edges_ = edgeMemory_.get();
    x_ = slopeMemory_.get();
    slopes_ = x_ + capacity;
    bottoms_ = columnMemory_.get();
    crossings_ = bottoms_ + capacity;
  }
  for (int i = 0; i < count; ++i) {
    const tagPOINT& p = points[i];
    const tagPOINT& q = points[i + 1 < count ? i + 1 : 0];
    if (p.y == q.y || (breaks && (p.y == kBreak || q.y == kBreak))) continue;
    const tagPOINT& upper = p.y < q.y ? p : q;
    const double dx = static_cast<double>(p.x) - q.x, dy = static_cast<double>(p.y) - q.y;
    edges_[edgeCount_++] = {static_cast<double>(upper.x), dx / dy, upper.y, std::max(p.y, q.y)};
  }
  std::sort(edges_, edges_ + edgeCount_,
            [](const Edge& a, const Edge& b) { return a.top < b.top; });
}

void PolygonScan::EndAtGap() {
  int reached = edgeCount_ > 0 ? edges_[0].top : 0;
  for (int i = 0; i < edgeCount_ && edges_[i].top <= reached; ++i) {
    reached = std::max(reached, edges_[i].bottom);
    if (i + 1 < edgeCount_ && edges_[i + 1].top > reached) edgeCount_ = i + 1;
  }
}

bool PolygonScan::NextRow(i64 endRow) {
  int kept = 0;
  for (int i = 0; i < activeCount_; ++i) {
    if (bottoms_[i] > row_) MoveActive(kept++, i);
  }
  activeCount_ = kept;
  for (;; ++nextEdge_) {
    if (nextEdge_ == edgeCount_) break;
    const Edge& edge = edges_[nextEdge_];
    if (edge.top > row_) {
      if (activeCount_ > 0) break;
      row_ = edge.top;  // rows between outlines hold nothing
    }
    if (edge.bottom <= row_) continue;
    x_[activeCount_] = AddRepeatedly(edge.x, edge.slope, row_ - edge.top);
    slopes_[activeCount_] = edge.slope;
    bottoms_[activeCount_++] = edge.bottom;
  }
  if (activeCount_ == 0 || row_ >= endRow) return false;
  changeRow_ = nextEdge_ < edgeCount_ ? edges_[nextEdge_].top : std::numeric_limits<i64>::max();
  for (int i = 0; i < activeCount_; ++i) changeRow_ = std::min<i64>(changeRow_, bottoms_[i]);
  return true;
}

void PolygonScan::SortAll() {
  // There have been as many edges as are active: their places serve to sort in.
  for (int i = 0; i < activeCount_; ++i) edges_[i] = {x_[i], slopes_[i], 0, bottoms_[i]};
  std::sort(edges_, edges_ + activeCount_, [](const Edge& a, const Edge& b) { return a.x < b.x; });
  for (int i = 0; i < activeCount_; ++i) {
    x_[i] = edges_[i].x;
    slopes_[i] = edges_[i].slope;
    bottoms_[i] = edges_[i].bottom;
  }
}

void PolygonScan::SortActive() {
  // From one row to the next few edges change places, so inserting them is nearly linear. Where
  // many do, it gives up: edges of equal crossings are alike, and any sort gives the same row.
  i64 moves = 0;
  const i64 mostMoves = 64 + 8 * static_cast<i64>(activeCount_);
  for (int i = 1; i < activeCount_; ++i) {
    if (x_[i - 1] <= x_[i]) continue;
    const double x = x_[i], slope = slopes_[i];
    const int bottom = bottoms_[i];
    int at = i;
    for (; at > 0 && x_[at - 1] > x; --at) MoveActive(at, at - 1);
    x_[at] = x;
    slopes_[at] = slope;
    bottoms_[at] = bottom;
    moves += i - at;
    if (moves > mostMoves) {
      SortAll();
      return;
    }
  }
}

}  // namespace kxw
