// What an application does first with the installed library: include one header, paint a pixel of
// an image, and catch a failure.
#include <cstdio>

#include "kxwcmn/kxwcmn.h"

int main() {
  try {
    kxGetVirtualMemory()->Create(1 << 20);
    const KXVOffscreenPtr image = KXVOffscreen::Make(32, 300, 300);
    image->RectFill(KXRect(290, 290, 291, 291), 0, 0xFF336699);
    DWORD color;
    image->ReadPixels(KXRect(290, 290, 291, 291), KXPixelFormat::kRgba8, &color);
    std::printf("%08X\n", color);
    image->Create(nullptr, 1, 1, 72.0);
  } catch (const KXException& failure) {
    std::printf("%08X\n", static_cast<unsigned>(failure.GetErrorCode()));
  }
}
