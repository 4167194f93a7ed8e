#include "kxwcmn/desktop/hidpi.h"

#include <algorithm>
#include <cmath>

#include "kxwcmn/core/exception.h"
#include "kxwcmn/core/geometry.h"
#include "kxwcmn/platform/host.h"
#include "kxwcmn/platform/number.h"

namespace {

constexpr LONG kPlainDotsPerInch = 96;
constexpr int kSmallestIcon = 16;

short LogSize(short size, int design, int display) {
  return static_cast<short>(kxw::Truncate(CHiDpiHelper::DpiMulDiv(size, design, display)));
}

}  // namespace

CHiDpiHelper::CHiDpiHelper()
    : designX_(kPlainDotsPerInch),
      designY_(kPlainDotsPerInch),
      displayX_(kPlainDotsPerInch),
      displayY_(kPlainDotsPerInch) {
  const auto& dotsPerInch = kxw::GetHostProcedures().display.dotsPerInch;
  if (!dotsPerInch) return;
  const tagSIZE display = dotsPerInch();
  displayX_ = std::max(display.cx, designX_);
  displayY_ = std::max(display.cy, designY_);
}

double CHiDpiHelper::DpiMulDiv(double value, int numerator, int denominator) {
  if (value == 0 || numerator == denominator) return value;
  if (denominator == 0) kxThrowError(kxw::kFailureBadArgument);
  const double size = (std::abs(value) * numerator + (denominator >> 1)) / denominator;
  return value < 0 ? -size : size;
}

int CHiDpiHelper::ScaleXAround(double value) const { return qmDouble2Int(ScaleX(value)); }

int CHiDpiHelper::ScaleYAround(double value) const { return qmDouble2Int(ScaleY(value)); }

int CHiDpiHelper::UnscaleXAround(double value) const { return qmDouble2Int(UnscaleX(value)); }

int CHiDpiHelper::UnscaleYAround(double value) const { return qmDouble2Int(UnscaleY(value)); }

void CHiDpiHelper::ScaleRectAround(tagRECT& rect) const {
  rect = {ScaleXAround(rect.left), ScaleYAround(rect.top), ScaleXAround(rect.right),
          ScaleYAround(rect.bottom)};
}

void CHiDpiHelper::ScalePtAround(tagPOINT& point) const {
  point = {ScaleXAround(point.x), ScaleYAround(point.y)};
}

short CHiDpiHelper::ConvDialogFontLogSizeX(short size) const {
  return IsHiDpiIgnoreUI() ? LogSize(size, designX_, displayX_) : size;
}

short CHiDpiHelper::ConvDialogFontLogSizeY(short size) const {
  return IsHiDpiIgnoreUI() ? LogSize(size, designY_, displayY_) : size;
}

unsigned short CHiDpiHelper::ConvDialogFontPoint(unsigned short size) const {
  return IsHiDpiIgnoreUI() ? static_cast<unsigned short>(UnscaleYAround(size)) : size;
}

int CHiDpiHelper::GetSystemMetrics(int index) const {
  const auto& metric = kxw::GetHostProcedures().display.metric;
  const int size = metric ? metric(index) : 0;
  if (!IsHiDpiIgnoreUI()) return size;
  const auto even = [](int value) { return kxw::IntGeometry::Add(value, value & 1); };
  switch (index) {
    case kxw::kMetricScrollBarWidth:
      return even(kxw::Truncate(UnscaleX(size)));
    case kxw::kMetricScrollBarHeight:
      return even(kxw::Truncate(UnscaleY(size)));
    case kxw::kMetricIconWidth:
    case kxw::kMetricSmallIconWidth:
      return std::max(kxw::Truncate(UnscaleX(size)), kSmallestIcon);
    case kxw::kMetricIconHeight:
    case kxw::kMetricSmallIconHeight:
      return std::max(kxw::Truncate(UnscaleY(size)), kSmallestIcon);
    default:
      return size;
  }
}

CHiDpiHelper& kxwGetHiDpiHelper() {
  static CHiDpiHelper helper;
  return helper;
}

int kxwIsHDIgnoreUI() { return kxwGetHiDpiHelper().IsHiDpiIgnoreUI(); }

int kxwHDGetSystemMetrics(int index) { return kxwGetHiDpiHelper().GetSystemMetrics(index); }
