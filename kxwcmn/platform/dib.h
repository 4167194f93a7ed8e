#pragma once

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
