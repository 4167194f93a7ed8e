#include "kxwcmn/desktop/hidpi.h"

#include <gtest/gtest.h>

#include <limits>

#include "kxwcmn/platform/host.h"
#include "tests/support/failure.h"

namespace {

/// The helper of a screen, all of whose measures are `metric`.
CHiDpiHelper HelperOf(tagSIZE dotsPerInch, int metric = 0) {
  kxw::HostProcedures procedures;
  procedures.display.dotsPerInch = [dotsPerInch] { return dotsPerInch; };
  procedures.display.metric = [metric](int) { return metric; };
  kxw::SetHostProcedures(procedures);
  return CHiDpiHelper();
}

class HiDpi : public testing::Test {
 protected:
  void TearDown() override { kxw::SetHostProcedures({}); }
};

TEST_F(HiDpi, DpiMulDivAddsHalfOfTheDenominator) {
  const struct {
    double value;
    int numerator, denominator;
    double result;
  } table[] = {{1.5, 192, 96, 3.5},   {-1.5, 192, 96, -3.5}, {0, 192, 96, 0},
               {0.25, 96, 96, 0.25},  {0.25, 0, 0, 0.25},    {10, 96, 192, 5.5},
               {-10, 1, 3, -11 / 3.}, {7, 3, 2, 11},         {1, -4, 2, -1.5}};
  for (const auto& c : table) {
    EXPECT_EQ(CHiDpiHelper::DpiMulDiv(c.value, c.numerator, c.denominator), c.result) << c.value;
  }
  EXPECT_EQ(CodeOf([] { CHiDpiHelper::DpiMulDiv(1, 2, 0); }), 0x20010008);
}

TEST_F(HiDpi, PlainScreensScaleNothing) {
  kxw::SetHostProcedures({});
  EXPECT_EQ(CHiDpiHelper().GetSystemMetrics(2), 0);
  for (const tagSIZE dotsPerInch : {tagSIZE{96, 96}, {72, 80}, {0, -500}}) {
    const CHiDpiHelper helper = HelperOf(dotsPerInch, 7);
    EXPECT_FALSE(helper.IsHiDpiIgnoreUI());
    EXPECT_EQ(helper.ScaleX(1.5) + helper.UnscaleY(0.25), 1.75);
    EXPECT_EQ(helper.ConvDialogFontPoint(9), 9);
    for (int index : {2, 11, 50}) EXPECT_EQ(helper.GetSystemMetrics(index), 7);
  }
}

TEST_F(HiDpi, ScalesEachDirectionByItsOwnFactor) {
  const CHiDpiHelper helper = HelperOf({144, 192});
  EXPECT_TRUE(helper.IsHiDpiIgnoreUI());
  EXPECT_TRUE(helper.ScaleX(10) == 15.5 && helper.ScaleY(-10) == -20.5);
  EXPECT_TRUE(helper.UnscaleX(15) == 10.5 && helper.UnscaleY(20) == 10.5);
  EXPECT_TRUE(helper.ScaleXAround(10) == 16 && helper.ScaleYAround(10) == 21);
  EXPECT_EQ(helper.UnscaleXAround(-15), -11);
  EXPECT_EQ(helper.UnscaleYAround(1e300), std::numeric_limits<int>::max());
  tagRECT rect = {-2, -2, 4, 4};
  helper.ScaleRectAround(rect);
  EXPECT_TRUE(rect.left == -4 && rect.top == -5 && rect.right == 7 && rect.bottom == 9);
  tagPOINT point = {1, 3};
  helper.ScalePtAround(point);
  EXPECT_TRUE(point.x == 2 && point.y == 7);
  // Logical sizes are cut, points are rounded: 12 becomes 8.5 and 6.5, 9 becomes 6.5 and 5.
  EXPECT_EQ(helper.ConvDialogFontLogSizeX(-12), -8);
  EXPECT_EQ(helper.ConvDialogFontLogSizeY(-12), -6);
  EXPECT_EQ(helper.ConvDialogFontPoint(12), 7);
  EXPECT_EQ(helper.ConvDialogFontPoint(9), 5);
  EXPECT_TRUE(HelperOf({96, 97}).IsHiDpiIgnoreUI() && HelperOf({97, 0}).IsHiDpiIgnoreUI());
  EXPECT_EQ(HelperOf({96, 192}).ConvDialogFontLogSizeX(11), 11);
}

TEST_F(HiDpi, ScrollBarsStayEvenAndIconsVisible) {
  const struct {
    int index, size, result;
  } table[] = {{2, 17, 12},  {3, 17, 10},  {2, 18, 12},  {11, 32, 21}, {12, 33, 17},
               {49, 16, 16}, {50, 16, 16}, {49, 40, 27}, {50, 40, 20}, {10, 17, 17}};
  for (const auto& c : table) {
    EXPECT_EQ(HelperOf({144, 192}, c.size).GetSystemMetrics(c.index), c.result) << c.index;
  }
  // Only the other direction is dense; what cannot be made even within 32 bits stays defined.
  HelperOf({96, 144}, std::numeric_limits<int>::max()).GetSystemMetrics(2);
  kxwGetHiDpiHelper() = HelperOf({144, 144}, 17);
  EXPECT_EQ(kxwHDGetSystemMetrics(2), 12);
  EXPECT_TRUE(kxwIsHDIgnoreUI());
  kxw::SetHostProcedures({});
  kxwGetHiDpiHelper() = CHiDpiHelper();
  EXPECT_FALSE(kxwIsHDIgnoreUI());
}

}  // namespace
