#include <memory>

#include "kxwcmn/compositing/detail/behind.h"
#include "kxwcmn/compositing/detail/blockwalk.h"
#include "kxwcmn/compositing/detail/rows.h"
#include "kxwcmn/offscreen/autolock.h"
#include "kxwcmn/platform/vectorize_internal.h"

// What is painted under an image, in its own pixels.

namespace {

constexpr int kSize = KXVOffscreen::kBlockSize;

template <class T>
constexpr T Less(T a, T b) {
  return static_cast<T>(a > b ? a - b : 0);
}

// --- White or black by a mask -------------------------------------------------------------------

// What a density of a mask paints under a pixel: nothing for 0, black where it is odd. A
// translucent pixel becomes opaque. Under white its colour stays as it is; under black it darkens
// by what its alpha lets through.

// Without a branch, for vectors.
DWORD PaintedUnder(kxw::Depth32, DWORD p, BYTE density) {
  const DWORD isDrawn = -static_cast<DWORD>(density != 0), isBlack = -(density & DWORD{1});
  const DWORD alpha = p >> 24, isClear = -static_cast<DWORD>(alpha == 0);
  const DWORD seen = (255 - alpha) & isBlack;
  const auto channel = [=](int shift) { return Less<DWORD>(p >> shift & 255, seen) << shift; };
  const DWORD laid = 0xFF000000 | channel(16) | channel(8) | channel(0);
  const DWORD paper = 0xFF000000 | ~isBlack;
  const DWORD painted = (paper & isClear) | (laid & ~isClear);
  return (painted & isDrawn) | (p & ~isDrawn);
}

kxw::Depth16::Pixel PaintedUnder(kxw::Depth16, kxw::Depth16::Pixel p, BYTE density) {
  if (density == 0) return p;
  const bool black = density & 1;
  if (p.alpha == 0) return {255, static_cast<BYTE>(black ? 0 : 255)};
  return {255, Less(p.grey, static_cast<BYTE>(black ? 255 - p.alpha : 0))};
}

BYTE PaintedUnder(kxw::Depth2, BYTE p, BYTE density) {
  if (density == 0 || kxw::Depth2::To2(p) != KXVOffscreen::cbTransmit2Bit) return p;
  return density & 1 ? KXVOffscreen::cbBlack2Bit : KXVOffscreen::cbWhite2Bit;
}

using DensityFunc = void (*)(const BYTE* row, int column, int count, BYTE* densities);

template <class Depth>
void ReadDensities(const BYTE* row, int column, int count, BYTE* densities) {
  const kxw::RowReader<Depth> pixels(row, column, count);
  for (int i = 0; i < count; ++i) densities[i] = Depth::To8(pixels[i]);
}

template <class Depth>
void PaintRowUnder(BYTE* row, int column, int count, const BYTE* densities) {
  const kxw::RowReader<Depth> pixels(row, column, count);
  kxw::RowWriter<Depth> target(row, column, count);
  for (int i = 0; i < count; ++i) {
    target.Set(i, PaintedUnder(Depth(), pixels[i], densities[i]));
  }
  target.Finish();
}

template <class Depth>
void PaintUnder(KXVOffscreen& image, KXVOffscreen& mask, const KXRect& area, DensityFunc read) {
  KXVOffscreenAutoLock maskLock(&mask, 0), lock(&image, 1);
  KXBlockGetter blocks(&mask, area, 1);
  for (KXRect part; blocks.GetNextBlock(part);) {
    const BYTE* base = kxw::EnterForRead(mask, part.left, part.top);
    if (!base) continue;
    kxw::ForEachRowPair(image, mask, base, part, 0, 0, false,
                        [read](BYTE* to, int column, const BYTE* from, int, int count, int, int) {
                          BYTE densities[kSize];
                          read(from, column, count, densities);
                          kxw::InVectors<PaintRowUnder<Depth>>(to, column, count, densities);
                        });
  }
}

// --- No white -----------------------------------------------------------------------------------

void DropWhite(BYTE* row, int column, int count) {
  const kxw::RowReader<kxw::Depth32> pixels(row, column, count);
  kxw::RowWriter<kxw::Depth32> target(row, column, count);
  for (int i = 0; i < count; ++i) {
    const DWORD p = pixels[i];
    target.Set(i, (p & 0x00FFFFFF) == 0x00FFFFFF ? 0x00FFFFFF : p);
  }
}

// --- A checkerboard -----------------------------------------------------------------------------

/// The square that a pixel lies on, 0 or 1: squares of 8 by 8 pixels.
constexpr int TileOf(int x, int y) { return (x ^ y) >> 3 & 1; }

// A paper is a row of memory of the image's depth, to be laid behind the image's rows.

/// At 32 and 64 bits its pixels are opaque, and lie behind as those of a copy do.
template <class Depth>
struct Paper {
  static typename Depth::Pixel Of(DWORD tile) { return Depth::From24(tile); }
  static kxw::RowFunc Lay() { return kxw::FindRawBehindRow(Depth::kBits); }
};

/// At 16 bits a pixel darkens by the luminance of the tile's complement, which truncates by itself
/// and is not always the complement of the grey. The paper has it in the place of its alpha.
template <>
struct Paper<kxw::Depth16> {
  using Pixel = kxw::Depth16::Pixel;

