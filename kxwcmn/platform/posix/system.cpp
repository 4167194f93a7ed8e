#include "kxwcmn/platform/system.h"

#include <unistd.h>

#include <chrono>

namespace kxw {

DWORD PageSize() {
  static const auto size = static_cast<DWORD>(sysconf(_SC_PAGESIZE));
  return size;
}

u64 ProcessId() { return static_cast<u64>(getpid()); }

DWORD MillisecondClock() {
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  return static_cast<DWORD>(std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
}

}  // namespace kxw
