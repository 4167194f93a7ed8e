#pragma once

#include <algorithm>

#include "kxwcmn/compositing/blend32_internal.h"
#include "kxwcmn/platform/vectorize_internal.h"

/// What the forms of the 32-bit blend share: the walk over a run, and the rounding of floats.
namespace kxw::blend32 {

/// Pixels that are looked at together: long enough to pay for the look, short enough to stay within
/// one colour area of a cel.
inline constexpr int kStretch = 64;

// Over any pixels, with A = pa * (255 - a) and B = 255 * a, the share of the colour is
// t = B / (A + B), and a channel moves from p to p + d * t, d being c - p: rounded, a half going
// down, as the rule rounds densities, that is complements. Where the pixel is opaque, A + B is
// 255 * 255, and it is not rounded but goes up to the next whole number. A transparent colour has
// the share 0, and one that is opaque or lies on nothing the share 1, which leave p and give c: all
// cases are one.
//
// Adding 768 brings d * t into [512, 1024), where the lowest of a float's bits is worth 2^-14: 14
// bits are a fraction, and the eight above them, added to p, are the result. In floats t is off by
// some 2^-24, and with the product and the sum that comes to about one lowest bit. So where the
// fraction is not 0 the whole number is right, which the tests show for all alphas and all d. Where
// it is 0, the number may end on a half, or near it: a few pixels in ten thousand, which go through
// the rule itself. There doubles decide, whose rounding is part of it.
inline constexpr int kFractionBits = 14;
inline constexpr float kRounded = 768.5f;
// With an opaque pixel d * t is a multiple of 1 / 255, and this brings it nowhere near a fraction
// of 0.
inline constexpr float kNextUp = 769.0f - 1.0f / 512;

/// Puts right the pixels of which a bit is set in `doubts`, the lowest for the first. `pixels` have
/// been laid, and `before` has them as they were.
void Settle(Word32* pixels, const DWORD* before, const Word32* colors, u64 doubts);

/// Lays up to kStretch pixels in any vectors; false if none can have changed.
bool LayStretch(Word32* pixels, const Word32* colors, int count);

/// Lays a run by a function like LayStretch.
template <auto kLay>
inline void LayRun(Word32* pixels, const Word32* colors, int count) {
  // An image and its source often stand at the same places of their pages, where the processor's
  // own look-ahead fails all but the shortest loops. The pixels are asked for, too, unless the last
  // stretch changed none: those under a clear part of a cel need not come in at all.
  constexpr int kAhead = 8 * kStretch, kLine = 64 / int{sizeof(Word32)};
  bool isChanged = true;
  for (int first = 0, n; first < count; first += n) {
    n = std::min(kStretch, count - first);
    if (count - first >= kAhead + kStretch) {
      for (int i = first + kAhead; i < first + kAhead + kStretch; i += kLine) {
        KXW_PREFETCH(colors + i);
        if (isChanged) KXW_PREFETCH(pixels + i);
      }
    }
    isChanged = kLay(pixels + first, colors + first, n);
  }
}

#if KXW_AVX2_FORMS
void LayRunByAvx2(Word32* pixels, const Word32* colors, int count);
void LayAnyByAvx2(Word32* pixels, const Word32* colors, int count);
#endif

}  // namespace kxw::blend32
