#include "kxwcmn/core/matrix2d.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

namespace {

constexpr double kRadiansADegree = 0.017453292519943295;

// What RemoveMatRoundError takes for a whole number: a fraction below the one, or above the other.
constexpr double kNearlyNone = 1e-8;
constexpr double kNearlyOne = 0.99999999;

}  // namespace

KXMatrix2D::~KXMatrix2D() = default;

void KXMatrix2D::Set(double m00, double m01, double m02, double m10, double m11, double m12,
                     double m20, double m21, double m22) {
  const double elements[3][3] = {{m00, m01, m02}, {m10, m11, m12}, {m20, m21, m22}};
  std::memcpy(m_, elements, sizeof m_);
}

double KXMatrix2D::At(int row, int column) const {
  if (row < 0 || row > 2 || column < 0 || column > 2) kxThrowError(kxw::kFailureBadArgument);
  return m_[row][column];
}

bool KXMatrix2D::operator==(const KXMatrix2D& other) const {
  return std::equal(&m_[0][0], &m_[0][0] + 9, &other.m_[0][0]);
}

KXMatrix2D& KXMatrix2D::operator+=(const KXMatrix2D& other) {
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j) m_[i][j] += other.m_[i][j];
  }
  return *this;
}

KXMatrix2D& KXMatrix2D::operator-=(const KXMatrix2D& other) {
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j) m_[i][j] -= other.m_[i][j];
  }
  return *this;
}

KXMatrix2D& KXMatrix2D::operator*=(double factor) {
  for (auto& row : m_) {
    for (double& element : row) element *= factor;
  }
  return *this;
}

KXMatrix2D& KXMatrix2D::operator/=(double divisor) {
  for (auto& row : m_) {
    for (double& element : row) element /= divisor;
  }
  return *this;
}

KXMatrix2D& KXMatrix2D::operator*=(const KXMatrix2D& other) {
  KXMatrix2D product;
  for (int i = 0; i < 3; ++i) {
    const auto& row = other.m_[i];
    for (int j = 0; j < 3; ++j) {
      product.m_[i][j] = row[0] * m_[0][j] + row[1] * m_[1][j] + row[2] * m_[2][j];
    }
  }
  return *this = product;
}

KXRectD KXMatrix2D::MultiplyBound(const KXRectD& rect) const {
  const KXPointD first = MultiplyPoint(KXPointD(rect.left, rect.top));
  KXRectD bound(first.x, first.y, first.x, first.y);
  for (const KXPointD& corner : {KXPointD(rect.right, rect.top), KXPointD(rect.right, rect.bottom),
                                 KXPointD(rect.left, rect.bottom)}) {
    const KXPointD p = MultiplyPoint(corner);
    bound.left = std::min(bound.left, p.x);
    bound.top = std::min(bound.top, p.y);
    bound.right = std::max(bound.right, p.x);
    bound.bottom = std::max(bound.bottom, p.y);
  }
  return bound;
}

KXRectF KXMatrix2D::MultiplyBound(const KXRectF& rect) const {
  const KXPointD topLeft = Wide(rect.TopLeft()), bottomRight = Wide(rect.BottomRight());
  const KXRectD bound = MultiplyBound(KXRectD(topLeft, bottomRight));
  return {Narrow(bound.TopLeft()), Narrow(bound.BottomRight())};
}

KXRect KXMatrix2D::MultiplyBound(const KXRect& rect) const {
  const KXPointD topLeft = Wide(rect.TopLeft()), bottomRight = Wide(rect.BottomRight());
  const KXRectD bound = MultiplyBound(KXRectD(topLeft, bottomRight));
  return {Whole(bound.TopLeft()), Whole(bound.BottomRight())};
}

void KXMatrix2D::Transfer(double dx, double dy) {
  for (int j = 0; j < 3; ++j) {
    m_[0][j] += dx * m_[2][j];
    m_[1][j] += dy * m_[2][j];
  }
}

template <class Step>
void KXMatrix2D::Around(const Centre& centre, Step step) {
  Transfer(-centre.x, -centre.y);
  step();
  Transfer(centre.x, centre.y);
}

void KXMatrix2D::Scale(double sx, double sy, const Centre& centre) {
  Around(centre, [&] {
    for (int j = 0; j < 3; ++j) {
      m_[0][j] *= sx;
      m_[1][j] *= sy;
    }
  });
}

void KXMatrix2D::Rotate(double degrees, const Centre& centre) {
  const double radians = degrees * kRadiansADegree;
  const double c = std::cos(radians), s = std::sin(radians);
  Around(centre, [&] { *this *= KXMatrix2D(c, -s, 0, s, c, 0, 0, 0, 1); });
}

void KXMatrix2D::Shear(double sx, double sy, const Centre& centre) {
  Around(centre, [&] { *this *= KXMatrix2D(1, sx, 0, sy, 1, 0, 0, 0, 1); });
}

void KXMatrix2D::Transpose() {
  std::swap(m_[0][1], m_[1][0]);
  std::swap(m_[0][2], m_[2][0]);
  std::swap(m_[1][2], m_[2][1]);
}

double KXMatrix2D::Determinant() const {
  return m_[0][0] * (m_[1][1] * m_[2][2] - m_[1][2] * m_[2][1]) -
         m_[0][1] * (m_[1][0] * m_[2][2] - m_[1][2] * m_[2][0]) +
         m_[0][2] * (m_[1][0] * m_[2][1] - m_[1][1] * m_[2][0]);
}

int KXMatrix2D::CalcInverse(KXMatrix2D& out) const {
  const double determinant = Determinant();
  if (determinant == 0) return 0;
  // The minor of the other two rows and columns, in cyclic order: its sign is right by itself.
  const auto cofactor = [this](int row, int column) {
    const int i = (row + 1) % 3, k = (row + 2) % 3, j = (column + 1) % 3, l = (column + 2) % 3;
    return m_[i][j] * m_[k][l] - m_[i][l] * m_[k][j];
  };
  KXMatrix2D adjugate;
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j) adjugate.m_[i][j] = cofactor(j, i);
  }
  adjugate *= 1.0 / determinant;
  out = adjugate;
  return 1;
}

bool KXMatrix2D::IsReverseMatrix() const { return m_[0][0] * m_[1][1] - m_[0][1] * m_[1][0] < 0; }

void KXMatrix2D::RemoveMatRoundError() {
  for (auto& row : m_) {
    for (double& element : row) {
      const double whole = std::floor(element), fraction = element - whole;
      if (fraction < kNearlyNone) {
        element = whole;
      } else if (fraction > kNearlyOne) {
        element = whole + 1;
      }
    }
  }
}

double KXMatrix2D::GetScale() const {
  const KXPointD v = MultiplyVector(KXPointD(1, 0));
  return std::sqrt(v.x * v.x + v.y * v.y);
}
