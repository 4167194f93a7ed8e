#include <algorithm>
#include <cmath>

#include "kxwcmn/compositing/mixrow_internal.h"
#include "kxwcmn/compositing/voffpixelmask.h"
#include "kxwcmn/compositing/voffpixelmixer.h"
#include "kxwcmn/core/exception.h"
#include "kxwcmn/drawing/shape_internal.h"
#include "kxwcmn/offscreen/autolock.h"

namespace {

/// The part of a circle, along x, that is looked at together: what the image does not show of a
/// huge circle is skipped.
constexpr i64 kPiece = 4096;

/// An eighth of a circle, from the axis to the diagonal: y for each x by Bresenham's rule, stepped
/// or looked up.
class OutlineArc {
 public:
  explicit OutlineArc(i64 radius) : radius_(radius), y_(radius), error_(3 - 2 * radius) {}

  i64 x() const { return x_; }
  i64 y() const { return y_; }

  void Step() {
    if (error_ >= 0) {
      error_ += 4 * (x_ - y_) + 10;
      --y_;
    } else {
      error_ += 4 * x_ + 6;
    }
    ++x_;
  }

  /// Goes on to a greater x, which lies in this eighth.
  void JumpTo(i64 x) {
    y_ = YAt(x);
    x_ = x;
    error_ = ErrorOf(x_, y_);
  }

  i64 YAt(i64 x) const {
    // Before x the error is below zero for the y that comes out, and not for the next higher one.
    i64 y = static_cast<i64>(std::sqrt(
        std::max(0.0, static_cast<double>(radius_ - x) * static_cast<double>(radius_ + x))));
    while (y < radius_ && ErrorOf(x - 1, y + 1) < 0) ++y;
    while (y > 0 && ErrorOf(x - 1, y) >= 0) --y;
    return y;
  }

 private:
  /// The error before the step from (x, y), in an order that stays within 64 bits.
  i64 ErrorOf(i64 x, i64 y) const {
    const i64 square = (x + 1) * (x + 1);
    return square + (y - radius_) * (y + radius_) + square + (y - 1 - radius_) * (y - 1 + radius_);
  }

  i64 radius_;
  i64 x_ = 0, y_;
  i64 error_;
};

/// Whether [from, to] or its mirror image meets [low, high).
bool Meets(i64 from, i64 to, i64 low, i64 high) {
  return (from < high && to >= low) || (-to < high && -from >= low);
}

/// A piece of an eighth of a circle, whose centre is the origin.
struct Piece {
  i64 x1, x2, y1, y2;

  /// Whether one of its eight mirror images may touch the rectangle.
  bool MayTouch(i64 left, i64 top, i64 right, i64 bottom) const {
    return (Meets(x1, x2, left, right) && Meets(y1, y2, top, bottom)) ||
           (Meets(y1, y2, left, right) && Meets(x1, x2, top, bottom));
  }
};

}  // namespace

void KXVOffscreen::Circle(int cx, int cy, int radius, int /*unused*/, KXVOffPixelMixer* mixer,
                          KXVOffPixelMask* mask, const tagRECT* clip, BYTE* /*pattern*/) {
  if (!mixer) kxThrowError(kxw::kFailureBadArgument);
  if (radius < 0) return;
  const KXRect bounds = kxw::CutToImage(clip, *this);
  if (bounds.IsRectEmpty()) return;
  KXVOffscreenAutoLock lock(this, 1);

  const i64 left = static_cast<i64>(bounds.left) - cx, right = static_cast<i64>(bounds.right) - cx;
  const i64 top = static_cast<i64>(bounds.top) - cy, bottom = static_cast<i64>(bounds.bottom) - cy;
  const auto plotOne = [&](i64 dx, i64 dy) {
    if (dx < left || dx >= right || dy < top || dy >= bottom) return;
    const int x = static_cast<int>(cx + dx), y = static_cast<int>(cy + dy);
    if (mask && !mask->IsMaskFree(this, x, y)) return;
    MoveCursorFast(x, y);
    kxw::CheckBroughtIn(*this);
    mixer->Do();
  };
  // All four signs are taken even where they coincide: a mixer that accumulates shows points of
  // the axes twice, which is meant.
  const auto plot = [&](i64 x, i64 y) {
    plotOne(x, y);
    plotOne(-x, y);
    plotOne(x, -y);
    plotOne(-x, -y);
  };

  // With a mask the walk goes on to the diagonal and takes its points in all eight places.
  const i64 beyond = mask ? 1 : 0;
  OutlineArc arc(radius);
  for (i64 pieceEnd = 0; arc.x() < arc.y() + beyond; arc.Step()) {
    if (arc.x() >= pieceEnd) {
      pieceEnd = arc.x() + kPiece;
      while (arc.YAt(pieceEnd) > pieceEnd &&
             !Piece{arc.x(), pieceEnd, arc.YAt(pieceEnd), arc.y()}.MayTouch(left, top, right,
                                                                            bottom)) {
        arc.JumpTo(pieceEnd);
        pieceEnd += kPiece;
      }
    }
    plot(arc.x(), arc.y());
    plot(arc.y(), arc.x());
  }
  if (arc.x() == arc.y()) plot(arc.x(), arc.y());
}
