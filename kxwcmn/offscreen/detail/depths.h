#pragma once

#include <cstring>

#include "kxwcmn/core/color.h"
#include "kxwcmn/core/pixelmath_internal.h"
#include "kxwcmn/offscreen/voffscreen.h"
#include "kxwcmn/platform/types.h"

/// The seven depths: one struct each, of pure functions, from which the classes and every loop over
/// pixels are built.
///
/// `Load` and `Store` move a pixel between memory and its value; `mask` picks the pixel's bits in
/// its byte below 8 bits and means nothing above. `To…` are the reads and `From…` the writes, by
/// the depth in whose terms they speak; `k…Default` is what a read gives where there is no memory.
/// A `Fill` is what a run of equal pixels is written with: below 8 bits a byte full of them, above
/// the pixel itself; `ClearFill` is that of the clear value.
/// Thresholds of reading and writing differ, and several cells break the pattern of their
/// neighbours: they define the pixels of existing images and are all meant.
namespace kxw {

/// The image's clear values, which some writes and the clearing of blocks depend on.
struct ClearColors {
  BYTE byte;
  DWORD color;
  u64 color64;
};

/// The luminance of a colour, its alpha left out.
constexpr unsigned LuminanceOf(DWORD c) { return Luminance(Red(c), Green(c), Blue(c)); }
/// The density of a colour as its alpha weighs it.
constexpr BYTE WeighedDensity(DWORD c) {
  return static_cast<BYTE>(Weigh(255 - LuminanceOf(c), Alpha(c)));
}
/// `density` weighed by `alpha`, times 256 and with the fraction cut off: what the 1-bit thresholds
/// look at.
constexpr unsigned WeighedHigh(unsigned density, unsigned alpha) {
  return density * (alpha + 1) & ~0xFFu;
}

/// 1 bit: 1 is drawn, 0 transparent; the leftmost pixel in bit 7.
struct Depth1 {
  using Pixel = BYTE;
  static constexpr int kBits = 1;
  static constexpr DWORD kInitialClear = 0x00FFFFFF;
  static constexpr int kInitialTransparency = 256;

  static constexpr Pixel Load(const BYTE* at, BYTE mask) { return (*at & mask) != 0; }
  static void Store(BYTE* at, BYTE mask, Pixel p) {
    *at = static_cast<BYTE>(p ? *at | mask : *at & ~mask);
  }

  static constexpr BYTE k2Default = 0, k8MaskDefault = 255;
  static constexpr DWORD k16Default = 0;
  static constexpr u64 k48Default = 0x00FFFFFF;
  static constexpr int k16MaskDefault = 65535;

  static constexpr DWORD kNativeDefault = 0;
  static DWORD Native(Pixel p) { return p; }
  static BYTE To1(Pixel p) { return p; }
  static BYTE To2(Pixel p) { return p ? 3 : 0; }
  static BYTE To8(Pixel p) { return p ? 255 : 0; }
  static DWORD To16(Pixel p) { return p ? 0xFF000000 : 0; }
  static DWORD To24(Pixel p) { return p ? 0 : 0x00FFFFFF; }
  static DWORD To32(Pixel p) { return To16(p); }
  static u64 To48(Pixel p) { return p ? 0 : 0x00FFFFFF; }
  static u64 To64(Pixel p) { return p ? 0xFFFF000000000000 : 0; }
  static BYTE ToImage8(Pixel p) { return To8(p); }
  static DWORD ToImage24(Pixel p) { return To24(p); }
  static BYTE ToMask8(Pixel) { return 255; }
  static int ToMask16(Pixel) { return 65535; }

