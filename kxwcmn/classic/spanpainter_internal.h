#pragma once

#include "kxwcmn/classic/offscreen.h"
#include "kxwcmn/classic/stlockoff.h"
#include "kxwcmn/core/geometry.h"

namespace kxw {

/// What paints the rows of polygons and circles: the one place where fore colour, transparency,
/// mode and clip of a classic image meet. It is made for one shape, during which these do not
/// change.
class SpanPainter {
 public:
  /// Of an image that is locked. A clip mask is locked as long as the painter lives.
  explicit SpanPainter(KXOffscreen& image);
  SpanPainter(const SpanPainter&) = delete;
  SpanPainter& operator=(const SpanPainter&) = delete;

  /// The part of the image that the clip leaves; empty if that is nothing.
  const KXRect& Area() const { return area_; }

  /// Paints the columns from `left` to `right`, both included, of a row of the area, as far as they
  /// lie in it.
  void Paint(int y, int left, int right) const {
    left = left > area_.left ? left : area_.left;
    right = right < area_.right ? right : area_.right - 1;
    if (left <= right) {
      PaintRow(y, left, right - left + 1, mask_ ? image_.OffscreenToClipMaskY(y) : 0);
    }
  }
  /// Paints pixels of a row that all lie in the area, under row `maskY` of the mask, if there is
  /// one.
  void PaintRow(int y, int left, int count, int maskY) const {
    BYTE* const row = base_ + std::ptrdiff_t{y} * rowBytes_;
    mask_ ? PaintMasked(row, left, count, maskY) : paint_(row, left, count, ink_);
  }

 private:
  /// What the rule of the image's depth, transparency and mode needs of the image.
  struct Ink {
    DWORD color;
    BYTE color1, color8;
    // What each byte of a pixel becomes below transparency 255, by its place and value; at 8 bits
    // in the first table.
    BYTE mixed[3][256];
  };
  using PaintFunc = void (*)(BYTE* row, int x, int count, const Ink& ink);
  struct Paints;

  void PaintMasked(BYTE* row, int x, int count, int maskY) const;

  const KXOffscreen& image_;
  const KXOffscreen* mask_;  // null: none
  KXStLockOff maskLock_;
  KXRect area_;
  BYTE* base_;
  int rowBytes_;
  PaintFunc paint_;
  Ink ink_;
};

}  // namespace kxw
