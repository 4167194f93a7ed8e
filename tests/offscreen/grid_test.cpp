#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <map>
#include <utility>

#include "kxwcmn/core/exception.h"
#include "kxwcmn/memory/swapblock.h"
#include "kxwcmn/offscreen/autolock.h"
#include "kxwcmn/offscreen/blockgetter.h"
#include "tests/support/failure.h"
#include "tests/support/images.h"

namespace {

using namespace testing_kxw;

void Mark(KXVOffscreen& image, int x, int y, BYTE value) {
  KXVOffscreenAutoLock lock(&image, x, y, 1);
  image.Set8BitColor(value);
}

BYTE At(KXVOffscreen& image, int x, int y) {
  KXVOffscreenAutoLock lock(&image, x, y, 0);
  return image.Get8BitColor();
}

TEST(Grid, IsCreatedWithoutMemory) {
  EXPECT_EQ(KXVOffscreen::CreateOffscreen(4), nullptr);
  for (int bits : kAllDepths) {
    ImagePtr image = MakeImage(bits, 100000, 100000);
    int columns = 0, rows = 0;
    EXPECT_EQ(image->GetBlockCount(&columns, &rows), 391 * 391);
    EXPECT_EQ(image->GetBlockRowBytes(), bits * 32);
    EXPECT_EQ(image->GetUsedMemory(0), 0u);
    EXPECT_EQ(image->GetBlockIndex(99999, 256), 391 + 390);
    EXPECT_EQ(image->GetBlockByIndex(392), KXRect(256, 256, 512, 512));
    EXPECT_TRUE(image->IsBlockOnMemory(-1, -1) && image->IsBlockAbsoluteProtect(5, 5));
  }
}

TEST(Grid, RefusesSizesAndManagersThatAreNone) {
  ImagePtr image(KXVOffscreen::CreateOffscreen(8));
  EXPECT_EQ(CodeOf([&] { image->Create(nullptr, 10, 10, 72); }), 0x20010008);
  EXPECT_EQ(CodeOf([&] { image->Create(SmallManager(), -1, 10, 72); }), 0x20010008);
  EXPECT_EQ(CodeOf([&] { image->Create(SmallManager(), 10, 0x7FFFFFFF, 72); }), 0x20010008);
  EXPECT_EQ(CodeOf([&] { image->Create(SmallManager(), 0x7FFFFF00, 0x7FFFFF00, 72); }), 8);
  EXPECT_EQ(image->GetWidth(), 0);
  image->Create(SmallManager(), 10, 10, 72);
  Mark(*image, 9, 9, 5);
  EXPECT_EQ(CodeOf([&] { image->Create(SmallManager(), 10, -1, 72); }), 0x20010008);
  EXPECT_EQ(At(*image, 9, 9), 5) << "what is refused leaves the picture alone";
  image->Destroy();
  image->Destroy();
  for (const int bits : {0, 4, -1, 128}) {
    EXPECT_EQ(CodeOf([&] { KXVOffscreen::Make(bits, 9, 9); }), 0x20010008);
  }
  EXPECT_EQ(CodeOf([&] { KXVOffscreen::Make(8, -1, 9); }), 0x20010008);
  EXPECT_EQ(KXVOffscreen::Make(2, 9, 7)->GetVirtualMemory(), kxGetVirtualMemory());
}

TEST(Grid, CreatedTwiceOrDestroyedUnderALockLeaksNothing) {
  const unsigned before = SmallManager()->GetUsedBlockCount();
  {
    ImagePtr image = MakeImage(8, 600, 600);
    Mark(*image, 300, 300, 5);
    image->Create(SmallManager(), 100, 100, 72);
    EXPECT_EQ(SmallManager()->GetUsedBlockCount(), before);
    {
      KXVOffscreenAutoLock lock(image.get(), 1, 1, 1);
      image->Create(SmallManager(), 100, 100, 72);
      image->Set8BitColor(5);  // the cursor stands off the image
    }
    EXPECT_EQ(image->GetUsedMemory(0), 0u);
    image->AllowBreak(1);
    image->SetSpecialtyOffscr(9);
    Mark(*image, 1, 1, 5);
    {
      KXVOffscreenAutoLock outer(image.get(), 1, 1, 1);
      KXVOffscreenAutoLock inner(image.get(), 1, 1, 1);
      image->Destroy();
      image->Create(SmallManager(), 100, 100, 72);
    }
    EXPECT_EQ(image->GetLockCount(), 0u);
    EXPECT_EQ(image->GetUsedMemory(0), 0u) << "the scopes ended without a block to go back to";
    EXPECT_EQ(image->GetSpecialtyOffscr(), 9);
    image->Create(SmallManager(), 100, 100, 72);
    Mark(*image, 1, 1, 6);
    image->Lock(1, 1, 1);
    EXPECT_EQ(image->DestroyBlock(0), 1);
    image->Set8BitColor(9);  // the block went from under the cursor
    EXPECT_EQ(image->Get8BitColor(), 0);
    image->MoveCursor(2, 1);  // a move makes it anew
    image->Set8BitColor(9);
    EXPECT_EQ(image->Get8BitColor(), 9);
    image->Unlock();
    EXPECT_EQ(image->DestroyBlock(0), 1);
    EXPECT_EQ(image->DestroyBlock(1, 1), 0);
    EXPECT_EQ(image->DestroyBlockByIndex(7, 7), 0);
  }
  EXPECT_EQ(SmallManager()->GetUsedBlockCount(), before);
}

// Random growth and shrinking against the positions of a few marks in document coordinates.
TEST(Grid, GrowthAndShrinkingKeepThePicture) {
  for (unsigned seed = 0; seed < 40; ++seed) {
    Random random(seed);
    ImagePtr image = MakeImage(8, random.Edge(1, 700), random.Edge(1, 700));
    std::map<std::pair<int, int>, BYTE> marks;  // by document position
    const auto check = [&] {
      for (auto it = marks.begin(); it != marks.end();) {
        const int x = it->first.first - image->GetOffset().x;
        const int y = it->first.second - image->GetOffset().y;
        if (image->GetBlockIndex(x, y) < 0) {
          it = marks.erase(it);
          continue;
        }
        ASSERT_EQ(At(*image, x, y), it->second) << "seed " << seed;
        ++it;
      }
    };
    for (int step = 0; step < 12; ++step) {
      for (int i = 0; i < 4; ++i) {
        const int x = random.Edge(0, image->GetWidth() - 1),
                  y = random.Edge(0, image->GetHeight() - 1);
        const BYTE value = static_cast<BYTE>(random.Int(1, 255));
        Mark(*image, x, y, value);
        marks[{x + image->GetOffset().x, y + image->GetOffset().y}] = value;
      }
      const int width = image->GetWidth(), height = image->GetHeight();
      const KXPoint offset = image->GetOffset();
      if (random.OneIn(2)) {
        const KXRect rect(random.Edge(-600, 100), random.Edge(-600, 100), random.Edge(1, 1200),
                          random.Edge(1, 1200));
        KXRect out;
        ASSERT_EQ(image->AllocateRect(rect, &out), 1);
        ASSERT_EQ(out.left, rect.left < 0 ? (255 - rect.left) / 256 * 256 : 0);
        ASSERT_EQ(image->GetWidth(), out.left + std::max(width, rect.right));
        ASSERT_EQ(image->GetHeight(), out.top + std::max(height, rect.bottom));
        ASSERT_EQ(out, KXRect(out.left, out.top, out.left + image->GetWidth(),
                              out.top + image->GetHeight()));
        ASSERT_EQ(image->GetOffset(), KXPoint(offset.x - out.left, offset.y - out.top));
      } else if (random.OneIn(2)) {
        const int type = random.Int(0, 4);
        const bool column = type % 2 == 0, isLast = (column ? width : height) <= 256;
        ASSERT_EQ(image->DeallocateBlock(static_cast<DEALLOCATE_BLOCK_TYPE>(type)),
                  type < 4 && !isLast);
        if (type == 2 && !isLast) {
          ASSERT_EQ(image->GetWidth(), (width - 1) / 256 * 256);
        }
        if (type == 1 && !isLast) {
          ASSERT_EQ(image->GetHeight(), height - 256);
        }
      } else {
        const int left = random.Edge(0, width - 1), top = random.Edge(0, height - 1);
        const KXRect keep(left, top, random.Edge(left + 1, width), random.Edge(top + 1, height));
        KXPoint shift;
        ASSERT_EQ(image->DeallocateRect(keep, shift), 1);
        ASSERT_EQ(shift, KXPoint(keep.left / 256 * 256, keep.top / 256 * 256));
        // Blocks that lie beyond the far edges whole are gone, and take the size to a seam.
        const auto cut = [](int size, int end) {
          const int removed = (size - end) / 256;
          return removed > 0 ? ((size + 255) / 256 - removed) * 256 : size;
        };
        ASSERT_EQ(image->GetWidth(), cut(width - shift.x, keep.right - shift.x));
        ASSERT_EQ(image->GetHeight(), cut(height - shift.y, keep.bottom - shift.y));
      }
      check();
    }
  }
}

TEST(Grid, GrowthTellsItsShiftAndRefusesTheImpossible) {
  ImagePtr image = MakeImage(8, 100, 100);
  KXRect out;
  EXPECT_EQ(image->AllocateRect(KXRect(-1, 0, 10, 10), &out), 1);
  EXPECT_EQ(out, KXRect(256, 0, 612, 100));
  EXPECT_EQ(image->AllocateRect(KXRect(-0x7FFFFFFF - 1, 0, 10, 10), &out), 0);
  EXPECT_EQ(image->AllocateRect(KXRect(0, 0, 0x7FFFFFFF, 10), &out), 0);
  EXPECT_EQ(image->GetRect(), KXRect(0, 0, 356, 100));
  image->Lock(0, 0, 0);
  EXPECT_EQ(image->AllocateRect(KXRect(0, 0, 900, 900), &out), 0);
  EXPECT_EQ(image->DeallocateBlock(kDeallocateLeft), 0);
  image->Unlock();
  Mark(*image, 0, 0, 7);
  image->MoveCursor(0, 0);  // without a lock
  EXPECT_EQ(image->DeallocateBlock(kDeallocateLeft), 1);
  EXPECT_EQ(image->GetBaseAddress(), nullptr);
  // More cells than can be: the image is given up whole.
  EXPECT_EQ(image->AllocateRect(KXRect(0, 0, 0x7FFFFF00, 0x7FFFFF00), &out), 0);
  EXPECT_EQ(image->GetRect(), KXRect());
}

// Of a painted image, of one without cells, and of one that was never created.
TEST(Grid, StandsAnyCoordinate) {
  const ImagePtr painted = MakeImage(8, 300, 300), hollow = MakeImage(8, 0, 5);
  const ImagePtr raw(KXVOffscreen::CreateOffscreen(8));
  Mark(*painted, 299, 299, 7);
  const int far[] = {INT_MIN, INT_MIN + 1, -257, -1, 300, 65536, INT_MAX - 1, INT_MAX};
  for (KXVOffscreen* o : {painted.get(), hollow.get(), raw.get()}) {
    for (int a : far) {
      EXPECT_EQ(o->GetBlockByIndex(a), KXRect());
      EXPECT_EQ(o->GetBlockExist(a), 0);
      EXPECT_EQ(o->CheckBlockLock(a) + o->DestroyBlock(a), 0);
      EXPECT_EQ(o->CheckAreaType(a), kAreaNone);
      for (int b : far) {
        EXPECT_EQ(o->GetBlockIndex(a, b), -1);
        EXPECT_EQ(o->IsCreatedBlockByIndex(a, b) + o->DestroyBlockByIndex(a, b), 0);
        KXVOffscreenAutoLock lock(o, a, b, 1);
        o->Set8BitColor(9);
        EXPECT_EQ(o->Get8BitColor(), 0);
        o->NextCursorX(), o->NextCursorY(), o->Set8BitColor(9);
        o->MoveCursor(a, b), o->PrevCursorX(), o->PrevCursorY(), o->OffsetCursor(b, a);
        lock.Unlock();
        for (const KXRect& rect : {KXRect(a, a, b, b), KXRect(a, b, b, a)}) {
          o->SetProtectArea(rect);
          o->SetProtectBlockArea(rect);
          o->OptimizeBlock(rect);
          KXTArray<tagRECT, 0> parts;
          EXPECT_LE(o->GetBlockArea(rect, parts, 1), 4);
          KXBlockGetter(o, rect, 0);
        }
      }
    }
    o->ClearProtectArea();
    KXRect box;
    KXPoint shift;
    EXPECT_EQ(o->GetExtentRect(box), o == painted.get());
    EXPECT_EQ(o->DeallocateRect(KXRect(INT_MIN, INT_MIN, INT_MAX, INT_MAX), shift), 1);
  }
  EXPECT_EQ(At(*painted, 299, 299), 7);
  EXPECT_EQ(raw->AllocateRect(KXRect(0, 0, 9, 9), nullptr), 0);
  KXPoint shift;
  EXPECT_EQ(painted->DeallocateRect(KXRect(INT_MAX, INT_MAX, INT_MIN, INT_MIN), shift), 0);
  EXPECT_EQ(hollow->AllocateRect(KXRect(500, 500, 300, 300), nullptr), 1);
  Mark(*hollow, 299, 299, 7);
  EXPECT_EQ(At(*hollow, 299, 299), 7);
}

TEST(Grid, PositionsConvertByTheirThreeFormulas) {
  ImagePtr image = MakeImage(8, 10, 10, 72), other = MakeImage(8, 10, 10, 144);
  image->SetOffset(KXPoint(5, 7));
  other->SetOffset(KXPoint(-3, 11));
  KXPoint out;
  image->ConvertPoint(out, other.get(), KXPoint(10, 20));
  EXPECT_EQ(out, KXPoint((-3 + 10) * 2 - 5, (11 + 20) * 2 - 7));
  EXPECT_EQ(image->ConvertPointX(other.get(), 10), 2 * (10 - 5) - 3);
  EXPECT_EQ(image->ConvertPointY(other.get(), 20), (11 + 20) * 2 - 7);
  other->SetResolution(36);
  EXPECT_EQ(image->ConvertPointX(other.get(), 6), 0 - 3) << "half is cut off";
  EXPECT_EQ(image->ConvertPointY(other.get(), 0), 6 - 7) << "five and a half is rounded";
  image->SetResolution(0);
  image->ConvertPoint(out, other.get(), KXPoint(0x7FFFFFFF, -0x7FFFFFFF));
}

TEST(BlockIteration, GivesEachBlockOnceCutAsAsked) {
  ImagePtr image = MakeImage(1, 600, 300);
  tagRECT one = {};
  EXPECT_EQ(image->GetBlockArea(KXRect(0, 0, 10, 10), 1, &one, 1), 0);
  EXPECT_EQ(image->GetBlockArea(KXRect(0, 0, 300, 10), 1, &one, 1), 1);
  EXPECT_EQ(KXRect(one), KXRect(256, 0, 300, 10));
  EXPECT_EQ(image->GetBlockArea(KXRect(0, 0, 300, 10), 1, &one, 2), 1);
  EXPECT_EQ(KXRect(one), KXRect(256, 0, 512, 256)) << "cut by 1 alone";

  Random random(5);
  for (int i = 0; i < 400; ++i) {
    const int clip = i % 2;
    const KXRect rect(random.Edge(-50, 650), random.Edge(-50, 350), random.Edge(-50, 650),
                      random.Edge(-50, 350));
    std::vector<KXRect> expected;
    for (int block = 0; block < 6; ++block) {
      const KXRect whole = image->GetBlockByIndex(block);
      const KXRect part = whole & image->GetRect() & rect;
      if (!part.IsRectEmpty()) expected.push_back(clip ? part : whole & image->GetRect());
    }
    KXTArray<tagRECT, 0> parts;
    ASSERT_EQ(image->GetBlockArea(rect, parts, clip), std::ssize(expected));
    KXBlockGetter getter(image.get(), rect, clip);
    KXRect part;
    for (std::size_t k = 0; k < expected.size(); ++k) {
      ASSERT_EQ(KXRect(parts[static_cast<int>(k)]), expected[k]);
      ASSERT_TRUE(getter.IsExist() && getter.GetNextBlock(part));
      ASSERT_EQ(part, expected[k]);
    }
    ASSERT_FALSE(getter.GetNextBlock(part) || getter.IsExist());
  }
}

TEST(ProtectArea, DecidesWhatOldAndNewBlocksBecome) {
  ImagePtr image = MakeImage(8, 1024, 1024);
  image->AllowBreak(1);
  for (int x : {10, 300, 600}) Mark(*image, x, 10, 1);
  EXPECT_EQ(image->IsBlockAbsoluteProtect(10, 10), 0);
  image->SetProtectArea(KXRect(0, 0, 512, 512));
  EXPECT_EQ(image->IsBlockAbsoluteProtect(300, 10), 1);
  EXPECT_EQ(image->IsBlockAbsoluteProtect(600, 10), 0);
  // New blocks see the stored corner of the last block as half-open.
  Mark(*image, 10, 300, 1);
  EXPECT_EQ(image->IsBlockAbsoluteProtect(10, 300), 0);
  image->SetProtectArea(KXRect(256, 256, 1024, 1024));
  Mark(*image, 300, 300, 1);
  Mark(*image, 800, 300, 1);
  EXPECT_EQ(image->IsBlockAbsoluteProtect(300, 300), 1);
  EXPECT_EQ(image->IsBlockAbsoluteProtect(800, 300), 0);
  for (const int x : {300, 800}) {
    const auto* block = reinterpret_cast<const KXSwapBlock*>(image->GetBlockExist(x, 300));
    EXPECT_EQ(block->IsTemporary(), x == 800);
  }
  image->SetProtectArea(KXRect(0, 0, 100, 100));
  image->SetProtectBlockArea(KXRect(300, 300, 310, 310));
  image->SetProtectBlockArea(KXRect(2000, 300, 2010, 310));
  EXPECT_EQ(image->IsBlockAbsoluteProtect(300, 300), 1);
  EXPECT_EQ(image->DestroyBlock(300, 300), 1);
  Mark(*image, 300, 300, 1);
  EXPECT_EQ(image->IsBlockAbsoluteProtect(300, 300), 1);
  image->ClearProtectArea();
  EXPECT_EQ(image->IsBlockAbsoluteProtect(300, 300), 0);
  // An area goes with the edge that holds it, and no later one is joined to it.
  image->SetProtectBlockArea(KXRect(0, 0, 1, 1));
  EXPECT_EQ(image->DeallocateBlock(kDeallocateLeft), 1);
  image->SetProtectBlockArea(KXRect(256, 768, 257, 769));
  Mark(*image, 10, 600, 1);
  EXPECT_EQ(image->IsBlockAbsoluteProtect(10, 600), 0);
}

TEST(ProtectArea, DroppedBlocksComeBackCleared) {
  ImagePtr image = MakeImage(8, 600, 10);
  image->SetClearColor(BYTE{0x11});
  image->AllowBreak(1);
  Mark(*image, 5, 5, 9);
  image->UnloadAllBlock();
  EXPECT_EQ(image->CheckAreaType(0), kAreaEmpty);
  EXPECT_EQ(At(*image, 5, 5), 0x11);
  EXPECT_EQ(image->CheckAreaType(0), kAreaContents);
  // One that became temporary in the swap file is not read from there any more.
  image->AllowBreak(0);
  image->RectFill(image->GetRect(), 0, 0x09000000);  // so that all memory about holds it
  image->UnloadAllBlock();
  image->ClearProtectArea();
  EXPECT_EQ(At(*image, 300, 5), 0x11);
}

}  // namespace
