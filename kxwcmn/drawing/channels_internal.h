#pragma once

#include "kxwcmn/offscreen/detail/depths.h"

namespace kxw {

/// The channels of a 32-bit colour, and of a 64-bit one, for rules that differ in nothing else.
/// `kFull` is an opaque alpha; a shift by `kShift` divides by one more than it.
struct Channels8 {
  using Color = DWORD;
  static constexpr u64 kFull = 255;
  static constexpr int kShift = 8;
  static constexpr u64 Alpha(Color c) { return kxw::Alpha(c); }
  static constexpr u64 Red(Color c) { return kxw::Red(c); }
  static constexpr u64 Green(Color c) { return kxw::Green(c); }
  static constexpr u64 Blue(Color c) { return kxw::Blue(c); }
  static constexpr Color Pack(u64 a, u64 r, u64 g, u64 b) {
    return MakeColor(static_cast<DWORD>(r), static_cast<DWORD>(g), static_cast<DWORD>(b),
                     static_cast<DWORD>(a));
  }
};

struct Channels16 {
  using Color = u64;
  static constexpr u64 kFull = 65535;
  static constexpr int kShift = 16;
  static constexpr u64 Alpha(Color c) { return kxw::Alpha64(c); }
  static constexpr u64 Red(Color c) { return kxw::Red64(c); }
  static constexpr u64 Green(Color c) { return kxw::Green64(c); }
  static constexpr u64 Blue(Color c) { return kxw::Blue64(c); }
  static constexpr Color Pack(u64 a, u64 r, u64 g, u64 b) { return MakeColor64(r, g, b, a); }
};

/// Lays `color` under the pixel `p`: each darkens by what the other lets through.
///
/// It shifts where the copies' rule for the same divides, so that alpha can come out one higher
/// than there, even under a transparent colour; the two are meant to differ.
template <class Channels>
constexpr typename Channels::Color LaidBehind(typename Channels::Color p,
                                              typename Channels::Color color) {
  using C = Channels;
  const u64 clear = C::kFull - C::Alpha(p);
  const u64 weight = (C::Alpha(color) + 1) * clear >> C::kShift;
  const auto darken = [&](u64 channel, u64 ink) {
    if (C::Alpha(p) == 0) channel = C::kFull;
    const u64 part = (C::kFull - ink) * weight >> C::kShift;
    return channel > part ? channel - part : 0;
  };
  return C::Pack(C::kFull - (clear * (C::kFull - C::Alpha(color)) >> C::kShift),
                 darken(C::Red(p), C::Red(color)), darken(C::Green(p), C::Green(color)),
                 darken(C::Blue(p), C::Blue(color)));
}

/// What becomes of the pixel `p` when `color` is laid under it `times` times.
///
/// Each time the pixel lets through less, by what `color` covers of it, rounded up, and darkens by
/// the same, rounded down. Over many steps that is the same number, and they are taken as one: the
/// faintest colour would need one for each value of alpha.
template <class Channels>
constexpr typename Channels::Color LaidBehindOften(typename Channels::Color p,
                                                   typename Channels::Color color, i64 times) {
  using C = Channels;
  if (times < 1) return p;
  p = LaidBehind<C>(p, color);  // a transparent pixel has another rule; now there is none
  const u64 strength = C::Alpha(color) + 1;
  u64 clear = C::kFull - C::Alpha(p), left = static_cast<u64>(times) - 1;
  u64 red = C::Red(p), green = C::Green(p), blue = C::Blue(p);
  while (left > 0 && clear > 0) {
    const u64 covered = strength * clear, weight = covered >> C::kShift, rest = covered & C::kFull;
    const u64 fall = weight + (rest ? 1 : 0);
    const u64 alike = rest ? (rest - 1) / (fall * strength) + 1 : 1;
    const u64 steps = alike < left ? alike : left;
    const auto darken = [&](u64& channel, u64 ink) {
      const u64 part = steps * ((C::kFull - ink) * weight >> C::kShift);
      channel = channel > part ? channel - part : 0;
    };
    darken(red, C::Red(color));
    darken(green, C::Green(color));
    darken(blue, C::Blue(color));
    clear -= steps * fall;
    left -= steps;
  }
  return C::Pack(C::kFull - clear, red, green, blue);
}

}  // namespace kxw
