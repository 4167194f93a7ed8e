#include <gtest/gtest.h>

#include <climits>
#include <cmath>

#include "tests/classic/painting.h"
#include "tests/classic/shapes_model.h"

// Lines and shapes against the walks that define them, pixel by pixel.

namespace {

using namespace classic_test;
constexpr int kWidth = PaintedTwins::kWidth, kHeight = PaintedTwins::kHeight;

bool IsInside(int x, int y) { return x >= 0 && x < kWidth && y >= 0 && y < kHeight; }

/// A row of pixels as fills paint them: pure black alone is black at 1 bit, alphas count at 32.
void FillPlainly(KXOffscreen& image, int left, int right, int y, DWORD fore) {
  for (int x = std::max(left, 0); x <= right && x < kWidth; ++x) {
    if (!IsInside(x, y)) continue;
    const int bits = image.GetBitCount();
    if (bits == 1) {
      Model::Set(image, 1, (fore & 0xFFFFFF) == 0, x, y);
    } else if (bits == 8) {
      Model::Set(image, 8, static_cast<DWORD>(255 - Model::Sum(fore) / 3), x, y);
    } else {
      Model::Set(image, 32, fore, x, y);
    }
  }
}

TEST(ClassicDrawing, RowsAreCutToTheImage) {
  for (unsigned seed = 0; seed < 400; ++seed) {
    SCOPED_TRACE(seed);
    PaintedTwins twins(seed);
    Random& random = twins.random;
    const int left = random.Int(-20, 140), right = left + random.Int(-3, 160);
    const int y = random.Int(-2, kHeight + 1);
    if (random.OneIn(3)) twins.image->SetForeColor(DWORD{0x55000000});
    if (random.OneIn(2)) {
      twins.image->FillLineRow(left, right, y);
    } else {
      twins.image->FillLineRow(right - left + 1, KXOffscreenCursor(twins.image.get(), left, y));
    }
    FillPlainly(*twins.twin, left, right, y, twins.image->GetForeColor());
    ASSERT_EQ(BytesOf(*twins.image), BytesOf(*twins.twin));
  }
}

void LinePlainly(KXOffscreen& image, int x1, int y1, int x2, int y2, int width, DWORD fore) {
  for (const KXPoint& at : WalkLine({x1, y1}, {x2, y2})) {
    for (int row = 0; row < width; ++row) {
      for (int column = 0; column < width; ++column) {
        const int px = at.x - width / 2 + column, py = at.y - width / 2 + row;
        if (!IsInside(px, py)) break;
        Model::Set(image, 24, fore, px, py);
      }
    }
  }
}

TEST(ClassicDrawing, LinesAreSquaresAlongAWalk) {
  for (unsigned seed = 0; seed < 800; ++seed) {
    SCOPED_TRACE(seed);
    PaintedTwins twins(seed);
    Random& random = twins.random;
    const int x1 = random.Int(-30, 160), y1 = random.Int(-30, 120);
    const int x2 = random.OneIn(4) ? x1 : random.Int(-30, 160);
    const int y2 = random.OneIn(4) ? y1 : random.Int(-30, 120), width = random.Int(-1, 9);
    const DWORD fore = twins.image->GetForeColor();
    if (random.OneIn(5)) {
      twins.image->RectFrame({x1, y1, x2, y2}, width);
      LinePlainly(*twins.twin, x1, y1, x2 - 1, y1, width, fore);
      LinePlainly(*twins.twin, x2 - 1, y1, x2 - 1, y2 - 1, width, fore);
      LinePlainly(*twins.twin, x1, y2 - 1, x2 - 1, y2 - 1, width, fore);
      LinePlainly(*twins.twin, x1, y1, x1, y2 - 1, width, fore);
    } else {
      twins.image->Line(x1, y1, x2, y2, width);
      LinePlainly(*twins.twin, x1, y1, x2, y2, width, fore);
    }
    ASSERT_EQ(BytesOf(*twins.image), BytesOf(*twins.twin));
  }
}

/// The walk along an eighth of a circle, which is scaled on one axis.
void EllipsePlainly(KXOffscreen& image, int left, int top, int right, int bottom, DWORD fore) {
  const int a = std::abs(right - left) / 2, b = std::abs(bottom - top) / 2;
  const int cx = left + a, cy = top + b, radius = std::max(a, b);
  if (radius == 0 || left >= kWidth || right <= 0 || top >= kHeight || bottom <= 0) return;
  const auto fill = [&](int half, int distance) {
    FillPlainly(image, cx - half, cx + half, cy - distance, fore);
    FillPlainly(image, cx - half, cx + half, cy + distance, fore);
  };
  int r = radius, decision = radius;
  for (int i = 0; r >= i; ++i) {
    if (a <= b) {
      fill(r * a / radius, i);
      fill(i * a / radius, r);
    } else {
      fill(r, i * b / radius);
      fill(i, r * b / radius);
    }
    decision += 1 - 2 * i;
    if (decision < 0) decision += 2 * r-- - 2;
  }
}

void CirclePlainly(PaintedTwins& twins, int left, int top, int right, int bottom) {
  const double r = (right - left) * 0.5;
  const int centre = (left + right) / 2, height = bottom - top;
  for (int i = 0; i <= height; ++i) {
    const int d = height / 2 - i;
    if (d * d > r * r) continue;
    const double half = std::sqrt(r * r - d * d);
    const double x0 = centre - half, x1 = centre + half;
    twins.PaintSpan(static_cast<int>(x0 + 0.5), static_cast<int>(x1 + 0.5), top + i);
  }
}

TEST(ClassicDrawing, EllipsesAndCircles) {
  int inside = 0;
  for (unsigned seed = 0; seed < 800; ++seed) {
    SCOPED_TRACE(seed);
    PaintedTwins twins(seed);
    Random& random = twins.random;
    const bool isWide = random.OneIn(3);
    const int left = random.Int(isWide ? -90 : 0, 100), right = left + random.Int(-2, 140);
    const int top = random.Int(isWide ? -90 : 0, 70);
    const int bottom = top + (random.OneIn(2) ? right - left : random.Int(-2, 90));
    if (random.OneIn(2)) {
      twins.image->ArcFill(left, top, right, bottom);
      EllipsePlainly(*twins.twin, left, top, right, bottom, twins.image->GetForeColor());
    } else {
      twins.image->TrueArcFill(left, top, right, bottom);
      if (left >= 0 && top >= 0 && left <= right && right <= kWidth && bottom <= kHeight) {
        CirclePlainly(twins, left, top, right, bottom);
        ++inside;
      }
    }
    ASSERT_EQ(BytesOf(*twins.image), BytesOf(*twins.twin));
  }
  EXPECT_GT(inside, 50);
}

DWORD LaidOver(DWORD pixel, DWORD fore) {
  const int p = static_cast<int>(pixel >> 24), alpha = static_cast<int>(fore >> 24);
  if (p == 0) return fore;
  const double a = alpha * 0.00392156862745098, b = 1 - a, t = p * 0.00392156862745098;
  const double w = (1 - t) * b + a, v = b * t;
  DWORD color = static_cast<DWORD>(std::min(p + alpha, 255)) << 24;
  for (int shift = 0; shift < 24; shift += 8) {
    color |= static_cast<DWORD>((fore >> shift & 255) * w + (pixel >> shift & 255) * v) << shift;
  }
  return color;
}

DWORD MixedIn(DWORD pixel, DWORD fore) {
  const DWORD a = fore >> 24 == 255 ? 256 : fore >> 24, b = 256 - a;
  DWORD color = 0xFF000000;
  for (int shift = 0; shift < 24; shift += 8) {
    color |= ((pixel >> shift & 255) * b + (fore >> shift & 255) * a) >> 8 << shift;
  }
  return color;
}

TEST(ClassicDrawing, TranslucentRowsFollowTheirFormulas) {
  for (unsigned seed = 0; seed < 300; ++seed) {
    SCOPED_TRACE(seed);
    PaintedTwins twins(seed % 8 ? seed * 4 + 3 : seed / 8);  // seven of eight at 32 bits
    Random& random = twins.random;
    const int left = random.Int(-20, 140), y = random.Int(-1, kHeight), kind = random.Int(0, 2);
    const int right = kind == 2 ? left : left + random.Int(-3, 160);
    if (random.OneIn(4)) twins.image->SetForeColor(0xFF000000 | random.Bits());
    const DWORD fore = twins.image->GetForeColor();
    if (kind == 2) {
      twins.image->TransparentPlot(left, y);
    } else {
      twins.image->TransrateFillLineRow(left, right, y, kind);
    }
    for (int x = left; x <= right && twins.image->GetBitCount() == 32; ++x) {
      if (!IsInside(x, y)) continue;
      const DWORD old = Model::Get(*twins.twin, 32, x, y);
      Model::Set(*twins.twin, 32, kind == 1 ? LaidOver(old, fore) : MixedIn(old, fore), x, y);
    }
    ASSERT_EQ(BytesOf(*twins.image), BytesOf(*twins.twin));
  }
}

// Nothing below the last row, which an image of one row shows.
TEST(ClassicDrawing, TakesAnyCoordinates) {
  KXOffscreen image;
  image.Create(40, 1, 32, 0xFFFFFFFF, 1);
  image.FillLineRow(0, 39, 0);  // not locked
  image.Line(0, 0, 39, 0, 1);
  image.ArcFill(0, 0, 40, 9);
  image.TrueArcFill(0, 0, 1, 1);
  image.Lock();
  const std::vector<BYTE> blank = BytesOf(image);
  constexpr int kEnds[] = {INT_MIN, INT_MIN + 1, INT_MAX - 1, INT_MAX};
  for (int a : kEnds) {
    image.FillLineRow(0, 39, a);
    image.FillLineRow(a, KXOffscreenCursor(&image, 40, 0));
    image.TransrateFillLineRow(a, a, 0, 1);
    image.TransparentPlot(0, a);
    for (int b : kEnds) {
      image.Line(a, b, b, b, 9);
      image.RectFrame({a, a, b, b}, 2);
      image.TrueArcFill(a, a, b, b);
      image.ArcFill(a, b, b, INT_MAX);
    }
  }
  image.FillLineRow(0, 39, 1);
  EXPECT_EQ(BytesOf(image), blank);
  image.ArcFill(INT_MIN, INT_MIN, INT_MAX, INT_MAX);
  image.Line(INT_MIN, -1, INT_MAX, 1, INT_MAX);
  image.FillLineRow(INT_MAX, KXOffscreenCursor(&image, INT_MIN + 100, 0));
  image.FillLineRow(INT_MIN, INT_MAX, 0);
  EXPECT_EQ(BytesOf(image), std::vector<BYTE>(160));
}

}  // namespace
