#include "kxwcmn/compositing/detail/blend32.h"

#if KXW_AVX2_FORMS

#include <immintrin.h>

#include <cstring>

// The blend by hand, for compilers take twice the steps. (Lambdas would not be compiled for these
// vectors.)

namespace kxw::blend32 {
namespace {

constexpr int kVector = 8;  // pixels

KXW_IN_AVX2 inline __m256i Spread(DWORD word) { return _mm256_set1_epi32(static_cast<int>(word)); }

KXW_IN_AVX2 inline __m256i Spread16(int word) {
  return _mm256_set1_epi16(static_cast<short>(word));
}

KXW_IN_AVX2 inline __m256i Load(const Word32* at) {
  return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(at));
}

KXW_IN_AVX2 inline void Store(Word32* at, __m256i pixels) {
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(at), pixels);
}

// --- Over opaque pixels -------------------------------------------------------------------------

/// The byte at `index` of each four, eight times, and that of the next four.
KXW_IN_AVX2 inline __m256i EightTimes(__m256i words, int index) {
  const __m128i order =
      _mm_set_epi64x(0x0101010101010101 * (index + 4), 0x0101010101010101 * index);
  return _mm256_shuffle_epi8(words, _mm256_broadcastsi128_si256(order));
}

/// The channels of half of the pixels, as words: densities are divided without their remainder, so
/// that channels, their complements, go up to the next whole number:
///
///     v = p * (255 - a) + c * a,  (v + 254) / 255 = (v + 255) * 257 / 65536,
///
/// whole numbers, for v up to 255 * 255. Channels come in pairs, p first, less 128, and so have
/// signs and need 16 bits together with their weights. The sum makes 128 * 255 good.
KXW_IN_AVX2 inline __m256i MixPairs(__m256i pairs, __m256i alphas) {
  const __m256i weights = _mm256_xor_si256(alphas, Spread16(0x00FF));
  const __m256i sums = _mm256_maddubs_epi16(weights, pairs);
  return _mm256_mulhi_epu16(_mm256_add_epi16(sums, Spread16(128 * 255 + 255)), Spread16(257));
}

KXW_IN_AVX2 inline __m256i LayOverOpaque(__m256i p, __m256i c) {
  const __m256i less128 = _mm256_set1_epi8(-128);
  const __m256i from = _mm256_xor_si256(p, less128), to = _mm256_xor_si256(c, less128);
  const __m256i low = MixPairs(_mm256_unpacklo_epi8(from, to), EightTimes(c, 3));
  const __m256i high = MixPairs(_mm256_unpackhi_epi8(from, to), EightTimes(c, 11));
  return _mm256_or_si256(_mm256_packus_epi16(low, high), Spread(0xFF000000));
}

// --- Over any pixels ----------------------------------------------------------------------------

/// Differences of channels, in the upper halves of their words, times `share`: numbers are 2^16
/// times those of the plain form. They are shifted so that fractions are the lower halves, and
/// results the low bytes of the upper ones, which are never 0 as a whole.
KXW_IN_AVX2 inline __m256i Moved(__m256i differences, __m256 share, __m256 base) {
  const __m256 sum = _mm256_fmadd_ps(_mm256_cvtepi32_ps(differences), share, base);
  return _mm256_slli_epi32(_mm256_castps_si256(sum), 16 - kFractionBits);
}

/// Eight pixels that are laid, and a word each whose lower half is 0 where they are doubtful.
struct Laid {
  __m256i pixels, least;
};

/// With m = a * (255 - pa) the alpha moves by m / 255, rounded; 255 being odd, that never ends on a
/// half. The share is a / (pa + m / 255). m is made less by what is lost in any but 0: so nothing
/// on nothing divides by no 0, and opaque pixels have a sign. So have those under a transparent
/// colour, which stay, however they are rounded.
KXW_IN_AVX2 inline Laid Lay(__m256i p, __m256i c) {
  const __m256 pa = _mm256_cvtepi32_ps(_mm256_srli_epi32(p, 24));
  const __m256 a = _mm256_cvtepi32_ps(_mm256_srli_epi32(c, 24));
  const __m256 m =
      _mm256_fmadd_ps(a, _mm256_sub_ps(_mm256_set1_ps(255), pa), _mm256_set1_ps(-0x1p-30f));
  const __m256 part = _mm256_set1_ps(1.0f / 255);
  const __m256 share = _mm256_div_ps(a, _mm256_fmadd_ps(m, part, pa));
  const __m256 base =
      _mm256_blendv_ps(_mm256_set1_ps(kRounded * 65536), _mm256_set1_ps(kNextUp * 65536), m);

  const __m256i even = Spread(0x00FF00FF);
  const __m256i redBlue = _mm256_sub_epi16(_mm256_and_si256(c, even), _mm256_and_si256(p, even));
  const __m256i green = _mm256_sub_epi16(_mm256_srli_epi16(c, 8), _mm256_srli_epi16(p, 8));
  const __m256i low = Moved(_mm256_slli_epi32(redBlue, 16), share, base);
  const __m256i middle = Moved(_mm256_slli_epi32(green, 16), share, base);
  const __m256i high = Moved(_mm256_and_si256(redBlue, Spread(0xFFFF0000)), share, base);
  const __m256 alphaSum = _mm256_fmadd_ps(m, part, _mm256_set1_ps(kRounded));
  const __m256i alpha = _mm256_slli_epi32(_mm256_castps_si256(alphaSum), 24 - kFractionBits);

  const __m256i odd = Spread16(0xFF00);
  const __m256i lower =
      _mm256_blendv_epi8(_mm256_srli_epi32(low, 16), _mm256_srli_epi32(middle, 8), odd);
  const __m256i upper = _mm256_blendv_epi8(high, alpha, odd);
  return {_mm256_add_epi8(_mm256_blend_epi16(lower, upper, 0xAA), p),
          _mm256_min_epu16(_mm256_min_epu16(low, middle), high)};
}

