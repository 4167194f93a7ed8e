// The first program of the README: an image larger than the memory it may use.
#include <cstdio>

#include "kxwcmn/kxwcmn.h"

int main() {
  kxGetVirtualMemory()->Create(16 << 20, nullptr);  // a pool of 16 MiB, a temporary swap file

  KXVOffscreen* image = KXVOffscreen::CreateOffscreen(32);
  image->Create(kxGetVirtualMemory(), 100000, 100000, 600.0);  // 37 GiB, if all of it were painted

  image->RectFill(KXRect(40000, 40000, 42000, 42000), 0, 0xFF3366CC);  // alpha, blue, green, red
  image->Lock(41000, 41000, 0);
  std::printf("colour %08X\n", image->Get32BitColor());
  image->Unlock();

  std::printf("%.1f MiB of blocks\n", static_cast<double>(image->GetUsedMemory(0)) / (1 << 20));
  KXVOffscreen::DeleteOffscreen(image);
}
