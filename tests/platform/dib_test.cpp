#include "kxwcmn/platform/dib.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>

#include "kxwcmn/platform/error.h"

namespace {

// A row of 5 pixels has its bytes from the left; the bottom row is the first one, behind head and
// palette. Of the colours of the palette the fourth is seen.
TEST(Dib, RowsStandFromTheBottomUpBehindHeadAndPalette) {
  tagRGBQUAD palette[256] = {};
  palette[3] = {0x30, 0x20, 0x10, 0};
  palette[1] = palette[15] = palette[3];
  const struct {
    int bitCount;
    std::size_t headBytes, rowBytes;
    BYTE pixel[4];  // of the row's third
    std::size_t at;
  } cases[] = {
      {1, 40 + 8, 4, {0x20}, 0},
      {4, 40 + 64, 4, {0x30}, 1},
      {8, 40 + 1024, 8, {3}, 2},
      {24, 40, 16, {0x30, 0x20, 0x10}, 6},
      {32, 40, 20, {0x30, 0x20, 0x10, 0xFF}, 8},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.bitCount);
    int error = -1;
    QMHANDLE__* const dib = qmwCreateDIB(5, 3, c.bitCount, palette, &error);
    ASSERT_TRUE(dib);
    BITMAPINFOHEADER* const head = qmwDibLock(dib);
    ASSERT_TRUE(head);
    EXPECT_EQ(head->biHeight, 3);
    EXPECT_EQ(qmGetHandleSize(dib), c.headBytes + 3 * c.rowBytes);
    BYTE* const rows = reinterpret_cast<BYTE*>(head) + c.headBytes;
    std::memcpy(rows + c.rowBytes + c.at, c.pixel, sizeof c.pixel);
    EXPECT_EQ(qmwGetDibPixel(dib, 2, 1), 0x00302010u);
    EXPECT_EQ(qmwGetDibPixel(dib, 2, 0), 0u);
    EXPECT_EQ(qmwGetDibPixel(dib, 2, 2), 0u);
    EXPECT_EQ(qmwGetDibPixel(dib, 5, 1), 0x00FFFFFFu) << "white beside it";
    EXPECT_EQ(qmwGetDibPixel(dib, 2, -1), 0x00FFFFFFu);
    qmwDibUnlock(dib);
    qmFree(dib);

    QMHANDLE__* const greys = qmwCreateDIB(5, 3, c.bitCount, nullptr, nullptr);
    EXPECT_EQ(qmwGetDibPixel(greys, 4, 2), 0u);
    qmwEraseDIB(greys);
    EXPECT_EQ(qmwGetDibPixel(greys, 4, 2), 0x00FFFFFFu);
    qmFree(greys);
  }
  EXPECT_EQ(qmwDIB_WIDTH_BIT(0), 0);
  EXPECT_EQ(qmwDIB_WIDTH_BIT(1), 32);
  EXPECT_EQ(qmwDIB_WIDTH_BIT(96), 96);
}

TEST(Dib, RefusesWhatIsNone) {
  int error = 0;
  for (const auto& [width, height, bitCount] :
       {std::array{0, 1, 24}, {1, 0, 24}, {-1, 5, 24}, {5, 5, 16}, {0x7FFFFFFF, 1, 1}}) {
    EXPECT_FALSE(qmwCreateDIB(width, height, bitCount, nullptr, &error));
    EXPECT_EQ(error, kxw::kErrorInvalidParameter);
  }
  EXPECT_FALSE(qmwCreateDIB(0x7FFFFF00, 2, 32, nullptr, &error));
  EXPECT_EQ(error, kxw::kErrorNotEnoughMemory);

  QMHANDLE__* const other = qmAlloc(2000, 0, nullptr);
  for (QMHANDLE__* none : {static_cast<QMHANDLE__*>(nullptr), other}) {
    EXPECT_FALSE(qmwDibLock(none));
    EXPECT_EQ(qmwGetDibPixel(none, 0, 0), 0x00FFFFFFu);
    qmwEraseDIB(none);
  }
  EXPECT_EQ(static_cast<BYTE*>(qmLock(other))[1999], 0);
  qmFree(other);
}

}  // namespace
