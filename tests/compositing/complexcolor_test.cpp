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
    EXPECT_TRUE(c.depth == depth && c.value8 == value);
    EXPECT_EQ(c.color32, color) << depth << " " << value;
    EXPECT_EQ(c.color64, kxw::WidenColor(color));
    EXPECT_EQ(c.channels16[0], (color >> 24) * 257);
  }
}

TEST(ComplexColor, ColoursOfferTheirAlphaAsValue) {
  const KXComplexColor c(8, DWORD{0x80010203}), wide(32, u64{0x80FF01FF02000300});
  for (const KXComplexColor& color : {c, wide}) {
    EXPECT_EQ(color.color32, 0x80010203u);
    EXPECT_EQ(color.value8, 0x80);
    EXPECT_TRUE(color.channels8[1] == 3 && color.channels8[2] == 2 && color.channels8[3] == 1);
  }
  EXPECT_TRUE(c.depth == 8 && wide.depth == 32);
  EXPECT_EQ(c.color64, 0x8080010102020303u);
  EXPECT_TRUE(wide.channels16[0] == 0x80FF && wide.channels16[2] == 0x0200);

  using C = KXComplexColor;
  EXPECT_TRUE(C::cErase.color32 == 0x00FFFFFF && C::cErase.value8 == 0);
  EXPECT_TRUE(C::cBlack.color32 == 0xFF000000 && C::cBlack.value8 == 255);
  EXPECT_TRUE(C::cWhite.color64 == ~0ull && C::cWhite.depth == 64 && C::cTransmit.color64 == 0);
}

TEST(ComplexColor, InitLeavesTheOtherFormsAlone) {
  KXComplexColor c(8, BYTE{7});
  c.Init32(0x11223344);
  EXPECT_TRUE(c.depth == 32 && c.value8 == 7 && c.color64 == 0xFFFFF8F8F8F8F8F8);
  c.Init64(0);
  EXPECT_TRUE(c.depth == 64 && c.color32 == 0x11223344 && c.channels16[0] == 0);
}

}  // namespace
