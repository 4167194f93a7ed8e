#include <gtest/gtest.h>

#include "kxwcmn/classic/testrow_internal.h"
#include "kxwcmn/core/exception.h"
#include "tests/classic/support.h"

namespace {

using namespace classic_test;
using ImagePtr = std::unique_ptr<KXOffscreen>;

tagQMRGBCOLOR16 Widened(DWORD color) {
  // The low bytes take no part.
  const auto wide = [color](int shift) {
    return static_cast<WORD>((color >> shift & 255) << 8 | 0x5A);
  };
  return {wide(24), wide(0), wide(8), wide(16)};
}

/// An image with few colours, so that many pixels are equal and many white.
ImagePtr MakePicture(int bits, Random& random) {
  ImagePtr image = MakeNoise(bits, random.Int(1, 600), random.Int(1, 40), random);
  const DWORD colors[] = {0xFFFFFFFF, 0x00FFFFFF, 0xFF000000, random.Bits(), random.Bits()};
  for (int y = 0; y < image->GetHeight(); ++y) {
    for (int x = 0; x < image->GetWidth(); ++x) {
      Model::Set(*image, 32, colors[random.Int(0, 4)], x, y);
    }
  }
  return image;
}

TEST(ClassicExtraction, MasksTellEveryPixel) {
  for (unsigned seed = 0; seed < 80; ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    const int bits = kDepths[seed % 4];
    const ImagePtr image = MakePicture(bits, random);
    const int x0 = random.Int(0, image->GetWidth() - 1);
    const DWORD color = random.OneIn(9) ? random.Bits() : Model::Get(*image, 32, x0, 0);
    const DWORD to = random.Bits();
    tagQMRGBCOLOR16 wide = Widened(color), wideTo = Widened(to);
    const ImagePtr same(image->ExtractionColorMask(&wide)),
        other(image->ExtractionColorMaskEx(&wide)), filled(image->CreateMask()),
        picked(image->ExtractionColor(&wide, &wideTo));
    for (const ImagePtr* made : {&same, &other, &filled, &picked}) {
      ASSERT_EQ((*made)->GetWidth(), image->GetWidth());
      ASSERT_EQ((*made)->GetHeight(), image->GetHeight());
      ASSERT_EQ((*made)->GetBitCount(), made == &picked ? bits : 1);
      ASSERT_EQ((*made)->GetBaseAddress(), nullptr);  // not locked
      (*made)->Lock();
    }
    KXOffscreen expected;
    expected.Create(image->GetWidth(), image->GetHeight(), bits, 0xFFFFFFFF, 1);
    expected.Lock();
    for (int y = 0; y < image->GetHeight(); ++y) {
      for (int x = 0; x < image->GetWidth(); ++x) {
        const DWORD pixel = Model::Get(*image, 32, x, y);
        const bool isMark =
            bits == 32 ? pixel >> 24 != 0 : Model::Get(*image, 24, x, y) != 0xFFFFFF;
        ASSERT_EQ(Model::Get(*same, 1, x, y), DWORD{pixel == color});
        ASSERT_EQ(Model::Get(*other, 1, x, y), DWORD{pixel != color});
        ASSERT_EQ(Model::Get(*filled, 1, x, y), DWORD{isMark});
        if (pixel == color) Model::Set(expected, 32, to, x, y);
      }
    }
    ASSERT_EQ(BytesOf(*picked), BytesOf(expected));
    // What fills up the rows is as the new image has it.
    for (int x = image->GetWidth(); x < 8 * same->GetRowBytes(); ++x) {
      const int y = image->GetHeight() - 1;
      ASSERT_EQ(Model::Get(*same, 1, x, y) | Model::Get(*filled, 1, x, y), 0u) << x;
      ASSERT_EQ(Model::Get(*other, 1, x, y), 1u) << x;
    }
  }
}

TEST(ClassicExtraction, TestsOfRowsEqualThoseOfPixels) {
  for (unsigned seed = 0; seed < 400; ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    const int bits = kDepths[seed % 4], width = random.Int(1, random.OneIn(2) ? 600 : 3000);
    const ImagePtr image = MakeNoise(bits, width, 1, random), row = MakeNoise(1, width, 1, random);
    const ImagePtr plain(new KXOffscreen(*row));
    image->SetForeColor(random.Bits());
    // Ends around those of the runs that are looked at as one.
    image->FillLineRow(128 * random.Int(0, 2) + random.Int(-1, 1),
                       128 * random.Int(2, 24) + random.Int(-2, 1), 0);
    plain->Lock();
    const DWORD all = 0xFFFFFFFF >> (32 - bits),
                used = all & (random.OneIn(2) ? all : random.Bits());
    const DWORD value = random.OneIn(2) ? used : random.Bits() & used;
    const kxw::PixelTest test{used, value, random.OneIn(2)};
    kxw::FindTestRow(bits)(row->GetBaseAddress(), image->GetBaseAddress(), width, test);
    kxw::FindPlainTestRow(bits)(plain->GetBaseAddress(), image->GetBaseAddress(), width, test);
    ASSERT_EQ(BytesOf(*row), BytesOf(*plain));
  }
}

TEST(ClassicExtraction, ExtentIsTheBoxOfAllMarks) {
  for (unsigned seed = 0; seed < 400; ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    const int bits = kDepths[seed % 4], width = random.Int(1, 3000), height = random.Int(1, 9);
    // What fills up the rows is noise, and so is alpha: neither is a mark.
    const ImagePtr image = MakeNoise(bits, width, height, random);
    for (int y = 0; y < height; ++y) {
      for (int x = 0; x < width; ++x) {
        Model::Set(*image, 32, random.Bits() | 0xFFFFFF, x, y);
      }
    }
    tagRECT expected = {width, height, 0, 0}, box = {7, 7, 7, 7};
    const int marks = random.Int(0, 4);
    for (int i = 0; i < marks; ++i) {
      const int x = random.OneIn(4) ? width - 1 : random.Int(0, width - 1);
      const int y = random.Int(0, height - 1);
      const DWORD off = bits >= 24 ? DWORD{1} << random.Int(0, 23) : 0xFFFFFF;
      Model::Set(*image, 32, 0xFFFFFFFF ^ off, x, y);
      expected = {std::min(expected.left, x), std::min(expected.top, y),
                  std::max(expected.right, x + 1), std::max(expected.bottom, y + 1)};
    }
    if (marks == 0) expected = box;
    image->Lock();
    ASSERT_EQ(image->GetExtentRect(box), marks > 0);
    ASSERT_EQ(box.left, expected.left);
    ASSERT_EQ(box.top, expected.top);
    ASSERT_EQ(box.right, expected.right);
    ASSERT_EQ(box.bottom, expected.bottom);
    ASSERT_NE(image->GetBaseAddress(), nullptr);
  }
}

TEST(ClassicExtraction, ExtentOfARowOfAMillionThousands) {
  KXOffscreen image;
  constexpr int kWidth = 0x40000040;
  image.Create(kWidth, 1, 1, 0xFFFFFFFF, 0);
  tagRECT box;
  EXPECT_EQ(image.GetExtentRect(box), 0);
  image.Lock();
  image.GetBaseAddress()[kWidth / 8 - 1] = 1;
  EXPECT_TRUE(image.GetExtentRect(box) == 1 && box.left == kWidth - 1 && box.right == kWidth);
}

// Meant: only the count of locks is looked at, not whose they are.
TEST(ClassicExtraction, ExtentTakesTheLastLock) {
  KXOffscreen image;
  tagRECT box;
  EXPECT_EQ(image.GetExtentRect(box), 0);
  image.Create(9, 9, 8, 0, 1);
  EXPECT_EQ(image.GetExtentRect(box), 1);
  EXPECT_EQ(image.GetBaseAddress(), nullptr);
  image.Lock();
  EXPECT_EQ(image.GetExtentRect(box), 1);
  EXPECT_EQ(image.GetBaseAddress(), nullptr);
}

TEST(ClassicExtraction, NeedsALockAndColors) {
  KXOffscreen image;
  tagQMRGBCOLOR16 color = {};
  EXPECT_EQ(image.CreateMask(), nullptr);
  image.Create(9, 9, 24, 0, 1);
  EXPECT_EQ(image.CreateMask(), nullptr);
  EXPECT_EQ(image.ExtractionColor(&color, &color), nullptr);
  EXPECT_EQ(image.ExtractionColorMask(&color), nullptr);
  EXPECT_EQ(image.ExtractionColorMaskEx(&color), nullptr);
  image.Lock();
  EXPECT_THROW(image.ExtractionColorMask(nullptr), KXException);
  EXPECT_THROW(image.ExtractionColorMaskEx(nullptr), KXException);
  EXPECT_THROW(image.ExtractionColor(&color, nullptr), KXException);
}

}  // namespace
