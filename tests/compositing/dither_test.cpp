#include <gtest/gtest.h>

#include "kxwcmn/offscreen/autolock.h"
#include "tests/support/images.h"

namespace {

using namespace testing_kxw;

constexpr BYTE kFillOrder[16][2] = {{0, 0}, {2, 2}, {0, 2}, {2, 0}, {1, 1}, {3, 3}, {1, 3}, {3, 1},
                                    {0, 1}, {2, 3}, {0, 3}, {2, 1}, {1, 0}, {3, 2}, {1, 2}, {3, 0}};

TEST(Dither, CellsFillInOrder) {
  for (std::size_t n = 0; n < 17; ++n) {
    for (std::size_t i = 0; i < 16; ++i) {
      const std::size_t a = kFillOrder[i][0], b = kFillOrder[i][1];
      EXPECT_EQ(KXVOffscreen::cbDitherTable[n][a][b], i < n ? 1 : 0);
      EXPECT_EQ(KXVOffscreen::cbDitherTable2[n][a][b], i < n ? 1 : i == n ? 0 : 2);
    }
  }
  const BYTE thresholds[2][17] = {
      // of two rows, which come first
      {10, 51, 179, 19, 147, 59, 187, 27, 155, 49, 177, 17, 145, 57, 185, 25, 153},
      {5, 204, 76, 236, 108, 196, 68, 228, 100, 206, 78, 238, 110, 198, 70, 230, 102}};
  for (int i = 0; i < 32; ++i) {
    const auto& row = thresholds[i / 16];
    EXPECT_EQ(KXVOffscreen::GetDitherOrgValue255(i % 16 - 16, row[0] + 32), row[i % 16 + 1]);
  }
}

// A density of n covers exactly n pixels of its cell, and growing it never takes a pixel away.
TEST(Dither, DensitiesCoverTheirShare) {
  ImagePtr image = MakeImage(1, 16, 16);
  KXVOffscreenAutoLock lock(image.get(), 0);
  int before[3][256] = {};
  for (int value = 0; value <= 256; ++value) {
    int set[3] = {};
    for (int i = 0; i < 256; ++i) {
      image->MoveCursor(i % 16, i / 16);
      const int now[3] = {image->GetDitherValue(value), image->GetDitherValue16(value / 16),
                          image->GetDitherValue255(value)};
      for (int k = 0; k < 3; ++k) {
        ASSERT_GE(now[k], before[k][i]) << value << " at " << i;
        before[k][i] = now[k];
        set[k] += now[k];
      }
    }
    EXPECT_EQ(set[0], value);
    EXPECT_EQ(set[1], value / 16 * 16);
    EXPECT_EQ(set[2], value == 0 ? 0 : std::min(value + 1, 256));
  }
}

// The two tables are read with their indices the other way round.
TEST(Dither, IndicesOfTheTwoPatterns) {
  ImagePtr image = MakeImage(1, 16, 16);
  KXVOffscreenAutoLock lock(image.get(), 0);
  image->MoveCursor(0, 1);  // cell (0, 1) is the 9th of the order, cell (1, 0) the 13th
  EXPECT_EQ(image->GetDitherValue16(12), 0);
  EXPECT_EQ(image->GetDitherValue(9), 1);
  image->MoveCursor(1, 0);
  EXPECT_EQ(image->GetDitherValue16(9), 1);
  EXPECT_EQ(image->GetDitherValue(12), 0);
  EXPECT_EQ(image->GetDitherValue(1000), 1);
  EXPECT_EQ(image->GetDitherValue16(-3), 0);
}

}  // namespace
