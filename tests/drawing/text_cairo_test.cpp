#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "kxwcmn/core/font.h"
#include "kxwcmn/offscreen/autolock.h"
#include "tests/support/codepage.h"
#include "tests/support/failure.h"
#include "tests/support/hosttext.h"
#include "tests/support/images.h"

namespace {

using namespace testing_kxw;

constexpr int kMin = std::numeric_limits<int>::min(), kMax = std::numeric_limits<int>::max();
constexpr DWORD kColor = 0xFF3366CC;

/// The pixels of an image in the terms of 64 bits, under a lock.
[[maybe_unused]] std::vector<u64> Pixels(KXVOffscreen& image) {
  KXVOffscreenAutoLock lock(&image, 0);
  std::vector<u64> pixels;
  for (int y = 0; y < image.GetHeight(); ++y) {
    for (int x = 0; x < image.GetWidth(); ++x) {
      image.MoveCursor(x, y);
      pixels.push_back(image.Get64BitColor());
    }
  }
  return pixels;
}

TEST(Text, RefusesNoTextAndFont) {
  const ImagePtr image = MakeImage(32, 9, 9);
  KXFont font;
  EXPECT_EQ(CodeOf([&] {
              image->DrawString(nullptr, {0, 0, 9, 9}, font, kColor, 0, 0);
            }),
            0x20010008);
  for (const auto& wrong : {std::pair{0, 400}, {4097, 400}, {16, -1}, {16, 1001}}) {
    EXPECT_EQ(CodeOf([&] { font.Create("Sans", wrong.first, wrong.second); }), 0x20010008);
  }
  EXPECT_EQ(CodeOf([&] { font.Create(std::string(1001, 'x').c_str(), 16); }), 0x20010008);
  EXPECT_FALSE(font.IsValid());
  font.Create("Sans", 16);
  font.Attach(font, 0);  // leaked if it were not owned any more
}

#if defined(KXWCMN_WITH_TEXT)

/// The rule, pixel by pixel, for a work area that no limit shrinks.
void DrawByModel(KXVOffscreen& image, const HostText& text, const tagRECT& rect, DWORD color,
                 int hAlign, int vAlign) {
  const int w = rect.right - rect.left, h = rect.bottom - rect.top;
  if (text.width > w || text.height > h) return;
  int x = rect.left, y = rect.bottom - text.height;
  if (hAlign == 1) x = rect.right - text.width;
  if (hAlign == 2) x = (w - text.width) / 2 + rect.left;
  if (vAlign == 3) y = rect.top;
  if (vAlign == 2) y = (h - text.height) / 2 + rect.top;
  KXVOffscreenAutoLock lock(&image, 1);
  const DWORD native = image.MakeNativeColor(color);
  for (int i = 0; i <= text.height && i + rect.top < image.GetHeight(); ++i) {
    for (int j = 0; j < text.width && j + rect.left < image.GetWidth(); ++j) {
      if (i >= h || !text.IsInk(j, i)) continue;
      image.MoveCursor(x + j, y + i);
      image.SetColor(native);
    }
  }
}

const struct {
  const char* given;
  const char* shown;  // as UTF-8; null if it is the same
} kTexts[] = {
    {"Scene 12 / Cut 3 & 4", nullptr},
    {"gjpqy|_@", nullptr},
    {"\xE3\x82\xBB\xE3\x83\xAB\xE7\x94\xBB", nullptr},  // Japanese
    {"two\tstops\nand \xE2\x80\xA9lines\r\n.", "two\tstops and  lines  ."},
    // Marks that pile up above and below.
    {"a\xCC\xA3\xCC\xA3\xCC\xA3\xCC\xA3\xCC\xA3\xCC\x82\xCC\x82\xCC\x82g", nullptr},
    {"cut off: \xE3\x82", "cut off: \xEF\xBF\xBD\xEF\xBF\xBD"},
    {"\xFFz\x80", "\xEF\xBF\xBDz\xEF\xBF\xBD"},
    // Above U+10FFFF.
    {"\xF4\x90\x80\x80z", "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBDz"},
    {"", nullptr},
};

TEST(Text, PaintsTheInkOfTheHostsRenderer) {
  int painted = 0;
  for (unsigned seed = 0; seed < 200; ++seed) {
    Random random(seed);
    const int bits = kAllDepths[seed % 7];
    const auto& text = kTexts[random.Int(0, 8)];
    const char* const family = random.OneIn(2) ? "DejaVu Serif" : "A font that nobody has";
    const int height = random.OneIn(6) ? 70 : random.Int(6, 24);
    const int weight = random.OneIn(2) ? 700 : 400, slant = random.Int(0, 1);
    const HostText host(text.shown ? text.shown : text.given, family, height, weight, slant);
    const ImagePtr image = MakeImage(bits, 300, 280), expected = MakeImage(bits, 300, 280);
    tagRECT rect = {random.Edge(-60, 310), random.Edge(-60, 290), 0, 0};
    rect.right = rect.left + (random.OneIn(4) ? host.width : random.Int(-9, 400));
    rect.bottom = rect.top + (random.OneIn(4) ? host.height : random.Int(-9, 200));
    const int hAlign = random.Int(0, 3), vAlign = random.Int(0, 4);
    SCOPED_TRACE(testing::Message() << bits << " bits, seed " << seed << ": " << text.given);
    KXFont font(family, height, weight, slant);
    image->DrawString(text.given, rect, font, kColor, hAlign, vAlign);
    const std::vector<u64> blank = Pixels(*expected);
    DrawByModel(*expected, host, rect, kColor, hAlign, vAlign);
    const std::vector<u64> pixels = Pixels(*image);
    ASSERT_EQ(pixels, Pixels(*expected));
    painted += pixels != blank;
  }
  EXPECT_GT(painted, 30);
}

TEST(Text, IsOfTheCodePage) {
  const ScopedCodePage page(kxw::kCodePageJapanese);
  const HostText host("\xE3\x82\xBD\xE6\x97\xA5\xE7\x9B\xB4", "Sans", 20, 400, false, "ja");
  const ImagePtr image = MakeImage(8, 100, 40), expected = MakeImage(8, 100, 40);
  KXFont font("Sans", 20);
  image->DrawString(PAIR "\x93\xFA\x92\xBC", {0, 0, 100, 40}, font, kColor, 0, 3);
  DrawByModel(*expected, host, {0, 0, 100, 40}, kColor, 0, 3);
  EXPECT_EQ(Pixels(*image), Pixels(*expected));
}

// What a limit makes of a rectangle is what the rectangle in the third column is without one.
TEST(Text, AreaIsShrunkToTheLimitOnTheSideOfTheText) {
  const tagRECT rect = {10, 40, 110, 280};  // 72000 bytes
  const struct {
    int vAlign, byteLimit;
    tagRECT equal;
  } cases[] = {
      {3, 45000, {10, 40, 110, 190}},
      {0, 45000, {10, 130, 110, 280}},
      {2, 45000, {10, 45, 110, 195}},
      {2, 72001, rect},
      {2, 72000, {10, 0, 110, 240}},
      {2, 30000, {10, 70, 110, 170}},
      {2, 29999, rect},
      {0, 29999, rect},
      {2, 0, rect},
      {2, -5, rect},
      {2, 30600, {10, 69, 110, 171}},
  };
  KXFont font("Sans", 14);
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.vAlign << ", " << c.byteLimit);
    const ImagePtr image = MakeImage(8, 120, 290), expected = MakeImage(8, 120, 290);
    image->DrawString2("limit", rect, font, kColor, 2, c.vAlign, c.byteLimit);
    expected->DrawString2("limit", c.equal, font, kColor, 2, c.vAlign, 0);
    EXPECT_EQ(Pixels(*image), Pixels(*expected));
  }
  // A text that is higher than the rows that are left draws nothing.
  const ImagePtr image = MakeImage(8, 300, 290);
  const std::vector<u64> blank = Pixels(*image);
  KXFont large("Sans", 120);
  image->DrawString2("H", {0, 0, 300, 290}, large, kColor, 0, 3, 100 * 900);
  EXPECT_EQ(Pixels(*image), blank);
  image->DrawString2("H", {0, 0, 300, 290}, large, kColor, 0, 3, 0);
  EXPECT_NE(Pixels(*image), blank);
}

