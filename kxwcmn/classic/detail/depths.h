#pragma once

#include <bit>
#include <cstddef>
#include <cstring>

#include "kxwcmn/core/color.h"
#include "kxwcmn/platform/types.h"

/// The four depths of the classic images, a struct of pure functions each, in the manner of those
/// of the tiled images; the loops over rows that take a depth take either kind. The rules differ:
/// densities are those of plain sums of channels, the bytes of a pixel stand in another order, and
/// white is no less a colour than black.
///
/// `Load` and `Store` move a pixel between memory and its value; `mask` picks its bit at 1 bit.
/// `To…` are the reads and `From…` the writes, by the depth in whose terms they speak. Several
/// cells break the pattern of their neighbours, and reads and writes do not agree: all are meant.
namespace kxw {

/// Red, green and blue together, 0 to 765.
constexpr DWORD ChannelSum(DWORD c) { return DWORD{Red(c)} + Green(c) + Blue(c); }

/// The density of a sum of channels, 255.0 - sum * 0.333 truncated. What is taken off is rounded up
/// from 128ths, in arithmetic of 16 bits, for which there are vectors.
constexpr BYTE DensityOfSum(DWORD sum) {
  const DWORD part = (sum << 6) * 43647 >> 16;  // sum * 0.333 * 128
  return static_cast<BYTE>(255 - ((part + 127) >> 7));
}
/// Below this sum a colour reads as black.
inline constexpr DWORD kWhiteSum = 382;

/// The density of a fore colour, unlike that of a pixel's colour.
constexpr BYTE ForeDensity(DWORD c) { return static_cast<BYTE>(255 - ChannelSum(c) / 3); }

/// 1 bit: 1 is black, 0 white; the leftmost pixel in bit 7.
struct Classic1 {
  using Pixel = BYTE;
  static constexpr int kBits = 1;

  static constexpr Pixel Load(const BYTE* at, BYTE mask) { return (*at & mask) != 0; }
  static void Store(BYTE* at, BYTE mask, Pixel p) {
    *at = static_cast<BYTE>(p ? *at | mask : *at & ~mask);
  }

  static BYTE To1(Pixel p) { return p; }
  static BYTE To8(Pixel p) { return p ? 255 : 0; }
  static DWORD To24(Pixel p) { return p ? 0 : 0x00FFFFFF; }
  static DWORD To32(Pixel p) { return p ? 0xFF000000 : 0xFFFFFFFF; }

  static Pixel From1(BYTE v) { return v == 1; }
  static Pixel From8(BYTE v) { return v >= 128; }
  // The packed colour is held against the bound of a sum, so any red without green and blue is
  // black; this is kept so.
  static Pixel From24(DWORD c) { return (c & 0x00FFFFFF) < kWhiteSum; }
  static Pixel From32(DWORD c) { return From24(c); }

  using Fill = BYTE;
  static Fill FillOf(Pixel p) { return p ? 0xFF : 0; }
};

/// 8 bits: a density, 255 black and 0 white.
struct Classic8 {
  using Pixel = BYTE;
  static constexpr int kBits = 8;

  static Pixel Load(const BYTE* at, BYTE) { return *at; }
  static void Store(BYTE* at, BYTE, Pixel p) { *at = p; }

  static BYTE To1(Pixel p) { return p >= 128; }
  static BYTE To8(Pixel p) { return p; }
  static DWORD To24(Pixel p) { return MakeGrey(255u - p, 0); }
  static DWORD To32(Pixel p) { return MakeGrey(255u - p, 255); }

  static Pixel From1(BYTE v) { return v == 1 ? 255 : 0; }
  static Pixel From8(BYTE v) { return v; }
  static Pixel From24(DWORD c) { return DensityOfSum(ChannelSum(c)); }
  static Pixel From32(DWORD c) { return From24(c); }

  using Fill = BYTE;
  static Fill FillOf(Pixel p) { return p; }
};

/// 24 bits: red, green, blue.
struct Classic24 {
  using Pixel = DWORD;  // the colour with a top byte of 0
  static constexpr int kBits = 24;

  static Pixel Load(const BYTE* at, BYTE) { return MakeColor(at[0], at[1], at[2], 0); }
  static void Store(BYTE* at, BYTE, Pixel p) {
    at[0] = Red(p);
    at[1] = Green(p);
    at[2] = Blue(p);
  }

  static BYTE To1(Pixel p) { return ChannelSum(p) < kWhiteSum; }
  static BYTE To8(Pixel p) { return DensityOfSum(ChannelSum(p)); }
  static DWORD To24(Pixel p) { return p; }
  static DWORD To32(Pixel p) { return 0xFF000000 | p; }

  static Pixel From1(BYTE v) { return v == 1 ? 0 : 0x00FFFFFF; }
  static Pixel From8(BYTE v) { return MakeGrey(255u - v, 0); }
  static Pixel From24(DWORD c) { return c & 0x00FFFFFF; }
  static Pixel From32(DWORD c) { return c & 0x00FFFFFF; }

  using Fill = Pixel;
  static Fill FillOf(Pixel p) { return p; }
};

/// 32 bits: alpha, red, green, blue.
struct Classic32 {
  using Pixel = DWORD;
  static constexpr int kBits = 32;

  // The word that stands in memory, low byte first, is the colour turned by a byte.
  static Pixel Load(const BYTE* at, BYTE) {
    DWORD word;
    std::memcpy(&word, at, sizeof word);
    return std::rotr(word, 8);
  }
  static void Store(BYTE* at, BYTE, Pixel p) {
    const DWORD word = std::rotl(p, 8);
    std::memcpy(at, &word, sizeof word);
  }

  static BYTE To1(Pixel p) { return ChannelSum(p) < kWhiteSum; }
  static BYTE To8(Pixel p) { return DensityOfSum(ChannelSum(p)); }
  static DWORD To24(Pixel p) { return p & 0x00FFFFFF; }
  static DWORD To32(Pixel p) { return p; }

  // All four bytes, alpha too.
  static Pixel From1(BYTE v) { return v == 1 ? 0 : 0xFFFFFFFF; }
  static Pixel From8(BYTE v) { return MakeGrey(255u - v, 255u - v); }
  static Pixel From24(DWORD c) { return 0xFF000000 | c; }
  static Pixel From32(DWORD c) { return c; }

  using Fill = Pixel;
  static Fill FillOf(Pixel p) { return p; }
};

/// Calls `op` with the struct of the depth of `bitCount` bits, one of the four, and returns what it
/// returns.
template <class Op>
constexpr auto WithClassicDepth(int bitCount, Op op) {
  switch (bitCount) {
    case 1:
      return op(Classic1{});
    case 8:
      return op(Classic8{});
    case 24:
      return op(Classic24{});
    default:
      return op(Classic32{});
  }
}

}  // namespace kxw