/// A bit for each doubt.
KXW_IN_AVX2 inline u64 DoubtsOf(const Laid& laid) {
  const __m256i isZero = _mm256_cmpeq_epi16(laid.least, _mm256_setzero_si256());
  const __m256 signs = _mm256_castsi256_ps(_mm256_slli_epi32(isZero, 16));
  return static_cast<u64>(_mm256_movemask_ps(signs));
}

/// Sixteen pixels.
KXW_IN_AVX2 inline void Lay16(Word32* pixels, const Word32* colors) {
  const __m256i p0 = Load(pixels), p1 = Load(pixels + kVector);
  const Laid l0 = Lay(p0, Load(colors)), l1 = Lay(p1, Load(colors + kVector));
  Store(pixels, l0.pixels);
  Store(pixels + kVector, l1.pixels);
  const __m256i least = _mm256_min_epu16(l0.least, l1.least);
  if (_mm256_movemask_epi8(_mm256_cmpeq_epi16(least, _mm256_setzero_si256())) == 0) [[likely]]
    return;
  Word32 before[2 * kVector];
  Store(before, p0);
  Store(before + kVector, p1);
  Settle(pixels, before, colors, DoubtsOf(l0) | DoubtsOf(l1) << kVector);
}

// --- The stretch --------------------------------------------------------------------------------

enum class Alphas { kClear, kOpaque, kOther };

constexpr bool IsFlat(DWORD color) { return color >> 24 == 0 || color >> 24 == 255; }

/// What the alphas of `kCount` pixels are, all of them.
template <int kCount>
KXW_IN_AVX2 inline Alphas LookAt(const Word32* words) {
  if (!IsFlat(words[0])) return Alphas::kOther;
  const __m256i mask = Spread(0xFF000000);
  __m256i any = Load(words), all = any;
  for (int i = kVector; i < kCount; i += kVector) {
    any = _mm256_or_si256(any, Load(words + i));
    all = _mm256_and_si256(all, Load(words + i));
  }
  if (words[0] >> 24 == 0) return _mm256_testz_si256(any, mask) ? Alphas::kClear : Alphas::kOther;
  return _mm256_testc_si256(all, mask) ? Alphas::kOpaque : Alphas::kOther;
}

/// A stretch over any pixels, most of which is flat: where a cel has an edge.
KXW_IN_AVX2 inline void LayEdge(Word32* pixels, const Word32* colors) {
  for (int i = 0; i < kStretch; i += 2 * kVector) {
    const Alphas some = LookAt<2 * kVector>(colors + i);
    if (some == Alphas::kClear) continue;
    if (some == Alphas::kOpaque) {
      std::memcpy(pixels + i, colors + i, 2 * kVector * sizeof(Word32));
    } else {
      Lay16(pixels + i, colors + i);
    }
  }
}

KXW_IN_AVX2 bool LayStretchByAvx2(Word32* pixels, const Word32* colors, int count) {
  if (count < kStretch) return LayStretch(pixels, colors, count);
  const Alphas alphas = LookAt<kStretch>(colors);
  if (alphas == Alphas::kClear) return false;
  if (alphas == Alphas::kOpaque) {
    for (int i = 0; i < kStretch; i += kVector) Store(pixels + i, Load(colors + i));
  } else if (LookAt<kStretch>(pixels) == Alphas::kOpaque) {
    for (int i = 0; i < kStretch; i += kVector) {
      Store(pixels + i, LayOverOpaque(Load(pixels + i), Load(colors + i)));
    }
  } else if (IsFlat(colors[0]) || IsFlat(colors[kStretch - 1])) {
    LayEdge(pixels, colors);
  } else {
    for (int i = 0; i < kStretch; i += 2 * kVector) Lay16(pixels + i, colors + i);
  }
  return true;
}

}  // namespace

KXW_IN_AVX2 void LayAnyByAvx2(Word32* pixels, const Word32* colors, int count) {
  int i = 0;
  for (; i + 2 * kVector <= count; i += 2 * kVector) Lay16(pixels + i, colors + i);
  if (i == count) return;
  Word32 lastPixels[2 * kVector] = {}, lastColors[2 * kVector] = {};
  const std::size_t bytes = static_cast<std::size_t>(count - i) * sizeof(Word32);
  std::memcpy(lastPixels, pixels + i, bytes);
  std::memcpy(lastColors, colors + i, bytes);
  Lay16(lastPixels, lastColors);
  std::memcpy(pixels + i, lastPixels, bytes);
}

KXW_IN_AVX2 void LayRunByAvx2(Word32* pixels, const Word32* colors, int count) {
  LayRun<LayStretchByAvx2>(pixels, colors, count);
}

}  // namespace kxw::blend32

#endif
