#pragma once

#include <algorithm>
#include <limits>
#include <memory>

#include "kxwcmn/core/geometry.h"
#include "kxwcmn/platform/types.h"

namespace kxw {

/// The rows of a convex polygon: each reaches from the least to the greatest column in which an
/// edge meets it. Of another polygon they are those of the hull of what its edges cover in a row.
///
/// Edges are walked by Bresenham's rule from their upper end, both ends included, halves going the
/// way of the step. Where an edge has several columns in a row, it meets that row in the first one
/// it comes to, but in the last one at its lower end. Horizontal edges are left out.
class ConvexScan {
 public:
  /// Walks the edges of the outline, which are only read, through the rows from `top` up to but not
  /// `bottom`; with `breaks`, those from or to a break of a PolygonScan are left out. Raises 8 if
  /// there is no memory for the rows.
  ConvexScan(const tagPOINT* points, int count, int top, int bottom, bool breaks = false);

  /// Calls `op(y, left, right)` for the rows that edges meet; the right column belongs to the span.
  template <class Op>
  void ForEachRow(Op op) const {
    for (int y = top_; y < bottom_; ++y) {
      const Span& span = rows_[y - top_];
      if (span.left <= span.right) op(y, span.left, span.right);
    }
  }

 private:
  struct Span {
    int left, right;
  };
  /// Up to so many rows are scanned without taking memory.
  static constexpr int kLocalRows = 512;

  void AddEdge(const tagPOINT& upper, const tagPOINT& lower);
  static void Include(Span& span, int x) {
    span.left = std::min(span.left, x);
    span.right = std::max(span.right, x);
  }

  Span local_[kLocalRows];
  std::unique_ptr<Span[]> memory_;
  Span* rows_ = local_;
  int top_, bottom_;
};

}  // namespace kxw
