// What goes wrong outside the manager: disks that are full for a moment, files that give back other
// bytes, forked children, neighbours in the folder, a host short of memory.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <memory>
#include <vector>

#include "kxwcmn/core/filepath.h"
#include "kxwcmn/memory/checksum_internal.h"
#include "kxwcmn/memory/swapblock.h"
#include "kxwcmn/memory/virtualmemory.h"
#include "kxwcmn/offscreen/autolock.h"
#include "kxwcmn/offscreen/voffscreen.h"
#include "kxwcmn/persist/archivemem.h"
#include "kxwcmn/platform/detail/faults.h"
#include "kxwcmn/platform/error.h"
#include "kxwcmn/platform/memory.h"
#include "tests/memory/support.h"

using kxw::detail::FaultPoint;
using kxw::detail::ScopedFaults;

namespace {

constexpr unsigned kTile = 65536;
constexpr u64 kMiB = 1 << 20;

class MemoryFaults : public testing::Test {
 protected:
  void Create(KXVirtualMemory& vm, u64 budget) {
    KXFilePath path(folder.Path().c_str());
    vm.Create(static_cast<unsigned>(budget), &path);
  }
  KXSwapBlock* Painted(unsigned size, std::uint32_t word) {
    KXSwapBlock* block = manager.Allocate(size);
    Paint(block, word);
    return block;
  }
  void Paint(KXSwapBlock* block, std::uint32_t word) {
    Fill(manager.Lock(block, 1, nullptr), block->GetSize(), word);
    manager.Unlock(block);
  }
  bool Reads(KXSwapBlock* block, std::uint32_t word) {
    const void* at = manager.Lock(block, 0, nullptr);
    const bool same = at && Holds(at, block->GetSize(), word);
    manager.Unlock(block);
    return same;
  }
  std::filesystem::path SwapFile() {
    return std::filesystem::directory_iterator(folder.Host())->path();
  }

  TestFolder folder;
  KXVirtualMemory manager;
};

}  // namespace

TEST(BlockChecksum, SeesEveryBitAndEveryExchange) {
  using kxw::BlockChecksum, kxw::detail::NarrowBlockChecksum, kxw::detail::PlainBlockChecksum;
  for (const auto checksum : {BlockChecksum, NarrowBlockChecksum, PlainBlockChecksum}) {
    std::vector<BYTE> data(1024);
    const u64 plain = checksum(data.data(), data.size());
    for (std::size_t bit = 0; bit < data.size() * 8; ++bit) {
      data[bit / 8] ^= static_cast<BYTE>(1 << bit % 8);
      const u64 sum = checksum(data.data(), data.size());
      EXPECT_NE(sum, plain) << bit;
      if (checksum == NarrowBlockChecksum) {
        EXPECT_EQ(sum, BlockChecksum(data.data(), data.size()));
      }
      data[bit / 8] = 0;
    }
    // Two lines that moved, each the other way: their sums and their weighted sums stay.
    for (const int step : {16, 128}) {
      data.assign(data.size(), 0);
      const auto at = [&](int line) -> BYTE& {
        return data[static_cast<std::size_t>(line * step)];
      };
      at(0) = at(5) = 255;
      const u64 before = checksum(data.data(), data.size());
      at(0) = at(5) = 0;
      at(1) = at(4) = 255;
      EXPECT_NE(checksum(data.data(), data.size()), before);
    }
  }
}

