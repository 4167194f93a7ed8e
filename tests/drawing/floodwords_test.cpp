#include <gtest/gtest.h>

#include "kxwcmn/drawing/detail/floodtests.h"
#include "tests/drawing/drawing_support.h"

// What a fill asks of 64 pixels at once against the same questions pixel by pixel.

namespace {

using namespace testing_kxw;
using namespace kxw::flood;

template <class Depth>
typename Depth::Pixel AnyPixel(Random& random) {
  BYTE bytes[8];
  const u64 word = random.OneIn(2) ? AnyColor(random) : random.Bits();
  std::memcpy(bytes, &word, sizeof bytes);
  return Depth::Load(bytes, 0);
}

/// A pixel a step or two from another one, in some channels.
template <class Depth>
typename Depth::Pixel NearPixel(typename Depth::Pixel pixel, Random& random) {
  BYTE bytes[8] = {};
  Depth::Store(bytes, 0, pixel);
  for (BYTE& byte : bytes) byte = BYTE(byte + (random.OneIn(2) ? 0 : random.Int(-2, 2)));
  return Depth::Load(bytes, 0);
}

/// Asks about parts of a row of pixels like `pixel`, near it or not.
template <class Depth, class Tests>
void ExpectAnswers(const Tests& tests, typename Depth::Pixel pixel, Random& random) {
  constexpr int kBytes = Depth::kBits / 8;
  BYTE row[256 * kBytes];
  const int kind = random.Int(1, 3);
  for (int x = 0; x < 256; ++x) {
    const auto other = random.OneIn(2) ? NearPixel<Depth>(pixel, random) : AnyPixel<Depth>(random);
    Depth::Store(row + x * kBytes, 0, random.OneIn(1 + 3 * kind) ? other : pixel);
  }
  const DepthRowTest<Depth, Tests> test(tests);
  for (int i = 0; i < 4; ++i) {
    const int column = random.OneIn(3) ? 0 : random.Int(0, 255);
    const int count = random.OneIn(3) ? 256 - column : random.Int(1, 256 - column);
    const int at = random.Int(0, 256 - count);
    u64 bits[2][4] = {}, expected[2][4] = {};
    test.Ask(row, column, count, bits[0], bits[1], at);
    for (int k = 0; k < count; ++k) {
      const auto p = Depth::Load(row + (column + k) * kBytes, 0);
      if (tests.First(p)) expected[0][(at + k) / 64] |= kFirstBit >> (at + k) % 64;
      if (tests.Second(p)) expected[1][(at + k) / 64] |= kFirstBit >> (at + k) % 64;
    }
    ASSERT_EQ(std::memcmp(bits, expected, sizeof bits), 0) << column << ", " << count << ", " << at;
  }
}

template <class Variant, class Depth>
void ExpectAnswersOf(const char* name) {
  using Left = typename Variant::ReadLeft;
  using Right = typename Variant::ReadRight;
  for (unsigned seed = 0; seed < 120; ++seed) {
    SCOPED_TRACE(testing::Message() << name << ", seed " << seed);
    Random random(seed);
    const auto pixel = AnyPixel<Depth>(random);
    const int margins[] = {0, 1, 2, 255, 65535, -1};
    const auto base = Variant::Ref::template To<Depth>(pixel);
    ExpectAnswers<Depth>(MatchTests<Variant, Depth>(base, margins[random.Int(0, 5)]), pixel,
                         random);
    // A fill value as the pixel stands, or as it reads.
    const auto fill =
        random.OneIn(3) ? Left::template To<Depth>(pixel) : Right::template To<Depth>(pixel);
    ExpectAnswers<Depth>(UnfilledTests<Left, Right, Depth>(fill, true, true), pixel, random);
  }
}

TEST(FloodFill, AsksWordsAsItAsksPixels) {
  ExpectAnswersOf<From8, kxw::Depth8>("8 bits");
  ExpectAnswersOf<From8Exact, kxw::Depth8>("8 bits, exact");
  ExpectAnswersOf<From16, kxw::Depth16>("16 bits");
  ExpectAnswersOf<From16Exact, kxw::Depth16>("16 bits, exact");
  ExpectAnswersOf<FromGeneric, kxw::Depth24>("24 bits");
  ExpectAnswersOf<From32, kxw::Depth32>("32 bits");
  ExpectAnswersOf<From32Exact, kxw::Depth32>("32 bits, exact");
  ExpectAnswersOf<From64, kxw::Depth64>("64 bits");
  ExpectAnswersOf<From64Exact, kxw::Depth64>("64 bits, exact");
  ExpectAnswersOf<From8, kxw::Depth32>("8 bits of 32");
}

// The plain form is that of processors without vectors.
template <class Depth>
void ExpectBounds() {
  for (unsigned seed = 0; seed < 300; ++seed) {
    Random random(seed);
    constexpr int kBytes = Depth::kBits / 8;
    BYTE row[64 * kBytes], low[8], high[8];
    const auto pixel = AnyPixel<Depth>(random), other = NearPixel<Depth>(pixel, random);
    Depth::Store(low, 0, pixel);
    Depth::Store(high, 0, other);
    const auto order = [&](auto channel) {
      for (std::size_t i = 0; i < kBytes; i += sizeof channel) {
        decltype(channel) a, b;
        std::memcpy(&a, low + i, sizeof a);
        std::memcpy(&b, high + i, sizeof b);
        if (a <= b) continue;
        std::memcpy(low + i, &b, sizeof b);
        std::memcpy(high + i, &a, sizeof a);
      }
    };
    Depth::kBits == 64 ? order(WORD()) : order(BYTE());
    ChannelBounds<Depth> bounds;
    bounds.Set(Depth::Load(low, 0), Depth::Load(high, 0));
    const bool isNear = random.OneIn(3);
    for (int x = 0; x < 64; ++x) {
      Depth::Store(row + x * kBytes, 0, isNear ? pixel : NearPixel<Depth>(pixel, random));
    }
    const u64 plain = bounds.AskPlainly(row);
    ASSERT_EQ(bounds.AskWord(row), plain) << Depth::kBits << " bits, seed " << seed;
    ASSERT_EQ(bounds.AreAllInside(row), plain == ~u64{0});
  }
}

TEST(FloodFill, BoundsAreTheSameWithoutVectors) {
  ExpectBounds<kxw::Depth8>();
  ExpectBounds<kxw::Depth16>();
  ExpectBounds<kxw::Depth24>();
  ExpectBounds<kxw::Depth32>();
  ExpectBounds<kxw::Depth64>();
}

}  // namespace
