#include "kxwcmn/resample/detail/ratiorows.h"

#include <cstring>

#include "kxwcmn/offscreen/voffscreen.h"
#include "kxwcmn/platform/vectorize_internal.h"

namespace kxw {
namespace {

template <class Word>
using Raw KX_MAY_ALIAS = Word;

/// The sums of the rows' channels, one below the other.
template <int kRows, class Sum, class Channel>
inline void SumRows(Sum* sums, const BYTE* const* rows, int count) {
  const auto* a = reinterpret_cast<const Raw<Channel>*>(rows[0]);
  const auto* b = reinterpret_cast<const Raw<Channel>*>(rows[1]);
  if constexpr (kRows == 2) {
    for (int i = 0; i < count; ++i) sums[i] = static_cast<Sum>(a[i] + b[i]);
  } else {
    const auto* c = reinterpret_cast<const Raw<Channel>*>(rows[2]);
    const auto* d = reinterpret_cast<const Raw<Channel>*>(rows[3]);
    for (int i = 0; i < count; ++i) sums[i] = static_cast<Sum>(a[i] + b[i] + c[i] + d[i]);
  }
}

template <class Word, int kRatio>
void Average(BYTE* out, const BYTE* const* rows, int count);

template <>
void Average<BYTE, 2>(BYTE* out, const BYTE* const* rows, int count) {
  WORD sums[2 * KXVOffscreen::kBlockSize];
  SumRows<2, WORD, BYTE>(sums, rows, 2 * count);
  for (int i = 0; i < count; ++i) out[i] = static_cast<BYTE>((sums[2 * i] + sums[2 * i + 1]) >> 2);
}

template <>
void Average<BYTE, 4>(BYTE* out, const BYTE* const* rows, int count) {
  WORD sums[4 * KXVOffscreen::kBlockSize];
  SumRows<4, WORD, BYTE>(sums, rows, 4 * count);
  for (int i = 0; i < count; ++i) {
    const WORD* s = sums + 4 * i;
    out[i] = static_cast<BYTE>((s[0] + s[1] + s[2] + s[3]) >> 4);
  }
}

// A pixel's four sums of 16 bits lie in one word of 64: no sum reaches the next channel's bits.

/// The four sums of a pixel.
inline u64 SumsOf(const WORD* sums, int pixel) {
  u64 four;
  std::memcpy(&four, sums + 4 * pixel, sizeof four);
  return four;
}

/// The low bytes of four channels of 16 bits, side by side.
constexpr DWORD PackChannels(u64 channels) {
  channels &= 0x00FF00FF00FF00FF;
  channels = (channels | channels >> 8) & 0x0000FFFF0000FFFF;
  return static_cast<DWORD>(channels | channels >> 16);
}

// Two pixels of a row are one word. Every other channel of them has 16 bits to grow in, and what
// comes down from the second pixel is added to the first.
template <>
void Average<DWORD, 2>(BYTE* out, const BYTE* const* rows, int count) {
  constexpr u64 kEven = 0x00FF00FF00FF00FF;
  auto* to = reinterpret_cast<Raw<DWORD>*>(out);
  for (int i = 0; i < count; ++i) {
    u64 a, b;  // the rows begin at any pixel
    std::memcpy(&a, rows[0] + static_cast<std::size_t>(i) * sizeof a, sizeof a);
    std::memcpy(&b, rows[1] + static_cast<std::size_t>(i) * sizeof b, sizeof b);
    const u64 even = (a & kEven) + (b & kEven);
    const u64 odd = (a >> 8 & kEven) + (b >> 8 & kEven);
    to[i] = static_cast<DWORD>(((even + (even >> 32)) >> 2 & 0x00FF00FF) |
                               ((odd + (odd >> 32)) << 6 & 0xFF00FF00));
  }
}

template <>
void Average<DWORD, 4>(BYTE* out, const BYTE* const* rows, int count) {
  WORD sums[16 * KXVOffscreen::kBlockSize];
  SumRows<4, WORD, BYTE>(sums, rows, 16 * count);
  auto* to = reinterpret_cast<Raw<DWORD>*>(out);
  for (int i = 0; i < count; ++i) {
    const u64 left = SumsOf(sums, 4 * i) + SumsOf(sums, 4 * i + 1);
    const u64 right = SumsOf(sums, 4 * i + 2) + SumsOf(sums, 4 * i + 3);
    to[i] = PackChannels((left + right) >> 4);
  }
}

template <int kRatio>
inline void AverageWords(BYTE* out, const BYTE* const* rows, int count) {
  DWORD sums[4 * kRatio * KXVOffscreen::kBlockSize];
  SumRows<kRatio, DWORD, WORD>(sums, rows, 4 * kRatio * count);
  auto* to = reinterpret_cast<Raw<WORD>*>(out);
  for (int i = 0; i < count; ++i) {
    const DWORD* s = sums + 4 * kRatio * i;
    for (int c = 0; c < 4; ++c) {
      DWORD sum = s[c] + s[c + 4];
      if constexpr (kRatio == 4) sum += s[c + 8] + s[c + 12];
      to[4 * i + c] = static_cast<WORD>(sum >> (kRatio == 4 ? 4 : 2));
    }
  }
}

template <>
void Average<u64, 2>(BYTE* out, const BYTE* const* rows, int count) {
  AverageWords<2>(out, rows, count);
}
template <>
void Average<u64, 4>(BYTE* out, const BYTE* const* rows, int count) {
  AverageWords<4>(out, rows, count);
}

template <class Word, int kRatio>
void Repeat(BYTE* out, const BYTE* from, int count) {
  auto* to = reinterpret_cast<Raw<Word>*>(out);
  const auto* pixels = reinterpret_cast<const Raw<Word>*>(from);
  for (int i = 0; i < count; ++i) {
    for (int k = 0; k < kRatio; ++k) to[kRatio * i + k] = pixels[i];
  }
}

}  // namespace

template <class Word, int kRatio>
void AverageRows(BYTE* out, const BYTE* const* rows, int count) {
  InVectors<Average<Word, kRatio>>(out, rows, count);
}

template <class Word, int kRatio>
void RepeatPixels(BYTE* out, const BYTE* from, int count) {
  InVectors<Repeat<Word, kRatio>>(out, from, count);
}

template void AverageRows<BYTE, 2>(BYTE*, const BYTE* const*, int);
template void AverageRows<BYTE, 4>(BYTE*, const BYTE* const*, int);
template void AverageRows<DWORD, 2>(BYTE*, const BYTE* const*, int);
template void AverageRows<DWORD, 4>(BYTE*, const BYTE* const*, int);
template void AverageRows<u64, 2>(BYTE*, const BYTE* const*, int);
template void AverageRows<u64, 4>(BYTE*, const BYTE* const*, int);
template void RepeatPixels<BYTE, 2>(BYTE*, const BYTE*, int);
template void RepeatPixels<BYTE, 4>(BYTE*, const BYTE*, int);
template void RepeatPixels<DWORD, 2>(BYTE*, const BYTE*, int);
template void RepeatPixels<DWORD, 4>(BYTE*, const BYTE*, int);
template void RepeatPixels<u64, 2>(BYTE*, const BYTE*, int);
template void RepeatPixels<u64, 4>(BYTE*, const BYTE*, int);

}  // namespace kxw
