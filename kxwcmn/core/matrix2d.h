#pragma once

#include "kxwcmn/core/geometry.h"
#include "kxwcmn/platform/export.h"

/// A 3 x 3 matrix of doubles for transforms of the plane. Points are columns:
/// x' = m00 x + m01 y + m02, y' = m10 x + m11 y + m12; the bottom row takes no part.
///
/// Each transform is a step behind those that the matrix already does. Sums of products are formed
/// from left to right. Where a result is put into integers it is truncated toward zero and
/// saturates.
class KX_EXPORT KXMatrix2D {
 public:
  /// A point in any of the three precisions.
  struct Centre {
    Centre() : x(0), y(0) {}
    Centre(const tagPOINT& p) : x(p.x), y(p.y) {}
    Centre(const tagPOINTF& p) : x(static_cast<double>(p.x)), y(static_cast<double>(p.y)) {}
    Centre(const tagPOINTD& p) : x(p.x), y(p.y) {}
    double x, y;
  };

  /// The identity.
  KXMatrix2D() { Init(); }
  /// Row by row.
  KXMatrix2D(double m00, double m01, double m02, double m10, double m11, double m12, double m20,
             double m21, double m22) {
    Set(m00, m01, m02, m10, m11, m12, m20, m21, m22);
  }
  KXMatrix2D(const KXMatrix2D&) = default;
  KXMatrix2D& operator=(const KXMatrix2D&) = default;
  virtual ~KXMatrix2D();

  void Init() { Set(1, 0, 0, 0, 1, 0, 0, 0, 1); }
  void Set(double m00, double m01, double m02, double m10, double m11, double m12, double m20,
           double m21, double m22);
  /// An element; raises 0x20010008 outside 0 to 2.
  double At(int row, int column) const;

  /// Exact, element by element.
  bool operator==(const KXMatrix2D& other) const;

  KXMatrix2D& operator+=(const KXMatrix2D& other);
  KXMatrix2D& operator-=(const KXMatrix2D& other);
  KXMatrix2D& operator*=(double factor);
  KXMatrix2D& operator/=(double divisor);
  /// Multiplies from the left: this becomes `other` x this, a transform with `other`'s behind it.
  KXMatrix2D& operator*=(const KXMatrix2D& other);

  /// The point transformed; for a vector without the third column.
  KXPointD MultiplyPoint(const KXPointD& p) const {
    return {m_[0][0] * p.x + m_[0][1] * p.y + m_[0][2], m_[1][0] * p.x + m_[1][1] * p.y + m_[1][2]};
  }
  KXPointF MultiplyPoint(const KXPointF& p) const { return Narrow(MultiplyPoint(Wide(p))); }
  KXPoint MultiplyPoint(const KXPoint& p) const { return Whole(MultiplyPoint(Wide(p))); }
  KXPointD MultiplyVector(const KXPointD& v) const {
    return {m_[0][0] * v.x + m_[0][1] * v.y, m_[1][0] * v.x + m_[1][1] * v.y};
  }
  KXPointF MultiplyVector(const KXPointF& v) const { return Narrow(MultiplyVector(Wide(v))); }
  KXPoint MultiplyVector(const KXPoint& v) const { return Whole(MultiplyVector(Wide(v))); }

  /// The box around the four corners transformed.
  KXRectD MultiplyBound(const KXRectD& rect) const;
  KXRectF MultiplyBound(const KXRectF& rect) const;
  KXRect MultiplyBound(const KXRect& rect) const;

  void Transfer(double dx, double dy);
  void Transfer(const Centre& by) { Transfer(by.x, by.y); }
  void Scale(double sx, double sy, const Centre& centre = {});
  /// Turns from the x axis towards the y axis.
  void Rotate(double degrees, const Centre& centre = {});
  void Shear(double sx, double sy, const Centre& centre = {});

  void Transpose();
  double Determinant() const;
  /// Returns 1 with the inverse in `out`, which may be this; 0, with `out` untouched, if the
  /// determinant is exactly 0.
  int CalcInverse(KXMatrix2D& out) const;
  /// Whether the transform mirrors.
  bool IsReverseMatrix() const;
  /// Makes each element whole that is less than 1e-8 away from it.
  void RemoveMatRoundError();
  /// The length that a vector of length 1 along the x axis gets.
  double GetScale() const;
  KXPointD GetTransfer() const { return {m_[0][2], m_[1][2]}; }

 private:
  static KXPointD Wide(const tagPOINT& p) {
    return {static_cast<double>(p.x), static_cast<double>(p.y)};
  }
  static KXPointD Wide(const tagPOINTF& p) {
    return {static_cast<double>(p.x), static_cast<double>(p.y)};
  }
  static KXPointF Narrow(const tagPOINTD& p) {
    return {static_cast<float>(p.x), static_cast<float>(p.y)};
  }
  static KXPoint Whole(const tagPOINTD& p) { return {kxw::Truncate(p.x), kxw::Truncate(p.y)}; }

  /// Applies `step` to the plane with `centre` as its origin.
  template <class Step>
  void Around(const Centre& centre, Step step);

  double m_[3][3];
};
