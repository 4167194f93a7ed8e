// The first program of the README: an image larger than the memory it may use.
#include <cstdio>

#include "kxwcmn/kxwcmn.h"

int main() {
  kxGetVirtualMemory()->Create(16 << 20);  // a pool of 16 MiB, a temporary swap file

  const KXVOffscreenPtr image = KXVOffscreen::Make(32, 100000, 100000);  // 37 GiB, if all painted

  image->RectFill(KXRect(40000, 40000, 42000, 42000), 0, 0xFF3366CC);  // alpha, blue, green, red
  image->FloodFill(KXPoint(41000, 41000), 0xFF33AAFF);                 // all that has its colour

  BYTE pixels[2][4];  // one at the square's right edge, and nothing beside it
  image->ReadPixels(KXRect(41999, 41000, 42001, 41001), KXPixelFormat::kRgba8, pixels);
  for (const auto& [red, green, blue, alpha] : pixels) {
    std::printf("red %d, green %d, blue %d, alpha %d\n", red, green, blue, alpha);
  }

  std::printf("%.1f MiB of blocks\n", static_cast<double>(image->GetUsedMemory(0)) / (1 << 20));
}
