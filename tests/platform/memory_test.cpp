#include "kxwcmn/platform/memory.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <iterator>
#include <map>
#include <random>
#include <thread>
#include <vector>

#include "kxwcmn/platform/detail/faults.h"
#include "kxwcmn/platform/error.h"
#include "kxwcmn/platform/posix/regions_internal.h"

namespace {

using kxw::kAllocUninitialized;
using kxw::detail::FaultPoint;
using kxw::detail::ScopedFaults;

// Sizes at which the kind of a block changes, the image tiles, and blocks too large for a slot.
constexpr DWORD kEdges[] = {0,        1,       4079,     4080,           4095,     4096,   4097,
                            131071,   131072,  131073,   163841,         196608,   524288, 1048575,
                            1u << 20, 1048577, 4u << 20, (4u << 20) + 1, 33u << 20};

BYTE* Alloc(DWORD size, DWORD flags = 0) {
  return static_cast<BYTE*>(qmAllocPtr(size, flags, nullptr));
}

bool IsFilled(const BYTE* block, DWORD begin, DWORD end, BYTE value) {
  return std::all_of(block + begin, block + end, [&](BYTE b) { return b == value; });
}

bool IsAligned(const void* block, DWORD size) {
  return reinterpret_cast<std::uintptr_t>(block) % (size >= 4096 ? 4096 : 16) == 0;
}

// A model of every block's size and contents, over allocations, growth, shrinking and freeing in
// random order, so that slots are reused, regions are cut anew and given back.
TEST(Memory, KeepsContentsAndZeroesWhatIsNew) {
  struct Contents {
    DWORD size;
    BYTE value;
  };
  std::mt19937 random(7);
  std::map<BYTE*, Contents> blocks;
  for (int step = 0; step < 2000; ++step) {
    DWORD size = kEdges[random() % std::size(kEdges)];
    if (size > 1u << 20 && random() % 4) size = 1u << 20;
    const auto value = static_cast<BYTE>(random() % 255 + 1);
    BYTE* block = nullptr;
    Contents old{0, 0};
    if (blocks.size() < 40 && random() % 2) {
      block = Alloc(size);
    } else if (!blocks.empty()) {
      const auto at = std::next(blocks.begin(), static_cast<long>(random() % blocks.size()));
      BYTE* const oldBlock = at->first;
      old = at->second;
      blocks.erase(at);
      ASSERT_EQ(qmGetPtrSize(oldBlock), old.size);
      ASSERT_TRUE(IsFilled(oldBlock, 0, old.size, old.value));
      if (random() % 2) {
        qmFreePtr(oldBlock);
        continue;
      }
      block = static_cast<BYTE*>(qmReAllocPtr(oldBlock, size, 0, nullptr));
    } else {
      continue;
    }
    ASSERT_TRUE(block && IsAligned(block, size));
    const DWORD kept = std::min(size, old.size);
    ASSERT_TRUE(IsFilled(block, 0, kept, old.value)) << size;
    ASSERT_TRUE(IsFilled(block, kept, size, 0)) << size;
    std::fill_n(block, size, value);
    blocks[block] = {size, value};
  }
  for (const auto& [block, contents] : blocks) qmFreePtr(block);
}

TEST(Memory, GivesEmptyRegionsBackButOne) {
  kxw::Regions regions;
  constexpr DWORD kRegion = 32u << 20;
  std::vector<void*> blocks;
  for (int i = 0; i < 70; ++i) blocks.push_back(regions.Allocate(0x100000, true));
  EXPECT_EQ(regions.MappedBytes(), 3 * kRegion);
  for (void* block : blocks) EXPECT_TRUE(regions.Free(block));
  EXPECT_EQ(regions.MappedBytes(), kRegion);

  // The reserve serves another slot size, and memory used before is clear where that is asked for.
  auto* block = static_cast<BYTE*>(regions.Allocate(196608, true));
  EXPECT_EQ(regions.MappedBytes(), kRegion);
  std::fill_n(block, 196608, BYTE{9});
  regions.Free(block);
  block = static_cast<BYTE*>(regions.Allocate(524288, true));
  EXPECT_TRUE(IsFilled(block, 0, 524288, 0));

  auto* large = static_cast<BYTE*>(regions.Allocate(kRegion + 1, true));
  EXPECT_EQ(regions.MappedBytes(), 2 * kRegion + (2u << 20));
  EXPECT_FALSE(regions.Free(large + 4096));
  EXPECT_TRUE(regions.Free(large));
  EXPECT_FALSE(regions.Free(large));
  EXPECT_TRUE(regions.Free(block));
  EXPECT_EQ(regions.MappedBytes(), kRegion);
}

TEST(Memory, FailureTellsTheCodeAndLeavesTheOldBlock) {
  BYTE* block = Alloc(100);
  block[99] = 5;
  int error = 0;
  {
    ScopedFaults faults;
    faults.Fail(FaultPoint::kAlloc, 1, kxw::kErrorNotEnoughMemory, 2);
    qmSetLastError(0);
    EXPECT_EQ(qmReAllocPtr(block, 1000, 0, &error), nullptr);
    EXPECT_EQ(error, 8);
    EXPECT_EQ(qmGetLastError(), 8);
    EXPECT_EQ(qmAlloc(1, 0, nullptr), nullptr);
  }
  EXPECT_EQ(qmGetPtrSize(block), 100u);
  block = static_cast<BYTE*>(qmReAllocPtr(block, 1000, kAllocUninitialized, &error));
  EXPECT_EQ(error, 0);
  EXPECT_EQ(block[99], 5);
  qmFreePtr(block);
}

TEST(Memory, AHandleIsTheAddressOfItsBlock) {
  QMHANDLE__* handle = qmAlloc(5, 0, nullptr);
  EXPECT_EQ(qmLock(handle), static_cast<void*>(handle));
  EXPECT_EQ(qmLock(handle), static_cast<void*>(handle));
  qmUnlock(handle);
  handle = qmReAlloc(handle, 500000, 0, nullptr);
  EXPECT_EQ(qmGetHandleSize(handle), 500000u);
  qmFree(handle);  // still locked once
  EXPECT_EQ(qmGetHandleSize(nullptr), 0u);
  qmFree(nullptr);
}

TEST(Memory, ServesManyThreads) {
  std::vector<std::thread> threads;
  for (unsigned seed = 1; seed <= 4; ++seed) {
    threads.emplace_back([seed] {
      std::mt19937 random(seed);
      std::vector<BYTE*> blocks;
      for (int i = 0; i < 500; ++i) {
        BYTE* block = Alloc(kEdges[1 + random() % 14], kAllocUninitialized);
        *block = static_cast<BYTE>(seed);
        blocks.push_back(block);
        if (blocks.size() < 20) continue;
        std::swap(blocks[random() % 20], blocks.back());
        EXPECT_EQ(*blocks.back(), seed);
        qmFreePtr(blocks.back());
        blocks.pop_back();
      }
      for (BYTE* block : blocks) qmFreePtr(block);
    });
  }
  for (std::thread& thread : threads) thread.join();
}

TEST(Memory, CountsWhatFreedBlocksStillHold) {
  for (const DWORD size : {20480u, 131072u, 196608u, 1u << 20}) {
    SCOPED_TRACE(size);
    BYTE *kept = Alloc(size), *freed = Alloc(size);
    kxw::TrimIdleMemory(0);
    EXPECT_EQ(kxw::IdleMemory(), 0u);
    qmFreePtr(freed);
    EXPECT_EQ(kxw::IdleMemory(), size);
    freed = Alloc(size);
    EXPECT_EQ(kxw::IdleMemory(), 0u);
    std::fill_n(kept, size, BYTE{7});
    qmFreePtr(freed);
    kxw::TrimIdleMemory(0);
    EXPECT_EQ(kxw::IdleMemory(), 0u);
    EXPECT_TRUE(IsFilled(kept, 0, size, 7));
    qmFreePtr(kept);
  }
}

#if !defined(__SANITIZE_ADDRESS__)
// A fork may come while another thread is at work on the regions.
TEST(Memory, ServesAForkedChildOfABusyProcess) {
  kxw::Regions& regions = kxw::Regions::Get();
  std::atomic<bool> ends = false;
  std::thread busy([&] {
    while (!ends) {
      regions.Free(regions.Allocate(0x100000, false));
      regions.MappedBytes();
    }
  });
  for (int i = 0; i < 200; ++i) {
    const pid_t child = fork();
    if (child == 0) {
      alarm(5);
      regions.MappedBytes();
      _exit(0);
    }
    int status = 0;
    const bool ended = waitpid(child, &status, 0) == child && status == 0;
    EXPECT_TRUE(ended) << i << ": " << status;
    if (!ended) break;
  }
  ends = true;
  busy.join();
}
#endif

}  // namespace
