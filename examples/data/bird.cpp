#include <cmath>
#include <numbers>

#include "picture.h"

namespace picture {

using namespace ink;
using namespace palette;

namespace {

constexpr Point kBird{1600, 700};

Point Polar(Point from, double length, double degrees) {
  const double a = degrees * std::numbers::pi / 180;
  return from + Point{std::cos(a), std::sin(a)} * length;
}

/// A metal feather: a leaf with a quill and a rivet at its root.
void Feather(Sheet& sheet, Point root, double length, double degrees, double width, Colour colour) {
  const Point tip = Polar(root, length, degrees);
  const Curve spine = Open(Curve{root, Mix(root, tip, .5) + Point{0, -length * .07}, tip});
  sheet.Shape(Ribbon(spine, {width * .14, width * .3, width * .42, width * .5, width * .54,
                             width * .54, width * .5, width * .4, width * .24, 1}),
              colour, kDetail);
  sheet.Ink(Part(spine, .3, .93), Free(kFine));
}

struct Wing {
  Point root;
  double from, to, length;
  int feathers;
};

void DrawWing(Sheet& sheet, const Wing& wing, Colour primary, Colour covert, double dim) {
  const auto turn = [&](int i, int n) { return wing.from + (wing.to - wing.from) * i / (n - 1); };
  for (int i = 0; i < wing.feathers; ++i) {
    const double reach = wing.length * (1 - 0.42 * i / (wing.feathers - 1));
    Feather(sheet, wing.root, reach, turn(i, wing.feathers), wing.length * .25,
            Shade(i % 2 ? primary : Shade(primary, 0.15), dim));
  }
  for (int i = 0; i < wing.feathers - 1; ++i) {
    Feather(sheet, wing.root, wing.length * (.56 - .16 * i / (wing.feathers - 1)),
            turn(i, wing.feathers - 1), wing.length * .2,
            Shade(i % 2 ? covert : Shade(covert, 0.18), dim));
  }
  for (int i = 0; i < wing.feathers - 3; ++i) {
    Feather(sheet, wing.root, wing.length * .3, turn(i, wing.feathers - 3), wing.length * .16,
            Shade(i % 2 ? kMustard : kBrass, dim));
  }
}

void Key(Sheet& sheet, Point at) {
  sheet.Shape(Ribbon(Line(at, at + Point{74, 16}), {11, 9}), kBrass, kDetail);
  for (const double side : {-1.0, 1.0}) {
    const Point ring = at + Point{92, 20} + Point{-8, 34} * side;
    sheet.Shape(Ellipse(ring, 34, 30, 20), kBrass, kForm);
    sheet.Shape(Ellipse(ring, 16, 13, 20), kSky, kDetail);
  }
  sheet.Shape(Ellipse(at + Point{90, 20}, 12, 12), kMustard, kDetail);
}

}  // namespace

void DrawBird(Sheet& sheet) {
  const auto at = [](double x, double y) { return kBird + Point{x, y}; };
  const auto place = [](std::string_view knots) { return Place(Closed(knots), kBird); };

  DrawWing(sheet, {at(20, -40), -126, -82, 350, 5}, kTealDark, kTeal, 0.12);
  for (int i = 0; i < 5; ++i) {
    Feather(sheet, at(50, 60), 230 - 14 * std::fabs(i - 2.0), 16 + i * 16.0, 58,
            i % 2 ? kTeal : kTealLight);
  }
  Key(sheet, at(76, 16));

  // The legs go down to the glove.
  for (const double x : {-34.0, 22.0}) {
    sheet.Shape(Ribbon(Open(Curve{at(x, 84), at(x - 8, 130), at(x - 4, 176)}), {15, 10, 9}), kBrass,
                kDetail);
    for (const double toe : {-34.0, -6.0, 24.0}) {
      sheet.Shape(Leaf(at(x - 4, 168), at(x - 4 + toe, 204), 20, toe * .2), kMustard, kDetail);
    }
  }

  const Curve body =
      place("-66 -70, -22 -96, 46 -84, 88 -28, 92 40, 58 96, 0 118, -58 92, -84 30, -84 -30");
  sheet.Shape(body, kSteel, kContour);
  {
    const Clip clip(sheet, body);
    const Curve belly = Closed(
        Curve{at(-120, -30), at(-50, -22), at(0, 30), at(10, 90), at(-10, 160), at(-140, 140)});
    sheet.Shape(belly, Shade(kSteel, 0.45), kDetail);
    sheet.Ink(Place(Open("-96 44, -50 52, 12 70"), kBird), kFine);
    sheet.Ink(Place(Open("-20 -100, 20 -40, 90 -10"), kBird), kFine);
    sheet.Ink(Place(Open("8 60, 60 70, 100 60"), kBird), kFine);
    for (const Point p : {Point{34, -66}, {60, -36}, {78, 6}, {78, 42}, {48, 86}, {20, 96}}) {
      sheet.Shape(Ellipse(at(p.x, p.y), 6.5, 6.5), kSteelDark, kFine);
    }
  }
  sheet.Outline(body, kContour);
  // The window with the works.
  sheet.Shape(Ellipse(at(-34, 22), 46, 46), kBrass, kForm);
  const Curve window = Ellipse(at(-34, 22), 36, 36);
  sheet.Shape(window, kWine, kDetail);
  {
    const Clip clip(sheet, window);
    sheet.Shape(Gear(at(-18, 42), 17, 9, 7), kSteel, kFine);
    sheet.Shape(Gear(at(-44, 14), 19, 10, 7), kMustard, kFine);
    sheet.Shape(Ellipse(at(-44, 14), 8, 8), kLeatherDark, kFine);
    sheet.Shape(Ellipse(at(-18, 42), 6, 6), kLeatherDark, kFine);
    sheet.Outline(window, kDetail);
  }

  // The head with its crest, turned to the fox.
  for (int i = 0; i < 3; ++i) {
    const Curve plume = Leaf(
        at(-50, -170), Polar(at(-50, -170), 92 - 12.0 * std::fabs(i - 1), -146 + 32.0 * i), 34, -8);
    sheet.Shape(plume, i % 2 ? kMustard : kBrick, kDetail);
  }
  sheet.Shape(place("-136 -136!, -176 -126, -196 -100!, -160 -94, -128 -100!"), kMustard, kForm);
  sheet.Shape(place("-132 -104!, -160 -98, -176 -80!, -146 -78, -120 -90!"), Shade(kMustard, -.14),
              kDetail);
  const Curve head =
      place("-132 -150, -96 -190, -40 -190, 2 -152, 8 -104, -20 -66, -74 -58, -120 -82, -138 -116");
  sheet.Shape(head, Shade(kSteel, 0.15), kContour);
  {
    const Clip clip(sheet, head);
    sheet.Shape(place("-150 -104, -110 -100, -70 -80, -50 -40, -150 -40"), Shade(kSteel, .5),
                kDetail);
    sheet.Shape(place("-20 -210, 30 -170, 30 -60, -10 -50, -22 -110, -36 -160, -60 -210"),
                kSteelDark, kDetail);
  }
  sheet.Outline(head, kContour);
  sheet.Shape(Ellipse(at(-82, -130), 35, 35), kBrass, kForm);
  sheet.Shape(Ellipse(at(-82, -130), 25, 25), kWhite, kDetail);
  sheet.Black(Ellipse(at(-87, -128), 14, 15));
  sheet.Shape(Ellipse(at(-93, -135), 5.5, 5.5), kWhite, {2.8, 1, 0});
  for (int i = 0; i < 3; ++i)
    sheet.Shape(Ellipse(at(-4 - 7.0 * i, -92 - 30.0 * i), 5.5, 5.5), kBrass, kFine);

  DrawWing(sheet, {at(36, -22), -62, 26, 335, 7}, kTeal, kTealLight, 0);
  sheet.Shape(Gear(at(36, -22), 34, 12, 9), kBrass, kForm);
  sheet.Shape(Ellipse(at(36, -22), 22, 22), kTan, kDetail);
  sheet.Shape(Ellipse(at(36, -22), 9, 9), kLeatherDark, kDetail);
}

}  // namespace picture
