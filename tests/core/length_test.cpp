#include "kxwcmn/core/length.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

constexpr double kInchesAUnit[] = {0,        0.39370078740157477, 0.03937007874015748, 1, 0,
                                   1.0 / 72, 0.00984251968503937};

// Every pair of units but those with picas, whose factors are a table of their own, follows from
// the sizes of the units.
TEST(Length, ConvertsBetweenUnits) {
  for (int unit : {1, 2, 3, 5, 6}) {
    for (int target : {1, 2, 3, 5, 6}) {
      EXPECT_NEAR(KXLength(7, unit).GetAs(target) * kInchesAUnit[target], 7 * kInchesAUnit[unit],
                  1e-12)
          << unit << " to " << target;
    }
    EXPECT_EQ(KXLength(7, unit).GetAsPixelD(300), 300 * 7.0 * kInchesAUnit[unit]) << unit;
  }
  EXPECT_EQ(KXLength(1, 3).GetAsPixel(300), 300);
  EXPECT_EQ(KXLength(2.5, 3, 5).GetAs(0), 13);  // rounded, at its own resolution
  EXPECT_EQ(KXLength(150, 0, 300).GetAs(1), 0.5 * 2.54);
  EXPECT_EQ(KXLength(150, 0, 300).GetAsPixelD(72), 36);
}

TEST(Length, PicasCountAsTwoSizes) {
  const double ofPica[] = {15.24, 152.39999999999998, 6, 1, 0.08333333333333333, 609.5999999999999};
  const double inPicas[] = {0.06561679790026245,  0.006561679790026247, 0.16666666666666666, 1, 12,
                            0.0016404199475065617};
  for (int unit = 1; unit <= 6; ++unit) {
    EXPECT_EQ(KXLength(1, 4).GetAs(unit), ofPica[unit - 1]) << unit;
    EXPECT_EQ(KXLength(1, unit).GetAs(4), inPicas[unit - 1]) << unit;
  }
  EXPECT_EQ(KXLength(5, 4, 300).GetAsPixelD(300), 0);
  EXPECT_EQ(KXLength(5, 4, 300).GetAs(0), 0);
}

TEST(Length, IsNoneWithoutUnitOrResolution) {
  for (int unit : {-1, 7, 2147483647, -2147483647 - 1}) {
    EXPECT_EQ(KXLength(1, unit, 300).GetAs(1) + KXLength(1, unit, 300).GetAsPixelD(300), 0);
    EXPECT_EQ(KXLength(1, 3).GetAs(unit), 0);
  }
  EXPECT_EQ(KXLength(1, 0).GetAsPixelD(300), 0);
  EXPECT_EQ(KXLength(1, 0).GetAs(1), 0);
  KXLength length(1, 3, 300);
  length.Set(2, -2, 0);
  EXPECT_TRUE(length == KXLength(2, 3, 300));
  length.Set(2, -2, std::numeric_limits<double>::quiet_NaN());
  EXPECT_EQ(length.GetResolution(), 300);
  length.Set(3, -1, 100);
  EXPECT_TRUE(length == KXLength(3, -1, 100) && length != KXLength(3, -1, 101));
  EXPECT_EQ(KXLength().GetUnit(), -1);
}

}  // namespace
