#pragma once

#include <cstddef>
#include <cstring>

#include "kxwcmn/core/color.h"
#include "kxwcmn/platform/types.h"

/// The depths of the bit images, a struct of pure functions each. `Load` and `Store` move the pixel
/// of a column between a row and its value.
///
/// `From` makes a pixel of one of another depth, of a bit without a branch, which noise would make
/// slow: there is a copy kernel for each pair of depths that has an overload, and none for another.
namespace kxw {

/// Tells the overloads of `From` apart.
template <int kBits>
struct FromBits {};

/// 1 bit: the leftmost pixel in bit 7; a set one is white through the palette.
struct Bit1 {
  using Pixel = BYTE;  // 0 or 1
  static constexpr int kBits = 1;

  static Pixel Load(const BYTE* row, std::ptrdiff_t x) { return row[x >> 3] >> (7 - (x & 7)) & 1; }
  static void Store(BYTE* row, std::ptrdiff_t x, Pixel p) {
    const int bit = 0x80 >> (x & 7);
    row[x >> 3] = static_cast<BYTE>(p ? row[x >> 3] | bit : row[x >> 3] & ~bit);
  }
  static Pixel From(FromBits<1>, Pixel p) { return p; }
};

/// 8 bits: a grey, 0 black and 255 white.
struct Bit8 {
  using Pixel = BYTE;
  using Fill = Pixel;
  static constexpr int kBits = 8;

  static Pixel Load(const BYTE* row, std::ptrdiff_t x) { return row[x]; }
  static void Store(BYTE* row, std::ptrdiff_t x, Pixel p) { row[x] = p; }
  static Pixel From(FromBits<1>, BYTE p) { return static_cast<Pixel>(-p); }
  static Pixel From(FromBits<8>, Pixel p) { return p; }
};

/// 16 bits: alpha, grey.
struct Bit16 {
  using Pixel = WORD;  // alpha in the low byte
  static constexpr int kBits = 16;

  static Pixel Load(const BYTE* row, std::ptrdiff_t x) {
    Pixel p;
    std::memcpy(&p, row + 2 * x, sizeof p);
    return p;
  }
  static void Store(BYTE* row, std::ptrdiff_t x, Pixel p) {
    std::memcpy(row + 2 * x, &p, sizeof p);
  }
  static constexpr DWORD Alpha(Pixel p) { return p & 0xFF; }
  static constexpr DWORD Grey(Pixel p) { return p >> 8; }

  // A mask becomes ink on paper here: a set bit is opaque black and a clear one transparent white,
  // other than at the greater depths.
  static Pixel From(FromBits<1>, BYTE p) { return static_cast<Pixel>(-p ^ 0xFF00); }
  // A grey becomes the alpha of white.
  static Pixel From(FromBits<8>, BYTE p) { return static_cast<Pixel>(p ? 0xFF00 | p : 0); }
  static Pixel From(FromBits<16>, Pixel p) { return p; }
};

/// 64 bits, for sources only: red, green, blue, alpha in words.
struct Bit64 {
  using Pixel = u64;  // red in the lowest word
  static constexpr int kBits = 64;

  static Pixel Load(const BYTE* row, std::ptrdiff_t x) {
    Pixel p;
    std::memcpy(&p, row + 8 * x, sizeof p);
    return p;
  }
  /// Channel 0 is red, 3 alpha, brought from 65535 to 255.
  static constexpr DWORD Channel(Pixel p, int channel) {
    return static_cast<WORD>(p >> 16 * channel) / 257u;
  }
};

/// 24 bits: blue, green, red.
struct Bit24 {
  using Pixel = DWORD;  // blue in the lowest byte, the highest 0
  using Fill = Pixel;
  static constexpr int kBits = 24;

  static Pixel Load(const BYTE* row, std::ptrdiff_t x) {
    const BYTE* const at = row + 3 * x;
    return at[0] | static_cast<DWORD>(at[1]) << 8 | static_cast<DWORD>(at[2]) << 16;
  }
  static void Store(BYTE* row, std::ptrdiff_t x, Pixel p) {
    BYTE* const at = row + 3 * x;
    at[0] = static_cast<BYTE>(p);
    at[1] = static_cast<BYTE>(p >> 8);
    at[2] = static_cast<BYTE>(p >> 16);
  }
  static Pixel From(FromBits<1>, BYTE p) { return (0u - p) & 0xFFFFFF; }
  static Pixel From(FromBits<8>, BYTE p) { return p * 0x010101u; }
  static Pixel From(FromBits<16>, WORD p) { return Bit16::Grey(p) * 0x010101u; }
  static Pixel From(FromBits<24>, Pixel p) { return p; }
  static Pixel From(FromBits<32>, DWORD p) { return p & 0xFFFFFF; }
  static Pixel From(FromBits<64>, u64 p) {
    return Bit64::Channel(p, 2) | Bit64::Channel(p, 1) << 8 | Bit64::Channel(p, 0) << 16;
  }
};

/// 32 bits: blue, green, red, alpha.
struct Bit32 {
  using Pixel = DWORD;  // blue in the lowest byte, alpha in the highest
  using Fill = Pixel;
  static constexpr int kBits = 32;

  static Pixel Load(const BYTE* row, std::ptrdiff_t x) {
    Pixel p;
    std::memcpy(&p, row + 4 * x, sizeof p);
    return p;
  }
  static void Store(BYTE* row, std::ptrdiff_t x, Pixel p) {
    std::memcpy(row + 4 * x, &p, sizeof p);
  }
  static Pixel From(FromBits<1>, BYTE p) { return (0u - p) | 0xFF000000; }
  static Pixel From(FromBits<8>, BYTE p) { return p * 0x010101u | 0xFF000000; }
  static Pixel From(FromBits<16>, WORD p) {
    return Bit16::Grey(p) * 0x010101u | Bit16::Alpha(p) << 24;
  }
  static Pixel From(FromBits<24>, DWORD p) { return p | 0xFF000000; }
  static Pixel From(FromBits<32>, Pixel p) { return p; }
  static Pixel From(FromBits<64>, u64 p) {
    return Bit24::From(FromBits<64>{}, p) | Bit64::Channel(p, 3) << 24;
  }
};

/// Stands for any other number of bits.
struct BitNone {
  using Pixel = BYTE;
  static constexpr int kBits = 0;
  static void From() {}
};

/// Whether pixels of one depth can become pixels of the other.
template <class To, class From>
inline constexpr bool kHasBitPair = requires(typename From::Pixel p) {
  To::From(FromBits<From::kBits>{}, p);
};

/// Calls `op` with the struct of the depth of `bitCount` bits, and returns what it returns.
template <class Op>
constexpr auto WithBitDepth(int bitCount, Op op) {
  switch (bitCount) {
    case 1:
      return op(Bit1{});
    case 8:
      return op(Bit8{});
    case 16:
      return op(Bit16{});
    case 24:
      return op(Bit24{});
    case 32:
      return op(Bit32{});
    case 64:
      return op(Bit64{});
    default:
      return op(BitNone{});
  }
}

}  // namespace kxw
