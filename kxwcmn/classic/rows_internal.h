#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "kxwcmn/classic/detail/depths.h"
#include "kxwcmn/classic/offscreen.h"
#include "kxwcmn/offscreen/detail/fillrun.h"

/// Rows of classic images as plain memory.
///
/// An operation on a classic image works like this. It returns unless the image is there and locked
/// (or locks it); it brings its area into the image once, in 64 bits (`CalcSafetyArea`, or for what
/// heeds the clip `KXOffscreen::GetPaintArea`, which is the image cut to the clip rectangle or to
/// where the clip mask lies); it picks the depth once (`WithClassicDepth`); and it takes each row
/// with `ClassicRow` and runs over it with `LoadPixel`, `StorePixel`, `FillPixels` or a row
/// function of this file, which check nothing. Under a clip mask, pixel (x, y) is painted where the
/// mask has 1 at (`OffscreenToClipMaskX(x)`, `OffscreenToClipMaskY(y)`), read as its depth reads at
/// 1 bit, unless the operation's rules say otherwise. The mask is an image like any other: it may
/// have lost its pixels since it was set, and its rows are there only while it is locked.
namespace kxw {

/// The first byte of row `y`, which must lie in the image, locked.
inline BYTE* ClassicRow(const KXOffscreen& image, int y) {
  return image.GetBaseAddress() + std::ptrdiff_t{y} * image.GetRowBytes();
}

/// As `KXOffscreen::Create` without a fill. With `kAllocUninitialized` the bytes of the pixels, and
/// what fills up rows, are for the caller to write.
void CreateClassicImage(KXOffscreen& image, int width, int height, int bitCount, DWORD flags);

/// Bytes of a row in front of the one that holds the pixel of column `x`.
template <class Depth>
constexpr std::ptrdiff_t PixelByte(int x) {
  if constexpr (Depth::kBits == 1) return x >> 3;
  return std::ptrdiff_t{x} * (Depth::kBits / 8);
}
/// The pixel's bit in that byte, at 1 bit; 0 above.
template <class Depth>
constexpr BYTE PixelMask(int x) {
  return Depth::kBits == 1 ? static_cast<BYTE>(0x80 >> (x & 7)) : BYTE{0};
}

template <class Depth>
inline typename Depth::Pixel LoadPixel(const BYTE* row, int x) {
  return Depth::Load(row + PixelByte<Depth>(x), PixelMask<Depth>(x));
}
template <class Depth>
inline void StorePixel(BYTE* row, int x, typename Depth::Pixel p) {
  Depth::Store(row + PixelByte<Depth>(x), PixelMask<Depth>(x), p);
}
/// `count` equal pixels from column `x` on.
template <class Depth>
inline void FillPixels(BYTE* row, int x, int count, typename Depth::Fill fill) {
  FillRun<Depth>(row + PixelByte<Depth>(x), Depth::kBits == 1 ? x & 7 : 0, count, fill);
}

/// Brings `count` pixels of a row to another row that does not overlap it: from column `fromX` of
/// the row at `from` to column `toX` of that at `to`.
using ClassicRowFunc = void (*)(BYTE* to, int toX, const BYTE* from, int fromX, int count);

/// A plain copy: what the write of the destination's depth makes of the read of the same name.
ClassicRowFunc FindClassicCopyRow(int toBits, int fromBits);
/// The smaller of what is there and what comes, channel by channel.
ClassicRowFunc FindClassicMinimumRow(int toBits, int fromBits);

/// The same where the row of a mask has 1 from column `maskX` on, as `maskBits` reads at 1 bit.
using ClassicMaskRowFunc = void (*)(BYTE* to, int toX, const BYTE* from, int fromX,
                                    const BYTE* mask, int maskX, int count);
ClassicMaskRowFunc FindClassicMaskRow(int toBits, int fromBits, int maskBits);

/// The same of the pixels that equal `key`, or of the others, in the terms of the source's depth.
using ClassicKeyRowFunc = void (*)(BYTE* to, int toX, const BYTE* from, int fromX, int count,
                                   DWORD key, bool copiesEqual);
ClassicKeyRowFunc FindClassicKeyRow(int toBits, int fromBits);

/// The colours of `count` pixels from column `x` on, read as `Get24BitPixel` reads them, and
/// written as `Set24BitPixel` writes them.
using ClassicReadColorsFunc = void (*)(DWORD* colors, const BYTE* row, int x, int count);
ClassicReadColorsFunc FindClassicReadColors(int bits);
using ClassicWriteColorsFunc = void (*)(BYTE* row, int x, const DWORD* colors, int count);
ClassicWriteColorsFunc FindClassicWriteColors(int bits);

/// The same of greys, as one channel of each; all colours of 1 and 8 bits are greys.
using ClassicReadGreysFunc = void (*)(BYTE* greys, const BYTE* row, int x, int count);
ClassicReadGreysFunc FindClassicReadGreys(int bits);  // 1 or 8
using ClassicWriteGreysFunc = void (*)(BYTE* row, int x, const BYTE* greys, int count);
ClassicWriteGreysFunc FindClassicWriteGreys(int bits);

}  // namespace kxw
