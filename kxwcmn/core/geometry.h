#pragma once

#include "kxwcmn/core/exception.h"
#include "kxwcmn/platform/number.h"
#include "kxwcmn/platform/types.h"

// Points, sizes and rectangles in three precisions. The rules are written once, in the templates
// PointOf, SizeOf and RectOf over the arithmetic of a precision; the named classes stand at the
// end. Each derives from a plain structure of the same shape and passes wherever that structure is
// asked for.
//
// Rectangles are half-open: left and top are inside, right and bottom are the first coordinates
// outside. Integer coordinates wrap at 32 bits in every sum, difference and product. Comparisons
// are exact in all precisions, save for equality of the floating ones, which has a tolerance.

/// The plain structures of the floating precisions.
struct KX_MAY_ALIAS tagPOINTF {
  float x, y;
};
struct tagSIZEF {
  float cx, cy;
};
struct tagRECTF {
  float left, top, right, bottom;
};
struct KX_MAY_ALIAS tagPOINTD {
  double x, y;
};
struct tagSIZED {
  double cx, cy;
};
struct tagRECTD {
  double left, top, right, bottom;
};

class KXPoint;
class KXSize;
class KXRect;
class KXPointF;
class KXSizeF;
class KXRectF;
class KXPointD;
class KXSizeD;
class KXRectD;

namespace kxw {

/// What a null pointer stands for in the pointer forms: a bad argument.
template <class T>
constexpr const T& Deref(const T* pointer) {
  if (!pointer) kxThrowError(kFailureBadArgument);
  return *pointer;
}

/// The arithmetic of signed 32-bit coordinates, wrapping where it leaves them.
struct IntGeometry {
  using Coord = LONG;
  using Factor = double;
  using PointFields = tagPOINT;
  using SizeFields = tagSIZE;
  using RectFields = tagRECT;
  using Point = KXPoint;
  using Size = KXSize;
  using Rect = KXRect;

  /// Where the search for a polygon's lowest coordinates starts.
  static constexpr Coord kPolygonSentinel = 2147483647;

  static constexpr Coord Wrap(DWORD bits) { return static_cast<Coord>(bits); }
  static constexpr Coord Add(Coord a, Coord b) {
    return Wrap(static_cast<DWORD>(a) + static_cast<DWORD>(b));
  }
  static constexpr Coord Sub(Coord a, Coord b) {
    return Wrap(static_cast<DWORD>(a) - static_cast<DWORD>(b));
  }
  static constexpr Coord Times(Coord a, int n) {
    return Wrap(static_cast<DWORD>(a) * static_cast<DWORD>(n));
  }
  /// Truncates toward zero; a divisor of zero raises 0x20010008.
  static constexpr Coord Over(Coord a, int n) {
    if (n == 0) kxThrowError(kFailureBadArgument);
    return n == -1 ? Sub(0, a) : a / n;
  }
  static Coord Scale(Coord a, double factor) { return Truncate(a * factor); }
  static constexpr Coord Middle(Coord a, Coord b) { return Add(a, b) / 2; }
  static constexpr bool Equal(Coord a, Coord b) { return a == b; }
  /// Whether a range from `a` up to `b`, where a <= b, holds nothing.
  static constexpr bool Coincide(Coord a, Coord b) { return a == b; }
};

/// The arithmetic of floating coordinates: products are formed in double precision.
template <class T>
struct RealGeometry {
  using Coord = T;
  using Factor = T;

  static constexpr double kTolerance = sizeof(T) == sizeof(float) ? 0.0001 : 1e-8;

