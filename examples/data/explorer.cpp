#include <cmath>

#include "picture.h"

namespace picture {

using namespace ink;
using namespace palette;

namespace {

void Tail(Sheet& sheet) {
  const Curve tail = Closed(
      "1150 1500!, 1200 1640, 1300 1730, 1390 1774, 1452 1816!, 1470 1790, 1560 1806, 1650 1830!, "
      "1660 1796, "
      "1740 1766, 1826 1752!, 1812 1720, 1870 1650, 1920 1600!, 1896 1580, 1914 1480, 1902 1360, "
      "1840 1180!, "
      "1800 1270, 1756 1330, 1698 1350!, 1716 1390, 1690 1470, 1640 1530, 1560 1572, 1490 1570!, "
      "1500 1596, "
      "1430 1590, 1330 1540, 1280 1480!");
  sheet.Shape(tail, kFox, kContour);
  {
    const Clip clip(sheet, tail);
    const Curve zigzag = Tufts(Open("1640 1440, 1760 1480, 1960 1560"), 6, -84, .5);
    sheet.Shape(Join({zigzag, {{2000, 1100}, {1640, 1100}}}), kCream, kDetail);
    sheet.Shape(
        Join({Tufts(Open("1130 1600, 1290 1660, 1440 1706, 1600 1716, 1760 1650, 1960 1600"), 9,
                    -34, .7),
              {{2000, 1900}, {1130, 1900}}}),
        kFoxDark, kDetail);
    sheet.Ink(Open("1760 1420, 1820 1360, 1842 1260"), Free(kDetail));
    sheet.Ink(Open("1850 1500, 1884 1420, 1872 1320"), Free(kDetail));
    sheet.Ink(Open("1360 1620, 1480 1650, 1580 1636"), Free(kDetail));
    sheet.Ink(Open("1560 1670, 1650 1640, 1700 1580"), Free(kDetail));
  }
  sheet.Outline(tail, kContour);
}

void CloakLining(Sheet& sheet) {
  const Curve lining = Closed(
      "860 1020!, 740 1180, 690 1400, 660 1560!, 760 1610, 860 1590, 960 1620, 1070 1590, 1190 "
      "1616, 1260 1580!, "
      "1220 1300, 1150 1020!");
  sheet.Shape(lining, kWine, kContour);
  const Clip clip(sheet, lining);
  sheet.Ink(Open("800 1300, 780 1450, 790 1620"), kDetail);
  sheet.Ink(Open("1000 1400, 1000 1500, 1014 1640"), kDetail);
  sheet.Ink(Open("1190 1300, 1180 1450, 1200 1640"), kDetail);
}

void Boot(Sheet& sheet, Point ankle, double side) {
  // `side` is 1 for a toe that points right, -1 for left.
  const auto at = [&](double x, double y) { return ankle + Point{x * side, y}; };
  const auto curve = [&](std::initializer_list<Point> knots) {
    Curve out;
    for (const Point& p : knots) out.push_back(at(p.x, p.y));
    return out;
  };
  const Curve boot =
      Join({Open(curve({{-62, -10}, {-60, 60}, {-70, 120}, {-72, 164}})),
            Open(curve({{-72, 164}, {20, 172}, {110, 172}, {168, 166}})),
            Open(curve({{168, 166}, {172, 116}, {128, 84}, {70, 66}, {54, 30}, {60, -10}}))});
  sheet.Shape(boot, kLeather, kContour);
  {
    const Clip clip(sheet, boot);
    sheet.Shape(Join({Open(curve({{-90, 142}, {0, 150}, {100, 152}, {190, 140}})),
                      curve({{200, 200}, {-100, 200}})}),
                kLeatherDark, kDetail);
    sheet.Shape(
        Join({Open(curve({{96, 60}, {88, 100}, {104, 154}})), curve({{190, 160}, {190, 40}})}),
        kTan, kDetail);
    sheet.Shape(
        Join({Open(curve({{-30, 70}, {-24, 110}, {-28, 156}})), curve({{-100, 160}, {-100, 60}})}),
        Shade(kLeather, -.15), kDetail);
    // The tongue between the laces.
    sheet.Shape(Join({Open(curve({{14, -30}, {10, 30}, {30, 80}, {84, 108}})),
                      Open(curve({{106, 84}, {70, 56}, {60, -30}}))}),
                kTan, kDetail);
  }
  sheet.Outline(boot, kContour);
  for (int i = 0; i < 3; ++i) {
    const Point a = at(16 + i * 15.0, 52 + i * 21.0), b = at(66 + i * 19.0, 44 + i * 15.0);
    sheet.Ink(Line(a, b), kForm);
    sheet.Shape(Ellipse(a, 8, 8), kBrass, kFine);
  }
  // The cuff is turned down over the shaft, and scalloped.
  const Curve cuff = Join(
      {Open(curve({{-74, -34}, {0, -24}, {74, -34}})), Open(curve({{74, -34}, {80, -8}, {72, 16}})),
       Open(curve({{72, 16}, {50, 34}, {26, 20}})), Open(curve({{26, 20}, {0, 40}, {-26, 20}})),
       Open(curve({{-26, 20}, {-50, 34}, {-72, 14}})),
       Open(curve({{-72, 14}, {-80, -8}, {-74, -34}}))});
  sheet.Shape(cuff, kTan, kForm);
  for (const double x : {-48.0, 0.0, 48.0}) sheet.Shape(Ellipse(at(x, 6), 7, 7), kBrass, kFine);
  // A bow of laces.
  for (const double turn : {-1.0, 1.0}) {
    sheet.Shape(Leaf(at(42, 32), at(42 + 26 * turn, 88), 15, 5), kCream, kDetail);
    sheet.Shape(Leaf(at(42, 32), at(42 + 56 * turn, 18), 36, 8 * turn), kCream, kDetail);
  }
  sheet.Shape(Ellipse(at(42, 32), 11, 11), kCream, kDetail);
}

void Leg(Sheet& sheet, Point hip, Point knee, Point ankle, double toe) {
  const Curve shin = Open(Curve{knee, Mix(knee, ankle, .5) + Point{-6 * toe, 0}, ankle});
  const Cloth sock = ClothAlong(shin, 54, 50);
  Bands(sheet, sock, 6, {kCream, kBrick}, kDetail);
  sheet.Outline(sock.Cell(0, 0, 1, 1), kForm);
  Boot(sheet, ankle, toe);
  // Puffed breeches, gathered into a band below the knee.
  const Curve thigh =
      Ribbon(Open(Curve{hip, Mix(hip, knee, .5) + Point{10 * toe, 0}, knee}), {70, 92, 96, 62});
  sheet.Shape(thigh, kTealDark, kContour);
  {
    const Clip clip(sheet, thigh);
    for (const double x : {-44.0, 0.0, 44.0}) {
      sheet.Shape(Leaf(Mix(hip, knee, .1) + Point{x * .9, 0}, Mix(hip, knee, 1) + Point{x * .6, 4},
                       26, -x * .2),
                  kMustard, kDetail);
    }
  }
  sheet.Outline(thigh, kContour);
  sheet.Shape(Ribbon(Open(Curve{knee + Point{-64, -6}, knee + Point{0, 8}, knee + Point{64, -6}}),
                     {14, 15, 14}),
              kMustard, kForm);
  sheet.Shape(Ellipse(knee + Point{20 * toe, 5}, 11, 11), kBrick, kDetail);
}

/// Overlapping scales, the lowest row first so that each row covers the next one's top.
void ScaleMail(Sheet& sheet, const Curve& torso) {
  const Clip clip(sheet, torso);
  Random random(8);
  for (int row = 7; row >= 0; --row) {
    for (int i = -1; i < 8; ++i) {
      const double x = 820 + i * 50.0 + (row % 2) * 25, y = 1020 + row * 41.0;
      const double w = 25;
      const Curve scale = Join(
          {{{x - w, y - 20}},
           Open(Curve{
               {x - w, y}, {x - w * .8, y + 22}, {x, y + 42}, {x + w * .8, y + 22}, {x + w, y}}),
           {{x + w, y - 20}}});
      sheet.Shape(scale, Shade(i % 3 == 0 ? kSteelDark : kSteel, random.In(-.05, .3)), kFine);
    }
  }
}

void Torso(Sheet& sheet) {
  const Curve torso = Closed(
      "860 1000!, 836 1120, 850 1250, 862 1340!, 990 1366, 1130 1340!, 1146 1240, 1160 1120, 1140 "
      "1000!");
  sheet.Shape(torso, kSteel, kContour);
  ScaleMail(sheet, torso);
  // A placket of buttons down the middle.
  const Curve placket = Ribbon(Open("962 1010, 950 1150, 958 1350"), {30, 28, 30});
  {
    const Clip clip(sheet, torso);
    sheet.Shape(placket, kTealDark, kForm);
  }
  for (int i = 0; i < 6; ++i) {
    const Point at = At(Open("962 1010, 950 1150, 958 1350"), .16 + .142 * i);
    sheet.Shape(Ellipse(at, 15, 15), kBrass, kDetail);
    sheet.Shape(Ellipse(at + Point{-1, -1}, 8, 8), kMustard, kFine);
  }
  sheet.Outline(torso, kContour);
}

void BeltAndSkirt(Sheet& sheet) {
  // Leather lappets below the belt; the outer ones first.
  for (const int i : {0, 7, 1, 6, 2, 5, 3, 4}) {
    const double u = (i - 3.5) / 3.5;
    const Point top{992 + u * 118, 1346 - 6 * u * u};
    const Point low = top + Point{u * 46, 132 - 16 * u * u};
    const Point across = Point{24, u * 6};
    const Curve strip = Join({Line(top - across, low - across * 1.25),
                              Line(low - across * 1.25, low + Point{u * 8, 34}),
                              Line(low + Point{u * 8, 34}, low + across * 1.25),
                              Line(low + across * 1.25, top + across)});
    sheet.Shape(strip, i % 2 ? kBrick : kTerracotta, kForm);
    sheet.Shape(Ellipse(low + Point{0, 2}, 11, 11), kBrass, kFine);
  }
  const Cloth belt{Open("850 1312, 990 1344, 1144 1308"), Open("852 1368, 992 1402, 1146 1364"),
                   Line({850, 1312}, {852, 1368}), Line({1144, 1308}, {1146, 1364})};
  sheet.Shape(belt.Cell(0, 0, 1, 1), kLeather, kContour);
  sheet.Ink(belt.Lay({{0, .17}, {.25, .17}, {.5, .17}, {.75, .17}, {1, .17}}), kFine);
  sheet.Ink(belt.Lay({{0, .83}, {.25, .83}, {.5, .83}, {.75, .83}, {1, .83}}), kFine);
  for (const double u : {.1, .2, .72, .82, .92}) {
    sheet.Shape(Ellipse(belt(u, .5), 8, 8), kBrass, kFine);
  }
  sheet.Shape(Closed("916 1306!, 1000 1320!, 998 1420!, 912 1408!"), kBrass, kForm);
  sheet.Shape(Closed("932 1324!, 984 1334!, 982 1400!, 928 1392!"), kLeatherDark, kDetail);
  sheet.Shape(Star({956, 1362}, 30, 12, 5), kMustard, kDetail);
}

Cloth RightCloak() {
  return {Open("1110 990, 1230 1050, 1380 1170, 1540 1240, 1690 1214"),
          Open("1196 1560, 1290 1606, 1390 1560, 1490 1606, 1590 1548, 1700 1556"),
          Open("1110 990, 1126 1150, 1160 1350, 1196 1560"),
          Open("1690 1214, 1664 1320, 1710 1430, 1700 1556")};
}

Cloth LeftCloak() {
  return {Open("762 1024, 820 990, 884 992"), Open("596 1530, 680 1580, 750 1544, 836 1570"),
          Open("762 1024, 690 1150, 650 1320, 596 1530"),
          Open("884 992, 884 1150, 850 1340, 836 1570")};
}

void CloakPanel(Sheet& sheet, const Cloth& cloth, int rows, int columns, std::uint32_t seed,
                int teeth) {
  constexpr double kHem = 0.91;
  const Curve outline = cloth.Cell(0, 0, 1, 1);
  sheet.Fill(outline, kBrick);
  // The patches end at the hem, so they are laid on the part of the cloth above it.
  const auto across = [&](double v) {
    Curve uv;
    for (int i = 0; i <= 40; ++i) uv.push_back({i / 40.0, v});
    return cloth.Lay(uv);
  };
  const auto down = [&](double u) {
    Curve uv;
    for (int i = 0; i <= 40; ++i) uv.push_back({u, kHem * i / 40.0});
    return cloth.Lay(uv);
  };
  Patchwork(sheet, {across(0), across(kHem), down(0), down(1)}, rows, columns, Random(seed));
  sheet.Shape(cloth.Cell(0, kHem, 1, 1), kMustard, kForm);
  for (int i = 0; i < teeth; ++i) {
    const double u0 = static_cast<double>(i) / teeth, u1 = (i + 1.0) / teeth;
    sheet.Shape(cloth.Lay({{u0, 1}, {(u0 + u1) / 2, kHem + .01}, {u1, 1}}), kPlum, kFine);
  }
  sheet.Outline(outline, kContour);
}

/// Folds run down the cloth across its seams.
void Folds(Sheet& sheet, const Cloth& cloth, const std::vector<Point>& starts) {
  for (const Point& from : starts) {
    Curve uv;
    for (int i = 0; i <= 6; ++i)
      uv.push_back({from.x + .03 * std::sin(i * 1.0), from.y + (1 - from.y) * i / 6.0});
    sheet.Ink(Open(cloth.Lay(uv)), Free(kForm));
  }
}

void Staff(Sheet& sheet) {
  const Curve shaft = Open("636 1836, 604 1500, 574 1100, 548 760, 536 560");
  const Curve crook = Open("536 560, 520 470, 462 420, 396 430, 366 480, 388 520");
  const Curve whole = Join({shaft, crook});
  sheet.Shape(Ribbon(whole, {19, 18, 17, 18, 17, 16, 15, 13, 11, 5}), kWood, kContour);
  for (const double t : {.06, .34, .52, .66}) {
    const Point at = At(shaft, t);
    sheet.Ink(Open(Curve{at + Point{-5, 34}, at + Point{-2, 0}, at + Point{-6, -40}}), Free(kFine));
    sheet.Ink(Open(Curve{at + Point{7, 12}, at + Point{4, -20}, at + Point{6, -54}}), Free(kFine));
  }
  Bands(sheet, ClothAlong(Part(shaft, .735, .80), 20, 20), 3, {kBrick, kMustard}, kDetail);
  Bands(sheet, ClothAlong(Part(shaft, .0, .045), 21, 20), 2, {kBrass, kSteelDark}, kDetail);
}

void Lantern(Sheet& sheet) {
  constexpr double kX = 400;
  const auto at = [](double x, double y) { return Point{kX + x, y}; };
  const auto place = [](std::string_view knots) { return Place(Closed(knots), {kX, 0}); };
  sheet.Shape(Ellipse(at(0, 545), 34, 38), kBrass, kForm);
  sheet.Shape(Ellipse(at(0, 548), 21, 25), kTealLight, kDetail);
  sheet.Shape(place("-16 574!, 16 574!, 24 598!, -24 598!"), kBrass, kForm);
  // A roof of petals, the middle one last.
  sheet.Shape(place("-30 596!, -96 622, -124 668!, 124 668!, 96 622, 30 596!"), kTealDark,
              kContour);
  sheet.Shape(place("-30 597!, -84 624, -92 668!, -34 668!, -24 620, -12 597!"), kTeal, kDetail);
  sheet.Shape(place("30 597!, 84 624, 92 668!, 34 668!, 24 620, 12 597!"), kTeal, kDetail);
  sheet.Shape(place("-12 597!, -26 624, -34 668!, 34 668!, 26 624, 12 597!"), kTealLight, kDetail);
  for (int i = 0; i < 7; ++i)
    sheet.Shape(Ellipse(at(-108 + 36.0 * i, 680), 18, 14), i % 2 ? kMustard : kBrass, kDetail);
  const Curve glass = place("-88 690!, 88 690!, 78 860!, -78 860!");
  sheet.Shape(glass, 0xFFE9A8, kContour);
  {
    const Clip clip(sheet, glass);
    sheet.Shape(Ellipse(at(0, 790), 74, 84), 0xFFF3C9, kFine);
    sheet.Shape(place("0 706!, 34 760, 46 800, 30 838, 0 850, -32 838, -44 798, -24 766, -14 740"),
                kMustard, kDetail);
    sheet.Shape(place("2 752!, 20 790, 22 820, 0 838, -22 820, -18 790"), 0xFFF1B8, kFine);
    sheet.Shape(place("-9 838!, 9 838!, 11 864!, -11 864!"), kCream, kFine);
  }
  for (const double x : {-.62, .62}) {
    sheet.Shape(
        {at(x * 84 - 7, 692), at(x * 84 + 7, 692), at(x * 74 + 7, 860), at(x * 74 - 7, 860)},
        kBrass, kDetail);
  }
  sheet.Shape({at(-88, 768), at(88, 768), at(87, 784), at(-87, 784)}, kBrass, kDetail);
  sheet.Outline(glass, kContour);
  sheet.Shape(place("-104 856!, 104 856!, 92 892, 60 912!, -60 912!, -92 892"), kTealDark,
              kContour);
  for (int i = 0; i < 5; ++i) sheet.Shape(Ellipse(at(-64 + 32.0 * i, 882), 8, 8), kMustard, kFine);
  sheet.Shape(place("-22 912!, 22 912!, 12 936, 0 950!, -12 936"), kBrass, kForm);
}

void LeftArm(Sheet& sheet) {
  const Curve forearm = Open("800 1190, 720 1180, 620 1110");
  const Cloth sleeve = ClothAlong(forearm, 74, 52);
  Bands(sheet, sleeve, 7, {kCream, kTealLight}, kDetail);
  sheet.Outline(sleeve.Cell(0, 0, 1, 1), kContour);
  sheet.Shape(Ribbon(Open("672 1192, 642 1140, 650 1060"), {20, 24, 20}), kMustard, kForm);
  sheet.Shape(
      Closed("642 1196!, 560 1168, 514 1110, 520 1056, 566 1030, 616 1044, 650 1066!, 632 1130"),
      kLeather, kContour);
}

/// The fingers close over the staff.
void LeftFingers(Sheet& sheet) {
  for (int i = 3; i >= 0; --i) {
    const double y = 1054 + i * 31.0, shift = i * 3.0;
    sheet.Shape(Closed(Curve{{528 + shift, y - 16},
                             {566 + shift, y - 22},
                             {602 + shift, y - 14},
                             {610 + shift, y + 4},
                             {590 + shift, y + 18},
                             {546 + shift, y + 18},
                             {524 + shift, y + 6}}),
                Shade(kLeather, .1), kForm);
    sheet.Ink(Open(Curve{{592 + shift, y - 10}, {586 + shift, y + 2}, {592 + shift, y + 12}}),
              Free(kFine));
  }
  sheet.Shape(Closed("628 1130!, 596 1108, 574 1066, 580 1034, 604 1028, 622 1056, 644 1086!"),
              Shade(kLeather, .18), kForm);
}

void Satchel(Sheet& sheet) {
  // A rolled map and a spyglass stand out of the bag.
  const Cloth map = ClothAlong(Open("760 1330, 742 1240, 724 1180"), 34, 34);
  sheet.Shape(map.Cell(0, 0, 1, 1), 0xF0DDB0, kForm);
  sheet.Shape(Ellipse({724, 1180}, 35, 15, -14), Shade(0xF0DDB0, -.12), kForm);
  sheet.Shape(Ellipse({724, 1180}, 17, 7, -14), kLeatherDark, kFine);
  sheet.Shape(map.Cell(0, .5, 1, .64), kBrick, kDetail);
  const Cloth glass = ClothAlong(Open("840 1330, 846 1270, 852 1216"), 22, 28);
  Bands(sheet, glass, 4, {kBrass, kLeatherDark, kBrass, kMustard}, kDetail);
  sheet.Shape(Ellipse({852, 1216}, 29, 12, 6), kTealLight, kDetail);

  const Curve bag = Closed(
      "668 1310!, 800 1330, 912 1310!, 930 1420, 922 1510, 890 1540!, 790 1552, 690 1538!, 652 "
      "1506, 650 1410");
  sheet.Shape(bag, kLeather, kContour);
  // The pocket at the front.
  sheet.Shape(Closed("700 1440!, 790 1452, 876 1440!, 880 1520!, 790 1534, 698 1520!"),
              Shade(kLeather, .14), kForm);
  sheet.Ink(Open("708 1510, 790 1523, 870 1510"), kFine);
  const Curve flap = Closed(
      "658 1302!, 730 1290, 800 1310, 860 1292, 920 1300!, 934 1380, 916 1446!, 860 1470, 790 "
      "1480, 716 1470, 660 1446!, 644 1380");
  sheet.Shape(flap, kTan, kContour);
  sheet.Ink(Open("660 1316, 660 1380, 676 1436, 724 1456, 790 1464, 852 1456, 902 1434, 916 1380, "
                 "908 1314"),
            kFine);
  sheet.Shape(Star({788, 1386}, 46, 14, 4), kBrass, kDetail);
  sheet.Shape(Star({788, 1386}, 30, 10, 4, -45), kMustard, kFine);
  sheet.Shape(Ellipse({788, 1386}, 10, 10), kBrick, kFine);
  for (const double x : {706.0, 866.0}) {
    const Cloth strap = ClothAlong(Line({x, 1340}, {x + (x < 800 ? 2 : -2), 1516}), 15, 15);
    sheet.Shape(strap.Cell(0, 0, 1, 1), kLeatherDark, kForm);
    for (const double v : {.2, .36}) sheet.Black(Ellipse(strap(.5, v), 4.5, 4.5));
    sheet.Shape(Closed(Curve{{x - 25, 1434}, {x + 25, 1434}, {x + 25, 1484}, {x - 25, 1484}}),
                kBrass, kForm);
    sheet.Shape({{x - 12, 1446}, {x + 12, 1446}, {x + 12, 1472}, {x - 12, 1472}}, kLeatherDark,
                kDetail);
    sheet.Shape({{x - 3.5, 1446}, {x + 3.5, 1446}, {x + 3.5, 1486}, {x - 3.5, 1486}}, kMustard,
                kFine);
  }
}

void SatchelStrap(Sheet& sheet) {
  const Cloth strap = ClothAlong(Open("1130 1010, 1040 1120, 940 1230, 866 1320"), 25, 24);
  sheet.Shape(strap.Cell(0, 0, 1, 1), kLeatherDark, kContour);
  sheet.Ink(strap.Lay({{.18, 0}, {.18, .25}, {.18, .5}, {.18, .75}, {.18, 1}}), kFine);
  sheet.Ink(strap.Lay({{.82, 0}, {.82, .25}, {.82, .5}, {.82, .75}, {.82, 1}}), kFine);
  sheet.Shape(strap.Cell(-.25, .42, 1.25, .58), kBrass, kForm);
  sheet.Shape(strap.Cell(.12, .46, .88, .54), kLeather, kDetail);
}

void RightArm(Sheet& sheet) {
  const Curve upper = Open("1150 1060, 1230 1150, 1320 1206");
  const Cloth sleeve = ClothAlong(upper, 66, 78);
  Bands(sheet, sleeve, 6, {kTealLight, kCream}, kDetail);
  sheet.Outline(sleeve.Cell(0, 0, 1, 1), kContour);
  const Curve elbow =
      Closed("1250 1200, 1290 1130, 1360 1112, 1410 1150, 1412 1216, 1360 1266, 1290 1262");
  sheet.Shape(elbow, kCream, kContour);
  sheet.Ink(Open("1290 1240, 1330 1200, 1350 1160"), Free(kDetail));
  sheet.Ink(Open("1330 1250, 1362 1220, 1372 1180"), Free(kDetail));
  // The falconer's gauntlet.
  const Curve forearm = Open("1344 1176, 1430 1080, 1520 972");
  const Cloth glove = ClothAlong(forearm, 72, 46);
  sheet.Shape(Closed("1512 1000!, 1500 950, 1520 908, 1570 886, 1640 890, 1664 916, 1650 948, 1600 "
                     "968, 1560 1016!"),
              kLeather, kContour);
  for (int i = 0; i < 3; ++i) {
    sheet.Ink(Open(Curve{{1600.0 + 18 * i, 894}, {1588.0 + 24 * i, 912}, {1592.0 + 22 * i, 934}}),
              kDetail);
  }
  sheet.Shape(glove.Cell(0, .18, 1, 1), kLeather, kContour);
  Bands(sheet,
        {glove.Lay({{.28, .3}, {.72, .3}}), glove.Lay({{.28, .94}, {.72, .94}}),
         glove.Lay({{.28, .3}, {.28, .6}, {.28, .94}}),
         glove.Lay({{.72, .3}, {.72, .6}, {.72, .94}})},
        5, {kTan, kMustard}, kDetail);
  sheet.Shape(glove.Cell(-.2, .04, 1.2, .26), kTan, kContour);
  for (const double u : {.0, .25, .5, .75, 1.0})
    sheet.Shape(Ellipse(glove(u, .15), 9, 9), kBrass, kFine);
  sheet.Shape(glove.Cell(-.08, .9, 1.08, 1.02), kBrass, kForm);
}

void Pauldron(Sheet& sheet) {
  sheet.Shape(Closed("1096 1120!, 1180 1176, 1280 1146!, 1268 1090, 1220 1050, 1120 1060"),
              Shade(kSteel, -.1), kContour);
  sheet.Shape(Closed("1084 1080!, 1166 1128, 1262 1096!, 1250 1040, 1200 1004, 1110 1020"), kSteel,
              kForm);
  sheet.Shape(Closed("1070 1040!, 1150 1080, 1240 1046!, 1222 992, 1160 964, 1090 980"),
              Shade(kSteel, .25), kContour);
  for (const Point p :
       {Point{1116, 1104}, {1178, 1130}, {1240, 1116}, {1104, 1066}, {1164, 1092}, {1224, 1074}}) {
    sheet.Shape(Ellipse(p, 7, 7), kBrass, kFine);
  }
  sheet.Shape(Star({1156, 1024}, 30, 13, 5), kBrass, kDetail);
}

void Scarf(Sheet& sheet) {
  // The end that the wind takes.
  const Cloth flying =
      ClothAlong(Open("1150 980, 1236 950, 1306 996, 1370 1010, 1432 952"), 34, 46);
  Bands(sheet, flying, 8, {kMustard, kTeal, kTeal}, kDetail);
  sheet.Outline(flying.Cell(0, 0, 1, 1), kContour);
  for (int i = 0; i < 5; ++i) {
    const Point at = flying((i + .5) / 5, 1);
    sheet.Shape(Leaf(at, at + Point{32 + 3.0 * i, -38 + 5.0 * i}, 18, 4), kMustard, kDetail);
  }
  const Curve wrap = Closed(
      "752 950, 760 1010, 850 1066, 980 1086, 1110 1060, 1206 990, 1220 930, 1100 900, 860 900");
  sheet.Shape(wrap, kTeal, kContour);
  const Clip clip(sheet, wrap);
  for (int i = 0; i < 7; ++i) {
    const double x = 776 + i * 68.0, lean = (x - 980) * .18;
    sheet.Shape(
        Join({Open(Curve{{x, 880}, {x - lean * .2, 980}, {x - lean, 1100}}),
              Open(Curve{{x + 28 - lean, 1100}, {x + 30 - lean * .2, 980}, {x + 30, 880}})}),
        kMustard, kDetail);
  }
  sheet.Ink(Open("744 960, 850 1020, 980 1040, 1110 1016, 1226 940"), kForm);
  sheet.Outline(wrap, kContour);
}

void ScarfKnot(Sheet& sheet) {
  const Cloth hanging = ClothAlong(Open("1104 1050, 1092 1130, 1106 1200, 1090 1270"), 34, 46);
  Bands(sheet, hanging, 7, {kTeal, kTeal, kMustard}, kDetail);
  sheet.Outline(hanging.Cell(0, 0, 1, 1), kContour);
  for (int i = 0; i < 4; ++i) {
    const Point at = hanging((i + .5) / 4, 1);
    sheet.Shape(Leaf(at, at + Point{-4.0 + 5 * (i - 1.5), 36}, 18, 3), kMustard, kDetail);
  }
  sheet.Shape(Closed("1064 1012, 1100 996, 1142 1012, 1150 1050, 1116 1082, 1072 1070, 1054 1040"),
              kTeal, kContour);
  sheet.Ink(Open("1080 1016, 1092 1040, 1088 1066"), Free(kDetail));
  sheet.Ink(Open("1112 1010, 1122 1036, 1116 1066"), Free(kDetail));
}

}  // namespace

void DrawExplorer(Sheet& sheet) {
  Tail(sheet);
  CloakLining(sheet);
  Leg(sheet, {920, 1390}, {896, 1500}, {872, 1654}, -1);
  Leg(sheet, {1074, 1390}, {1100, 1500}, {1112, 1630}, 1);
  Torso(sheet);
  BeltAndSkirt(sheet);
  CloakPanel(sheet, RightCloak(), 4, 5, 6, 11);
  Folds(sheet, RightCloak(), {{.2, .5}, {.5, .45}, {.8, .6}});
  SatchelStrap(sheet);
  RightArm(sheet);
  Pauldron(sheet);
  LeftArm(sheet);
  CloakPanel(sheet, LeftCloak(), 5, 3, 41, 5);
  Folds(sheet, LeftCloak(), {{.6, .5}});
  Satchel(sheet);
  Staff(sheet);
  Lantern(sheet);
  LeftFingers(sheet);
  Scarf(sheet);
  ScarfKnot(sheet);
  const Pose tilt(sheet, {985, 960}, -3);
  DrawHead(sheet);
}

}  // namespace picture
