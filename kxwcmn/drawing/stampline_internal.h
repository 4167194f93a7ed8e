#pragma once

#include <algorithm>
#include <cstdlib>

#include "kxwcmn/core/geometry.h"
#include "kxwcmn/platform/types.h"

namespace kxw {

struct Segment {
  int x1, y1, x2, y2;
};

struct Brush {
  int size;    // the side of the square
  int offset;  // of the stamps, on both axes
};

/// Stamps of a line, by number, from `first` up to but not `end`.
struct Stamps {
  i64 first, end;
};

/// The line along which a brush is stamped: each stamp is one step along the greater axis from the
/// one before, with a step along the other where Bresenham's rule has it.
///
/// The brush only ever moves one way on each axis, so the stamps that cover a row or a column stand
/// together: a pixel is visited once, however many stamps cover it.
class StampLine {
 public:
  StampLine(const Segment& s, const Brush& brush, const KXRect& image)
      : image_(image),
        x_(static_cast<i64>(s.x1) + brush.offset),
        y_(static_cast<i64>(s.y1) + brush.offset),
        size_(brush.size),
        stepX_(s.x2 < s.x1 ? -1 : 1),
        stepY_(s.y2 < s.y1 ? -1 : 1) {
    const i64 dx = std::abs(static_cast<i64>(s.x2) - s.x1);
    const i64 dy = std::abs(static_cast<i64>(s.y2) - s.y1);
    alongX_ = dx >= dy;
    major_ = std::max(dx, dy);
    minor_ = std::min(dx, dy);
  }

  /// Calls `op(y, left, right, stamps)` for the rows of the image that stamps cover, with the
  /// columns, half-open, and the stamps.
  template <class Op>
  void ForEachRow(Op op) const {
    if (size_ < 1) return;
    const auto [low, high] = std::minmax({TopOf(0), TopOf(major_)});
    const i64 end = std::min<i64>(high + size_, image_.bottom);
    for (i64 y = std::max<i64>(low, 0); y < end; ++y) {
      const Stamps stamps = Covering(y, y_, stepY_, !alongX_);
      const auto [from, to] = std::minmax({LeftOf(stamps.first), LeftOf(stamps.end - 1)});
      const i64 left = std::max<i64>(from, 0), right = std::min<i64>(to + size_, image_.right);
      if (left >= right) continue;
      op(static_cast<int>(y), static_cast<int>(left), static_cast<int>(right), stamps);
    }
  }

  /// How many of `stamps` cover column `x`.
  i64 CountAt(int x, const Stamps& stamps) const {
    const Stamps column = Covering(x, x_, stepX_, alongX_);
    return std::min(stamps.end, column.end) - std::max(stamps.first, column.first);
  }

  /// The first column of a stamp.
  i64 LeftOf(i64 n) const { return x_ + stepX_ * (alongX_ ? n : MinorSteps(n)); }

 private:
  i64 TopOf(i64 n) const { return y_ + stepY_ * (alongX_ ? MinorSteps(n) : n); }
  /// The steps along the lesser axis that the rule has made with the n-th along the greater one:
  /// n * minor / major, rounded, halves up. The product fits 64 unsigned bits, twice it would not.
  i64 MinorSteps(i64 n) const {
    if (major_ == 0) return 0;
    const u64 product = static_cast<u64>(n) * static_cast<u64>(minor_);
    const u64 divisor = static_cast<u64>(major_), rest = product % divisor;
    return static_cast<i64>(product / divisor + (2 * rest >= divisor));
  }
  /// The first stamp that has made so many steps along an axis, or the one behind the last.
  i64 FirstAfter(i64 steps, bool isMajor) const {
    if (steps <= 0) return 0;
    if (steps > (isMajor ? major_ : minor_)) return major_ + 1;
    if (isMajor) return steps;
    // The least n with 2 * n * minor + major >= 2 * steps * major.
    const u64 major = static_cast<u64>(major_), minor = static_cast<u64>(minor_);
    const u64 least = static_cast<u64>(steps) * major - major / 2;
    return static_cast<i64>(least / minor + (least % minor != 0));
  }
  /// The stamps that cover the row or column `v`, of a line that starts at `start`.
  Stamps Covering(i64 v, i64 start, int step, bool isMajor) const {
    const i64 steps = step > 0 ? v - start - size_ + 1 : start - v;
    return {FirstAfter(steps, isMajor), FirstAfter(steps + size_, isMajor)};
  }

  KXRect image_;
  i64 x_, y_;
  i64 size_;
  int stepX_, stepY_;
  bool alongX_;
  i64 major_, minor_;
};

}  // namespace kxw