  static constexpr Coord Add(Coord a, Coord b) { return a + b; }
  static constexpr Coord Sub(Coord a, Coord b) { return a - b; }
  static constexpr Coord Times(Coord a, int n) { return Scale(a, n); }
  static constexpr Coord Over(Coord a, int n) {
    return static_cast<Coord>(static_cast<double>(a) / n);
  }
  static constexpr Coord Scale(Coord a, double factor) {
    return static_cast<Coord>(static_cast<double>(a) * factor);
  }
  static constexpr Coord Middle(Coord a, Coord b) {
    return static_cast<Coord>((static_cast<double>(a) + static_cast<double>(b)) * 0.5);
  }
  static constexpr bool Equal(Coord a, Coord b) {
    return static_cast<double>(b) - kTolerance < static_cast<double>(a) &&
           static_cast<double>(a) < static_cast<double>(b) + kTolerance;
  }
  /// Also true when `b` is above `a` by less than the tolerance.
  static constexpr bool Coincide(Coord a, Coord b) {
    return static_cast<double>(a) > static_cast<double>(b) - kTolerance;
  }
};

struct FloatGeometry : RealGeometry<float> {
  using PointFields = tagPOINTF;
  using SizeFields = tagSIZEF;
  using RectFields = tagRECTF;
  using Point = KXPointF;
  using Size = KXSizeF;
  using Rect = KXRectF;
  static constexpr float kPolygonSentinel = 9999999.0f;
};

struct DoubleGeometry : RealGeometry<double> {
  using PointFields = tagPOINTD;
  using SizeFields = tagSIZED;
  using RectFields = tagRECTD;
  using Point = KXPointD;
  using Size = KXSizeD;
  using Rect = KXRectD;
  static constexpr double kPolygonSentinel = 999999999999999.0;
};

/// What the point classes share. `G` is the arithmetic of the precision.
template <class G>
class KX_MAY_ALIAS PointOf : public G::PointFields {
 public:
  using Coord = typename G::Coord;
  using Factor = typename G::Factor;
  using P = typename G::PointFields;
  using S = typename G::SizeFields;
  using R = typename G::RectFields;
  using Point = typename G::Point;
  using Rect = typename G::Rect;
  using P::x;
  using P::y;

  constexpr PointOf() : P{} {}
  constexpr PointOf(Coord px, Coord py) : P{px, py} {}
  constexpr PointOf(const P& p) : P(p) {}
  constexpr PointOf(const S& s) : P{s.cx, s.cy} {}

  constexpr void SetPt(Coord px, Coord py) {
    x = px;
    y = py;
  }
  constexpr void SetPt(const P& p) { SetPt(p.x, p.y); }

  constexpr Point& operator+=(const P& p) { return Set(G::Add(x, p.x), G::Add(y, p.y)); }
  constexpr Point& operator+=(const S& s) { return Set(G::Add(x, s.cx), G::Add(y, s.cy)); }
  constexpr Point& operator-=(const P& p) { return Set(G::Sub(x, p.x), G::Sub(y, p.y)); }
  constexpr Point& operator-=(const S& s) { return Set(G::Sub(x, s.cx), G::Sub(y, s.cy)); }

  constexpr Point operator+(const P& p) const { return Copy() += p; }
  constexpr Point operator+(const S& s) const { return Copy() += s; }
  constexpr Point operator-(const P& p) const { return Copy() -= p; }
  constexpr Point operator-(const S& s) const { return Copy() -= s; }
  constexpr Point operator-() const { return {G::Sub(0, x), G::Sub(0, y)}; }

  /// The rectangle moved by this point, forward or back.
  constexpr Rect operator+(const R* r) const { return Rect(Deref(r)) + *this; }
  constexpr Rect operator-(const R* r) const { return Rect(Deref(r)) - *this; }

  constexpr Point& operator*=(Factor f) { return Set(G::Scale(x, f), G::Scale(y, f)); }
  /// Multiplies by the reciprocal, which can differ from a division in the last place.
  constexpr Point& operator/=(Factor f) {
    const double reciprocal = 1.0 / static_cast<double>(f);
    return Set(G::Scale(x, reciprocal), G::Scale(y, reciprocal));
  }
  constexpr Point operator*(Factor f) const { return Copy() *= f; }
  constexpr Point operator/(Factor f) const { return Copy() /= f; }

  friend constexpr bool operator==(const P& a, const P& b) {
    return G::Equal(a.x, b.x) && G::Equal(a.y, b.y);
  }

