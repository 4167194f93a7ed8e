#include <gtest/gtest.h>

#include <limits>

#include "tests/classic/support.h"
#include "tests/support/failure.h"

namespace {

using namespace classic_test;

/// The walk that CopyEx is told to be: unit after unit, in the order asked for.
void ModelMove(KXOffscreen& image, int x, int y, int width, int height, KXOffscreen& source,
               int sourceX, int sourceY, bool forwardX, bool forwardY) {
  const bool isBits = image.GetBitCount() == 1;
  const int unit = isBits ? 1 : image.GetBitCount() / 8;
  const int units = isBits ? (width + 7) / 8 : width;
  const int to = isBits ? x / 8 : x, from = isBits ? sourceX / 8 : sourceX;
  for (int i = 0; i < height; ++i) {
    const int row = forwardY ? i : height - 1 - i;
    for (int k = 0; k < units; ++k) {
      const int step = forwardX ? k : units - 1 - k;
      for (int byte = 0; byte < unit; ++byte) {
        image.GetBaseAddress()[(y + row) * image.GetRowBytes() + (to + step) * unit + byte] =
            source.GetBaseAddress()[(sourceY + row) * source.GetRowBytes() + (from + step) * unit +
                                    byte];
      }
    }
  }
}

// Also the directions that smear what they copy, which is what the walk does.
TEST(ClassicCopyEx, WalksInTheDirectionsItIsTold) {
  Random random(31);
  for (int bits : kDepths) {
    for (int i = 0; i < 200; ++i) {
      const auto image = MakeNoise(bits, 60, 20, random);
      const auto other = MakeNoise(bits, 70, 20, random);
      const bool isSelf = random.OneIn(2);
      KXOffscreen expected(*image);
      expected.Lock();
      const int width = random.Int(0, 30), height = random.Int(0, 10);
      const int x = random.Int(0, 30), sourceX = random.Int(0, 30);
      const int y = random.Int(0, 10), sourceY = random.Int(0, 10);
      const int forwardX = random.Int(0, 1), forwardY = random.Int(0, 1);
      if (width > 0) {
        ModelMove(expected, x, y, width, height, isSelf ? expected : *other, sourceX, sourceY,
                  forwardX, forwardY);
      }
      image->CopyEx(x, y, width, height, isSelf ? image.get() : other.get(), sourceX, sourceY,
                    forwardX, forwardY);
      ASSERT_EQ(BytesOf(*image), BytesOf(expected)) << bits << " bits, case " << i;
    }
  }
}

TEST(ClassicCopyEx, RefusesWhatLeavesAnImage) {
  Random random(32);
  const auto image = MakeNoise(8, 20, 10, random), other = MakeNoise(8, 20, 10, random);
  const auto bits = MakeNoise(1, 20, 10, random);
  const auto before = BytesOf(*image);
  constexpr int kMax = std::numeric_limits<int>::max();
  const int cases[][4] = {{-1, 0, 5, 5}, {0, -1, 5, 5},      {16, 0, 5, 5},
                          {0, 6, 5, 5},  {kMax, 0, kMax, 5}, {0, kMax, 5, kMax}};
  for (const auto& c : cases) {
    const int x = c[0], y = c[1], width = c[2], height = c[3];
    EXPECT_EQ(CodeOf([&] { image->CopyEx(x, y, width, height, other.get(), 0, 0, 1, 1); }),
              0x20010008);
    EXPECT_EQ(CodeOf([&] { image->CopyAlign8Bit(0, 0, width, height, other.get(), x, y); }),
              0x20010008);
  }
  EXPECT_EQ(CodeOf([&] { image->CopyScamp(0, 5, 5, 6, other.get()); }), 0x20010008);
  EXPECT_EQ(CodeOf([&] { image->CopyScamp(0, -5, 5, kMax, other.get()); }), 0x20010008);
  image->CopyEx(0, 0, 5, 5, bits.get(), 0, 0, 1, 1);
  image->CopyScamp(0, 0, 5, 5, bits.get());
  EXPECT_EQ(BytesOf(*image), before);
}

TEST(ClassicCopyScamp, CopiesWholeGroupsOfAllRows) {
  Random random(33);
  for (int bits : kDepths) {
    for (int i = 0; i < 100; ++i) {
      const int group = bits == 1   ? 32
                        : bits == 8 ? 4
                                    : 1,
                sourceWidth = bits == 32   ? 100
                              : bits == 24 ? 99
                                           : 98;
      const auto image = MakeNoise(bits, 100, 20, random),
                 other = MakeNoise(bits, sourceWidth, 30, random);
      KXOffscreen expected(*image);
      expected.Lock();
      const int x = random.Int(-20, 110), y = random.Int(-5, 10);
      const int width = random.Int(-2, 120), height = random.Int(0, 10);
      // The rows are `height` from the top on, also where `y` is above it.
      for (int row = std::max(y, 0); row < std::max(y, 0) + height; ++row) {
        for (int column = 0; column < expected.GetRowBytes() * 8 / bits; ++column) {
          const int first = column / group * group;
          bool isAsked = false;
          for (int k = first; k < first + group; ++k) {
            isAsked |= k >= std::max(x, 0) && k < std::min(x + width, sourceWidth);
          }
          if (isAsked)
            Model::Set(expected, bits, Model::Get(*other, bits, column, row), column, row);
        }
      }
      image->CopyScamp(x, y, width, height, other.get());
      ASSERT_EQ(BytesOf(*image), BytesOf(expected)) << bits << " bits, case " << i;
    }
  }
}

TEST(ClassicReverse, ComplementsAllBytesAtEightBitsAndThoseOfPixelsAtOne) {
  const struct { int bits, bytes; } cases[] = {{1, 2}, {8, 12}, {24, 0}, {32, 0}};
  for (const auto& c : cases) {
    KXOffscreen image;
    image.Create(9, 2, c.bits, 0, 0);
    image.Reverse();  // not locked
    image.Lock();
    image.Reverse();
    for (int i = 0; i < image.GetRowBytes(); ++i) {
      ASSERT_EQ(image.GetBaseAddress()[image.GetRowBytes() + i], i < c.bytes ? 255 : 0);
    }
  }
}

}  // namespace
