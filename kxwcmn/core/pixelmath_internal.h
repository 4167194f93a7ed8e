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

/// Whether `a` lies in [b - margin, b + margin]. Channels are at most 65535, so no margin
/// overflows. These are without branches, so that loops over them vectorise.
constexpr bool IsWithin(int a, int b, int margin) { return (a - b <= margin) & (b - a <= margin); }

constexpr bool IsByteWithin(DWORD a, DWORD b, int shift, int margin) {
  return IsWithin(static_cast<BYTE>(a >> shift), static_cast<BYTE>(b >> shift), margin);
}
constexpr bool IsWordWithin(u64 a, u64 b, int shift, int margin) {
  return IsWithin(static_cast<WORD>(a >> shift), static_cast<WORD>(b >> shift), margin);
}
/// The three colours, each within `margin`.
constexpr bool AreColorsWithin(DWORD a, DWORD b, int margin) {
  return IsByteWithin(a, b, 0, margin) & IsByteWithin(a, b, 8, margin) &
         IsByteWithin(a, b, 16, margin);
}
constexpr bool AreColors64Within(u64 a, u64 b, int margin) {
  return IsWordWithin(a, b, 0, margin) & IsWordWithin(a, b, 16, margin) &
         IsWordWithin(a, b, 32, margin);
}
/// Alpha and the three colours; two that are wholly transparent are alike.
constexpr bool ArePixelsWithin(DWORD a, DWORD b, int margin) {
  return ((a >> 24 == 0) & (b >> 24 == 0)) |
         (IsByteWithin(a, b, 24, margin) & AreColorsWithin(a, b, margin));
}
constexpr bool ArePixels64Within(u64 a, u64 b, int margin) {
  return ((a >> 48 == 0) & (b >> 48 == 0)) |
         (IsWordWithin(a, b, 48, margin) & AreColors64Within(a, b, margin));
}

/// The library's luminance: red 1, green 4, blue 2, over 7.
constexpr DWORD Luminance(DWORD red, DWORD green, DWORD blue) {
  return (red + 4 * green + 2 * blue) / 7;
}

}  // namespace kxw
