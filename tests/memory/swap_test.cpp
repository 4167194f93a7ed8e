#include "kxwcmn/memory/swap.h"

#include <gtest/gtest.h>

#include <fstream>
#include <set>
#include <vector>

#include "kxwcmn/core/filepath.h"
#include "kxwcmn/platform/detail/faults.h"
#include "tests/memory/support.h"

namespace {

struct Gap {
  u64 begin, end;
  bool operator==(const Gap&) const = default;
};

std::vector<Gap> GapsOf(const KXGarbage& garbage) {
  std::vector<Gap> gaps;
  for (int i = 0; i < garbage.GetGapCount(); ++i) {
    const KXGarbageBlock& gap = garbage.GetGap(i);
    EXPECT_EQ(gap.GetEndPos() - gap.GetBeginPos(), gap.GetSize());
    gaps.push_back({gap.GetBeginPos(), gap.GetEndPos()});
  }
  return gaps;
}

/// A swap with a file of its own; sizes count in sectors of its disk.
class Swap : public testing::Test {
 protected:
  int Create(u64 bytes) {
    size = static_cast<unsigned int>(bytes);
    KXFilePath path(folder.Path("file").c_str());
    sector = KXFilePath::GetDiskSectorSize(path);
    return swap.Create(&size, path, 1);
  }
  KXSwapBlock* Written(unsigned int sectors) {
    KXSwapBlock* block = swap.Allocate(sectors * sector);
    std::vector<BYTE> data(sectors * sector);
    Fill(data.data(), data.size(), 0);
    EXPECT_EQ(swap.Write(data.data(), block), 1);
    return block;
  }

  TestFolder folder;
  KXSwap swap;
  unsigned int size = 0, sector = 0;
};

}  // namespace

// The model: free intervals in a list, the latest last; whatever touches is merged.
TEST(Gaps, EqualListOfIntervals) {
  for (unsigned seed = 0; seed < 30; ++seed) {
    Random random(seed);
    KXGarbage garbage;
    garbage.Create(1000);
    std::vector<Gap> model{{0, 1000}}, taken;
    u64 length = 1000;
    for (int step = 0; step < 3000; ++step) {
      SCOPED_TRACE(testing::Message() << "seed " << seed << ", step " << step);
      const int what = random.Below(20);
      if (what < 10) {
        const auto bytes = static_cast<u64>(1 + random.Below(what < 5 ? 4 : 40));
        u64 position = 0;
        const int found = garbage.Request(&position, bytes);
        const auto gap = std::find_if(model.begin(), model.end(),
                                      [&](Gap g) { return g.end - g.begin >= bytes; });
        ASSERT_EQ(found, gap != model.end());
        if (!found) continue;
        ASSERT_EQ(position, gap->begin);
        taken.push_back({position, position + bytes});
        if ((gap->begin += bytes) == gap->end) model.erase(gap);
      } else if (what < 19 && !taken.empty()) {
        const auto place = taken.begin() + random.Below(static_cast<int>(taken.size()));
        Gap merged = *place;
        taken.erase(place);
        garbage.Add(merged.begin, merged.end, merged.end - merged.begin);
        const Gap given = merged;
        std::erase_if(model, [&](Gap g) {
          if (g.end == given.begin) merged.begin = g.begin;
          if (g.begin == given.end) merged.end = g.end;
          return g.end == given.begin || g.begin == given.end;
        });
        model.push_back(merged);
      } else if (what == 19) {
        garbage.Enlarge(60, length);
        const auto last =
            std::find_if(model.begin(), model.end(), [&](Gap g) { return g.end == length; });
        length += 60;
        if (last != model.end()) {
          last->end = length;
        } else {
          model.push_back({length - 60, length});
        }
      }
      ASSERT_EQ(GapsOf(garbage), model);
    }
    ASSERT_EQ(GapsOf(KXGarbage(garbage)), model);
  }
}

TEST_F(Swap, RoundsSizesToSectors) {
  EXPECT_EQ(swap.Allocate(100), nullptr);
  ASSERT_EQ(Create(1000), 1);
  EXPECT_EQ(size, (999 / sector + 1) * sector);
  const KXSwapBlock* block = swap.Allocate(100);
  EXPECT_EQ(block->GetSize(), sector);
  EXPECT_FALSE(block->IsSwapped() || block->IsOnMemory() || block->IsEnable());
  EXPECT_EQ(Create(1000), 0);  // one file at a time
  EXPECT_TRUE(folder.Has("file"));

  swap.Destroy();
  EXPECT_FALSE(folder.Has("file"));
  if (KXFilePath::GetDiskFreeSpaceA(folder.Path().c_str()) < 0x80000000) return;
  ASSERT_EQ(Create(0x7FFFFFFF), 1);
  EXPECT_EQ(size, 0x80000000 - 2 * sector);
}

