#include "kxwcmn/core/color.h"

#include <algorithm>

namespace {

constexpr double kWordToUnit = 1.5259021896696422e-5;      // 1 / 65535
constexpr double kWordToDegrees = 0.005493247882810712;    // 360 / 65535
constexpr double kDegreesToWord = 182.04166666666666;      // 65535 / 360
constexpr double kDegreesToSector = 0.016666666666666666;  // 1 / 60

struct UnitRgb {
  double red, green, blue;
};

/// `hue` is in degrees and not negative, the other two are fractions, cut to 1 here.
UnitRgb FromHsv(double hue, double saturation, double value) {
  const double s = std::min(saturation, 1.0);
  const double v = std::min(value, 1.0);
  // Too large a hue becomes 359 degrees; that it does not wrap round is meant.
  const double h = (hue < 360.0 ? hue : 359.0) * kDegreesToSector;
  const int sector = static_cast<int>(h);
  const double f = h - sector;
  const double p = (1 - s) * v;
  const double q = (1 - s * f) * v;
  const double t = (1 - (1 - f) * s) * v;
  switch (sector) {
    case 0:
      return {v, t, p};
    case 1:
      return {q, v, p};
    case 2:
      return {p, v, t};
    case 3:
      return {p, q, v};
    case 4:
      return {t, p, v};
    case 5:
      return {v, p, q};
    default:
      return {0, 0, 0};
  }
}

BYTE UnitToByte(double unit) { return static_cast<BYTE>(unit * 255.0); }
WORD UnitToWord(double unit) { return static_cast<WORD>(unit * 65535.0); }

}  // namespace

KXColor::KXColor(const tagQMRGBCOLOR16& rgb)
    : color_(kxw::MakeColor(kxw::NarrowWord(rgb.red), kxw::NarrowWord(rgb.green),
                            kxw::NarrowWord(rgb.blue), kxw::NarrowWord(rgb.alpha))) {}

KXColor::KXColor(const tagQMHSVCOLOR16& hsv) {
  const UnitRgb rgb = FromHsv(hsv.hue, hsv.saturation * 0.01, hsv.value * 0.01);
  color_ = kxw::MakeColor(UnitToByte(rgb.red), UnitToByte(rgb.green), UnitToByte(rgb.blue),
                          static_cast<BYTE>(hsv.alpha));
}

KXColor::~KXColor() = default;

void KXColor::SetChannel(int channel, BYTE value) {
  if (channel < 0 || channel > 3) return;
  const int shift = 8 * channel;
  color_ = (color_ & ~(DWORD{0xFF} << shift)) | DWORD{value} << shift;
}

KXRgbColor::KXRgbColor(QMCOLORREF color)
    : KXRgbColor(kxw::WidenByte(kxw::Alpha(color)), kxw::WidenByte(kxw::Red(color)),
                 kxw::WidenByte(kxw::Green(color)), kxw::WidenByte(kxw::Blue(color))) {}

KXRgbColor::KXRgbColor(const tagQMHSVCOLOR16& hsv) {
  const UnitRgb rgb =
      FromHsv(hsv.hue * kWordToDegrees, hsv.saturation * kWordToUnit, hsv.value * kWordToUnit);
  SetColor(hsv.alpha, UnitToWord(rgb.red), UnitToWord(rgb.green), UnitToWord(rgb.blue));
}

KXRgbColor::operator QMCOLORREF() const { return KXColor(*this).GetColor(); }

WORD KXRgbColor::GetChannel(int channel) const {
  switch (channel) {
    case 0:
      return red;
    case 1:
      return green;
    case 2:
      return blue;
    case 3:
      return alpha;
    default:
      return 0;
  }
}

void KXRgbColor::SetChannel(int channel, WORD value) {
  switch (channel) {
    case 0:
      red = value;
      break;
    case 1:
      green = value;
      break;
    case 2:
      blue = value;
      break;
    case 3:
      alpha = value;
      break;
    default:
      break;
  }
}

KXHsvColor::KXHsvColor(QMCOLORREF color) : KXHsvColor(KXRgbColor(color)) {}

KXHsvColor::KXHsvColor(const tagQMRGBCOLOR16& rgb) : tagQMHSVCOLOR16{rgb.alpha, 0, 0, 0} {
  const double r = rgb.red * kWordToUnit;
  const double g = rgb.green * kWordToUnit;
  const double b = rgb.blue * kWordToUnit;
  const double max = std::max({r, g, b});
  const double d = max - std::min({r, g, b});
  value = UnitToWord(max);
  if (max == 0) return;
  const double saturationWord = d / max * 65535.0;
  if (saturationWord == 0) return;

  // Each test overrides the one before it, so a tie goes to the later channel.
  double h = 0;
  if (max == r) h = (g - b) / d;
  if (max == g) h = (b - r) / d + 2.0;
  if (max == b) h = (r - g) / d + 4.0;
  h *= 60.0;
  if (h < 0) h += 360.0;
  hue = static_cast<WORD>(h * kDegreesToWord);
  saturation = static_cast<WORD>(saturationWord);
}

KXHsvColor::KXHsvColor(WORD alphaWord, WORD redWord, WORD greenWord, WORD blueWord)
    : KXHsvColor(tagQMRGBCOLOR16{alphaWord, redWord, greenWord, blueWord}) {}

KXHsvColor::operator QMCOLORREF() const { return KXRgbColor(*this); }

KXHsvColor::operator tagQMRGBCOLOR16() const {
  return KXRgbColor(static_cast<const tagQMHSVCOLOR16&>(*this));
}

WORD KXHsvColor::GetChannel(int channel) const {
  switch (channel) {
    case 0:
      return hue;
    case 1:
      return saturation;
    case 2:
      return value;
    case 3:
      return alpha;
    default:
      return 0;
  }
}

void KXHsvColor::SetChannel(int channel, WORD word) {
  switch (channel) {
    case 0:
      hue = word;
      break;
    case 1:
      saturation = word;
      break;
    case 2:
      value = word;
      break;
    case 3:
      alpha = word;
      break;
    default:
      break;
  }
}

void KXHsvColor::SetColor(WORD alphaWord, WORD hueWord, WORD saturationWord, WORD valueWord) {
  static_cast<tagQMHSVCOLOR16&>(*this) = {alphaWord, hueWord, saturationWord, valueWord};
}
