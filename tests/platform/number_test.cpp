#include "kxwcmn/platform/number.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr int kMost = std::numeric_limits<int>::max();
constexpr int kLeast = std::numeric_limits<int>::min();

TEST(Number, RoundsHalvesAwayFromZeroAndSaturates) {
  struct Case {
    double value;
    int rounded, truncated;
  };
  for (const Case& c : {Case{0.5, 1, 0}, Case{-0.5, -1, 0}, Case{2.5, 3, 2}, Case{-2.5, -3, -2},
                        Case{0.49999999999999994, 0, 0}, Case{kMost - 0.5, kMost, kMost - 1},
                        Case{kLeast + 0.5, kLeast, kLeast + 1}, Case{2147483647.5, kMost, kMost},
                        Case{-2147483648.5, kLeast, kLeast}, Case{1e300, kMost, kMost},
                        Case{-kInfinity, kLeast, kLeast}, Case{std::nan(""), 0, 0}}) {
    EXPECT_EQ(qmDouble2Int(c.value), c.rounded) << c.value;
    EXPECT_EQ(kxw::Truncate(c.value), c.truncated) << c.value;
  }
  EXPECT_EQ(qmDouble2Short(32767.4), 32767);
  EXPECT_EQ(qmDouble2Short(32768), 32767);
  EXPECT_EQ(qmDouble2Short(-1e9), -32768);
  EXPECT_EQ(qmDouble2Short(-32767.5), -32768);
  std::mt19937_64 random(1);
  for (int i = 0; i < 10000; ++i) {
    const double value = std::ldexp(static_cast<double>(static_cast<i64>(random())), -34);
    ASSERT_EQ(qmDouble2Int(value), std::lround(value)) << value;
  }
}

TEST(Number, MulDivRoundsAndTellsOverflow) {
  EXPECT_EQ(qmMulDiv(7, 1, 2), 4);
  EXPECT_EQ(qmMulDiv(-7, 1, 2), -4);
  EXPECT_EQ(qmMulDiv(7, 1, -2), -4);
  EXPECT_EQ(qmMulDiv(kMost, kMost, kMost), kMost);
  EXPECT_EQ(qmMulDiv(kLeast, kLeast, kLeast), kLeast);
  EXPECT_EQ(qmMulDiv(kLeast, -1, 1), -1);
  EXPECT_EQ(qmMulDiv(kMost, 2, 1), -1);
  EXPECT_EQ(qmMulDiv(1, 1, 0), -1);
}

TEST(Number, TurnsPointsExactlyAtRightAngles) {
  const double centre[2] = {49.5, 20};
  const double expected[4][2] = {{99, 30}, {39.5, 69.5}, {0, 10}, {59.5, -29.5}};
  for (int quarter = -8; quarter < 8; ++quarter) {
    double point[2] = {99, 30};
    qmRotatePointD(point, quarter * 90.0, centre);
    EXPECT_EQ(point[0], expected[(quarter + 8) % 4][0]);
    EXPECT_EQ(point[1], expected[(quarter + 8) % 4][1]);
  }
  double point[2] = {50.5, 20};
  qmRotatePointD(point, 30, centre);
  EXPECT_NEAR(point[0], 49.5 + std::sqrt(0.75), 1e-12);
  EXPECT_NEAR(point[1], 20.5, 1e-12);
}

}  // namespace