  static Pixel FromNative(DWORD v, const ClearColors& clear) {
    return From1(static_cast<BYTE>(v), clear);
  }
  static Pixel From1(BYTE v, const ClearColors&) { return v != 0; }
  static Pixel From2(BYTE v) { return (v & 2) != 0; }
  static Pixel From8(BYTE v) { return v >= 128; }
  static Pixel From16(DWORD c) { return WeighedHigh(255u - Blue(c), Alpha(c)) >= 32513; }
  static Pixel From24(DWORD c) { return 255 - LuminanceOf(c) >= 128; }
  static Pixel From32(DWORD c) { return WeighedHigh(255 - LuminanceOf(c), Alpha(c)) >= 32513; }
  static Pixel From48(u64 c) { return From24(NarrowColor(c)); }
  static Pixel From64(u64 c) { return From32(NarrowColor(c)); }
  static Pixel WithMask8(Pixel p, BYTE) { return p; }
  static Pixel WithMask16(Pixel p, int) { return p; }

  /// The bytes that a block is cleared with, over and over; returns how many they are.
  static int ClearPattern(const ClearColors& clear, BYTE* bytes) {
    bytes[0] = clear.byte;
    return 1;
  }
  using Fill = BYTE;
  static Fill FillOf(Pixel p) { return p ? 0xFF : 0; }
  static Fill ClearFill(const ClearColors& clear) { return clear.byte; }

  static bool IsTransparent(Pixel p, int) { return p == 0; }
  static DWORD MakeNative(DWORD c) {
    return WeighedHigh(255 - LuminanceOf(c), Alpha(c)) > 32512 ? 1 : 0;
  }

  /// The bits that make a pixel count as used when empty blocks are looked for, and in an extent.
  static constexpr u64 kUsedBits = ~0ull;
  static constexpr u64 kExtentBits = ~0ull;
};

/// 2 bits: 0 transparent, 1 not defined, 2 white, 3 black; the leftmost pixel in bits 7 and 6.
struct Depth2 {
  using Pixel = BYTE;
  static constexpr int kBits = 2;
  static constexpr DWORD kInitialClear = 0x00FFFFFF;
  static constexpr int kInitialTransparency = 256;

  // A mask of two neighbouring bits spreads a value 0 to 3 by multiplication with its low bit, and
  // the product with 0x55 has the value in all four places.
  static constexpr Pixel Load(const BYTE* at, BYTE mask) {
    const unsigned bits = *at & mask;
    return static_cast<Pixel>((bits | bits >> 2 | bits >> 4 | bits >> 6) & 3);
  }
  static void Store(BYTE* at, BYTE mask, Pixel p) {
    *at = static_cast<BYTE>((*at & ~mask) | (p * 0x55 & mask));
  }

  static constexpr BYTE k2Default = 0, k8MaskDefault = 0;
  static constexpr DWORD k16Default = 0;
  static constexpr u64 k48Default = 0x0000FFFFFFFFFFFF;
  static constexpr int k16MaskDefault = 65535;

  static constexpr DWORD kNativeDefault = 0;
  static DWORD Native(Pixel p) { return To2(p); }
  static BYTE To1(Pixel p) { return p == 3; }
  static BYTE To2(Pixel p) { return p == 1 ? 0 : p; }
  static BYTE To8(Pixel p) { return p == 3 ? 255 : 0; }
  static DWORD To16(Pixel p) { return p == 3 ? 0xFF000000 : p == 2 ? 0xFFFFFFFF : 0; }
  static DWORD To24(Pixel p) { return p == 3 ? 0 : 0x00FFFFFF; }
  static DWORD To32(Pixel p) { return To16(p); }
  static u64 To48(Pixel p) { return p == 3 ? 0 : 0x0000FFFFFFFFFFFF; }
  static u64 To64(Pixel p) { return p == 3 ? 0xFFFF000000000000 : p == 2 ? ~0ull : 0; }
  static BYTE ToImage8(Pixel p) { return p & 1 ? 255 : 0; }
  static DWORD ToImage24(Pixel p) { return p & 1 ? 0 : 0x00FFFFFF; }
  static BYTE ToMask8(Pixel p) { return p & 2 ? 255 : 0; }
  static int ToMask16(Pixel p) { return p & 2 ? 65535 : 0; }

