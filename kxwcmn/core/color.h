#pragma once

#include "kxwcmn/platform/export.h"
#include "kxwcmn/platform/types.h"

// Colour encodings. A QMCOLORREF has red in its lowest byte, then green, blue and alpha; a 64-bit
// colour has the same order in words. The structures below have alpha first.

/// 8-bit channels, held in 32 bits so that sums and differences of channels fit.
struct tagQMRGBCOLOR {
  LONG alpha, red, green, blue;
};

struct tagQMRGBCOLOR16 {
  WORD alpha, red, green, blue;
};

/// Hue, saturation and value over the whole range of 16 bits: a hue of 65535 is 360 degrees.
struct tagQMHSVCOLOR16 {
  WORD alpha, hue, saturation, value;
};

namespace kxw {

/// Colours of channels from 0 to 255, and of grey in all three.
constexpr QMCOLORREF MakeColor(DWORD red, DWORD green, DWORD blue, DWORD alpha) {
  return red | green << 8 | blue << 16 | alpha << 24;
}
constexpr QMCOLORREF MakeGrey(DWORD grey, DWORD alpha) { return grey * 0x010101 | alpha << 24; }
constexpr BYTE Red(QMCOLORREF color) { return static_cast<BYTE>(color); }
constexpr BYTE Green(QMCOLORREF color) { return static_cast<BYTE>(color >> 8); }
constexpr BYTE Blue(QMCOLORREF color) { return static_cast<BYTE>(color >> 16); }
constexpr BYTE Alpha(QMCOLORREF color) { return static_cast<BYTE>(color >> 24); }

/// The same of channels from 0 to 65535.
constexpr u64 MakeColor64(u64 red, u64 green, u64 blue, u64 alpha) {
  return red | green << 16 | blue << 32 | alpha << 48;
}
constexpr u64 MakeGrey64(u64 grey, u64 alpha) { return grey * 0x000100010001 | alpha << 48; }
constexpr WORD Red64(u64 color) { return static_cast<WORD>(color); }
constexpr WORD Green64(u64 color) { return static_cast<WORD>(color >> 16); }
constexpr WORD Blue64(u64 color) { return static_cast<WORD>(color >> 32); }
constexpr WORD Alpha64(u64 color) { return static_cast<WORD>(color >> 48); }

/// A byte spread over the range of a word: 0xAB becomes 0xABAB.
constexpr WORD WidenByte(BYTE channel) { return static_cast<WORD>(channel * 257); }
/// The high byte, without rounding: 0x01FF becomes 0x01.
constexpr BYTE NarrowWord(WORD channel) { return static_cast<BYTE>(channel >> 8); }

// All four channels at once: loops over these vectorise better than over the channels one by one.
constexpr u64 WidenColor(QMCOLORREF color) {
  const u64 spread = (color & 0xFFull) | (color & 0xFF00ull) << 8 | (color & 0xFF0000ull) << 16 |
                     (color & 0xFF000000ull) << 24;
  return spread * 257;
}
constexpr QMCOLORREF NarrowColor(u64 color) {
  return static_cast<QMCOLORREF>((color >> 8 & 0xFF) | (color >> 16 & 0xFF00) |
                                 (color >> 24 & 0xFF0000) | (color >> 32 & 0xFF000000));
}

}  // namespace kxw

/// A QMCOLORREF with access to its channels.
class KX_EXPORT KXColor {
 public:
  KXColor() = default;
  KXColor(QMCOLORREF color) : color_(color) {}
  /// Takes the high byte of each channel.
  KXColor(const tagQMRGBCOLOR16& rgb);
  /// Reads the hue as whole degrees and saturation and value as percentages, unlike KXRgbColor; a
  /// hue of 360 or more counts as 359. Alpha is the low byte of the word.
  KXColor(const tagQMHSVCOLOR16& hsv);
  KXColor(const KXColor&) = default;
  virtual ~KXColor();

  KXColor& operator=(const KXColor&) = default;
  KXColor& operator=(QMCOLORREF color) { return *this = KXColor(color); }
  KXColor& operator=(const tagQMRGBCOLOR16& rgb) { return *this = KXColor(rgb); }
  KXColor& operator=(const tagQMHSVCOLOR16& hsv) { return *this = KXColor(hsv); }

  QMCOLORREF GetColor() const { return color_; }
  void SetColor(QMCOLORREF color) { color_ = color; }
  operator QMCOLORREF() const { return color_; }

