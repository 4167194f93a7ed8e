#include <memory>

#include "kxwcmn/compositing/detail/blockwalk.h"
#include "kxwcmn/compositing/detail/rows.h"
#include "kxwcmn/offscreen/autolock.h"
#include "kxwcmn/platform/vectorize_internal.h"

// Reducing an image to greys, or by dither to black, white and nothing: the source's rows become
// bytes first, and those the destination's pixels.

namespace {

constexpr int kSize = KXVOffscreen::kBlockSize;

/// Calls `op` as ForEachRowPair does for all of a copy's source that has memory.
template <class Op>
void ForEachSourceRow(KXVOffscreen& dst, KXVOffscreen& src, const kxw::CopyArea& area, Op op) {
  KXVOffscreenAutoLock dstLock(&dst, 1), srcLock(&src, 0);
  kxw::ForEachSource(
      src, area.source,
      [&](const KXRect& part, const BYTE* base) {
        kxw::ForEachRowPair(dst, src, base, part, area.dx, area.dy, true, op);
      },
      [](const KXRect&) {});
}

// --- Greys --------------------------------------------------------------------------------------

using LuminanceFunc = void (*)(const BYTE* row, int column, int count, BYTE* luminances);

template <class Depth>
void ReadLuminances(const BYTE* row, int column, int count, BYTE* luminances) {
  const kxw::RowReader<Depth> pixels(row, column, count);
  for (int i = 0; i < count; ++i) {
    luminances[i] = static_cast<BYTE>(kxw::LuminanceOf(Depth::To24(pixels[i])));
  }
}

// --- Two bits -----------------------------------------------------------------------------------

/// The least values that set a bit, for the pixels of a row of the dither pattern, which goes on
/// for the length of a block and a cell.
class Thresholds {
 public:
  /// With `sorts`, values below 15 never set a bit and those from 208 on always do.
  explicit Thresholds(bool sorts) {
    for (int y = 0; y < kCells; ++y) {
      for (int x = 0; x < kSize + kCells; ++x) rows_[y][x] = Threshold(x % kCells, y, sorts);
    }
  }
  /// Those of the pixels from (x, y) on.
  const BYTE* At(int x, int y) const { return rows_[y % kCells] + x % kCells; }

 private:
  static constexpr int kCells = 4;

  static BYTE Threshold(int x, int y, bool sorts) {
    const auto column = static_cast<std::size_t>(x), row = static_cast<std::size_t>(y);
    int level = 0;  // becomes the first that sets the cell
    while (!KXVOffscreen::cbDitherTable[static_cast<std::size_t>(level)][column][row]) ++level;
    const int least = 16 * level - 8;  // a value's level is a sixteenth of it, rounded
    return static_cast<BYTE>(sorts ? std::clamp(least, 15, 208) : least);
  }

  BYTE rows_[kCells][kSize + kCells];
};

/// Codes of pixels: "drawn" is bit 1 and "dark" bit 0, which is how 2 bits say black and white.
using CodeFunc = void (*)(const BYTE* row, int column, int count, const BYTE* least, BYTE* codes);

template <class Depth, bool kSorts>
void DitherCodes(const BYTE* row, int column, int count, const BYTE* least, BYTE* codes) {
  // Each in a loop of its own, for vectors of bytes.
  BYTE alphas[kSize], densities[kSize];
  const kxw::RowReader<Depth> pixels(row, column, count);
  for (int i = 0; i < count; ++i) {
    const DWORD color = Depth::To16(pixels[i]);
    alphas[i] = kxw::Alpha(color);
    densities[i] = static_cast<BYTE>(255 - kxw::Red(color));
  }
  for (int i = 0; i < count; ++i) {
    const int drawn = alphas[i] >= least[i], dark = densities[i] >= least[i];
    // Sorted, only what is drawn can be dark.
    codes[i] = static_cast<BYTE>(drawn << 1 | (kSorts ? drawn & dark : dark));
  }
}

template <class Depth, BYTE (*kTo)(BYTE)>
void PlainCodes(const BYTE* row, int column, int count, const BYTE* /*least*/, BYTE* codes) {
  const kxw::RowReader<Depth> pixels(row, column, count);
  for (int i = 0; i < count; ++i) codes[i] = kTo(pixels[i]);
}

constexpr bool SortsAlpha(int bitCount, int useMask) {
  return !useMask && (bitCount == 16 || bitCount == 32);
}

CodeFunc CodesOf(int bitCount, int useMask) {
  switch (bitCount) {
    case 1:
      return PlainCodes<kxw::Depth1, kxw::Depth1::To1>;
    case 2:
      return PlainCodes<kxw::Depth2, kxw::Depth2::To2>;
    case 8:
      return kxw::InVectors<DitherCodes<kxw::Depth8, false>>;
    case 16:
      return useMask ? kxw::InVectors<DitherCodes<kxw::Depth16, false>>
                     : kxw::InVectors<DitherCodes<kxw::Depth16, true>>;
    case 24:
      return kxw::InVectors<DitherCodes<kxw::Depth24, false>>;
    case 32:
      return useMask ? kxw::InVectors<DitherCodes<kxw::Depth32, false>>
                     : kxw::InVectors<DitherCodes<kxw::Depth32, true>>;
    case 64:
      return kxw::InVectors<DitherCodes<kxw::Depth64, false>>;
    default:
      return nullptr;
  }
}

/// The value of 2 bits that is stored for a code.
BYTE ValueOf(int code, int bitCount, int srcBitCount, int invert) {
  // Few depths tell white from nothing, and of 2 bits only the same depth takes it over.
  const bool tellsWhite = bitCount == 2 || (srcBitCount > 2 && (bitCount == 16 || bitCount == 32));
  if (code != 3 && !tellsWhite) code = 0;
  if (invert) code = code & 1 ? 0 : 3;
  return static_cast<BYTE>(code);
}

}  // namespace