  static Pixel FromNative(DWORD v, const ClearColors&) { return From2(static_cast<BYTE>(v)); }
  static Pixel From1(BYTE v, const ClearColors&) { return v ? 3 : 0; }
  static Pixel From2(BYTE v) { return v == 2 || v == 3 ? v : 0; }
  static Pixel From8(BYTE v) { return v >= 127 ? 3 : 0; }
  static Pixel From16(DWORD c) {
    if (Alpha(c) < 0x7F) return 0;
    return Blue(c) >= 0x7F ? 2 : 3;
  }
  // A dark colour clears the pixel here and does not draw it black; this is meant.
  static Pixel From24(DWORD c) { return LuminanceOf(c) >= 127 ? 2 : 0; }
  static Pixel From32(DWORD c) {
    if (Alpha(c) <= 0x7F) return 0;
    return LuminanceOf(c) >= 127 ? 2 : 3;
  }
  static Pixel From48(u64 c) { return From24(NarrowColor(c)); }
  static Pixel From64(u64 c) { return From32(NarrowColor(c)); }
  static Pixel WithMask8(Pixel, BYTE v) { return From8(v); }
  static Pixel WithMask16(Pixel, int v) { return From8(static_cast<BYTE>(v >> 8)); }

  // There is no clear value at this depth.
  static int ClearPattern(const ClearColors&, BYTE* bytes) {
    bytes[0] = 0;
    return 1;
  }
  using Fill = BYTE;
  static Fill FillOf(Pixel p) { return static_cast<BYTE>(p * 0x55); }
  static Fill ClearFill(const ClearColors&) { return 0; }

  static bool IsTransparent(Pixel p, int flag) { return flag ? p != 3 : p == 0; }
  static DWORD MakeNative(DWORD c) {
    if (Alpha(c) < 128) return 0;
    return LuminanceOf(c) >= 127 ? 2 : 3;
  }

  static constexpr u64 kUsedBits = ~0ull;
  // The undefined value 1 reads as 0, so an extent leaves it out.
  static constexpr u64 kExtentBits = 0xAAAAAAAAAAAAAAAA;
};

/// 8 bits: a density, 0 nothing and 255 full black.
struct Depth8 {
  using Pixel = BYTE;
  static constexpr int kBits = 8;
  static constexpr DWORD kInitialClear = 0x00FFFFFF;
  static constexpr int kInitialTransparency = 256;

  static Pixel Load(const BYTE* at, BYTE) { return *at; }
  static void Store(BYTE* at, BYTE, Pixel p) { *at = p; }

  static constexpr BYTE k2Default = 0, k8MaskDefault = 255;
  static constexpr DWORD k16Default = 0;
  static constexpr u64 k48Default = 0x0000FFFFFFFFFFFF;
  static constexpr int k16MaskDefault = 65535;

  static constexpr DWORD kNativeDefault = 0;
  static DWORD Native(Pixel p) { return p; }
  static BYTE To1(Pixel p) { return p > 127; }
  static BYTE To2(Pixel p) { return p >= 128 ? 3 : 0; }
  static BYTE To8(Pixel p) { return p; }
  static DWORD To16(Pixel p) { return static_cast<DWORD>(p) << 24; }
  static DWORD To24(Pixel p) { return MakeGrey(255u - p, 255); }
  static DWORD To32(Pixel p) { return To16(p); }
  static u64 To48(Pixel p) { return MakeGrey64(WidenByte(static_cast<BYTE>(255 - p)), 0xFFFF); }
  static u64 To64(Pixel p) { return static_cast<u64>(p * 257u) << 48; }
  static BYTE ToImage8(Pixel p) { return p; }
  static DWORD ToImage24(Pixel p) { return To24(p); }
  static BYTE ToMask8(Pixel) { return 255; }
  static int ToMask16(Pixel) { return 65535; }

