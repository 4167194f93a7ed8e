#include <algorithm>

#include "kxwcmn/core/pixelmath_internal.h"
#include "kxwcmn/offscreen/voffscreen.h"

bool KXVOffscreen::IsEqualB(BYTE a, BYTE b, int margin) { return kxw::IsWithin(a, b, margin); }

bool KXVOffscreen::IsEqual2B(WORD a, WORD b, int margin) { return kxw::IsWithin(a, b, margin); }

bool KXVOffscreen::IsEqualRGB(DWORD a, DWORD b, int margin) {
  return kxw::AreColorsWithin(a, b, margin);
}

bool KXVOffscreen::IsEqualRGBA(DWORD a, DWORD b, int margin) {
  return kxw::ArePixelsWithin(a, b, margin);
}

bool KXVOffscreen::IsEqualRGB64(u64 a, u64 b, int margin) {
  return kxw::AreColors64Within(a, b, margin);
}

bool KXVOffscreen::IsEqualQMCOLORREF64(u64 a, u64 b, int margin) {
  return kxw::ArePixels64Within(a, b, margin);
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