void KXVOffscreen::Grayish(int dstX, int dstY, int width, int height, KXVOffscreen* src, int srcX,
                           int srcY, int invert) {
  if (bitCount_ == 16) {
    Copy(dstX, dstY, width, height, src, srcX, srcY, 1);
    return;
  }
  kxw::CopyArea area;
  if (!src || !kxw::CutCopyArea(*this, dstX, dstY, width, height, *src, srcX, srcY, area)) return;
  const LuminanceFunc read = kxw::WithDepth(src->bitCount_, [](auto depth) -> LuminanceFunc {
    return kxw::InVectors<ReadLuminances<decltype(depth)>>;
  });
  if (!read) return;
  std::unique_ptr<KXVOffscreen> snapshot;
  if (src == this) snapshot = kxw::MakeSnapshot(*this, area.source);
  const BYTE flip = invert ? 0 : 255;  // 255 - g is g with all bits flipped
  kxw::WithDepth(bitCount_, [&](auto depth) {
    using Depth = decltype(depth);
    ForEachSourceRow(*this, snapshot ? *snapshot : *src, area,
                     [=](BYTE* to, int toColumn, const BYTE* from, int fromColumn, int count,
                         int /*x*/, int /*y*/) {
                       BYTE luminances[kSize];
                       read(from, fromColumn, count, luminances);
                       kxw::RowWriter<Depth> target(to, toColumn, count);
                       for (int i = 0; i < count; ++i) {
                         target.Set(i, Depth::From8(static_cast<BYTE>(luminances[i] ^ flip)));
                       }
                       target.Finish();
                     });
  });
}

void KXVOffscreen::Monochromic(int dstX, int dstY, int width, int height, KXVOffscreen* src,
                               int srcX, int srcY, int invert, int useMask) {
  kxw::CopyArea area;
  if (!src || !kxw::CutCopyArea(*this, dstX, dstY, width, height, *src, srcX, srcY, area)) return;
  const CodeFunc read = CodesOf(src->bitCount_, useMask);
  if (!read) return;
  const Thresholds thresholds(SortsAlpha(src->bitCount_, useMask));
  std::unique_ptr<KXVOffscreen> snapshot;
  if (src == this) snapshot = kxw::MakeSnapshot(*this, area.source);
  kxw::WithDepth(bitCount_, [&](auto depth) {
    using Depth = decltype(depth);
    constexpr int kCodes = 4;
    typename Depth::Pixel pixels[kCodes];
    for (int code = 0; code < kCodes; ++code) {
      // A bit is stored as a bit, which most depths make something else of than of 2 bits.
      pixels[code] = src->bitCount_ == 1
                         ? Depth::From1(static_cast<BYTE>((code == 1) != (invert != 0)),
                                        {byteClearColor_, clearColor_, clearColor64_})
                         : Depth::From2(ValueOf(code, bitCount_, src->bitCount_, invert));
    }
    ForEachSourceRow(
        *this, snapshot ? *snapshot : *src, area,
        [&](BYTE* to, int toColumn, const BYTE* from, int fromColumn, int count, int x, int y) {
          BYTE codes[kSize];
          read(from, fromColumn, count, thresholds.At(x, y), codes);
          kxw::RowWriter<Depth> target(to, toColumn, count);
          for (int i = 0; i < count; ++i) target.Set(i, pixels[codes[i]]);
          target.Finish();
        });
  });
}