  static Pixel FromNative(DWORD v, const ClearColors&) { return static_cast<BYTE>(v); }
  static Pixel From1(BYTE v, const ClearColors&) { return v ? 255 : 0; }
  static Pixel From2(BYTE v) { return v ? 255 : 0; }
  static Pixel From8(BYTE v) { return v; }
  static Pixel From16(DWORD c) { return static_cast<BYTE>(Weigh(255u - Blue(c), Alpha(c))); }
  static Pixel From24(DWORD c) { return static_cast<BYTE>(255 - LuminanceOf(c)); }
  static Pixel From32(DWORD c) { return WeighedDensity(c); }
  static Pixel From48(u64 c) { return From24(NarrowColor(c)); }
  static Pixel From64(u64 c) { return From32(NarrowColor(c)); }
  static Pixel WithMask8(Pixel p, BYTE) { return p; }
  static Pixel WithMask16(Pixel p, int) { return p; }

  static int ClearPattern(const ClearColors& clear, BYTE* bytes) {
    bytes[0] = clear.byte;
    return 1;
  }
  using Fill = Pixel;
  static Fill FillOf(Pixel p) { return p; }
  static Fill ClearFill(const ClearColors& clear) { return clear.byte; }

  static bool IsTransparent(Pixel p, int) { return p == 0; }
  static DWORD MakeNative(DWORD c) { return WeighedDensity(c); }

  static constexpr u64 kUsedBits = ~0ull;
  static constexpr u64 kExtentBits = ~0ull;
};

/// 16 bits: alpha, then grey, of which 0 is black.
struct Depth16 {
  struct Pixel {
    BYTE alpha, grey;  // memory order
  };
  static constexpr int kBits = 16;
  static constexpr DWORD kInitialClear = 0;
  static constexpr int kInitialTransparency = 256;

  static Pixel Load(const BYTE* at, BYTE) { return {at[0], at[1]}; }
  static void Store(BYTE* at, BYTE, Pixel p) {
    at[0] = p.alpha;
    at[1] = p.grey;
  }

  static constexpr BYTE k2Default = 0, k8MaskDefault = 0;
  static constexpr DWORD k16Default = 0;
  static constexpr u64 k48Default = 0x0000FFFFFFFFFFFF;
  static constexpr int k16MaskDefault = 0;

  static constexpr DWORD kNativeDefault = 0;
  static DWORD Native(Pixel p) { return To16(p); }
  static BYTE To1(Pixel p) { return p.alpha >= 128; }
  static BYTE To2(Pixel p) { return p.alpha < 128 ? 0 : p.grey < 128 ? 3 : 2; }
  static BYTE To8(Pixel p) { return p.alpha; }
  static DWORD To16(Pixel p) { return MakeGrey(p.grey, p.alpha); }
  static DWORD To24(Pixel p) { return To16(p); }
  static DWORD To32(Pixel p) { return To16(p); }
  static u64 To48(Pixel p) { return MakeGrey64(WidenByte(p.grey), WidenByte(p.alpha)); }
  static u64 To64(Pixel p) { return To48(p); }
  static BYTE ToImage8(Pixel p) { return static_cast<BYTE>(255 - p.grey); }
  static DWORD ToImage24(Pixel p) { return MakeGrey(p.grey, 255); }
  static BYTE ToMask8(Pixel p) { return p.alpha; }
  static int ToMask16(Pixel p) { return p.alpha * 257; }

  static Pixel FromNative(DWORD v, const ClearColors&) { return From16(v); }
  static Pixel From1(BYTE v, const ClearColors&) { return {static_cast<BYTE>(v ? 255 : 0), 0}; }
  static Pixel From2(BYTE v) {
    if (v == 2) return {255, 255};
    if (v == 3) return {255, 0};
    return {0, 0};
  }
  static Pixel From8(BYTE v) { return {v, 0}; }
  static Pixel From16(DWORD c) { return {Alpha(c), Blue(c)}; }
  static Pixel From24(DWORD c) { return {255, static_cast<BYTE>(LuminanceOf(c))}; }
  static Pixel From32(DWORD c) { return {Alpha(c), static_cast<BYTE>(LuminanceOf(c))}; }
  static Pixel From48(u64 c) { return From24(NarrowColor(c)); }
  static Pixel From64(u64 c) { return From32(NarrowColor(c)); }
  static Pixel WithMask8(Pixel p, BYTE v) { return {v, p.grey}; }
  static Pixel WithMask16(Pixel p, int v) { return {static_cast<BYTE>(v >> 8), p.grey}; }

