#include "view_image/pixels.h"

#include <algorithm>
#include <cstring>

namespace viewimage {
namespace {

constexpr DWORD kEven = 0x00FF00FF;

/// Both bytes of a word pair over 255, rounded.
DWORD Div255(DWORD pair) {
  pair += 0x00800080;
  return (pair + (pair >> 8 & kEven)) >> 8 & kEven;
}

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

u64 LoadPair(const DWORD* pixels) {
  u64 pair;
  std::memcpy(&pair, pixels, sizeof pair);
  return pair;
}

/// The same by eights, which in most pictures are wholly covered or wholly clear.
void LayEightsOverColor(DWORD* pixels, int count, DWORD ground) {
  constexpr u64 kAlphas = 0xFF000000FF000000;
  for (; count >= 8; count -= 8, pixels += 8) {
    const u64 a = LoadPair(pixels), b = LoadPair(pixels + 2), c = LoadPair(pixels + 4),
              d = LoadPair(pixels + 6);
    if ((a & b & c & d & kAlphas) == kAlphas) continue;
    if (((a | b | c | d) & kAlphas) != 0) {
      LayOverColor(pixels, 8, ground);
    } else {
      std::fill_n(pixels, 8, ground | 0xFF000000);
    }
  }
  LayOverColor(pixels, count, ground);
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
void Checkerboard::ForEachSquare(KXSize size, i64 x, i64 y, Op op) const {
  const int column = static_cast<int>(x % side), line = static_cast<int>(y % side);
  const bool isDark = ((x / side + y / side) & 1) != 0;
  for (int row = 0; row < size.cy; ++row) {
    bool isThisDark = isDark != (((line + row) / side & 1) != 0);
    for (int done = 0, next = side - column; done < size.cx; next += side) {
      const int end = std::min<int>(next, size.cx);
      op(row, done, end - done, isThisDark ? dark : light);
      done = end;
      isThisDark = !isThisDark;
    }
  }
}

void Checkerboard::LayOver(DWORD* pixels, int rowPixels, KXSize size, i64 x, i64 y) const {
  ForEachSquare(size, x, y, [&](int row, int first, int width, DWORD color) {
    LayEightsOverColor(pixels + std::ptrdiff_t{row} * rowPixels + first, width, color);
  });
}

void Checkerboard::Fill(DWORD* pixels, int rowPixels, KXSize size, i64 x, i64 y) const {
  ForEachSquare(size, x, y, [&](int row, int first, int width, DWORD color) {
    std::fill_n(pixels + std::ptrdiff_t{row} * rowPixels + first, width, color);
  });
}

}  // namespace viewimage
