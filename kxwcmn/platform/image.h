#pragma once

#include "kxwcmn/platform/export.h"
#include "kxwcmn/platform/memory.h"
#include "kxwcmn/platform/types.h"

// Images in one block of memory: a block of `qmAlloc` that holds a head and the rows of pixels.
// It is given back with `qmFree`.

namespace kxw {
/// The largest width and height: coordinates can be rounded up behind the image within 32 bits.
inline constexpr int kMaxImageSize = 0x7FFFFF00;

/// `qmImageCreate` with the flags of `qmAlloc`: where the caller writes every byte of the rows,
/// they need not be cleared.
QMHANDLE__* CreateImage(int width, int height, int bitCount, DWORD flags, int* error);
}  // namespace kxw

/// What is known of a locked image.
struct QMIMAGELOCK {
  BYTE* base;  ///< The first row; the rows follow each other every `rowBytes` bytes.
  int width;
  int height;
  int bitCount;
  int rowBytes;  ///< A multiple of 4.
  int layerKind;
};

/// Makes an image of `width` by `height` pixels of 1, 8, 24 or 32 bits, with every byte 0 and a
/// layer kind of 0. Sizes of 0 make an image without pixels. Returns null on failure with the code
/// in `*error` (if not null) and as last error: 87 for another depth and a size below 0 or above
/// `kMaxImageSize`, 8 where there is no memory, a row would pass 0x7FFFFFFF bytes or the block 4
/// GiB.
KX_EXPORT QMHANDLE__* qmImageCreate(int width, int height, int bitCount, int* error);

/// Fills `*record` and returns 1; returns 0, and leaves it, for null and for a block that is no
/// image. The address is stable until the block is freed. Locks nest and need not pair.
KX_EXPORT int qmImageLock(QMHANDLE__* image, QMIMAGELOCK* record);
KX_EXPORT void qmImageUnlock(QMHANDLE__* image);

/// What an image says of itself without a lock; 0 for a block that is no image.
KX_EXPORT int qmImageGetWidthDirect(QMHANDLE__* image);
KX_EXPORT int qmImageGetBitCountDirect(QMHANDLE__* image);

/// Marks an image with a number of the application's own; a block that is no image is left alone.
KX_EXPORT void qmImageSetLayerKind(QMHANDLE__* image, int layerKind);
