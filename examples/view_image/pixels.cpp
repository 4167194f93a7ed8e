#include "view_image/pixels.h"

#include <algorithm>

namespace viewimage {
namespace {

constexpr DWORD kEven = 0x00FF00FF;

/// Both bytes of a word pair over 255, rounded.
DWORD Div255(DWORD pair) {
  pair += 0x00800080;
  return (pair + (pair >> 8 & kEven)) >> 8 & kEven;
}

/// Pixels that are alike in most pictures: wholly covered or wholly clear.
constexpr int kAlike = 8;

/// Lays pixels over a colour.
void LayOverColor(DWORD* pixels, int count, DWORD ground) {
  const DWORD even = ground & kEven, odd = ground >> 8 & kEven;
  for (int i = 0; i < count; ++i) {
    const DWORD p = pixels[i], alpha = p >> 24, rest = 255 - alpha;
    const DWORD low = Div255((p & kEven) * alpha + even * rest);
    const DWORD high = Div255((p >> 8 & kEven) * alpha + odd * rest);
    pixels[i] = low | high << 8 | 0xFF000000;
  }
}

void LayAlikeOverColor(DWORD* pixels, DWORD ground) {
  DWORD all = 0xFFFFFFFF, any = 0;
  for (int i = 0; i < kAlike; ++i) {
    all &= pixels[i];
    any |= pixels[i];
  }
  if (all >> 24 == 255) return;
  if (any >> 24 == 0) {
    std::fill_n(pixels, kAlike, ground | 0xFF000000);
  } else {
    LayOverColor(pixels, kAlike, ground);
  }
}

}  // namespace

void ReadAsShown(KXVOffscreen& image, const KXRect& rect, DWORD* pixels, int rowPixels) {
  image.ReadPixels(rect, KXPixelFormat::kBgra8, pixels, static_cast<std::ptrdiff_t>(rowPixels) * 4);
  if (image.GetBitCount() != 24) return;
  KXBlockGetter blocks(&image, rect, 1);
  for (KXRect part; blocks.GetNextBlock(part);) {
    if (image.GetBlockExist(part.left, part.top)) continue;
    for (int y = part.top; y < part.bottom; ++y) {
      std::fill_n(
          pixels + static_cast<std::ptrdiff_t>(y - rect.top) * rowPixels + part.left - rect.left,
          part.Width(), 0xFFFFFFFF);
    }
  }
}

bool IsOpaque(const DWORD* pixels, std::size_t count) {
  constexpr std::size_t kStride = 1024;  // a loop without a way out is one of vectors
  for (std::size_t i = 0; i < count;) {
    DWORD all = 0xFFFFFFFF;
    for (const std::size_t end = std::min(count, i + kStride); i < end; ++i) all &= pixels[i];
    if (all >> 24 != 255) return false;
  }
  return true;
}

template <class Op>
void Checkerboard::ForEachSquare(int count, i64 x, i64 y, Op op) const {
  bool isDark = ((x / side + y / side) & 1) != 0;
  for (int done = 0, next = side - static_cast<int>(x % side); done < count; next += side) {
    const int end = std::min(next, count);
    op(done, end - done, isDark ? dark : light);
    done = end;
    isDark = !isDark;
  }
}

void Checkerboard::LayOver(DWORD* pixels, int count, i64 x, i64 y) const {
  if (IsOpaque(pixels, static_cast<std::size_t>(count))) return;
  ForEachSquare(count, x, y, [&](int first, int width, DWORD color) {
    DWORD* at = pixels + first;
    for (; width >= kAlike; width -= kAlike, at += kAlike) LayAlikeOverColor(at, color);
    LayOverColor(at, width, color);
  });
}

void Checkerboard::Fill(DWORD* pixels, int count, i64 x, i64 y) const {
  ForEachSquare(count, x, y, [&](int first, int width, DWORD color) {
    std::fill_n(pixels + first, width, color);
  });
}

}  // namespace viewimage
