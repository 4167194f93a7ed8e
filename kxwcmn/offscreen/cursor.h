#pragma once

#include "kxwcmn/platform/export.h"
#include "kxwcmn/platform/types.h"

/// Where an image's one cursor stands: the block that it holds locked, and the pixel in it.
class KX_EXPORT KXVOffscreenCursor {
 public:
  KXVOffscreenCursor() = default;
  KXVOffscreenCursor(const KXVOffscreenCursor&) = default;
  KXVOffscreenCursor& operator=(const KXVOffscreenCursor&) = default;
  virtual ~KXVOffscreenCursor();

  /// Whether the cursor stands on a block of the grid.
  bool IsEnable() const { return blockIndex >= 0; }

  int blockIndex = -1;      ///< The current block, -1 off the image.
  BYTE* base = nullptr;     ///< The block's locked memory; null when it has none.
  BYTE* current = nullptr;  ///< The byte that holds the pixel; null when `base` is.
  int x = 0;                ///< Position in image coordinates.
  int y = 0;
  BYTE mask = 0;  ///< Below 8 bits: the pixel's bits in its byte.
};