  static Pixel Of(DWORD tile) {
    return {static_cast<BYTE>(kxw::LuminanceOf(~tile)), static_cast<BYTE>(kxw::LuminanceOf(tile))};
  }
  static kxw::RowFunc Lay() { return LayRow; }
  static void LayRow(BYTE* to, int toColumn, const BYTE* from, int fromColumn, int count) {
    const kxw::RowReader<kxw::Depth16> over(to, toColumn, count), paper(from, fromColumn, count);
    kxw::RowWriter<kxw::Depth16> target(to, toColumn, count);
    for (int i = 0; i < count; ++i) {
      const Pixel p = over[i], tile = paper[i];
      const DWORD ink = kxw::Div255(tile.alpha * (255u - p.alpha));
      target.Set(i, {255, p.alpha == 0 ? tile.grey : Less(p.grey, static_cast<BYTE>(ink))});
    }
  }
};

template <class Depth>
void LayOnPaper(KXVOffscreen& image, const KXRect& rect, DWORD tile0, DWORD tile1,
                bool includeEmpty) {
  // That of the rows from 0 on, and that of those from 8 on.
  alignas(8) BYTE papers[2][kxw::kRowBytes<Depth>];
  for (int i = 0; i < 2; ++i) {
    kxw::RowWriter<Depth> paper(papers[i], 0, kSize);
    for (int x = 0; x < kSize; ++x) {
      paper.Set(x, Paper<Depth>::Of(TileOf(x, 8 * i) ? tile1 : tile0));
    }
  }
  const kxw::RowFunc lay = Paper<Depth>::Lay();
  KXVOffscreenAutoLock lock(&image, 1);
  KXBlockGetter blocks(&image, rect, 1);
  for (KXRect part; blocks.GetNextBlock(part);) {
    if (!includeEmpty && image.CheckAreaType(part.left, part.top) != kAreaContents) continue;
    kxw::ForEachRow(image, part, false, [&](BYTE* row, int column, int count, int y) {
      lay(row, column, papers[TileOf(0, y)], column, count);
    });
  }
}

/// A colour that is always light.
constexpr DWORD LightTint(DWORD c) {
  return kxw::MakeColor((kxw::Red(c) >> 1) + 127u, (kxw::Green(c) >> 1) + 127u,
                        (kxw::Blue(c) >> 1) + 127u, 0);
}

}  // namespace

void KXVOffscreen::ReverseImage(KXVOffscreen* mask, int x, int y, int width, int height) {
  kxw::CopyArea area;
  if (!mask || !kxw::CutCopyArea(*this, x, y, width, height, *mask, x, y, area)) return;
  const DensityFunc read = kxw::WithDepth(
      mask->bitCount_, [](auto depth) -> DensityFunc { return ReadDensities<decltype(depth)>; });
  if (!read) return;
  std::unique_ptr<KXVOffscreen> snapshot;
  if (mask == this) snapshot = kxw::MakeSnapshot(*this, area.source);
  KXVOffscreen& from = snapshot ? *snapshot : *mask;
  switch (bitCount_) {
    case 2:
      return PaintUnder<kxw::Depth2>(*this, from, area.source, read);
    case 16:
      return PaintUnder<kxw::Depth16>(*this, from, area.source, read);
    case 32:
      return PaintUnder<kxw::Depth32>(*this, from, area.source, read);
    default:  // the other depths do not tell white from nothing
      return;
  }
}

void KXVOffscreen::ChangeWhiteToTrans(const KXRect& rect) {
  if (bitCount_ != 32) return;
  KXVOffscreenAutoLock lock(this, 1);
  KXBlockGetter blocks(this, rect, 1);
  for (KXRect part; blocks.GetNextBlock(part);) {
    if (!GetBlockExist(part.left, part.top)) continue;
    kxw::ForEachRow(*this, part, false, [](BYTE* row, int column, int count, int /*y*/) {
      kxw::InVectors<DropWhite>(row, column, count);
    });
  }
}

void KXVOffscreen::RenderBackground(const KXRect& rect, DWORD colorA, DWORD colorB,
                                    int includeEmpty) {
  const DWORD tile1 = colorA == colorB ? colorA : LightTint(colorB);
  switch (bitCount_) {
    case 16:
      return LayOnPaper<kxw::Depth16>(*this, rect, colorA, tile1, includeEmpty != 0);
    case 32:
      return LayOnPaper<kxw::Depth32>(*this, rect, colorA, tile1, includeEmpty != 0);
    case 64:
      return LayOnPaper<kxw::Depth64>(*this, rect, colorA, tile1, includeEmpty != 0);
    default:
      return;
  }
}
