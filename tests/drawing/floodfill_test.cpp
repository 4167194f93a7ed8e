#include <gtest/gtest.h>

#include "kxwcmn/offscreen/autolock.h"
#include "kxwcmn/offscreen/voffscreen.h"
#include "tests/support/images.h"

namespace {

using namespace testing_kxw;

constexpr DWORD kBlack = 0xFF000000;

TEST(FloodFill, FillsAnEmptyImageAcrossSeams) {
  const ImagePtr paint = MakeImage(8, 600, 300), reference = MakeImage(8, 600, 300);
  KXRect box;
  int count = 0;
  ASSERT_EQ(1, paint->FloodFill(box, KXPoint(300, 100), kBlack, reference.get(), nullptr,
                                KXPoint(0, 0), paint->GetRect(), 0, &count, 0));
  EXPECT_EQ(600 * 300, count);
  EXPECT_EQ(paint->GetRect(), box);
  KXVOffscreenAutoLock lock(paint.get(), 599, 299, 0);
  EXPECT_EQ(255, paint->Get8BitColor());
}

}  // namespace
