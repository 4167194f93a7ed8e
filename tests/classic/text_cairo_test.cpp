#include <gtest/gtest.h>

#include <array>
#include <string>

#include "kxwcmn/core/font.h"
#include "tests/classic/bitsupport.h"
#include "tests/support/failure.h"
#include "tests/support/hosttext.h"

namespace {

using namespace classic_test;

constexpr int kMin = -0x7FFFFFFF - 1, kMax = 0x7FFFFFFF;

#if defined(KXWCMN_WITH_TEXT)

const struct {
  const char *given, *shown;
} kTexts[] = {
    {"Cut 3 & 4", "Cut 3 & 4"},
    {"\xE5\x8B\x95\xE7\x94\xBB", "\xE5\x8B\x95\xE7\x94\xBB"},
    {"gy|\nj", "gy| j"},
    {"", ""},
    // Ink on all sides of the line's own size.
    {"j\xCC\xA3\xCC\xA3\xCC\xA3\xCC\xA3\xC3\x82\xCC\x82\xCC\x82\xCC\x82\xCC\x82/f",
     "j\xCC\xA3\xCC\xA3\xCC\xA3\xCC\xA3\xC3\x82\xCC\x82\xCC\x82\xCC\x82\xCC\x82/f"},
};

// Each pixel of ink is a rectangle of one pixel, with the same colour and mode.
TEST(BitText, PaintsTheInkOfTheHostsRenderer) {
  for (unsigned seed = 0; seed < 200; ++seed) {
    Random random(seed);
    const int bits = std::array{1, 8, 16, 24, 32, 64}[static_cast<std::size_t>(random.Int(0, 5))];
    const auto& text = kTexts[random.Int(0, 4)];
    const HostText host(text.shown, "Sans", 16);
    BitPicture picture(bits, random.Int(1, 120), random.Int(1, 60), random), expected(picture);
    const int x = random.Int(-50, 120), y = random.Int(-30, 60);
    const int centre = random.Int(0, 2), align = random.Int(0, 2), mode = random.Int(0, 1);
    const DWORD color = random.Bits();
    SCOPED_TRACE(testing::Message() << bits << " bits, seed " << seed);
    picture.image.DrawString(text.given, x, y, color, centre, align, mode);
    const int left = centre == 1 ? x - host.width / 2 : x;
    const int top = centre == 1 ? y - host.height / 2 : y;
    for (int i = 0; i < host.height; ++i) {
      for (int j = 0; j < host.width; ++j) {
        if (!host.IsInk(j, i)) continue;
        expected.image.RectFill(KXRect(left + j, top + i, left + j + 1, top + i + 1), color, mode);
      }
    }
    ASSERT_EQ(picture.bytes, expected.bytes);
  }
}

TEST(BitText, BearsExtremePlacesAndTexts) {
  Random random(5);
  BitPicture picture(32, 30, 30, random);
  const std::vector<BYTE> before = picture.bytes;
  for (int at : {kMin, kMax, -1000, 30}) {
    picture.image.DrawString("outside", at, at, 0, 0, 0, 0);
    picture.image.DrawString("outside", at, at, 0, 2, 0, 1);
  }
  picture.image.DrawString("x", 0, kMin, 0, 1, 0, 0);
  const std::string longText(1 << 20, 'i');
  EXPECT_EQ(CodeOf([&] { picture.image.DrawString(longText.c_str(), 0, 0, 0, 0, 0, 0); }),
            0x20010008);
  EXPECT_EQ(picture.bytes, before);
}

TEST(ClassicText, PaintsTheInkWithinTheRectangle) {
  for (unsigned seed = 0; seed < 200; ++seed) {
    Random random(seed);
    const auto& text = kTexts[random.Int(0, 4)];
    const int size = random.Int(8, 30), slant = random.Int(0, 1);
    const HostText host(text.shown, "DejaVu Serif", size, 700, slant);
    const int width = random.Int(1, 120), height = random.Int(1, 60);
    const unsigned pictureSeed = random.Bits();
    Random first(pictureSeed), second(pictureSeed);
    const int bits = kDepths[random.Int(0, 3)];
    const auto image = MakeNoise(bits, width, height, first);
    const auto expected = MakeNoise(bits, width, height, second);
    const DWORD color = random.Bits();
    image->SetForeColor(color);
    tagRECT rect = {random.Int(-60, 120), random.Int(-30, 60), 0, 0};
    rect.right = rect.left + random.Int(-2, 150);
    rect.bottom = rect.top + random.Int(-2, 60);
    const int mode = random.Int(0, 3);
    SCOPED_TRACE(testing::Message() << bits << " bits, seed " << seed);
    KXFont font("DejaVu Serif", size, 700, slant);
    image->DrawString(text.given, rect, font, mode);
    const int spare = rect.right - rect.left - host.width;
    const int left = rect.left + (mode == 1 ? spare : mode == 2 ? spare / 2 : 0);
    constexpr int kMargin = HostText::kMargin;
    for (int i = -kMargin; i < host.height + kMargin; ++i) {
      for (int j = -kMargin; j < host.width + kMargin; ++j) {
        const int x = left + j, y = rect.top + i;
        const bool isSeen = x >= rect.left && x < rect.right && y >= rect.top && y < rect.bottom &&
                            x >= 0 && x < width && y >= 0 && y < height;
        if (!isSeen || !host.IsInk(j, i)) continue;
        KXOffscreenCursor(expected.get(), x, y).Set24BitPixel(image->GetForeColor());
      }
    }
    ASSERT_EQ(BytesOf(*image), BytesOf(*expected));

    image->Unlock();
    image->DrawString("unlocked", {0, 0, 100, 100}, font, 0);
    image->Lock();
    ASSERT_EQ(BytesOf(*image), BytesOf(*expected));
  }
}

TEST(ClassicText, BearsExtremeRectangles) {
  Random random(5);
  const auto image = MakeNoise(8, 200, 40, random);
  image->SetForeColor(0);
  KXFont none, font("Sans", 16);
  const std::vector<BYTE> before = BytesOf(*image);
  for (const tagRECT& rect : {tagRECT{kMin, kMin, 0, 0},
                              {kMax, kMax, kMin, kMin},
                              {200, 0, kMax, kMax},
                              {0, 40, kMax, kMax},
                              {kMin, 0, kMax, kMax}}) {
    image->DrawString("outside", rect, none, rect.left == kMin ? 0 : 2);
  }
  EXPECT_EQ(BytesOf(*image), before);
  const auto wide = std::make_unique<KXOffscreen>(*image);
  wide->Lock();
  wide->SetForeColor(0);
  image->DrawString("right", {kMin, 0, 200, kMax}, none, 1);
  wide->DrawString("right", {0, 0, 200, 40}, font, 1);
  EXPECT_EQ(BytesOf(*image), BytesOf(*wide));
  EXPECT_NE(BytesOf(*image), before);
}

#else

TEST(ClassicText, SaysThatThereIsNoPango) {
  KXBitImage bits;
  bits.Create(9, 9, 24);
  EXPECT_EQ(CodeOf([&] { bits.DrawString("text", 0, 0, 0, 0, 0, 0); }), 50);
  Random random(1);
  const auto image = MakeNoise(8, 9, 9, random);
  KXFont font;
  EXPECT_EQ(CodeOf([&] { image->DrawString("text", {0, 0, 9, 9}, font, 0); }), 50);
}

#endif

TEST(ClassicText, RefusesNoText) {
  KXBitImage bits;
  KXOffscreen image;
  KXFont font;
  EXPECT_EQ(CodeOf([&] { bits.DrawString(nullptr, 0, 0, 0, 0, 0, 0); }), 0x20010008);
  EXPECT_EQ(CodeOf([&] { image.DrawString(nullptr, {0, 0, 9, 9}, font, 0); }), 0x20010008);
}

}  // namespace