// One byte anywhere in the file is enough. An image tells it by the code that its work raises.
TEST_F(MemoryFaults, ABlockThatComesBackChangedFailsWithItsCode) {
  Create(manager, 4 * kMiB);
  std::unique_ptr<KXVOffscreen, void (*)(KXVOffscreen*)> image(
      KXVOffscreen::CreateOffscreen(8), [](KXVOffscreen* o) { KXVOffscreen::DeleteOffscreen(o); });
  image->Create(&manager, 256, 256, 72);
  {
    KXVOffscreenAutoLock lock(image.get(), 1);
    image->MoveCursor(3, 3);
    image->Set8BitColor(9);
  }
  image->UnloadAllBlock();
  auto* block = reinterpret_cast<KXSwapBlock*>(image->GetBlockExist(0));
  ASSERT_TRUE(block->IsSwapped() && !block->IsOnMemory());
  const auto poke = [&](u64 at, char byte) {
    std::fstream file(SwapFile(), std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(static_cast<std::streamoff>(block->GetBeginPos() + at));
    file.put(byte);
  };
  poke(3 * 256 + 3, 8);
  EXPECT_EQ(manager.Lock(block, 0, nullptr), nullptr);
  EXPECT_EQ(qmGetLastError(), 23);
  EXPECT_TRUE(block->IsDamaged() && !block->IsOnMemory());
  EXPECT_EQ(kxw::CodeOfMissingBlock(image->GetBlockExist(0)), 23);
  {
    // Storing has one code for every block that it cannot have, and so has what fails before it.
    KXArchiveMem out(kxw::kArchiveStore, 0);
    EXPECT_EQ(CodeOf([&] { KXVOffscreen::Write(out, image.get(), 1); }), 8);
    ScopedFaults faults;
    faults.Fail(FaultPoint::kAlloc, 1, 8, 1000);
    EXPECT_EQ(manager.Lock(block, 0, nullptr), nullptr);
    EXPECT_EQ(kxw::CodeOfMissingBlock(image->GetBlockExist(0)), 8);
  }
  poke(3 * 256 + 3, 9);  // it was the reading that failed
  EXPECT_TRUE(manager.Lock(block, 0, nullptr));
  EXPECT_FALSE(block->IsDamaged());
  manager.Unlock(block);
}

TEST_F(MemoryFaults, TheBudgetHoldsAgainAfterAFullDisk) {
  Create(manager, kMiB);
  std::vector<KXSwapBlock*> blocks;
  const auto locks = [&] {
    for (KXSwapBlock* block : blocks) {
      ASSERT_TRUE(manager.Lock(block, 1, nullptr));
      manager.Unlock(block);
    }
  };
  for (std::uint32_t i = 0; i < 64; ++i) blocks.push_back(Painted(kTile, i));
  {
    ScopedFaults faults;
    faults.Fail(FaultPoint::kWrite, 1, 39, 1000);
    locks();
    EXPECT_GT(manager.GetUsedPhysicalMemorySize(), 2 * kMiB);
    EXPECT_LE(faults.Count(FaultPoint::kWrite), 200);  // one attempt or two a lock, not one a block
  }
  blocks.push_back(Painted(kTile, 64));
  EXPECT_LE(manager.GetUsedPhysicalMemorySize(), kMiB);
  for (std::uint32_t i = 0; i <= 64; ++i) EXPECT_TRUE(Reads(blocks[i], i));
}

// The oldest block cannot be written, but others need no writing.
TEST_F(MemoryFaults, WhatNeedsNoWritingMakesRoomOnAFullDisk) {
  Create(manager, kMiB);
  KXSwapBlock* changed = Painted(20480, 7);
  while (manager.GetFreePhysicalMemorySize() >= 20480) manager.Allocate(20480);
  ScopedFaults faults;
  faults.Fail(FaultPoint::kWrite, 1, 39, 1000);
  for (int i = 0; i < 100; ++i) EXPECT_EQ(CodeOf([&] { manager.Allocate(20480); }), 0);
  EXPECT_LE(manager.GetUsedPhysicalMemorySize(), kMiB);
  EXPECT_TRUE(changed->IsOnMemory() && Reads(changed, 7));
}

TEST_F(MemoryFaults, EvictsWhereTheHostHasNoMemory) {
  Create(manager, 4 * kMiB);
  std::vector<KXSwapBlock*> blocks;
  for (std::uint32_t i = 0; i < 8; ++i) blocks.push_back(Painted(196608, i));
  manager.Purge(blocks[0]);
  ScopedFaults faults;
  faults.Fail(FaultPoint::kAlloc, 1, 8, 1);
  EXPECT_TRUE(Reads(blocks[0], 0));
  EXPECT_FALSE(blocks[1]->IsOnMemory());  // the oldest made room
  faults.Fail(FaultPoint::kAlloc, 1, 8, 1);
  EXPECT_EQ(CodeOf([&] { manager.Allocate(196608); }), 0);
  faults.Fail(FaultPoint::kAlloc, 1, 8, 1000);
  EXPECT_EQ(CodeOf([&] { manager.Allocate(196608); }), 8);
  EXPECT_EQ(manager.GetStatistics().blocksOnMemory, 0);  // not before nothing was left to go
}

// The child paints all blocks anew, reads them back, and ends in each way that there is.
TEST_F(MemoryFaults, AForkedChildLeavesTheSwapFileAlone) {
  Create(manager, kMiB);
  std::vector<KXSwapBlock*> blocks;
  for (std::uint32_t i = 0; i < 64; ++i) blocks.push_back(Painted(kTile, i));
  for (const int way : {3, 0, 1, 2}) {
    const pid_t child = fork();
    if (child == 0) {
      bool good = true;
      if (way == 3) {  // without having painted
        manager.~KXVirtualMemory();
        _exit(0);
      }
      for (std::uint32_t i = 0; i < 64; i += 2) Paint(blocks[i], 1000 + i);
      for (std::uint32_t i = 0; i < 64; ++i) good &= Reads(blocks[i], i % 2 ? i : 1000 + i);
      good &= manager.GetUsedPhysicalMemorySize() <= kMiB;
      if (!good) _exit(9);
      if (way == 0) manager.~KXVirtualMemory();  // as static objects end
      if (way == 2) abort();
      _exit(0);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(way == 2 ? WIFSIGNALED(status) : status == 0) << way << ": " << status;
    for (std::uint32_t i = 0; i < 64; ++i) ASSERT_TRUE(Reads(blocks[i], i)) << way << ' ' << i;
  }
  EXPECT_EQ(CountEntries(folder), 3);  // ours, and what the two that did not clean up have left
  KXVirtualMemory next;
  Create(next, kMiB);
  EXPECT_EQ(CountEntries(folder), 2);
}

// What its parent writes over, and the parent's end, cost a child nothing that it has on memory or
// that still lies in the file.
TEST_F(MemoryFaults, AForkedChildKeepsWhatItsParentDropsOrCloses) {
  Create(manager, kMiB);
  KXSwapBlock *held = Painted(kTile, 1), *lying = Painted(kTile, 2), *lost = Painted(kTile, 3);
  for (KXSwapBlock* block : {held, lying, lost}) manager.Purge(block);
  ASSERT_TRUE(Reads(held, 1));  // on memory, clean
  const auto drop = [&](KXSwapBlock* block) { return manager.Purge(block) == 1; };
  const auto run = [](auto work) {
    const pid_t child = fork();
    if (child == 0) {
      alarm(20);
      _exit(work() ? 0 : 9);
    }
    return child;
  };
  const auto isGood = [](pid_t child) {
    int status = 0;
    return waitpid(child, &status, 0) == child && status == 0;
  };
  int closed[2];
  ASSERT_EQ(pipe(closed), 0);
  const pid_t child = run([&] {
    char byte;
    bool good = read(closed[0], &byte, 1) == 1;
    good &= manager.Lock(lost, 0, nullptr) == nullptr && qmGetLastError() == 23;
    for (int i = 0; i < 2; ++i) good &= Reads(held, 1) && Reads(lying, 2) && drop(held);
    good &= manager.GetStatistics().blocksWritten == 4;  // one of them here, once
    return good && isGood(run([&] {
             Paint(held, 21);
             return drop(held) && drop(lying) && Reads(held, 21) && Reads(lying, 2);
           })) &&
           Reads(held, 1);
  });
  for (KXSwapBlock* block : {held, lost}) {
    Paint(block, 10);
    manager.Purge(block);
  }
  manager.CloseSwapFile();
  EXPECT_EQ(write(closed[1], "x", 1), 1);
  EXPECT_TRUE(isGood(child));
  close(closed[0]);
  close(closed[1]);
}

TEST_F(MemoryFaults, TheSwapFileStaysWhereItIsWhenTheCurrentFolderChanges) {
  const auto before = std::filesystem::current_path();
  std::filesystem::current_path(folder.Host().parent_path());
  manager.Create(kMiB, ("." + ("\\" + folder.Host().filename().string())).c_str());
  std::filesystem::current_path(before);
  ASSERT_EQ(CountEntries(folder), 1);
  EXPECT_EQ(std::filesystem::status(SwapFile()).permissions(), std::filesystem::perms(0600));
  manager.CloseSwapFile();
  EXPECT_EQ(CountEntries(folder), 0);
}

TEST_F(MemoryFaults, TheSweepSparesTheFileOfAnotherManagerAtWork) {
  Create(manager, kMiB);
  KXSwapBlock* block = Painted(kTile, 5);
  manager.Purge(block);
  std::ofstream(folder.Host() / "SWPold.tmp") << 1;
  {
    KXVirtualMemory other;
    Create(other, kMiB);
    EXPECT_EQ(CountEntries(folder), 2);
    EXPECT_FALSE(folder.Has("SWPold.tmp"));
  }
  EXPECT_EQ(CountEntries(folder), 1);
  EXPECT_TRUE(Reads(block, 5));
}

#if !defined(__SANITIZE_ADDRESS__)
namespace {

u64 ResidentBytes() {
  u64 pages = 0;
  std::ifstream("/proc/self/statm") >> pages >> pages;
  return pages * static_cast<u64>(getpagesize());
}

}  // namespace

// Blocks of several sizes come one after the other and most of them go, so that memory for the next
// has to come from between them: from regions and from chunks.
TEST_F(MemoryFaults, ResidentMemoryFollowsTheBudget) {
  const struct {
    u64 budget;
    std::size_t kept;  // one in so many
    std::vector<unsigned> sizes;
  } cases[] = {
      {128 * kMiB, 29, {262144, 524288, 196608, 65536, 131072, 16384, 8192, 262144}},
      {64 * kMiB, 16, {65536, 196608}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.sizes[0]);
    kxw::TrimIdleMemory(0);
    const u64 before = ResidentBytes();
    KXVirtualMemory pool;
    Create(pool, c.budget);
    std::vector<KXSwapBlock*> kept;
    u64 most = 0;
    for (const unsigned size : c.sizes) {
      std::vector<KXSwapBlock*> blocks;
      for (u64 used = 0; used < c.budget; used += size) {
        blocks.push_back(pool.Allocate(size));
        Fill(pool.Lock(blocks.back(), 1, nullptr), size, 1);
        pool.Unlock(blocks.back());
      }
      most = std::max(most, ResidentBytes() - before);
      for (std::size_t i = 0; i < blocks.size(); ++i) {
        i % c.kept == 0 ? kept.push_back(blocks[i]) : pool.Free(blocks[i]);
      }
    }
    EXPECT_LE(most, c.budget + 32 * kMiB);
    for (KXSwapBlock* block : kept) {
      ASSERT_TRUE(Holds(pool.Lock(block, 0, nullptr), block->GetSize(), 1));
      pool.Unlock(block);
    }
  }
}
#endif
