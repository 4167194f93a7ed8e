#pragma once

#include <cstring>
#include <vector>

#include "kxwcmn/offscreen/autolock.h"
#include "kxwcmn/offscreen/voffscreen_depths.h"
#include "tests/support/images.h"

namespace testing_kxw {

/// An image of which some blocks are unwritten and the others hold noise, also beyond the image's
/// edge, where nothing must ever change.
inline ImagePtr Scribbled(int bits, int width, int height, unsigned seed) {
  Random random(seed);
  std::vector<u64> noise(509);  // no row of a block begins like its neighbour
  for (u64& word : noise) {
    word = random.Bits();
    if (random.OneIn(3)) word |= random.OneIn(2) ? ~0ull : 0xFF000000FF000000;
    if (random.OneIn(3)) word &= random.OneIn(2) ? 0 : 0x00FFFFFF00FFFFFF;
  }
  ImagePtr image = MakeImage(bits, width, height, 72, RoomyManager());
  KXVOffscreenAutoLock lock(image.get(), 1);
  for (int i = 0; i < image->GetBlockCount(nullptr, nullptr); ++i) {
    if (random.OneIn(3)) continue;
    const KXRect block = image->GetBlockByIndex(i);
    image->MoveCursor(block.left, block.top);
    const std::size_t words = std::size_t(image->GetBlockRowBytes()) * 256 / 8;
    for (std::size_t at = 0; at < words; ++at) {
      std::memcpy(image->GetBaseAddress() + at * 8, &noise[at % noise.size()], 8);
    }
  }
  return image;
}

/// Whether two images hold the same bytes. An unwritten block counts as a cleared one: the write
/// lock makes it.
inline bool AreSame(KXVOffscreen& a, KXVOffscreen& b) {
  KXVOffscreenAutoLock lockA(&a, 1), lockB(&b, 1);
  for (int i = 0; i < a.GetBlockCount(nullptr, nullptr); ++i) {
    const KXRect block = a.GetBlockByIndex(i);
    a.MoveCursor(block.left, block.top);
    b.MoveCursor(block.left, block.top);
    if (std::memcmp(a.GetBaseAddress(), b.GetBaseAddress(),
                    std::size_t(a.GetBlockRowBytes()) * 256)) {
      return false;
    }
  }
  return true;
}

/// A colour whose channels often stand where a rule branches.
inline u64 AnyColor(Random& random) {
  const BYTE edges[] = {0, 1, 126, 127, 128, 129, 254, 255};
  u64 color = 0;
  for (int i = 0; i < 4; ++i) {
    const BYTE channel = random.OneIn(2) ? edges[random.Int(0, 7)] : BYTE(random.Int(0, 255));
    color = color << 16 | channel * 257u;
  }
  return random.OneIn(2) ? color : color ^ (random.Bits() & 0x00FF00FF00FF00FF);
}
inline DWORD Narrowed(u64 color) { return KXVOffscreen::QMCOLORREF64to32(color); }

constexpr int kWidth = 300, kHeight = 280;

/// One image twice, for a fast form and its model, and what a shape may be drawn with.
struct Twins {
  explicit Twins(unsigned seed, int depth, int width = kWidth, int height = kHeight)
      : random(seed),
        bits(depth),
        fast(Scribbled(bits, width, height, seed)),
        plain(Scribbled(bits, width, height, seed)),
        color(AnyColor(random)),
        bounds(random.OneIn(2) ? AnyRect() : fast->GetRect()) {
    if (bounds != fast->GetRect()) clip = &bounds;
    for (BYTE& byte : pattern) byte = BYTE(random.Int(0, 1) * 7);
    stipple = random.OneIn(2) ? pattern : nullptr;
  }
  explicit Twins(unsigned seed) : Twins(seed, kAllDepths[seed % 7]) {}

  /// A rectangle with corners near seams and edges, sometimes empty, reversed or without end.
  KXRect AnyRect() {
    KXRect rect(random.Edge(-30, kWidth + 30), random.Edge(-30, kHeight + 30),
                random.Edge(-30, kWidth + 30), random.Edge(-30, kHeight + 30));
    if (!random.OneIn(6)) rect.NormalizeRect();
    if (random.OneIn(8)) return KXRect(rect.left, rect.top, rect.left, rect.top);
    if (random.OneIn(20)) rect.left = rect.top = -0x7FFFFFFF - 1;
    if (random.OneIn(20)) rect.right = rect.bottom = 0x7FFFFFFF;
    return rect;
  }
  const BYTE* StippleRow(int y) const { return stipple ? stipple + (y & 3) * 4 : nullptr; }
  bool Agree() { return AreSame(*fast, *plain); }

  Random random;
  int bits;
  ImagePtr fast, plain;
  u64 color;
  KXRect bounds;            // of what may be drawn
  tagRECT* clip = nullptr;  // the same, unless it is the image
  BYTE pattern[16];
  BYTE* stipple;
};

/// Calls `op(x, y)` with the cursor on each pixel of `rect` that lies in the image.
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
