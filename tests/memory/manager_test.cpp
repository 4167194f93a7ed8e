#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

#include "kxwcmn/core/exception.h"
#include "kxwcmn/core/filepath.h"
#include "kxwcmn/memory/memory_internal.h"
#include "kxwcmn/memory/swapblock.h"
#include "kxwcmn/memory/virtualmemory.h"
#include "kxwcmn/platform/detail/faults.h"
#include "kxwcmn/platform/error.h"
#include "tests/memory/managermodel.h"
#include "tests/memory/support.h"

using kxw::detail::FaultPoint;
using kxw::detail::ScopedFaults;

namespace {

/// The manager and its model, driven in step.
class Pair {
 public:
  Pair(unsigned seed, std::uint32_t budget, std::vector<std::uint32_t> sizes)
      : random_(seed), sizes_(std::move(sizes)), model_(budget) {
    manager_.Create(budget, folder_.Path().c_str());
  }

  void Step() {
    ScopedFaults faults;
    model_.failingWrite = random_.OneIn(12) ? 1 + random_.Below(3) : 0;
    if (model_.failingWrite) faults.Fail(FaultPoint::kWrite, model_.failingWrite, 39);
    const int what = random_.Below(100);
    if (what < 12 || live_.empty()) return Allocate();
    const std::size_t index = random_.Below(live_.size());
    auto [real, model] = live_[index];
    if (what < 45) {
      Lock(real, *model);
    } else if (what < 78) {
      manager_.Unlock(real);
      model->locked = false;
    } else if (what < 84) {
      ASSERT_EQ(manager_.Purge(real), model_.Purge(*model));
    } else if (what < 90) {
      model->temporary = !model->temporary;
      real->SetTemporary(model->temporary);
    } else if (what < 94) {
      model->protect = !model->protect && random_.OneIn(3);
      real->SetAbsoluteProtect(model->protect);
    } else {
      manager_.Free(real);
      model_.Free(*model);
      live_.erase(live_.begin() + static_cast<long>(index));
    }
  }

  void Compare() {
    std::map<int, const KXVMChunk*> chunks;
    for (const auto& [real, model] : live_) {
      ASSERT_EQ(real->IsOnMemory(), model->onMemory);
      ASSERT_EQ(real->IsSwapped(), model->placed);
      ASSERT_EQ(real->IsLocked() != 0, model->locked);
      ASSERT_EQ(real->GetEditFlag() != 0, model->edit);
      ASSERT_EQ(real->GetMemory().GetSlot(), model->slot);
      const KXVMChunk* chunk = real->GetMemory().GetChunk();
      ASSERT_EQ(chunk != nullptr, model->chunk >= 0);
      ASSERT_TRUE(!chunk || chunks.emplace(model->chunk, chunk).first->second == chunk);
    }
    const KXVMStatistics statistics = manager_.GetStatistics();
    ASSERT_EQ(statistics.chunks, model_.chunks);
    ASSERT_EQ(statistics.blocksOnMemory, model_.onMemory);
    ASSERT_EQ(statistics.peakBlocksOnMemory, model_.peak);
    ASSERT_EQ(statistics.blocksDropped, model_.dropped);
    ASSERT_EQ(statistics.blocksWritten, model_.written);
    ASSERT_EQ(statistics.blocksRead, model_.read);
    ASSERT_EQ(statistics.bytesWritten + statistics.bytesRead, model_.bytesMoved);
    ASSERT_EQ(manager_.GetUsedDiskSize(), model_.bytesPlaced);
    ASSERT_EQ(manager_.GetUsedPhysicalMemorySize(), model_.budget - model_.margin);
    ASSERT_LE(manager_.GetFreePhysicalMemorySize(), model_.budget);
  }

 private:
  void Allocate() {
    const std::uint32_t size = sizes_[random_.Below(sizes_.size())];
    ManagerModel::Block* model = model_.Allocate(size);
    KXSwapBlock* real = nullptr;
    const int code = CodeOf([&] { real = manager_.Allocate(size); });
    ASSERT_EQ(code, model ? 0 : 8);
    if (model) live_.emplace_back(real, model);
  }