  static int ClearPattern(const ClearColors& clear, BYTE* bytes) {
    bytes[0] = Alpha(clear.color);
    bytes[1] = Blue(clear.color);
    return 2;
  }
  using Fill = Pixel;
  static Fill FillOf(Pixel p) { return p; }
  static Fill ClearFill(const ClearColors& clear) { return From16(clear.color); }

  static bool IsTransparent(Pixel p, int) { return p.alpha == 0; }
  static DWORD MakeNative(DWORD c) {
    return static_cast<DWORD>(Alpha(c)) << 24 | LuminanceOf(c) << 16;
  }

  static constexpr u64 kUsedBits = 0x00FF00FF00FF00FF;
  static constexpr u64 kExtentBits = kUsedBits;
};

/// 24 bits: blue, green, red; no alpha.
struct Depth24 {
  using Pixel = DWORD;  // the colour with a top byte of 0
  static constexpr int kBits = 24;
  static constexpr DWORD kInitialClear = 0x00FFFFFF;
  static constexpr int kInitialTransparency = 256;

  static Pixel Load(const BYTE* at, BYTE) { return MakeColor(at[2], at[1], at[0], 0); }
  static void Store(BYTE* at, BYTE, Pixel p) {
    at[0] = Blue(p);
    at[1] = Green(p);
    at[2] = Red(p);
  }

  static constexpr BYTE k2Default = 2, k8MaskDefault = 255;
  static constexpr DWORD k16Default = 0;
  static constexpr u64 k48Default = 0x0000FFFFFFFFFFFF;
  static constexpr int k16MaskDefault = 65535;

  static constexpr DWORD kNativeDefault = 0x00FFFFFF;
  static DWORD Native(Pixel p) { return ToImage24(p); }
  static BYTE To1(Pixel p) { return LuminanceOf(p) < 129; }
  static BYTE To2(Pixel p) { return LuminanceOf(p) < 129 ? 3 : 2; }
  static BYTE To8(Pixel p) { return static_cast<BYTE>(255 - LuminanceOf(p)); }
  static DWORD To16(Pixel p) { return 0xFF000000 | p; }
  static DWORD To24(Pixel p) { return p; }
  static DWORD To32(Pixel p) { return To16(p); }
  static u64 To48(Pixel p) { return WidenColor(p); }
  static u64 To64(Pixel p) { return WidenColor(0xFF000000 | p); }
  static BYTE ToImage8(Pixel p) { return To8(p); }
  static DWORD ToImage24(Pixel p) { return To24(p); }
  static BYTE ToMask8(Pixel) { return 255; }
  static int ToMask16(Pixel) { return 65535; }

  static Pixel FromNative(DWORD v, const ClearColors&) { return From24(v); }
  static Pixel From1(BYTE v, const ClearColors&) { return v ? 0 : 0x00FFFFFF; }
  static Pixel From2(BYTE v) { return v == 3 ? 0 : 0x00FFFFFF; }
  static Pixel From8(BYTE v) { return MakeGrey(255u - v, 0); }
  static Pixel From16(DWORD c) { return c & 0x00FFFFFF; }
  static Pixel From24(DWORD c) { return c & 0x00FFFFFF; }
  static Pixel From32(DWORD c) { return c & 0x00FFFFFF; }
  static Pixel From48(u64 c) { return From24(NarrowColor(c)); }
  static Pixel From64(u64 c) { return From24(NarrowColor(c)); }
  static Pixel WithMask8(Pixel p, BYTE) { return p; }
  static Pixel WithMask16(Pixel p, int) { return p; }

  static int ClearPattern(const ClearColors& clear, BYTE* bytes) {
    Store(bytes, 0, clear.color);
    return 3;
  }
  using Fill = Pixel;
  static Fill FillOf(Pixel p) { return p; }
  static Fill ClearFill(const ClearColors& clear) { return From24(clear.color); }

