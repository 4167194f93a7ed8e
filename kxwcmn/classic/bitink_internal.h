#pragma once

#include <algorithm>
#include <cstddef>

#include "kxwcmn/classic/bitimage.h"
#include "kxwcmn/classic/detail/bitdepths.h"
#include "kxwcmn/core/color.h"
#include "kxwcmn/core/pixelmath_internal.h"
#include "kxwcmn/offscreen/detail/fillrun.h"

/// What drawing on a bit image leaves of its pixels, at the three depths that can be drawn on.
namespace kxw {

/// A colour as the pixel of a depth.
template <class Depth>
typename Depth::Pixel BitPixelOf(QMCOLORREF color) {
  if constexpr (Depth::kBits == 8) {
    return static_cast<BYTE>(Luminance(Red(color), Green(color), Blue(color)));
  } else {
    const DWORD bgr = Blue(color) | DWORD{Green(color)} << 8 | DWORD{Red(color)} << 16;
    return Depth::kBits == 24 ? bgr : bgr | DWORD{Alpha(color)} << 24;
  }
}

/// A 32-bit pixel with `ink`, a pixel too, laid over it, as ink lies on white paper.
inline DWORD LayBitInk(DWORD pixel, DWORD ink) {
  const int alpha = static_cast<int>(pixel >> 24), inkAlpha = static_cast<int>(ink >> 24);
  if (alpha == 0) pixel = 0x00FFFFFF;
  if (inkAlpha == 0 || alpha == 255) return pixel;
  if (alpha == 0 && inkAlpha == 255) return ink;
  const int weight = (255 - alpha) * inkAlpha / 255;
  DWORD laid = static_cast<DWORD>(255 - (255 - inkAlpha) * (255 - alpha) / 255) << 24;
  for (int shift = 0; shift < 24; shift += 8) {
    const int under = static_cast<BYTE>(pixel >> shift), over = static_cast<BYTE>(ink >> shift);
    laid |= static_cast<DWORD>(std::max(under - (255 - over) * weight / 255, 0)) << shift;
  }
  return laid;
}

/// Draws with a colour. `Replace` and `Lay` write pixels from column `x` on, which must exist.
template <class Depth>
class BitInk {
 public:
  explicit BitInk(QMCOLORREF color) : pixel_(BitPixelOf<Depth>(color)) {}

  void Replace(BYTE* row, int x, int count) const { FillRun<Depth>(row, x, count, pixel_); }
  /// As mode 1 does; `timesAt(x)` is how often the pixel of a column is laid over.
  template <class Times>
  void Lay(BYTE* row, int x, int count, Times timesAt) const {
    for (const int end = x + count; x < end; ++x) {
      DWORD pixel = Depth::Load(row, x);
      for (i64 times = timesAt(x); times > 0; --times) {
        const DWORD laid = LayBitInk(pixel, pixel_);
        if (laid == pixel) break;  // within 255 times, for the alpha grows until then
        pixel = laid;
      }
      Depth::Store(row, x, pixel);
    }
  }

 private:
  typename Depth::Pixel pixel_;
};

/// Calls `draw(paint)` for an image that can be drawn on; `paint(y, x, count, timesAt)` draws a run
/// of its pixels, and is the one loop over a depth and a mode.
template <class Draw>
void DrawBits(const KXBitImage& image, QMCOLORREF color, int mode, Draw draw) {
  if (!image.IsValid() || image.GetWidth() == 0) return;  // of empty rows there may be billions
  const auto rowAt = [&](int y) {
    return image.GetBaseAddress() + std::ptrdiff_t{y} * image.GetRowBytes();
  };
  WithBitDepth(image.GetBitCount(), [&](auto depth) {
    using Depth = decltype(depth);
    if constexpr (Depth::kBits == 8 || Depth::kBits == 24 || Depth::kBits == 32) {
      const BitInk<Depth> ink(color);
      if constexpr (Depth::kBits == 32) {
        if (mode == 1) {
          draw(
              [&](int y, int x, int count, auto timesAt) { ink.Lay(rowAt(y), x, count, timesAt); });
          return;
        }
      }
      draw([&](int y, int x, int count, auto) { ink.Replace(rowAt(y), x, count); });
    }
  });
}

/// Each pixel of a run once.
inline constexpr auto kOnce = [](int) { return i64{1}; };

}  // namespace kxw
