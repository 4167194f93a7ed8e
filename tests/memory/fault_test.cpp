// What goes wrong outside the manager: disks that are full for a moment, files that give back other
// bytes, forked children, neighbours in the folder, a host short of memory.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
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
#include "tests/support/codepage.h"

using kxw::detail::FaultPoint;
using kxw::detail::ScopedFaults;

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
TEST_F(Memory, ABlockThatComesBackChangedFailsWithItsCode) {
  Create(4 * kMiB);
  std::unique_ptr<KXVOffscreen, void (*)(KXVOffscreen*)> image(
      KXVOffscreen::CreateOffscreen(8), [](KXVOffscreen* o) { KXVOffscreen::DeleteOffscreen(o); });
  image->Create(manager.get(), 256, 256, 72);
  {
    KXVOffscreenAutoLock lock(image.get(), 1);
    image->MoveCursor(0, 0);
    BYTE* pixels =
        image->GetBaseAddress();  // none of which repeats: they go to the file as they are
    Fill(pixels, 65536, 1);
    pixels[3 * 256 + 3] = 9;
  }
  image->UnloadAllBlock();
  auto* block = reinterpret_cast<KXSwapBlock*>(image->GetBlockExist(0));
  ASSERT_TRUE(block->IsSwapped() && !block->IsOnMemory());
  const auto poke = [&](u64 at, char byte) {
    std::fstream file(std::filesystem::directory_iterator(folder.Host())->path(),
                      std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(static_cast<std::streamoff>(block->GetBeginPos() + at));
    file.put(byte);
  };
  poke(3 * 256 + 3, 8);
  EXPECT_EQ(manager->Lock(block, 0, nullptr), nullptr);
  EXPECT_EQ(qmGetLastError(), 23);
  EXPECT_TRUE(block->IsDamaged() && !block->IsOnMemory());
  EXPECT_EQ(kxw::CodeOfMissingBlock(image->GetBlockExist(0)), 23);
  {
    // Storing has one code for every block that it cannot have, and so has what fails before it.
    KXArchiveMem out(kxw::kArchiveStore, 0);
    EXPECT_EQ(CodeOf([&] { KXVOffscreen::Write(out, image.get(), 1); }), 8);
    ScopedFaults faults;
    faults.Fail(FaultPoint::kAlloc, 1, 8, 1000);
    EXPECT_EQ(manager->Lock(block, 0, nullptr), nullptr);
    EXPECT_EQ(kxw::CodeOfMissingBlock(image->GetBlockExist(0)), 8);
  }
  poke(3 * 256 + 3, 9);  // it was the reading that failed
  EXPECT_TRUE(manager->Lock(block, 0, nullptr));
  EXPECT_FALSE(block->IsDamaged());
  manager->Unlock(block);
}

TEST_F(Memory, TheBudgetHoldsAgainAfterAFullDisk) {
  Create(kMiB);
  auto tiles = PaintedTiles(64);
  {
    ScopedFaults faults;
    faults.Fail(FaultPoint::kWrite, 1, 39, 1000);
    for (std::uint32_t i = 0; i < tiles.size(); ++i) Paint(tiles[i], i);
    EXPECT_GT(manager->GetUsedPhysicalMemorySize(), 2 * kMiB);
    EXPECT_LE(faults.Count(FaultPoint::kWrite), 200);  // one attempt or two a lock, not one a block
  }
  tiles.push_back(Painted(kTile, 64));
  EXPECT_LE(manager->GetUsedPhysicalMemorySize(), kMiB);
  ExpectTiles(tiles);
}

// The oldest block cannot be written, but others need no writing, alone or in whole chunks.
TEST_F(Memory, WhatNeedsNoWritingMakesRoomOnAFullDisk) {
  Create(4 * kMiB);
  for (const unsigned size : {20480u, kTile}) {
    KXSwapBlock* changed = Painted(size, 7);
    while (manager->GetFreePhysicalMemorySize() >= size) manager->Allocate(size);
    ScopedFaults faults;
    faults.Fail(FaultPoint::kWrite, 1, 39, 1000);
    for (int i = 0; i < 100; ++i) EXPECT_EQ(CodeOf([&] { manager->Allocate(size); }), 0);
    EXPECT_LE(manager->GetUsedPhysicalMemorySize(), 4 * kMiB);
    EXPECT_TRUE(changed->IsOnMemory() && Reads(changed, 7));
  }
}

TEST_F(Memory, EvictsWhereTheHostHasNoMemory) {
  Create(4 * kMiB);
  KXSwapBlock *away = Painted(196608, 1), *oldest = Painted(196608, 2);
  Painted(196608, 3);
  manager->Purge(away);
  ScopedFaults faults;
  faults.Fail(FaultPoint::kAlloc, 1, 8, 1);
  EXPECT_TRUE(Reads(away, 1));
  EXPECT_FALSE(oldest->IsOnMemory());  // it made room
  faults.Fail(FaultPoint::kAlloc, 1, 8, 1);
  EXPECT_EQ(CodeOf([&] { manager->Allocate(196608); }), 0);
  faults.Fail(FaultPoint::kAlloc, 1, 8, 1000);
  EXPECT_EQ(CodeOf([&] { manager->Allocate(196608); }), 8);
  EXPECT_EQ(manager->GetStatistics().blocksOnMemory, 0);  // not before nothing was left to go
}

/// Runs `work` in a forked child, which ends as it says, or with 9 if it says none; the child has
/// 20 seconds.
pid_t Fork(auto work, pid_t (*fork)() = ::fork) {
  const pid_t child = fork();
  if (child != 0) return child;
  alarm(20);
  _exit(work() ? 0 : 9);
}

int StatusOf(pid_t child) {
  int status = -1;
  waitpid(child, &status, 0);
  return status;
}

// The child paints, reads all back, and ends in each way that there is. No handler tells of one by
// a system call.
TEST_F(Memory, AForkedChildLeavesTheSwapFileAlone) {
  enum Way { kDestroys, kDestroysUnpainted, kExits, kAborts, kBySystemCall };
  Create(kMiB);
  auto tiles = PaintedTiles(64);
  const auto word = [](std::uint32_t i, std::uint32_t base) {
    return base + i + (i % 3 == 0 ? 0 : i % 3 == 1 ? kFlat : kPacked);
  };
  for (std::uint32_t i = 0; i < 64; ++i) Paint(tiles[i], word(i, 0));
  for (const Way way : {kDestroysUnpainted, kBySystemCall, kDestroys, kExits, kAborts}) {
    SCOPED_TRACE(way);
    const auto work = [&] {
      bool good = true;
      for (std::uint32_t i = 0; i < 64 && way != kDestroysUnpainted; i += 2) {
        Paint(tiles[i], word(i, 1000));
        good &= Reads(tiles[i], word(i, 1000)) && Reads(tiles[i + 1], word(i + 1, 0));
      }
      good &= manager->GetUsedPhysicalMemorySize() <= kMiB;
      if (way == kAborts && good) abort();
      if (way != kExits) manager.reset();
      return good;
    };
    const int status = StatusOf(Fork(work, way == kBySystemCall ? _Fork : fork));
    EXPECT_TRUE(way == kAborts ? WIFSIGNALED(status) : status == 0) << status;
    for (std::uint32_t i = 0; i < 64; ++i) EXPECT_TRUE(Reads(tiles[i], word(i, 0))) << i;
  }
  EXPECT_GT(manager->GetStatistics().blocksFlat, 0u);
  EXPECT_EQ(CountEntries(folder), 3);  // ours, and what the two that did not clean up have left
  KXVirtualMemory next;
  next.Create(kMiB, folder.Path().c_str());
  EXPECT_EQ(CountEntries(folder), 2);
}

// What its parent writes over, and the parent's end, cost a child nothing that it has on memory or
// that still lies in the file.
TEST_F(Memory, AForkedChildKeepsWhatItsParentDropsOrCloses) {
  Create(kMiB);
  KXSwapBlock *held = Painted(kTile, 1), *lying = Painted(kTile, 2), *lost = Painted(kTile, 3);
  for (KXSwapBlock* block : {held, lying, lost}) manager->Purge(block);
  ASSERT_TRUE(Reads(held, 1));  // on memory, clean
  const auto drop = [&](KXSwapBlock* block) { return manager->Purge(block) == 1; };
  int closed[2];
  ASSERT_EQ(pipe(closed), 0);
  const pid_t child = Fork([&] {
    char byte;
    bool good = read(closed[0], &byte, 1) == 1;
    good &= manager->Lock(lost, 0, nullptr) == nullptr && qmGetLastError() == 23;
    for (int i = 0; i < 2; ++i) good &= Reads(held, 1) && Reads(lying, 2) && drop(held);
    good &= manager->GetStatistics().blocksWritten == 4;  // one of them here, once
    const pid_t grandchild = Fork([&] {
      Paint(held, 21);
      return drop(held) && drop(lying) && Reads(held, 21) && Reads(lying, 2);
    });
    return good && StatusOf(grandchild) == 0 && Reads(held, 1);
  });
  for (KXSwapBlock* block : {held, lost}) {
    Paint(block, 10);
    manager->Purge(block);
  }
  manager->CloseSwapFile();
  EXPECT_EQ(write(closed[1], "x", 1), 1);
  EXPECT_EQ(StatusOf(child), 0);
  close(closed[0]);
  close(closed[1]);
}

TEST_F(Memory, TheSwapFileStaysWhereItIsWhenTheCurrentFolderChanges) {
  const auto before = std::filesystem::current_path();
  std::filesystem::current_path(folder.Host().parent_path());
  manager->Create(kMiB, ("." + ("\\" + folder.Host().filename().string())).c_str());
  std::filesystem::current_path(before);
  ASSERT_EQ(CountEntries(folder), 1);
  EXPECT_EQ(std::filesystem::directory_iterator(folder.Host())->status().permissions(),
            std::filesystem::perms(0600));
  manager->CloseSwapFile();
  EXPECT_EQ(CountEntries(folder), 0);
  // In a folder whose last byte only looks like a delimiter.
  const auto odd = folder.Host() / "\xE3\x82\xBD";
  std::filesystem::create_directories(odd / "swap");
  std::filesystem::current_path(odd);
  const ScopedCodePage japanese(932);
  manager = std::make_unique<KXVirtualMemory>();
  manager->Create(kMiB, "swap");
  std::filesystem::current_path(before);
  EXPECT_FALSE(std::filesystem::is_empty(odd / "swap"));
}

TEST_F(Memory, TheSweepSparesTheFileOfAnotherManagerAtWork) {
  Create(kMiB);
  const auto tiles = PaintedTiles(20);
  std::ofstream(folder.Host() / "SWPold.tmp") << 1;
  {
    KXVirtualMemory other;
    other.Create(kMiB, folder.Path().c_str());
    EXPECT_EQ(CountEntries(folder), 2);
    EXPECT_FALSE(folder.Has("SWPold.tmp"));
  }
  EXPECT_EQ(CountEntries(folder), 1);
  ExpectTiles(tiles);
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
TEST_F(Memory, ResidentMemoryFollowsTheBudget) {
  const struct {
    unsigned budget;
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
    pool.Create(c.budget, folder.Path().c_str());
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
