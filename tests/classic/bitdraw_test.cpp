#include <gtest/gtest.h>

#include <algorithm>
#include <climits>

#include "tests/classic/bitsupport.h"
#include "tests/classic/shapes_model.h"

// What is drawn on bit images, against drawing pixel by pixel.

namespace {

using namespace classic_test;

/// A picture that is drawn on by the image and, by the rules, by a model.
struct Canvas {
  Canvas(int bits, int width, int height, Random& random)
      : drawn(bits, width, height, random), expected(drawn) {
    const DWORD alphas[] = {0, 1, 77, 128, 254, 255};
    color = (random.Bits() & 0xFFFFFF) | alphas[random.Int(0, 5)] << 24;
    mode = random.Int(0, 2);
  }

  /// Paints one pixel, if the image has it.
  void Paint(i64 x, i64 y) {
    const KXBitImage& image = expected.image;
    if (x < 0 || y < 0 || x >= image.GetWidth() || y >= image.GetHeight()) return;
    const int px = static_cast<int>(x), py = static_cast<int>(y), bits = image.GetBitCount();
    const int red = Model::R(color), green = Model::G(color), blue = Model::B(color);
    const int alpha = static_cast<int>(color >> 24);
    if (bits == 8) expected.Set(px, py, {(red + 4 * green + 2 * blue) / 7});
    if (bits == 24) expected.Set(px, py, {blue, green, red});
    if (bits != 32) return;
    const Channels ink = {blue, green, red, alpha};
    expected.Set(px, py, mode == 1 ? Laid(expected.Get(px, py), ink) : ink);
  }
  static Channels Laid(Channels pixel, const Channels& ink) {
    const int ad = pixel[3], af = ink[3];
    if (ad == 0) pixel = {255, 255, 255, 0};
    if (af == 0 || ad == 255) return pixel;
    if (ad == 0 && af == 255) return ink;
    const int k = (255 - ad) * af / 255;
    for (std::size_t c = 0; c < 3; ++c) {
      pixel[c] -= (255 - ink[c]) * k / 255;
      if (pixel[c] < 1) pixel[c] = 0;
    }
    pixel[3] = 255 - (255 - af) * (255 - ad) / 255;
    return pixel;
  }
  void PaintSpan(i64 left, i64 right, i64 y) {
    for (i64 x = std::max<i64>(left, 0); x <= std::min<i64>(right, 200); ++x) Paint(x, y);
  }

