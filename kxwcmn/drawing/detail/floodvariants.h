#pragma once

#include "kxwcmn/core/pixelmath_internal.h"
#include "kxwcmn/offscreen/detail/depths.h"
#include "kxwcmn/offscreen/voffscreen.h"

/// The variants of the flood fill, one struct each.
///
/// A variant names the terms in which it reads the painted image (going left and going right),
/// reads the reference and writes, what it takes for a fill value, and when a pixel of the
/// reference matches: `Match` while painting, `MatchSkip` while it looks for the next run. Some of
/// them read or compare differently by direction: fills of existing documents depend on it and it
/// is meant.
namespace kxw::flood {

/// The terms of a depth: the read and the write of the image's cursor, and the same on a pixel of
/// `Depth`; `kMissing` is what a read gives where there is no memory.
#define KXW_TERMS(Bits, Type, Missing)                                              \
  struct Terms##Bits {                                                              \
    using Value = Type;                                                             \
    static Value Get(KXVOffscreen& image) { return image.Get##Bits##BitColor(); }   \
    static void Set(KXVOffscreen& image, Value v) { image.Set##Bits##BitColor(v); } \
    template <class Depth>                                                          \
    static Value To(typename Depth::Pixel p) {                                      \
      return Depth::To##Bits(p);                                                    \
    }                                                                               \
    template <class Depth>                                                          \
    static typename Depth::Pixel From(Value v, const ClearColors&) {                \
      return Depth::From##Bits(v);                                                  \
    }                                                                               \
    template <class Depth>                                                          \
    static constexpr Value kMissing = Missing;                                      \
  };
KXW_TERMS(2, BYTE, Depth::k2Default)
KXW_TERMS(8, BYTE, 0)
KXW_TERMS(24, DWORD, 0x00FFFFFF)
KXW_TERMS(32, DWORD, 0)
KXW_TERMS(48, u64, Depth::k48Default)
KXW_TERMS(64, u64, 0)
#undef KXW_TERMS

/// At 1 bit what is written depends on the image's clear values.
struct Terms1 {
  using Value = BYTE;
  static Value Get(KXVOffscreen& image) { return image.Get1BitColor(); }
  static void Set(KXVOffscreen& image, Value v) { image.Set1BitColor(v); }
  template <class Depth>
  static Value To(typename Depth::Pixel p) {
    return Depth::To1(p);
  }
  template <class Depth>
  static typename Depth::Pixel From(Value v, const ClearColors& clear) {
    return Depth::From1(v, clear);
  }
  template <class Depth>
  static constexpr Value kMissing = 0;
};

/// At 16 bits a value of 0, which is a pixel that was never touched, stands for white.
struct Terms16 {
  using Value = DWORD;
  static constexpr DWORD WhiteForNothing(DWORD v) { return v ? v : 0x00FFFFFF; }
  static Value Get(KXVOffscreen& image) { return WhiteForNothing(image.Get16BitColor()); }
  static void Set(KXVOffscreen& image, Value v) { image.Set16BitColor(v); }
  template <class Depth>
  static Value To(typename Depth::Pixel p) {
    return WhiteForNothing(Depth::To16(p));
  }
  template <class Depth>
  static typename Depth::Pixel From(Value v, const ClearColors&) {
    return Depth::From16(v);
  }
  template <class Depth>
  static constexpr Value kMissing = WhiteForNothing(Depth::k16Default);
};

/// What most variants have in common: one set of terms for everything, and equality.
template <class Terms>
struct Exact {
  using ReadLeft = Terms;
  using ReadRight = Terms;
  using Ref = Terms;
  using Write = Terms;
  using Value = typename Terms::Value;
  static constexpr bool kIsExact = true;
  static constexpr bool kSkipsAsItPaints = true;  // `MatchSkip` is `Match`
  static constexpr bool kHasSecond = false;
  static Value FillValue(Value color) { return color; }
  static bool Match(Value base, Value pixel, int) { return base == pixel; }
  static bool MatchSkip(Value base, Value pixel, int) { return base == pixel; }
};

struct From1 : Exact<Terms1> {
  static constexpr bool kHasSecond = true;
  using Second = Terms1;
  static BYTE FillValue(DWORD color) { return KXVOffscreen::QMCOLORREFtoBYTE1(color); }
  static bool MatchSecond(BYTE base, BYTE pixel, int) { return base == pixel; }
};

struct From2 : Exact<Terms2> {
  static BYTE FillValue(DWORD color) { return KXVOffscreen::QMCOLORREFtoBYTE2(color); }
};

struct From8Exact : Exact<Terms8> {
  static BYTE FillValue(DWORD color) { return WeighedDensity(color); }
};
struct From8 : From8Exact {
  static constexpr bool kIsExact = false;
  static bool Match(BYTE base, BYTE pixel, int margin) { return IsWithin(base, pixel, margin); }
  static bool MatchSkip(BYTE base, BYTE pixel, int margin) { return Match(base, pixel, margin); }
};

struct From16Exact : Exact<Terms16> {
  using Write = Terms24;
};
struct From16 : Exact<Terms16> {
  static constexpr bool kIsExact = false;
  static bool Match(DWORD base, DWORD pixel, int margin) {
    return ArePixelsWithin(base, pixel, margin);
  }
  static bool MatchSkip(DWORD base, DWORD pixel, int margin) { return Match(base, pixel, margin); }
};

struct From32Exact : Exact<Terms32> {
  using ReadRight = Terms24;
};
struct From32 : From32Exact {
  static constexpr bool kIsExact = false;
  static constexpr bool kSkipsAsItPaints = false;
  static bool Match(DWORD base, DWORD pixel, int margin) {
    return AreColorsWithin(base, pixel, margin);
  }
  static bool MatchSkip(DWORD base, DWORD pixel, int margin) {
    return ArePixelsWithin(base, pixel, margin);
  }
};

struct From64Exact : Exact<Terms64> {};
struct From64 : Exact<Terms64> {
  static constexpr bool kIsExact = false;
  static constexpr bool kSkipsAsItPaints = false;
  using ReadLeft = Terms48;
  using ReadRight = Terms48;
  using Write = Terms48;
  static bool Match(u64 base, u64 pixel, int margin) {
    return AreColors64Within(base, pixel, margin);
  }
  static bool MatchSkip(u64 base, u64 pixel, int margin) {
    return ArePixels64Within(base, pixel, margin);
  }
};

struct FromGeneric : Exact<Terms24> {
  static constexpr bool kIsExact = false;
  static constexpr bool kHasSecond = true;
  using Second = Terms8;
  static bool Match(DWORD base, DWORD pixel, int margin) {
    return AreColorsWithin(base, pixel, margin);
  }
  static bool MatchSkip(DWORD base, DWORD pixel, int margin) { return Match(base, pixel, margin); }
  static bool MatchSecond(BYTE base, BYTE pixel, int margin) {
    return IsWithin(base, pixel, margin);
  }
};

}  // namespace kxw::flood
