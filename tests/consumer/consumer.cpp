// What an application does first with the installed library: include one header, paint a pixel of
// an image, and catch a failure.
#include <cstdio>

#include "kxwcmn/kxwcmn.h"

int main() {
  KXVOffscreen* image = KXVOffscreen::CreateOffscreen(32);
  try {
    kxGetVirtualMemory()->Create(1 << 20, nullptr);
    image->Create(kxGetVirtualMemory(), 300, 300, 72.0);
    image->RectFill(KXRect(290, 290, 291, 291), 0, 0xFF336699);
    image->Lock(290, 290, 0);
    std::printf("%08X\n", image->Get32BitColor());
    image->Unlock();
    image->Create(nullptr, 1, 1, 72.0);
  } catch (const KXException& failure) {
    std::printf("%08X\n", static_cast<unsigned>(failure.GetErrorCode()));
  }
  KXVOffscreen::DeleteOffscreen(image);
}
