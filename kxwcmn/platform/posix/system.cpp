#include "kxwcmn/platform/system.h"

#include <unistd.h>

namespace kxw {

DWORD PageSize() {
  static const auto size = static_cast<DWORD>(sysconf(_SC_PAGESIZE));
  return size;
}

}  // namespace kxw
