#pragma once

#include <cstring>
#include <type_traits>

#include "kxwcmn/offscreen/detail/depths.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

/// 64 pixels of a row become the 64 bits of a word, the leftmost pixel's the highest.
namespace kxw::flood {

inline constexpr int kWordBits = 64;
inline constexpr u64 kFirstBit = u64{1} << 63;

template <class T>
inline T LoadRaw(const BYTE* at) {
  T value;
  std::memcpy(&value, at, sizeof value);
  return value;
}

/// 64 answers of 0 or 1 as bits.
inline u64 PackAnswers(const BYTE* answers) {
  // The product brings the eight answers of a word together in its highest byte.
  u64 word = 0;
  for (int i = 0; i < kWordBits; i += 8) {
    word = word << 8 | LoadRaw<u64>(answers + i) * 0x8040201008040201 >> 56;
  }
  return word;
}

/// The bits of a word from right to left.
constexpr u64 Mirrored(u64 word) {
  word = (word >> 1 & 0x5555555555555555) | (word & 0x5555555555555555) << 1;
  word = (word >> 2 & 0x3333333333333333) | (word & 0x3333333333333333) << 2;
  word = (word >> 4 & 0x0F0F0F0F0F0F0F0F) | (word & 0x0F0F0F0F0F0F0F0F) << 4;
  word = (word >> 8 & 0x00FF00FF00FF00FF) | (word & 0x00FF00FF00FF00FF) << 8;
  word = (word >> 16 & 0x0000FFFF0000FFFF) | (word & 0x0000FFFF0000FFFF) << 16;
  return word >> 32 | word << 32;
}

/// Of 48 bits, the lowest and every third one behind it, closed up in the lowest 16.
constexpr u64 EveryThird(u64 bits) {
  bits &= 0x249249249249;
  bits = (bits | bits >> 2) & 0x0C30C30C30C3;
  bits = (bits | bits >> 4) & 0x00F00F00F00F;
  bits = (bits | bits >> 8) & 0x0000FF0000FF;
  return (bits | bits >> 16) & 0xFFFF;
}

/// The lowest and the highest value of each channel of a pixel of 8 bits and more.
template <class Depth>
class ChannelBounds {
 public:
  using Pixel = typename Depth::Pixel;

  /// Both are inclusive, and `low` is nowhere above `high`.
  void Set(Pixel low, Pixel high) {
    BYTE lows[sizeof low_], highs[sizeof low_];
    for (int i = 0; i < static_cast<int>(sizeof low_) / kBytes; ++i) {
      Depth::Store(lows + i * kBytes, 0, low);
      Depth::Store(highs + i * kBytes, 0, high);
    }
    std::memcpy(low_, lows, sizeof low_);
    std::memcpy(width_, highs, sizeof width_);
    for (int i = 0; i < kLength; ++i) width_[i] = static_cast<Channel>(width_[i] - low_[i]);
  }

  /// A bit for each of the 64 pixels at `at`: whether all its channels are in the bounds.
  u64 AskWord(const BYTE* at) const {
#if defined(__SSE2__)
    return AskVectors(at);
#else
    return AskPlainly(at);
#endif
  }

  /// Whether all 64 pixels at `at` are in the bounds, at less cost.
  bool AreAllInside(const BYTE* at) const {
#if defined(__SSE2__)
    __m128i outside = _mm_setzero_si128();
    for (int i = 0; i < 4 * kBytes; ++i) outside = _mm_or_si128(outside, Outside(at, i));
    return _mm_movemask_epi8(_mm_cmpeq_epi8(outside, _mm_setzero_si128())) == 0xFFFF;
#else
    return ~AskPlainly(at) == 0;
#endif
  }

  /// The same as `AskWord` without vectors.
  u64 AskPlainly(const BYTE* at) const {
    BYTE answers[kWordBits];
    for (int i = 0; i < kWordBits; ++i) {
      bool isInside = true;
      for (int c = 0; c < kBytes / kChannelBytes; ++c, at += kChannelBytes) {
        isInside &= static_cast<Channel>(LoadRaw<Channel>(at) - low_[c]) <= width_[c];
      }
      answers[i] = isInside;
    }
    return PackAnswers(answers);
  }