  BitPicture drawn, expected;
  QMCOLORREF color;
  int mode;
};

/// A canvas of a drawable depth in most cases.
Canvas AnyCanvas(Random& random) {
  const int depths[] = {8, 24, 32, 32, 32, 1, 16, 64};
  return Canvas(depths[random.Int(0, random.OneIn(8) ? 7 : 4)], random.Int(1, 60),
                random.Int(1, 40), random);
}

TEST(BitDrawing, FillsRectangles) {
  Random random(71);
  const int ends[] = {INT_MIN, -5, 0, 3, 20, 41, INT_MAX};
  for (int i = 0; i < 600; ++i) {
    Canvas c = AnyCanvas(random);
    const auto draw = [&] { return ends[random.Int(0, 6)]; };
    const KXRect rect(draw(), draw(), draw(), draw());
    for (int y = 0; y < 40; ++y) {
      if (y >= rect.top && y < rect.bottom) c.PaintSpan(rect.left, i64{rect.right} - 1, y);
    }
    c.drawn.image.RectFill(rect, c.color, c.mode);
    ASSERT_EQ(c.drawn.bytes, c.expected.bytes) << i;
  }
}

/// The walk of a segment, which paints a square at each step.
void WalkSegment(Canvas& c, int x1, int y1, int x2, int y2, int width) {
  for (const KXPoint& at : WalkLine({x1, y1}, {x2, y2})) {
    for (int row = 0; row < width; ++row) {
      for (int column = 0; column < width; ++column) c.Paint(at.x + column, at.y + row);
    }
  }
}

TEST(BitDrawing, StampsSegments) {
  Random random(72);
  for (int i = 0; i < 1500; ++i) {
    Canvas c = AnyCanvas(random);
    const auto draw = [&] { return random.OneIn(3) ? random.Int(-90, 120) : random.Int(0, 40); };
    const int x1 = draw(), y1 = draw(), width = random.Int(-1, random.OneIn(4) ? 30 : 4);
    const int x2 = random.OneIn(5) ? x1 : draw(), y2 = random.OneIn(5) ? y1 : draw();
    if (random.OneIn(4)) {
      c.drawn.image.DrawSimpleSegment(x1, y1, x2, y2, c.color, c.mode);
      WalkSegment(c, x1, y1, x2, y2, 1);
    } else if (random.OneIn(4)) {
      c.drawn.image.DrawRect(x1, y1, x2, y2, width, c.color, c.mode);
      WalkSegment(c, x1, y1, x2, y1, width);
      WalkSegment(c, x2, y1, x2, y2, width);
      WalkSegment(c, x2, y2, x1, y2, width);
      WalkSegment(c, x1, y2, x1, y1, width);
    } else {
      c.drawn.image.DrawSegment(x1, y1, x2, y2, width, c.color, c.mode);
      WalkSegment(c, x1, y1, x2, y2, width);
    }
    ASSERT_EQ(c.drawn.bytes, c.expected.bytes) << i;
  }
}

TEST(BitPolygon, EqualsTheWalkAlongEveryEdge) {
  Random random(73);
  for (int i = 0; i < 3000; ++i) {
    Canvas c = AnyCanvas(random);
    Points points = AnyPoints(random, random.OneIn(5) ? random.Int(33, 70) : random.Int(0, 9));
    if (random.OneIn(2)) {
      for (KXPoint& p : points) p.y = random.OneIn(5) ? INT_MAX : p.y;
    }
    const auto paint = [&](int left, int right, int y) { c.PaintSpan(left, right, y); };
    const int count = static_cast<int>(points.size());
    if (i % 2) {
      ScanEveryEdge(points, paint);
      c.drawn.image.FillPolygon(points.data(), count, c.color, c.mode);
    } else {
      WalkEveryEdge(points, paint);
      c.drawn.image.FillPolygonConvex(points.data(), count, c.color, c.mode);
    }
    ASSERT_EQ(c.drawn.bytes, c.expected.bytes) << i;
  }
}

TEST(BitDrawing, TakesAnyNumbers) {
  KXBitImage image, none;
  image.Create(50, 30, 32);
  image.Clear();
  Random random(75);
  const int numbers[] = {INT_MIN, INT_MIN + 1, -7, 0, 20, INT_MAX - 1, INT_MAX};
  const auto draw = [&] { return numbers[random.Int(0, 6)]; };
  for (int i = 0; i < 300; ++i) {
    const int width = i % 3 == 0 ? INT_MAX : draw();
    image.DrawSegment(draw(), draw(), draw(), draw(), width, random.Bits(), random.Int(0, 1));
    Points points;
    for (int k = 0; k < 6; ++k) points.push_back({draw(), draw()});
    image.FillPolygon(points.data(), 6, random.Bits(), 1);
    image.FillPolygonConvex(points.data(), 6, random.Bits(), 1);
  }
  // Ink that is nearly nothing ends by itself where it cannot change any more.
  image.Clear();
  image.DrawSegment(-100000, -100000, 100000, 100000, INT_MAX, 0x01000000, 1);
  EXPECT_EQ(image.GetBaseAddress()[3], 255);
  Points many(100000);
  for (KXPoint& p : many) p = KXPoint(random.Int(-99, 99), random.Int(-99, 99));
  image.FillPolygonConvex(many.data(), 100000, 0, 0);
  image.FillPolygon(nullptr, 5, 0, 0);
  image.FillPolygonConvex(many.data(), INT_MIN, 0, 0);
  none.FillPolygon(many.data(), 3, 0, 0);
  none.RectFill(KXRect(0, 0, 9, 9), 0, 0);
}

// --- Selections ----------------------------------------------------------------------------------

TEST(BitSelection, DrawsDashesWhereTheMaskIsSet) {
  Random random(76);
  for (int i = 0; i < 800; ++i) {
    Canvas c = AnyCanvas(random);
    BitPicture mask(random.OneIn(9) ? 8 : 1, random.Int(1, 50), random.Int(1, 20), random);
    const auto draw = [&] {
      return random.OneIn(20) ? INT_MIN : random.OneIn(20) ? INT_MAX : random.Int(-20, 60);
    };
    const tagRECT rect = {draw(), draw(), draw(), draw()};
    const int x = draw(), y = draw(), phase = static_cast<int>(random.Bits());
    const bool isDrawn = mask.image.GetBitCount() == 1 && c.drawn.image.GetBitCount() == 32;
    for (int row = 0; isDrawn && row < mask.image.GetHeight(); ++row) {
      for (int column = 0; column < mask.image.GetWidth(); ++column) {
        const i64 atX = i64{x} + column - rect.left, atY = i64{y} + row - rect.top;
        if (column < rect.left || column >= rect.right || row < rect.top || row >= rect.bottom ||
            !mask.Get(column, row)[0] || atX < 0 || atX >= c.drawn.image.GetWidth() || atY < 0 ||
            atY >= c.drawn.image.GetHeight()) {
          continue;
        }
        const int v = (i64{column} + row + phase) & 4 ? 255 : 0;
        c.expected.Set(int(atX), int(atY), {v, v, v, 255});
      }
    }
    c.drawn.image.DrawSelectArea(&mask.image, rect, x, y, phase);
    ASSERT_EQ(c.drawn.bytes, c.expected.bytes) << i;
  }
}

// There may be billions of rows without a pixel.
TEST(BitDrawing, EndsSoonWhereRowsAreEmpty) {
  KXBitImage image, mask;
  image.Create(0, 0x7FFFFF00, 32);
  mask.Create(0, 0x7FFFFF00, 1);
  const KXPoint points[] = {{0, 0}, {9, 0}, {9, INT_MAX - 1}};
  image.FillPolygon(points, 3, 0xFF000000, 0);
  image.FillPolygonConvex(points, 3, 0xFF000000, 0);
  image.DrawSegment(0, 0, 0, INT_MAX, 3, 0xFF000000, 1);
  image.DrawSelectArea(&mask, {0, 0, INT_MAX, INT_MAX}, 0, 0, 0);
  mask.DigSelectArea({0, 0, INT_MAX, INT_MAX});
}

TEST(BitSelection, HollowsWhatIsSet) {
  Random random(77);
  for (int i = 0; i < 800; ++i) {
    BitPicture picture(1, random.Int(1, 50), random.Int(1, 12), random);
    for (BYTE& byte : picture.bytes) byte = random.OneIn(3) ? byte : 255;  // also behind the rows
    const int width = picture.image.GetWidth(), height = picture.image.GetHeight();
    BitPicture expected(picture);
    std::fill(expected.bytes.begin(), expected.bytes.end(), BYTE{0});
    const int left = random.Int(-5, 5), top = random.Int(-5, 5);
    const tagRECT rect = {left, top, left + random.Int(-1, 55), top + random.Int(-1, 14)};
    const auto isSet = [&](int x, int y) {
      return x >= 0 && y >= 0 && x < width && y < height && picture.Get(x, y)[0] != 0;
    };
    for (int y = 1; y <= rect.bottom - rect.top && y < height; ++y) {
      for (int x = 1; x <= rect.right - rect.left && x < width; ++x) {
        const bool isInside =
            isSet(x - 1, y) && isSet(x + 1, y) && isSet(x, y - 1) && isSet(x, y + 1);
        expected.Set(x, y, {isSet(x, y) && !isInside});
      }
    }
    picture.image.DigSelectArea(rect);
    ASSERT_EQ(picture.bytes, expected.bytes) << i;
  }
  BitPicture turned(1, 10, 10, random);
  turned.image.DigSelectArea({INT_MAX, INT_MAX, INT_MIN, INT_MIN});  // less than nothing stays
  EXPECT_EQ(std::count(turned.bytes.begin(), turned.bytes.end(), 0), std::ssize(turned.bytes));
  BitPicture grey(8, 5, 5, random);
  const auto before = grey.bytes;
  grey.image.DigSelectArea({0, 0, 5, 5});
  EXPECT_EQ(grey.bytes, before);
}

}  // namespace
