#pragma once

#include "kxwcmn/memory/virtualmemory.h"

namespace testing_kxw {

/// The manager of the process, from which new images of operations come, with a budget of a few
/// blocks.
inline KXVirtualMemory* ProcessManager() {
  static KXVirtualMemory* const manager = [] {
    kxGetVirtualMemory()->Create(2 << 20, nullptr);
    return kxGetVirtualMemory();
  }();
  return manager;
}

}  // namespace testing_kxw