 protected:
  constexpr Point Copy() const { return *this; }
  constexpr Point& Set(Coord px, Coord py) {
    SetPt(px, py);
    return static_cast<Point&>(*this);
  }
};

/// What the size classes share.
template <class G>
class SizeOf : public G::SizeFields {
 public:
  using Coord = typename G::Coord;
  using P = typename G::PointFields;
  using S = typename G::SizeFields;
  using R = typename G::RectFields;
  using Point = typename G::Point;
  using Size = typename G::Size;
  using Rect = typename G::Rect;
  using S::cx;
  using S::cy;

  constexpr SizeOf() : S{} {}
  constexpr SizeOf(Coord width, Coord height) : S{width, height} {}
  constexpr SizeOf(const S& s) : S(s) {}
  constexpr SizeOf(const P& p) : S{p.x, p.y} {}

  constexpr void SetPt(Coord width, Coord height) {
    cx = width;
    cy = height;
  }
  constexpr void SetPt(const P& p) { SetPt(p.x, p.y); }

  constexpr Size& operator+=(const P& p) { return Set(G::Add(cx, p.x), G::Add(cy, p.y)); }
  constexpr Size& operator+=(const S& s) { return Set(G::Add(cx, s.cx), G::Add(cy, s.cy)); }
  constexpr Size& operator-=(const P& p) { return Set(G::Sub(cx, p.x), G::Sub(cy, p.y)); }
  constexpr Size& operator-=(const S& s) { return Set(G::Sub(cx, s.cx), G::Sub(cy, s.cy)); }

  constexpr Size operator+(const S& s) const { return Copy() += s; }
  constexpr Size operator-(const S& s) const { return Copy() -= s; }
  constexpr Point operator+(const P& p) const { return Point(*this) + p; }
  constexpr Point operator-(const P& p) const { return Point(*this) - p; }
  constexpr Size operator-() const { return {G::Sub(0, cx), G::Sub(0, cy)}; }

  /// Both move the rectangle forward by this size; that `-` does so too is meant.
  constexpr Rect operator+(const R* r) const { return Rect(Deref(r)) + *this; }
  constexpr Rect operator-(const R* r) const { return Rect(Deref(r)) + *this; }

  friend constexpr bool operator==(const S& a, const S& b) {
    return G::Equal(a.cx, b.cx) && G::Equal(a.cy, b.cy);
  }

 private:
  constexpr Size Copy() const { return *this; }
  constexpr Size& Set(Coord width, Coord height) {
    SetPt(width, height);
    return static_cast<Size&>(*this);
  }
};

/// What the rectangle classes share. No operation but NormalizeRect puts a reversed rectangle in
/// order. The operations that return int return 1 when they stored a result.
template <class G>
class RectOf : public G::RectFields {
 public:
  using Coord = typename G::Coord;
  using P = typename G::PointFields;
  using S = typename G::SizeFields;
  using R = typename G::RectFields;
  using Point = typename G::Point;
  using SizeType = typename G::Size;
  using Rect = typename G::Rect;
  using R::bottom;
  using R::left;
  using R::right;
  using R::top;

  constexpr RectOf() : R{} {}
  constexpr RectOf(const R& r) : R(r) {}
  constexpr RectOf(const R* r) : R(Deref(r)) {}
  constexpr RectOf(Coord l, Coord t, Coord r, Coord b) : R{l, t, r, b} {}
  constexpr RectOf(const P& topLeft, const P& bottomRight)
      : R{topLeft.x, topLeft.y, bottomRight.x, bottomRight.y} {}
  constexpr RectOf(const P& p, const S& s) : R{p.x, p.y, G::Add(p.x, s.cx), G::Add(p.y, s.cy)} {}

  /// Right minus left, negative when reversed.
  constexpr Coord Width() const { return G::Sub(right, left); }
  constexpr Coord Height() const { return G::Sub(bottom, top); }
  constexpr SizeType Size() const { return {Width(), Height()}; }
  constexpr Point CenterPoint() const { return {G::Middle(left, right), G::Middle(top, bottom)}; }

