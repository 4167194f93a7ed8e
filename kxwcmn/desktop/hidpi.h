#pragma once

#include "kxwcmn/platform/export.h"
#include "kxwcmn/platform/types.h"

/// How much denser the application's screen is than the one its user interface was designed for.
///
/// Lengths of the design are at 96 dots per inch. A screen is "plain" at 96 dots per inch and
/// below, where nothing is scaled; on a dense one the application must not have the system scale
/// its user interface, and scales by these instead. The factor is never below 1.
class KX_EXPORT CHiDpiHelper {
 public:
  /// Asks the application's screen (`HostProcedures::display`) for its density.
  CHiDpiHelper();

  /// Whether the screen is dense, in one direction at least.
  int IsHiDpiIgnoreUI() const { return designX_ < displayX_ || designY_ < displayY_; }

  // From lengths of the design to those of the screen and back, by `DpiMulDiv`; `...Around` rounds.

  double ScaleX(double value) const { return DpiMulDiv(value, displayX_, designX_); }
  double ScaleY(double value) const { return DpiMulDiv(value, displayY_, designY_); }
  double UnscaleX(double value) const { return DpiMulDiv(value, designX_, displayX_); }
  double UnscaleY(double value) const { return DpiMulDiv(value, designY_, displayY_); }
  int ScaleXAround(double value) const;
  int ScaleYAround(double value) const;
  int UnscaleXAround(double value) const;
  int UnscaleYAround(double value) const;
  void ScaleRectAround(tagRECT& rect) const;
  void ScalePtAround(tagPOINT& point) const;

  // What makes up for a system that scales the fonts of dialogs by itself: sizes as they are on a
  // plain screen, unscaled on a dense one. The font's logical size is truncated, its points are
  // rounded.

  short ConvDialogFontLogSizeX(short size) const;
  short ConvDialogFontLogSizeY(short size) const;
  unsigned short ConvDialogFontPoint(unsigned short size) const;

  /// A measure of the desktop (`kxw::SystemMetric`): on a plain screen as the system tells it. On a
  /// dense one scroll bars are unscaled, truncated and made even, and icons are unscaled, truncated
  /// and 16 pixels at least; others stay.
  int GetSystemMetrics(int index) const;

  /// (|`value`| * `numerator` + `denominator` / 2) / `denominator` with the sign of `value`. Half
  /// the denominator, itself truncated, is added but nothing is cut off after that, so the result
  /// is half too large: that is kept so. A value of 0 stays 0, and each stays where numerator and
  /// denominator are equal. A denominator of 0 raises 0x20010008.
  static double DpiMulDiv(double value, int numerator, int denominator);

 private:
  LONG designX_, designY_;    // dots per inch
  LONG displayX_, displayY_;  // dots per inch, never below the design's
};

/// The one of the process, made at the first call, which must come after `SetHostProcedures`. An
/// application that moves to another screen assigns a new one.
KX_EXPORT CHiDpiHelper& kxwGetHiDpiHelper();

/// The same operations of the one of the process.
KX_EXPORT int kxwIsHDIgnoreUI();
KX_EXPORT int kxwHDGetSystemMetrics(int index);
