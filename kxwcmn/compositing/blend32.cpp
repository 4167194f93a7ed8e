#include "kxwcmn/compositing/blend32_internal.h"

#include <bit>
#include <cstring>

#include "kxwcmn/compositing/detail/blend32.h"
#include "kxwcmn/compositing/mixrules_internal.h"
#include "kxwcmn/platform/vectorize_internal.h"

// The run is taken apart. Stretches that change nothing or replace everything are told by their
// alphas alone, and the pixels under them are not even read; over opaque pixels the rule is pure
// integers for every alpha, 0 and 255 included; only the rest needs the floating form.

namespace kxw::blend32 {
namespace {

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

constexpr DWORD kFraction = (1u << kFractionBits) - 1;
constexpr DWORD kUpOrRounded = std::bit_cast<DWORD>(kNextUp) - std::bit_cast<DWORD>(kRounded);
constexpr float kNotZero = 0x1p-30f;  // lost in any A + B but 0

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

bool LayStretch(Word32* pixels, const Word32* colors, int count) {
  const Alphas alphas = InVectors<LookAtAlphas>(colors, count);
  if (alphas.any == 0) return false;
  if (alphas.all == 255) {
    Replace(pixels, colors, count);
  } else if (InVectors<LookAtAlphas>(pixels, count).all == 255) {
    InVectors<BlendOverOpaque>(pixels, colors, count);
  } else {
    BlendEdge(pixels, colors, count);
  }
  return true;
}

void Settle(Word32* pixels, const DWORD* before, const Word32* colors, u64 doubts) {
  for (; doubts; doubts &= doubts - 1) {
    const int i = std::countr_zero(doubts);
    DWORD pixel = before[i];
    BlendRule::Mix32(pixel, colors[i], 0);
    pixels[i] = pixel;
  }
}

}  // namespace kxw::blend32

void kxw::BlendAnyPixels32(Word32* pixels, const Word32* colors, int count) {
#if KXW_AVX2_FORMS
  if (VectorsInUse() == Vectors::kAvx2) return blend32::LayAnyByAvx2(pixels, colors, count);
#endif
  blend32::BlendAnyPlainly(pixels, colors, count);
}

void kxw::BlendRun32(Word32* pixels, const Word32* colors, int count) {
#if KXW_AVX2_FORMS
  if (VectorsInUse() == Vectors::kAvx2) return blend32::LayRunByAvx2(pixels, colors, count);
#endif
  blend32::LayRun<blend32::LayStretch>(pixels, colors, count);
}
