#pragma once

#include <cstdarg>
#include <cstddef>
#include <limits>

#include "kxwcmn/platform/export.h"
#include "kxwcmn/platform/types.h"

namespace kxw {

/// The conversion toward zero that the library calls truncation; saturates at the ends, NaN gives
/// 0.
inline int Truncate(double value) {
  if (value >= std::numeric_limits<int>::max()) return std::numeric_limits<int>::max();
  if (value <= std::numeric_limits<int>::min()) return std::numeric_limits<int>::min();
  return value == value ? static_cast<int>(value) : 0;
}

/// `qmDouble2Int` for a value between the ends, without its tests and without a branch.
inline int RoundInside(double value) {
  // The largest number below a half: with a half itself the sum of the two would round up to 1.
  constexpr double kHalf = 0.49999999999999994;
  return static_cast<int>(value + (value < 0 ? -kHalf : kHalf));
}

/// The runtime's print to a buffer of `size` bytes, and its conversion of a text to a number: with
/// the full stop and no grouping, whatever the locale of the process. `PrintText` cuts what does
/// not fit and returns the length of the whole, negative for what cannot be printed.
int PrintText(char* buffer, std::size_t size, const char* format, std::va_list arguments);
double ParseNumber(const char* text);

}  // namespace kxw

/// Rounds to the nearest integer, halves away from zero; saturates at the ends; NaN gives 0. The
/// library's one rounding.
inline int qmDouble2Int(double value) {
  if (value >= std::numeric_limits<int>::max()) return std::numeric_limits<int>::max();
  if (value <= std::numeric_limits<int>::min()) return std::numeric_limits<int>::min();
  return value == value ? kxw::RoundInside(value) : 0;
}

/// The same to 16 bits.
inline short qmDouble2Short(double value) {
  const int whole = qmDouble2Int(value);
  if (whole > std::numeric_limits<short>::max()) return std::numeric_limits<short>::max();
  if (whole < std::numeric_limits<short>::min()) return std::numeric_limits<short>::min();
  return static_cast<short>(whole);
}

/// `value` x `numerator` / `denominator` through 64 bits, rounded with halves away from zero. A
/// denominator of 0 or a result that does not fit gives -1.
KX_EXPORT int qmMulDiv(int value, int numerator, int denominator);

/// Turns `point` (x, y) around `centre` by `degrees`, from the x axis towards the y axis. Multiples
/// of 90 degrees are exact.
KX_EXPORT void qmRotatePointD(double point[2], double degrees, const double centre[2]);

/// Fills a rectangle. Null does nothing.
KX_EXPORT void qmSetRect(tagRECT* rect, int left, int top, int right, int bottom);