  /// The corners themselves, not copies.
  Point& TopLeft() { return reinterpret_cast<Point&>(left); }
  const Point& TopLeft() const { return reinterpret_cast<const Point&>(left); }
  Point& BottomRight() { return reinterpret_cast<Point&>(right); }
  const Point& BottomRight() const { return reinterpret_cast<const Point&>(right); }

  constexpr void SwapLeftRight() { Swap(left, right); }

  /// Whether the rectangle holds no point. This differs from IsRectNull.
  constexpr bool IsRectEmpty() const { return left >= right || top >= bottom; }
  /// Whether all four coordinates are zero.
  constexpr bool IsRectNull() const { return left == 0 && top == 0 && right == 0 && bottom == 0; }
  constexpr bool PtInRect(const P& p) const {
    return left <= p.x && p.x < right && top <= p.y && p.y < bottom;
  }
  constexpr bool EqualRect(const R& r) const { return *this == r; }
  friend constexpr bool operator==(const R& a, const R& b) {
    return G::Equal(a.left, b.left) && G::Equal(a.top, b.top) && G::Equal(a.right, b.right) &&
           G::Equal(a.bottom, b.bottom);
  }

  constexpr void SetRect(Coord l, Coord t, Coord r, Coord b) { CopyRect(R{l, t, r, b}); }
  constexpr void SetRectEmpty() { CopyRect(R{}); }
  constexpr void CopyRect(const R& r) { static_cast<R&>(*this) = r; }
  constexpr void CopyRect(const R* r) { CopyRect(Deref(r)); }

  /// Moves each edge outward by its amount; the pointer form takes the four amounts from the
  /// structure's fields: margins, not a box.
  constexpr void InflateRect(Coord l, Coord t, Coord r, Coord b) {
    SetRect(G::Sub(left, l), G::Sub(top, t), G::Add(right, r), G::Add(bottom, b));
  }
  constexpr void InflateRect(Coord dx, Coord dy) { InflateRect(dx, dy, dx, dy); }
  constexpr void InflateRect(const S& s) { InflateRect(s.cx, s.cy); }
  constexpr void InflateRect(const R* margins) {
    const R m = Deref(margins);
    InflateRect(m.left, m.top, m.right, m.bottom);
  }

  /// Moves each edge inward, with the forms of InflateRect.
  constexpr void DeflateRect(Coord l, Coord t, Coord r, Coord b) {
    SetRect(G::Add(left, l), G::Add(top, t), G::Sub(right, r), G::Sub(bottom, b));
  }
  constexpr void DeflateRect(Coord dx, Coord dy) { DeflateRect(dx, dy, dx, dy); }
  constexpr void DeflateRect(const S& s) { DeflateRect(s.cx, s.cy); }
  constexpr void DeflateRect(const R* margins) {
    const R m = Deref(margins);
    DeflateRect(m.left, m.top, m.right, m.bottom);
  }

  constexpr void OffsetRect(Coord dx, Coord dy) {
    SetRect(G::Add(left, dx), G::Add(top, dy), G::Add(right, dx), G::Add(bottom, dy));
  }
  constexpr void OffsetRect(const P& p) { OffsetRect(p.x, p.y); }
  constexpr void OffsetRect(const S& s) { OffsetRect(s.cx, s.cy); }

  /// Stores what `a` and `b` have in common; returns 0 and stores nothing if that is empty.
  constexpr int IntersectRect(const R& a, const R& b) {
    const Rect common(Max(a.left, b.left), Max(a.top, b.top), Min(a.right, b.right),
                      Min(a.bottom, b.bottom));
    if (common.IsRectEmpty()) return 0;
    CopyRect(common);
    return 1;
  }
  constexpr int IntersectRect(const R& a) { return IntersectRect(*this, a); }
  constexpr bool IsIntersectRect(const R& a) const {
    return a.left < right && a.right > left && a.top < bottom && a.bottom > top;
  }
  /// Intersects `a` with `b` moved by (-dx, -dy).
  constexpr int IntersectWithOffset(const R& a, const R& b, Coord dx, Coord dy) {
    return IntersectRect(
        a, R{G::Sub(b.left, dx), G::Sub(b.top, dy), G::Sub(b.right, dx), G::Sub(b.bottom, dy)});
  }

