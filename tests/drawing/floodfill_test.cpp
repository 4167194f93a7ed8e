#include <gtest/gtest.h>

#include "kxwcmn/core/abort.h"
#include "kxwcmn/platform/detail/faults.h"
#include "kxwcmn/platform/error.h"
#include "tests/drawing/drawing_support.h"
#include "tests/support/failure.h"

namespace {

using namespace testing_kxw;

constexpr DWORD kBlack = 0xFF000000;
const KXPoint kOrigin(0, 0);

struct Filled {
  int ran = 0, count = -1;
  KXRect box = KXRect(1, 2, 3, 4);
};

Filled Fill(KXVOffscreen& paint, const KXPoint& seed, DWORD color, KXVOffscreen* reference,
            KXVOffscreen* second, const KXRect& clip, int abortable = 0,
            const KXPoint& origin = kOrigin) {
  Filled filled;
  filled.ran = paint.FloodFill(filled.box, seed, color, reference, second, origin, clip, 0,
                               &filled.count, abortable);
  return filled;
}

int PaintedPixels(KXVOffscreen& image) {
  int count = 0;
  KXVOffscreenAutoLock lock(&image, 0);
  for (int y = 0; y < image.GetHeight(); ++y) {
    for (int x = 0; x < image.GetWidth(); ++x) {
      image.MoveCursor(x, y);
      count += image.Get8BitColor() != 0;
    }
  }
  return count;
}

TEST(FloodFill, LeavesItsAnswersAloneWhereItHasNothingToFill) {
  const ImagePtr paint = MakeImage(8, 300, 300), reference = MakeImage(8, 300, 300);
  const KXRect all = paint->GetRect();
  ASSERT_EQ(Fill(*paint, KXPoint(9, 9), kBlack, nullptr, reference.get(), KXRect(9, 9, 10, 11)).ran,
            1)
      << "the second reference takes the place of the first";
  const Filled nothing[] = {
      Fill(*paint, KXPoint(5, 5), kBlack, nullptr, nullptr, all),
      Fill(*paint, KXPoint(300, 5), kBlack, reference.get(), nullptr, all),
      Fill(*paint, KXPoint(5, -1), kBlack, reference.get(), nullptr, all),
      Fill(*paint, KXPoint(INT_MIN, INT_MAX), kBlack, reference.get(), nullptr, all),
      Fill(*paint, KXPoint(9, 9), kBlack, reference.get(), nullptr, all),  // it is filled already
      Fill(*paint, KXPoint(5, 5), 0x00123456, reference.get(), nullptr,
           all)};  // comes to density 0
  for (const Filled& filled : nothing) {
    EXPECT_EQ(filled.ran, 0);
    EXPECT_EQ(filled.count, -1);
    EXPECT_EQ(filled.box, KXRect(1, 2, 3, 4));
  }
}

// The first of the two runs that a fill starts with is not tested against the clip. It is meant.
TEST(FloodFill, PaintsOneRowBelowASeedInTheLastRowOfTheClip) {
  const ImagePtr paint = MakeImage(8, 300, 300), reference = MakeImage(8, 300, 300);
  const Filled filled =
      Fill(*paint, KXPoint(260, 99), kBlack, reference.get(), nullptr, KXRect(250, 90, 270, 100));
  EXPECT_EQ(filled.count, 20 * 11);
  EXPECT_EQ(filled.box, KXRect(250, 90, 270, 101));
  EXPECT_EQ(PaintedPixels(*paint), filled.count);
  // A row with neither neighbour in the clip does not widen the box. It is meant.
  const Filled last =
      Fill(*paint, KXPoint(60, 299), kBlack, reference.get(), nullptr, KXRect(50, 299, 70, 300));
  EXPECT_EQ(last.count, 20);
  EXPECT_EQ(last.box, KXRect(60, 299, 61, 300));
  // A neighbour that lies in the clip alone does, where the image has no such row.
  for (const KXRect& clip : {KXRect(50, -1, 70, 1), KXRect(50, 0, 70, 2)}) {
    const ImagePtr line = MakeImage(8, 300, 1);
    EXPECT_EQ(Fill(*line, KXPoint(60, 0), kBlack, reference.get(), nullptr, clip).box,
              KXRect(50, 0, 70, 1));
  }
}

TEST(FloodFill, PaintsInTheTermsOfTheReference) {
  const u64 kColor = 0x8234123456789ABC;
  const struct {
    int bits, referenceBits, margin;
    u64 color, pixel;
  } cases[] = {{64, 64, 0, kColor, kColor},
               {64, 64, 1, kColor, kColor | 0xFFFF000000000000},
               {64, 32, 0, kColor, 0x8282121256569A9A},
               {32, 64, 0, kColor, 0xFFFF121256569A9A},
               {32, 24, 9, kColor, 0xFFFF121256569A9A},
               {16, 16, 0, kColor, 0xFFFF4C4C4C4C4C4C},
               {16, 16, 1, kColor, 0x8282121212121212},
               {8, 8, 0, 0x8080FFFF00000000, 92},
               {8, 8, 3, 0xFFFF0000FFFF0000, 110},
               {8, 8, 3, 0xFFFF00000000FFFF, 219},
               {2, 2, 0, 0x8180000000007FFF, 3},
               {2, 2, 7, 0x8180000080000000, 2},
               {2, 2, 0, 0x8080FFFFFFFFFFFF, 0},
               {1, 1, 0, 0x7F00000000008000, 1},
               {1, 1, 5, 0x7F007F007F007F00, 0}};
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.bits << " from " << c.referenceBits << ", " << c.margin);
    const ImagePtr paint = MakeImage(c.bits, 9, 9), reference = MakeImage(c.referenceBits, 9, 9);
    KXRect box;
    EXPECT_EQ(paint->FloodFill64(box, KXPoint(4, 4), c.color, nullptr, reference.get(), kOrigin,
                                 paint->GetRect(), c.margin, nullptr, 0),
              c.pixel != 0);
    KXVOffscreenAutoLock lock(paint.get(), 8, 8, 0);
    EXPECT_EQ(c.bits > 8    ? paint->Get64BitColor()
              : c.bits == 8 ? paint->Get8BitColor()
                            : paint->Get2BitColor() >> (c.bits == 1 ? 1 : 0),
              c.pixel);
  }
}