// The rows that `DrawString` leaves of a rectangle of 32 bits' whole range are 0x3200000 bytes.
TEST(Text, BearsExtremeRectanglesAndTexts) {
  KXFont none;  // the system's font, 16 pixels high
  KXFont font("Sans", 16);
  const ImagePtr image = MakeImage(8, 300, 280), expected = MakeImage(8, 300, 280);
  const std::vector<u64> blank = Pixels(*image);
  for (const tagRECT& rect : {tagRECT{50, 50, 50, 90},
                              {90, 90, 50, 50},
                              {kMax, kMax, kMin, kMin},
                              {kMin, kMin, 0, 0},
                              {300, 280, kMax, kMax}}) {
    for (int align : {0, 1, 2, 3}) {
      image->DrawString("outside", rect, font, kColor, align == 0 ? 1 : 0, align == 2 ? 3 : align);
    }
  }
  image->DrawString(std::string(1 << 20, 'w').c_str(), {0, 0, 300, 280}, font, kColor, 0, 0);
  EXPECT_EQ(Pixels(*image), blank);
  EXPECT_EQ(
      CodeOf([&] {
        image->DrawString(std::string(1 << 20, 'w').c_str(), {0, 0, kMax, 280}, font, kColor, 0, 0);
      }),
      0x20010008);

  image->DrawString("huge", {kMin, kMin, 280, 270}, none, kColor, 1, 0);
  expected->DrawString("huge", {0, 0, 280, 270}, font, kColor, 1, 0);
  EXPECT_EQ(Pixels(*image), Pixels(*expected));

  // From -2^31 to 2^31 - 1 the middle is at the image's corner.
  const ImagePtr middle = MakeImage(8, 300, 280), half = MakeImage(8, 300, 280);
  middle->DrawString2("middle", {kMin, kMin, kMax, kMax}, font, kColor, 2, 2, 0);
  half->DrawString2("middle", {-200, -200, 199, 199}, font, kColor, 2, 2, 0);
  EXPECT_EQ(Pixels(*middle), Pixels(*half));
  EXPECT_NE(Pixels(*middle), blank);
}

#else

TEST(Text, SaysThatThereIsNoPango) {
  const ImagePtr image = MakeImage(32, 90, 90);
  KXFont font("Sans", 16);
  EXPECT_EQ(CodeOf([&] { image->DrawString("text", {0, 0, 90, 90}, font, kColor, 0, 0); }), 50);
}

#endif

}  // namespace
