#pragma once

#include <algorithm>

#include "kxwcmn/drawing/channels_internal.h"
#include "kxwcmn/offscreen/detail/depths.h"
#include "kxwcmn/offscreen/detail/fillrun.h"

namespace kxw {

/// The `fillMode` of the row painters. Any other value paints nothing.
enum FillMode : int {
  kFillPaint = 0,
  kFillStronger = 1,  // only where the colour is stronger than what is there
  kFillMix = 2,
  kFillErase = 3,  // by the colour's strength, at 8 bits alone
};

/// A colour that covers what is below by its alpha. Laid plainly it covers black: it comes out
/// darkened and opaque.
template <class Channels>
struct CoverColor {
  using Color = typename Channels::Color;

  explicit constexpr CoverColor(Color c)
      : color(c), weight(Channels::Alpha(c) ? Channels::Alpha(c) + 1 : 0) {}

  constexpr u64 Weighed(u64 channel) const { return channel * weight >> Channels::kShift; }
  constexpr u64 Mixed(u64 below, u64 channel) const {
    return (below * (Channels::kFull + 1 - weight) + channel * weight) >> Channels::kShift;
  }
  constexpr Color OverBlack() const {
    return Channels::Pack(Channels::kFull, Weighed(Channels::Red(color)),
                          Weighed(Channels::Green(color)), Weighed(Channels::Blue(color)));
  }
  constexpr Color Over(Color p) const {
    return Channels::Pack(Channels::kFull, Mixed(Channels::Red(p), Channels::Red(color)),
                          Mixed(Channels::Green(p), Channels::Green(color)),
                          Mixed(Channels::Blue(p), Channels::Blue(color)));
  }

