#include "kxwcmn/compositing/blend32_internal.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "kxwcmn/compositing/mixrules_internal.h"
#include "kxwcmn/platform/vectorize_internal.h"

#if KXW_AVX2_FORMS
#include <immintrin.h>
#endif

// The run is taken apart. Stretches that change nothing or replace everything are told by their
// alphas alone, and the pixels under them are not even read; over opaque pixels the rule is pure
// integers for every alpha, 0 and 255 included; only the rest needs the floating form.

namespace kxw {
namespace {

/// Pixels that are looked at together: long enough to pay for the look, short enough to stay within
/// one colour area of a cel.
constexpr int kStretch = 64;

// --- Over opaque pixels -------------------------------------------------------------------------

/// Div255 of each half of a word.
constexpr DWORD Div255Halves(DWORD v) {
  return (v + 0x00010001 + (v >> 8 & 0x00FF00FF)) >> 8 & 0x00FF00FF;
}

/// Two channels at a time: the densities' weights add up to 255, so that no half of a word flows
/// over.
constexpr DWORD BlendOpaque(DWORD p, DWORD c) {
  const DWORD a = c >> 24, ia = 255 - a;
  const DWORD redBlue = Div255Halves((~p & 0x00FF00FF) * ia + (~c & 0x00FF00FF) * a);
  const DWORD green = Div255Halves((~p >> 8 & 255) * ia + (~c >> 8 & 255) * a);
  return ~(redBlue | green << 8);  // which makes alpha 255
}

void BlendOverOpaque(Word32* __restrict pixels, const Word32* __restrict colors, int count) {
  for (int i = 0; i < count; ++i) pixels[i] = BlendOpaque(pixels[i], colors[i]);
}

// --- Over any pixels ----------------------------------------------------------------------------

// With A = pa * (255 - a) and B = 255 * a, the share of the colour is t = B / (A + B), and a
// channel moves from p to p + d * t, d being c - p: rounded, a half going down, as the rule rounds
// densities, that is complements. Where the pixel is opaque, A + B is 255 * 255, and it is not
// rounded but goes up to the next whole number. A transparent colour has the share 0, and one that
// is opaque or lies on nothing the share 1, which leave p and give c: all cases are one.
//
// In floats A and B are exact, and t is off by less than 2^-25. Adding 768 brings d * t into
// [512, 1024), where the lowest of a float's bits is worth 2^-14: 14 bits are a fraction, and the
// eight above them, added to p, are the result. By t, the product and the sum this is off by less
// than one of the lowest bit. So where the fraction is not 0 the whole number is right. Where it is
// 0, the number may end on a half, or near it: a few pixels in ten thousand, which go through the
// rule itself. There doubles decide, whose rounding is part of it.
constexpr int kFractionBits = 14;
constexpr DWORD kFraction = (1u << kFractionBits) - 1;
constexpr float kRounded = 768.5f;
// With an opaque pixel d * t is a multiple of 1 / 255, and this brings it nowhere near a fraction
// of 0.
constexpr float kNextUp = 769.0f - 1.0f / 512;
constexpr DWORD kUpOrRounded = std::bit_cast<DWORD>(kNextUp) - std::bit_cast<DWORD>(kRounded);
constexpr float kNotZero = 0x1p-30f;  // lost in any A + B but 0

/// Puts right the pixels of which a bit is set in `doubts`, the lowest for the first. `pixels` have
/// been laid, and `before` has them as they were.
void Settle(Word32* pixels, const DWORD* before, const Word32* colors, u64 doubts) {
  for (; doubts; doubts &= doubts - 1) {
    const int i = std::countr_zero(doubts);
    DWORD pixel = before[i];
    BlendRule::Mix32(pixel, colors[i], 0);
    pixels[i] = pixel;
  }
}

void BlendAnyPlainly(Word32* __restrict pixels, const Word32* __restrict colors, int count) {
  DWORD before[kStretch], isSure[kStretch], allSure = ~0u;
  std::memcpy(before, pixels, static_cast<std::size_t>(count) * sizeof before[0]);
  for (int i = 0; i < count; ++i) {
    const DWORD p = before[i], c = colors[i];
    const float pa = static_cast<float>(static_cast<int>(p >> 24));
    const float a = static_cast<float>(static_cast<int>(c >> 24));
    const float over = a * 255.0f, whole = pa * (255.0f - a) + over;
    const float share = over / (whole + kNotZero);
    const DWORD isOpaque = -static_cast<DWORD>(p >> 24 == 255);
    const float base =
        std::bit_cast<float>(std::bit_cast<DWORD>(kRounded) + (isOpaque & kUpOrRounded));
    // The alpha is whole / 255, rounded; 255 being odd, it never ends on a half.
    DWORD result = static_cast<DWORD>(static_cast<int>((whole + 127.5f) * (1.0f / 255.0f))) << 24;
    DWORD sure = ~0u;
    for (int shift = 0; shift < 24; shift += 8) {
      const int from = static_cast<int>(p >> shift & 255), to = static_cast<int>(c >> shift & 255);
      const DWORD moved = std::bit_cast<DWORD>(static_cast<float>(to - from) * share + base);
      result |= (((moved >> kFractionBits) + static_cast<DWORD>(from)) & 255) << shift;
      sure &= -static_cast<DWORD>((moved & kFraction) != 0);
    }
    pixels[i] = result;
    isSure[i] = sure;
    allSure &= sure;
  }
  if (allSure) return;
  u64 doubts = 0;
  for (int i = 0; i < count; ++i) doubts |= static_cast<u64>(isSure[i] == 0) << i;
  Settle(pixels, before, colors, doubts);
}

#if KXW_AVX2_FORMS

// The same by hand, for compilers take a third more steps. (A lambda would not be compiled for
// these vectors.)

KXW_IN_AVX2 inline __m256i Spread(DWORD word) { return _mm256_set1_epi32(static_cast<int>(word)); }

KXW_IN_AVX2 inline __m256i Load(const Word32* at) {
  return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(at));
}

/// Differences of channels, in the upper halves of their words, times `share`: numbers are 2^16
/// times those above. They are shifted so that fractions are the lower halves, and results the low
/// bytes of the upper ones, which are never 0 as a whole.
KXW_IN_AVX2 inline __m256i Moved(__m256i differences, __m256 share, __m256 base) {
  const __m256 sum = _mm256_fmadd_ps(_mm256_cvtepi32_ps(differences), share, base);
  return _mm256_slli_epi32(_mm256_castps_si256(sum), 16 - kFractionBits);
}

/// Eight pixels that are laid, and a word each that is 0xFFFF where they are doubtful, else 0.
struct Laid {
  __m256i pixels, doubts;
};

KXW_IN_AVX2 inline Laid Lay(__m256i p, __m256i c) {
  const __m256i even = Spread(0x00FF00FF), under = _mm256_srli_epi32(p, 24);
  const __m256 full = _mm256_set1_ps(255);
  const __m256 a = _mm256_cvtepi32_ps(_mm256_srli_epi32(c, 24)), over = _mm256_mul_ps(a, full);
  const __m256 whole = _mm256_fmadd_ps(_mm256_cvtepi32_ps(under), _mm256_sub_ps(full, a), over);
  const __m256 share = _mm256_div_ps(over, _mm256_add_ps(whole, _mm256_set1_ps(kNotZero)));
  const __m256i isOpaque = _mm256_cmpeq_epi32(under, Spread(255));
  const __m256 base =
      _mm256_castsi256_ps(_mm256_add_epi32(Spread(std::bit_cast<DWORD>(kRounded * 65536)),
                                           _mm256_and_si256(isOpaque, Spread(kUpOrRounded))));
  const __m256i redBlue = _mm256_sub_epi16(_mm256_and_si256(c, even), _mm256_and_si256(p, even));
  const __m256i green = _mm256_sub_epi16(_mm256_srli_epi16(c, 8), _mm256_srli_epi16(p, 8));
  const __m256i low = Moved(_mm256_slli_epi32(redBlue, 16), share, base);
  const __m256i middle = Moved(_mm256_slli_epi32(green, 16), share, base);
  const __m256i high = Moved(_mm256_and_si256(redBlue, Spread(0xFFFF0000)), share, base);
  const __m256 alphaSum =
      _mm256_fmadd_ps(whole, _mm256_set1_ps(1.0f / 255.0f), _mm256_set1_ps(kRounded));
  const __m256i alpha = _mm256_slli_epi32(_mm256_castps_si256(alphaSum), 16 - kFractionBits);

  const __m256i evens = _mm256_blend_epi16(_mm256_srli_epi32(low, 16), high, 0xAA);
  const __m256i odds = _mm256_blend_epi16(_mm256_srli_epi32(middle, 16), alpha, 0xAA);
  const __m256i steps = _mm256_or_si256(_mm256_and_si256(evens, even), _mm256_slli_epi16(odds, 8));
  const __m256i least = _mm256_min_epu16(_mm256_min_epu16(low, middle), high);
  return {_mm256_add_epi8(steps, _mm256_and_si256(p, Spread(0x00FFFFFF))),
          _mm256_cmpeq_epi16(least, _mm256_setzero_si256())};
}

/// A bit for each doubt.
KXW_IN_AVX2 inline u64 BitsOf(__m256i doubts) {
  const __m256i signs = _mm256_slli_epi32(doubts, 16);
  return static_cast<u64>(_mm256_movemask_ps(_mm256_castsi256_ps(signs)));
}

/// Sixteen pixels.
KXW_IN_AVX2 inline void Lay16(Word32* pixels, const Word32* colors) {
  const __m256i p0 = Load(pixels), p1 = Load(pixels + 8);
  const Laid l0 = Lay(p0, Load(colors)), l1 = Lay(p1, Load(colors + 8));
  auto* const to = reinterpret_cast<__m256i*>(pixels);
  _mm256_storeu_si256(to, l0.pixels);
  _mm256_storeu_si256(to + 1, l1.pixels);
  const __m256i doubts = _mm256_or_si256(l0.doubts, l1.doubts);
  if (_mm256_testz_si256(doubts, doubts)) [[likely]]
    return;
  DWORD before[16];
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(before), p0);
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(before) + 1, p1);
  Settle(pixels, before, colors, BitsOf(l0.doubts) | BitsOf(l1.doubts) << 8);
}