  BYTE GetChannelR() const { return kxw::Red(color_); }
  BYTE GetChannelG() const { return kxw::Green(color_); }
  BYTE GetChannelB() const { return kxw::Blue(color_); }
  BYTE GetChannelA() const { return kxw::Alpha(color_); }
  void SetChannelR(BYTE value) { SetChannel(0, value); }
  void SetChannelG(BYTE value) { SetChannel(1, value); }
  void SetChannelB(BYTE value) { SetChannel(2, value); }
  void SetChannelA(BYTE value) { SetChannel(3, value); }
  /// Channel 0 is red, 1 green, 2 blue, 3 alpha; any other number does nothing.
  void SetChannel(int channel, BYTE value);

 private:
  QMCOLORREF color_ = 0;
};

/// A colour of 16-bit channels.
class KX_EXPORT KXRgbColor : public tagQMRGBCOLOR16 {
 public:
  KXRgbColor() : tagQMRGBCOLOR16{} {}
  KXRgbColor(QMCOLORREF color);
  KXRgbColor(const tagQMRGBCOLOR16& rgb) : tagQMRGBCOLOR16(rgb) {}
  /// A hue of 65535, which is 360 degrees, counts as 359.
  KXRgbColor(const tagQMHSVCOLOR16& hsv);
  KXRgbColor(WORD alphaWord, WORD redWord, WORD greenWord, WORD blueWord)
      : tagQMRGBCOLOR16{alphaWord, redWord, greenWord, blueWord} {}

  KXRgbColor& operator=(QMCOLORREF color) { return *this = KXRgbColor(color); }
  KXRgbColor& operator=(const tagQMRGBCOLOR16& rgb) { return *this = KXRgbColor(rgb); }
  KXRgbColor& operator=(const tagQMHSVCOLOR16& hsv) { return *this = KXRgbColor(hsv); }
  KXRgbColor& operator=(const KXColor& color) { return *this = KXRgbColor(color.GetColor()); }

  /// The high byte of each channel.
  operator QMCOLORREF() const;
  friend bool operator==(const tagQMRGBCOLOR16& a, const tagQMRGBCOLOR16& b) {
    return a.alpha == b.alpha && a.red == b.red && a.green == b.green && a.blue == b.blue;
  }

  WORD GetChannelR() const { return red; }
  WORD GetChannelG() const { return green; }
  WORD GetChannelB() const { return blue; }
  WORD GetChannelA() const { return alpha; }
  /// Channel 0 is red, 1 green, 2 blue, 3 alpha; any other number gives 0.
  WORD GetChannel(int channel) const;
  void SetChannelR(WORD value) { red = value; }
  void SetChannelG(WORD value) { green = value; }
  void SetChannelB(WORD value) { blue = value; }
  void SetChannelA(WORD value) { alpha = value; }
  /// Any other channel than 0 to 3 does nothing.
  void SetChannel(int channel, WORD value);
  void SetColor(WORD alphaWord, WORD redWord, WORD greenWord, WORD blueWord) {
    *this = KXRgbColor(alphaWord, redWord, greenWord, blueWord);
  }
};

/// A colour of hue, saturation and value, 16 bits each.
class KX_EXPORT KXHsvColor : public tagQMHSVCOLOR16 {
 public:
  KXHsvColor() : tagQMHSVCOLOR16{} {}
  KXHsvColor(QMCOLORREF color);
  KXHsvColor(const tagQMRGBCOLOR16& rgb);
  /// Takes red, green and blue and converts them, unlike SetColor, which stores what it is given.
  KXHsvColor(WORD alphaWord, WORD redWord, WORD greenWord, WORD blueWord);

  KXHsvColor& operator=(QMCOLORREF color) { return *this = KXHsvColor(color); }
  KXHsvColor& operator=(const tagQMRGBCOLOR16& rgb) { return *this = KXHsvColor(rgb); }

  operator QMCOLORREF() const;
  operator tagQMRGBCOLOR16() const;

  WORD GetChannelH() const { return hue; }
  WORD GetChannelS() const { return saturation; }
  WORD GetChannelV() const { return value; }
  WORD GetChannelA() const { return alpha; }
  /// Channel 0 is hue, 1 saturation, 2 value, 3 alpha; any other number gives 0.
  WORD GetChannel(int channel) const;
  void SetChannelH(WORD word) { hue = word; }
  void SetChannelS(WORD word) { saturation = word; }
  void SetChannelV(WORD word) { value = word; }
  void SetChannelA(WORD word) { alpha = word; }
  /// Any other channel than 0 to 3 does nothing.
  void SetChannel(int channel, WORD word);
  void SetColor(WORD alphaWord, WORD hueWord, WORD saturationWord, WORD valueWord);
};
