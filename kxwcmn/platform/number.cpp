#include "kxwcmn/platform/number.h"

#include <cmath>
#include <numbers>

namespace {

struct Turn {
  double cosine, sine;
};

// Sine and cosine of the host are a rounding off at right angles, which a later truncation would
// turn into a whole pixel.
Turn TurnOf(double degrees) {
  const double angle = std::fmod(degrees, 360.0);
  if (std::fmod(angle, 90.0) == 0.0) {
    static constexpr Turn kQuarters[4] = {{1, 0}, {0, 1}, {-1, 0}, {0, -1}};
    const int quarter = static_cast<int>(angle / 90.0);
    return kQuarters[(quarter + 4) % 4];
  }
  const double radians = angle * std::numbers::pi / 180.0;
  return {std::cos(radians), std::sin(radians)};
}

}  // namespace

int qmMulDiv(int value, int numerator, int denominator) {
  if (denominator == 0) return -1;
  const i64 product = static_cast<i64>(value) * numerator;
  const i64 divisor = denominator;
  const i64 half = (divisor < 0 ? -divisor : divisor) / 2;
  const i64 result = (product < 0 ? product - half : product + half) / divisor;
  if (result > std::numeric_limits<int>::max() || result < std::numeric_limits<int>::min()) {
    return -1;
  }
  return static_cast<int>(result);
}

void qmRotatePointD(double point[2], double degrees, const double centre[2]) {
  const Turn turn = TurnOf(degrees);
  const double x = point[0] - centre[0];
  const double y = point[1] - centre[1];
  point[0] = x * turn.cosine - y * turn.sine + centre[0];
  point[1] = x * turn.sine + y * turn.cosine + centre[1];
}

void qmSetRect(tagRECT* rect, int left, int top, int right, int bottom) {
  if (rect) *rect = {left, top, right, bottom};
}
