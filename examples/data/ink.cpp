#include "ink.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <numbers>
#include <stdexcept>

namespace ink {
namespace {

constexpr double kPi = std::numbers::pi;
/// The distance of a curve's points: short enough that no edge shows in a 10-pixel line.
constexpr double kStep = 3;

struct Knots {
  Curve points;
  std::vector<bool> corner;
};

Knots Parse(std::string_view text) {
  Knots knots;
  const char* at = text.data();
  const char* const end = at + text.size();
  const auto number = [&] {
    while (at != end && (*at == ' ' || *at == ',' || *at == '\n')) ++at;
    double value = 0;
    const auto [stop, error] = std::from_chars(at, end, value);
    if (error != std::errc()) throw std::invalid_argument("knots: " + std::string(text));
    at = stop;
    return value;
  };
  while (at != end) {
    const double x = number();
    const double y = number();
    const bool corner = at != end && *at == '!';
    if (corner) ++at;
    knots.points.push_back({x, y});
    knots.corner.push_back(corner);
  }
  return knots;
}

/// One span of a centripetal Catmull-Rom spline, from `b` up to but not including `c`.
void AddSpan(Curve& out, Point a, Point b, Point c, Point d) {
  const auto knot = [](Point p, Point q) { return std::max(1e-6, std::sqrt(Length(q - p))); };
  const double t0 = 0, t1 = t0 + knot(a, b), t2 = t1 + knot(b, c), t3 = t2 + knot(c, d);
  const auto blend = [](Point p, Point q, double s, double e, double t) {
    return p * ((e - t) / (e - s)) + q * ((t - s) / (e - s));
  };
  const int steps = std::max(2, static_cast<int>(Length(c - b) / kStep));
  for (int i = 0; i < steps; ++i) {
    const double t = t1 + (t2 - t1) * i / steps;
    const Point a1 = blend(a, b, t0, t1, t), a2 = blend(b, c, t1, t2, t);
    const Point a3 = blend(c, d, t2, t3, t);
    out.push_back(blend(blend(a1, a2, t0, t2, t), blend(a2, a3, t1, t3, t), t1, t2, t));
  }
}

Curve Spline(const Knots& knots, bool closed) {
  const int n = static_cast<int>(knots.points.size());
  const auto at = [&](int i) { return knots.points[static_cast<std::size_t>((i + n) % n)]; };
  const auto sharp = [&](int i) {
    return knots.corner[static_cast<std::size_t>((i + n) % n)] ||
           (!closed && (i == 0 || i == n - 1));
  };
  Curve out;
  for (int i = 0; i < (closed ? n : n - 1); ++i) {
    const Point b = at(i), c = at(i + 1);
    // Past a sharp knot the spline goes on as the mirror of its next span.
    const Point a = sharp(i) ? b + (b - c) : at(i - 1);
    const Point d = sharp(i + 1) ? c + (c - b) : at(i + 2);
    AddSpan(out, a, b, c, d);
  }
  if (!closed) out.push_back(knots.points.back());
  return out;
}

std::vector<double> Lengths(const Curve& curve) {
  std::vector<double> sums{0};
  for (std::size_t i = 1; i < curve.size(); ++i) {
    sums.push_back(sums.back() + Length(curve[i] - curve[i - 1]));
  }
  return sums;
}

/// Points at equal distances of about `kStep` along the curve; closed curves come back to the
/// start.
Curve Resample(Curve curve, bool closed) {
  if (closed) curve.push_back(curve.front());
  const std::vector<double> sums = Lengths(curve);
  const int steps = std::max(2, static_cast<int>(sums.back() / kStep));
  Curve out;
  std::size_t j = 0;
  for (int i = 0; i <= steps; ++i) {
    const double s = sums.back() * i / steps;
    while (j + 2 < sums.size() && sums[j + 1] < s) ++j;
    const double span = sums[j + 1] - sums[j];
    out.push_back(Mix(curve[j], curve[j + 1], span > 0 ? (s - sums[j]) / span : 0));
  }
  if (closed) out.pop_back();
  return out;
}

double SignedArea(const Curve& c) {
  double sum = 0;
  for (std::size_t i = 0, n = c.size(); i < n; ++i) {
    const Point a = c[i], b = c[(i + 1) % n];
    sum += a.x * b.y - b.x * a.y;
  }
  return sum / 2;
}

/// The hand's unsteadiness: a slow wave that differs from line to line.
double Waver(Point start, double s) {
  const double phase = start.x * 0.37 + start.y * 0.61;
  return 1 + 0.07 * std::sin(s / 47 + phase) + 0.05 * std::sin(s / 19 + 2 * phase);
}

/// The value at the fraction `f` of the way from entry `k` to the next, on a smooth curve through
/// all entries.
double SmoothBetween(const std::vector<double>& v, std::size_t k, double f) {
  const double b = v[k], c = v[k + 1];
  const double a = k > 0 ? v[k - 1] : b, d = k + 2 < v.size() ? v[k + 2] : c;
  const double bend = 2 * a - 5 * b + 4 * c - d, twist = 3 * (b - c) + d - a;
  return std::max(0.5, b + 0.5 * f * (c - a + f * (bend + f * twist)));
}

void Trace(cairo_t* c, const Curve& curve) {
  cairo_new_path(c);
  for (const Point& p : curve) cairo_line_to(c, p.x, p.y);
  cairo_close_path(c);
}

}  // namespace

double Length(Point p) { return std::sqrt(p.x * p.x + p.y * p.y); }

Colour Shade(Colour colour, double by) {
  Colour out = 0;
  for (int shift : {16, 8, 0}) {
    const double v = (colour >> shift) & 255u;
    const double moved = by > 0 ? v + (255 - v) * by : v * (1 + by);
    out |= static_cast<Colour>(std::lround(moved)) << shift;
  }
  return out;
}

Curve Open(std::string_view knots) { return Spline(Parse(knots), false); }
Curve Closed(std::string_view knots) { return Spline(Parse(knots), true); }
Curve Open(const Curve& knots) {
  return Spline({knots, std::vector<bool>(knots.size(), false)}, false);
}
Curve Closed(const Curve& knots) {
  return Spline({knots, std::vector<bool>(knots.size(), false)}, true);
}

Curve Line(Point a, Point b) { return Resample({a, b}, false); }

Curve Ellipse(Point centre, double rx, double ry, double degrees) {
  const int steps = std::max(12, static_cast<int>(2 * kPi * std::max(rx, ry) / kStep));
  Curve out;
  for (int i = 0; i < steps; ++i) {
    const double a = 2 * kPi * i / steps;
    out.push_back({rx * std::cos(a), ry * std::sin(a)});
  }
  return Place(out, centre, 1, degrees);
}

Curve Leaf(Point base, Point tip, double width, double bend) {
  const Point along = tip - base;
  const Point side = Point{along.y, -along.x} * (1 / Length(along));
  const Curve spine = Open(Curve{base, Mix(base, tip, 0.5) + side * bend, tip});
  return Ribbon(spine, {0.5, width * 0.36, width * 0.5, width * 0.42, width * 0.2, 0.5});
}

Point At(const Curve& curve, double t) {
  const std::vector<double> sums = Lengths(curve);
  const double s = std::clamp(t, 0.0, 1.0) * sums.back();
  std::size_t j = 0;
  while (j + 2 < sums.size() && sums[j + 1] < s) ++j;
  const double span = sums[j + 1] - sums[j];
  return Mix(curve[j], curve[j + 1], span > 0 ? (s - sums[j]) / span : 0);
}

Point NormalAt(const Curve& curve, double t) {
  const Point d = At(curve, std::min(1.0, t + 0.01)) - At(curve, std::max(0.0, t - 0.01));
  return Point{d.y, -d.x} * (1 / std::max(1e-9, Length(d)));
}

Curve Part(const Curve& curve, double from, double to) {
  const double length = Lengths(curve).back() * std::fabs(to - from);
  const int steps = std::max(2, static_cast<int>(length / kStep));
  Curve out;
  for (int i = 0; i <= steps; ++i) out.push_back(At(curve, from + (to - from) * i / steps));
  return out;
}

Curve Join(const std::vector<Curve>& parts) {
  Curve out;
  for (const Curve& part : parts) out.insert(out.end(), part.begin(), part.end());
  return out;
}

Curve Place(const Curve& curve, Point to, double scale, double degrees) {
  const double c = std::cos(degrees * kPi / 180) * scale, s = std::sin(degrees * kPi / 180) * scale;
  Curve out;
  for (const Point& p : curve) out.push_back(to + Point{p.x * c - p.y * s, p.x * s + p.y * c});
  return out;
}

Curve Offset(const Curve& curve, double from, double to) {
  const Curve even = Resample(curve, false);
  const double n = static_cast<double>(even.size() - 1);
  Curve out;
  for (std::size_t i = 0; i < even.size(); ++i) {
    const double t = static_cast<double>(i) / n;
    out.push_back(even[i] + NormalAt(even, t) * (from + (to - from) * t));
  }
  return out;
}

Curve Tufts(const Curve& curve, int count, double depth, double lean) {
  Curve out;
  for (int i = 0; i < count; ++i) {
    const double t0 = static_cast<double>(i) / count, t1 = (i + 1.0) / count;
    // The middle locks are the longest, and no two neighbours are alike.
    const double height =
        depth * (i % 2 ? 0.78 : 1.0) * (0.75 + 0.25 * std::sin(kPi * (t0 + t1) / 2));
    const Point a = At(curve, t0), b = At(curve, t1);
    const Point normal = NormalAt(curve, (t0 + t1) / 2);
    const Point tip = Mix(a, b, lean) + normal * height;
    const Point rise = Mix(a, tip, 0.5) + normal * (height * 0.22);
    const Point fall = Mix(tip, b, 0.55) - normal * (height * 0.06);
    const Curve up = Open(Curve{a, rise, tip}), down = Open(Curve{tip, fall, b});
    out.insert(out.end(), up.begin(), up.end());
    out.insert(out.end(), down.begin(), down.end() - 1);
  }
  out.push_back(curve.back());
  return out;
}

Curve Ribbon(const Curve& spine, const std::vector<double>& halfWidths) {
  const Curve even = Resample(spine, false);
  const double last = static_cast<double>(halfWidths.size() - 1);
  Curve left, right;
  for (std::size_t i = 0; i < even.size(); ++i) {
    const double t = static_cast<double>(i) / static_cast<double>(even.size() - 1);
    const std::size_t k = std::min(static_cast<std::size_t>(t * last), halfWidths.size() - 2);
    const double f = t * last - static_cast<double>(k);
    const double w = SmoothBetween(halfWidths, k, f);
    const Point n = NormalAt(even, t);
    left.push_back(even[i] + n * w);
    right.push_back(even[i] - n * w);
  }
  left.insert(left.end(), right.rbegin(), right.rend());
  return left;
}

Point Cloth::operator()(double u, double v) const {
  const Point across = Mix(At(top, u), At(bottom, u), v);
  const Point down = Mix(At(left, v), At(right, v), u);
  const Point corners =
      Mix(Mix(top.front(), top.back(), u), Mix(bottom.front(), bottom.back(), u), v);
  return across + down - corners;
}

Curve Cloth::Lay(const Curve& uv) const {
  Curve out;
  for (const Point& p : uv) out.push_back((*this)(p.x, p.y));
  return out;
}

Curve Cloth::Cell(double u0, double v0, double u1, double v1) const {
  constexpr int kSteps = 12;
  const Point corners[] = {{u0, v0}, {u1, v0}, {u1, v1}, {u0, v1}};
  Curve uv;
  for (int side = 0; side < 4; ++side) {
    for (int i = 0; i < kSteps; ++i) {
      uv.push_back(Mix(corners[side], corners[(side + 1) % 4], static_cast<double>(i) / kSteps));
    }
  }
  return Lay(uv);
}

double Random::In(double low, double high) {
  state_ ^= state_ << 13;
  state_ ^= state_ >> 17;
  state_ ^= state_ << 5;
  return low + (high - low) * (state_ / 4294967296.0);
}

Sheet::Sheet(int width, int height, Colour paper)
    : width_(width),
      height_(height),
      drawing_(cairo_image_surface_create(CAIRO_FORMAT_A8, width, height)),
      colours_(cairo_image_surface_create(CAIRO_FORMAT_RGB24, width, height)),
      lines_(cairo_create(drawing_.get())),
      flats_(cairo_create(colours_.get())) {
  cairo_set_antialias(lines_.get(), CAIRO_ANTIALIAS_BEST);
  cairo_set_antialias(flats_.get(), CAIRO_ANTIALIAS_NONE);
  cairo_set_tolerance(lines_.get(), 0.05);
  Fill({{0, 0}, {width * 1.0, 0}, {width * 1.0, height * 1.0}, {0, height * 1.0}}, paper);
}

// The drawing's surface keeps only opacity, and opacity is read as lightness: to paint white is to
// cover, to ink is to take away.
void Sheet::Fill(const Curve& outline, Colour colour) {
  cairo_t* c = lines_.get();
  Trace(c, outline);
  cairo_set_operator(c, CAIRO_OPERATOR_OVER);
  cairo_fill(c);
  c = flats_.get();
  Trace(c, outline);
  cairo_set_source_rgb(c, ((colour >> 16) & 255u) / 255.0, ((colour >> 8) & 255u) / 255.0,
                       (colour & 255u) / 255.0);
  cairo_fill(c);
}

void Sheet::Black(const Curve& outline) {
  cairo_t* c = lines_.get();
  Trace(c, outline);
  cairo_set_operator(c, CAIRO_OPERATOR_DEST_OUT);
  cairo_fill(c);
}

void Sheet::Ink(const Curve& line, Pen pen) {
  const Curve points = Resample(line, false);
  const double n = static_cast<double>(points.size() - 1);
  std::vector<double> widths;
  for (std::size_t i = 0; i < points.size(); ++i) {
    const double t = static_cast<double>(i) / n;
    const double swell = std::pow(std::sin(kPi * t), 0.7);
    const double wave = Waver(points.front(), static_cast<double>(i) * kStep);
    widths.push_back(pen.width * (pen.tip + (1 - pen.tip) * swell) * wave);
  }
  InkSamples(points, widths, false);
}

void Sheet::Ink(int x, int y) {
  cairo_surface_flush(drawing_.get());
  cairo_image_surface_get_data(drawing_.get())[y * DrawingStride() + x] = 0;
  cairo_surface_mark_dirty(drawing_.get());
}

void Sheet::Outline(const Curve& outline, Pen pen) {
  const Curve points = Resample(outline, true);
  const std::size_t n = points.size();
  const double turn = SignedArea(points) > 0 ? 1 : -1;
  const Point away{0.55, 0.83};
  std::vector<double> raw(n), widths(n);
  for (std::size_t i = 0; i < n; ++i) {
    const Point d = points[(i + 1) % n] - points[(i + n - 1) % n];
    const double length = std::max(1e-9, Length(d));
    raw[i] = turn * (d.y * away.x - d.x * away.y) / length;
  }
  // The weight changes over some twenty pixels, so that it does not jump at a corner.
  constexpr std::size_t kReach = 4;
  for (std::size_t i = 0; i < n; ++i) {
    double sum = 0;
    for (std::size_t k = 0; k <= 2 * kReach; ++k) sum += raw[(i + k + n * kReach - kReach) % n];
    const double wave = Waver(points.front(), static_cast<double>(i) * kStep);
    const double side = sum / static_cast<double>(2 * kReach + 1);
    widths[i] = std::max(2.6, pen.width * (1 - pen.weight * 0.4 + pen.weight * side) * wave);
  }
  InkSamples(points, widths, true);
}

void Sheet::Shape(const Curve& outline, Colour colour, Pen pen) {
  Fill(outline, colour);
  Outline(outline, pen);
}

/// A line is the union of a disc at each point and a band between neighbours, all wound the same
/// way and filled at once, so that no seam shows.
void Sheet::InkSamples(const Curve& points, const std::vector<double>& widths, bool closed) {
  cairo_t* c = lines_.get();
  cairo_new_path(c);
  const std::size_t n = points.size();
  for (std::size_t i = 0; i < n; ++i) {
    const double r = widths[i] / 2;
    cairo_new_sub_path(c);
    cairo_arc(c, points[i].x, points[i].y, r, 0, 2 * kPi);
    cairo_close_path(c);
    if (!closed && i + 1 == n) break;
    const Point a = points[i], b = points[(i + 1) % n];
    const double rb = widths[(i + 1) % n] / 2, length = Length(b - a);
    if (length < 1e-9) continue;
    const Point side = Point{b.y - a.y, a.x - b.x} * (1 / length);
    const Point corners[] = {a + side * r, b + side * rb, b - side * rb, a - side * r};
    cairo_new_sub_path(c);
    for (const Point& p : corners) cairo_line_to(c, p.x, p.y);
    cairo_close_path(c);
  }
  cairo_set_fill_rule(c, CAIRO_FILL_RULE_WINDING);
  cairo_set_operator(c, CAIRO_OPERATOR_DEST_OUT);
  cairo_fill(c);
}

const std::uint8_t* Sheet::Drawing() const {
  cairo_surface_flush(drawing_.get());
  return cairo_image_surface_get_data(drawing_.get());
}
int Sheet::DrawingStride() const { return cairo_image_surface_get_stride(drawing_.get()); }

Colour Sheet::ColourAt(int x, int y) const {
  const unsigned char* row =
      cairo_image_surface_get_data(colours_.get()) +
      static_cast<std::ptrdiff_t>(y) * cairo_image_surface_get_stride(colours_.get());
  return reinterpret_cast<const Colour*>(row)[x] & 0xFFFFFFu;
}

bool Sheet::Write(const std::string& path) const {
  return cairo_surface_write_to_png(drawing_.get(), path.c_str()) == CAIRO_STATUS_SUCCESS;
}

Clip::Clip(Sheet& sheet, const Curve& outline) : sheet_(sheet) {
  for (cairo_t* c : {sheet.lines_.get(), sheet.flats_.get()}) {
    cairo_save(c);
    Trace(c, outline);
    cairo_clip(c);
  }
}
Clip::~Clip() {
  cairo_restore(sheet_.lines_.get());
  cairo_restore(sheet_.flats_.get());
}

Pose::Pose(Sheet& sheet, Point centre, double degrees, double scale) : sheet_(sheet) {
  for (cairo_t* c : {sheet.lines_.get(), sheet.flats_.get()}) {
    cairo_save(c);
    cairo_translate(c, centre.x, centre.y);
    cairo_rotate(c, degrees * kPi / 180);
    cairo_scale(c, scale, scale);
    cairo_translate(c, -centre.x, -centre.y);
  }
}
Pose::~Pose() {
  cairo_restore(sheet_.lines_.get());
  cairo_restore(sheet_.flats_.get());
}

}  // namespace ink