  Color color;
  u64 weight;  // 0, or one more than alpha
};

/// What a depth's row painter makes of a pixel, as pure functions of it, for the colour of the row:
/// `paint` is what is laid plainly; `Stronger`, `Mixed` and `Erased` are what a pixel becomes in
/// those modes. A depth that does not mix paints instead.
template <class Depth>
struct FillRule;

template <>
struct FillRule<Depth1> {
  static constexpr bool kMixes = false, kErases = false;
  explicit FillRule(DWORD color) : paint(KXVOffscreen::QMCOLORREFtoBYTE1(color)) {}
  BYTE Stronger(BYTE p) const { return paint | p; }
  BYTE paint;
};

template <>
struct FillRule<Depth2> {
  static constexpr bool kMixes = false, kErases = false;
  explicit FillRule(DWORD color) : paint(KXVOffscreen::QMCOLORREFtoBYTE2(color)) {}
  // Black alone is stronger than anything.
  BYTE Stronger(BYTE p) const { return paint == 3 ? paint : p; }
  /// A light colour that leaves alone what is drawn.
  static BYTE Lightened(BYTE p) { return Depth2::To2(p) == 0 ? 2 : p; }
  BYTE paint;
};

/// The density is the alpha; the colour's channels play no part.
template <>
struct FillRule<Depth8> {
  static constexpr bool kMixes = true, kErases = true;
  explicit FillRule(DWORD color) : paint(Alpha(color)) {}
  BYTE Stronger(BYTE p) const { return std::max(p, paint); }
  BYTE Mixed(BYTE p) const { return static_cast<BYTE>((p + paint) / 2); }
  BYTE Erased(BYTE p) const { return std::min(p, static_cast<BYTE>(255 - paint)); }
  BYTE paint;
};

/// The grey is the colour's red.
template <>
struct FillRule<Depth16> {
  static constexpr bool kMixes = true, kErases = false;
  explicit FillRule(DWORD c) : color(c), paint{255, static_cast<BYTE>(color.Weighed(Red(c)))} {}
  Depth16::Pixel Stronger(Depth16::Pixel p) const { return p.alpha < color.weight ? paint : p; }
  // The alpha is weighed and so only falls, while the wider depths come out opaque.
  Depth16::Pixel Mixed(Depth16::Pixel p) const {
    return {static_cast<BYTE>(color.Weighed(p.alpha)),
            static_cast<BYTE>(color.Mixed(p.grey, Red(color.color)))};
  }
  CoverColor<Channels8> color;
  Depth16::Pixel paint;
};

/// Without an alpha the darker one is the stronger.
template <>
struct FillRule<Depth24> {
  static constexpr bool kMixes = true, kErases = false;
  explicit FillRule(DWORD c)
      : color(c), paint(Depth24::From24(color.OverBlack())), paintMean(Mean(paint)) {}
  DWORD Stronger(DWORD p) const { return paintMean < Mean(p) ? paint : p; }
  DWORD Mixed(DWORD p) const { return Depth24::From24(color.Over(p)); }
  static DWORD Mean(DWORD p) { return (Red(p) + Green(p) + Blue(p)) / 3u; }
  CoverColor<Channels8> color;
  DWORD paint;
  DWORD paintMean;
};

/// The depths with an alpha beside three colours.
template <class Channels>
struct AlphaFillRule {
  using Color = typename Channels::Color;
  static constexpr bool kMixes = true, kErases = false;
  explicit AlphaFillRule(Color c) : color(c), paint(color.OverBlack()) {}
  Color Stronger(Color p) const { return Channels::Alpha(p) < color.weight ? paint : p; }
  Color Mixed(Color p) const { return color.Over(p); }
  CoverColor<Channels> color;
  Color paint;
};
template <>
struct FillRule<Depth32> : AlphaFillRule<Channels8> {
  using AlphaFillRule::AlphaFillRule;
};
template <>
struct FillRule<Depth64> : AlphaFillRule<Channels16> {
  using AlphaFillRule::AlphaFillRule;
};

/// Whether a row's first pixel is looked up in the clip image without the clip offset. One depth
/// has it so; it is meant.
template <class Depth>
inline constexpr bool kFirstPixelHasNoClipOffset = false;
template <>
inline constexpr bool kFirstPixelHasNoClipOffset<Depth32> = true;

template <class Depth>
constexpr bool PaintsInMode(int fillMode) {
  return fillMode >= kFillPaint && fillMode <= (FillRule<Depth>::kErases ? kFillErase : kFillMix);
}

/// Calls `op(x, count)` for the parts of the columns `x1` to `x2` that lie in the image and in one
/// block each, until it returns false.
template <class Op>
inline void ForEachPart(int x1, int x2, int width, Op op) {
  const int last = std::min(x2, width - 1);
  for (int x = std::max(x1, 0), end; x <= last; x = end) {
    end = std::min(last, x | KXVOffscreen::kBlockMask) + 1;
    if (!op(x, end - x)) return;
  }
}

/// Replaces each of the `count` pixels from `column` of the row of a block by `op(pixel)`.
template <class Depth, class Op>
inline void ChangeRun(BYTE* row, int column, int count, Op op) {
  BYTE* at = row + ByteOfColumn<Depth>(column);
  if constexpr (Depth::kBits < 8) {
    BYTE mask = MaskOfColumn<Depth>(column);
    for (; count > 0; --count, StepRight<Depth>(at, mask)) {
      Depth::Store(at, mask, op(Depth::Load(at, mask)));
    }
  } else {
    constexpr int kBytes = Depth::kBits / 8;
    for (BYTE* const end = at + count * kBytes; at != end; at += kBytes) {
      Depth::Store(at, 0, op(Depth::Load(at, 0)));
    }
  }
}

/// Lays the colour of `rule` on the run, in a mode in which the depth paints.
template <class Depth>
inline void PaintRun(const FillRule<Depth>& rule, int fillMode, BYTE* row, int column, int count) {
  using Pixel = typename Depth::Pixel;
  const auto change = [&](auto op) { ChangeRun<Depth>(row, column, count, op); };
  if (fillMode == kFillStronger) {
    change([&rule](Pixel p) { return rule.Stronger(p); });
    return;
  }
  if constexpr (FillRule<Depth>::kMixes) {
    if (fillMode == kFillMix) {
      change([&rule](Pixel p) { return rule.Mixed(p); });
      return;
    }
  }
  if constexpr (FillRule<Depth>::kErases) {
    if (fillMode == kFillErase) {
      change([&rule](Pixel p) { return rule.Erased(p); });
      return;
    }
  }
  FillRun<Depth>(row, column, count, Depth::FillOf(rule.paint));
}

/// The pixel that a simple row is made of: the colour counts as a value of the depth's own, save at
/// 1 and 8 bits.
template <class Depth>
inline typename Depth::Pixel RowPixel(DWORD color) {
  return Depth::FromNative(color, {});
}
template <>
inline BYTE RowPixel<Depth1>(DWORD color) {
  return KXVOffscreen::QMCOLORREFtoBYTE1(color);
}
template <>
inline BYTE RowPixel<Depth8>(DWORD color) {
  return KXVOffscreen::QMCOLORREFtoBYTE8(color);
}
template <>
inline u64 RowPixel<Depth64>(DWORD color) {
  return Depth64::From32(color);
}

/// What a search along a row looks at: the strength of a pixel, the strength where there is no
/// memory, and whether the first pixel of any strength ends it.
template <class Depth>
struct SearchRule {
  static constexpr bool kEndsAtFirst = false;
  static constexpr int kAway = 0;
  static int Strength(typename Depth::Pixel p) { return Alpha(Depth::To32(p)); }
};
template <>
struct SearchRule<Depth1> {
  static constexpr bool kEndsAtFirst = true;
  static constexpr int kAway = 0;
  static int Strength(BYTE p) { return Depth1::To1(p) ? 255 : 0; }
};
template <>
struct SearchRule<Depth2> {
  static constexpr bool kEndsAtFirst = true;
  static constexpr int kAway = 0;
  static int Strength(BYTE p) { return Depth2::To2(p) ? 255 : 0; }
};
template <>
struct SearchRule<Depth8> {
  static constexpr bool kEndsAtFirst = false;
  static constexpr int kAway = 0;
  static int Strength(BYTE p) { return Depth8::To8(p); }
};
template <>
struct SearchRule<Depth64> {
  static constexpr bool kEndsAtFirst = false;
  static constexpr int kAway = 0;
  static int Strength(u64 p) { return Alpha64(p); }
};
/// The red, which reads as full where there is no memory.
template <>
struct SearchRule<Depth24> {
  static constexpr bool kEndsAtFirst = false;
  static constexpr int kAway = 255;
  static int Strength(DWORD p) { return static_cast<BYTE>(Depth24::To24(p)); }
};

}  // namespace kxw
