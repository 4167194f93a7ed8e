#pragma once

#include "kxwcmn/compositing/detail/rows.h"
#include "kxwcmn/core/pixelmath_internal.h"
#include "kxwcmn/offscreen/detail/depths.h"

/// Laying a source behind what a destination holds, as rules of single channels and pixels.
namespace kxw {

/// A density under another. The product is shifted and not divided by 255: 1 under 0 gives 2.
constexpr BYTE DensityBehind(BYTE d, BYTE s) {
  return static_cast<BYTE>(255 - ((255u - d) * (255u - s) >> 8));
}

/// A translucent colour under another, in channels up to `kFull`, over which `kOver` divides. The
/// destination's colour counts as standing on white, and what is seen of the source's density is
/// taken off it. An opaque destination and an empty source need no case of their own: nothing
/// changes under these formulas.
template <DWORD kFull, DWORD (*kOver)(DWORD)>
struct BehindRule {
  /// The part of the source that is seen through the destination.
  static constexpr DWORD Seen(DWORD da, DWORD sa) { return kOver(sa * (kFull - da)); }
  static constexpr DWORD Channel(DWORD d, DWORD s, DWORD seen) {
    const DWORD ink = kOver((kFull - s) * seen);
    return d > ink ? d - ink : 0;
  }
  static constexpr DWORD Alpha(DWORD da, DWORD sa) {
    return kFull - kOver((kFull - sa) * (kFull - da));
  }
};

using Behind8 = BehindRule<255, Div255>;
using Behind16 = BehindRule<65535, Div65535>;

constexpr DWORD ColorBehind(DWORD d, DWORD s) {
  const DWORD seen = Behind8::Seen(Alpha(d), Alpha(s));
  return MakeColor(Behind8::Channel(Red(d), Red(s), seen),
                   Behind8::Channel(Green(d), Green(s), seen),
                   Behind8::Channel(Blue(d), Blue(s), seen), Behind8::Alpha(Alpha(d), Alpha(s)));
}

constexpr u64 Color64Behind(u64 d, u64 s) {
  const DWORD seen = Behind16::Seen(Alpha64(d), Alpha64(s));
  return MakeColor64(
      Behind16::Channel(Red64(d), Red64(s), seen), Behind16::Channel(Green64(d), Green64(s), seen),
      Behind16::Channel(Blue64(d), Blue64(s), seen), Behind16::Alpha(Alpha64(d), Alpha64(s)));
}

/// How a row is laid behind another of its depth; null at 24 bits, where every destination is
/// opaque and there is nothing to do, and for a depth that is none.
RowFunc FindBehindRow(int bits);

/// The form for a source that stands exactly over the destination, at 8, 32 and 64 bits; null at
/// every other depth. It differs in what nothing is: a density of 0 is laid too, and darkens what
/// is there by one step; an opaque pixel takes the place of a transparent one, whose colour then
/// counts for nothing.
RowFunc FindRawBehindRow(int bits);

/// A pixel laid behind another that takes its place, colour and all, where that is transparent.
constexpr DWORD ColorBehindOrFor(DWORD d, DWORD s) {
  const DWORD isTaken = -static_cast<DWORD>((s >> 24 != 0) & (d >> 24 == 0));
  return (s & isTaken) | (ColorBehind(d, s) & ~isTaken);
}

/// The form with that rule, at 32 and 64 bits; null at every other depth.
RowFunc FindTakingBehindRow(int bits);

}  // namespace kxw
