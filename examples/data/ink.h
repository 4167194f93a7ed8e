#pragma once

#include <cairo.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

/// The tools with which the example drawing is inked: curves, tapered strokes, and a sheet that
/// keeps the line drawing and its colours in step.
namespace ink {

/// A place on the sheet in pixels, y downwards.
struct Point {
  double x, y;
};
inline Point operator+(Point a, Point b) { return {a.x + b.x, a.y + b.y}; }
inline Point operator-(Point a, Point b) { return {a.x - b.x, a.y - b.y}; }
inline Point operator*(Point a, double k) { return {a.x * k, a.y * k}; }
double Length(Point p);
/// From `a` (t = 0) to `b` (t = 1).
inline Point Mix(Point a, Point b, double t) { return a + (b - a) * t; }

/// A curve as closely spaced points. A closed curve does not repeat its first point.
using Curve = std::vector<Point>;

/// 0xRRGGBB.
using Colour = std::uint32_t;

/// Moves each channel of `colour` towards white (`by` > 0, at most 1) or black (`by` < 0).
Colour Shade(Colour colour, double by);

/// A smooth curve through knots written as "x y, x y, x y!, ...": a Catmull-Rom spline that never
/// overshoots (centripetal). The curve turns sharply at a knot marked with `!`.
Curve Open(std::string_view knots);
/// The same, closed from the last knot to the first.
Curve Closed(std::string_view knots);
Curve Open(const Curve& knots);
Curve Closed(const Curve& knots);

/// A straight line from `a` to `b`.
Curve Line(Point a, Point b);
/// A closed ellipse, turned clockwise by `degrees`.
Curve Ellipse(Point centre, double rx, double ry, double degrees = 0);
/// A pointed leaf from `base` to `tip`; `width` is its greatest, `bend` moves its middle sideways.
Curve Leaf(Point base, Point tip, double width, double bend = 0);

/// The point at the fraction `t` of the curve's length, and the unit normal to its left there.
Point At(const Curve& curve, double t);
Point NormalAt(const Curve& curve, double t);
/// The part between two fractions of the length; backwards when `from` > `to`.
Curve Part(const Curve& curve, double from, double to);
/// The curves end to end.
Curve Join(const std::vector<Curve>& parts);
/// `curve` scaled by `scale` and turned clockwise by `degrees` about the origin, then moved.
Curve Place(const Curve& curve, Point to, double scale = 1, double degrees = 0);
/// An open curve moved sideways by `from` at its start to `to` at its end; positive is to the left.
Curve Offset(const Curve& curve, double from, double to);
/// Tufts of fur along an open curve: `count` locks of height `depth`, to the curve's left, that
/// lean forward by `lean` of their length.
Curve Tufts(const Curve& curve, int count, double depth, double lean = 0.7);

/// A band along `spine` whose half width is given at equally spaced places; a closed curve.
Curve Ribbon(const Curve& spine, const std::vector<double>& halfWidths);

/// A piece of cloth spanned between four curves. `top` and `bottom` run left to right, `left` and
/// `right` downwards, and they meet at the corners.
struct Cloth {
  Curve top, bottom, left, right;
  /// The place of the cloth at (u, v), each 0 to 1.
  Point operator()(double u, double v) const;
  /// A curve given in u and v, laid on the cloth.
  Curve Lay(const Curve& uv) const;
  /// The outline of a rectangle of the cloth.
  Curve Cell(double u0, double v0, double u1, double v1) const;
};

/// Random numbers that are the same on every host.
class Random {
 public:
  explicit Random(std::uint32_t seed) : state_(seed * 2654435761u + 1u) {}
  /// From `low` up to, not including, `high`.
  double In(double low, double high);
  /// From 0 up to, not including, `count`.
  int Below(int count) { return static_cast<int>(In(0, count)); }
  template <class T>
  const T& Pick(const std::vector<T>& from) {
    return from[static_cast<std::size_t>(Below(static_cast<int>(from.size())))];
  }

 private:
  std::uint32_t state_;
};

/// How a line is inked. `width` is its greatest width in pixels; `tip` the share of it that is left
/// at the ends of an open line. `weight` makes an outline heavier away from the light.
struct Pen {
  double width;
  double tip = 0.6;
  double weight = 0.3;
};

/// The hierarchy of lines, from the outer contour to the texture. A line of these pens closes
/// regions; with `Free` it thins out to nothing and closes none.
inline constexpr Pen kContour{10.5, 0.6, 0.36};
inline constexpr Pen kForm{7, 0.6, 0.34};
inline constexpr Pen kDetail{5, 0.65, 0.28};
inline constexpr Pen kFine{3.8, 0.75, 0.2};
inline constexpr Pen kDistant{3.6, 0.8, 0.15};
inline constexpr Pen Free(Pen pen) { return {pen.width, 0.08, pen.weight}; }

/// A drawing on white paper, and beside it the map of the colours its regions are to have.
class Sheet {
 public:
  Sheet(int width, int height, Colour paper);

  int width() const { return width_; }
  int height() const { return height_; }

  /// Covers what is drawn inside `outline` with white, and gives the inside a colour.
  void Fill(const Curve& outline, Colour colour);
  /// Inks an open line, thick in its middle.
  void Ink(const Curve& line, Pen pen);
  /// Inks a closed line.
  void Outline(const Curve& outline, Pen pen);
  /// Fills and outlines.
  void Shape(const Curve& outline, Colour colour, Pen pen);
  /// Inks one pixel.
  void Ink(int x, int y);
  /// Solid black.
  void Black(const Curve& outline);

  /// The drawing: one byte a pixel, 255 for paper; `stride` bytes a row.
  const std::uint8_t* Drawing() const;
  int DrawingStride() const;
  Colour ColourAt(int x, int y) const;
  /// Writes the drawing as an 8-bit greyscale PNG; false if the file cannot be written.
  bool Write(const std::string& path) const;

 private:
  friend class Clip;
  friend class Pose;
  struct Destroy {
    void operator()(cairo_surface_t* s) const { cairo_surface_destroy(s); }
    void operator()(cairo_t* c) const { cairo_destroy(c); }
  };
  using Surface = std::unique_ptr<cairo_surface_t, Destroy>;
  using Context = std::unique_ptr<cairo_t, Destroy>;

  void InkSamples(const Curve& points, const std::vector<double>& widths, bool closed);

  int width_, height_;
  Surface drawing_, colours_;
  Context lines_, flats_;
};

/// While it lives, drawing reaches only the inside of an outline.
class Clip {
 public:
  Clip(Sheet& sheet, const Curve& outline);
  ~Clip();
  Clip(const Clip&) = delete;
  Clip& operator=(const Clip&) = delete;

 private:
  Sheet& sheet_;
};

/// While it lives, everything is drawn turned clockwise by `degrees` and scaled about `centre`.
class Pose {
 public:
  Pose(Sheet& sheet, Point centre, double degrees, double scale = 1);
  ~Pose();
  Pose(const Pose&) = delete;
  Pose& operator=(const Pose&) = delete;

 private:
  Sheet& sheet_;
};

}  // namespace ink