  /// Stores the smallest rectangle around `a` and `b`, of which an empty one does not count;
  /// returns 0 and stores nothing if both are empty.
  constexpr int UnionRect(const R& a, const R& b) {
    const Rect first(a), second(b);
    if (first.IsRectEmpty() && second.IsRectEmpty()) return 0;
    if (first.IsRectEmpty()) {
      CopyRect(second);
    } else if (second.IsRectEmpty()) {
      CopyRect(first);
    } else {
      SetRect(Min(a.left, b.left), Min(a.top, b.top), Max(a.right, b.right),
              Max(a.bottom, b.bottom));
    }
    return 1;
  }
  constexpr int UnionRect(const R& a) { return UnionRect(*this, a); }
  /// The union with the rectangle of size 1 at the point.
  constexpr int UnionRect(const P* point) {
    const P p = Deref(point);
    return UnionRect(R{p.x, p.y, G::Add(p.x, 1), G::Add(p.y, 1)});
  }
  /// Grows to contain the point. Unlike the union, an empty rectangle is grown like any other.
  constexpr void UnionPoint(const P& p) {
    left = Min(left, p.x);
    top = Min(top, p.y);
    if (right <= p.x) right = G::Add(p.x, 1);
    if (bottom <= p.y) bottom = G::Add(p.y, 1);
  }

  /// The box of two points, given a size of 1 on an axis where they coincide.
  constexpr void Pt2Rect(const P& p1, const P& p2) {
    SetRect(Min(p1.x, p2.x), Min(p1.y, p2.y), HighSide(p1.x, p2.x), HighSide(p1.y, p2.y));
  }

  /// The extreme coordinates of `count` points. Unlike every other box, right and bottom are the
  /// largest coordinates themselves and never below zero; without points left and top stay at the
  /// sentinel.
  constexpr void PolygonBox(const P* points, int count) {
    if (count > 0) Deref(points);
    Rect box(G::kPolygonSentinel, G::kPolygonSentinel, 0, 0);
    for (int i = 0; i < count; ++i) {
      box.left = Min(box.left, points[i].x);
      box.top = Min(box.top, points[i].y);
      box.right = Max(box.right, points[i].x);
      box.bottom = Max(box.bottom, points[i].y);
    }
    CopyRect(box);
  }

  /// Writes the four corners, clockwise from the top left, to `points`.
  constexpr void SetPoint(P* points) const {
    Deref(points);
    points[0] = P{left, top};
    points[1] = P{right, top};
    points[2] = P{right, bottom};
    points[3] = P{left, bottom};
  }

  constexpr void NormalizeRect() {
    if (left > right) Swap(left, right);
    if (top > bottom) Swap(top, bottom);
  }

  constexpr Rect& operator+=(const P& p) { return Moved(p.x, p.y); }
  constexpr Rect& operator+=(const S& s) { return Moved(s.cx, s.cy); }
  constexpr Rect& operator-=(const P& p) { return Moved(G::Sub(0, p.x), G::Sub(0, p.y)); }
  constexpr Rect& operator-=(const S& s) { return Moved(G::Sub(0, s.cx), G::Sub(0, s.cy)); }
  /// InflateRect and DeflateRect with the four margins.
  constexpr Rect& operator+=(const R* margins) {
    InflateRect(margins);
    return Self();
  }
  constexpr Rect& operator-=(const R* margins) {
    DeflateRect(margins);
    return Self();
  }
  constexpr Rect& operator&=(const R& r) {
    IntersectRect(r);
    return Self();
  }
  constexpr Rect& operator|=(const R& r) {
    UnionRect(r);
    return Self();
  }

