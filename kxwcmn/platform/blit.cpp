#include <algorithm>
#include <cstring>
#include <limits>

#include "kxwcmn/platform/blit_internal.h"

namespace kxw {

namespace {

constexpr DWORD kOpaque = 0xFF000000;

DWORD Word(unsigned red, unsigned green, unsigned blue) {
  return kOpaque | red << 16 | green << 8 | blue;
}

/// The pixel at column `x` of a row.
template <int kBits>
DWORD LoadPixel(const BYTE* row, int x, const DWORD* colors) {
  const auto at = static_cast<std::size_t>(x);
  if constexpr (kBits == 1) {
    return colors[row[at / 8] >> (7 - at % 8) & 1];
  } else if constexpr (kBits == 4) {
    return colors[at % 2 ? row[at / 2] & 15 : row[at / 2] >> 4];
  } else if constexpr (kBits == 8) {
    return colors[row[at]];
  } else if constexpr (kBits == 16) {
    const unsigned grey = row[at * 2 + 1];
    return Word(grey, grey, grey);
  } else if constexpr (kBits == 24) {
    const BYTE* const pixel = row + at * 3;
    return Word(pixel[2], pixel[1], pixel[0]);
  } else if constexpr (kBits == 32) {
    DWORD pixel;
    std::memcpy(&pixel, row + at * 4, sizeof pixel);
    return pixel | kOpaque;
  } else {
    WORD words[3];
    std::memcpy(words, row + at * 8, sizeof words);
    return Word(words[0] / 257u, words[1] / 257u, words[2] / 257u);
  }
}

/// The `count` pixels from column `x` on.
template <int kBits>
void LoadRun(const BYTE* row, int x, int count, const DWORD* colors, DWORD* out) {
  for (int i = 0; i < count; ++i) out[i] = LoadPixel<kBits>(row, x + i, colors);
}

// A word at a time, which takes one byte of the pixel behind along: not so at the last one.
template <>
void LoadRun<24>(const BYTE* row, int x, int count, const DWORD* colors, DWORD* out) {
  if (count <= 0) return;
  const BYTE* pixel = row + static_cast<std::size_t>(x) * 3;
  for (int i = 0; i + 1 < count; ++i, pixel += 3) {
    DWORD word;
    std::memcpy(&word, pixel, sizeof word);
    out[i] = word | kOpaque;
  }
  out[count - 1] = LoadPixel<24>(row, x + count - 1, colors);
}

using RowLoader = void (*)(const BYTE* row, const NearestMap& columns, const DWORD* colors,
                           DWORD* out);

template <int kBits>
void LoadRow(const BYTE* row, const NearestMap& columns, const DWORD* colors, DWORD* out) {
  const int count = columns.Count();
  if (columns.IsShift()) {
    LoadRun<kBits>(row, columns[0], count, colors, out);
    return;
  }
  const int* const sources = columns.Sources();
  for (int i = 0; i < count; ++i) out[i] = LoadPixel<kBits>(row, sources[i], colors);
}

RowLoader RowLoaderOf(int bitCount) {
  switch (bitCount) {
    case 1:
      return LoadRow<1>;
    case 4:
      return LoadRow<4>;
    case 8:
      return LoadRow<8>;
    case 16:
      return LoadRow<16>;
    case 24:
      return LoadRow<24>;
    case 32:
      return LoadRow<32>;
    case 64:
      return LoadRow<64>;
    default:
      return nullptr;
  }
}

/// A binary operation by its truth table: bit 3 is its result for source and target both set, bit 2
/// for the source alone, bit 1 for the target alone, bit 0 for neither.
class Combination {
 public:
  explicit Combination(int rasterOperation) {
    for (int i = 0; i < 4; ++i) masks_[i] = rasterOperation >> (16 + i) & 1 ? ~DWORD{0} : 0;
  }

  DWORD operator()(DWORD s, DWORD d) const {
    return kOpaque | (s & d & masks_[3]) | (s & ~d & masks_[2]) | (~s & d & masks_[1]) |
           (~s & ~d & masks_[0]);
  }

