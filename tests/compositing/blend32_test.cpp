#include "kxwcmn/compositing/blend32_internal.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "kxwcmn/platform/vectorize_internal.h"

// The blend over runs, in every form, against the rule in whole numbers.

namespace {

using kxw::Vectors;

/// A channel of a colour of alpha `a` over one of alpha `pa`. Densities are complements.
DWORD Channel(DWORD p, DWORD c, DWORD pa, DWORD a) {
  const DWORD np = 255 - p, nc = 255 - c;
  if (a == 0) return p;
  if (pa == 0 || a == 255) return c;
  if (pa == 255) return 255 - (np * (255 - a) + nc * a) / 255;
  // Rounded, and where that is neither up nor down, as doubles do it.
  const DWORD under = pa * (255 - a), over = 255 * a, whole = under + over;
  const DWORD twice = 2 * (np * under + nc * over);
  if (twice % whole == 0 && twice / whole % 2 == 1) {
    const double x = under * 0.00392156862745098, y = x + a;
    return 255 - static_cast<DWORD>((np * x + nc * int(a)) * (1.0 / y) + 0.5);
  }
  return 255 - (twice + whole) / (2 * whole);
}

DWORD Blended(DWORD p, DWORD c) {
  const DWORD pa = p >> 24, a = c >> 24;
  DWORD result = (2 * (pa * (255 - a) + 255 * a) + 255) / 510 << 24;
  for (int shift = 0; shift < 24; shift += 8) {
    result |= Channel(p >> shift & 255, c >> shift & 255, pa, a) << shift;
  }
  return result;
}

class Blend32 : public testing::TestWithParam<Vectors> {
 protected:
  void SetUp() override { before_ = kxw::UseVectors(GetParam()); }
  void TearDown() override { kxw::UseVectors(before_); }

 private:
  Vectors before_ = Vectors::kBase;
};

INSTANTIATE_TEST_SUITE_P(Forms, Blend32, testing::Values(Vectors::kBase, Vectors::kAvx2));

// Every two alphas and every difference of channels, which between them settle a result: what is
// added to both channels is added to it.
TEST_P(Blend32, IsTheRuleForAllAlphasAndDifferences) {
  std::vector<DWORD> pixels, colors, expected;
  for (DWORD alphas = 0; alphas < 65536; ++alphas) {
    const DWORD pa = alphas >> 8, a = alphas & 255;
    pixels.clear(), colors.clear(), expected.clear();
    for (int d = -255; d <= 255; d += 3) {
      DWORD p = pa, c = a;
      for (int i = 2; i >= 0; --i) {
        const int step = std::min(d + i, 255), spare = 255 - std::abs(step);
        const int from = std::max(-step, 0) + int(alphas * 7 + DWORD(d + 300)) % (spare + 1);
        p = p << 8 | DWORD(from), c = c << 8 | DWORD(from + step);
      }
      pixels.push_back(p), colors.push_back(c), expected.push_back(Blended(p, c));
    }
    for (std::size_t at = 0, n; at < pixels.size(); at += n) {
      n = std::min<std::size_t>(64, pixels.size() - at);
      kxw::BlendAnyPixels32(&pixels[at], &colors[at], int(n));
    }
    ASSERT_EQ(pixels, expected) << "alphas " << pa << " and " << a;
  }
}

// Every alpha over every two channels; the three of a pixel differ.
TEST_P(Blend32, OverOpaqueIsTheRuleForAllAlphasAndChannels) {
  std::vector<DWORD> pixels(256 * 256), colors(pixels.size()), expected(pixels.size());
  for (DWORD a = 0; a < 256; ++a) {
    for (DWORD i = 0; i < pixels.size(); ++i) {
      const DWORD p = i & 255, c = i >> 8;
      pixels[i] = 0xFF000000 | p << 16 | (p ^ 85) << 8 | (255 - p);
      colors[i] = a << 24 | c << 16 | (c ^ 170) << 8 | (c ^ 15);
      expected[i] = Blended(pixels[i], colors[i]);
    }
    kxw::BlendRun32(pixels.data(), colors.data(), int(pixels.size()));
    ASSERT_EQ(pixels, expected) << "alpha " << a;
  }
}

// Stretches of one kind of pixel in random order, so that each is met whole and in part.
TEST_P(Blend32, RunsOfEveryKind) {
  std::mt19937 random(1);
  const auto scribble = [&](std::vector<DWORD>& words) {
    for (std::size_t i = 0, end = 0, kind = 0; i < words.size(); ++i) {
      if (i == end) end += random() % 150 + 1, kind = random() % 3;
      const DWORD word = DWORD(random());
      words[i] = kind == 0 ? word & 0xFFFFFF : kind == 1 ? word | 0xFF000000 : word;
    }
  };
  for (int round = 0; round < 200; ++round) {
    std::vector<DWORD> pixels(2000), colors(2000);
    scribble(pixels), scribble(colors);
    std::vector<DWORD> expected = pixels;
    const std::size_t from = random() % 70, end = random() % 4 ? 2000 - random() % 70 : from;
    for (std::size_t i = from; i < end; ++i) expected[i] = Blended(pixels[i], colors[i]);
    kxw::BlendRun32(&pixels[from], &colors[from], int(end - from));
    ASSERT_EQ(pixels, expected) << "round " << round;
  }
}

}  // namespace
