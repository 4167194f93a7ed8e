#include "kxwcmn/core/pixelmath_internal.h"

#include <gtest/gtest.h>

namespace {

// Both divisions never fall as v grows, so the two sides of every step decide all values.
TEST(PixelMath, DivisionsAreExactAtEveryStep) {
  for (DWORD q = 0; q < 257; ++q) {
    ASSERT_EQ(kxw::Div255(q * 255), q);
    ASSERT_EQ(kxw::Div255(q * 255 + 254), q);
  }
  for (DWORD q = 0; q < 65536; ++q) {
    ASSERT_EQ(kxw::Div65535(q * 65535), q);
    ASSERT_EQ(kxw::Div65535(q * 65535 + 65534), q);
  }
}

TEST(PixelMath, WeighShiftsAndLuminanceDividesBySeven) {
  for (DWORD a = 0; a < 256; ++a) {
    for (DWORD v = 0; v < 256; ++v) ASSERT_EQ(kxw::Weigh(v, a), (v * a + v) / 256);
  }
  EXPECT_EQ(kxw::Luminance(255, 255, 255), 255u);
  EXPECT_EQ(kxw::Luminance(255, 0, 0), 36u);
  EXPECT_EQ(kxw::Luminance(0, 255, 0), 145u);
  EXPECT_EQ(kxw::Luminance(0, 0, 255), 72u);
}

}  // namespace
