#include <cmath>
#include <numbers>

#include "picture.h"

namespace picture {

using namespace ink;
using namespace palette;

namespace {

constexpr double kPi = std::numbers::pi;

/// A patch of the cloth: a rectangle in u and v, and the two colours of its pattern.
struct Patch {
  const Cloth& cloth;
  double u0, v0, u1, v1;
  Colour base, accent;

  /// A curve of the unit square, laid on the patch.
  Curve Lay(const Curve& unit) const {
    Curve uv;
    for (const Point& p : unit) uv.push_back({u0 + (u1 - u0) * p.x, v0 + (v1 - v0) * p.y});
    return cloth.Lay(uv);
  }
  Curve Box(double x0, double y0, double x1, double y1) const {
    return cloth.Cell(u0 + (u1 - u0) * x0, v0 + (v1 - v0) * y0, u0 + (u1 - u0) * x1,
                      v0 + (v1 - v0) * y1);
  }
};

void Stripes(Sheet& sheet, const Patch& p, int count) {
  for (int i = 0; i < count; ++i) {
    sheet.Shape(p.Box(static_cast<double>(i) / count, 0, (i + 1.0) / count, 1),
                i % 2 ? p.accent : p.base, kFine);
  }
}

void Checks(Sheet& sheet, const Patch& p, int count) {
  for (int i = 0; i < count * count; ++i) {
    const double x = i % count, y = i / count, n = count;
    sheet.Shape(p.Box(x / n, y / n, (x + 1) / n, (y + 1) / n),
                (i % count + i / count) % 2 ? p.accent : p.base, kFine);
  }
}

void Dots(Sheet& sheet, const Patch& p) {
  for (const Point at : {Point{.25, .25}, {.75, .25}, {.5, .5}, {.25, .75}, {.75, .75}}) {
    Curve dot;
    for (int i = 0; i < 24; ++i) {
      dot.push_back(at + Point{std::cos(i * kPi / 12), std::sin(i * kPi / 12)} * 0.12);
    }
    sheet.Shape(p.Lay(dot), p.accent, kFine);
  }
}

void Diamonds(Sheet& sheet, const Patch& p) {
  for (const Point at : {Point{.25, .3}, {.75, .3}, {.5, .7}}) {
    const Point corners[] = {
        {at.x, at.y - .24}, {at.x + .2, at.y}, {at.x, at.y + .24}, {at.x - .2, at.y}};
    Curve diamond;
    for (int side = 0; side < 4; ++side) {
      for (int i = 0; i < 6; ++i) {
        diamond.push_back(Mix(corners[side], corners[(side + 1) % 4], i / 6.0));
      }
    }
    sheet.Shape(p.Lay(diamond), p.accent, kFine);
  }
}

void Flower(Sheet& sheet, const Patch& p) {
  sheet.Shape(p.Lay(Star({.5, .5}, .4, .24, 5)), p.accent, kFine);
  sheet.Shape(p.Lay(Star({.5, .5}, .13, .13, 8)), Shade(p.base, 0.35), kFine);
}

void Zigzag(Sheet& sheet, const Patch& p) {
  Curve band;
  for (int i = 0; i <= 24; ++i) {
    const double saw = std::fabs(i % 12 - 6.0) / 6;
    band.push_back({i / 24.0, .2 + .3 * saw});
  }
  for (int i = 24; i >= 0; --i) {
    const double saw = std::fabs(i % 12 - 6.0) / 6;
    band.push_back({i / 24.0, .5 + .3 * saw});
  }
  sheet.Shape(p.Lay(band), p.accent, kFine);
}

void Pattern(Sheet& sheet, const Patch& patch, int kind) {
  switch (kind) {
    case 0:
      return Stripes(sheet, patch, 5);
    case 1:
      return Checks(sheet, patch, 3);
    case 2:
      return Dots(sheet, patch);
    case 3:
      return Diamonds(sheet, patch);
    case 4:
      return Flower(sheet, patch);
    case 5:
      return Zigzag(sheet, patch);
    default:
      return;  // a plain patch
  }
}

/// Short stitches across the seam from (u0, v0) to (u1, v1).
void Stitch(Sheet& sheet, const Cloth& cloth, Point from, Point to) {
  const Curve seam =
      cloth.Lay({from, Mix(from, to, .25), Mix(from, to, .5), Mix(from, to, .75), to});
  for (int i = 1; i < 6; ++i) {
    const Point at = At(seam, i / 6.0), n = NormalAt(seam, i / 6.0);
    sheet.Ink(Line(at - n * 8, at + n * 8), kFine);
  }
}

}  // namespace

Curve Gear(Point centre, double radius, int teeth, double depth) {
  Curve out;
  for (int i = 0; i < teeth; ++i) {
    for (const auto& [turn, height] : {Point{0, 0}, {.2, 1}, {.5, 1}, {.7, 0}}) {
      const double a = 2 * kPi * (i + turn) / teeth;
      out.push_back(centre + Point{std::cos(a), std::sin(a)} * (radius + depth * height));
    }
  }
  return out;
}

Curve Star(Point centre, double outer, double inner, int points, double degrees) {
  constexpr int kSteps = 10;
  Curve out;
  for (int i = 0; i < points * kSteps; ++i) {
    const double a = degrees * kPi / 180 + 2 * kPi * i / (points * kSteps);
    const double r = inner + (outer - inner) * (0.5 + 0.5 * std::cos(2 * kPi * i / kSteps));
    out.push_back(centre + Point{std::cos(a), std::sin(a)} * r);
  }
  return out;
}

Cloth ClothAlong(const Curve& spine, double fromHalfWidth, double toHalfWidth) {
  const Curve left = Offset(spine, fromHalfWidth, toHalfWidth);
  const Curve right = Offset(spine, -fromHalfWidth, -toHalfWidth);
  return {Line(left.front(), right.front()), Line(left.back(), right.back()), left, right};
}

void Bands(Sheet& sheet, const Cloth& cloth, int count, const std::vector<Colour>& colours,
           Pen pen) {
  for (int i = 0; i < count; ++i) {
    sheet.Shape(cloth.Cell(0, static_cast<double>(i) / count, 1, (i + 1.0) / count),
                colours[static_cast<std::size_t>(i) % colours.size()], pen);
  }
}

void Patchwork(Sheet& sheet, const Cloth& cloth, int rows, int columns, Random random) {
  const std::vector<Colour> bases{kBrick, kTerracotta, kMustard, kPlum,   kRose,
                                  kTan,   kBrick,      kWine,    kFoxDark};
  const std::vector<Colour> accents{kCream, kMustard, kRose, kTealLight, kCream};
  Colour last = 0;
  for (int r = 0; r < rows; ++r) {
    const double v0 = static_cast<double>(r) / rows, v1 = (r + 1.0) / rows;
    // Each row's seams stand elsewhere, as in masonry.
    std::vector<double> seams{0};
    for (int c = 1; c < columns; ++c) {
      seams.push_back((c + random.In(-0.22, 0.22) + (r % 2 ? 0.2 : -0.2)) / columns);
    }
    seams.push_back(1);
    for (std::size_t c = 0; c + 1 < seams.size(); ++c) {
      Colour base = random.Pick(bases);
      while (base == last) base = random.Pick(bases);
      last = base;
      Colour accent = random.Pick(accents);
      while (accent == base) accent = random.Pick(accents);
      const Patch patch{cloth, seams[c], v0, seams[c + 1], v1, base, accent};
      const Curve edge = patch.Box(0, 0, 1, 1);
      sheet.Fill(edge, base);
      Pattern(sheet, patch, random.Below(8));
      sheet.Outline(edge, kDetail);
      if (c > 0 && random.Below(4) == 0) Stitch(sheet, cloth, {seams[c], v0}, {seams[c], v1});
    }
  }
}

}  // namespace picture