 private:
  DWORD masks_[4];
};

}  // namespace

bool DescribeBlock(const BYTE* bits, const BITMAPINFOHEADER* header, PixelBlock* block) {
  if (!bits || !header || !RowLoaderOf(header->biBitCount)) return false;
  if (header->biWidth < 0 || header->biHeight == std::numeric_limits<LONG>::min()) return false;
  const bool isTopDown = header->biHeight < 0;
  block->width = header->biWidth;
  block->height = isTopDown ? -header->biHeight : header->biHeight;
  block->bitCount = header->biBitCount;
  block->rowBytes =
      static_cast<std::ptrdiff_t>((i64{block->width} * block->bitCount + 31) / 32 * 4);
  block->top = bits;
  if (!isTopDown && block->height > 0) {
    block->top += block->rowBytes * (block->height - 1);
    block->rowBytes = -block->rowBytes;
  }
  if (block->bitCount > 8) return true;
  const auto* const palette = reinterpret_cast<const tagRGBQUAD*>(header + 1);
  for (int i = 0; i < 1 << block->bitCount; ++i) {
    block->colors[i] = Word(palette[i].rgbRed, palette[i].rgbGreen, palette[i].rgbBlue);
  }
  return true;
}

NearestMap::NearestMap(i64 start, int size, int sourceStart, int sourceSize, int limit, int from,
                       int to) {
  const bool isMirrored = (size < 0) != (sourceSize < 0);
  const i64 low = size < 0 ? start + size : start;
  const i64 sourceLow = sourceSize < 0 ? i64{sourceStart} + sourceSize : sourceStart;
  const auto length = static_cast<u64>(size < 0 ? -i64{size} : size);
  const auto sourceLength = static_cast<u64>(sourceSize < 0 ? -i64{sourceSize} : sourceSize);
  if (length == 0 || sourceLength == 0) return;
  const i64 begin = std::max<i64>(low, from),
            end = std::min<i64>(low + static_cast<i64>(length), to);
  for (i64 at = begin; at < end; ++at) {
    // The source of the pixel's centre, which has no half in whole numbers of half pixels.
    u64 offset = (2 * static_cast<u64>(at - low) + 1) * sourceLength / (2 * length);
    if (isMirrored) offset = sourceLength - 1 - offset;
    const i64 source = sourceLow + static_cast<i64>(offset);
    if (source < 0 || source >= limit) continue;
    if (sources_.empty()) first_ = static_cast<int>(at);
    sources_.push_back(static_cast<int>(source));
  }
  isShift_ = length == sourceLength && !isMirrored;
}

void Transfer(const PixelBlock& block, const NearestMap& columns, const NearestMap& rows,
              int rasterOperation, const ScreenRows& target, const DWORD* transparent) {
  const int count = columns.Count();
  if (count == 0) return;
  const RowLoader load = RowLoaderOf(block.bitCount);
  const bool isCopy = IsCopy(rasterOperation) && !transparent;
  const Combination combine(rasterOperation);
  std::vector<DWORD> loaded(isCopy ? 0 : static_cast<std::size_t>(count));
  const DWORD* before = nullptr;
  for (int i = 0; i < rows.Count(); ++i) {
    auto* const out = reinterpret_cast<DWORD*>(target.top + target.rowBytes * (rows.First() + i)) +
                      columns.First();
    DWORD* const words = isCopy ? out : loaded.data();
    if (!before || rows[i] != rows[i - 1]) {
      load(block.top + block.rowBytes * rows[i], columns, block.colors, words);
    } else if (isCopy) {
      std::memcpy(out, before, static_cast<std::size_t>(count) * sizeof *out);
    }
    before = words;
    if (isCopy) continue;
    for (int x = 0; x < count; ++x) {
      if (!transparent || words[x] != *transparent) out[x] = combine(words[x], out[x]);
    }
  }
}

}  // namespace kxw
