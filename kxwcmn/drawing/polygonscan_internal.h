#pragma once

#include <algorithm>
#include <memory>

#include "kxwcmn/core/geometry.h"
#include "kxwcmn/platform/number.h"
#include "kxwcmn/platform/types.h"

namespace kxw {

/// What `sum` is after `addend` was added to it `times` times, with the rounding of each addition,
/// at the cost of a few hundred of them at most.
double AddRepeatedly(double sum, double addend, i64 times);

/// How a scan takes crossings as columns: halves away from zero.
struct RoundedCrossings {
  /// Crossings this far before the first column come to columns before it.
  static constexpr int kReach = 1;
  static int Column(double x) { return RoundInside(x); }
};

/// A half more, truncated, which differs before column 0.
struct TruncatedCrossings {
  static constexpr int kReach = 2;
  static int Column(double x) { return static_cast<int>(x + 0.5); }
};

/// The even-odd scan of a polygon, row by row.
///
/// Where an edge crosses a row is what repeated addition of its slope gives, from the edge's upper
/// end down: rounding of those sums is part of the result.
class PolygonScan {
 public:
  /// A Y that breaks the outline.
  static constexpr int kBreak = 0x7FFFFFFF;

  /// Takes the edges of the outline; horizontal ones are left out and, with `breaks`, those from or
  /// to a break. The points are only read. Raises 8 if there is no memory.
  PolygonScan(const tagPOINT* points, int count, bool breaks);
  /// Leaves out the outlines that lie below a row without any edge.
  void EndAtGap();

  /// Calls `op(y, crossings, count)` for the rows from `firstRow` up to but not `endRow` that the
  /// polygon crosses, until it returns false: a pair of columns for each span, ascending, those
  /// before `left` as one before it and those from `right` on as `right`. A crossing without a
  /// partner, which only an outline that does not close can have, is dropped. A scan runs once.
  template <class Crossings = RoundedCrossings, class Op>
  void Run(i64 firstRow, i64 endRow, int left, int right, Op op) {
    for (row_ = firstRow; NextRow(endRow);) {
      // One set of edges, until the next one begins or ends.
      for (const i64 end = std::min(changeRow_, endRow); row_ < end; ++row_) {
        if (!TakeColumns<Crossings>(left, right)) {
          SortActive();
          TakeColumns<Crossings>(left, right);
        }
        if (!op(static_cast<int>(row_), crossings_, activeCount_ & ~1)) return;
        for (int i = 0; i < activeCount_; ++i) active_[i].x += active_[i].slope;
      }
    }
  }

 private:
  struct Edge {
    double x;  // at the current row
    double slope;
    int top, bottom;
  };
  /// Up to so many edges the scan takes no memory.
  static constexpr int kLocalEdges = 32;

  /// Brings the active edges to those of the current row or, where it has none, of the next row
  /// that does. Returns false if there is none before `endRow`.
  bool NextRow(i64 endRow);
  /// Puts the active edges into the order of their crossings.
  void SortActive();
  /// Returns false if the active edges are out of order.
  template <class Crossings>
  bool TakeColumns(int left, int right) {
    const double low = static_cast<double>(left) - Crossings::kReach, high = right;
    int ordered = 1;
    for (int i = 0, last = left - Crossings::kReach; i < activeCount_; ++i) {
      // Cut before it is rounded, which comes to the same and keeps it small.
      const int column = Crossings::Column(std::min(std::max(active_[i].x, low), high));
      ordered &= column >= last;
      crossings_[i] = last = column;
    }
    return ordered;
  }

  struct Local {
    Edge edges[2 * kLocalEdges];
    int crossings[kLocalEdges];
  } local_;
  std::unique_ptr<Edge[]> edgeMemory_;
  std::unique_ptr<int[]> crossingMemory_;
  Edge* edges_ = local_.edges;                 // by their tops
  Edge* active_ = local_.edges + kLocalEdges;  // those of the current row
  int* crossings_ = local_.crossings;
  int edgeCount_ = 0;
  int activeCount_ = 0;
  int nextEdge_ = 0;  // the first edge that the scan has not reached
  i64 row_ = 0;
  i64 changeRow_ = 0;  // the next row at which the active edges change
};

}  // namespace kxw
