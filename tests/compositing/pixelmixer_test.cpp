#include "kxwcmn/compositing/pixelmixer.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstring>

#include "kxwcmn/compositing/voffpixelmixer.h"
#include "kxwcmn/core/geometry.h"
#include "kxwcmn/offscreen/autolock.h"
#include "kxwcmn/offscreen/detail/depths.h"
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

// The rules in the plainest arithmetic, 64 bits and real divisions, on red, green, blue, alpha,
// each up to `full`.
enum Kind { kReplace, kBlend, kWeight, kDark, kLight, kAdd, kAlphaCopy, kAlphaBlend, kAlphaWeight };
using Channels = std::array<i64, 4>;

Channels Split(u64 color, i64 full) {
  Channels channels;
  for (i64& channel : channels) {
    channel = static_cast<i64>(color % static_cast<u64>(full + 1));
    color /= static_cast<u64>(full + 1);
  }
  return channels;
}

u64 Density(Kind kind, u64 d, u64 v) {
  if (kind == kBlend || kind == kAlphaBlend) return d + (255 - d) * v / 255;
  if (kind == kDark) return std::max(d, v);
  if (kind == kLight) return std::min(d, v);
  return kind == kAdd ? std::min<u64>(255, d + v) : v;
}

Channels Blend(const Channels& p, const Channels& s, i64 full) {
  const i64 a = s[3], ia = full - a, pa = p[3];
  if (a == 0) return p;
  if (pa == 0 || a == full) return s;
  Channels r;
  const double x = double(pa * ia) * 0.00392156862745098, y = x + double(a);
  r[3] = full > 255   ? full - (full - pa) * ia / full
         : pa == full ? full
                      : std::min<i64>(255, i64(std::trunc(y + 0.5)));
  for (std::size_t i = 0; i < 3; ++i) {
    const i64 ink = (full - s[i]) * a;
    if (full > 255) {
      r[i] = full - ((full - p[i]) * (pa * ia / full) + ink) / r[3];
    } else if (pa == full) {
      r[i] = full - ((full - p[i]) * ia + ink) / full;
    } else {
      const double sum = double(full - p[i]) * x + double(ink);
      r[i] = std::max<i64>(0, 255 - i64(std::trunc(sum * (1.0 / y) + 0.5)));
    }
  }
  return r;
}

// A product wrapped to 32 unsigned bits, divided, added and cut to the channel's width.
i64 Wrapped(i64 p, i64 s, i64 w, i64 full) {
  return (p + ((s - p) * w & 0xFFFFFFFF) / full) % (full + 1);
}

Channels Colors(Kind kind, Channels p, const Channels& s, i64 w, i64 full) {
  const i64 v = s[0] * s[3] / full;
  switch (kind) {
    case kBlend:
      return Blend(p, s, full);
    case kWeight:
      if (w == full) return s;
      for (std::size_t i = 0; i < 4; ++i) {
        p[i] = full == 255 ? p[i] + (s[i] - p[i]) * w / full : Wrapped(p[i], s[i], w, full);
      }
      return p;
    case kDark:
      return p[3] < s[3] ? s : p;
    case kLight:
      return p[3] > s[3] ? s : p;
    case kAlphaCopy:
      p[3] = v;
      return p;
    case kAlphaBlend:
      if (s[0] * s[3] > 0) p[3] = full - (full - p[3]) * (full - v) / full;
      return p;
    case kAlphaWeight:
      p[3] = Wrapped(p[3], s[3], w, full);
      return p;
    default:
      return s;
  }
}

// A channel of `bits`, half of the time near an end, where the special cases and carries are.
u64 AnyChannel(Random& random, int bits) {
  const int full = (1 << bits) - 1, ends[] = {0, 1, full - 1, full};
  return static_cast<u64>(random.OneIn(2) ? random.Int(0, full) : ends[random.Int(0, 3)]);
}
u64 AnyColor(Random& random, int bits, u64 alpha) {
  for (int i = 0; i < 3; ++i) alpha = alpha << bits | AnyChannel(random, bits);
  return alpha;
}

