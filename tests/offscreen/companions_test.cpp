#include <gtest/gtest.h>

#include "kxwcmn/core/exception.h"
#include "kxwcmn/offscreen/autolock.h"
#include "kxwcmn/offscreen/voffscreenbackup.h"
#include "kxwcmn/offscreen/voffscreencache.h"
#include "tests/support/images.h"

namespace {

using namespace testing_kxw;

void MakeBlocks(KXVOffscreen& image) {
  KXVOffscreenAutoLock lock(&image, 1);
  for (int i = 0; i < image.GetBlockCount(nullptr, nullptr); ++i) {
    const KXRect block = image.GetBlockByIndex(i);
    image.MoveCursor(block.left, block.top);
  }
}

int CountBlocks(const KXVOffscreen& image) {
  int count = 0;
  for (int i = 0; i < image.GetBlockCount(nullptr, nullptr); ++i) count += !!image.GetBlockExist(i);
  return count;
}

// 3 by 2 blocks, all with memory.
class CacheTest : public testing::Test {
 protected:
  CacheTest() {
    cache->Create(SmallManager(), 600, 400, 72);
    MakeBlocks(image());
  }
  ~CacheTest() override { KXVOffscreen::DeleteOffscreenCache(cache); }
  KXVOffscreen& image() { return *cache->GetThisOffscreen(); }

  KXVOffscreenCache* cache = KXVOffscreen::CreateOffscreenCache(8);
};

TEST_F(CacheTest, FreesTheBlocksWhoseCachedFlagGoes) {
  const KXRect twoBlocks(250, 10, 260, 20);
  cache->SetCached(&twoBlocks, 1);
  cache->SetDrawn(nullptr, 1);
  EXPECT_TRUE(cache->IsCached(0, 0) && cache->IsCached(256, 255) && !cache->IsCached(512, 0));
  EXPECT_TRUE(cache->IsFlag(0, 3) && !cache->IsFlag(2, 3) && cache->IsDrawn(2));
  cache->SetFlag(0, 2, 0);
  EXPECT_TRUE(cache->IsCached(0, 0) && !cache->IsDrawn(0, 0));
  cache->SetDrawn(nullptr, 0);
  cache->SetFlag(1, 0x80000001, 0);  // beyond the signed numbers the flag frees nothing
  EXPECT_EQ(CountBlocks(image()), 6);
  EXPECT_FALSE(cache->IsCached(256, 0));

  KXTArray<tagRECT, 0> corners;  // only these count, and only inside the image
  corners.Add({0, 0, 600, 400});
  corners.Add({-5, 0, 600, 400});
  cache->ClearAllFlag(corners);
  EXPECT_EQ(CountBlocks(image()), 5);
  EXPECT_FALSE(image().GetBlockExist(0));
  cache->SetCached(nullptr, 0);
  EXPECT_EQ(CountBlocks(image()), 0);
}

TEST_F(CacheTest, IgnoresBlocksThatAreNotThere) {
  for (int index : {-1, 6, 1000000}) {
    cache->SetFlag(index, 3, 1);
    cache->SetFlag(index, 3, 0);
    EXPECT_FALSE(cache->IsFlag(index, 1));
  }
  EXPECT_FALSE(cache->IsFlag(-1, 0, 0));
  EXPECT_FALSE(cache->IsFlag(600, 0, 0));
  EXPECT_EQ(CountBlocks(image()), 6);
}

TEST_F(CacheTest, CopiesImageAndFlags) {
  KXVOffscreenCache* other = KXVOffscreen::CreateOffscreenCache(8);
  other->Create(SmallManager(), 600, 400, 72);
  cache->SetFlag(4, 0x12, 1);
  image().DestroyBlock(3);
  other->CopyAll(cache);
  EXPECT_TRUE(other->IsFlag(4, 0x12));
  EXPECT_EQ(CountBlocks(*other->GetThisOffscreen()), 5);
  other->Destroy();
  EXPECT_FALSE(other->IsFlag(4, 0x10));
  other->CopyAll(nullptr);
  KXVOffscreen::DeleteOffscreenCache(other);
}

TEST(Companions, AreMadeForTheSevenDepthsAndOutliveAFailedCreate) {
  EXPECT_EQ(KXVOffscreen::CreateOffscreenCache(3), nullptr);
  EXPECT_EQ(KXVOffscreen::CreateOffscreenBackup(0), nullptr);
  KXVOffscreen::DeleteOffscreenCache(nullptr);
  KXVOffscreen::DeleteOffscreenBackup(nullptr);

  KXVOffscreenCache* cache = KXVOffscreen::CreateOffscreenCache(32);
  EXPECT_THROW(cache->Create(SmallManager(), -1, 5, 72), KXException);
  EXPECT_EQ(cache->GetThisOffscreen(), nullptr);
  cache->SetCached(nullptr, 0);
  cache->RenderBackground(KXRect(0, 0, 9, 9), 0, 0, 1);
  cache->Destroy();
  EXPECT_FALSE(cache->IsDrawn(0, 0));
  EXPECT_THROW(cache->Create(SmallManager(), 5, 5, 72), KXException);
  KXVOffscreen::DeleteOffscreenCache(cache);
}

TEST(Backup, FreesTheBlocksWhoseStateGoesBackToNone) {
  KXVOffscreenBackup* backup = KXVOffscreen::CreateOffscreenBackup(16);
  backup->Create(SmallManager(), 600, 400, 72);
  KXVOffscreen& image = *backup->GetThisOffscreen();
  MakeBlocks(image);
  const auto kept = static_cast<BACKUP_STATE>(7);
  backup->SetState(nullptr, kept);
  const KXRect below(0, 300, 300, 301);
  backup->SetState(&below, kBackupNone);
  EXPECT_EQ(backup->GetState(599, 399), kept);
  EXPECT_EQ(backup->GetState(300, 256), kBackupNone);
  EXPECT_EQ(backup->GetState(-1, 0), kBackupNone);
  EXPECT_EQ(CountBlocks(image), 4);
  backup->Create(SmallManager(), 600, 400, 72);
  EXPECT_EQ(backup->GetState(0, 0), kBackupNone);
  backup->SetState(nullptr, kBackupNone);
  EXPECT_EQ(CountBlocks(image), 0);
  KXVOffscreen::DeleteOffscreenBackup(backup);
}

}  // namespace
