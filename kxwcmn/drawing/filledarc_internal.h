#pragma once

#include <algorithm>
#include <cstdlib>
#include <limits>

#include "kxwcmn/core/geometry.h"
#include "kxwcmn/platform/types.h"

namespace kxw {

/// The rows of a filled ellipse of semi-axes `a` and `b`, not both zero.
///
/// They come from a walk along an eighth of a circle whose radius is the greater axis: x goes up
/// from 0, y down from the radius, and the circle is scaled to the lesser axis, truncating. Each
/// step gives four rows. A row that several steps give is as wide as the widest of them, so a row
/// is looked up from its distance: the walk of a huge ellipse is never made.
class FilledArc {
 public:
  FilledArc(i64 a, i64 b);

  /// Half the width of the rows at `distance` from the centre; -1 if no step reaches them.
  i64 HalfWidth(i64 distance) const;

  /// The walk: y at the step for `x`, the last step with that y, and the last step of all.
  i64 YAt(i64 x) const;
  i64 LastXAt(i64 y) const;
  i64 LastX() const { return lastX_; }

 private:
  i64 a_, b_;
  i64 radius_;
  i64 lastX_, lastY_;
};

/// Calls `op(first, last, y)` for the rows, of those of `rows`, of the ellipse in a rectangle. One
/// without width or height holds a straight line, and a reversed one counts from its left and top
/// as well.
template <class Op>
void ForEachFilledArcRow(const KXRect& rect, const KXRect& rows, Op op) {
  const i64 a = std::abs(static_cast<i64>(rect.right) - rect.left) / 2;
  const i64 b = std::abs(static_cast<i64>(rect.bottom) - rect.top) / 2;
  // Less than two pixels in both directions hold no ellipse.
  if (a == 0 && b == 0) return;
  const i64 cx = rect.left + a, cy = rect.top + b;
  const auto saturated = [](i64 x) {
    using Limits = std::numeric_limits<int>;
    return static_cast<int>(std::clamp<i64>(x, Limits::min(), Limits::max()));
  };
  const FilledArc arc(a, b);
  const i64 first = std::max<i64>(cy - b, rows.top), last = std::min<i64>(cy + b, rows.bottom - 1);
  for (i64 y = first; y <= last; ++y) {
    const i64 half = arc.HalfWidth(std::abs(y - cy));
    if (half >= 0) op(saturated(cx - half), saturated(cx + half), static_cast<int>(y));
  }
}

}  // namespace kxw
