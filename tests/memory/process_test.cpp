#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

#include "kxwcmn/core/filepath.h"
#include "kxwcmn/memory/virtualmemory.h"
#include "kxwcmn/platform/system.h"
#include "tests/memory/support.h"

namespace {

constexpr u64 kMost = 0x7FFFFFFF;

/// Frees a block when the process ends, after whatever was made later than this.
struct Holder {
  KXSwapBlock* block = nullptr;
  ~Holder() { kxGetVirtualMemory()->Free(block); }
} holder;

/// Creates the manager of the process, checks it, leaves a block behind and ends.
void UseManagerAndExit(const TestFolder& folder) {
  KXFilePath path(folder.Path().c_str());
  KXVirtualMemory* manager = kxGetVirtualMemory();
  _CREATEVMPARAM param{0, &path, 2, 0};
  bool good = CodeOf([&] { kxCreateVirtualMemory(&param); }) == kxw::kFailureBadArgument;
  param.allocationType = 1;
  kxSetMinVMAllocationPercent(1);
  kxCreateVirtualMemory(&param);
  const unsigned int budget = manager->GetPhysicalMemorySize();
  param.percent = 80;
  kxCreateVirtualMemory(&param);
  good &= manager == kxGetVirtualMemory() && manager->GetPhysicalMemorySize() == budget;
  holder.block = manager->Allocate(65536);
  good &= budget > 0 && CountEntries(folder) == 1;
  std::exit(good ? 0 : 1);
}

}  // namespace

TEST(ProcessMemoryDeathTest, IsCreatedOnceAndRemovesItsSwapFile) {
  const TestFolder folder;
  EXPECT_EXIT(UseManagerAndExit(folder), testing::ExitedWithCode(0), "");
  EXPECT_EQ(CountEntries(folder), 0);
}

TEST(ProcessMemory, SizesItsBudget) {
  _MEMORYSTATUSEX status;
  kxwGlobalMemoryStatus(&status);
  const int min = kxGetMinVMAllocationPercent(), max = kxGetMaxVMAllocationPercent(),
            standard = kxGetDefaultVMAllocationPercent();
  EXPECT_TRUE(min == 20 && max == 80 && standard == 50);
  kxSetMinVMAllocationPercent(2);
  kxSetMaxVMAllocationPercent(4);
  const auto percent = [&](u64 p) { return std::min(status.ullTotalPhys / 100 * p, kMost); };
  EXPECT_EQ(kxGetAllocateMemorySize(1, -7), percent(2));
  EXPECT_EQ(kxGetAllocateMemorySize(1, 3), percent(3));
  EXPECT_EQ(kxGetAllocateMemorySize(1, 90), percent(4));
  kxSetDefaultVMAllocationPercent(1);  // not clamped
  EXPECT_EQ(kxGetAllocateMemorySize(0, 90), std::min(status.ullTotalPhys / 100, kMost));
  kxSetDefaultVMAllocationPercent(2000000000);
  EXPECT_EQ(kxGetAllocateMemorySize(0, 0), kMost);
  EXPECT_EQ(kxGetAllocateMemorySize(2, 50), 0u);
  kxSetMinVMAllocationPercent(min);
  kxSetMaxVMAllocationPercent(max);
  kxSetDefaultVMAllocationPercent(standard);
}
