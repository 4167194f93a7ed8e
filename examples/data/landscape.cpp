#include <cmath>
#include <numbers>

#include "picture.h"

namespace picture {

using namespace ink;
using namespace palette;

namespace {

constexpr double kPi = std::numbers::pi;
constexpr Point kCentre{1024, 1010};
constexpr double kOuter = 912, kInner = 868;
constexpr Point kSunCentre{1470, 640};

Point OnCircle(Point centre, double radius, double degrees) {
  const double a = degrees * kPi / 180;
  return centre + Point{std::cos(a), std::sin(a)} * radius;
}

Curve Arc(Point centre, double radius, double from, double to) {
  Curve out;
  const int steps = 4 + static_cast<int>(std::fabs(to - from) * radius / 170);
  for (int i = 0; i <= steps; ++i) {
    out.push_back(OnCircle(centre, radius, from + (to - from) * i / steps));
  }
  return out;
}

/// The border of an old map: a ring in alternating segments.
void MapBorder(Sheet& sheet) {
  constexpr int kSegments = 48;
  for (int i = 0; i < kSegments; ++i) {
    const double from = 360.0 * i / kSegments, to = 360.0 * (i + 1) / kSegments;
    sheet.Fill(Join({Arc(kCentre, kOuter, from, to), Arc(kCentre, kInner, to, from)}),
               i % 2 ? kTealDark : kBrass);
    sheet.Ink(Line(OnCircle(kCentre, kOuter, from), OnCircle(kCentre, kInner, from)), kDistant);
  }
  // The last segment's paint lies over half of the first one's line.
  sheet.Ink(Line(OnCircle(kCentre, kOuter, 0), OnCircle(kCentre, kInner, 0)), kDistant);
  sheet.Outline(Ellipse(kCentre, kOuter, kOuter), kForm);
}

/// The west and east points of the compass, set on the border.
void CompassPoints(Sheet& sheet) {
  for (const int i : {0, 4}) {
    const double at = 45.0 * i, reach = 66, half = 1.6;
    const double mid = (kOuter + kInner) / 2;
    for (const double side : {-half, half}) {
      sheet.Shape({OnCircle(kCentre, mid + reach, at), OnCircle(kCentre, mid, at + side),
                   OnCircle(kCentre, mid - reach, at)},
                  side > 0 ? kBrick : kCream, kDetail);
    }
  }
}

/// A sky that brightens in halos around the sun.
void Sky(Sheet& sheet) {
  sheet.Fill(Ellipse(kCentre, kInner, kInner), Shade(kTealLight, 0.25));
  sheet.Shape(Ellipse(kSunCentre, 420, 420), 0xD3E8D4, kDistant);
  sheet.Shape(Ellipse(kSunCentre, 300, 300), 0xFBEBC0, kDistant);
  sheet.Shape(Ellipse(kSunCentre, 205, 205), kSun, kDistant);
}

struct Puff {
  double x, y, r;
};

/// A cloud of puffs on a flat base: all are inked, then emptied, so that only the outline is left.
void Cloud(Sheet& sheet, const std::vector<Puff>& puffs, double base, Colour colour) {
  const Clip clip(sheet, {{0, 0}, {kSize, 0}, {kSize, base}, {0, base}});
  for (const Puff& p : puffs) sheet.Outline(Ellipse({p.x, p.y}, p.r, p.r * 0.92), kDistant);
  for (const Puff& p : puffs) sheet.Fill(Ellipse({p.x, p.y}, p.r - 1, p.r * 0.92 - 1), colour);
  for (const Puff& p : puffs) {
    sheet.Ink(Arc({p.x + 3, p.y + 4}, p.r * 0.66, 190, 280), Free(kDistant));
  }
}

void CloudBase(Sheet& sheet, double fromX, double toX, double y) {
  sheet.Ink(Open(Curve{{fromX, y}, {Mix({fromX, y}, {toX, y}, .5).x, y + 3}, {toX, y}}), kDistant);
}

void Mountain(Sheet& sheet, Point peak, double width, double height, Colour colour) {
  const Point left = peak + Point{-width * 0.52, height},
              right = peak + Point{width * 0.48, height};
  const Curve ridge =
      Open(Curve{peak, peak + Point{-width * 0.03, height * 0.3},
                 peak + Point{width * 0.05, height * 0.55}, peak + Point{-width * 0.02, height}});
  const Curve outline = Join({Line(left, peak), Line(peak, right)});
  sheet.Shape(outline, colour, kDistant);
  const Clip clip(sheet, outline);
  sheet.Shape(Join({ridge, Line(ridge.back(), right), Line(right, peak)}), Shade(colour, -0.14),
              kDistant);
  const double snow = height * 0.34;
  const Point l = peak + Point{-width * 0.3, snow}, r = peak + Point{width * 0.3, snow};
  Curve edge;
  for (int i = 0; i <= 6; ++i) {
    edge.push_back(Mix(l, r, i / 6.0) + Point{0, i % 2 ? -snow * 0.3 : snow * 0.28});
  }
  const Curve cap = Join({{peak + Point{0, -30}}, edge});
  const Curve shadedCap =
      Join({Part(ridge, 0, 0.6), {r + Point{0, 40}, peak + Point{width, -30}, peak}});
  sheet.Shape(cap, kWhite, kDistant);
  const Clip inCap(sheet, cap);
  sheet.Shape(shadedCap, Shade(kSky, 0.25), kDistant);
}

void Pine(Sheet& sheet, Point foot, double height, Colour colour) {
  const double w = height * 0.34;
  sheet.Shape({foot + Point{-w * .14, -height * .2}, foot + Point{w * .14, -height * .2},
               foot + Point{w * .14, 0}, foot + Point{-w * .14, 0}},
              kLeatherDark, kDistant);
  for (int tier = 0; tier < 3; ++tier) {
    const double low = height * (0.12 + 0.26 * tier), high = low + height * 0.4;
    const double half = w * (1 - 0.24 * tier);
    const Point l = foot + Point{-half, -low}, r = foot + Point{half, -low};
    const Point top = foot + Point{0, -high};
    sheet.Shape(Join({Open(Curve{l, Mix(l, top, .5) + Point{half * .16, 6}, top}),
                      Open(Curve{top, Mix(r, top, .5) + Point{-half * .16, 6}, r}),
                      Open(Curve{r, foot + Point{half * .3, -low + 9},
                                 foot + Point{-half * .3, -low + 9}, l})}),
                Shade(colour, 0.1 * tier), kDistant);
  }
}

void Castle(Sheet& sheet, Point at) {
  const auto box = [&](double x, double y, double w, double h, Colour colour) {
    sheet.Shape(
        {at + Point{x, y}, at + Point{x + w, y}, at + Point{x + w, y + h}, at + Point{x, y + h}},
        colour, kDistant);
  };
  const auto roof = [&](double x, double y, double w, double h) {
    sheet.Shape(Join({Open(Curve{at + Point{x - 9, y}, at + Point{x + w * .34, y - h * .45},
                                 at + Point{x + w / 2, y - h}}),
                      Open(Curve{at + Point{x + w / 2, y - h}, at + Point{x + w * .66, y - h * .45},
                                 at + Point{x + w + 9, y}})}),
                kBrick, kDistant);
    const Point top = at + Point{x + w / 2, y - h};
    sheet.Ink(Line(top, top + Point{0, -34}), kDistant);
    sheet.Shape({top + Point{0, -34}, top + Point{34, -24}, top + Point{0, -13}}, kMustard,
                kDistant);
  };
  const Colour wall = 0xE8D9C0;
  box(-64, -60, 128, 76, wall);
  for (int i = 0; i < 5; ++i) box(-64 + i * 27.0, -74, 17, 16, wall);
  box(-88, -112, 44, 130, Shade(wall, -0.06));
  box(42, -146, 50, 164, Shade(wall, -0.06));
  roof(-88, -112, 44, 66);
  roof(42, -146, 50, 80);
  sheet.Shape(Closed("-16 16!, -16 -16, 0 -34, 16 -16, 16 16!"), 0, kDistant);
  for (const Point p : {Point{-66, -84}, {67, -112}, {67, -70}}) {
    sheet.Shape(Ellipse(at + p, 7, 12), kTealDark, kDistant);
  }
  sheet.Shape(Place(Closed("-18 16!, -18 -14, 0 -34, 18 -14, 18 16!"), at), kLeatherDark, kDistant);
}

void Hill(Sheet& sheet, const Curve& crest, Colour colour) {
  sheet.Fill(Join({crest, {{crest.back().x, 1990}, {crest.front().x, 1990}}}), colour);
  sheet.Ink(crest, {kDistant.width + 0.8, 0.8, 0});
}

/// Ploughed strips of a field, bounded by a hill's crest.
void Field(Sheet& sheet, const Cloth& cloth, int count, Colour a, Colour b) {
  for (int i = 0; i < count; ++i) {
    sheet.Shape(cloth.Cell(static_cast<double>(i) / count, 0, (i + 1.0) / count, 1), i % 2 ? a : b,
                kDistant);
  }
}

void Fence(Sheet& sheet, const std::vector<Point>& posts, double height) {
  Random random(31);
  for (std::size_t i = 0; i + 1 < posts.size(); ++i) {
    for (const double level : {0.32, 0.7}) {
      const Point a = posts[i] + Point{0, -height * level + random.In(-8, 8)};
      const Point b = posts[i + 1] + Point{0, -height * level + random.In(-8, 8)};
      const Curve rail =
          Ribbon(Open(Curve{a, Mix(a, b, .5) + Point{0, 7}, b}), {15, 13, 16, 13, 15});
      sheet.Shape(rail, Shade(kWood, level > .5 ? 0.16 : 0), kDetail);
      sheet.Ink(
          Open(Curve{Mix(a, b, .18), Mix(a, b, .4) + Point{0, 4}, Mix(a, b, .56) + Point{0, 9}}),
          Free(kFine));
    }
  }
  for (const Point& foot : posts) {
    const double lean = random.In(-9, 9), h = height * random.In(0.95, 1.12);
    const Point top = foot + Point{lean, -h};
    sheet.Shape(Join({Open(Curve{foot + Point{-24, 12}, Mix(foot, top, .5) + Point{-20, 0},
                                 top + Point{-22, 12}}),
                      Open(Curve{top + Point{-22, 12}, top + Point{-4, -16}, top + Point{20, 4}}),
                      Open(Curve{top + Point{20, 4}, Mix(foot, top, .5) + Point{23, 0},
                                 foot + Point{25, 12}})}),
                Shade(kWood, -0.08), kForm);
    // The sawn face on top, the grain, a knot hole and two nails.
    sheet.Ink(Open(Curve{top + Point{-22, 12}, top + Point{0, 20}, top + Point{20, 4}}), kFine);
    for (const double x : {-10.0, 6.0}) {
      sheet.Ink(Open(Curve{Mix(foot, top, .78) + Point{x, 0}, Mix(foot, top, .5) + Point{x + 5, 0},
                           Mix(foot, top, .15) + Point{x - 2, 0}}),
                Free(kFine));
    }
    sheet.Shape(Ellipse(Mix(foot, top, .5) + Point{1, 0}, 8, 12), kLeatherDark, kFine);
  }
}

void Stone(Sheet& sheet, Point centre, double rx, double ry, std::uint32_t seed, Colour colour) {
  Random random(seed);
  Curve knots;
  constexpr int kKnots = 9;
  for (int i = 0; i < kKnots; ++i) {
    const double a = 2 * kPi * (i + random.In(-0.25, 0.25)) / kKnots, r = random.In(0.9, 1.1);
    // Flat below, where it lies on the ground.
    const double y = std::sin(a) * ry * r;
    knots.push_back(centre + Point{std::cos(a) * rx * r, y > 0 ? y * 0.72 : y});
  }
  const Curve outline = Closed(knots);
  sheet.Shape(outline, colour, kForm);
  // The plane in shadow.
  const Curve plane =
      Open(Curve{centre + Point{-rx * 1.2, ry * 0.1}, centre + Point{-rx * .35, ry * .22},
                 centre + Point{rx * .2, ry * .06}, centre + Point{rx * .5, -ry * .5},
                 centre + Point{rx * .62, -ry * 1.3}});
  {
    const Clip clip(sheet, outline);
    sheet.Fill(Join({plane,
                     {centre + Point{rx * 2, -ry * 1.3}, centre + Point{rx * 2, ry * 2},
                      centre + Point{-rx * 2, ry * 2}}}),
               Shade(colour, -0.17));
    sheet.Ink(plane, kFine);
  }
  sheet.Outline(outline, kForm);
}

void Mushroom(Sheet& sheet, Point foot, double size, double lean, Colour cap) {
  const Point neck = foot + Point{lean, -size * 0.9};
  const Curve stem = Closed(
      Curve{neck + Point{-size * .13, -size * .1}, Mix(foot, neck, .5) + Point{-size * .15, 0},
            foot + Point{-size * .24, -size * .12}, foot + Point{-size * .1, size * .06},
            foot + Point{size * .12, size * .06}, foot + Point{size * .24, -size * .12},
            Mix(foot, neck, .5) + Point{size * .14, 0}, neck + Point{size * .13, -size * .1}});
  const auto at = [&](double x, double y) { return neck + Point{x * size, y * size}; };
  // The gills, the stem before them, and the cap over both.
  const Curve gills = Ellipse(at(0, 0.02), size * .6, size * .17, lean * .2);
  sheet.Shape(gills, 0xE9CFA8, kDetail);
  {
    const Clip clip(sheet, gills);
    for (int i = -2; i <= 2; ++i) sheet.Ink(Line(at(0, -.1), at(i * .27, .26)), kFine);
  }
  sheet.Shape(stem, kCream, kForm);
  const Curve dome =
      Join({Open(Curve{at(-.66, .04), at(-.52, -.42), at(0, -.66), at(.52, -.42), at(.66, .04)}),
            Open(Curve{at(.66, .04), at(.3, -.03), at(0, -.06), at(-.3, -.03), at(-.66, .04)})});
  sheet.Shape(dome, cap, kForm);
  {
    const Clip clip(sheet, dome);
    for (const auto& [x, y, r] : {Puff{-.3, -.3, .12},
                                  {.08, -.46, .1},
                                  {.34, -.2, .13},
                                  {0, -.17, .08},
                                  {-.54, -.08, .09},
                                  {.6, -.02, .07}}) {
      sheet.Shape(Ellipse(at(x, y), size * r, size * r * .8), kCream, kFine);
    }
  }
  sheet.Outline(dome, kForm);
}

/// Blades of grass from one root; each is a closed leaf.
void Grass(Sheet& sheet, Point root, double height, std::uint32_t seed) {
  Random random(seed);
  const double lean[] = {-0.75, 0.7, -0.35, 0.4, 0.02};
  for (const double l : lean) {
    const double h = height * random.In(0.75, 1.1);
    const Point tip = root + Point{l * h * .8, -h * (1 - .35 * std::fabs(l))};
    sheet.Shape(Leaf(root + Point{l * 16, 4}, tip, height * .17, l * h * .22),
                Shade(kLeaf, random.In(-0.1, 0.25)), kDetail);
  }
}

/// A frond: paired leaflets along a bowed stem.
void Fern(Sheet& sheet, const Curve& stem, int pairs, double length, Colour colour) {
  for (int i = 0; i < pairs; ++i) {
    const double t = 0.16 + 0.8 * i / pairs;
    const Point at = At(stem, t), n = NormalAt(stem, t);
    const Point ahead = At(stem, std::min(1.0, t + 0.02)) - At(stem, t - 0.02);
    const Point forward = ahead * (1 / Length(ahead));
    const double reach = length * (1 - 0.72 * t);
    for (const double side : {-1.0, 1.0}) {
      const Point tip = at + n * (side * reach) + forward * (reach * .55);
      const Curve leaf = Leaf(at, tip, reach * .4, side * reach * .1);
      sheet.Shape(leaf, Shade(colour, side > 0 ? 0.14 : -0.06), kDetail);
      if (reach > 55) sheet.Ink(Line(Mix(at, tip, .1), Mix(at, tip, .7)), Free(kFine));
    }
  }
  sheet.Shape(Leaf(At(stem, .9), At(stem, 1) + (At(stem, 1) - At(stem, .93)) * 0.6, length * .2, 0),
              colour, kDetail);
  sheet.Ink(Part(stem, 0, .93), kForm);
}

void Blossom(Sheet& sheet, Point root, Point head, double size, Colour petals) {
  sheet.Ink(Open(Curve{root, Mix(root, head, .5) + Point{size * .3, 0}, head}), kForm);
  sheet.Shape(
      Leaf(Mix(root, head, .3), Mix(root, head, .5) + Point{size * 1.1, size * .1}, size * .5, 6),
      kLeaf, kDetail);
  for (int i = 0; i < 5; ++i) {
    const Point out = OnCircle(head, size, 72.0 * i + 15);
    sheet.Shape(Leaf(head, out, size * .66, 0), Shade(petals, i % 2 ? 0.15 : 0), kDetail);
  }
  sheet.Shape(Ellipse(head, size * .3, size * .3), kMustard, kDetail);
}

void View(Sheet& sheet) {
  Sky(sheet);
  Cloud(sheet, {{250, 560, 80}, {470, 570, 66}, {345, 520, 104}, {420, 590, 60}}, 604, kWhite);
  CloudBase(sheet, 172, 536, 604);
  Cloud(sheet, {{1690, 985, 62}, {1860, 990, 66}, {1770, 950, 88}}, 1018, 0xFFF4DE);
  CloudBase(sheet, 1629, 1925, 1018);
  Cloud(sheet, {{690, 236, 46}, {810, 240, 50}, {752, 214, 62}}, 262, kWhite);
  CloudBase(sheet, 646, 858, 262);

  Mountain(sheet, {250, 1010}, 620, 430, 0x8FB7B5);
  Mountain(sheet, {1800, 1130}, 640, 360, 0x9DBDB4);
  Mountain(sheet, {470, 1110}, 420, 330, 0xA4C6BD);
  Mountain(sheet, {1560, 1200}, 420, 300, 0xB2CDBD);
  Hill(sheet,
       Open("100 1390, 300 1330, 520 1345, 760 1400, 1100 1420, 1400 1370, 1640 1350, 1950 1400"),
       0xB9CC8E);
  Castle(sheet, {330, 1330});
  for (const auto& [x, y, h] :
       {Puff{470, 1366, 96}, {520, 1380, 128}, {190, 1382, 110}, {1640, 1372, 104}}) {
    Pine(sheet, {x, y}, h, kPine);
  }
  Hill(sheet,
       Open("100 1500, 260 1440, 470 1430, 700 1490, 1000 1520, 1300 1470, 1560 1430, 1760 1430, "
            "1950 1480"),
       0x9DBB6C);
  Field(sheet,
        {Open("300 1440, 400 1430, 500 1436"), Open("200 1560, 400 1556, 620 1580"),
         Open("300 1440, 240 1500, 200 1560"), Open("500 1436, 580 1500, 620 1580")},
        7, 0xD8C878, 0xB6C070);
  for (const auto& [x, y, h] : {Puff{1800, 1466, 150}, {1730, 1450, 190}, {150, 1520, 170}}) {
    Pine(sheet, {x, y}, h, kPine);
  }
  Hill(sheet, Open("90 1610, 300 1550, 560 1560, 900 1600, 1300 1570, 1600 1540, 1960 1570"),
       kMoss);
}

}  // namespace

void Draw(Sheet& sheet) {
  // The plume rises above the border; this leaves it a margin.
  const Pose pose(sheet, {1024, 2004}, 0, 0.965);
  DrawLandscape(sheet);
  DrawGround(sheet);
  DrawExplorer(sheet);
  DrawBird(sheet);
  DrawForeground(sheet);
}

void DrawLandscape(Sheet& sheet) {
  MapBorder(sheet);
  {
    const Clip clip(sheet, Ellipse(kCentre, kInner, kInner));
    View(sheet);
  }
  sheet.Outline(Ellipse(kCentre, kInner, kInner), kDetail);
  CompassPoints(sheet);
}

void DrawGround(Sheet& sheet) {
  Fence(sheet, {{215, 1716}, {425, 1690}, {640, 1676}}, 205);
  Fence(sheet, {{1345, 1676}, {1590, 1690}, {1830, 1716}}, 205);
  // The mound stands before the border, its edge hung with grass.
  const Curve crest =
      Open("110 1740, 300 1690, 640 1668, 1024 1660, 1400 1668, 1740 1690, 1938 1740");
  const Curve below = Open(
      "1938 1740, 1950 1790, 1880 1846, 1740 1890, 1560 1930, 1300 1966, 1024 1976, 740 1966, 480 "
      "1930, 300 1890, 170 1846, 98 1790, 110 1740");
  const Curve mound = Join({crest, below});
  sheet.Shape(mound, Shade(kMoss, 0.12), kContour);
  const Curve path = Closed(
      "780 1664!, 700 1720, 640 1810, 660 1900, 720 2010!, 1330 2010!, 1390 1900, 1370 1810, 1280 "
      "1720, 1190 1664!");
  {
    const Clip clip(sheet, mound);
    sheet.Shape(path, 0xE3CDA0, kDetail);
    Random random(5);
    for (int i = 0; i < 14; ++i) {
      const double y = 1846 + (i / 5) * 42.0 + random.In(-12, 12);
      const double x = 740 + (i % 5) * 120.0 + random.In(-40, 40) + (i / 5 % 2) * 60;
      sheet.Shape(Ellipse({x, y}, random.In(16, 34), random.In(8, 13)),
                  Shade(0xCDB588, random.In(-.1, .2)), kFine);
    }
  }
  sheet.Outline(mound, kContour);
}

void DrawForeground(Sheet& sheet) {
  Fern(sheet, Open("1640 1850, 1720 1720, 1830 1640, 1930 1640"), 5, 116, kLeaf);
  Stone(sheet, {1480, 1846}, 120, 84, 3, kStone);
  Stone(sheet, {1640, 1866}, 86, 60, 4, Shade(kStone, 0.12));
  Stone(sheet, {1376, 1892}, 66, 44, 9, Shade(kStone, 0.2));
  Grass(sheet, {1550, 1920}, 96, 11);
  Blossom(sheet, {1760, 1870}, {1790, 1775}, 42, kRose);
  Blossom(sheet, {1730, 1880}, {1716, 1812}, 34, kCream);

  Fern(sheet, Open("330 1850, 260 1740, 170 1680, 90 1690"), 5, 112, kPine);
  Mushroom(sheet, {440, 1850}, 150, -14, kBrick);
  Mushroom(sheet, {330, 1866}, 96, -10, kTerracotta);
  Mushroom(sheet, {536, 1880}, 84, 12, kMustard);
  Stone(sheet, {640, 1906}, 78, 50, 21, kStone);
  Stone(sheet, {260, 1868}, 60, 42, 15, Shade(kStone, 0.15));
  Grass(sheet, {400, 1900}, 90, 12);
  Grass(sheet, {730, 1950}, 70, 17);
  Grass(sheet, {1240, 1960}, 74, 19);
  Blossom(sheet, {214, 1850}, {190, 1776}, 38, kRose);
}

}  // namespace picture
