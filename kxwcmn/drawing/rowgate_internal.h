#pragma once

#include "kxwcmn/offscreen/voffscreen.h"

namespace kxw {

/// What holds pixels of a row back from a painter: a stipple, a clip image, or both.
class RowGate {
 public:
  /// Of the stipple `pattern` (null: none) byte x & 3 lets column x through unless it is 0. Of the
  /// clip image (null: none) the pixel that stands for x on the row of its cursor does if it reads
  /// as 1. `clipOffset` is added to x for that, and at the column `firstX` `firstOffset` instead.
  RowGate(const KXVOffscreen& image, KXVOffscreen* clip1Bit, int clipOffset, int firstX,
          int firstOffset, const BYTE* pattern)
      : clip_(clip1Bit),
        pattern_(pattern),
        firstX_(firstX),
        firstOffset_(firstOffset),
        clipOffset_(clipOffset) {
    if (!clip_) return;
    ratio_ = clip_->GetResolution() / image.GetResolution();
    originX_ = image.GetOffset().x;
  }

  bool IsOpen() const { return !clip_ && !pattern_; }
  /// Tells in `open` which of the `count` pixels from `x` may be painted. The clip image's cursor
  /// moves along.
  void Read(int x, int count, bool* open) const;

 private:
  int ClipX(int x) const;
  void ReadClip(int x, int count, bool* open) const;

  KXVOffscreen* clip_;
  const BYTE* pattern_;
  double ratio_ = 1;
  double originX_ = 0;
  int firstX_;
  double firstOffset_;
  double clipOffset_;
};

}  // namespace kxw
