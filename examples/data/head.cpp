#include "picture.h"

namespace picture {

using namespace ink;
using namespace palette;

namespace {

void Ear(Sheet& sheet, std::string_view outline, std::string_view inner, std::string_view dark,
         std::string_view tufts) {
  const Curve ear = Closed(outline);
  sheet.Shape(ear, kFox, kContour);
  {
    const Clip clip(sheet, ear);
    sheet.Shape(Closed(dark), kFoxDeep, kDetail);
  }
  sheet.Outline(ear, kContour);
  sheet.Shape(Closed(inner), kRose, kForm);
  sheet.Shape(Closed(tufts), kCream, kDetail);
}

struct Eye {
  std::string_view upper, lower;  // the lids, both from left to right
  Point iris;
  double rx, ry;
};

/// The white, a two-toned iris and a black pupil with its lights, then the heavy upper lid.
void DrawEye(Sheet& sheet, const Eye& eye) {
  const Curve upper = Open(eye.upper), lower = Open(eye.lower);
  const Curve outline = Join({upper, Part(lower, 1, 0)});
  sheet.Shape(outline, kWhite, kDetail);
  {
    const Clip clip(sheet, outline);
    const Curve iris = Ellipse(eye.iris, eye.rx, eye.ry);
    sheet.Shape(iris, kTealDark, kForm);
    {
      const Clip inIris(sheet, iris);
      sheet.Shape(Ellipse(eye.iris + Point{0, eye.ry * .8}, eye.rx * 1.1, eye.ry * .95), kTeal,
                  kFine);
      sheet.Shape(Ellipse(eye.iris + Point{0, eye.ry * 1.05}, eye.rx * .86, eye.ry * .6),
                  kTealLight, kFine);
    }
    sheet.Outline(iris, kForm);
    sheet.Black(Ellipse(eye.iris + Point{0, -2}, eye.rx * .54, eye.ry * .58));
    sheet.Shape(
        Ellipse(eye.iris + Point{-eye.rx * .36, -eye.ry * .36}, eye.rx * .35, eye.ry * .3, -20),
        kWhite, kFine);
    sheet.Shape(Ellipse(eye.iris + Point{eye.rx * .36, eye.ry * .34}, eye.rx * .18, eye.ry * .15),
                kWhite, kFine);
  }
  sheet.Ink(lower, kDetail);
  sheet.Black(Ribbon(upper, {3, 7, 9.5, 11, 11, 9, 3}));
}

void Mouth(Sheet& sheet) {
  const Curve mouth = Closed(
      "824 858!, 852 868, 886 846!, 928 880, 984 878, 1030 846!, 1010 902, 956 934, 894 926, 846 "
      "896");
  sheet.Shape(mouth, 0x8C2F39, kDetail);
  {
    const Clip clip(sheet, mouth);
    const Curve tongue = Closed("860 960, 872 914, 912 898, 936 908, 966 898, 1000 916, 990 970");
    sheet.Shape(tongue, 0xF09A8E, kDetail);
    sheet.Ink(Open("934 908, 930 924, 934 936"), Free(kFine));
    sheet.Shape(Closed("962 868!, 978 908!, 998 864!"), kWhite, kFine);
    sheet.Shape(Closed("846 858!, 858 890!, 870 856!"), kWhite, kFine);
  }
  sheet.Ink(Open("812 846, 828 862, 854 869, 886 845"), kForm);
  sheet.Ink(Open("886 845, 928 880, 984 879, 1030 848, 1046 824"), kForm);
  sheet.Ink(Open("1034 824, 1048 826, 1054 838"), Free(kForm));
  sheet.Ink(Open("888 802, 884 824, 886 848"), kDetail);
  sheet.Ink(Open("896 962, 930 970, 962 962"), Free(kDetail));
}

void Face(Sheet& sheet) {
  const Curve face = Closed(
      "786 540, 740 630, 712 706, 674 752, 606 778!, 658 800, 672 820, 650 856, 600 886!, 662 890, "
      "694 904, "
      "692 930, 672 964!, 738 952, 800 962, 860 985, 930 993, 1010 982, 1080 958, 1112 964, 1164 "
      "996!, "
      "1160 952, 1182 928, 1230 938, 1296 930!, 1264 898, 1264 868, 1312 858, 1384 818!, 1316 794, "
      "1276 740, "
      "1252 640, 1216 540");
  sheet.Shape(face, kFox, kContour);
  {
    const Clip clip(sheet, face);
    // The light mask of cheeks and muzzle leaves an orange bridge down to the nose.
    const Curve mask =
        Join({Open("640 720, 712 756, 768 786, 812 792, 842 772, 852 752"),
              Open("926 752, 946 784, 1000 812, 1080 816, 1160 800, 1230 760, 1310 730"),
              {{1500, 760}, {1500, 1100}, {500, 1100}, {500, 760}}});
    sheet.Shape(mask, kCream, kDetail);
    sheet.Shape(Ellipse({1172, 852}, 50, 28, -8), 0xF6BDA2, kFine);
    sheet.Shape(Ellipse({734, 842}, 30, 25, 8), 0xF6BDA2, kFine);
  }
  for (int i = 0; i < 3; ++i) {
    sheet.Ink(Line({1146 + 20.0 * i, 862}, {1158 + 20.0 * i, 838}), Free(kFine));
    if (i < 2) sheet.Ink(Line({722 + 16.0 * i, 852}, {730 + 16.0 * i, 832}), Free(kFine));
  }
  // Locks inside the cheeks echo the contour's tufts.
  sheet.Ink(Open("1150 930, 1196 904, 1216 872"), Free(kDetail));
  sheet.Ink(Open("1236 856, 1272 832, 1290 812"), Free(kDetail));
  sheet.Ink(Open("706 884, 690 850, 692 820"), Free(kDetail));
  sheet.Outline(face, kContour);

  Mouth(sheet);
  const Curve nose =
      Closed("848 766, 862 750, 892 744, 922 750, 936 768, 927 788, 904 803, 878 803, 857 789");
  sheet.Black(nose);
  sheet.Outline(nose, kDetail);
  sheet.Shape(Ellipse({878, 763}, 16, 7, -8), kWhite, kFine);
  for (const Point p :
       {Point{836, 826}, {812, 812}, {822, 836}, {960, 834}, {990, 826}, {976, 850}}) {
    sheet.Black(Ellipse(p, 3.4, 3.4));
  }

  DrawEye(sheet, {"742 712, 748 670, 774 638, 812 628, 844 648, 864 698",
                  "742 712, 756 744, 800 766, 842 750, 864 698",
                  {808, 700},
                  42,
                  64});
  DrawEye(sheet, {"978 722, 990 676, 1026 640, 1074 632, 1118 654, 1148 696",
                  "978 722, 1008 758, 1060 774, 1114 758, 1148 696",
                  {1056, 704},
                  54,
                  68});
  // Lashes, the crease above the lid, and the brows.
  sheet.Black(Leaf({1134, 676}, {1184, 656}, 14, -5));
  sheet.Black(Leaf({1120, 658}, {1160, 632}, 12, -4));
  sheet.Black(Leaf({756, 660}, {732, 642}, 10, 3));
  sheet.Ink(Open("1006 640, 1044 614, 1096 614, 1126 630"), Free(kFine));
  sheet.Ink(Open("784 620, 818 608, 848 620"), Free(kFine));
  sheet.Shape(Closed("1010 592!, 1050 560, 1106 562, 1146 596!, 1100 584, 1052 582"), kFoxDeep,
              kDetail);
  sheet.Shape(Closed("776 600!, 800 578, 836 572, 862 590!, 832 590, 802 594"), kFoxDeep, kDetail);
}

void Plume(Sheet& sheet) {
  // A broad quill that bows over to the right, split into barbs.
  const Curve quill = Open("1106 470, 1108 330, 1140 210, 1220 116, 1350 84, 1480 130, 1560 240");
  const Curve vane = Ribbon(quill, {8, 54, 84, 100, 94, 64, 2});
  sheet.Fill(vane, kTeal);
  {
    const Clip clip(sheet, vane);
    constexpr int kBarbs = 12;
    for (int i = kBarbs; i >= 0; --i) {
      const double t = 0.06 + 0.92 * i / kBarbs, next = t + 0.94 / kBarbs;
      for (const double side : {-1.0, 1.0}) {
        const Point a = At(quill, t), b = At(quill, next);
        const Point farA = At(quill, t + .1) + NormalAt(quill, t) * (130 * side);
        const Point farB = At(quill, next + .1) + NormalAt(quill, next) * (130 * side);
        const Curve barb = Join({Open(Curve{a, Mix(a, farA, .5) + (a - b) * .25, farA}),
                                 Open(Curve{farB, Mix(b, farB, .5) + (a - b) * .25, b})});
        const Colour colour = i % 3 == 0 ? kTealLight : i % 3 == 1 ? kTeal : Shade(kTeal, .22);
        sheet.Shape(barb, side > 0 ? colour : Shade(colour, -.16), kFine);
      }
    }
    sheet.Shape(Ellipse({1530, 200}, 104, 90, 50), kMustard, kDetail);
    sheet.Shape(Ellipse({1540, 212}, 58, 50, 50), kBrick, kDetail);
    sheet.Shape(Ellipse({1548, 224}, 26, 22, 50), kWine, kFine);
  }
  sheet.Outline(vane, kForm);
  sheet.Shape(Ribbon(quill, {9, 7, 5, 4, 3, 2.5}), kCream, kFine);
}

void HatBrim(Sheet& sheet) {
  const Curve brim = Closed(
      "586 506!, 700 548, 850 564, 1010 564, 1200 538, 1350 476, 1456 372!, 1340 400, 1180 410, "
      "980 400, 800 412, 670 448");
  sheet.Shape(brim, kPine, kContour);
  {
    const Clip clip(sheet, brim);
    // The edging is a lighter ribbon with stitches.
    const Curve edge = Open("530 474, 690 521, 850 540, 1010 540, 1196 515, 1338 456, 1450 352");
    sheet.Fill(Join({edge, {{1500, 600}, {530, 620}}}), kMustard);
    sheet.Ink(edge, kDetail);
  }
  sheet.Outline(brim, kContour);
  const Curve middle = Open("586 498, 690 533, 850 552, 1010 552, 1198 527, 1344 466, 1430 386");
  for (int i = 0; i < 22; ++i) {
    const double t = 0.03 + 0.94 * i / 22;
    sheet.Ink(Part(middle, t, t + 0.018), Free(kFine));
  }
}

void HatCrown(Sheet& sheet) {
  const Curve crown = Closed(
      "838 500!, 836 420, 852 330, 892 258, 950 226, 1000 250, 1052 222, 1108 256, 1138 340, 1146 "
      "420, 1148 492!, "
      "1080 516, 990 524, 900 516");
  sheet.Shape(crown, kPine, kContour);
  {
    const Clip clip(sheet, crown);
    sheet.Shape(
        Closed("1000 150, 996 262, 1020 330, 1064 360, 1110 420, 1100 540, 1300 540, 1300 150"),
        Shade(kPine, -.16), kDetail);
    sheet.Ink(Open("1000 250, 980 290, 974 330"), Free(kDetail));
    sheet.Ink(Open("900 290, 890 330, 892 370"), Free(kDetail));
    sheet.Ink(Open("1084 290, 1096 330, 1094 366"), Free(kDetail));
    const Curve band = Join({Open("820 418, 900 440, 990 448, 1080 440, 1170 414"),
                             Open("1170 492, 1080 516, 990 526, 900 516, 820 496")});
    sheet.Shape(band, kBrick, kForm);
    for (int i = 0; i < 7; ++i) {
      const double x = 858 + 44.0 * i, sag = 1 - (i - 3) * (i - 3) / 9.0;
      sheet.Shape({{x, 452 + 24 * sag},
                   {x + 11, 467 + 24 * sag},
                   {x, 482 + 24 * sag},
                   {x - 11, 467 + 24 * sag}},
                  kMustard, kFine);
    }
  }
  sheet.Outline(crown, kContour);
}

void Goggles(Sheet& sheet) {
  const Cloth strap{Open("838 386, 900 402, 990 408, 1080 402, 1144 384"),
                    Open("838 430, 900 446, 990 452, 1080 446, 1146 428"),
                    Line({838, 386}, {838, 430}), Line({1144, 384}, {1146, 428})};
  sheet.Shape(strap.Cell(0, 0, 1, 1), kLeather, kForm);
  for (const double u : {.03, .12, .47, .53, .88, .97})
    sheet.Ink(strap.Lay({{u, 0}, {u, 1}}), kFine);
  sheet.Shape(Closed("968 396!, 992 384, 1014 396!, 1016 428!, 990 418, 966 428!"), kBrass,
              kDetail);
  for (const Point lens : {Point{910, 400}, {1070, 398}}) {
    sheet.Shape(Ellipse(lens, 68, 65), kLeatherDark, kForm);
    sheet.Shape(Ellipse(lens, 57, 54), kBrass, kDetail);
    const Curve glass = Ellipse(lens, 42, 40);
    sheet.Shape(glass, kTealLight, kForm);
    const Clip clip(sheet, glass);
    sheet.Shape({lens + Point{-60, 24}, lens + Point{24, -60}, lens + Point{48, -40},
                 lens + Point{-40, 50}},
                Shade(kTealLight, .6), kFine);
    sheet.Shape(
        {lens + Point{-14, 60}, lens + Point{60, -16}, lens + Point{74, -6}, lens + Point{0, 70}},
        Shade(kTealLight, .6), kFine);
    sheet.Outline(glass, kForm);
  }
  for (const Point lens : {Point{910, 400}, {1070, 398}}) {
    for (const Point p : {Point{-48, 0}, {48, 0}, {0, -47}, {0, 47}}) {
      sheet.Black(Ellipse(lens + p, 4, 4));
    }
  }
}

}  // namespace

void DrawHead(Sheet& sheet) {
  Face(sheet);
  // A forelock falls from under the hat.
  sheet.Shape(
      Closed(
          "884 540!, 858 600, 866 660!, 896 626, 912 676!, 944 628, 968 650!, 978 600, 970 540!"),
      kFoxDark, kForm);
  sheet.Ink(Open("912 570, 900 600, 904 632"), Free(kDetail));
  sheet.Ink(Open("948 570, 944 594, 948 616"), Free(kDetail));
  const Pose cocked(sheet, {985, 540}, -4);
  Plume(sheet);
  HatBrim(sheet);
  Ear(sheet,
      "858 462!, 852 380, 800 290, 720 224, 640 176!, 604 250, 592 340, 606 430, 640 494!, 740 500",
      "818 470!, 812 396, 770 318, 712 266, 658 234!, 636 290, 630 350, 640 420, 668 482!, 740 486",
      "560 150!, 740 150!, 792 268!, 740 276, 716 250, 690 276, 656 270, 630 310, 610 300, 590 "
      "330, 560 330!",
      "800 478!, 782 424, 752 372!, 750 416, 714 376!, 724 428, 688 406!, 690 480!");
  Ear(sheet,
      "1130 452!, 1136 370, 1190 280, 1276 212, 1368 168!, 1404 240, 1416 330, 1400 420, 1334 "
      "474!, 1230 486",
      "1172 460!, 1176 386, 1222 308, 1284 254, 1346 226!, 1370 280, 1376 340, 1364 410, 1306 "
      "464!, 1230 470",
      "1450 140!, 1270 140!, 1204 258!, 1252 268, 1280 240, 1306 268, 1344 258, 1372 300, 1394 "
      "290, 1416 324, 1450 324!",
      "1186 470!, 1208 414, 1242 364!, 1242 408, 1282 372!, 1270 424, 1308 402!, 1296 468!");
  HatCrown(sheet);
  Goggles(sheet);
}

}  // namespace picture
