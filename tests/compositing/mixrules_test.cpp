#include "kxwcmn/compositing/mixrules_internal.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>

#include "tests/support/images.h"

namespace {

using namespace kxw;

// The rules in the plainest arithmetic, 64 bits and real divisions, on red, green, blue, alpha.
using Channels = std::array<i64, 4>;

Channels Split(u64 color, int bits) {
  Channels s;
  for (std::size_t i = 0; i < 4; ++i) {
    s[i] = static_cast<i64>(color >> (i * static_cast<unsigned>(bits)) & ((1ull << bits) - 1));
  }
  return s;
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
  const i64 product = (s - p) * w & 0xFFFFFFFF;
  return (p + product / full) % (full + 1);
}

// A channel, half of the time near an end, where the special cases and the carries are.
u64 Channel(testing_kxw::Random& random, int full) {
  if (random.OneIn(2)) return static_cast<u64>(random.Int(0, full));
  const int near[] = {0, 1, full - 1, full};
  return static_cast<u64>(near[random.Int(0, 3)]);
}
u64 Color(testing_kxw::Random& random, int bits) {
  u64 color = 0;
  for (int i = 0; i < 4; ++i) color = color << bits | Channel(random, (1 << bits) - 1);
  return color;
}

TEST(MixRules, BytesForEveryPair) {
  for (int d = 0; d < 256; ++d) {
    for (int v = 0; v < 256; ++v) {
      const auto mixed = [d, v](auto rule) {
        BYTE pixel = static_cast<BYTE>(d);
        rule.Mix8(pixel, static_cast<BYTE>(v));
        return pixel;
      };
      ASSERT_EQ(mixed(BlendRule()), d + (255 - d) * v / 255);
      ASSERT_EQ(mixed(CompDarkRule()), std::max(d, v));
      ASSERT_EQ(mixed(CompLightRule()), std::min(d, v));
      ASSERT_EQ(mixed(AddRule()), std::min(255, d + v));
    }
  }
}

TEST(MixRules, OpaqueBlendAndWeightsForEveryTriple) {
  for (int p = 0; p < 256; ++p) {
    for (int c = 0; c < 256; ++c) {
      for (int w = 0; w < 256; ++w) {
        const auto P = static_cast<BYTE>(p), C = static_cast<BYTE>(c), W = static_cast<BYTE>(w);
        QMCOLORREF blended = MakeColor(P, C, W, 255);  // three pairs of one triple
        BlendRule::Mix32(blended, MakeColor(C, W, P, W), 0);
        const int ia = 255 - w;
        ASSERT_EQ(Red(blended), 255 - ((255 - p) * ia + (255 - c) * w) / 255);
        ASSERT_EQ(Green(blended), 255 - ((255 - c) * ia + (255 - w) * w) / 255);
        ASSERT_EQ(Blue(blended), 255 - ((255 - w) * ia + (255 - p) * w) / 255);
        ASSERT_EQ(Alpha(blended), 255);
        ASSERT_EQ(kxw::detail::WeighSigned(p, c, w), p + (c - p) * w / 255);
        BYTE mask = P;
        AlphaWeightCopyRule::Mask8(mask, static_cast<DWORD>(c) << 24, W);
        ASSERT_EQ(mask, Wrapped(p, c, w, 255));
      }
    }
  }
  EXPECT_EQ(Wrapped(255, 0, 255, 255), 1);  // not 0: the wrapped product is meant
  EXPECT_EQ(Wrapped(65535, 0, 32768, 65535), 32768);
}

template <class Rule>
void ExpectKeepsOneOf(QMCOLORREF p, QMCOLORREF c, u64 p64, u64 c64, bool takes, bool takes64) {
  QMCOLORREF pixel = p;
  u64 pixel64 = p64;
  ASSERT_EQ(Rule::Mix32(pixel, c, 9), takes);
  ASSERT_EQ(Rule::Mix64(pixel64, c64, 9), takes64);
  ASSERT_EQ(pixel, takes ? c : p);
  ASSERT_EQ(pixel64, takes64 ? c64 : p64);
}

TEST(MixRules, ColoursEqualThePlainArithmetic) {
  testing_kxw::Random random(7);
  for (int i = 0; i < 100000; ++i) {
    const auto p = static_cast<DWORD>(Color(random, 8)), c = static_cast<DWORD>(Color(random, 8));
    const u64 p64 = Color(random, 16), c64 = Color(random, 16);
    const auto w = static_cast<BYTE>(Channel(random, 255));
    const auto w16 = static_cast<WORD>(Channel(random, 65535));
    const Channels from = Split(p, 8), to = Split(c, 8), from64 = Split(p64, 16),
                   to64 = Split(c64, 16);
    SCOPED_TRACE(testing::Message() << std::hex << p << " " << c << " " << p64 << " " << c64);
    DWORD blended = p, weighed = p;
    u64 blended64 = p64, weighed64 = p64;
    ASSERT_EQ(BlendRule::Mix32(blended, c, w), to[3] != 0);
    ASSERT_EQ(BlendRule::Mix64(blended64, c64, w16), to64[3] != 0);
    ASSERT_EQ(Split(blended, 8), Blend(from, to, 255));
    ASSERT_EQ(Split(blended64, 16), Blend(from64, to64, 65535));
    WeightCopyRule::Mix32(weighed, c, w);
    WeightCopyRule::Mix64(weighed64, c64, w16);
    for (std::size_t k = 0; k < 4; ++k) {
      ASSERT_EQ(Split(weighed, 8)[k], from[k] + (to[k] - from[k]) * w / 255);
      ASSERT_EQ(Split(weighed64, 16)[k],
                w16 == 65535 ? to64[k] : Wrapped(from64[k], to64[k], w16, 65535));
    }
    ExpectKeepsOneOf<CompDarkRule>(p, c, p64, c64, from[3] < to[3], from64[3] < to64[3]);
    ExpectKeepsOneOf<CompLightRule>(p, c, p64, c64, from[3] > to[3], from64[3] > to64[3]);

    BYTE copied = 0, joined = w;
    WORD copied64 = 0, joined64 = w16, moved64 = w16;
    const i64 v = to[0] * to[3] / 255, v64 = to64[0] * to64[3] / 65535;
    AlphaCopyRule::Mask8(copied, c, 0);
    AlphaCopyRule::Mask16(copied64, c64, 0);
    ASSERT_EQ(copied, v);
    ASSERT_EQ(copied64, v64);
    ASSERT_EQ(AlphaBlendRule::Mask8(joined, c, 0), to[0] * to[3] != 0);
    ASSERT_EQ(AlphaBlendRule::Mask16(joined64, c64, 0), to64[0] * to64[3] != 0);
    ASSERT_EQ(joined, 255 - (255 - w) * (255 - v) / 255);
    ASSERT_EQ(joined64, 65535 - (65535 - w16) * (65535 - v64) / 65535);
    AlphaWeightCopyRule::Mask16(moved64, c64, static_cast<WORD>(p64));
    ASSERT_EQ(moved64, Wrapped(w16, to64[3], from64[0], 65535));
  }
}

}  // namespace
