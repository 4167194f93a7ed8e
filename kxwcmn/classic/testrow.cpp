#include "kxwcmn/classic/testrow_internal.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "kxwcmn/classic/rows_internal.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace kxw {

namespace {

/// The pixels from `x`, a multiple of 8, on.
template <class Depth>
void TestPixels(BYTE* to, const BYTE* from, int x, int width, const PixelTest& test) {
  for (; x < width; x += 8) {
    const int count = std::min(8, width - x);
    unsigned bits = 0;
    for (int i = 0; i < count; ++i) {
      bits |= test.Passes(LoadPixel<Depth>(from, x + i)) ? 0x80u >> i : 0;
    }
    const unsigned kept = 0xFFu >> count;
    to[x / 8] = static_cast<BYTE>((to[x / 8] & kept) | bits);
  }
}

template <class Depth>
void TestRowPlainly(BYTE* to, const BYTE* from, int width, const PixelTest& test) {
  TestPixels<Depth>(to, from, 0, width, test);
}

#if defined(__SSE2__)

__m128i Spread(DWORD word) { return _mm_set1_epi32(static_cast<int>(word)); }

__m128i LoadWords(const BYTE* at) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(at)); }

/// Whether the words of four pixels are equal in each, all ones or all zeros.
__m128i AreEqual(__m128i words, __m128i used, __m128i value) {
  return _mm_cmpeq_epi32(_mm_and_si128(words, used), value);
}

/// Sixteen pixels in a byte each, all ones where they are equal.
__m128i EqualPixels(Classic8, const BYTE* at, __m128i used, __m128i value) {
  return _mm_cmpeq_epi8(_mm_and_si128(LoadWords(at), used), value);
}
template <class Depth>
__m128i EqualPixels(Depth, const BYTE* at, __m128i used, __m128i value) {
  const auto four = [=](int i) {
    if constexpr (Depth::kBits == 32) return AreEqual(LoadWords(at + i * 16), used, value);
    // The byte behind each pixel comes along.
    const auto word = [=](int byte) {
      int bytes;
      std::memcpy(&bytes, at + i * 12 + byte, sizeof bytes);
      return bytes;
    };
    return AreEqual(_mm_setr_epi32(word(0), word(3), word(6), word(9)), used, value);
  };
  return _mm_packs_epi16(_mm_packs_epi32(four(0), four(1)), _mm_packs_epi32(four(2), four(3)));
}

/// The test in terms of words as they stand in memory, repeated to 32 bits.
template <class Depth>
DWORD WordOf(DWORD pixel) {
  if constexpr (Depth::kBits == 8) return pixel * 0x01010101;
  return Depth::kBits == 32 ? std::rotl(pixel, 8) : pixel;
}

/// Groups of sixteen pixels from `x` on, as many as there are before `end`, which a pixel follows.
/// Returns the column behind them.
template <class Depth>
int TestGroups(BYTE* to, const BYTE* from, int x, int end, const PixelTest& test) {
  const __m128i used = Spread(WordOf<Depth>(test.used)), value = Spread(WordOf<Depth>(test.value));
  const int inverted = test.wantsEqual ? 0 : 0xFFFF;
  for (; x + 16 <= end; x += 16) {
    __m128i equal = EqualPixels(Depth{}, from + PixelByte<Depth>(x), used, value);
    // Turned round in each eight bytes: the first byte gives the lowest bit, but is to be the
    // highest.
    equal = _mm_or_si128(_mm_slli_epi16(equal, 8), _mm_srli_epi16(equal, 8));
    equal = _mm_shufflehi_epi16(_mm_shufflelo_epi16(equal, 0x1B), 0x1B);
    const int bits = _mm_movemask_epi8(equal) ^ inverted;
    to[x / 8] = static_cast<BYTE>(bits);
    to[x / 8 + 1] = static_cast<BYTE>(bits >> 8);
  }
  return x;
}

#else

template <class Depth>
int TestGroups(BYTE*, const BYTE*, int x, int, const PixelTest&) {
  return x;
}

#endif

template <class Depth>
void TestRow(BYTE* to, const BYTE* from, int width, const PixelTest& test) {
  // Where pixels are equal, as most are in a drawing, one stands for all of them.
  constexpr int kLongRun = 1024, kRun = 128;
  const auto isRun = [=](int x, int count) {
    const BYTE* const at = from + PixelByte<Depth>(x);
    return count <= width - x &&
           std::memcmp(at, at + PixelByte<Depth>(1),
                       static_cast<std::size_t>(PixelByte<Depth>(count - 1))) == 0;
  };
  for (int x = 0, end; x < width; x = end) {
    const bool isLong = x % kLongRun == 0 && isRun(x, kLongRun);
    end = std::min(x + (isLong ? kLongRun : kRun), width);
    if (isLong || isRun(x, kRun)) {
      std::memset(to + x / 8, test.Passes(LoadPixel<Depth>(from, x)) ? 0xFF : 0,
                  static_cast<std::size_t>(end - x) / 8);
    } else {
      const int tested = TestGroups<Depth>(to, from, x, std::min(end, width - 1), test);
      TestPixels<Depth>(to, from, tested, end, test);
    }
  }
}

/// At 1 bit each of the two values becomes 0 or 1, a byte of pixels at a time.
template <>
void TestRow<Classic1>(BYTE* to, const BYTE* from, int width, const PixelTest& test) {
  const int ones = test.Passes(1) ? 0xFF : 0, zeros = test.Passes(0) ? 0xFF : 0;
  for (int i = 0; i < width / 8; ++i) {
    to[i] = static_cast<BYTE>((from[i] & ones) | (~from[i] & zeros));
  }
  TestPixels<Classic1>(to, from, width & ~7, width, test);
}

}  // namespace

TestRowFunc FindTestRow(int bitCount) {
  return WithClassicDepth(bitCount,
                          [](auto depth) -> TestRowFunc { return TestRow<decltype(depth)>; });
}

TestRowFunc FindPlainTestRow(int bitCount) {
  return WithClassicDepth(
      bitCount, [](auto depth) -> TestRowFunc { return TestRowPlainly<decltype(depth)>; });
}

}  // namespace kxw