// Going left a pixel of 32 bits counts as filled by all of its channels, going right by the colour
// that its alpha leaves. It is meant.
TEST(FloodFill, SeesTranslucentPaintOf32BitsToTheRightAlone) {
  for (const int margin : {0, 5}) {
    const ImagePtr paint = MakeImage(32, 9, 1), reference = MakeImage(32, 9, 1);
    for (const int x : {2, 6}) paint->RectFill(KXRect(x, 0, x + 1, 1), 0, 0x7F4080C0);
    KXRect box;
    int count = 0;
    paint->FloodFill(box, KXPoint(4, 0), 0xFF204060, reference.get(), nullptr, kOrigin,
                     paint->GetRect(), margin, &count, 0);
    EXPECT_EQ(count, 6);
    KXVOffscreenAutoLock lock(paint.get(), 0, 0, 0);
    for (int x = 0; x < 9; ++x, paint->NextCursorX()) {
      const DWORD left = x == 6 ? 0x7F4080C0 : 0x00FFFFFF;
      EXPECT_EQ(paint->Get32BitColor(), x < 6 ? 0xFF204060 : left) << x;
    }
  }
}

TEST(FloodFill, JudgesItsOwnImageAndOneReferenceTwice) {
  const ImagePtr paint = MakeImage(1, 300, 40), reference = MakeImage(1, 300, 40);
  {
    KXVOffscreenAutoLock lock(reference.get(), 1);
    for (int y = 0; y < 40; ++y) {
      reference->MoveCursor(270, y);
      reference->Set1BitColor(1);
    }
  }
  const KXRect all = paint->GetRect();
  const Filled twice = Fill(*paint, KXPoint(9, 9), kBlack, reference.get(), reference.get(), all);
  EXPECT_EQ(twice.count, 270 * 40);
  // What is seen of the image lies 20 columns to its left, and what was painted is a wall there.
  const Filled own =
      Fill(*paint, KXPoint(295, 9), kBlack, paint.get(), nullptr, all, 0, KXPoint(20, 0));
  EXPECT_EQ(own.count, 10 * 40);
  EXPECT_EQ(own.box, KXRect(290, 0, 300, 40));
}

