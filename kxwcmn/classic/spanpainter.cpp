#include "kxwcmn/classic/spanpainter_internal.h"

#include <algorithm>

#include "kxwcmn/classic/rows_internal.h"

namespace kxw {

/// The rules, for a row of pixels each.
struct SpanPainter::Paints {
  template <class Depth>
  static void Replace(BYTE* row, int x, int count, const Ink& ink) {
    typename Depth::Pixel pixel;
    if constexpr (Depth::kBits == 1) {
      pixel = Depth::From1(ink.color1);
    } else if constexpr (Depth::kBits == 8) {
      pixel = Depth::From8(ink.color8);
    } else {
      pixel = Depth::From24(ink.color);
    }
    FillPixels<Depth>(row, x, count, Depth::FillOf(pixel));
  }

  /// The darker one of pixel and fore colour.
  template <class Depth>
  static void Darken(BYTE* row, int x, int count, const Ink& ink) {
    if constexpr (Depth::kBits == 1) {
      if (ink.color1 == 1) Replace<Depth>(row, x, count, ink);
    } else if constexpr (Depth::kBits == 8) {
      for (int i = x; i < x + count; ++i) row[i] = std::max(row[i], ink.color8);
    } else {
      const BYTE most[] = {Red(ink.color), Green(ink.color), Blue(ink.color)};
      ChangeBytes<Depth>(row, x, count, [&](int i, BYTE byte) { return std::min(byte, most[i]); });
    }
  }

  template <class Depth>
  static void Mix(BYTE* row, int x, int count, const Ink& ink) {
    if constexpr (Depth::kBits == 1) {
      Replace<Depth>(row, x, count, ink);
    } else if constexpr (Depth::kBits == 8) {
      for (int i = x; i < x + count; ++i) row[i] = ink.mixed[0][row[i]];
    } else {
      ChangeBytes<Depth>(row, x, count, [&](int i, BYTE byte) { return ink.mixed[i][byte]; });
    }
  }

  /// Makes red, green and blue of the first three bytes of each pixel, by `op(i, byte)`. At 32 bits
  /// these are alpha, red and green: it reads other channels than it writes, which is meant.
  template <class Depth, class Op>
  static void ChangeBytes(BYTE* row, int x, int count, Op op) {
    constexpr int kBytes = Depth::kBits / 8;
    BYTE* at = row + PixelByte<Depth>(x);
    for (BYTE* const end = at + PixelByte<Depth>(count); at != end; at += kBytes) {
      const BYTE red = op(0, at[0]), green = op(1, at[1]), blue = op(2, at[2]);
      Depth::Store(at, 0, Depth::From24(MakeColor(red, green, blue, 0)));
    }
  }
};

SpanPainter::SpanPainter(KXOffscreen& image)
    : image_(image),
      mask_(image.clipMask_),
      maskLock_(image.clipMask_),
      base_(image.GetBaseAddress()),
      rowBytes_(image.GetRowBytes()) {
  tagRECT area = {};
  image.GetPaintArea(area);
  area_ = area;
  ink_.color = image.GetForeColor();
  ink_.color1 = image.Get1BitForeColor();
  ink_.color8 = image.Get8BitForeColor();
  const bool isOpaque = image.GetTransparency() == 255, darkens = image.GetMode() == 1;
  paint_ = WithClassicDepth(image.GetBitCount(), [=](auto depth) -> PaintFunc {
    using Depth = decltype(depth);
    return !isOpaque ? Paints::Mix<Depth>
           : darkens ? Paints::Darken<Depth>
                     : Paints::Replace<Depth>;
  });
  if (isOpaque || image.GetBitCount() == 1) return;
  const bool isGrey = image.GetBitCount() == 8;
  const BYTE colors[] = {isGrey ? ink_.color8 : Red(ink_.color), Green(ink_.color),
                         Blue(ink_.color)};
  for (int i = 0; i < (isGrey ? 1 : 3); ++i) {
    for (int byte = 0; byte < 256; ++byte) {
      ink_.mixed[i][byte] =
          static_cast<BYTE>(byte * image.transmissionRatio_ + colors[i] * image.opacityRatio_);
    }
  }
}

void SpanPainter::PaintMasked(BYTE* row, int x, int count, int maskY) const {
  // Below a coarse mask the step is 0: it is read at the span's first column for the whole span.
  // This is kept so.
  const int maskX = image_.OffscreenToClipMaskX(x), step = image_.OffscreenToClipMask(1);
  const BYTE* const maskRow = ClassicRow(*mask_, maskY);
  WithClassicDepth(mask_->GetBitCount(), [&](auto depth) {
    using Mask = decltype(depth);
    const auto isOpen = [=](int i) {
      return Mask::To1(LoadPixel<Mask>(maskRow, maskX + i * step)) != 0;
    };
    for (int i = 0; i < count;) {
      const int first = i;
      while (i < count && isOpen(i)) ++i;
      if (i > first) paint_(row, x + first, i - first, ink_);
      while (i < count && !isOpen(i)) ++i;
    }
  });
}

}  // namespace kxw
