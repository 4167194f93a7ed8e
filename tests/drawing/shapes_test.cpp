#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>

#include "kxwcmn/drawing/filledarc_internal.h"
#include "kxwcmn/drawing/rectfill_internal.h"
#include "tests/drawing/drawing_support.h"

// Rectangles, segments and ellipses in a colour, against plain forms.

namespace {

using namespace testing_kxw;

/// Stores a colour in the pixel under the cursor as its depth would.
void Store(KXVOffscreen& o, u64 color) {
  if (o.GetBitCount() == 64) {
    o.Set64BitColor(color);
  } else {
    o.SetColor(o.MakeNativeColor(Narrowed(color)));
  }
}

/// Lays a colour under the pixel under the cursor, in channels of 16 bits or of 8.
void LayBehind(KXVOffscreen& o, u64 c, bool isWide) {
  const u64 p = isWide ? o.Get64BitColor() : KXVOffscreen::QMCOLORREF32to64(o.Get32BitColor());
  const int bits = isWide ? 16 : 8;
  const u64 full = (1ull << bits) - 1;
  const auto channel = [&](u64 v, int i) { return (v >> 16 * i & 0xFFFF) >> (16 - bits); };
  const u64 pa = channel(p, 3), ca = channel(c, 3), k = (ca + 1) * (full - pa) >> bits;
  u64 result = full - ((full - pa) * (full - ca) >> bits);
  for (int i = 2; i >= 0; --i) {
    const u64 below = pa ? channel(p, i) : full, ink = (full - channel(c, i)) * k >> bits;
    result = result << bits | (below > ink ? below - ink : 0);
  }
  isWide ? o.Set64BitColor(result) : o.Set32BitColor(DWORD(result));
}

TEST(Shapes, RectanglesAndStraightLines) {
  for (unsigned seed = 0; seed < 420; ++seed) {
    SCOPED_TRACE(seed);
    const int form = int(seed / 7 % 6);
    Twins t(seed);
    KXRect rect = t.AnyRect();
    const int orientation = t.random.Int(0, 2), position = t.random.Edge(-2, 302);
    const int start = t.random.Edge(-20, 300);
    const int length = t.random.OneIn(9) ? INT_MAX : t.random.Int(-2, 290);
    if (form == 0) t.fast->RectFill64(rect, 0, t.color);
    if (form == 1) t.fast->RectFill(rect, 0, Narrowed(t.color));
    if (form == 2) t.fast->RectFill64(rect, 1, t.color, 1);
    if (form == 3) t.fast->DrawSimpleLine64(orientation, position, t.color);
    if (form == 4) t.fast->DrawSimpleSegment64(orientation, position, start, length, t.color);
    if (form == 5) {
      rect.left = -1;
      kxw::WithDepth(t.bits, [&](auto depth) {
        using Depth = decltype(depth);
        kxw::FillRect<Depth>(*t.fast, rect, Depth::FillOf(Depth::From64(t.color)), /*streamed=*/0);
      });
    }
    if (form == 3 || form == 4) {
      const int from = form == 4 ? start : 0,
                end = form == 4 && length < 400 ? start + length : 400;
      rect = orientation == 1 ? KXRect(position, from, position + 1, end)
                              : KXRect(from, position, end, position + 1);
    }
    if (form == 1) t.color = KXVOffscreen::QMCOLORREF32to64(Narrowed(t.color));
    ForEachPixel(*t.plain, rect, [&](int, int) {
      if (form == 2) {
        LayBehind(*t.plain, t.color, t.bits == 64);
      } else {
        Store(*t.plain, t.color);
      }
    });
    ASSERT_TRUE(t.Agree());
  }
}

TEST(Shapes, ClearingUsesTheClearColour) {
  const u64 expected[] = {0, 0, 0x5A, 0x80565656, 0x563412, 0x80563412, 0x8000555544443333};
  for (int i = 0; i < 7; ++i) {
    SCOPED_TRACE(i);
    const ImagePtr image = MakeImage(kAllDepths[i], 600, 300, 72, RoomyManager());
    image->SetClearColor(BYTE{0x5A});
    image->SetClearColor(DWORD{0x80563412});
    if (i == 6) static_cast<KXVOffscreen64Bit&>(*image).SetClearQMCOLORREF64(expected[i]);
    const auto read = [&](int x, int y) {
      KXVOffscreenAutoLock lock(image.get(), x, y, 0);
      return i == 6 ? image->Get64BitColor() : image->GetColor();
    };
    image->RectFill(KXRect(0, 0, 512, 300), 0, 0xFF000000);
    image->ClrRect(tagRECT{0, 0, 900, 257});
    for (const int block : {0, 1, 2}) EXPECT_FALSE(image->GetBlockExist(block));
    // One pixel less than a block, or the image's edge, and it stays.
    image->RectFill(image->GetRect(), 0, 0xFF000000);
    image->ClrRect(tagRECT{0, 0, 255, 256});
    image->ClrRect(tagRECT{512, 0, 600, 256});
    ASSERT_TRUE(image->GetBlockExist(0) && image->GetBlockExist(2));
    EXPECT_EQ(read(0, 3), expected[i]);
    EXPECT_NE(read(255, 3), expected[i]);
    EXPECT_EQ(read(598, 255), i == 0 ? 1 : expected[i]);  // at 1 bit a pattern of eight pixels
  }
}

/// The outline of a square brush of side `w` on its way: the hull of its squares at both ends.
std::vector<KXPoint> OutlineOf(int x1, int y1, int x2, int y2, int w) {
  if (x1 > x2) std::swap(x1, x2), std::swap(y1, y2);
  const int s = w - 1;
  if (y1 > y2) {
    return {{x2, y2}, {x2 + s, y2}, {x2 + s, y2 + s}, {x1 + s, y1 + s}, {x1, y1 + s}, {x1, y1}};
  }
  return {{x2 + s, y2 + s}, {x2, y2 + s}, {x1, y1 + s}, {x1, y1}, {x1 + s, y1}, {x2 + s, y2}};
}

TEST(Shapes, Segments) {
  for (unsigned seed = 0; seed < 500; ++seed) {
    SCOPED_TRACE(seed);
    Twins t(seed);
    const int reach = t.random.OneIn(4) ? 300000 : t.random.OneIn(2) ? 20 : 400;
    const int x1 = t.random.Int(-reach, reach), y1 = t.random.Int(-reach, reach);
    int x2 = t.random.Int(-reach, reach), y2 = t.random.Int(-reach, reach);
    if (reach > 400) x2 = 300 - x1 + t.random.Int(-200, 200), y2 = 280 - y1;  // through the image
    if (t.random.OneIn(4)) x2 = x1;
    if (t.random.OneIn(4)) y2 = y1;
    if (t.random.OneIn(8)) y2 = y1 + (x2 - x1) / 2;
    const bool isDiagonal = reach == 20 && t.random.OneIn(2);  // or a little off
    if (isDiagonal) y2 = y1 + (t.random.OneIn(2) ? -1 : 1) * (x2 - x1) * t.random.Int(19, 21) / 20;
    const int width = !isDiagonal && t.random.OneIn(2) ? 1 : t.random.Int(-1, reach == 20 ? 50 : 9);
    const int adjust = isDiagonal ? 1 : t.random.Int(0, 2);
    const int behind = t.random.Int(0, 2);
    const bool second = t.random.OneIn(2);
    (*t.fast.*(second ? &KXVOffscreen::DrawSegment642 : &KXVOffscreen::DrawSegment64))(
        x1, y1, x2, y2, width, t.color, behind, adjust);

    int w = width, offset = 0;
    if (adjust == 1 && x1 != x2 && y1 != y2) {
      const double theta = std::atan2(-(y2 - y1), x2 - x1);
      const double degrees = std::fabs(theta * 57.29577951308232);
      const double f =
          std::fabs(degrees >= 45 && degrees <= 135 ? std::sin(theta) : std::cos(theta));
      w = std::max(std::min(int(second ? f * (width + 0.99) : f * width + 0.99), width), 1);
    }
    if (adjust == 1 && !second) {
      offset = int((width - w) * 0.5);
      w = std::max(w, width - 2 * offset);
    }
    if (behind == 0 && w >= 2) {
      const std::vector<KXPoint> outline = OutlineOf(x1, y1, x2, y2, w);
      t.plain->FillPolygon64(outline.data(), int(outline.size()), nullptr, t.color, 1);
    } else {
      const int dx = std::abs(x2 - x1), dy = std::abs(y2 - y1);
      const int major = std::max(dx, dy), minor = std::min(dx, dy);
      int err = 2 * minor - major, x = x1 + offset, y = y1 + offset;
      for (int n = 0; n <= major; ++n) {
        ForEachPixel(*t.plain, KXRect(x, y, x + w, y + w), [&](int, int) {
          if (behind == 1) {
            LayBehind(*t.plain, t.color, t.bits == 64);
          } else {
            Store(*t.plain, t.color);
          }
        });
        const bool both = err >= 0;
        err += 2 * (both ? minor - major : minor);
        if (both || dx >= dy) x += x2 < x1 ? -1 : 1;
        if (both || dx < dy) y += y2 < y1 ? -1 : 1;
      }
    }
    ASSERT_TRUE(t.Agree());
  }
  // Ends as far apart as can be: the middle of the line is drawn, and drawn at once, however often.
  const ImagePtr image = MakeImage(8, 100, 100), deep = Scribbled(64, 1000, 1000, 1);
  image->DrawSegment(INT_MIN, INT_MIN, INT_MAX, INT_MAX, 1, 0xFF000000, 0, 0);
  deep->DrawSegment64(INT_MIN, 3, INT_MAX, 970, INT_MAX, 0, 1, 0);
  KXVOffscreenAutoLock lock(image.get(), 50, 50, 0), deepLock(deep.get(), 500, 500, 0);
  EXPECT_EQ(image->Get8BitColor(), 255);
  EXPECT_EQ(deep->Get64BitColor() >> 48, 65535u);
}

TEST(Shapes, StampsOfFaintColoursAddUpOneByOne) {
  const u64 alphas[] = {0, 1, 2, 254, 255, 256, 1000, 40000, 65534, 65535};
  for (unsigned seed = 0; seed < 50; ++seed) {
    SCOPED_TRACE(seed);
    Twins t(seed, 64, 12, 2);
    const int times = t.random.OneIn(2) ? t.random.Int(1, 300) : t.random.Int(1, 20000);
    t.color = (t.color & 0xFFFFFFFFFFFF) | alphas[seed % 10] << 48;
    // Every pixel of a row lies under as many stamps as the brush is wide.
    t.fast->DrawSegment64(-20000, 2 - times, 20000, 2 - times, times, t.color, 1, 0);
    ForEachPixel(*t.plain, KXRect(0, times > 1 ? 0 : 1, 12, 2), [&](int, int) {
      for (int i = 0; i < times; ++i) LayBehind(*t.plain, t.color, true);
    });
    ASSERT_TRUE(t.Agree());
  }
}

/// Writes the pixel under the cursor as a simple row does.
void WriteInRow(KXVOffscreen& o, u64 color) {
  const DWORD narrow = Narrowed(color);
  if (o.GetBitCount() == 1) return o.Set1BitColor((narrow & 0x80808080) != 0);
  if (o.GetBitCount() == 8) return o.Set8BitColor(BYTE(255 - (narrow & 255)));
  if (o.GetBitCount() == 64) return o.Set64BitColor(color);
  return o.SetColor(narrow);
}

/// The walk along an eighth of a circle, step by step.
template <class Op>
void WalkArc(i64 radius, Op op) {
  i64 e = radius, s = 0;
  for (i64 x = 0, y = radius; y >= x; ++x, s += 2) {
    op(x, y);
    e += 1 - s;
    if (e < 0) e += 2 * y-- - 2;
  }
}

TEST(Shapes, FilledEllipses) {
  for (i64 radius = 1; radius < 600; ++radius) {
    const kxw::FilledArc arc(radius, radius);
    WalkArc(radius, [&](i64 x, i64 y) { ASSERT_EQ(arc.YAt(x), y) << radius << ", " << x; });
  }
  for (unsigned seed = 0; seed < 210; ++seed) {
    SCOPED_TRACE(seed);
    Twins t(seed);
    const int reach = t.random.OneIn(3) ? 9000 : t.random.OneIn(2) ? 12 : 200;
    const int left = t.random.Int(-reach, 299), top = t.random.Int(-reach, 279);
    const int right = left + t.random.Int(-9, 2 * reach),
              bottom = top + t.random.Int(-9, 2 * reach);
    if (t.random.OneIn(3)) t.color = u64(t.random.Int(0, 3)) * 257;  // what 2 bits hold
    if (t.random.OneIn(2)) {
      t.fast->ArcFill64(left, top, right, bottom, t.color, t.clip);
    } else {
      t.color = KXVOffscreen::QMCOLORREF32to64(Narrowed(t.color));
      t.fast->ArcFill(left, top, right, bottom, Narrowed(t.color), t.clip);
    }
    const int a = std::abs(right - left) / 2, b = std::abs(bottom - top) / 2;
    const int cx = left + a, cy = top + b, radius = std::max(a, b);
    const bool meets = left < kWidth && right > 0 && top < kHeight && bottom > 0;
    const auto rows = [&](i64 half, i64 distance) {
      for (const i64 y : {cy - distance, cy + distance}) {
        const KXRect row(int(cx - half), int(y), int(cx + half) + 1, int(y) + 1);
        ForEachPixel(*t.plain, row & t.bounds, [&](int, int) { WriteInRow(*t.plain, t.color); });
      }
    };
    WalkArc(meets && radius > 0 ? radius : -1, [&](i64 x, i64 y) {
      rows(a <= b ? y * a / radius : y, a <= b ? x : x * b / radius);
      rows(a <= b ? x * a / radius : x, a <= b ? y : y * b / radius);
    });
    ASSERT_TRUE(t.Agree());
  }
  // As large as can be, and at once.
  const ImagePtr image = MakeImage(8, 100, 100);
  image->ArcFill(INT_MIN, INT_MIN, INT_MAX, INT_MAX, 0, nullptr);
  image->ArcFill(INT_MIN, 40, INT_MAX, 60, 0, nullptr);
  KXVOffscreenAutoLock lock(image.get(), 99, 99, 0);
  EXPECT_EQ(image->Get8BitColor(), 255);
}

}  // namespace
