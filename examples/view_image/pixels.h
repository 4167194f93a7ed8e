#pragma once

#include <cstddef>

#include "kxwcmn/kxwcmn.h"

namespace viewimage {

/// Reads pixels of an image of any depth as they are shown: blue, green, red and alpha, `rowPixels`
/// of them from one row to the next. Where a 24-bit image has no block it is white, and where
/// another has none it is transparent. Raises 8 for a block that cannot be read.
void ReadAsShown(KXVOffscreen& image, const KXRect& rect, DWORD* pixels, int rowPixels);

/// Whether the alpha of all pixels is 255.
bool IsOpaque(const DWORD* pixels, std::size_t count);

/// A board of light and dark squares, which is seen through what is transparent.
struct Checkerboard {
  int side = 8;  ///< Of a square.
  DWORD light = 0xFFFFFFFF, dark = 0xFFDDDDDD;

  /// Lays a rectangle of pixels, from (x, y) of the board on, over it, which makes them opaque.
  /// `rowPixels` are from one row to the next.
  void LayOver(DWORD* pixels, int rowPixels, KXSize size, i64 x, i64 y) const;
  /// Writes a rectangle of the board.
  void Fill(DWORD* pixels, int rowPixels, KXSize size, i64 x, i64 y) const;

 private:
  template <class Op>
  void ForEachSquare(KXSize size, i64 x, i64 y, Op op) const;
};

}  // namespace viewimage
