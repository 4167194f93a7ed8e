#pragma once

#include <stdexcept>

#include "kxwcmn/kxwcmn.h"

namespace examples {

using Offscreen = KXVOffscreenPtr;

/// The pixels of the block under the cursor, from the cursor on; null where nothing was painted.
/// Raises std::runtime_error for a block that is in the swap file and cannot be read.
inline const BYTE* PixelsUnderCursor(KXVOffscreen& image) {
  const BYTE* pixels = image.GetCurrentAddress();
  if (!pixels && image.GetBlockExist(image.GetCursorPosX(), image.GetCursorPosY())) {
    throw std::runtime_error("the swap file cannot be read");
  }
  return pixels;
}

/// Compares two images block by block, to the last bit, and returns how many blocks with memory
/// they have. Raises std::runtime_error where they differ. Shows its progress.
int CompareImages(KXVOffscreen& a, KXVOffscreen& b);

}  // namespace examples