  static bool IsTransparent(Pixel p, int flag) { return flag && p == 0x00FFFFFF; }
  static DWORD MakeNative(DWORD c) { return c & 0x00FFFFFF; }

  // Black counts as empty when blocks are given back, though every pixel counts in an extent.
  static constexpr u64 kUsedBits = ~0ull;
  static constexpr u64 kExtentBits = 0;
};

/// 32 bits: blue, green, red, alpha.
struct Depth32 {
  using Pixel = DWORD;
  static constexpr int kBits = 32;
  static constexpr DWORD kInitialClear = 0x00FFFFFF;
  static constexpr int kInitialTransparency = 256;

  /// Turns a colour into the word that stands in memory, low byte first, and back.
  static constexpr DWORD SwapRedBlue(DWORD c) {
    return (c & 0xFF00FF00) | (c & 0xFF) << 16 | (c >> 16 & 0xFF);
  }

  static Pixel Load(const BYTE* at, BYTE) {
    DWORD word;
    std::memcpy(&word, at, sizeof word);
    return SwapRedBlue(word);
  }
  static void Store(BYTE* at, BYTE, Pixel p) {
    const DWORD word = SwapRedBlue(p);
    std::memcpy(at, &word, sizeof word);
  }

  static constexpr BYTE k2Default = 0, k8MaskDefault = 0;
  static constexpr DWORD k16Default = 0xFFFFFFFF;
  static constexpr u64 k48Default = 0x0000FFFFFFFFFFFF;
  static constexpr int k16MaskDefault = 0;

  /// The three colours, each weighed by alpha.
  static constexpr DWORD Weighed(Pixel p) {
    const unsigned a = Alpha(p);
    return MakeColor(Weigh(Red(p), a), Weigh(Green(p), a), Weigh(Blue(p), a), 0);
  }

  static constexpr DWORD kNativeDefault = 0;
  static DWORD Native(Pixel p) { return p; }
  static BYTE To1(Pixel p) { return WeighedHigh(255 - LuminanceOf(p), Alpha(p)) >= 32768; }
  // The opposite way round to the 16-bit depth: an opaque pixel reads as transparent. It is meant.
  static BYTE To2(Pixel p) { return Alpha(p) >= 128 ? 0 : LuminanceOf(p) <= 128 ? 3 : 2; }
  static BYTE To8(Pixel p) { return WeighedDensity(p); }
  static DWORD To16(Pixel p) { return MakeGrey(LuminanceOf(p), Alpha(p)); }
  static DWORD To24(Pixel p) { return 0xFF000000 | Weighed(p); }
  static DWORD To32(Pixel p) { return p; }
  static u64 To48(Pixel p) { return WidenColor(0xFF000000 | Weighed(p)); }
  static u64 To64(Pixel p) { return WidenColor(p); }
  static BYTE ToImage8(Pixel p) { return static_cast<BYTE>(255 - LuminanceOf(p)); }
  static DWORD ToImage24(Pixel p) { return 0xFF000000 | p; }
  static BYTE ToMask8(Pixel p) { return Alpha(p); }
  static int ToMask16(Pixel p) { return Alpha(p) * 257; }

  static Pixel FromNative(DWORD v, const ClearColors&) { return v; }
  static Pixel From1(BYTE v, const ClearColors& clear) {
    return v ? 0xFF000000 : clear.color & 0x00FFFFFF;
  }
  static Pixel From2(BYTE v) { return v == 2 ? 0xFFFFFFFF : v == 3 ? 0xFF000000 : 0; }
  static Pixel From8(BYTE v) { return static_cast<DWORD>(v) << 24; }
  static Pixel From16(DWORD c) { return c; }
  static Pixel From24(DWORD c) { return 0xFF000000 | c; }
  static Pixel From32(DWORD c) { return c; }
  static Pixel From48(u64 c) { return 0xFF000000 | NarrowColor(c); }
  static Pixel From64(u64 c) { return NarrowColor(c); }
  static Pixel WithMask8(Pixel p, BYTE v) { return (p & 0x00FFFFFF) | static_cast<DWORD>(v) << 24; }
  static Pixel WithMask16(Pixel p, int v) { return WithMask8(p, static_cast<BYTE>(v >> 8)); }

