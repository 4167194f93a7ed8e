#pragma once

#include "kxwcmn/platform/types.h"

// The small arithmetic of pixel channels. All of it is unsigned and truncates.
namespace kxw {

/// v / 255, exact for v up to 65534, which holds every product of two bytes. Written without a
/// wide multiplication, so that loops over it vectorise.
constexpr DWORD Div255(DWORD v) { return (v + 1 + (v >> 8)) >> 8; }

/// v / 65535, exact for v up to 0xFFFEFFFF, which holds every product of two words.
constexpr DWORD Div65535(DWORD v) { return (v + 1 + (v >> 16)) >> 16; }

/// `v` weighed by an 8-bit alpha: a shift, not a division, so 255 keeps `v` and 0 leaves v / 256.
constexpr DWORD Weigh(DWORD v, DWORD alpha) { return v * (alpha + 1) >> 8; }

/// The library's luminance: red 1, green 4, blue 2, over 7.
constexpr DWORD Luminance(DWORD red, DWORD green, DWORD blue) {
  return (red + 4 * green + 2 * blue) / 7;
}

}  // namespace kxw
