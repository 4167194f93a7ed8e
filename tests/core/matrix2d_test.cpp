#include "kxwcmn/core/matrix2d.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "tests/support/failure.h"

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

void ExpectNear(const KXPointD& p, double x, double y) {
  EXPECT_NEAR(p.x, x, 1e-12);
  EXPECT_NEAR(p.y, y, 1e-12);
}

// Steps are applied in the order of the calls, about a centre of any precision.
TEST(Matrix2D, AddsEachTransformBehindTheOthers) {
  KXMatrix2D m;
  m.Transfer(10, 0);
  m.Scale(2, 3);
  ExpectNear(m.MultiplyPoint(KXPointD(1, 1)), 22, 3);
  ExpectNear(m.MultiplyVector(KXPointD(1, 1)), 2, 3);
  m.Rotate(90, KXPoint(22, 0));
  ExpectNear(m.MultiplyPoint(KXPointD(1, 1)), 19, 0);
  m.Shear(0.5, 0.25, KXPointF(0, 2));
  ExpectNear(m.MultiplyPoint(KXPointD(1, 1)), 18, 4.75);
  m.Scale(1, 2, KXPointD(0, 4.75));
  m.Transfer(KXPoint(-18, 0));
  ExpectNear(m.MultiplyPoint(KXPointD(1, 1)), 0, 4.75);
  KXMatrix2D projective(1, 0, 0, 0, 1, 0, 2, 3, 4);
  projective.Transfer(10, 100);
  EXPECT_TRUE(projective == KXMatrix2D(21, 30, 40, 200, 301, 400, 2, 3, 4));
}

TEST(Matrix2D, MultipliesFromTheLeft) {
  KXMatrix2D m(1, 2, 3, 4, 5, 6, 7, 8, 10);
  const KXMatrix2D other(0, 1, 0, 2, 0, 0, 0, 0, 3);
  KXMatrix2D product(m);
  product *= other;
  EXPECT_TRUE(product == KXMatrix2D(4, 5, 6, 2, 4, 6, 21, 24, 30));
  product *= product;  // its own left factor
  EXPECT_EQ(product.At(0, 0), 4 * 4 + 5 * 2 + 6 * 21);
  EXPECT_EQ(m.Determinant(), -3);
  KXMatrix2D inverse;
  ASSERT_EQ(m.CalcInverse(inverse), 1);
  inverse *= m;
  inverse.RemoveMatRoundError();
  EXPECT_TRUE(inverse == KXMatrix2D());
  m.Transpose();
  EXPECT_TRUE(m == KXMatrix2D(1, 4, 7, 2, 5, 8, 3, 6, 10));
  m += m;
  m -= KXMatrix2D();
  m /= 2;
  m *= 4;
  EXPECT_TRUE(m == KXMatrix2D(2, 16, 28, 8, 18, 32, 12, 24, 38));
  KXMatrix2D kept(other);
  EXPECT_EQ(KXMatrix2D(1, 2, 3, 2, 4, 6, 0, 0, 1).CalcInverse(kept), 0);
  EXPECT_TRUE(kept == other);
  EXPECT_EQ(KXMatrix2D(1e-200, 0, 0, 0, 1, 0, 0, 0, 1).CalcInverse(kept), 1);  // not quite 0
  EXPECT_EQ(CodeOf([&] { m.At(3, 0); }), 0x20010008);
}

TEST(Matrix2D, BoundsAndRounds) {
  KXMatrix2D turn;
  turn.Rotate(90);
  EXPECT_NE(turn.At(0, 0), 0);
  turn.RemoveMatRoundError();
  EXPECT_TRUE(turn == KXMatrix2D(0, -1, 0, 1, 0, 0, 0, 0, 1));
  const KXRect bound = turn.MultiplyBound(KXRect(1, 2, 5, 4));
  EXPECT_EQ(bound, KXRect(-4, 1, -2, 5));
  EXPECT_EQ(turn.MultiplyBound(KXRectF(1, 2, 5, 4)), KXRectF(-4, 1, -2, 5));
  for (const int slant : {1, -1}) {  // each corner is an end of one of the two
    KXMatrix2D shear;
    shear.Shear(slant, 0);
    EXPECT_EQ(shear.MultiplyBound(KXRectD(1, 2, 5, 4)),
              slant > 0 ? KXRectD(3, 2, 9, 4) : KXRectD(-3, 2, 3, 4));
  }
  KXMatrix2D half;
  half.Scale(0.5, -0.75);
  EXPECT_EQ(half.MultiplyPoint(KXPoint(3, 3)), KXPoint(1, -2));  // truncated
  EXPECT_TRUE(half.IsReverseMatrix() && !turn.IsReverseMatrix());
  EXPECT_FALSE(KXMatrix2D(1, 2, 0, 2, 4, 0, 0, 0, 1).IsReverseMatrix());
  EXPECT_EQ(half.GetScale(), 0.5);
  half.Transfer(4, 5);
  EXPECT_EQ(half.GetTransfer(), KXPointD(4, 5));
  KXMatrix2D near(2 + 9e-9, 2 + 2e-8, 3 - 9e-9, 3 - 2e-8, -1 - 9e-9, kInfinity, 0.5, -0.5, 0);
  near.RemoveMatRoundError();
  EXPECT_TRUE(near == KXMatrix2D(2, 2 + 2e-8, 3, 3 - 2e-8, -1, kInfinity, 0.5, -0.5, 0));
  // Whole results saturate, and no number counts as 0.
  KXMatrix2D wild(kInfinity, 0, 0, 0, -1e300, 0, 0, 0, 1);
  EXPECT_EQ(wild.MultiplyPoint(KXPoint(1, 1)), KXPoint(2147483647, -2147483647 - 1));
  wild.Set(std::nan(""), 0, 0, 0, 1, 0, 0, 0, 1);
  EXPECT_EQ(wild.MultiplyPoint(KXPoint(1, 1)), KXPoint(0, 1));
}

}  // namespace
