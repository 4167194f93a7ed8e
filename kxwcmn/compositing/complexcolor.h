#pragma once

#include "kxwcmn/core/color.h"
#include "kxwcmn/platform/export.h"
#include "kxwcmn/platform/types.h"

/// One colour in every form that a mixer of any depth may want, so that a loop over pixels hands
/// down ready-made values.
class KX_EXPORT KXComplexColor {
 public:
  int depth = 0;    ///< Bits per pixel that the colour was made for.
  BYTE value8 = 0;  ///< What 1, 2 and 8-bit destinations are given.
  QMCOLORREF color32 = 0;
  BYTE channels8[4] = {};  ///< Alpha, red, green, blue.
  u64 color64 = 0;
  WORD channels16[4] = {};  ///< Alpha, red, green, blue.

  constexpr KXComplexColor() = default;
  constexpr KXComplexColor(int bits, BYTE value) { Normalize(bits, value); }
  constexpr KXComplexColor(int bits, DWORD color) { Normalize(bits, color); }
  constexpr KXComplexColor(int bits, u64 color) { Normalize(bits, color); }

  /// Sets `depth`, `value8` and the 8-bit forms from a pixel of 1, 2 or 8 bits. At 1 and 2 bits the
  /// highest value (or 255) is opaque white and 0 transparent, 2 (or 170) is the middle of 2 bits;
  /// at 8 bits the value is a density over white: 255 is opaque black. Any other depth leaves the
  /// channels as they are.
  constexpr void InitByte(int bits, BYTE value) {
    depth = bits;
    value8 = value;
    switch (bits) {
      case 1:
        SetAll8(value == 1 || value == 255 ? 255 : 0);
        break;
      case 2:
        SetAll8(value == 3 || value == 255 ? 255 : value == 2 || value == 170 ? 170 : 0);
        break;
      case 8:
        SetAll8(static_cast<BYTE>(255 - value));
        channels8[0] = 255;
        break;
      default:
        break;
    }
    color32 = kxw::MakeColor(channels8[1], channels8[2], channels8[3], channels8[0]);
  }

  /// Sets `depth` and the 8-bit forms alone; `value8` and the 16-bit forms stay.
  constexpr void Init32(DWORD color) {
    depth = 32;
    Set32(color);
  }
  /// Sets `depth` and the 16-bit forms alone; `value8` and the 8-bit forms stay.
  constexpr void Init64(u64 color) {
    depth = 64;
    Set64(color);
  }

  /// Sets every field: `value8` is the value given here, and the alpha of the colour in the other
  /// two forms, where the depth says nothing about how the colour is read.
  constexpr void Normalize(int bits, BYTE value) {
    InitByte(bits, value);
    Set64(kxw::WidenColor(color32));
  }
  constexpr void Normalize(int bits, DWORD color) {
    depth = bits;
    value8 = kxw::Alpha(color);
    Set32(color);
    Set64(kxw::WidenColor(color));
  }
  constexpr void Normalize(int bits, u64 color) {
    depth = bits;
    value8 = kxw::NarrowWord(kxw::Alpha64(color));
    Set32(kxw::NarrowColor(color));
    Set64(color);
  }

  /// Opaque white and black, transparent black, and transparent white, which is what a source pixel
  /// without memory stands for. Made for 64 bits.
  static const KXComplexColor cWhite, cBlack, cTransmit, cErase;

 private:
  constexpr void SetAll8(BYTE value) {
    for (BYTE& channel : channels8) channel = value;
  }
  constexpr void Set32(QMCOLORREF color) {
    color32 = color;
    channels8[0] = kxw::Alpha(color);
    channels8[1] = kxw::Red(color);
    channels8[2] = kxw::Green(color);
    channels8[3] = kxw::Blue(color);
  }
  constexpr void Set64(u64 color) {
    color64 = color;
    channels16[0] = kxw::Alpha64(color);
    channels16[1] = kxw::Red64(color);
    channels16[2] = kxw::Green64(color);
    channels16[3] = kxw::Blue64(color);
  }
};
