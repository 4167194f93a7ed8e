#pragma once

#include <array>
#include <memory>
#include <unordered_map>

#include "kxwcmn/core/array.h"
#include "kxwcmn/core/geometry.h"
#include "kxwcmn/offscreen/voffscreen.h"

namespace kxw::flood {

/// One call of a fill, its rectangles taken apart: all bounds are inclusive.
struct Request {
  KXVOffscreen& paint;
  KXVOffscreen& reference;
  KXVOffscreen* second;  // may be null
  KXPoint seed, origin;
  int margin;
  bool abortable;
  // A column outside the image can be neither painted nor judged, so these two are cut to it.
  int left, right;
  int top, bottom;

  Request(KXVOffscreen& paintImage, KXVOffscreen& referenceImage, KXVOffscreen* secondImage,
          const KXPoint& seedPoint, const KXPoint& originPoint, const KXRect& clip,
          int marginOfMatch, int abortableFlag);

  bool IsSeedInside() const { return paint.GetBlockIndex(seed.x, seed.y) >= 0; }
  bool IsRowInClip(int y) const { return top <= y && y <= bottom; }
  /// The pixel of the references at a place of the painted image. It wraps at 32 bits, which leaves
  /// what is outside outside, for no image is as wide as that.
  KXPoint InReference(int x, int y) const {
    return KXPoint(IntGeometry::Sub(x, origin.x), IntGeometry::Sub(y, origin.y));
  }
};

/// What a fill that ran has done.
struct Outcome {
  KXRect box;  // half-open
  i64 count;
};

/// A run of pixels of row `y` whose neighbours in row `y + dy` are to be looked at.
struct Span {
  LONG y, left, right, dy;
};

/// The runs that wait. Capacity doubles, in the array's steps of 256, so that growth is cheap.
class SpanStack {
 public:
  bool IsEmpty() const { return count_ == 0; }
  void Push(int y, int left, int right, int dy) {
    if (count_ == spans_.GetCount()) Grow();
    spans_[count_++] = {y, left, right, dy};
  }
  Span Pop() { return spans_[--count_]; }

 private:
  void Grow();

  KXTArray<Span> spans_;
  int count_ = 0;
};

/// The painted pixels of a fill whose paint does not read back as the fill value: a bit for each, a
/// page for each block, made when the first pixel of the block is painted.
class PaintedPixels {
 public:
  /// The 256 pixels of a row of a block, the leftmost in bit 0 of the first word.
  using Row = u64[4];

  bool Contains(int x, int y) const;
  void Add(int x, int y);

 private:
  using Page = std::array<u64, 4 * 256>;

  static u64 KeyOf(int x, int y) {
    return static_cast<u64>(static_cast<DWORD>(y >> 8)) << 32 | static_cast<DWORD>(x >> 8);
  }

  std::unordered_map<u64, std::unique_ptr<Page>> pages_;
};

}  // namespace kxw::flood
