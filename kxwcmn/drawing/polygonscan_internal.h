#pragma once

#include <algorithm>
#include <memory>

#include "kxwcmn/core/geometry.h"
#include "kxwcmn/platform/number.h"
#include "kxwcmn/platform/types.h"
#include "kxwcmn/platform/vectorize_internal.h"

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
    const double low = static_cast<double>(left) - Crossings::kReach, high = right;
    for (row_ = firstRow; NextRow(endRow);) {
      // One set of edges, until the next one begins or ends.
      const i64 end = std::min(changeRow_, endRow);
      if (activeCount_ == 2) {
        if (!RunPair<Crossings>(end, low, high, op)) return;
        continue;
      }
      for (; row_ < end; ++row_) {
        if (!TakeColumns<Crossings>(low, high)) {
          SortActive();
          TakeColumns<Crossings>(low, high);
        }
        if (!op(static_cast<int>(row_), crossings_, activeCount_ & ~1)) return;
        InVectors<Step>(x_, slopes_, activeCount_);
      }
    }
  }

 private:
  struct Edge {
    double x;  // at its top
    double slope;
    int top, bottom;
  };
  /// Up to so many edges the scan takes no memory.
  static constexpr int kLocalEdges = 32;

  /// Brings the active edges to those of the current row or, where it has none, of the next row
  /// that does. Returns false if there is none before `endRow`.
  bool NextRow(i64 endRow);
  /// Puts active edge `i` in the place of `to`.
  void MoveActive(int to, int i) {
    x_[to] = x_[i];
    slopes_[to] = slopes_[i];
    bottoms_[to] = bottoms_[i];
  }
  /// Puts the active edges into the order of their crossings: where few have changed places, and
  /// any.
  void SortActive();
  void SortAll();

  static void Step(double* x, const double* slopes, int count) {
    for (int i = 0; i < count; ++i) x[i] += slopes[i];
  }

  template <class Crossings>
  static int ColumnOf(double x, double low, double high) {
    // Cut before it is rounded, which comes to the same and keeps it small.
    return Crossings::Column(std::min(std::max(x, low), high));
  }
  template <class Crossings>
  static int ColumnsOf(const double* x, int count, double low, double high, int* columns) {
    for (int i = 0; i < count; ++i) columns[i] = ColumnOf<Crossings>(x[i], low, high);
    int ordered = 1;
    for (int i = 1; i < count; ++i) ordered &= columns[i - 1] <= columns[i];
    return ordered;
  }
  /// Returns false if the active edges are out of order.
  template <class Crossings>
  bool TakeColumns(double low, double high) {
    return InVectors<ColumnsOf<Crossings>>(x_, activeCount_, low, high, crossings_) != 0;
  }

  /// The rows up to `end` of two edges, as most shapes have them, in the order that each row needs.
  /// Returns false if `op` did.
  template <class Crossings, class Op>
  bool RunPair(i64 end, double low, double high, Op& op) {
    double a = x_[0], b = x_[1];
    for (; row_ < end; ++row_, a += slopes_[0], b += slopes_[1]) {
      const int columnA = ColumnOf<Crossings>(a, low, high);
      const int columnB = ColumnOf<Crossings>(b, low, high);
      int columns[] = {std::min(columnA, columnB), std::max(columnA, columnB)};
      if (!op(static_cast<int>(row_), columns, 2)) return false;
    }
    x_[0] = a;
    x_[1] = b;
    return true;
  }

  struct Local {
    Edge edges[kLocalEdges];
    double x[kLocalEdges], slopes[kLocalEdges];
    int bottoms[kLocalEdges], crossings[kLocalEdges];
  } local_;
  std::unique_ptr<Edge[]> edgeMemory_;
  std::unique_ptr<double[]> slopeMemory_;
  std::unique_ptr<int[]> columnMemory_;
  Edge* edges_ = local_.edges;  // by their tops; those before `nextEdge_` are of no use any more
  // The edges of the current row: their crossings, slopes and bottoms.
  double* x_ = local_.x;
  double* slopes_ = local_.slopes;
  int* bottoms_ = local_.bottoms;
  int* crossings_ = local_.crossings;  // as columns
  int edgeCount_ = 0;
  int activeCount_ = 0;
  int nextEdge_ = 0;  // the first edge that the scan has not reached
  i64 row_ = 0;
  i64 changeRow_ = 0;  // the next row at which the active edges change
};

}  // namespace kxw
