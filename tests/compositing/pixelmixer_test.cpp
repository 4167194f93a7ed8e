#include "kxwcmn/compositing/pixelmixer.h"

#include <gtest/gtest.h>

#include <cmath>

#include "kxwcmn/compositing/mixrules_internal.h"
#include "kxwcmn/core/geometry.h"
#include "kxwcmn/offscreen/autolock.h"
#include "tests/support/images.h"

// A mixer has no virtual destructor, so one that an application derives has none either.
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

namespace {

using namespace testing_kxw;

// One pixel of an image of the given depth, before and after a call.
class Pixel {
 public:
  explicit Pixel(int bits, bool edit = true) : image_(MakeImage(bits, 4, 4)) {
    image_->Lock(1, 2, edit);
    image_->Set64BitColor(0x8123456789ABCDEF);
  }
  KXVOffscreen* operator->() const { return image_.get(); }
  operator KXVOffscreen*() const { return image_.get(); }

 private:
  ImagePtr image_;
};

constexpr DWORD kColor = 0x70C02090;
constexpr u64 kColor64 = 0x7010C05020309080;

// What a rule makes of a pixel; a rule without a form for the depth replaces.
template <class Rule>
BYTE After8(BYTE pixel, BYTE value) {
  if constexpr (requires { Rule::Mix8(pixel, value); }) return Rule::Mix8(pixel, value), pixel;
  return value;
}
template <class Rule>
DWORD After32(DWORD pixel, DWORD color, BYTE weight) {
  if constexpr (requires(BYTE mask) { Rule::Mask8(mask, color, weight); }) {
    BYTE mask = kxw::Alpha(pixel);
    Rule::Mask8(mask, color, weight);
    return (pixel & 0xFFFFFF) | static_cast<DWORD>(mask) << 24;
  } else if constexpr (requires { Rule::Mix32(pixel, color, weight); }) {
    Rule::Mix32(pixel, color, weight);
    return pixel;
  }
  return color;
}
template <class Rule>
u64 After64(u64 pixel, u64 color, WORD weight) {
  if constexpr (requires(WORD mask) { Rule::Mask16(mask, color, weight); }) {
    WORD mask = kxw::Alpha64(pixel);
    Rule::Mask16(mask, color, weight);
    return (pixel & 0xFFFFFFFFFFFF) | static_cast<u64>(mask) << 48;
  } else if constexpr (requires { Rule::Mix64(pixel, color, weight); }) {
    Rule::Mix64(pixel, color, weight);
    return pixel;
  }
  return color;
}

template <class Mixer, class Rule>
void ExpectMixerLaysRule() {
  Mixer mixer;
  Pixel density(8), narrow(32), wide(64);
  for (const BYTE value : {BYTE{40}, BYTE{200}}) {
    const BYTE expected = After8<Rule>(density->Get8BitColor(), value);
    const DWORD expected32 = After32<Rule>(narrow->Get32BitColor(), kColor, value);
    const u64 expected64 = After64<Rule>(wide->Get64BitColor(), kColor64, value * 99);
    mixer.Do8Bit(density, value);
    mixer.Do32Bit(narrow, kColor, value);
    mixer.Do64Bit(wide, kColor64, value * 99);
    EXPECT_EQ(density->Get8BitColor(), expected);
    EXPECT_EQ(narrow->Get32BitColor(), expected32);
    EXPECT_EQ(wide->Get64BitColor(), expected64);
  }
  mixer.Do24Bit(narrow, kColor);
  EXPECT_EQ(narrow->Get32BitColor(), kColor | 0xFF000000);
  mixer.Do48Bit(wide, kColor64, 7777);
  EXPECT_EQ(wide->Get64BitColor(), kColor64 | 0xFFFF000000000000);
}

struct NoRule {};

TEST(PixelMixer, EachLaysItsRule) {
  ExpectMixerLaysRule<KXPixelMixer, NoRule>();
  ExpectMixerLaysRule<KXPixelMixerBlend, kxw::BlendRule>();
  ExpectMixerLaysRule<KXPixelMixerWeightCopy, kxw::WeightCopyRule>();
  ExpectMixerLaysRule<KXPixelMixerCompDark, kxw::CompDarkRule>();
  ExpectMixerLaysRule<KXPixelMixerCompLight, kxw::CompLightRule>();
  ExpectMixerLaysRule<KXPixelMixerAdd, kxw::AddRule>();
  ExpectMixerLaysRule<KXPixelMixerAlphaCopy, kxw::AlphaCopyRule>();
  ExpectMixerLaysRule<KXPixelMixerAlphaBlend, kxw::AlphaBlendRule>();
  ExpectMixerLaysRule<KXPixelMixerAlphaWeightCopy, kxw::AlphaWeightCopyRule>();
}

TEST(PixelMixer, LeavesUntouchedWhatItDoesNotChange) {
  Pixel two(2);
  two->Set2BitColor(2);  // reads as density 0, and would come back transparent
  KXPixelMixerCompDark dark;
  dark.Do8Bit(two, 0);
  KXPixelMixerAlphaBlend alphaBlend;
  alphaBlend.Do32Bit(two, 0xFF00FF00, 255);
  EXPECT_EQ(two->Get2BitColor(), 2);

  Pixel colors(24);  // without a mask channel
  const DWORD before = colors->Get24BitColor();
  KXPixelMixerAlphaCopy alphaCopy;
  alphaCopy.Do32Bit(colors, 0xFFFFFFFF, 255);
  EXPECT_EQ(colors->Get24BitColor(), before);
}

TEST(PixelMixer, NothingHappensWithoutMemory) {
  KXPixelMixerBlend blend;
  KXPixelMixerAlphaBlend alphaBlend;
  for (int bits : kAllDepths) {
    Pixel pixel(bits, false);
    for (KXPixelMixer* mixer :
         {static_cast<KXPixelMixer*>(&blend), static_cast<KXPixelMixer*>(&alphaBlend)}) {
      mixer->Do8Bit(pixel, 255);
      mixer->Do32Bit(pixel, kColor, 255);
      mixer->Do64Bit(pixel, kColor64, 65535);
      mixer->Do64Bit(nullptr, kColor64, 65535);
    }
    EXPECT_EQ(pixel->GetBlockExist(0), 0);
  }
}

TEST(PixelMixer, GradationRampsAroundItsCentre) {
  BYTE table[] = {250, 180, 120, 60, 33};
  ImagePtr image = MakeImage(8, 40, 40);
  KXVOffscreenAutoLock lock(image.get(), 1);
  KXPixelMixerGradation ramp;
  ramp.Do8Bit(image.get(), 200);  // no table yet
  EXPECT_EQ(image->Get8BitColor(), 0);
  ramp.RefColorTable(table, 5);
  for (int radius : {0, 1, 7, 12}) {
    ramp.SetMapInfo({20, 15}, radius);
    for (int i = 0; i < 1600; ++i) {
      const int x = i % 40, y = i / 40;
      const int distance = static_cast<int>(std::hypot(x - 20, y - 15));
      const int entry =
          distance >= radius && distance > 0
              ? 4
              : std::min(4, static_cast<int>(5.0 * distance / std::max(radius, 1) + 0.5));
      const int value = table[entry] * 200 / 255;
      image->MoveCursor(x, y);
      image->Set8BitColor(static_cast<BYTE>(i % 2 ? 0 : 100));
      ramp.Do8Bit(image.get(), 200);
      ASSERT_EQ(image->Get8BitColor(), std::max(value, i % 2 ? 0 : 100)) << x << " " << y;
    }
  }
}

class Gaussian : public KXPixelMixerGaussian {
 public:
  using KXPixelMixerGaussian::GetGaussValue;
};

class Recorder : public KXPixelMixer {
 public:
  void Do8Bit(KXVOffscreen*, BYTE value) override { last = value; }
  void Do32Bit(KXVOffscreen*, DWORD, BYTE weight) override { last = weight; }
  void Do64Bit(KXVOffscreen*, u64, WORD weight) override { last = weight; }
  DWORD last = 99999;
};

TEST(PixelMixer, GaussianWeighsByDistance) {
  DWORD table[49];
  for (int i = 0; i < 49; ++i) {
    table[i] = static_cast<DWORD>(std::exp(-i * i / (2.0 * 16 * 16)) * 4096.0);
  }
  ASSERT_EQ(table[3], 4024u);
  ASSERT_EQ(table[48], 45u);
  Gaussian gaussian;
  EXPECT_EQ(gaussian.GetGaussValue(5, 5, 77), 77u);  // no baseup, no change
  gaussian.SetBaseup(60);
  EXPECT_EQ(gaussian.GetGaussValue(5, 5, 77), 0u);  // and no table
  gaussian.CreateGaussTbl(16);
  gaussian.CreateGaussTbl(3);  // stays as it is
  for (const KXSize size : {KXSize(31, 20), KXSize(6, 9), KXSize(0, 1)}) {
    const int w = std::max<int>(size.cx, 1), h = std::max<int>(size.cy, 1);
    gaussian.SetMapInfo({50, -20}, size.cx, size.cy);
    const float scale = std::min(1.0f, static_cast<float>(std::max(w, h)) / 16);
    for (int dy = -20; dy <= 20; ++dy) {
      for (int dx = -20; dx <= 20; ++dx) {
        const int ix = 48 * std::max(2 * std::abs(dx) - 1, 0) / w;
        const int iy = 48 * std::max(2 * std::abs(dy) - 1, 0) / h;
        DWORD expected = 0;
        if (ix <= 48 && iy <= 48) {
          const DWORD g = (table[iy] * table[ix] >> 12) * 127;
          expected = std::min((static_cast<DWORD>(float(g) * scale) >> 12) * 200 / 60, 200u);
        }
        ASSERT_EQ(gaussian.GetGaussValue(50 + dx, -20 + dy, 200), expected) << dx << " " << dy;
      }
    }
  }
  EXPECT_EQ(gaussian.GetGaussValue(INT32_MIN, INT32_MAX, 200), 0u);
}

TEST(PixelMixer, GaussianPassesOnAndSharesItsTable) {
  Pixel pixel(32);
  Recorder next;
  Gaussian copy;
  DWORD weight = 0;
  {
    Gaussian gaussian;
    gaussian.CreateGaussTbl(16);
    gaussian.SetBaseup(127);
    gaussian.SetMapInfo({4, 4}, 16, 16);
    gaussian.SetNext(&next);
    weight = gaussian.GetGaussValue(1, 2, 200);
    copy = gaussian;
    gaussian.DestroyGaussTbl();
    EXPECT_EQ(gaussian.GetGaussValue(1, 2, 200), 0u);
  }
  EXPECT_GT(weight, 0u);
  EXPECT_LT(weight, 200u);
  copy.Do8Bit(pixel, 200);
  EXPECT_EQ(next.last, weight);
  copy.Do32Bit(pixel, kColor, 200);
  EXPECT_EQ(next.last, weight);
  copy.Do64Bit(pixel, kColor64, 60000);
  EXPECT_EQ(next.last, copy.GetGaussValue(1, 2, 60000));
  copy.SetNext(nullptr);
  copy.Do32Bit(pixel, kColor, 1);  // no Gaussian at all here
  EXPECT_EQ(pixel->Get32BitColor(), kColor);
}

}  // namespace
