#pragma once

#include "kxwcmn/platform/dib.h"
#include "kxwcmn/platform/export.h"
#include "kxwcmn/platform/types.h"

// Bitmaps: blocks of pixels behind a handle, which a drawing context can draw on. A section has
// rows that can be reached, a device's bitmap keeps its own to itself.
//
// Depths are 1, 4, 8, 24 (blue, green, red) and 32 bits (with a fourth byte that nobody looks at,
// and that has any value where a context has drawn). Rows are aligned to 32 bits. Every bitmap is
// freed once, with `kxwFreeBitmap`; a context that is drawing on it then still can.

/// A head with the first colour of the palette behind it.
struct BITMAPINFO {
  BITMAPINFOHEADER bmiHeader;
  tagRGBQUAD bmiColors[1];
};

/// What is known of a bitmap.
struct tagBITMAP {
  LONG bmWidth;
  LONG bmHeight;  ///< Positive, also where the first row is the top one.
  LONG bmWidthBytes;
  WORD bmBitsPixel;
  BYTE* bmBits;  ///< The first row in memory of a section; null for a device's bitmap.
};

/// Makes a section as `info` says, with all bytes 0; null on failure, with the code in `*error` (if
/// not null) and as last error. Its first row is the bottom one, and with a negative height the top
/// one. The palette has `biClrUsed` colours, and of 0 all that the depth has. It fails with 87 for
/// null, for a size that is 0 or larger than `kxw::kMaxImageSize` and a width below 0, and for
/// another depth; with 8 where there is no memory, a row would pass 0x7FFFFFFF bytes or the block 4
/// GiB.
KX_EXPORT HBITMAP kxwCreateDIBSection(const BITMAPINFO* info, int* error);

/// Makes a bitmap of a window's device, black; null on failure, with the last error as above.
/// `bitCount` x `planes` is its depth. Up to 8 bits its colours are greys, rising from black.
/// Neither `window` nor `flags` make a difference on this host.
KX_EXPORT HBITMAP qmwCreateDDB(HWND window, int flags, int width, int height, int bitCount,
                               int planes);

/// Null is left alone.
KX_EXPORT void kxwFreeBitmap(HBITMAP bitmap);

/// Fills `*record` and returns 1; 0 for null.
KX_EXPORT int kxwGetBitmap(HBITMAP bitmap, tagBITMAP* record);

// Pictures are bitmaps that a module carries.

/// A picture of a module by its number, through the application's procedure
/// (`HostProcedures::loadPicture`). The caller frees it. Null if there is none.
KX_EXPORT HBITMAP qmLoadPictResource(int id, HINSTANCE module);
/// As `kxwFreeBitmap`.
KX_EXPORT void qmDeleteHPICT(HBITMAP picture);
/// Fills `*rect` with the picture's size, from (0, 0) on, and returns 1; 0 for null.
KX_EXPORT int qmGetPictRect(HBITMAP picture, tagRECT* rect);
