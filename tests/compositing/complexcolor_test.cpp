#include "kxwcmn/compositing/complexcolor.h"

#include <gtest/gtest.h>

#include <tuple>

namespace {

TEST(ComplexColor, BytesMeanWhatTheirDepthSays) {
  const std::tuple<int, int, QMCOLORREF> cases[] = {
      {1, 0, 0},          {1, 1, 0xFFFFFFFF},
      {1, 2, 0},          {1, 255, 0xFFFFFFFF},
      {2, 0, 0},          {2, 1, 0},
      {2, 2, 0xAAAAAAAA}, {2, 170, 0xAAAAAAAA},
      {2, 3, 0xFFFFFFFF}, {2, 255, 0xFFFFFFFF},
      {8, 0, 0xFFFFFFFF}, {8, 255, 0xFF000000},
      {8, 1, 0xFFFEFEFE}, {16, 9, 0},
  };
  for (const auto& [depth, value, color] : cases) {
    const KXComplexColor c(depth, static_cast<BYTE>(value));
    EXPECT_EQ(c.depth, depth);
    EXPECT_EQ(c.value8, value);
    EXPECT_EQ(c.color32, color) << depth << " " << value;
    EXPECT_EQ(c.color64, kxw::WidenColor(color));
    EXPECT_EQ(c.channels16[0], (color >> 24) * 257);
  }
}

TEST(ComplexColor, ColoursOfferTheirAlphaAsValue) {
  const KXComplexColor c(8, DWORD{0x80010203});
  EXPECT_EQ(c.depth, 8);
  EXPECT_EQ(c.value8, 0x80);
  EXPECT_EQ(c.channels8[1], 3);
  EXPECT_EQ(c.channels8[3], 1);
  EXPECT_EQ(c.color64, 0x8080010102020303u);

  const KXComplexColor wide(32, u64{0x80FF01FF02000300});
  EXPECT_EQ(wide.color32, 0x80010203u);
  EXPECT_EQ(wide.value8, 0x80);
  EXPECT_EQ(wide.channels16[2], 0x0200);
  EXPECT_EQ(KXComplexColor::cErase.color32, 0x00FFFFFFu);
  EXPECT_EQ(KXComplexColor::cErase.value8, 0);
  EXPECT_EQ(KXComplexColor::cBlack.color32, 0xFF000000u);
  EXPECT_EQ(KXComplexColor::cWhite.depth, 64);
}

TEST(ComplexColor, InitLeavesTheOtherFormsAlone) {
  KXComplexColor c(8, BYTE{7});
  c.Init32(0x11223344);
  EXPECT_EQ(c.value8, 7);
  EXPECT_EQ(c.color64, 0xFFFFF8F8F8F8F8F8u);
  c.Init64(0);
  EXPECT_EQ(c.depth, 64);
  EXPECT_EQ(c.color32, 0x11223344u);
  EXPECT_EQ(c.channels16[0], 0);
}

}  // namespace
