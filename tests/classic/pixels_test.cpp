#include <gtest/gtest.h>

#include "kxwcmn/classic/detail/depths.h"
#include "tests/classic/support.h"

namespace {

using namespace classic_test;

DWORD Get(KXOffscreenCursor& cursor, int terms) {
  if (terms == 1) return cursor.Get1BitPixel();
  if (terms == 8) return cursor.Get8BitPixel();
  if (terms == 24) return cursor.Get24BitPixel();
  return cursor.Get32BitPixel();
}

void Set(KXOffscreen& image, int terms, DWORD value, int x, int y) {
  if (terms == 1) return image.Set1BitPixel(static_cast<BYTE>(value), x, y);
  if (terms == 8) return image.Set8BitPixel(static_cast<BYTE>(value), x, y);
  if (terms == 24) return image.Set24BitPixel(value, x, y);
  return image.Set32BitPixel(value, x, y);
}

TEST(ClassicPixels, DensityOfEverySumIsTheFloatingOne) {
  for (DWORD sum = 0; sum <= 765; ++sum) {
    ASSERT_EQ(kxw::DensityOfSum(sum), static_cast<BYTE>(255.0 - static_cast<int>(sum) * 0.333));
  }
}

TEST(ClassicPixels, EveryReadAndWriteFollowsTheTable) {
  Random random(1);
  for (int bits : kDepths) {
    const auto image = MakeNoise(bits, 77, 40, random);
    const auto expected = std::make_unique<KXOffscreen>(*image);
    expected->Lock();
    for (int terms : kDepths) {
      SCOPED_TRACE(testing::Message() << bits << " bits at " << terms);
      for (int y = 0; y < 40; ++y) {
        KXOffscreenCursor cursor(image.get(), 0, y);
        for (int x = 0; x < 77; ++x, cursor.NextCursorX()) {
          ASSERT_EQ(Get(cursor, terms), Model::Get(*image, terms, x, y));
          // Most colours are bright; those around the thresholds and pure reds are to turn up too.
          DWORD value = random.Bits();
          if (random.OneIn(2)) value &= 0xFF0001FF;
          if (terms == 8) value &= 0xFF;
          if (terms == 1) value = value % 3;
          Set(*image, terms, value, x, y);
          Model::Set(*expected, terms, value, x, y);
        }
      }
      ASSERT_EQ(BytesOf(*image), BytesOf(*expected));
    }
  }
}

TEST(ClassicCursor, WalksAsItIsTold) {
  Random random(3);
  for (int bits : kDepths) {
    const auto image = MakeNoise(bits, 301, 30, random);
    KXOffscreenCursor cursor(image.get(), 7, 5);
    int x = 7, y = 5;
    for (int i = 0; i < 5000; ++i) {
      const int toX = random.Int(-9, 320), toY = random.Int(-3, 33);
      // Steps of whole bytes are where both kinds of offset agree at 1 bit.
      const int way = random.Int(0, 9), step = bits == 1 ? 16 : 3;
      if (way == 0) cursor.NextCursorX(), ++x;
      if (way == 1) cursor.PrevCursorX(), --x;
      if (way == 2) cursor.NextCursorY(), ++y;
      if (way == 3) cursor.PrevCursorY(), --y;
      if (way == 4) cursor.OffsetCursorX(toX - x), x = toX;
      if (way == 5) cursor.OffsetCursorY(toY - y), y = toY;
      if (way == 6) cursor.MoveCursor(toX, toY), x = toX, y = toY;
      if (way == 7) cursor.MoveCursorX(toX), x = toX;
      if (way == 8) cursor.MoveCursorY(toY), y = toY;
      if (way == 9) cursor.OffsetCursor(step, 1), x += step, ++y;
      ASSERT_EQ(cursor.GetX(), x);
      ASSERT_EQ(cursor.GetY(), y);
      const bool isInside = x >= 0 && x < 301 && y >= 0 && y < 30;
      ASSERT_EQ(cursor.CursorInOffscreen() != 0, isInside);
      if (isInside) {
        ASSERT_EQ(cursor.Get32BitPixel(), Model::Get(*image, 32, x, y)) << bits;
      }
    }
    cursor.ResetCursor();
    EXPECT_EQ(cursor.Get32BitPixel(), Model::Get(*image, 32, 0, 0));
  }
}

// Meant: the two offset operations end a pixel apart where a step passes the end of a byte.
TEST(ClassicCursor, OffsetsEndOnePixelApart) {
  KXOffscreen image;
  image.Create(32, 1, 1, 0xFFFFFF, 1);
  image.Lock();
  KXOffscreenCursor one(&image, 5, 0), other(&image, 5, 0);
  one.OffsetCursorX(4);
  other.OffsetCursor(4, 0);
  one.Set1BitPixel(1);
  EXPECT_EQ(image.GetBaseAddress()[1], 0x40);  // column 9
  other.Set1BitPixel(1);
  EXPECT_EQ(image.GetBaseAddress()[1], 0x60);  // column 10
  EXPECT_EQ(one.GetX(), other.GetX());
}

TEST(ClassicCursor, RefersToChannels) {
  for (int bits : kDepths) {
    KXOffscreen image;
    image.Create(2, 2, bits, 0, 0);
    image.Lock();
    KXOffscreenCursor cursor(&image, 1, 1);
    BYTE none[4] = {};
    BYTE *r = none, *g = none + 1, *b = none + 2, *a = none + 3;
    cursor.GetRGBAReference(r, g, b, a);
    *r = 1, *g = 2, *b = 3, *a = 4;
    if (bits == 24) cursor.GetGReference() = 5;
    EXPECT_TRUE(none[0] == (bits < 24) && none[3] == (bits == 32 ? 0 : 4));
    if (bits < 24) continue;
    EXPECT_EQ(image.Get32BitPixel(1, 1), bits == 24 ? 0xFF030501 : 0x04030201);
  }
}

}  // namespace
