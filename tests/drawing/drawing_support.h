#pragma once

#include <cstring>
#include <vector>

#include "kxwcmn/offscreen/autolock.h"
#include "kxwcmn/offscreen/voffscreen_depths.h"
#include "tests/support/images.h"

// Pairs of images for a fast form and its model: the same random bytes in the same blocks, also in
// the part of a block that lies beyond the image's edge and must never change.

namespace testing_kxw {

/// An image of which some blocks are unwritten and the others hold random bytes.
inline ImagePtr Scribbled(int bits, int width, int height, unsigned seed) {
  Random random(seed);
  ImagePtr image = MakeImage(bits, width, height, 72, RoomyManager());
  KXVOffscreenAutoLock lock(image.get(), 1);
  for (int i = 0; i < image->GetBlockCount(nullptr, nullptr); ++i) {
    if (random.OneIn(3)) continue;
    const KXRect block = image->GetBlockByIndex(i);
    image->MoveCursor(block.left, block.top);
    BYTE* const bytes = image->GetBaseAddress();
    const int size = image->GetBlockRowBytes() * 256;
    for (int at = 0; at < size; at += 8) {
      u64 word = random.Bits();
      if (random.OneIn(4)) word |= random.OneIn(2) ? ~0ull : 0xFF000000FF000000;
      if (random.OneIn(4)) word &= random.OneIn(2) ? 0 : 0x00FFFFFF00FFFFFF;
      std::memcpy(bytes + at, &word, 8);
    }
  }
  return image;
}

/// All bytes of an image. Under the write lock an unwritten block counts as a cleared one.
inline std::vector<BYTE> BytesOf(KXVOffscreen& image) {
  std::vector<BYTE> bytes;
  KXVOffscreenAutoLock lock(&image, 1);
  for (int i = 0; i < image.GetBlockCount(nullptr, nullptr); ++i) {
    const KXRect block = image.GetBlockByIndex(i);
    image.MoveCursor(block.left, block.top);
    const BYTE* const base = image.GetBaseAddress();
    bytes.insert(bytes.end(), base, base + image.GetBlockRowBytes() * 256);
  }
  return bytes;
}

/// A colour whose channels often stand where a rule branches.
inline DWORD AnyColor(Random& random) {
  const BYTE edges[] = {0, 1, 126, 127, 128, 129, 254, 255};
  DWORD color = 0;
  for (int i = 0; i < 4; ++i) {
    color = color << 8 | (random.OneIn(2) ? edges[random.Int(0, 7)] : BYTE(random.Int(0, 255)));
  }
  return color;
}
inline u64 AnyColor64(Random& random) {
  return KXVOffscreen::QMCOLORREF32to64(AnyColor(random)) ^
         (random.OneIn(2) ? random.Bits() & 0xFF00FF00FF00FF : 0);
}

/// A rectangle with corners near seams and edges, sometimes empty, reversed or far outside.
inline KXRect AnyRect(Random& random, int width, int height) {
  KXRect rect(random.Edge(-30, width + 30), random.Edge(-30, height + 30),
              random.Edge(-30, width + 30), random.Edge(-30, height + 30));
  if (!random.OneIn(6)) rect.NormalizeRect();
  if (random.OneIn(20)) rect.left = rect.top = -0x7FFFFFFF - 1;
  if (random.OneIn(20)) rect.right = rect.bottom = 0x7FFFFFFF;
  return rect;
}

/// Calls `op(x, y)` with the cursor on each pixel of `rect` in the image.
template <class Op>
void ForEachPixel(KXVOffscreen& image, const KXRect& rect, Op op) {
  KXVOffscreenAutoLock lock(&image, 1);
  const KXRect part = rect & image.GetRect();
  for (int y = part.top; y < part.bottom; ++y) {
    for (int x = part.left; x < part.right; ++x) {
      image.MoveCursor(x, y);
      op(x, y);
    }
  }
}

}  // namespace testing_kxw
