#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>

#include "kxwcmn/drawing/filledarc_internal.h"
#include "tests/drawing/drawing_support.h"

// Rectangles, segments, filled circles and ellipses in a colour, against plain forms.

namespace {

using namespace testing_kxw;

/// Stores a colour in the pixel under the cursor as its depth would.
void Store(KXVOffscreen& o, u64 color) {
  if (o.GetBitCount() == 64) {
    o.Set64BitColor(color);
  } else {
    o.SetColor(o.MakeNativeColor(KXVOffscreen::QMCOLORREF64to32(color)));
  }
}

u64 Behind(u64 p, u64 c, int bits) {
  const u64 full = (1ull << bits) - 1;
  const u64 pa = p >> 48, ca = c >> 48, k = (ca + 1) * (full - pa) >> bits;
  u64 result = full - ((full - pa) * (full - ca) >> bits);
  for (int shift = 32; shift >= 0; shift -= 16) {
    const u64 channel = pa ? p >> shift & 0xFFFF : full;
    const u64 ink = (full - (c >> shift & 0xFFFF)) * k >> bits;
    result = result << 16 | (channel > ink ? channel - ink : 0);
  }
  return result;
}

u64 Spread(DWORD c) {
  return (c & 0xFFull) | (c & 0xFF00ull) << 8 | (c & 0xFF0000ull) << 16 | (c & 0xFF000000ull) << 24;
}
DWORD Gather(u64 c) {
  return DWORD((c & 0xFF) | (c >> 8 & 0xFF00) | (c >> 16 & 0xFF0000) | (c >> 24 & 0xFF000000));
}

void LayBehind(KXVOffscreen& o, u64 color, bool isWide) {
  if (isWide) {
    o.Set64BitColor(Behind(o.Get64BitColor(), color, 16));
  } else {
    const DWORD narrow = KXVOffscreen::QMCOLORREF64to32(color);
    o.Set32BitColor(Gather(Behind(Spread(o.Get32BitColor()), Spread(narrow), 8)));
  }
}

TEST(Shapes, RectanglesAndStraightLines) {
  for (unsigned seed = 0; seed < 420; ++seed) {
    Random random(seed);
    const int bits = kAllDepths[seed % 7], form = int(seed / 7 % 5);
    SCOPED_TRACE(testing::Message() << bits << " bits, form " << form << ", seed " << seed);
    const ImagePtr fast = Scribbled(bits, 300, 280, seed), plain = Scribbled(bits, 300, 280, seed);
    const u64 color = AnyColor64(random);
    const DWORD narrow = KXVOffscreen::QMCOLORREF64to32(color);
    KXRect rect = AnyRect(random, 300, 280);
    const int orientation = random.Int(0, 2), position = random.Edge(-2, 302);
    const int start = random.Edge(-20, 300),
              length = random.OneIn(9) ? INT_MAX : random.Int(-2, 290);
    if (form == 2) fast->RectFill64(rect, 1, color, 1);
    if (form == 3) fast->DrawSimpleLine64(orientation, position, color);
    if (form == 4) fast->DrawSimpleSegment64(orientation, position, start, length, color);
    if (form >= 3) {
      const int end = int(std::min<i64>(i64(start) + std::max(length, 0), 1000));
      const int from = form == 4 ? start : 0, to = form == 4 ? end : 1000;
      rect = orientation == 1 ? KXRect(position, from, position + 1, to)
                              : KXRect(from, position, to, position + 1);
    }
    if (form == 0) fast->RectFill64(rect, 0, color);
    if (form == 1) fast->RectFill(rect, 0, narrow);
    ForEachPixel(*plain, rect, [&](int, int) {
      if (form == 2) {
        LayBehind(*plain, color, bits == 64);
      } else {
        Store(*plain, form == 1 ? KXVOffscreen::QMCOLORREF32to64(narrow) : color);
      }
    });
    ASSERT_TRUE(BytesOf(*fast) == BytesOf(*plain));
  }
}

TEST(Shapes, ClearingUsesTheClearColour) {
  for (int bits : kAllDepths) {
    SCOPED_TRACE(bits);
    const ImagePtr image = MakeImage(bits, 600, 300, 72, RoomyManager());
    image->SetClearColor(BYTE{0x5A});
    image->SetClearColor(DWORD{0x80563412});
    if (bits == 64)
      static_cast<KXVOffscreen64Bit&>(*image).SetClearQMCOLORREF64(0x8000555544443333);
    image->RectFill(image->GetRect(), 0, 0xFF000000);
    // One block whole, others in part, and one that has no memory.
    image->DestroyBlock(2);
    image->ClrRect(tagRECT{0, 0, 900, 257});
    EXPECT_FALSE(image->GetBlockExist(0));
    EXPECT_FALSE(image->GetBlockExist(1));
    EXPECT_FALSE(image->GetBlockExist(2));
    image->RectFill(image->GetRect(), 0, 0xFF000000);
    image->ClrRect(tagRECT{0, 0, 255, 256});
    image->ClrRect(tagRECT{512, 0, 600, 256});  // cut by the image's edge: not whole
    ASSERT_TRUE(image->GetBlockExist(0) && image->GetBlockExist(2));
    KXVOffscreenAutoLock lock(image.get(), 0, 3, 0);
    const auto read = [&] { return bits == 64 ? image->Get64BitColor() : image->GetColor(); };
    const u64 expected = bits == 1    ? 0
                         : bits == 2  ? 0
                         : bits == 8  ? 0x5A
                         : bits == 16 ? 0x80565656
                         : bits == 24 ? 0x563412
                         : bits == 32 ? 0x80563412
                                      : 0x8000555544443333;
    EXPECT_EQ(read(), expected);
    image->MoveCursor(599, 255);
    EXPECT_TRUE(bits == 1 ||
                read() == expected);  // the pattern at 1 bit repeats every eight pixels
    image->MoveCursor(255, 3);
    EXPECT_NE(read(), expected);
  }
}

TEST(Shapes, RectanglesByTheRowPainter) {
  for (unsigned seed = 0; seed < 200; ++seed) {
    Random random(seed);
    const int bits = kAllDepths[seed % 6];
    SCOPED_TRACE(testing::Message() << bits << " bits, seed " << seed);
    const ImagePtr fast = Scribbled(bits, 300, 280, seed), plain = Scribbled(bits, 300, 280, seed);
    const ImagePtr clipImage = Scribbled(1, 300, 280, seed + 1);
    KXRect rect = AnyRect(random, 300, 280);
    const KXRect clip = random.OneIn(2) ? AnyRect(random, 300, 280) : fast->GetRect();
    if (random.OneIn(3)) rect.right = rect.left, rect.bottom = rect.top;
    const DWORD color = AnyColor(random);
    BYTE pattern[16];
    for (BYTE& byte : pattern) byte = BYTE(random.Int(0, 1));
    BYTE* const stipple = random.OneIn(2) ? pattern : nullptr;
    KXVOffscreenAutoLock clipLock(clipImage.get(), 0, 7, 0);
    KXVOffscreen* const gate = random.OneIn(3) ? clipImage.get() : nullptr;
    const int mode = random.Int(0, 3);
    fast->RectFill(rect, color, mode, gate, &clip, stipple);
    const bool isPoint = rect.left == rect.right && rect.top == rect.bottom;
    KXRect part = rect & clip;
    if (isPoint)
      part = clip.PtInRect(rect.TopLeft()) ? KXRect(rect.left, rect.top, rect.left + 1, rect.top)
                                           : KXRect();
    // The row at the bottom is painted, the column at the right is not.
    if (isPoint ? clip.PtInRect(rect.TopLeft()) : !part.IsRectEmpty()) {
      KXVOffscreenAutoLock lock(plain.get(), 1);
      for (int y = std::max(part.top, 0); y <= std::min(part.bottom, 279); ++y) {
        plain->MoveCursor(-1, y);
        plain->FillLineRowForPolygon(part.left, part.right - 1, color, mode, gate, 0,
                                     stipple ? stipple + (y & 3) * 4 : nullptr);
      }
    }
    EXPECT_EQ(clipImage->GetCursorPosY(), 7);
    ASSERT_TRUE(BytesOf(*fast) == BytesOf(*plain));
  }
}

/// The convex hull of the squares at both ends of a brush's way.
std::vector<KXPoint> HullOf(int x1, int y1, int x2, int y2, int w) {
  std::vector<KXPoint> corners, hull;
  for (const int d : {0, w - 1}) {
    for (const int e : {0, w - 1}) {
      corners.emplace_back(x1 + d, y1 + e);
      corners.emplace_back(x2 + d, y2 + e);
    }
  }
  std::sort(corners.begin(), corners.end(),
            [](const KXPoint& a, const KXPoint& b) { return a.x != b.x ? a.x < b.x : a.y < b.y; });
  for (int half = 0; half < 2; ++half) {
    const std::size_t start = hull.size();
    for (const KXPoint& p : corners) {
      while (hull.size() >= start + 2) {
        const KXPoint a = hull[hull.size() - 2], b = hull.back();
        if (i64(b.x - a.x) * (p.y - a.y) > i64(b.y - a.y) * (p.x - a.x)) break;
        hull.pop_back();
      }
      hull.push_back(p);
    }
    hull.pop_back();
    std::reverse(corners.begin(), corners.end());
  }
  return hull;
}

TEST(Shapes, Segments) {
  for (unsigned seed = 0; seed < 500; ++seed) {
    Random random(seed);
    const int bits = kAllDepths[seed % 7];
    const int reach = random.OneIn(4) ? 300000 : random.OneIn(2) ? 20 : 400;
    const int x1 = random.Int(-reach, reach), y1 = random.Int(-reach, reach);
    const int x2 = random.OneIn(4) ? x1 : random.Int(-reach, reach);
    const int y2 = random.OneIn(4) ? y1 : random.Int(-reach, reach);
    const int width = random.OneIn(2) ? 1 : random.Int(-1, 9), adjust = random.Int(0, 2);
    const int behind = random.Int(0, 2);
    const bool second = random.OneIn(2), isWide = bits == 64 && random.OneIn(2);
    SCOPED_TRACE(testing::Message() << bits << " bits, seed " << seed);
    const ImagePtr fast = Scribbled(bits, 300, 280, seed), plain = Scribbled(bits, 300, 280, seed);
    const u64 color = AnyColor64(random);
    const DWORD narrow = KXVOffscreen::QMCOLORREF64to32(color);
    if (bits != 64 || isWide) {
      second ? fast->DrawSegment642(x1, y1, x2, y2, width, color, behind, adjust)
             : fast->DrawSegment64(x1, y1, x2, y2, width, color, behind, adjust);
    } else {
      second ? fast->DrawSegment2(x1, y1, x2, y2, width, narrow, behind, adjust)
             : fast->DrawSegment(x1, y1, x2, y2, width, narrow, behind, adjust);
    }

    int w = width, offset = 0;
    if (adjust == 1 && x1 != x2 && y1 != y2) {
      const double theta = std::atan2(-(y2 - y1), x2 - x1) * 57.29577951308232;
      const bool steep = (theta >= 45 && theta <= 135) || (theta >= -135 && theta <= -45);
      const double f = std::fabs(steep ? std::sin(theta / 57.29577951308232)
                                       : std::cos(theta / 57.29577951308232));
      w = std::max(std::min(int(second ? f * (width + 0.99) : f * width + 0.99), width), 1);
    }
    if (adjust == 1 && !second) {
      offset = int((width - w) * 0.5);
      w = std::max(w, width - 2 * offset);
    }
    if (behind == 0 && w >= 2) {
      const std::vector<KXPoint> hull = HullOf(x1, y1, x2, y2, w);
      if (isWide || bits != 64) {
        plain->FillPolygon64(hull.data(), int(hull.size()), nullptr, color, 1);
      }
    } else {
      const int dx = std::abs(x2 - x1), dy = std::abs(y2 - y1);
      const int major = std::max(dx, dy), minor = std::min(dx, dy);
      int err = 2 * minor - major, x = x1 + offset, y = y1 + offset;
      for (int n = 0; n <= major; ++n) {
        ForEachPixel(*plain, KXRect(x, y, x + w, y + w), [&](int, int) {
          if (behind == 1) {
            LayBehind(*plain, color, isWide);
          } else if (isWide || bits != 64) {
            Store(*plain, color);
          }
        });
        const bool both = err >= 0;
        err += 2 * (both ? minor - major : minor);
        if (both || dx >= dy) x += x2 < x1 ? -1 : 1;
        if (both || dx < dy) y += y2 < y1 ? -1 : 1;
      }
    }
    ASSERT_TRUE(BytesOf(*fast) == BytesOf(*plain));
  }
  // Ends as far apart as can be: the middle of the line is drawn, and drawn at once.
  const ImagePtr image = MakeImage(8, 100, 100);
  image->DrawSegment(INT_MIN, INT_MIN, INT_MAX, INT_MAX, 1, 0xFF000000, 0, 0);
  image->DrawSegment(INT_MIN, INT_MIN, INT_MAX, INT_MAX, INT_MAX, 0xFF000000, 0, 1);
  KXVOffscreenAutoLock lock(image.get(), 50, 50, 0);
  EXPECT_EQ(image->Get8BitColor(), 255);
}

TEST(Shapes, FilledCircles) {
  for (unsigned seed = 0; seed < 240; ++seed) {
    Random random(seed);
    const int bits = kAllDepths[seed % 7];
    SCOPED_TRACE(testing::Message() << bits << " bits, seed " << seed);
    const ImagePtr fast = Scribbled(bits, 300, 280, seed), plain = Scribbled(bits, 300, 280, seed);
    const ImagePtr clipImage = Scribbled(1, 290, 300, seed + 1);
    const int d = random.OneIn(2) ? random.Int(-1, 7) : random.Int(8, 400);
    const int left = random.Edge(-20, 290), top = random.Edge(-20, 270);
    const KXRect clip = AnyRect(random, 300, 280);
    const bool hasClip = random.OneIn(2);
    const KXRect bounds = hasClip ? clip : fast->GetRect();
    const KXPoint clipOffset(random.Int(-9, 9), random.Int(-9, 9));
    const u64 color = AnyColor64(random);
    BYTE pattern[16];
    for (BYTE& byte : pattern) byte = BYTE(random.Int(0, 1));
    BYTE* const stipple = random.OneIn(2) ? pattern : nullptr;
    const int mode = random.Int(0, 3);
    KXVOffscreenAutoLock clipLock(clipImage.get(), 0, 7, 0);
    KXVOffscreen* const gate = random.OneIn(3) ? clipImage.get() : nullptr;
    fast->CircleFill64(left, top, d, color, mode, gate, clipOffset, hasClip ? &clip : nullptr,
                       stipple);
    static constexpr int kSmall[3][3][2] = {{{0, 0}}, {{0, 1}, {0, 1}}, {{1, 1}, {0, 2}, {1, 1}}};
    KXVOffscreenAutoLock lock(plain.get(), 1);
    for (int i = 0; i < std::max(d, 1); ++i) {
      const int y = top + i;
      if (y < bounds.top || y >= bounds.bottom || y < 0 || y >= 280) continue;
      const double r = d * 0.5, cx = left + r, t = r - 0.5 - i;
      int xl, xr;
      if (d > 3) {
        xl = int(cx - std::sqrt(r * r - t * t));
        xr = 2 * int(cx) - xl - (d % 2 ? 0 : 1);
      } else {
        xl = left + kSmall[std::max(d, 1) - 1][i][0];
        xr = left + kSmall[std::max(d, 1) - 1][i][1];
      }
      xl = std::max(xl, bounds.left);
      xr = int(std::min<i64>(xr, i64(bounds.right) - 1));
      if (xl > xr) continue;
      if (gate) gate->MoveCursorY(plain->ConvertPointY(gate, clipOffset.y + y));
      plain->MoveCursor(-1, y);
      plain->FillLineRowForPolygon64(xl, xr, color, mode, gate, clipOffset.x,
                                     stipple ? stipple + (y & 3) * 4 : nullptr);
    }
    ASSERT_TRUE(BytesOf(*fast) == BytesOf(*plain));
  }
}

/// The walk along an eighth of a circle, step by step.
template <class Op>
void WalkArc(i64 radius, Op op) {
  i64 x = 0, y = radius, e = radius, s = 0;
  for (; y >= x; ++x, s += 2) {
    op(x, y);
    e += 1 - s;
    if (e < 0) {
      e += 2 * y - 2;
      --y;
    }
  }
}

TEST(Shapes, FilledEllipses) {
  for (i64 radius = 1; radius < 600; ++radius) {
    const kxw::FilledArc arc(radius, radius);
    i64 lastX = 0;
    WalkArc(radius, [&](i64 x, i64 y) {
      ASSERT_EQ(arc.YAt(x), y) << radius << ", " << x;
      ASSERT_GE(arc.LastXAt(y), x);
      lastX = x;
    });
    ASSERT_EQ(arc.LastX(), lastX) << radius;
  }
  for (unsigned seed = 0; seed < 210; ++seed) {
    Random random(seed);
    const int bits = kAllDepths[seed % 7];
    SCOPED_TRACE(testing::Message() << bits << " bits, seed " << seed);
    const ImagePtr fast = Scribbled(bits, 300, 280, seed), plain = Scribbled(bits, 300, 280, seed);
    const int reach = random.OneIn(3) ? 9000 : random.OneIn(2) ? 12 : 200;
    const int left = random.Int(-reach, 299), top = random.Int(-reach, 279);
    const KXRect rect(left, top, left + random.Int(-9, 2 * reach), top + random.Int(-9, 2 * reach));
    const KXRect clip = AnyRect(random, 300, 280);
    const tagRECT* const bounds = random.OneIn(2) ? &clip : nullptr;
    const u64 color = AnyColor64(random);
    fast->ArcFill64(rect.left, rect.top, rect.right, rect.bottom, color, bounds);
    const int a = std::abs(rect.Width()) / 2, b = std::abs(rect.Height()) / 2;
    const int cx = rect.left + a, cy = rect.top + b, radius = std::max(a, b);
    if (rect.left < 300 && rect.right > 0 && rect.top < 280 && rect.bottom > 0 && radius > 0) {
      KXVOffscreenAutoLock lock(plain.get(), 1);
      const auto rows = [&](i64 half, i64 distance) {
        plain->FillLineRow64(cx - int(half), cx + int(half), cy - int(distance), color, bounds);
        plain->FillLineRow64(cx - int(half), cx + int(half), cy + int(distance), color, bounds);
      };
      WalkArc(radius, [&](i64 x, i64 y) {
        rows(a <= b ? y * a / radius : y, a <= b ? x : x * b / radius);
        rows(a <= b ? x * a / radius : x, a <= b ? y : y * b / radius);
      });
    }
    ASSERT_TRUE(BytesOf(*fast) == BytesOf(*plain));
  }
  // As large as can be.
  const ImagePtr image = MakeImage(8, 100, 100);
  image->ArcFill(INT_MIN, INT_MIN, INT_MAX, INT_MAX, 0, nullptr);
  image->ArcFill(INT_MIN, 40, INT_MAX, 60, 0, nullptr);
  KXVOffscreenAutoLock lock(image.get(), 99, 99, 0);
  EXPECT_EQ(image->Get8BitColor(), 255);
}

}  // namespace
