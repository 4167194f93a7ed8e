#pragma once

#include "kxwcmn/core/color.h"
#include "kxwcmn/core/pixelmath_internal.h"
#include "kxwcmn/platform/types.h"

// The arithmetic of the library's mixers, each rule written once for the virtual operations and for
// loops over rows.
//
// `MixN` lays an incoming value or colour on `pixel`, and returns false where the pixel is to be
// left untouched, not even written back: at some depths, writing what was read is a change.
// `weight` is the strength, 255 or 65535 in full; `MaskN` work on the mask channel alone.
namespace kxw {

/// A chain of mixers with more nodes leads into itself.
inline constexpr int kLongestChain = 256;

namespace detail {

/// p + (c - p) * w / 255, truncated toward zero.
constexpr BYTE WeighSigned(int p, int c, int w) {
  const int product = (c - p) * w;
  const int sign = product >> 31;  // all ones below zero: no branch, so that loops use vectors
  const int step = static_cast<int>(Div255(static_cast<DWORD>((product ^ sign) - sign)));
  return static_cast<BYTE>(p + ((step ^ sign) - sign));
}

/// p + (c - p) * w / full with the product wrapped to 32 unsigned bits before the division: a
/// falling channel ends beside where a signed division would put it, which is meant.
constexpr DWORD WeighWrapped(DWORD p, DWORD c, DWORD w, DWORD full) {
  return p + (c - p) * w / full;
}

}  // namespace detail

struct BlendRule {
  /// The union of two densities.
  static constexpr bool Mix8(BYTE& pixel, BYTE value) {
    pixel = static_cast<BYTE>(pixel + Div255((255u - pixel) * value));
    return true;
  }

  // Colours are mixed as densities, that is by their complements. Over an opaque pixel the result
  // is truncated, over a translucent one it is rounded; the difference is meant.
  static bool Mix32(QMCOLORREF& pixel, QMCOLORREF color, BYTE /*weight*/) {
    const DWORD a = Alpha(color), pa = Alpha(pixel);
    if (a == 0) return false;
    if (pa == 0 || a == 255) {
      pixel = color;
    } else if (pa == 255) {
      const auto mix = [a](DWORD p, DWORD c) {
        return static_cast<BYTE>(255 - Div255((255 - p) * (255 - a) + (255 - c) * a));
      };
      pixel = MakeColor(mix(Red(pixel), Red(color)), mix(Green(pixel), Green(color)),
                        mix(Blue(pixel), Blue(color)), 255);
    } else {
      const double x = static_cast<double>(pa * (255 - a)) * 0.00392156862745098;  // 1 / 255
      const double y = x + a;
      const double inverse = 1.0 / y;
      // x + a is y, so no result leaves the range of a byte.
      const auto mix = [=](int p, int c) {
        const double density = ((255 - p) * x + (255 - c) * static_cast<int>(a)) * inverse;
        return static_cast<BYTE>(255 - static_cast<int>(density + 0.5));
      };
      pixel = MakeColor(mix(Red(pixel), Red(color)), mix(Green(pixel), Green(color)),
                        mix(Blue(pixel), Blue(color)), static_cast<BYTE>(y + 0.5));
    }
    return true;
  }

  static constexpr bool Mix64(u64& pixel, u64 color, WORD /*weight*/) {
    const DWORD a = Alpha64(color), pa = Alpha64(pixel);
    if (a == 0) return false;
    if (pa == 0 || a == 65535) {
      pixel = color;
      return true;
    }
    const DWORD t = Div65535(pa * (65535 - a));
    const DWORD alpha = 65535 - Div65535((65535 - pa) * (65535 - a));  // not below t + a, nor 0
    const auto mix = [=](DWORD p, DWORD c) {
      return static_cast<WORD>(65535 - ((65535 - p) * t + (65535 - c) * a) / alpha);
    };
    pixel = MakeColor64(mix(Red64(pixel), Red64(color)), mix(Green64(pixel), Green64(color)),
                        mix(Blue64(pixel), Blue64(color)), static_cast<WORD>(alpha));
    return true;
  }
};

struct WeightCopyRule {
  static constexpr bool Mix32(QMCOLORREF& pixel, QMCOLORREF color, BYTE weight) {
    const auto mix = [weight](int p, int c) { return detail::WeighSigned(p, c, weight); };
    pixel = MakeColor(mix(Red(pixel), Red(color)), mix(Green(pixel), Green(color)),
                      mix(Blue(pixel), Blue(color)), mix(Alpha(pixel), Alpha(color)));
    return true;
  }

