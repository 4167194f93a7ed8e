#include "kxwcmn/core/color.h"

#include <gtest/gtest.h>

namespace {

tagQMHSVCOLOR16 Hsv(WORD hue, WORD saturation, WORD value) { return {0, hue, saturation, value}; }

TEST(Color, WidensAndNarrowsWithoutRounding) {
  const KXRgbColor rgb(0x12ABCDEFu);
  EXPECT_EQ(rgb, KXRgbColor(0x1212, 0xEFEF, 0xCDCD, 0xABAB));
  EXPECT_EQ(kxw::WidenColor(0x12ABCDEF), 0x1212ABABCDCDEFEFull);
  EXPECT_EQ(kxw::NarrowColor(0x12FF01FF00FFFFFF), 0x120100FFu);
  EXPECT_EQ(static_cast<QMCOLORREF>(KXRgbColor(0x12FF, 0x01FF, 0x00FF, 0xFFFF)), 0x12FF0001u);
}

TEST(Color, NumbersChannelsFromRedOrHue) {
  KXRgbColor rgb(4, 1, 2, 3);
  KXHsvColor hsv;
  hsv.SetColor(4, 1, 2, 3);  // stored, not converted
  for (int channel = 0; channel < 4; ++channel) {
    EXPECT_EQ(rgb.GetChannel(channel), channel + 1);
    EXPECT_EQ(hsv.GetChannel(channel), channel + 1);
    rgb.SetChannel(channel, 7);
    hsv.SetChannel(channel, 7);
  }
  rgb.SetChannel(4, 9);
  EXPECT_EQ(rgb, KXRgbColor(7, 7, 7, 7));
  EXPECT_EQ(rgb.GetChannel(4), 0);
  KXColor color(0xFF010203);
  EXPECT_TRUE(color.GetChannelR() == 3 && color.GetChannelB() == 1);
  color.SetChannel(3, 0x80);
  for (int channel : {-1, 4}) color.SetChannel(channel, 0x55);
  EXPECT_EQ(color, 0x80010203u);
}

TEST(Color, HsvToRgb) {
  EXPECT_EQ(KXRgbColor(Hsv(0, 65535, 65535)), KXRgbColor(0, 65535, 0, 0));
  EXPECT_EQ(KXRgbColor(Hsv(10923, 65535, 65535)), KXRgbColor(0, 65532, 65535, 0));
  EXPECT_EQ(KXRgbColor(Hsv(43690, 65535, 32768)), KXRgbColor(0, 0, 0, 32768));
  // 360 degrees is forced to 359, just short of pure red.
  EXPECT_EQ(KXRgbColor(Hsv(65535, 65535, 65535)), KXRgbColor(0, 65535, 0, 1092));
  EXPECT_EQ(KXRgbColor(tagQMHSVCOLOR16{77, 300, 0, 500}).alpha, 77);

  // The other reading: degrees and percentages, cut at 100.
  EXPECT_EQ(KXColor(tagQMHSVCOLOR16{0x1234, 120, 100, 100}), 0x3400FF00u);
  EXPECT_EQ(KXColor(Hsv(361, 500, 100)), KXColor(Hsv(359, 100, 100)));
  EXPECT_NE(KXColor(Hsv(361, 100, 100)), KXColor(Hsv(1, 100, 100)));
}

TEST(Color, RgbToHsv) {
  const auto hue = [](WORD r, WORD g, WORD b) { return KXHsvColor(0, r, g, b).hue; };
  EXPECT_EQ(hue(65535, 0, 0), 0);
  EXPECT_EQ(hue(0, 65535, 0), 21845);
  EXPECT_EQ(hue(0, 0, 65535), 43690);
  EXPECT_EQ(hue(65535, 65535, 0), 10922);  // the tie of red and green goes to green
  EXPECT_EQ(hue(65535, 0, 65535), 54612);  // and that of red and blue to blue
  EXPECT_EQ(hue(65535, 1, 2), 65534);      // a negative angle comes round
  const KXHsvColor grey(9, 1000, 1000, 1000);
  EXPECT_TRUE(grey.hue == 0 && grey.saturation == 0 && grey.value == 1000 && grey.alpha == 9);
  EXPECT_EQ(KXHsvColor(0, 0, 0, 0).value, 0);
  EXPECT_EQ(KXHsvColor(0, 40000, 20000, 30000).saturation, 32767);
  EXPECT_EQ(static_cast<QMCOLORREF>(KXHsvColor(0x80FF0000u)), 0x80FF0000u);
}

}  // namespace