 private:
  using Channel = std::conditional_t<Depth::kBits == 64, WORD, BYTE>;
  static constexpr int kBytes = Depth::kBits / 8;
  static constexpr int kChannelBytes = static_cast<int>(sizeof(Channel));
  /// Whole pixels, and whole vectors, of channels.
  static constexpr int kLength = (kBytes == 3 ? 48 : 16) / kChannelBytes;

#if defined(__SSE2__)
  static constexpr int kVector = 16;

  /// The channels of vector number `i` at `at`: 0 for those in the bounds.
  __m128i Outside(const BYTE* at, int i) const {
    const auto load = [](const void* from, int index) {
      return _mm_loadu_si128(static_cast<const __m128i*>(from) + index);
    };
    constexpr int kVectors = static_cast<int>(sizeof low_) / kVector;
    const __m128i channels = load(at, i), low = load(low_, i % kVectors);
    const __m128i width = load(width_, i % kVectors);
    if constexpr (kChannelBytes == 2) {
      return _mm_subs_epu16(_mm_sub_epi16(channels, low), width);
    } else {
      return _mm_subs_epu8(_mm_sub_epi8(channels, low), width);
    }
  }

  /// The bits of the 16 pixels at `at`, the first lowest.
  u64 AskSixteen(const BYTE* at) const {
    const __m128i zero = _mm_setzero_si128();
    const auto bits = [](__m128i bytes) {
      return static_cast<u64>(static_cast<DWORD>(_mm_movemask_epi8(bytes)));
    };
    if constexpr (kBytes == 1) {
      return bits(_mm_cmpeq_epi8(Outside(at, 0), zero));
    } else if constexpr (kBytes == 2) {
      const __m128i a = _mm_cmpeq_epi16(Outside(at, 0), zero);
      const __m128i b = _mm_cmpeq_epi16(Outside(at, 1), zero);
      return bits(_mm_packs_epi16(a, b));
    } else if constexpr (kBytes == 3) {
      const auto channels = [&](int i) { return bits(_mm_cmpeq_epi8(Outside(at, i), zero)); };
      const u64 inside = channels(0) | channels(1) << 16 | channels(2) << 32;
      return EveryThird(inside & inside >> 1 & inside >> 2);
    } else if constexpr (kBytes == 4) {
      const auto pixels = [&](int i) { return _mm_cmpeq_epi32(Outside(at, i), zero); };
      return bits(_mm_packs_epi16(_mm_packs_epi32(pixels(0), pixels(1)),
                                  _mm_packs_epi32(pixels(2), pixels(3))));
    } else {
      // The halves of two vectors' pixels, put beside each other.
      const auto four = [&](int i) {
        const __m128 a = _mm_castsi128_ps(_mm_cmpeq_epi32(Outside(at, i), zero));
        const __m128 b = _mm_castsi128_ps(_mm_cmpeq_epi32(Outside(at, i + 1), zero));
        return _mm_castps_si128(_mm_and_ps(_mm_shuffle_ps(a, b, _MM_SHUFFLE(2, 0, 2, 0)),
                                           _mm_shuffle_ps(a, b, _MM_SHUFFLE(3, 1, 3, 1))));
      };
      return bits(
          _mm_packs_epi16(_mm_packs_epi32(four(0), four(2)), _mm_packs_epi32(four(4), four(6))));
    }
  }

  u64 AskVectors(const BYTE* at) const {
    u64 word = 0;
    for (int i = 0; i < 4; ++i) word |= AskSixteen(at + i * 16 * kBytes) << i * 16;
    return Mirrored(word);
  }
#endif

  Channel low_[kLength] = {}, width_[kLength] = {};
};

}  // namespace kxw::flood