  void Lock(KXSwapBlock* real, ManagerModel::Block& model) {
    const bool edit = random_.OneIn(2);
    int loaded = 7;
    void* at = manager_.Lock(real, edit, &loaded);
    const int expected = model_.Lock(model, edit);
    ASSERT_EQ(at == nullptr, expected < 0);
    if (!at) return;
    ASSERT_EQ(loaded, expected == 1 ? 1 : 7);
    ASSERT_TRUE(!model.memory || Holds(at, model.size, *model.memory));
    if (edit) {
      model.memory = random_.Below(1u << 30);
      Fill(at, model.size, *model.memory);
    }
  }

  Random random_;
  std::vector<std::uint32_t> sizes_;
  TestFolder folder_;
  ManagerModel model_;
  KXVirtualMemory manager_;
  std::vector<std::pair<KXSwapBlock*, ManagerModel::Block*>> live_;
};

}  // namespace

// Which block is evicted when, which unit of which chunk serves, what a block holds: all equal to
// the model's at every step, with writes that fail now and then.
TEST(VirtualMemory, EqualsModel) {
  const std::vector<std::vector<std::uint32_t>> menus = {
      {8192}, {4096, 12288, 32768}, {65536, 131072}, {8192, 16384, 4096}, {262144, 65536, 196608}};
  const int before = kxw::liveAllocations;
  for (unsigned seed = 0; seed < 40; ++seed) {
    const auto& menu = menus[seed % menus.size()];
    Pair pair(seed, menu.back() * (6 + seed), menu);
    for (int step = 0; step < 1500; ++step) {
      SCOPED_TRACE(testing::Message() << "seed " << seed << ", step " << step);
      pair.Step();
      pair.Compare();
      if (testing::Test::HasFatalFailure()) return;
    }
  }
  EXPECT_EQ(kxw::liveAllocations, before);
}

// Whatever fails, no picture is lost: an operation fails as a whole, and works once the fault is
// over.
TEST_F(Memory, KeepsContentsThroughFaults) {
  constexpr FaultPoint kPoints[] = {FaultPoint::kAlloc, FaultPoint::kRead,   FaultPoint::kWrite,
                                    FaultPoint::kSeek,  FaultPoint::kSetEnd, FaultPoint::kDiskFree};
  const int before = kxw::liveAllocations;
  Create(1 << 20);
  Random random(1);
  std::vector<std::pair<KXSwapBlock*, std::uint32_t>> blocks;
  int refused = 0;
  for (int step = 0; step < 6000; ++step) {
    SCOPED_TRACE(step);
    ScopedFaults faults;
    if (step % 3 == 0) {
      faults.Fail(kPoints[random.Below(std::size(kPoints))], 1 + random.Below(3), 39,
                  1 + random.Below(9), random.Below(u64{9000}));
    }
    if (step % 64 == 0) faults.LimitDiskFree(random.Below(u64{4096}));
    if (step % 7 == 0) faults.EndReadEarly(1, random.Below(u64{8192}));
    const std::size_t index = random.Below(blocks.size() + 1);
    if (index == blocks.size()) {
      const unsigned int size = random.OneIn(2) ? 65536 : 20480;
      const int code = CodeOf([&] { blocks.emplace_back(manager->Allocate(size), 0); });
      EXPECT_TRUE(code == 0 || code == 8 || code == 39) << code;
      if (code) continue;
    }
    auto& [block, word] = blocks[index];
    const int action = word == 0 ? 0 : random.Below(10);
    if (action == 9 && blocks.size() > 40) {
      manager->Free(block);
      blocks.erase(blocks.begin() + static_cast<long>(index));
    } else if (action == 8) {
      manager->Purge(block);
    } else if (void* at = manager->Lock(block, action < 4, nullptr)) {
      ASSERT_TRUE(word == 0 || Holds(at, block->GetSize(), word));
      if (action < 4) Fill(at, block->GetSize(), word = 1 + random.Below(1u << 30));
      manager->Unlock(block);
    } else {
      ++refused;
      EXPECT_FALSE(block->IsOnMemory());
    }
  }
  EXPECT_GT(refused, 50);
  for (auto& [block, word] : blocks) EXPECT_TRUE(word == 0 || Reads(block, word));
  manager.reset();
  EXPECT_EQ(kxw::liveAllocations, before);
}

