// What an application does first with the installed library: include one header, and use a value, a
// failure and an exported function.
#include <cstdio>

#include "kxwcmn/kxwcmn.h"

int main() {
  const KXRect rect(10, 20, 30, 60);
  try {
    kxThrowError(kxw::kFailureBadArgument);
  } catch (const KXException& failure) {
    std::printf("%d %d %x\n", rect.Width(), rect.Height(),
                static_cast<unsigned>(failure.GetErrorCode()));
    return 0;
  }
  return 1;
}
