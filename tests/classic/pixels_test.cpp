#include <gtest/gtest.h>

#include "kxwcmn/classic/detail/depths.h"
#include "tests/classic/support.h"

namespace {

using namespace classic_test;

DWORD Get(KXOffscreenCursor& cursor, int terms) {
  switch (terms) {
    case 1:
      return cursor.Get1BitPixel();
    case 8:
      return cursor.Get8BitPixel();
    case 24:
      return cursor.Get24BitPixel();
    default:
      return cursor.Get32BitPixel();
  }
}

void Set(KXOffscreen& image, int terms, DWORD value, int x, int y) {
  switch (terms) {
    case 1:
      return image.Set1BitPixel(static_cast<BYTE>(value), x, y);
    case 8:
      return image.Set8BitPixel(static_cast<BYTE>(value), x, y);
    case 24:
      return image.Set24BitPixel(value, x, y);
    default:
      return image.Set32BitPixel(value, x, y);
  }
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
      switch (random.Int(0, 9)) {
        case 0:
          cursor.NextCursorX(), ++x;
          break;
        case 1:
          cursor.PrevCursorX(), --x;
          break;
        case 2:
          cursor.NextCursorY(), ++y;
          break;
        case 3:
          cursor.PrevCursorY(), --y;
          break;
        case 4:
          cursor.OffsetCursorX(toX - x), x = toX;
          break;
        case 5:
          cursor.OffsetCursorY(toY - y), y = toY;
          break;
        case 6:
          cursor.MoveCursor(toX, toY), x = toX, y = toY;
          break;
        case 7:
          cursor.MoveCursorX(toX), x = toX;
          break;
        case 8:
          cursor.MoveCursorY(toY), y = toY;
          break;
        default:
          // Steps of whole bytes are where both kinds of offset agree at 1 bit.
          cursor.OffsetCursor(bits == 1 ? 16 : 3, 1), x += bits == 1 ? 16 : 3, ++y;
      }
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
    BYTE spare = 0;
    BYTE *r = &spare, *g = &spare, *b = &spare, *a = &spare;
    cursor.GetRGBAReference(r, g, b, a);
    EXPECT_EQ(r != &spare && g != &spare && b != &spare, bits >= 24);
    EXPECT_EQ(a != &spare, bits == 32);
    if (bits < 24) continue;
    *r = 1, cursor.GetGReference() = 2, *b = 3;
    if (bits == 32) *a = 4;
    EXPECT_EQ(image.Get32BitPixel(1, 1), bits == 32 ? 0x04030201 : 0xFF030201);
  }
}

}  // namespace