  // The value as it stands, low byte first, and so with red and blue the other way round than
  // `Store` has them; this is meant.
  static int ClearPattern(const ClearColors& clear, BYTE* bytes) {
    std::memcpy(bytes, &clear.color, sizeof clear.color);
    return sizeof clear.color;
  }
  using Fill = Pixel;
  static Fill FillOf(Pixel p) { return p; }
  static Fill ClearFill(const ClearColors& clear) { return From32(clear.color); }

  static bool IsTransparent(Pixel p, int flag) {
    return Alpha(p) == 0 || (flag && (p & 0x00FFFFFF) == 0x00FFFFFF);
  }
  static DWORD MakeNative(DWORD c) { return c; }

  static constexpr u64 kUsedBits = 0xFF000000FF000000;
  static constexpr u64 kExtentBits = kUsedBits;
};

/// 64 bits: blue, green, red, alpha, each a word, low byte first. Most reads go through the value
/// narrowed to 32 bits.
struct Depth64 {
  using Pixel = u64;
  static constexpr int kBits = 64;
  static constexpr DWORD kInitialClear = 0x00FFFFFF;
  static constexpr int kInitialTransparency = 65536;

  static constexpr u64 SwapRedBlue(u64 c) {
    return (c & 0xFFFF0000FFFF0000) | (c & 0xFFFF) << 32 | (c >> 32 & 0xFFFF);
  }

  static Pixel Load(const BYTE* at, BYTE) {
    u64 word;
    std::memcpy(&word, at, sizeof word);
    return SwapRedBlue(word);
  }
  static void Store(BYTE* at, BYTE, Pixel p) {
    const u64 word = SwapRedBlue(p);
    std::memcpy(at, &word, sizeof word);
  }

  static constexpr BYTE k2Default = 0, k8MaskDefault = 0;
  static constexpr DWORD k16Default = 0xFFFFFFFF;
  static constexpr u64 k48Default = 0;
  static constexpr int k16MaskDefault = 0;

  static BYTE To1(Pixel p) { return Depth32::To1(NarrowColor(p)); }
  static BYTE To2(Pixel p) { return Depth32::To2(NarrowColor(p)); }
  static BYTE To8(Pixel p) { return Depth32::To8(NarrowColor(p)); }
  static DWORD To16(Pixel p) { return Depth32::To16(NarrowColor(p)); }
  static DWORD To24(Pixel p) { return Depth32::To24(NarrowColor(p)); }
  static DWORD To32(Pixel p) { return NarrowColor(p); }
  static u64 To48(Pixel p) {
    const u64 weight = Alpha64(p) + 1ull;
    return MakeColor64(Red64(p) * weight >> 16, Green64(p) * weight >> 16, Blue64(p) * weight >> 16,
                       0xFFFF);
  }
  static u64 To64(Pixel p) { return p; }
  static BYTE ToImage8(Pixel p) { return Depth32::ToImage8(NarrowColor(p)); }
  static DWORD ToImage24(Pixel p) { return Depth32::ToImage24(NarrowColor(p)); }
  static BYTE ToMask8(Pixel p) { return static_cast<BYTE>(p >> 56); }
  static int ToMask16(Pixel p) { return Alpha64(p); }