TEST_F(Swap, BlockKeepsItsPlaceAndTheFileGrowsByMultiplesOfItsFirstSize) {
  ASSERT_EQ(Create(1), 1);
  KXSwapBlock* first = Written(1);
  Create(1);
  KXSwapBlock* large = Written(3);
  EXPECT_EQ(first->GetBeginPos(), 0u);
  EXPECT_EQ(large->GetBeginPos(), sector);
  EXPECT_EQ(swap.GetSwapSize(), 4 * sector);
  swap.Deallocate(large);
  EXPECT_EQ(swap.GetUsedTotalSize(), sector);
  const KXSwapBlock* larger =
      Written(5);  // goes into the gap at the end, which grows with the file
  EXPECT_EQ(larger->GetBeginPos(), sector);
  EXPECT_EQ(swap.GetSwapSize(), std::filesystem::file_size(folder.Host() / "file"));
  EXPECT_EQ(swap.GetUsedTotalSize(), 6 * sector);

  std::vector<BYTE> data(sector);
  EXPECT_EQ(swap.Write(data.data(), first), 1);
  EXPECT_EQ(first->GetBeginPos(), 0u);
  KXSwapBlock* fresh = swap.Allocate(sector);
  EXPECT_EQ(swap.Read(data.data(), fresh), 0);
  swap.Deallocate(fresh);
  EXPECT_EQ(swap.GetUsedTotalSize(), 6 * sector);
  EXPECT_EQ(swap.GetUsedBlockCount(), 2u);
}

// A colour of any depth repeats within 24 bytes: such a block is written to no file, and is a block
// with a place like any other.
TEST_F(Swap, KeepsWhatRepeatsWithoutTheFile) {
  ASSERT_EQ(Create(1), 1);
  const unsigned int bytes = 16 * sector;
  KXSwapBlock* block = swap.Allocate(bytes);
  std::vector<BYTE> data(bytes), back(bytes);
  u64 flat = 0, written = 0;
  for (const unsigned period : {1u, 2u, 3u, 4u, 8u, 24u, 16u, 25u}) {
    for (const bool broken : {false, true}) {
      for (unsigned i = 0; i < bytes; ++i) data[i] = static_cast<BYTE>(i % period + period);
      if (broken) ++data[bytes - 1];
      ASSERT_EQ(swap.Write(data.data(), block), 1);
      ++(24 % period == 0 && !broken ? flat : written);
      std::fill(back.begin(), back.end(), 0);
      ASSERT_EQ(swap.Read(back.data(), block), 1);
      ASSERT_EQ(back, data) << period << broken;
    }
  }
  EXPECT_EQ(swap.GetTraffic().blocksFlat, flat);
  EXPECT_EQ(swap.GetTraffic().blocksWritten, written);
  EXPECT_EQ(swap.GetTraffic().blocksRead, written);
  EXPECT_EQ(swap.GetUsedTotalSize(), bytes);
  std::fill(data.begin(), data.end(), 3);
  ASSERT_EQ(swap.Write(data.data(), block), 1);
  swap.CloseFile();
  EXPECT_EQ(swap.Read(back.data(), block), 0);
  EXPECT_EQ(swap.Write(data.data(), block), 0);
}

