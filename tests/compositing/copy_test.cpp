#include <gtest/gtest.h>

#include <climits>

#include "kxwcmn/compositing/pixelmixer.h"
#include "kxwcmn/compositing/voffpixelmixer.h"
#include "kxwcmn/platform/detail/faults.h"
#include "tests/compositing/copymodel.h"
#include "tests/support/failure.h"

namespace {

using namespace testing_kxw;

constexpr int kWidth = 560, kHeight = 300;

/// Locks an image at a random place in half of the cases, and tells whether that is kept.
class OuterLock {
 public:
  OuterLock(KXVOffscreen& image, int edit, Random& random) : image_(image), held_(random.OneIn(2)) {
    x_ = random.Int(0, image.GetWidth() - 1);
    y_ = random.Int(0, image.GetHeight() - 1);
    // To write where a block is, so that the lock itself makes none.
    if (held_) image.Lock(x_, y_, edit && image.GetBlockExist(x_, y_));
  }
  ~OuterLock() {
    EXPECT_EQ(image_.GetLockCount(), held_ ? 1u : 0u);
    if (!held_) return;
    EXPECT_EQ(image_.GetCursorPosX(), x_);
    EXPECT_EQ(image_.GetCursorPosY(), y_);
    image_.Unlock();
  }

 private:
  KXVOffscreen& image_;
  bool held_;
  int x_, y_;
};

// `ours` and `model` do the same to equal images: what comes out is equal, and the source and the
// locks are as before.
template <class Ours, class Model>
void Compare(int bits, int srcBits, unsigned seed, Ours ours, Model model) {
  Random random(seed * 64 + static_cast<unsigned>(bits + srcBits));
  ImagePtr dst = RandomImage(bits, kWidth, kHeight, random);
  ImagePtr src = random.OneIn(4) ? RandomImage(srcBits, kWidth, kHeight, random)
                                 : RandomImage(srcBits, 300, 520, random);
  CopyCase c(*dst, *src, random);
  if (random.OneIn(6)) {
    c.dstX = c.dstY = c.srcX = c.srcY = 0;
    c.width = kWidth;
    c.height = kHeight;
  }
  SCOPED_TRACE(testing::Message() << srcBits << " to " << bits << " bits, seed " << seed << ", "
                                  << c);
  ImagePtr expected = Clone(*dst), source = Clone(*src);
  model(*expected, *src, c);
  {
    OuterLock dstLock(*dst, 0, random), srcLock(*src, 1, random);
    ours(*dst, *src, c);
  }
  ExpectSame(*dst, *expected);
  ExpectSame(*src, *source);
}

TEST(Copy, EqualsCopyPixelByPixel) {
  for (int bits : kAllDepths) {
    for (unsigned seed = 0; seed < 40; ++seed) {
      // Mostly within the depth, where there is more to go wrong.
      const int srcBits = seed % 5 ? bits : kAllDepths[seed / 5 % 7];
      Compare(
          bits, srcBits, seed,
          [](KXVOffscreen& dst, KXVOffscreen& src, const CopyCase& c) {
            dst.Copy(c.dstX, c.dstY, c.width, c.height, &src, c.srcX, c.srcY, c.clearMode);
          },
          ModelCopy);
      if (HasFatalFailure()) return;
    }
  }
}

TEST(CommonCopy, EqualsCopyPixelByPixelBetweenAllDepths) {
  for (int bits : kAllDepths) {
    for (int srcBits : kAllDepths) {
      const bool isSpecial = bits == srcBits || (srcBits == 8 && bits == 24);
      for (unsigned seed = 0; seed < (isSpecial ? 24 : 4); ++seed) {
        const bool wide = bits == 64 && seed % 2;
        Compare(
            bits, srcBits, seed,
            [wide](KXVOffscreen& dst, KXVOffscreen& src, const CopyCase& c) {
              if (wide) {
                static_cast<KXVOffscreen64Bit&>(dst).Copy64(c.dstX, c.dstY, c.width, c.height, &src,
                                                            c.srcX, c.srcY, c.clearMode, c.behind);
              } else {
                dst.CommonCopy(c.dstX, c.dstY, c.width, c.height, &src, c.srcX, c.srcY, c.clearMode,
                               c.behind);
              }
            },
            [wide](KXVOffscreen& dst, KXVOffscreen& src, const CopyCase& c) {
              ModelCommonCopy(dst, src, c, wide);
            });
        if (HasFatalFailure()) return;
      }
    }
  }
}

TEST(CommonCopy2, LaysRawPixelsBehindAtOnePlace) {
  for (int bits : {8, 16, 24, 32, 64}) {
    for (unsigned seed = 0; seed < 12; ++seed) {
      Random random(seed);
      ImagePtr dst = RandomImage(bits, 300, 280, random), src = RandomImage(bits, 290, 520, random);
      const int x = random.Int(-30, 40), y = random.Int(-30, 40);
      const int width = random.Edge(1, 400), height = random.Edge(1, 400);
      SCOPED_TRACE(testing::Message()
                   << bits << " bits at " << x << ',' << y << " size " << width << ',' << height);
      ImagePtr expected = Clone(*dst);
      KXVOffscreen& d = *expected;
      // The negative position is taken off the size, and nothing is moved.
      const KXRect area = KXRect(x, y, x + std::min(width + std::min(x, 0), 300 - std::max(x, 0)),
                                 y + std::min(height + std::min(y, 0), 280 - std::max(y, 0))) &
                          src->GetRect() & dst->GetRect();
      {
        KXVOffscreenAutoLock dLock(&d, 1), sLock(src.get(), 0);
        KXBlockGetter blocks(src.get(), area, 1);
        for (KXRect part; bits != 16 && bits != 24 && blocks.GetNextBlock(part);) {
          if (!src->GetBlockExist(part.left, part.top)) continue;
          ForEachPixel(d, *src, part, 0, 0, [&] {
            if (bits == 8) {
              const BYTE s = src->Get8BitColor(), old = d.Get8BitColor();
              d.Set8BitColor(old == 0 ? s : ModelDensityBehind(old, s));
              return;
            }
            const u64 full = bits == 32 ? 255 : 65535;
            const u64 s = bits == 32 ? src->Get32BitColor() : src->Get64BitColor();
            const u64 old = bits == 32 ? d.Get32BitColor() : d.Get64BitColor();
            const bool whole = s >> (bits * 3 / 4) == full && old >> (bits * 3 / 4) == 0;
            const u64 laid = whole ? s : ModelBehind(old, s, bits / 4);
            bits == 32 ? d.Set32BitColor(static_cast<DWORD>(laid)) : d.Set64BitColor(laid);
          });
        }
      }
      dst->CommonCopy2(x, y, width, height, src.get(), x, y, random.Int(0, 2), 1);
      ASSERT_NO_FATAL_FAILURE(ExpectSame(*dst, *expected));
    }
  }
  // At another place it is the common copy, which has a rule for 16 bits.
  Random random(1);
  ImagePtr dst = RandomImage(16, 300, 300, random), src = RandomImage(16, 300, 300, random);
  ImagePtr expected = Clone(*dst);
  dst->CommonCopy2(5, 0, 300, 300, src.get(), 0, 0, 0, 1);
  expected->CommonCopy(5, 0, 300, 300, src.get(), 0, 0, 0, 1);
  ExpectSame(*dst, *expected);
  EXPECT_THROW(dst->CommonCopy2(0, 0, 9, 9, MakeImage(32, 9, 9).get(), 0, 0, 0, 1), KXException);
}

// The image is its own source: what is read is what was there before.
TEST(Copy, ReadsItsOwnImageAsItWas) {
  for (int bits : kAllDepths) {
    for (int clearMode : {0, 1}) {
      Random random(static_cast<unsigned>(bits + clearMode));
      ImagePtr image = RandomImage(bits, kWidth, kHeight, random);
      CopyCase c(*image, *image, random);
      c.dstX = c.srcX + 3;
      c.dstY = c.srcY + 1;
      c.clearMode = clearMode;
      ImagePtr before = Clone(*image), expected = Clone(*image);
      ModelCopy(*expected, *before, c);
      KXVOffscreenAutoLock outer(image.get(), 20, 20, 0);
      image->Copy(c.dstX, c.dstY, c.width, c.height, image.get(), c.srcX, c.srcY, c.clearMode);
      ExpectSame(*image, *expected);
      image->CopyAll(image.get());
      ExpectSame(*image, *expected);
    }
  }
}

TEST(Copy, TakesAnyArguments) {
  const int ends[] = {INT_MIN, INT_MIN + 1, -1, 0, 1, INT_MAX - 1, INT_MAX};
  Random random(5);
  for (int bits : {1, 16, 32}) {
    ImagePtr dst = RandomImage(bits, 270, 30, random);
    ImagePtr src = RandomImage(bits, 270, 30, random, false);
    ImagePtr never(KXVOffscreen::CreateOffscreen(bits));  // not created
    KXPixelMixer replace;
    KXVOffPixelMixer mixer;
    mixer.SetNode(&replace);
    mixer.SetDstOffscreen(dst.get());
    for (int i = 0; i < 300; ++i) {
      const auto end = [&] { return ends[random.Int(0, 6)]; };
      KXVOffscreen* from = i % 10 == 0 ? nullptr : i % 10 == 1 ? never.get() : src.get();
      const int dstX = end(), dstY = end(), width = end(), height = end(), x = end(), y = end();
      dst->Copy(dstX, dstY, width, height, from, x, y, i % 3);
      dst->CommonCopy2(dstX, dstY, width, height, from, i % 2 ? x : dstX, dstY, i % 3, 1);
      never->Copy(dstX, dstY, width, height, src.get(), x, y, i % 3);
      dst->CommonCopy3(dstX, dstY, width, height, from, x, y, &mixer, 5, i % 3, 0);
      dst->Monochromic(dstX, dstY, width, height, from, x, y, 0, i % 2);
      dst->Grayish(dstX, dstY, width, height, from, x, y, 0);
      dst->ReverseImage(from, x, y, width, height);
      dst->RenderBackground(KXRect(dstX, dstY, x, y), 0, 5, i % 2);
      dst->ChangeWhiteToTrans(KXRect(dstX, dstY, x, y));
    }
    // Not lost in the arithmetic: all of it, asked for with more than there is.
    dst->Copy(-1, INT_MIN, INT_MAX, INT_MAX, src.get(), -1, INT_MIN, 1);
    dst->Copy(0, 0, INT_MAX, INT_MAX, src.get(), 0, 0, 1);
    EXPECT_EQ(Pixels(*dst), Pixels(*src));
  }
}

// A lock that stands in a block that the copy gives back can go on writing there.
TEST(Copy, LeavesAnOuterLockUsable) {
  ImagePtr dst = MakeImage(32, 300, 300), src = MakeImage(32, 400, 300);
  KXVOffscreenAutoLock outer(dst.get(), 10, 10, 1);
  dst->Set32BitColor(5);
  dst->Copy(0, 0, 256, 256, src.get(), 0, 0, 0);
  EXPECT_EQ(dst->Get32BitColor(), 0x00FFFFFFu);
  dst->Set32BitColor(7);
  EXPECT_EQ(dst->Get32BitColor(), 7u);
}

// Where memory ends or a block cannot be read back, with two managers: locks are released, what was
// copied stays, and nothing else is changed.
TEST(Copy, KeepsWhatWasCopiedBeforeAFailure) {
  using kxw::detail::FaultPoint;
  Random random(11);
  ImagePtr src = RandomImage(64, 1100, 300, random, false);
  for (const int x : {0, 7}) {
    ImagePtr image = MakeImage(64, 1100, 300);
    const std::vector<BYTE> before = Pixels(*image);
    image->Copy(x, 0, 1100, 300, src.get(), 0, 0, 0);
    const std::vector<BYTE> after = Pixels(*image);
    for (const FaultPoint point : {FaultPoint::kAlloc, FaultPoint::kRead}) {
      std::size_t copied = 0, nth = 0;
      for (int code = 8; code != 0; ++nth) {
        KXVirtualMemory manager;
        manager.Create(16 << 20, nullptr);
        ImagePtr dst = MakeImage(64, 1100, 300, 72, &manager);
        src->UnloadAllBlock();
        {
          kxw::detail::ScopedFaults faults;
          // One block that finds no memory is tried again when others have made room.
          faults.Fail(point, static_cast<int>(nth) + 1, 8, point == FaultPoint::kAlloc ? 1000 : 1);
          code = CodeOf([&] { dst->Copy(x, 0, 1100, 300, src.get(), 0, 0, 0); });
        }
        ASSERT_TRUE(code == 0 || code == 8) << code;
        ASSERT_TRUE(dst->GetLockCount() == 0 && src->GetLockCount() == 0 && dst->IsEnableClear());
        const std::vector<BYTE> now = Pixels(*dst);
        std::size_t same = 0;
        for (std::size_t i = 0; i < now.size(); ++i) {
          same += now[i] == after[i];
          ASSERT_TRUE(now[i] == after[i] || now[i] == before[i]) << i;
        }
        ASSERT_GE(same, copied);
        copied = same;
      }
      EXPECT_TRUE(nth > 3 && copied == after.size());
    }
  }
}

// A whole image leaves holes where the source has holes, whatever the clear mode, and takes along
// what lies beyond the edge.
TEST(CopyAll, CopiesBlocksAsTheyAre) {
  Random random(7);
  for (int bits : kAllDepths) {
    ImagePtr dst = RandomImage(bits, 520, 300, random), src = RandomImage(bits, 520, 300, random);
    {
      KXVOffscreenAutoLock outer(dst.get(), 1);
      dst->Copy(0, 0, 520, 300, src.get(), 0, 0, 0);
      EXPECT_TRUE(dst->IsEnableClear());
    }
    for (int i = 0; i < src->GetBlockCount(nullptr, nullptr); ++i) {
      ASSERT_EQ(dst->GetBlockExist(i) != 0, src->GetBlockExist(i) != 0) << "block " << i;
      if (!src->GetBlockExist(i)) continue;
      const KXRect block = src->GetBlockByIndex(i);
      KXVOffscreenAutoLock dstLock(dst.get(), block.left, block.top, 0);
      KXVOffscreenAutoLock srcLock(src.get(), block.left, block.top, 0);
      EXPECT_EQ(std::memcmp(dst->GetBaseAddress(), src->GetBaseAddress(),
                            static_cast<std::size_t>(src->GetBlockRowBytes()) * 256),
                0);
    }
  }
}

}  // namespace
