#pragma once

#include "kxwcmn/platform/types.h"

namespace kxw {

/// A test of pixels: whether their bits `used` are those of `value`, or are not.
struct PixelTest {
  DWORD used, value;
  bool wantsEqual;

  bool Passes(DWORD pixel) const { return ((pixel & used) == value) == wantsEqual; }
};

/// Stores for each of the `width` pixels of a row whether it passes, 1 or 0, in a row of 1 bit.
/// What fills up that row's last byte is kept.
using TestRowFunc = void (*)(BYTE* to, const BYTE* from, int width, const PixelTest& test);
TestRowFunc FindTestRow(int bitCount);

/// The same pixel by pixel, which the other must agree with.
TestRowFunc FindPlainTestRow(int bitCount);

}  // namespace kxw
