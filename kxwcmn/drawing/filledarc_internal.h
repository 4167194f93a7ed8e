#pragma once

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

}  // namespace kxw