KXW_IN_AVX2 void BlendAnyByAvx2(Word32* pixels, const Word32* colors, int count) {
  int i = 0;
  for (; i + 16 <= count; i += 16) Lay16(pixels + i, colors + i);
  if (i == count) return;
  Word32 lastPixels[16] = {}, lastColors[16] = {};
  const std::size_t bytes = static_cast<std::size_t>(count - i) * sizeof(Word32);
  std::memcpy(lastPixels, pixels + i, bytes);
  std::memcpy(lastColors, colors + i, bytes);
  Lay16(lastPixels, lastColors);
  std::memcpy(pixels + i, lastPixels, bytes);
}

#endif

// --- The run ------------------------------------------------------------------------------------

struct Alphas {
  DWORD any, all;  // ORed and ANDed
};

Alphas LookAtAlphas(const Word32* words, int count) {
  DWORD any = 0, all = ~0u;
  for (int i = 0; i < count; ++i) {
    any |= words[i];
    all &= words[i];
  }
  return {any >> 24, all >> 24};
}

void Replace(Word32* pixels, const Word32* colors, int count) {
  std::memcpy(pixels, colors, static_cast<std::size_t>(count) * sizeof(Word32));
}

/// A stretch over any pixels. Where a cel has an edge, most of its stretch is flat on both sides:
/// the flat ends are told apart, so that only what lies between is computed.
void BlendEdge(Word32* pixels, const Word32* colors, int count) {
  const auto isFlat = [colors](int i, DWORD alpha) { return colors[i] >> 24 == alpha; };
  int first = 0, last = count;
  const DWORD head = colors[0] >> 24, tail = colors[count - 1] >> 24;
  if (head == 0 || head == 255) {
    while (first < last && isFlat(first, head)) ++first;
  }
  if (tail == 0 || tail == 255) {
    while (last > first && isFlat(last - 1, tail)) --last;
  }
  if (head == 255) Replace(pixels, colors, first);
  if (tail == 255) Replace(pixels + last, colors + last, count - last);
  if (first < last) BlendAnyPixels32(pixels + first, colors + first, last - first);
}

}  // namespace

