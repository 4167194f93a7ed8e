#pragma once

#include <bit>
#include <cstddef>
#include <cstring>
#include <memory>
#include <vector>

#include "kxwcmn/core/array.h"
#include "kxwcmn/core/geometry.h"
#include "kxwcmn/platform/types.h"

/// What a seed-scan fill works with: the pixels that it may paint, as bits, and its seeds.
namespace kxw {

/// The pixels of an image that a fill may still paint, a bit each, in words of 64 with the leftmost
/// pixel highest. A row is worked out from the image when the fill first comes to it.
///
/// So each pixel is read once; runs are found and passed over in words whatever the depths are; and
/// a pixel that was painted is closed, even if its paint reads back as the colour that is filled,
/// so that every fill ends. The memory is an eighth of a byte for each pixel of the rows reached,
/// in pieces that grow, so that a small fill takes little.
class OpenPixels {
 public:
  virtual ~OpenPixels();

  /// The words of row `y`, which is in the image or next to it; all bits of a row outside are 0.
  /// The word before the first and the bits behind the last pixel, of which there is one at least,
  /// are 0 too. Raises std::bad_alloc.
  u64* Row(int y) {
    u64* const row = rows_[static_cast<std::size_t>(y + 1)];
    return row ? row : MakeRow(y);
  }

 protected:
  OpenPixels(int width, int height);
  /// Sets the bits of a row, which are 0.
  virtual void Read(int y, u64* bits) const = 0;

 private:
  u64* MakeRow(int y);

  const std::size_t rowWords_;
  const int height_;
  std::vector<u64*> rows_;  // from the one above the image on
  std::vector<std::unique_ptr<u64[]>> memory_;
  std::size_t left_ = 0;  // rows in the last piece of memory
  std::size_t pieceWords_ = 512;
};

/// The seeds that wait, last in, first out. The first 1024 need no allocation; after that the
/// capacity doubles, which raises 8 if there is no memory.
class SeedStack {
 public:
  bool IsEmpty() const { return top_ == begin_; }
  tagPOINT Pop() { return *--top_; }
  /// Makes room for `count` seeds, up to a word's, and returns where they go; `SetTop` tells the
  /// place behind the last one that came.
  tagPOINT* Reserve(std::ptrdiff_t count) {
    if (end_ - top_ < count) Grow();
    return top_;
  }
  void SetTop(tagPOINT* top) { top_ = top; }

 private:
  static constexpr int kFirst = 1024 + 64;  // with what is reserved and not used

  void Grow();

  tagPOINT first_[kFirst];
  KXTArray<tagPOINT> more_;
  tagPOINT* begin_ = first_;
  tagPOINT* top_ = first_;
  tagPOINT* end_ = first_ + kFirst;
};

}  // namespace kxw