  static constexpr bool Mix64(u64& pixel, u64 color, WORD weight) {
    if (weight == 65535) {
      pixel = color;
      return true;
    }
    const auto mix = [weight](WORD p, WORD c) {
      return static_cast<WORD>(detail::WeighWrapped(p, c, weight, 65535));
    };
    pixel = MakeColor64(mix(Red64(pixel), Red64(color)), mix(Green64(pixel), Green64(color)),
                        mix(Blue64(pixel), Blue64(color)), mix(Alpha64(pixel), Alpha64(color)));
    return true;
  }
};

/// Keeps the higher density, which in colours is the higher alpha; the colours take no part.
struct CompDarkRule {
  static constexpr bool Mix8(BYTE& pixel, BYTE value) {
    if (pixel >= value) return false;
    pixel = value;
    return true;
  }
  static constexpr bool Mix32(QMCOLORREF& pixel, QMCOLORREF color, BYTE /*weight*/) {
    if ((pixel >> 24) >= (color >> 24)) return false;
    pixel = color;
    return true;
  }
  static constexpr bool Mix64(u64& pixel, u64 color, WORD /*weight*/) {
    if ((pixel >> 48) >= (color >> 48)) return false;
    pixel = color;
    return true;
  }
};

/// Keeps the lower density.
struct CompLightRule {
  static constexpr bool Mix8(BYTE& pixel, BYTE value) {
    if (pixel <= value) return false;
    pixel = value;
    return true;
  }
  static constexpr bool Mix32(QMCOLORREF& pixel, QMCOLORREF color, BYTE /*weight*/) {
    if ((pixel >> 24) <= (color >> 24)) return false;
    pixel = color;
    return true;
  }
  static constexpr bool Mix64(u64& pixel, u64 color, WORD /*weight*/) {
    if ((pixel >> 48) <= (color >> 48)) return false;
    pixel = color;
    return true;
  }
};

struct AddRule {
  static constexpr bool Mix8(BYTE& pixel, BYTE value) {
    // In terms of bytes, which loops add with vectors of them.
    const BYTE room = static_cast<BYTE>(255 - pixel);
    pixel = static_cast<BYTE>(pixel + (value < room ? value : room));
    return true;
  }
};

// The mask takes the red channel of the incoming colour, gated by its alpha. The mask is handed as
// a wide number and may come back with more bits than the channel has, which are to be cut: a loop
// that is not made to narrow its numbers in between needs half the time.

struct AlphaCopyRule {
  static constexpr bool Mask8(DWORD& mask, QMCOLORREF color, DWORD /*weight*/) {
    mask = Div255((color & 255) * (color >> 24));
    return true;
  }
  static constexpr bool Mask16(DWORD& mask, u64 color, DWORD /*weight*/) {
    mask = Div65535(DWORD{Red64(color)} * Alpha64(color));
    return true;
  }
};

struct AlphaBlendRule {
  static constexpr bool Mix8(BYTE& pixel, BYTE value) { return BlendRule::Mix8(pixel, value); }
  static constexpr bool Mask8(DWORD& mask, QMCOLORREF color, DWORD /*weight*/) {
    const DWORD product = (color & 255) * (color >> 24);
    if (product == 0) return false;
    mask = 255 - Div255((255 - mask) * (255 - Div255(product)));
    return true;
  }
  static constexpr bool Mask16(DWORD& mask, u64 color, DWORD /*weight*/) {
    const DWORD product = DWORD{Red64(color)} * Alpha64(color);
    if (product == 0) return false;
    mask = 65535 - Div65535((65535 - mask) * (65535 - Div65535(product)));
    return true;
  }
};

/// Moves the mask toward the colour's alpha. Unlike WeightCopyRule, the 32-bit form too divides a
/// wrapped product, and neither form has a shortcut for the full weight.
struct AlphaWeightCopyRule {
  static constexpr bool Mask8(DWORD& mask, QMCOLORREF color, DWORD weight) {
    mask = detail::WeighWrapped(mask, color >> 24, weight, 255);
    return true;
  }
  static constexpr bool Mask16(DWORD& mask, u64 color, DWORD weight) {
    mask = detail::WeighWrapped(mask, Alpha64(color), weight, 65535);
    return true;
  }
};

}  // namespace kxw