  constexpr Rect operator+(const P& p) const { return Copy() += p; }
  constexpr Rect operator+(const S& s) const { return Copy() += s; }
  constexpr Rect operator-(const P& p) const { return Copy() -= p; }
  /// Adds the size like `+`, which is meant.
  constexpr Rect operator-(const S& s) const { return Copy() += s; }
  constexpr Rect operator+(const R* margins) const { return Copy() += margins; }
  constexpr Rect operator-(const R* margins) const { return Copy() -= margins; }
  constexpr Rect operator*(int n) const {
    return {G::Times(left, n), G::Times(top, n), G::Times(right, n), G::Times(bottom, n)};
  }
  constexpr Rect operator/(int n) const {
    return {G::Over(left, n), G::Over(top, n), G::Over(right, n), G::Over(bottom, n)};
  }
  /// All zeros when nothing is in common.
  constexpr Rect operator&(const R& r) const {
    Rect result;
    result.IntersectRect(*this, r);
    return result;
  }
  /// All zeros when both are empty.
  constexpr Rect operator|(const R& r) const {
    Rect result;
    result.UnionRect(*this, r);
    return result;
  }

 private:
  static constexpr Coord Min(Coord a, Coord b) { return b < a ? b : a; }
  static constexpr Coord Max(Coord a, Coord b) { return a < b ? b : a; }
  static constexpr void Swap(Coord& a, Coord& b) {
    const Coord kept = a;
    a = b;
    b = kept;
  }
  /// A floating `b` that lies slightly below `a` gets no size of 1, one slightly above does: the
  /// tolerance on one side alone is meant.
  static constexpr Coord HighSide(Coord a, Coord b) {
    if (a > b) return a;
    return G::Coincide(a, b) ? G::Add(a, 1) : b;
  }
  constexpr Rect Copy() const { return *this; }
  constexpr Rect& Self() { return static_cast<Rect&>(*this); }
  constexpr Rect& Moved(Coord dx, Coord dy) {
    OffsetRect(dx, dy);
    return Self();
  }
};

}  // namespace kxw

class KX_MAY_ALIAS KXPoint : public kxw::PointOf<kxw::IntGeometry> {
 public:
  using PointOf::PointOf;
  using PointOf::operator*=;
  using PointOf::operator/=;
  using PointOf::operator*;
  using PointOf::operator/;

  constexpr KXPoint& operator*=(int n) {
    return Set(kxw::IntGeometry::Times(x, n), kxw::IntGeometry::Times(y, n));
  }
  /// A divisor of zero raises 0x20010008.
  constexpr KXPoint& operator/=(int n) {
    return Set(kxw::IntGeometry::Over(x, n), kxw::IntGeometry::Over(y, n));
  }
  constexpr KXPoint operator*(int n) const { return Copy() *= n; }
  constexpr KXPoint operator/(int n) const { return Copy() /= n; }
};

class KX_MAY_ALIAS KXPointF : public kxw::PointOf<kxw::FloatGeometry> {
 public:
  using PointOf::PointOf;
};

class KX_MAY_ALIAS KXPointD : public kxw::PointOf<kxw::DoubleGeometry> {
 public:
  using PointOf::PointOf;
};

class KXSize : public kxw::SizeOf<kxw::IntGeometry> {
 public:
  using SizeOf::SizeOf;
};

class KXSizeF : public kxw::SizeOf<kxw::FloatGeometry> {
 public:
  using SizeOf::SizeOf;
};

class KXSizeD : public kxw::SizeOf<kxw::DoubleGeometry> {
 public:
  using SizeOf::SizeOf;
};

class KXRect : public kxw::RectOf<kxw::IntGeometry> {
 public:
  using RectOf::RectOf;

  /// Fits a source of the size of `src` into `dst`, keeping its aspect ratio and centred, and
  /// stores the result here. It can be a pixel wider or higher than the ratio asks for, and a
  /// source higher than wide takes the full height even where its width then overflows `dst`. Where
  /// the source or the target has no width or height, the result has at most a pixel of it.
  KX_EXPORT void CalcDestRect(const tagRECT& src, const tagRECT& dst);
};

class KXRectF : public kxw::RectOf<kxw::FloatGeometry> {
 public:
  using RectOf::RectOf;
};

class KXRectD : public kxw::RectOf<kxw::DoubleGeometry> {
 public:
  using RectOf::RectOf;
};
