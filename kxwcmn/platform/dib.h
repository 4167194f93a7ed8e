#pragma once

#include "kxwcmn/platform/export.h"
#include "kxwcmn/platform/memory.h"
#include "kxwcmn/platform/types.h"

// The platform's description of a block of pixels that a device can show: a head, and for depths up
// to 8 bits a palette behind it.

/// `biSize` is 40, the bytes of this structure. A negative height says that the first row is the
/// top one.
struct BITMAPINFOHEADER {
  DWORD biSize;
  LONG biWidth;
  LONG biHeight;
  WORD biPlanes;
  WORD biBitCount;
  DWORD biCompression;
  DWORD biSizeImage;
  LONG biXPelsPerMeter;
  LONG biYPelsPerMeter;
  DWORD biClrUsed;
  DWORD biClrImportant;
};

/// A colour of a palette.
struct tagRGBQUAD {
  BYTE rgbBlue;
  BYTE rgbGreen;
  BYTE rgbRed;
  BYTE rgbReserved;
};

/// The bits of a row of pixels that has `bits`, aligned to 32.
constexpr i64 qmwDIB_WIDTH_BIT(i64 bits) { return (bits + 31) / 32 * 32; }

// Such a block in memory: the head, the palette and the rows, the bottom one first. It is given
// back with `qmFree`.

/// Makes a block of `width` by `height` pixels, each at least 1, of 1, 4, 8, 24 or 32 bits, with
/// all bytes of its rows 0. `palette` are 2, 16 or 256 colours up to 8 bits; null makes them greys,
/// rising from black. Returns null on failure, with the code in `*error` (if not null) and as last
/// error: 87 for other sizes and depths, 8 where there is no memory, a row would pass 0x7FFFFFFF
/// bytes or the block 4 GiB.
KX_EXPORT QMHANDLE__* qmwCreateDIB(int width, int height, int bitCount, const tagRGBQUAD* palette,
                                   int* error);
/// Makes all pixels white: with a palette its last colour, otherwise all bits set. What is no such
/// block is left alone.
KX_EXPORT void qmwEraseDIB(QMHANDLE__* dib);
/// The head of a block, with the palette and the rows behind it; null for what is no such block.
/// The address is stable until the block is freed. Locks nest and need not pair.
KX_EXPORT BITMAPINFOHEADER* qmwDibLock(QMHANDLE__* dib);
KX_EXPORT void qmwDibUnlock(QMHANDLE__* dib);
/// The colour of the pixel at (`x`, `y`), counted from the top left, with an alpha of 0; white
/// where there is none.
KX_EXPORT QMCOLORREF qmwGetDibPixel(QMHANDLE__* dib, int x, int y);
