#include <algorithm>

#include "kxwcmn/offscreen/detail/depths.h"
#include "kxwcmn/offscreen/voffscreen.h"

namespace {

bool IsWithin(int a, int b, int margin) {
  // The differences are at most 65535, so no margin can overflow them.
  return a - b <= margin && b - a <= margin;
}

bool IsByteWithin(DWORD a, DWORD b, int shift, int margin) {
  return IsWithin(static_cast<BYTE>(a >> shift), static_cast<BYTE>(b >> shift), margin);
}

bool IsWordWithin(u64 a, u64 b, int shift, int margin) {
  return IsWithin(static_cast<WORD>(a >> shift), static_cast<WORD>(b >> shift), margin);
}

}  // namespace

bool KXVOffscreen::IsEqualB(BYTE a, BYTE b, int margin) { return IsWithin(a, b, margin); }

bool KXVOffscreen::IsEqual2B(WORD a, WORD b, int margin) { return IsWithin(a, b, margin); }

bool KXVOffscreen::IsEqualRGB(DWORD a, DWORD b, int margin) {
  return IsByteWithin(a, b, 0, margin) && IsByteWithin(a, b, 8, margin) &&
         IsByteWithin(a, b, 16, margin);
}

bool KXVOffscreen::IsEqualRGBA(DWORD a, DWORD b, int margin) {
  if (a >> 24 == 0 && b >> 24 == 0) return true;
  return IsByteWithin(a, b, 24, margin) && IsEqualRGB(a, b, margin);
}

bool KXVOffscreen::IsEqualRGB64(u64 a, u64 b, int margin) {
  return IsWordWithin(a, b, 0, margin) && IsWordWithin(a, b, 16, margin) &&
         IsWordWithin(a, b, 32, margin);
}

bool KXVOffscreen::IsEqualQMCOLORREF64(u64 a, u64 b, int margin) {
  if (a >> 48 == 0 && b >> 48 == 0) return true;
  return IsWordWithin(a, b, 48, margin) && IsEqualRGB64(a, b, margin);
}

void KXVOffscreen::RenderPixelColor64Alpha(WORD* destination, WORD* source) {
  constexpr int kAlpha = 3;
  constexpr u64 kFull = 65535;
  if (destination[kAlpha] == 0) std::fill(destination, destination + kAlpha, WORD{0xFFFF});
  const u64 clear = kFull - destination[kAlpha];
  const u64 weight = (source[kAlpha] + 1ull) * clear >> 16;
  for (int i = 0; i < kAlpha; ++i) {
    const u64 ink = (kFull - source[i]) * weight >> 16;
    destination[i] = static_cast<WORD>(destination[i] > ink ? destination[i] - ink : 0);
  }
  destination[kAlpha] = static_cast<WORD>(kFull - ((kFull - source[kAlpha]) * clear >> 16));
}
