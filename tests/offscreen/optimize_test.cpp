#include <gtest/gtest.h>

#include "kxwcmn/offscreen/autolock.h"
#include "kxwcmn/offscreen/voffscreen_depths.h"
#include "tests/support/images.h"

namespace {

using namespace testing_kxw;

/// Whether the raw pixel under the cursor is empty to Optimize.
bool IsEmptyPixel(KXVOffscreen& o) {
  if (o.GetBitCount() == 2) return o.Get8BitMaskFast() == 0 && o.Get8BitImageFast() == 0;
  if (o.GetBitCount() == 24) return o.Get24BitColorFast() == 0;
  if (o.GetBitCount() == 1 || o.GetBitCount() == 8) return o.Get8BitColorFast() == 0;
  return o.Get16BitMaskFast() == 0;
}

bool IsUsedInExtent(KXVOffscreen& o) {
  if (o.GetBitCount() == 1) return o.Get1BitColorFast() != 0;
  if (o.GetBitCount() == 2) return o.Get2BitColorFast() != 0;
  if (o.GetBitCount() == 8) return o.Get8BitColorFast() != 0;
  if (o.GetBitCount() == 24) return true;
  return o.Get16BitMaskFast() != 0;
}

/// Puts a pixel that is nearly empty: colour without alpha, or nothing at all.
void PutHollow(KXVOffscreen& o) {
  if (o.GetBitCount() == 16 || o.GetBitCount() == 32) return o.SetColor(0x00FFFFFF);
  if (o.GetBitCount() == 64) return o.Set64BitColor(u64{0x0000FFFFFFFFFFFF});
  return o.SetColor(0);
}

void PutSolid(KXVOffscreen& o) {
  o.GetBitCount() == 64 ? o.Set64BitColor(u64{1} << 48) : o.Set32BitColor(0xFF000001);
}

// Few pixels, at seams and edges, in blocks otherwise hollow: which blocks go and what box is left,
// against a look at every pixel.
TEST(Optimize, AndExtentsAgreeWithALookAtEveryPixel) {
  for (int bits : kAllDepths) {
    for (unsigned seed = 0; seed < 12; ++seed) {
      Random random(seed);
      const int width = random.Edge(1, 700), height = random.Edge(1, 400);
      ImagePtr image = MakeImage(bits, width, height);
      image->SetClearColor(DWORD{0});
      {
        KXVOffscreenAutoLock lock(image.get(), 1);
        for (int i = random.Int(0, 5); i > 0; --i) {
          image->MoveCursor(random.Edge(0, width - 1), random.Edge(0, height - 1));
          random.OneIn(2) ? PutHollow(*image) : PutSolid(*image);
          // Beyond the image's edge nothing counts: it is written behind the cursor's back.
          if (width % 256) image->GetBaseAddress()[image->GetBlockRowBytes() - 1] = 0xFF;
        }
      }
      const int blocks = image->GetBlockCount(nullptr, nullptr);
      std::vector<bool> stays(static_cast<std::size_t>(blocks));
      KXRect box, blockBox;
      {
        KXVOffscreenAutoLock lock(image.get(), 0);
        for (int y = 0; y < height; ++y) {
          for (int x = 0; x < width; ++x) {
            image->MoveCursor(x, y);
            if (!image->GetCurrentAddress()) continue;
            if (!IsEmptyPixel(*image)) stays[std::size_t(image->GetBlockIndex(x, y))] = true;
            if (IsUsedInExtent(*image)) box |= KXRect(x, y, x + 1, y + 1);
            blockBox |= KXRect(x, y, x + 1, y + 1);
          }
        }
      }
      KXRect got(9, 9, 9, 9);
      ASSERT_EQ(image->GetExtentRect(got), !box.IsRectEmpty()) << bits << " " << seed;
      ASSERT_EQ(got, box) << bits << " bits, seed " << seed;
      ASSERT_EQ(image->GetExtentBlock(got), !blockBox.IsRectEmpty());
      if (!blockBox.IsRectEmpty()) {
        ASSERT_EQ(got, blockBox);
      }

      image->Lock(0, 0, 0);
      image->Optimize();  // in use: nothing may happen
      image->Unlock();
      if (seed % 2) image->UnloadAllBlock();
      if (seed % 3) {
        image->Optimize();
      } else {
        for (int i = 0; i < blocks; ++i) {
          image->OptimizeBlock(image->GetBlockByIndex(i) & image->GetRect());
        }
      }
      for (int i = 0; i < blocks; ++i) {
        ASSERT_EQ(image->GetBlockExist(i) != 0, stays[std::size_t(i)]) << bits << " " << seed;
      }
    }
  }
}

TEST(Optimize, WhatLiesBeyondTheEdgeIsNotInUse) {
  for (int bits : kAllDepths) {
    for (const int width : {1, 3, 13, 100}) {
      ImagePtr image = MakeImage(bits, width, 9);
      image->SetClearColor(BYTE{255});
      image->SetClearColor(~DWORD{0});
      if (bits == 64) static_cast<KXVOffscreen64Bit&>(*image).SetClearQMCOLORREF64(~u64{0});
      image->RectFill(image->GetRect(), 0, bits == 24 ? 0 : 0x00FFFFFF);
      image->Optimize();
      EXPECT_EQ(image->GetUsedMemory(0), 0u) << bits << ", " << width;
    }
  }
}

TEST(Optimize, TestsABlockInsideALockAndLeavesTheCursorThere) {
  ImagePtr image = MakeImage(8, 600, 300);
  image->Lock(300, 10, 1);
  KXRect box;
  EXPECT_EQ(image->GetExtentBlock(box), 1);
  EXPECT_EQ(box, KXRect(256, 0, 512, 256));
  image->OptimizeBlock(KXRect(256, 0, 512, 256));
  EXPECT_EQ(image->GetCursorPosX(), 256);
  EXPECT_EQ(image->GetUsedMemory(0), 0u) << "nothing was made on the way";
  image->MoveCursor(10, 10);
  image->OptimizeBlock(KXRect(200, 0, 300, 10));  // over a seam: no block of it is meant
  image->OptimizeBlock(KXRect(900, 900, 910, 910));
  EXPECT_NE(image->GetBlockExist(10, 10), 0);
  image->Unlock();
  EXPECT_EQ(image->GetLockCount(), 0u);
  // Where a cleared block counts as used, none must be made to look at it.
  image = MakeImage(24, 600, 300);
  KXVOffscreenAutoLock lock(image.get(), 0, 0, 1);
  image->OptimizeBlock(KXRect(256, 0, 512, 256));
  EXPECT_EQ(image->GetBlockExist(256, 0), 0);
}

TEST(Optimize, UsedMemoryCountsSwappedBlocksWhenAsked) {
  ImagePtr image = MakeImage(24, 600, 300);
  EXPECT_EQ(image->GetUsedMemory(0), 0u);
  {
    KXVOffscreenAutoLock lock(image.get(), 0, 0, 1);
    image->MoveCursor(300, 0);
  }
  image->UnloadAllBlock();
  { KXVOffscreenAutoLock lock(image.get(), 0, 0, 0); }
  EXPECT_EQ(image->GetUsedMemory(0), 2 * 196608u);
  EXPECT_EQ(image->GetUsedMemory(1), 196608u);
}

}  // namespace
