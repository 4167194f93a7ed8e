// The manager of the process and what sizes its budget.

#include <algorithm>
#include <limits>

#include "kxwcmn/core/exception.h"
#include "kxwcmn/memory/virtualmemory.h"
#include "kxwcmn/platform/system.h"

namespace {

constexpr u64 kLargestBudget = 0x7FFFFFFF;

int minPercent = 20;
int maxPercent = 80;
int defaultPercent = 50;
bool created = false;

/// `bytes` times `percent`; at the end of the range if that lies beyond it.
u64 Times(u64 bytes, int percent) {
  if (percent <= 0) return 0;
  const auto factor = static_cast<u64>(percent);
  constexpr u64 kMost = std::numeric_limits<u64>::max();
  return bytes > kMost / factor ? kMost : bytes * factor;
}

}  // namespace

u64 kxGetAllocateMemorySize(int type, int percent) {
  _MEMORYSTATUSEX status;
  kxwGlobalMemoryStatus(&status);
  u64 size = 0;
  if (type == 0) {
    // The larger of the two by decision: an application is not held to what happens to be free.
    size = std::max(Times(status.ullTotalPhys, defaultPercent) / 100,
                    Times(status.ullAvailPhys, defaultPercent) / 100);
  } else if (type == 1) {
    percent = percent < minPercent ? minPercent : std::min(percent, maxPercent);
    size = Times(status.ullTotalPhys / 100, percent);
  }
  return std::min(size, kLargestBudget);
}

void kxCreateVirtualMemory(_CREATEVMPARAM* param) {
  if (created) return;
  if (!param || param->allocationType < 0 || param->allocationType > 1) {
    kxThrowError(kxw::kFailureBadArgument);
  }
  const u64 size = kxGetAllocateMemorySize(param->allocationType, param->percent);
  kxGetVirtualMemory()->Create(static_cast<unsigned int>(size), param->swapFolder);
  created = true;
}

KXVirtualMemory* kxGetVirtualMemory() {
  // The manager is never destroyed: objects of static lifetime may free their blocks after this
  // file's own. What has to end with the process is the swap file.
  static KXVirtualMemory* const manager = new KXVirtualMemory;
  static const struct SwapFileCloser {
    ~SwapFileCloser() { manager->CloseSwapFile(); }
  } closer;
  return manager;
}

int kxGetMinVMAllocationPercent() { return minPercent; }
void kxSetMinVMAllocationPercent(int percent) { minPercent = percent; }
int kxGetMaxVMAllocationPercent() { return maxPercent; }
void kxSetMaxVMAllocationPercent(int percent) { maxPercent = percent; }
int kxGetDefaultVMAllocationPercent() { return defaultPercent; }
void kxSetDefaultVMAllocationPercent(int percent) { defaultPercent = percent; }