void BlendAnyPixels32(Word32* pixels, const Word32* colors, int count) {
#if KXW_AVX2_FORMS
  if (VectorsInUse() == Vectors::kAvx2) return BlendAnyByAvx2(pixels, colors, count);
#endif
  BlendAnyPlainly(pixels, colors, count);
}

void BlendRun32(Word32* pixels, const Word32* colors, int count) {
  // An image and its source often stand at the same places of their pages, where the processor's
  // own look-ahead fails all but the shortest loops. The pixels are asked for, too, unless the last
  // stretch changed none: those under a clear part of a cel need not come in at all.
  constexpr int kAhead = 8 * kStretch, kLine = 64 / int{sizeof(Word32)};
  const auto ask = [](const Word32* at) {
    for (int i = 0; i < kStretch; i += kLine) KXW_PREFETCH(at + i);
  };
  bool isChanged = true;
  for (int first = 0, n; first < count; first += n) {
    n = std::min(kStretch, count - first);
    if (count - first >= kAhead + kStretch) {
      ask(colors + first + kAhead);
      if (isChanged) ask(pixels + first + kAhead);
    }
    const Alphas alphas = InVectors<LookAtAlphas>(colors + first, n);
    isChanged = alphas.any != 0;
    if (!isChanged) continue;
    if (alphas.all == 255) {
      Replace(pixels + first, colors + first, n);
    } else if (InVectors<LookAtAlphas>(pixels + first, n).all == 255) {
      InVectors<BlendOverOpaque>(pixels + first, colors + first, n);
    } else {
      BlendEdge(pixels + first, colors + first, n);
    }
  }
}

}  // namespace kxw