// From each form to each other one, with and without a write that fails in between, and with a byte
// that changed on the disk.
TEST_F(Swap, EveryFormFollowsEveryOther) {
  ASSERT_EQ(Create(1 << 20), 1);
  const unsigned int bytes = 64 * sector;
  std::vector<std::vector<BYTE>> forms(3, std::vector<BYTE>(bytes, 5));
  Fill(forms[0].data(), bytes, 3);
  for (unsigned i = 0; i < bytes; i += 500) forms[1][i] = 6;  // packed; the last one is flat
  std::vector<BYTE> back(bytes);
  KXSwapBlock* block = swap.Allocate(bytes);
  ASSERT_EQ(swap.Write(forms[0].data(), block), 1);
  for (int from = 0; from < 3; ++from) {
    for (int to = 0; to < 3; ++to) {
      ASSERT_EQ(swap.Write(forms[static_cast<std::size_t>(from)].data(), block), 1);
      auto& form = forms[static_cast<std::size_t>(to)];
      {
        kxw::detail::ScopedFaults faults;
        faults.Fail(kxw::detail::FaultPoint::kWrite, 1, kxw::kErrorDiskFull);
        ASSERT_EQ(swap.Write(form.data(), block), to == 2);
      }
      ASSERT_EQ(swap.Write(form.data(), block), 1);
      ASSERT_EQ(swap.Read(back.data(), block), 1);
      ASSERT_EQ(back, form) << from << to;
      EXPECT_EQ(swap.Write(nullptr, block) + swap.Read(nullptr, block), 0);
      if (to == 2) continue;
      std::fstream(folder.Host() / "file", std::ios::in | std::ios::out | std::ios::binary)
          .seekp(40)
          .put(77);
      EXPECT_EQ(swap.Read(back.data(), block), 0);
      EXPECT_TRUE(block->IsDamaged());
    }
  }
}

TEST_F(Swap, WithoutMemoryToPackInABlockIsWrittenAsItStands) {
  ASSERT_EQ(Create(1 << 20), 1);
  std::vector<BYTE> data(64 * sector, 5), back(64 * sector);
  data[9] = 6;
  KXSwapBlock* block = swap.Allocate(64 * sector);
  kxw::detail::ScopedFaults faults;
  faults.Fail(kxw::detail::FaultPoint::kAlloc, 1, 8);
  ASSERT_EQ(swap.Write(data.data(), block), 1);
  EXPECT_EQ(swap.GetTraffic().bytesWritten, data.size());
  ASSERT_EQ(swap.Read(back.data(), block), 1);
  EXPECT_EQ(back, data);
}

// 256 gaps use up the records at hand, so that the growth behind them needs memory.
TEST_F(Swap, AGrowthThatFailsLeavesTheFileAsItWas) {
  ASSERT_EQ(Create(1), 1);
  std::vector<KXSwapBlock*> blocks;
  for (int i = 0; i < 2 * 256; ++i) blocks.push_back(Written(1));
  for (std::size_t i = 0; i < blocks.size(); i += 2) swap.Deallocate(blocks[i]);
  const u64 length = swap.GetSwapSize();
  KXSwapBlock* large = swap.Allocate(2 * sector);
  std::vector<BYTE> data(2 * sector), back(2 * sector);
  Fill(data.data(), data.size(), 7);
  {
    kxw::detail::ScopedFaults faults;
    faults.Fail(kxw::detail::FaultPoint::kAlloc, 1, 8, 1000);
    EXPECT_EQ(swap.Write(data.data(), large), 0);
    EXPECT_GT(faults.Count(kxw::detail::FaultPoint::kAlloc), 0);
  }
  EXPECT_EQ(swap.GetSwapSize(), length);
  EXPECT_EQ(std::filesystem::file_size(folder.Host() / "file"), length);
  EXPECT_EQ(swap.Write(data.data(), large), 1);
  EXPECT_EQ(large->GetBeginPos(), length);
  EXPECT_EQ(swap.Read(back.data(), large), 1);
  EXPECT_EQ(back, data);

  large->SetSize(sector + 100);  // no size of a block
  EXPECT_EQ(swap.Write(data.data(), large), 0);
  EXPECT_EQ(swap.Read(data.data(), large), 0);
  large->SetSize(2 * sector);
}

TEST(BlockList, KeepsOrderOverPagesAndUsesItemsAgain) {
  std::vector<KXSwapBlock> blocks(3000);
  kxw::BlockList<KXSwapListItem> list;
  std::vector<KXSwapListItem*> items;
  for (KXSwapBlock& block : blocks) items.push_back(list.Append(&block));
  for (std::size_t i = 0; i < 3000; i += 3) list.Remove(items[i]);
  EXPECT_EQ(list.GetCount(), 2000);
  const std::set<KXSwapListItem*> known(items.begin(), items.end());
  for (std::size_t i = 0; i < 3000; i += 3) EXPECT_TRUE(known.contains(list.Append(&blocks[i])));
  const KXSwapListItem* item = list.GetFirst();
  for (std::size_t i = 0; i < 3000; ++i, item = item->next) {
    ASSERT_EQ(item->block, &blocks[i < 2000 ? i / 2 * 3 + i % 2 + 1 : (i - 2000) * 3]);
  }
  EXPECT_EQ(item, nullptr);
}