TEST(FloodFill, HasAShortFormForAllOfOneImage) {
  const DWORD color = 0xFF202020;
  const u64 color64 = 0xFFFF202020202020;
  for (const int bits : kAllDepths) {
    SCOPED_TRACE(bits);
    const ImagePtr images[] = {MakeImage(bits, 300, 300), MakeImage(bits, 300, 300),
                               MakeImage(bits, 300, 300)};
    for (const ImagePtr& image : images) {
      image->RectFill64(image->GetRect(), 0, ~0ull);
      image->RectFill64(KXRect(270, 0, 271, 300), 0, 0xFFFF000000000000);
      image->RectFill64(KXRect(285, 0, 286, 300), 0, 0xFFFFFCFCFCFCFCFC);
    }
    const int margin = bits == 64 ? 1000 : 5;  // the second line is within it of white
    const KXPoint seed(280, 9);
    KXRect box[3];
    int count[3];
    EXPECT_EQ(images[0]->FloodFill64(box[0], seed, color64, images[0].get(), nullptr, kOrigin,
                                     images[0]->GetRect(), margin, &count[0], 0),
              1);
    EXPECT_EQ(images[1]->FloodFill(seed, color, margin, &box[1], &count[1]), 1);
    EXPECT_EQ(images[2]->FloodFill64(seed, color64, margin, &box[2], &count[2]), 1);
    EXPECT_EQ(count[0], 29 * 300);
    EXPECT_EQ(box[0], KXRect(271, 0, 300, 300));
    for (const int i : {1, 2}) {
      EXPECT_EQ(count[i], count[0]);
      EXPECT_EQ(box[i], box[0]);
      EXPECT_TRUE(AreSame(*images[i], *images[0]));
      EXPECT_EQ(images[i]->FloodFill(KXPoint(300, 9), color, margin, &box[i], &count[i]), 0);
      EXPECT_EQ(count[i], count[0]);
      EXPECT_EQ(box[i], box[0]);
    }
    EXPECT_EQ(images[0]->FloodFill(KXPoint(9, 9), color), 1);
  }
}

TEST(FloodFill, StopsAtABlockThatCannotBeBroughtIn) {
  for (const bool isByPixels : {false, true}) {
    for (const int lost : {0, 1}) {
      KXVirtualMemory manager;
      manager.Create(16 << 20, nullptr);
      const ImagePtr paint = MakeImage(1, 600, 300, 72, &manager);
      const ImagePtr reference = MakeImage(1, 600, 300, 72, &manager);
      reference->RectFill(KXRect(0, 299, 600, 300), 0, kBlack);
      reference->RectFill(KXRect(400, 0, 401, 300), 0, kBlack);
      paint->RectFill(KXRect(0, 299, 600, 300), 0, kBlack);
      (lost ? *reference : *paint).UnloadAllBlock();
      kxw::detail::ScopedFaults faults;
      faults.Fail(kxw::detail::FaultPoint::kRead, 1, 30, 99);
      Filled filled;
      EXPECT_EQ(CodeOf([&] {
                  paint->FloodFill(filled.box, KXPoint(9, 9), kBlack, reference.get(),
                                   isByPixels ? paint.get() : nullptr, kOrigin, paint->GetRect(), 0,
                                   &filled.count, 0);
                }),
                kxw::kErrorNotEnoughMemory);
      EXPECT_EQ(filled.count, -1);
      EXPECT_EQ(paint->GetLockCount() + reference->GetLockCount(), 0u);
      KXVOffscreenAutoLock lock(paint.get(), 500, 20, 0);
      EXPECT_EQ(paint->Get1BitColor(), 0) << "beyond the wall that was not seen";
    }
  }
}

