#pragma once

#include <cstddef>
#include <vector>

#include "kxwcmn/platform/dib.h"
#include "kxwcmn/platform/graphics.h"
#include "kxwcmn/platform/types.h"

// Transfers of pixels of any depth to pixels of a screen, which are 32-bit words of 0xAARRGGBB.

namespace kxw {

/// A block of pixels to be read.
struct PixelBlock {
  const BYTE* top;          // the topmost row
  std::ptrdiff_t rowBytes;  // to the row below, which may stand before in memory
  int width, height, bitCount;
  DWORD colors[256];  // the palette as words with an alpha of 255
};

/// Fills `block` with what a header says; false for one that no block of pixels has.
bool DescribeBlock(const BYTE* bits, const BITMAPINFOHEADER* header, PixelBlock* block);

/// Rows of words to be written.
struct ScreenRows {
  BYTE* top;
  std::ptrdiff_t rowBytes;
};

/// For each of a stretch of target coordinates the nearest source coordinate.
class NearestMap {
 public:
  /// For those of [`from`, `to`) that lie in the target range of `size` from `start` on, and whose
  /// source, in the range of `sourceSize` from `sourceStart` on, is in [0, `limit`). Negative sizes
  /// are those of a TransferRect.
  NearestMap(i64 start, int size, int sourceStart, int sourceSize, int limit, int from, int to);

  int First() const { return first_; }
  int Count() const { return static_cast<int>(sources_.size()); }
  int operator[](int i) const { return sources_[static_cast<std::size_t>(i)]; }
  const int* Sources() const { return sources_.data(); }
  /// Whether each source is the one after the source before.
  bool IsShift() const { return isShift_; }

 private:
  int first_ = 0;
  std::vector<int> sources_;
  bool isShift_ = false;
};

/// Whether an operation takes nothing but source and target.
inline bool IsBinaryOperation(int rasterOperation) {
  return (rasterOperation >> 20 & 15) == (rasterOperation >> 16 & 15);
}
/// Whether the target becomes what the source is.
inline bool IsCopy(int rasterOperation) { return (rasterOperation >> 16 & 255) == 0xCC; }

/// The word of a colour, whose top byte is not looked at.
inline DWORD WordOf(QMCOLORREF color) {
  return 0xFF000000 | (color & 255) << 16 | (color & 0xFF00) | (color >> 16 & 255);
}

/// Brings the pixels of `block` that two maps name to the rows, by a binary operation. All words
/// written have an alpha of 255. Where a pixel is `*transparent`, if that is not null, the target
/// stays.
void Transfer(const PixelBlock& block, const NearestMap& columns, const NearestMap& rows,
              int rasterOperation, const ScreenRows& target, const DWORD* transparent = nullptr);

}  // namespace kxw