TEST_F(Memory, CreatesSweepsAndRemovesTheSwapFile) {
  for (const char* name : {"xSwP1.tmp", "swp", "other.tmp"})
    std::ofstream(folder.Host() / name) << 1;
  std::filesystem::create_directory(folder.Host() / "SWPfolder");
  Create(100000);
  EXPECT_EQ(CountEntries(folder), 3);  // the file and the folder that are none, and the new one
  EXPECT_TRUE(folder.Has("other.tmp"));
  EXPECT_EQ(manager->GetPhysicalMemorySize() % 512, 0u);
  EXPECT_EQ(manager->GetSwapFileSize(), manager->GetPhysicalMemorySize());
  EXPECT_EQ(CodeOf([&] { Create(4096); }), kxw::kFailureBadArgument);
  EXPECT_EQ(CountEntries(folder), 3);
  EXPECT_GE(manager->GetPhysicalMemorySize(), 100000u);
  manager.reset();
  EXPECT_EQ(CountEntries(folder), 2);
}

TEST_F(Memory, FailedCreationLeavesNothingAndMayBeTriedAgain) {
  EXPECT_EQ(CodeOf([&] { manager->Allocate(8192); }), kxw::kFailureNoSwapSpace);
  for (const FaultPoint point :
       {FaultPoint::kDiskFree, FaultPoint::kOpen, FaultPoint::kSetEnd, FaultPoint::kCount}) {
    ScopedFaults faults;
    point == FaultPoint::kCount ? faults.LimitDiskFree(99999) : faults.Fail(point, 1, 5);
    EXPECT_EQ(CodeOf([&] { Create(100000); }), kxw::kFailureNoSwapSpace);
    EXPECT_EQ(CountEntries(folder), 0);
  }
  // A folder that is not there, and one in which nobody may write.
  for (const std::string& path : {folder.Path("missing"), std::string("\\proc")}) {
    EXPECT_EQ(CodeOf([&] { manager->Create(100000, path.c_str()); }), kxw::kFailureNoSwapName);
  }
  Create(100000);
  EXPECT_EQ(CountEntries(folder), 1);
}

// The open file serves on, also where it has to grow.
TEST_F(Memory, KeepsContentsWhenTheSwapFolderGoes) {
  Create(kMiB);
  std::filesystem::remove_all(folder.Host());
  const auto tiles = PaintedTiles(64);
  EXPECT_GT(manager->GetSwapFileSize(), kMiB);
  ExpectTiles(tiles);
  manager.reset();
}

TEST_F(Memory, ABudgetOfNothingHoldsNothing) {
  Create(0);
  EXPECT_EQ(CodeOf([&] { manager->Allocate(8192); }), 8);
  KXSwapBlock* empty = manager->Allocate(0);
  EXPECT_TRUE(manager->Lock(empty, 1, nullptr));
  manager->Unlock(empty);
  EXPECT_EQ(manager->Purge(empty), 1);
  EXPECT_TRUE(manager->Lock(empty, 0, nullptr));
}

TEST_F(Memory, BadArgumentsDoNothing) {
  Create(1 << 20);
  manager->Free(nullptr);
  manager->Unlock(nullptr);
  EXPECT_EQ(manager->Purge(nullptr), 1);
  EXPECT_EQ(manager->Lock(nullptr, 1, nullptr), nullptr);
  KXSwapBlock* tile = manager->Allocate(8192);
  for (const unsigned size : {0xFFFFFFFFu, (1u << 20) + 1}) {  // nothing leaves for what never fits
    EXPECT_EQ(CodeOf([&] { manager->Allocate(size); }), 8);
    EXPECT_TRUE(tile->IsOnMemory());
  }
  KXSwapBlock away = *tile;
  EXPECT_EQ(CodeOf([&] { manager->Purge(&away); }), kxw::kFailureBadArgument);
  EXPECT_EQ(manager->Purge(tile), 1);
  away = *tile;
  EXPECT_EQ(manager->Lock(&away, 0, nullptr), nullptr);
  EXPECT_EQ(qmGetLastError(), kxw::kFailureBadArgument);
  EXPECT_FALSE(tile->IsOnMemory() || away.IsOnMemory());
  EXPECT_EQ(CodeOf([&] { manager->Free(&away); }), kxw::kFailureBadArgument);
  KXVMHandle handle;
  manager->AllocHandle(8192, handle);
  manager->FreeHandle(handle, 1000);  // not the size of a class: the empty chunk stays
  EXPECT_EQ(manager->GetStatistics().chunks, 1);
  EXPECT_EQ(KXVMHandle().Lock(), nullptr);
}
