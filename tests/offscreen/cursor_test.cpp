#include <gtest/gtest.h>

#include <map>
#include <vector>

#include "kxwcmn/core/exception.h"
#include "kxwcmn/offscreen/autolock.h"
#include "kxwcmn/platform/detail/faults.h"
#include "tests/support/images.h"

namespace {

using namespace testing_kxw;

// A picture in which each pixel tells its place, at depths that can hold enough of it.
u64 PlaceColor(int bits, int x, int y) {
  const u64 mix = (static_cast<u64>(x) * 73 + static_cast<u64>(y) * 151 + 1) ^ 0x5A;
  return bits == 1 ? (mix >> 2) % 2 * 3 : bits == 2 ? 2 + (mix >> 2) % 2 : mix * 0x9E3779B9;
}

void PaintPlaces(KXVOffscreen& image) {
  KXVOffscreenAutoLock lock(&image, 1);
  for (int y = 0; y < image.GetHeight(); ++y) {
    image.MoveCursor(0, y);
    for (int x = 0; x < image.GetWidth(); ++x, image.NextCursorX()) {
      const u64 c = PlaceColor(image.GetBitCount(), x, y);
      image.GetBitCount() <= 2 ? image.Set2BitColor(BYTE(c)) : image.Set32BitColor(DWORD(c));
    }
  }
}

// Every way to a pixel must read the same value: a walk of random moves at all grades over an image
// of four blocks with partial edges, the reads beside those of a fresh checked move in a twin.
TEST(Cursor, EveryMoveReachesItsPixel) {
  for (int bits : kAllDepths) {
    ImagePtr image = MakeImage(bits, 300, 270), twin = MakeImage(bits, 300, 270);
    PaintPlaces(*image);
    PaintPlaces(*twin);
    Random random(static_cast<unsigned>(bits));
    KXVOffscreenAutoLock lock(image.get(), 0, 0, 0), twinLock(twin.get(), 0);
    int x = 0, y = 0;
    const auto inside = [&] { return x >= 0 && y >= 0 && x < 300 && y < 270; };
    const auto step = [&](int way, bool isFastest) {
      if (way == 0) isFastest ? image->NextCursorXFastest() : image->NextCursorX(), ++x;
      if (way == 1) isFastest ? image->PrevCursorXFastest() : image->PrevCursorX(), --x;
      if (way == 2) isFastest ? image->NextCursorYFastest() : image->NextCursorY(), ++y;
      if (way == 3) isFastest ? image->PrevCursorYFastest() : image->PrevCursorY(), --y;
    };
    for (int i = 0; i < 20000; ++i) {
      const int nx = random.Edge(-2, 301), ny = random.Edge(-2, 271);
      const bool isThere = nx >= 0 && ny >= 0 && nx < 300 && ny < 270;
      const int way = random.Int(0, 6);
      if (way == 0) image->MoveCursor(x = nx, y = ny);
      if (way == 1 || way == 2) step(random.Int(0, 3), false);
      if (way == 3) image->OffsetCursor(nx - x, ny - y), x = nx, y = ny;
      if (way == 4 && isThere) image->MoveCursorFast(x = nx, y = ny);
      if (way == 5 && inside() && isThere && nx / 256 == x / 256 && ny / 256 == y / 256) {
        image->MoveCursorFastest(x = nx, y = ny);
      }
      if (way == 6 && inside()) {
        // One that ends behind an edge of the block is good for nothing but a checked step.
        const int column = x / 256, row = y / 256;
        step(random.Int(0, 3), true);
        if (!inside() || x / 256 != column || y / 256 != row) step(random.Int(0, 3), false);
      }
      ASSERT_EQ(image->GetCursorPosX(), x);
      ASSERT_EQ(image->GetCursorPosY(), y);
      twin->MoveCursor(x, y);
      ASSERT_EQ(image->Get64BitColor(), twin->Get64BitColor()) << bits << ": " << x << "," << y;
      ASSERT_EQ(image->GetCurrentAddress() == nullptr, !inside());
    }
  }
}

TEST(Cursor, LeavesTheImageAtItsEdgeAndComesBack) {
  ImagePtr image = MakeImage(32, 300, 10);
  image->Lock(299, 9, 1);
  image->Set32BitColor(0xFF112233);
  KXRect rect;
  BYTE* base = nullptr;
  image->NextCursorX();  // in the middle of the block, yet off the image
  EXPECT_EQ(image->GetCurrentBlock(rect, base), 0);
  EXPECT_EQ(image->Get32BitColor(), 0u);
  image->PrevCursorX();
  EXPECT_EQ(image->Get32BitColor(), 0xFF112233);
  image->NextCursorY();
  EXPECT_EQ(image->Get32BitColor(), 0u);
  // Far outside, and over the ends of the numbers.
  image->MoveCursor(0x7FFFFFFF, -0x7FFFFFFF - 1);
  image->NextCursorX();
  image->PrevCursorY();
  image->OffsetCursor(0x7FFFFFFF, 0x7FFFFFFF);
  image->Set32BitColor(1);
  image->MoveCursorFast(-1, -1);
  image->Set32BitColor(1);
  image->Unlock();
  EXPECT_EQ(image->GetUsedMemory(0), 262144u);
}

TEST(Cursor, Fake32MovesOnlyBetweenBlocks) {
  ImagePtr image = MakeImage(32, 600, 10);
  image->Lock(3, 3, 1);
  BYTE* const at = image->MoveCursorFake32(5, 4);
  EXPECT_EQ(at, image->GetBaseAddress() + 4 * 1024 + 5 * 4);
  EXPECT_EQ(image->GetCursorPosX(), 3);
  const BYTE* const next = image->MoveCursorFake32(300, 4);
  EXPECT_EQ(next, image->GetCurrentAddress());
  EXPECT_EQ(image->GetCursorPosX(), 300);
  image->Unlock();
  ImagePtr narrow = MakeImage(8, 600, 10);
  KXVOffscreenAutoLock lock(narrow.get(), 3, 3, 1);
  EXPECT_EQ(narrow->MoveCursorFake32(5, 4), nullptr) << "four bytes there are not one pixel";
}

TEST(Cursor, TakesFourPixelsOf8BitsAsAWord) {
  ImagePtr image = MakeImage(8, 256, 256);
  EXPECT_EQ(image->Get8BitColorOnlyQuad(), 0u);
  KXVOffscreenAutoLock lock(image.get(), 252, 255, 1);
  image->Set8BitColorOnlyQuad(0x04030201);
  image->NextCursorX();
  EXPECT_EQ(image->Get8BitColor(), 2);
  EXPECT_EQ(image->Get8BitColorOnlyQuad(), 0u) << "three bytes before the end of the block";
  image->Set8BitColorOnlyQuad(~0u);
  EXPECT_EQ(image->Get8BitColor(), 2);
}

TEST(Locks, NestAndTurnWritingOn) {
  ImagePtr image = MakeImage(8, 600, 600);
  image->Unlock();  // none is held: nothing happens
  image->Lock(0, 0, 0);
  EXPECT_EQ(image->GetBaseAddress(), nullptr);
  image->Lock(0, 0, 1);
  // The block was locked for reading; it does not come into being until it is locked anew.
  EXPECT_EQ(image->GetBaseAddress(), nullptr);
  image->MoveCursor(300, 0);
  EXPECT_NE(image->GetBaseAddress(), nullptr);
  image->MoveCursor(0, 0);
  EXPECT_NE(image->GetBaseAddress(), nullptr);
  image->Unlock();
  EXPECT_EQ(image->CheckBlockLock(0), 1);  // the outer lock still holds the block
  image->Unlock();
  EXPECT_EQ(image->CheckBlockLock(0), 0);
  EXPECT_EQ(image->GetLockCount(), 0u);
}

TEST(Locks, ScopedOnesGiveTheOuterLockBack) {
  ImagePtr image = MakeImage(8, 600, 600);
  image->Lock(1, 1, 0);
  {
    KXVOffscreenAutoLock inner(image.get(), 305, 305, 1);
    image->Set8BitColor(7);
  }
  EXPECT_EQ(image->GetCursorPosX(), 1);
  image->MoveCursor(600 - 1, 1);
  EXPECT_EQ(image->GetBaseAddress(), nullptr) << "the outer lock reads only";
  {
    KXVOffscreenAutoLock inner(image.get(), 305, 305, 1);
    inner.Unlock();
  }
  EXPECT_EQ(image->GetCursorPosX(), 305) << "an explicit unlock puts nothing back";
  image->Unlock();
  EXPECT_EQ(image->GetLockCount(), 0u);
  KXVOffscreenAutoLock none(nullptr, 1);
  none.Unlock();
}

// Four blocks held elsewhere fill the small pool, and a new one finds no room.
TEST(Locks, StayAsTheyAreWhereABlockFindsNoRoom) {
  std::vector<ImagePtr> holders;
  for (int i = 0; i < 4; ++i) {
    holders.push_back(MakeImage(64, 10, 10));
    holders.back()->Lock(0, 0, 1);
  }
  ImagePtr image = MakeImage(64, 600, 10);
  EXPECT_THROW(image->Lock(0, 0, 1), KXException);
  EXPECT_EQ(image->GetLockCount(), 0u);
  image->Lock(-1, -1, 1);
  EXPECT_THROW(KXVOffscreenAutoLock(image.get(), 300, 5, 1), KXException);
  image->OptimizeBlock(KXRect(256, 0, 512, 10));  // there is none to be looked at
  image->MoveCursor(-1, 5);
  EXPECT_THROW(image->NextCursorX(), KXException);
  image->Set64BitColor(u64{1});  // the cursor stands off the image
  EXPECT_EQ(image->Get64BitColor(), 0u);
  image->Unlock();
  image->Lock(-1, -1, 0);
  EXPECT_THROW(image->Lock(0, 0, 1), KXException);
  image->MoveCursor(0, 0);  // the lock that was not granted has not turned writing on
  image->Unlock();
  EXPECT_EQ(image->GetUsedMemory(0), 0u);
  image->Lock(-1, 5, 1);
  holders.clear();
  image->NextCursorX();
  EXPECT_EQ(image->GetBaseAddress() + 5 * 2048, image->GetCurrentAddress());
  EXPECT_EQ(image->GetLockCount(), 1u);
  image->Unlock();
}

// Whatever fails, what was painted stays, and no lock is left behind.
TEST(Locks, PicturesSurviveFailures) {
  using kxw::detail::FaultPoint;
  constexpr FaultPoint kPoints[] = {FaultPoint::kAlloc, FaultPoint::kRead,   FaultPoint::kWrite,
                                    FaultPoint::kSeek,  FaultPoint::kSetEnd, FaultPoint::kDiskFree};
  const ImagePtr image = MakeImage(64, 1500, 1000);
  std::map<std::pair<int, int>, u64> painted;
  Random random(4);
  int raised = 0, refused = 0;
  for (int step = 0; step < 3000; ++step) {
    kxw::detail::ScopedFaults faults;
    if (random.OneIn(2)) {
      faults.Fail(kPoints[random.Int(0, 5)], random.Int(1, 3), 39, random.Int(1, 9),
                  u64(random.Int(0, 600000)));
    }
    if (random.OneIn(9)) faults.EndReadEarly(1, u64(random.Int(0, 524287)));
    const int x = random.Edge(0, 1499), y = random.Edge(0, 999);
    try {
      KXVOffscreenAutoLock lock(image.get(), x, y, 1);
      if (image->GetCurrentAddress()) {
        image->Set64BitColor(painted[{x, y}] = random.Bits() | u64{1} << 63);
      } else {
        ++refused;
      }
      lock.Unlock();
      if (random.OneIn(30)) image->Optimize();  // what cannot be looked at is not empty
    } catch (const KXException&) {
      ++raised;
    }
    if (random.OneIn(30)) image->UnloadAllBlock();
    ASSERT_EQ(image->GetLockCount(), 0u);
  }
  EXPECT_GT(raised, 0);
  EXPECT_GT(refused, 50);
  KXVOffscreenAutoLock lock(image.get(), 0);
  for (const auto& [at, color] : painted) {
    image->MoveCursor(at.first, at.second);
    ASSERT_EQ(image->Get64BitColor(), color) << at.first << "," << at.second;
  }
}

// The same picture under every memory budget: paging must not show.
TEST(Locks, PicturesSurviveEviction) {
  for (int bits : kAllDepths) {
    ImagePtr image = MakeImage(bits, 1100, 1030),
             twin = MakeImage(bits, 1100, 1030, 72, RoomyManager());
    PaintPlaces(*image);
    PaintPlaces(*twin);
    image->UnloadAllBlock();
    EXPECT_EQ(image->GetUsedMemory(1), 0u);
    KXVOffscreenAutoLock lock(image.get(), 0), twinLock(twin.get(), 0);
    Random random(9);
    for (int i = 0; i < 5000; ++i) {
      const int x = random.Int(0, 1099), y = random.Int(0, 1029);
      image->MoveCursor(x, y);
      twin->MoveCursor(x, y);
      ASSERT_EQ(image->Get64BitColor(), twin->Get64BitColor()) << bits << ": " << x << "," << y;
    }
  }
}

}  // namespace