TEST(FloodFill, EndsForCoordinatesAtTheEndsOfTheirRange) {
  const ImagePtr reference = MakeImage(8, 40, 30);
  const KXRect wide(INT_MIN, INT_MIN, INT_MAX, INT_MAX);
  for (const int far : {INT_MIN, -1000, 1000, INT_MAX}) {
    const ImagePtr fresh = MakeImage(32, 300, 300);
    EXPECT_EQ(Fill(*fresh, KXPoint(7, 7), 0xFF00FF00, reference.get(), nullptr, wide, 0,
                   KXPoint(far, far))
                  .count,
              300 * 300);
  }
  // Nothing is painted from a seed left of the clip; from one right of it, its row and the next one
  // are, up to the clip's left end: going left, the right end is not looked at. It is meant. A clip
  // without rows leaves these two.
  const std::pair<KXRect, int> clips[] = {{KXRect(50, 50, 60, 60), 0},
                                          {KXRect(60, 60, 50, 50), 0},
                                          {KXRect(), 16},
                                          {KXRect(0, 2000000000, 10, -2000000000), 20},
                                          {KXRect(0, INT_MAX, 10, INT_MAX), 20},
                                          {KXRect(0, INT_MIN, 10, INT_MIN), 20}};
  for (const auto& [clip, count] : clips) {
    const ImagePtr paint = MakeImage(32, 300, 300);
    EXPECT_EQ(Fill(*paint, KXPoint(7, 7), 0xFF00FF00, reference.get(), nullptr, clip).count, count);
    EXPECT_EQ(PaintedPixels(*paint), count);
  }
}

int polls, pollsToStop;
int StopAfterPolls() { return ++polls >= pollsToStop ? 1 : 0; }

TEST(FloodFill, KeepsWhatWasPaintedBeforeAnAbortOrAFailure) {
  for (const bool isInPlace : {false, true}) {
    for (pollsToStop = 1; pollsToStop < 500; pollsToStop += 200) {
      const ImagePtr paint = MakeImage(8, 600, 600), other = MakeImage(8, 600, 600);
      polls = 0;
      KXAbort::SetCallback(&StopAfterPolls);
      EXPECT_EQ(CodeOf([&] {
                  Fill(*paint, KXPoint(300, 300), kBlack, isInPlace ? paint.get() : other.get(),
                       nullptr, paint->GetRect(), 1);
                }),
                0x20010004);
      KXAbort::SetCallback(nullptr);
      EXPECT_EQ(paint->GetLockCount() + other->GetLockCount(), 0u);
      const int painted = PaintedPixels(*paint);
      EXPECT_TRUE(painted % 600 == 0 && painted < 600 * 600) << "whole rows, and not all of them";
      EXPECT_EQ(painted > 0, pollsToStop > 1);
    }
  }
  // One block more each time until all of them are there: the rest stays as it was.
  int nth = 0;
  for (int code = kxw::kErrorNotEnoughMemory; code != 0; ++nth) {
    KXVirtualMemory manager;
    manager.Create(16 << 20, nullptr);
    const ImagePtr paint = MakeImage(8, 600, 600, 72, &manager), reference = MakeImage(8, 600, 600);
    paint->RectFill(KXRect(0, 0, 600, 299), 0, 0x40000000);
    paint->UnloadAllBlock();
    {
      kxw::detail::ScopedFaults faults;
      faults.Fail(kxw::detail::FaultPoint::kAlloc, nth + 1, kxw::kErrorNotEnoughMemory, 99);
      code = CodeOf([&] {
        Fill(*paint, KXPoint(300, 300), kBlack, reference.get(), nullptr, paint->GetRect());
      });
    }
    EXPECT_TRUE(code == 0 || code == kxw::kErrorNotEnoughMemory);
    EXPECT_EQ(paint->GetLockCount(), 0u);
    KXVOffscreenAutoLock lock(paint.get(), 0);
    for (int y = 0; y < 600; y += 7) {
      paint->MoveCursor(y, y);
      const BYTE density = paint->Get8BitColor();
      ASSERT_TRUE(density == 255 || (code != 0 && density == (y <= 299 ? 0x40 : 0))) << y;
    }
  }
  EXPECT_GT(nth, 3);
}

}  // namespace