  static Pixel From1(BYTE v, const ClearColors& clear) {
    return v ? 0xFFFF000000000000 : clear.color64 & 0x0000FFFFFFFFFFFF;
  }
  static Pixel From2(BYTE v) { return v == 2 ? ~0ull : v == 3 ? 0xFFFF000000000000 : 0; }
  static Pixel From8(BYTE v) { return static_cast<u64>(v * 257u) << 48; }
  static Pixel From16(DWORD c) { return WidenColor(c); }
  static Pixel From24(DWORD c) { return WidenColor(0xFF000000 | c); }
  static Pixel From32(DWORD c) { return WidenColor(c); }
  static Pixel From48(u64 c) { return 0xFFFF000000000000 | c; }
  static Pixel From64(u64 c) { return c; }
  static Pixel WithMask8(Pixel p, BYTE v) { return WithMask16(p, v * 257); }
  static Pixel WithMask16(Pixel p, int v) {
    return (p & 0x0000FFFFFFFFFFFF) | static_cast<u64>(static_cast<WORD>(v)) << 48;
  }

  // As at 32 bits: the value as it stands.
  static int ClearPattern(const ClearColors& clear, BYTE* bytes) {
    std::memcpy(bytes, &clear.color64, sizeof clear.color64);
    return sizeof clear.color64;
  }
  using Fill = Pixel;
  static Fill FillOf(Pixel p) { return p; }
  static Fill ClearFill(const ClearColors& clear) { return From64(clear.color64); }

  static bool IsTransparent(Pixel p, int flag) {
    return Alpha64(p) == 0 || (flag && (p & 0x0000FFFFFFFFFFFF) == 0x0000FFFFFFFFFFFF);
  }
  static DWORD MakeNative(DWORD) { return 0; }

  static constexpr u64 kUsedBits = 0xFFFF000000000000;
  static constexpr u64 kExtentBits = kUsedBits;
};

/// Calls `op` with the struct of the depth of `bitCount` bits and returns what it returns. For any
/// other number `op` is not called, and the result is that of its type that is zero or null.
template <class Op>
constexpr auto WithDepth(int bitCount, Op op) -> decltype(op(Depth1{})) {
  switch (bitCount) {
    case 1:
      return op(Depth1{});
    case 2:
      return op(Depth2{});
    case 8:
      return op(Depth8{});
    case 16:
      return op(Depth16{});
    case 24:
      return op(Depth24{});
    case 32:
      return op(Depth32{});
    case 64:
      return op(Depth64{});
    default:
      return decltype(op(Depth1{}))();
  }
}

/// Where a pixel stands in a row of a block: `column` counts from the block's left.
template <class Depth>
constexpr int ByteOfColumn(int column) {
  return column * Depth::kBits / 8;
}
template <class Depth>
constexpr BYTE MaskOfColumn(int column) {
  if constexpr (Depth::kBits == 1) return static_cast<BYTE>(0x80 >> (column & 7));
  if constexpr (Depth::kBits == 2) return static_cast<BYTE>(0xC0 >> (column * 2 & 6));
  return 0;
}

/// Bytes of a block's row and of a whole block.
template <class Depth>
inline constexpr int kRowBytes = Depth::kBits* KXVOffscreen::kBlockSize / 8;
template <class Depth>
inline constexpr int kBlockBytes = kRowBytes<Depth>* KXVOffscreen::kBlockSize;

/// Steps (address, mask) one pixel to the right or left.
template <class Depth>
inline void StepRight(BYTE*& at, BYTE& mask) {
  if constexpr (Depth::kBits >= 8) {
    at += Depth::kBits / 8;
  } else {
    constexpr BYTE kFirst = Depth::kBits == 1 ? 0x80 : 0xC0;
    constexpr BYTE kLast = Depth::kBits == 1 ? 0x01 : 0x03;
    if (mask == kLast) ++at;
    mask = mask == kLast ? kFirst : static_cast<BYTE>(mask >> Depth::kBits);
  }
}
template <class Depth>
inline void StepLeft(BYTE*& at, BYTE& mask) {
  if constexpr (Depth::kBits >= 8) {
    at -= Depth::kBits / 8;
  } else {
    constexpr BYTE kFirst = Depth::kBits == 1 ? 0x80 : 0xC0;
    constexpr BYTE kLast = Depth::kBits == 1 ? 0x01 : 0x03;
    if (mask == kFirst) --at;
    mask = mask == kFirst ? kLast : static_cast<BYTE>(mask << Depth::kBits);
  }
}

}  // namespace kxw