// Every pair of densities and of 8-bit alphas, pixel by pixel and as the rows of a source.
template <class Depth>
void ExpectLays(Kind kind, KXPixelMixer& mixer) {
  constexpr int kBits = Depth::kBits, kChannel = kBits == 64 ? 16 : 8;
  constexpr i64 kFull = (1 << kChannel) - 1;
  ImagePtr plain = MakeImage(kBits, 256, 1), rows = MakeImage(kBits, 256, 1),
           source = MakeImage(kBits, 256, 1);
  const KXVOffscreenAutoLock lock(plain.get(), 0, 0, 1), lock2(rows.get(), 0, 0, 1),
      lock3(source.get(), 0, 0, 1);
  const auto at = [](const ImagePtr& image, int x) {
    image->MoveCursor(x, 0);
    return image->GetCurrentAddress();
  };
  KXVOffPixelMixer laying;
  laying.SetDstOffscreen(rows.get());
  laying.SetNode(&mixer);
  laying.SetSrcOffscreen(source.get(), {0, 0});
  Random random(7);
  for (int d = 0; d < 256; ++d) {
    SCOPED_TRACE(testing::Message() << "mixer " << kind << ", " << kBits << " bits over " << d);
    u64 pixels[256], colors[256];
    for (int x = 0; x < 256; ++x) {
      const auto any = [&](int alpha) {
        if (kBits == 8) return static_cast<u64>(alpha);
        return AnyColor(random, kChannel, kBits == 32 ? u64(alpha) : AnyChannel(random, 16));
      };
      pixels[x] = any(d), colors[x] = any(x);
      // A density that floats find a hair above a half.
      if (kBits == 32 && d == 0x3E && x == 0x49) pixels[x] = 0x3ED0D0D0, colors[x] = 0x49000000;
      Depth::Store(at(plain, x), 0, static_cast<typename Depth::Pixel>(pixels[x]));
      Depth::Store(at(source, x), 0, static_cast<typename Depth::Pixel>(colors[x]));
    }
    std::memcpy(at(rows, 0), at(plain, 0), 32 * kBits);
    const u64 w = AnyChannel(random, kChannel);
    laying.SetColor(KXComplexColor(64, w << (64 - kChannel)));
    laying.RelativeSrcCursor(0, 0);
    rows->FillLineRowForPolygon(0, 255, &laying, nullptr, nullptr);
    for (int x = 0; x < 256; ++x) {
      const u64 p = pixels[x], c = colors[x];
      at(plain, x);
      if (kBits == 8) mixer.Do8Bit(plain.get(), BYTE(c));
      if (kBits == 32) mixer.Do32Bit(plain.get(), DWORD(c), BYTE(w));
      if (kBits == 64) mixer.Do64Bit(plain.get(), c, WORD(w));
      const u64 laid = Depth::Load(at(plain, x), 0);
      if (kBits == 8) {
        ASSERT_EQ(laid, Density(kind, p, c));
      } else {
        ASSERT_EQ(Split(laid, kFull),
                  Colors(kind, Split(p, kFull), Split(c, kFull), i64(w), kFull));
      }
    }
    ASSERT_EQ(std::memcmp(at(rows, 0), at(plain, 0), 32 * kBits), 0);
  }
}

TEST(PixelMixer, EachLaysItsRule) {
  KXPixelMixer replace;
  KXPixelMixerBlend blend;
  KXPixelMixerWeightCopy weight;
  KXPixelMixerCompDark dark;
  KXPixelMixerCompLight light;
  KXPixelMixerAdd add;
  KXPixelMixerAlphaCopy alphaCopy;
  KXPixelMixerAlphaBlend alphaBlend;
  KXPixelMixerAlphaWeightCopy alphaWeight;
  KXPixelMixer* const mixers[] = {&replace, &blend,     &weight,     &dark,       &light,
                                  &add,     &alphaCopy, &alphaBlend, &alphaWeight};
  for (int kind = kReplace; kind <= kAlphaWeight; ++kind) {
    KXPixelMixer& mixer = *mixers[kind];
    ExpectLays<kxw::Depth8>(Kind(kind), mixer);
    ExpectLays<kxw::Depth32>(Kind(kind), mixer);
    ExpectLays<kxw::Depth64>(Kind(kind), mixer);
    Pixel narrow(32), wide(64);
    mixer.Do24Bit(narrow, kColor);
    EXPECT_EQ(narrow->Get32BitColor(), kColor | 0xFF000000);
    mixer.Do48Bit(wide, kColor64, 7777);
    EXPECT_EQ(wide->Get64BitColor(), kColor64 | 0xFFFF000000000000);
  }
  EXPECT_EQ(Wrapped(255, 0, 255, 255), 1);  // not 0: the wrapped product is meant
  EXPECT_EQ(Wrapped(65535, 0, 32768, 65535), 32768);
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
    for (KXPixelMixer* mixer : std::initializer_list<KXPixelMixer*>{&blend, &alphaBlend}) {
      for (KXVOffscreen* offscreen : std::initializer_list<KXVOffscreen*>{pixel, nullptr}) {
        mixer->Do8Bit(offscreen, 255);
        mixer->Do32Bit(offscreen, kColor, 255);
        mixer->Do64Bit(offscreen, kColor64, 65535);
      }
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
      const double part = distance == 0 ? 0 : std::min(1.0, double(distance) / radius);
      const int value = table[std::min(4, static_cast<int>(5 * part + 0.5))] * 200 / 255;
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
  for (int i = 0; i < 49; ++i) table[i] = DWORD(std::exp(-i * i / 512.0) * 4096);
  ASSERT_TRUE(table[3] == 4024 && table[48] == 45);
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
    for (int i = 0; i < 41 * 41; ++i) {
      const int dx = i % 41 - 20, dy = i / 41 - 20;
      const int ix = 48 * std::max(2 * std::abs(dx) - 1, 0) / w;
      const int iy = 48 * std::max(2 * std::abs(dy) - 1, 0) / h;
      const bool isInside = ix <= 48 && iy <= 48;
      const DWORD g = isInside ? (table[iy] * table[ix] >> 12) * 127 : 0;
      const DWORD expected = std::min((DWORD(float(g) * scale) >> 12) * 200 / 60, 200u);
      ASSERT_EQ(gaussian.GetGaussValue(50 + dx, -20 + dy, 200), expected) << dx << " " << dy;
    }
  }
  EXPECT_EQ(gaussian.GetGaussValue(INT32_MIN, INT32_MAX, 200), 0u);
}

TEST(PixelMixer, GaussianPassesOnAndSharesItsTable) {
  Pixel pixel(32);
  Recorder next;
  Gaussian copy;
  {
    Gaussian gaussian;
    gaussian.CreateGaussTbl(16);
    gaussian.SetBaseup(127);
    gaussian.SetMapInfo({4, 4}, 16, 16);
    gaussian.SetNext(&next);
    copy = gaussian;
    gaussian.DestroyGaussTbl();
    EXPECT_EQ(gaussian.GetGaussValue(1, 2, 200), 0u);
  }
  const DWORD weight = copy.GetGaussValue(1, 2, 200);
  EXPECT_TRUE(weight > 0 && weight < 200);
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
