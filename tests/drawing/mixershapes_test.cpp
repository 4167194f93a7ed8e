#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>

#include "kxwcmn/compositing/pixelmixer.h"
#include "kxwcmn/compositing/voffpixelmask.h"
#include "kxwcmn/compositing/voffpixelmixer.h"
#include "kxwcmn/core/exception.h"
#include "kxwcmn/platform/detail/faults.h"
#include "tests/drawing/drawing_support.h"
#include "tests/support/failure.h"

// Shapes laid through a mixer, against the same pixels laid one by one.

namespace {

using namespace testing_kxw;

/// Twins with a mixer, a source and a mask for both.
struct Scene : Twins {
  explicit Scene(unsigned seed) : Twins(seed) {
    source = Scribbled(kAllDepths[random.Int(0, 6)], 200, 200, seed + 1);
    maskImage = Scribbled(32, 320, 280, seed + 2);
    hasSource = random.OneIn(3);
    hasMask = random.OneIn(3);
    KXVOffPixelMask::MaskInfo info;
    info.offscreen = maskImage.get();
    info.mode = 2;
    info.offset = KXPoint(random.Int(-9, 9), random.Int(-9, 9));
    mask.SetMaskInfo(0, info);
    KXPixelMixer* const nodes[] = {&replace, &blend, &add};
    mixer.SetNode(nodes[random.Int(0, 2)]);
    if (hasSource) mixer.SetSrcOffscreen(source.get(), {random.Int(-9, 9), random.Int(-9, 9)});
    mixer.SetColor(KXComplexColor(32, color));
  }

  KXVOffPixelMask* Mask() { return hasMask ? &mask : nullptr; }

  /// Lays one pixel that belongs to a shape whose source begins at (left, top).
  void Lay(int x, int y, int left, int top, bool stippled = true) {
    if (!bounds.PtInRect(KXPoint(x, y)) || !plain->GetRect().PtInRect(KXPoint(x, y))) return;
    if (stippled && stipple && !StippleRow(y)[x & 3]) return;
    if (hasMask && !mask.IsMaskFree(plain.get(), x, y)) return;
    plain->MoveCursor(x, y);
    if (!hasSource || left == kNoSource) {
      mixer.Do();
    } else {
      mixer.RelativeSrcCursor(kxw::IntGeometry::Sub(x, left), kxw::IntGeometry::Sub(y, top));
      mixer.DoSrc();
    }
  }

  /// Runs the shape on one image and its model, under a lock, on the other.
  template <class Fast, class Plain>
  bool Agrees(Fast draw, Plain model) {
    KXVOffscreenAutoLock sourceLock(source.get(), 0), maskLock(maskImage.get(), 0);
    KXComplexColor before, after;
    mixer.GetColor(before);
    mixer.SetDstOffscreen(fast.get());
    draw(*fast);
    mixer.GetColor(after);
    mixer.SetDstOffscreen(plain.get());
    KXVOffscreenAutoLock lock(plain.get(), 1);
    model();
    return before.color64 == after.color64 && fast->GetLockCount() == 0 && Agree();
  }

  static constexpr int kNoSource = INT_MAX;

  ImagePtr source, maskImage;
  bool hasSource, hasMask;
  KXVOffPixelMask mask;
  KXPixelMixer replace;
  KXPixelMixerBlend blend;
  KXPixelMixerAdd add;
  KXVOffPixelMixer mixer;
};

TEST(MixerShapes, RectanglesPointsAndTheirFormInAColor) {
  for (unsigned seed = 0; seed < 420; ++seed) {
    SCOPED_TRACE(seed);
    Scene s(seed);
    const bool inColor = s.bits != 64 && s.random.OneIn(2);
    const KXRect rect = s.AnyRect();
    const bool isPoint = rect.left == rect.right && rect.top == rect.bottom;
    const int mode = s.random.Int(0, 3);
    KXVOffscreen* const gate = s.random.OneIn(3) ? s.maskImage.get() : nullptr;
    const auto draw = [&](KXVOffscreen& o) {
      if (gate) gate->MoveCursor(0, 7);
      if (inColor) {
        o.RectFill(rect, Narrowed(s.color), mode, gate, s.clip, s.stipple);
      } else {
        o.RectFill(rect, &s.mixer, s.Mask(), s.clip, s.stipple);
      }
    };
    EXPECT_TRUE(s.Agrees(draw, [&] {
      KXRect part = rect & s.bounds;
      if (isPoint && s.bounds.PtInRect(rect.TopLeft())) {
        part = KXRect(rect.left, rect.top, rect.left + 1, rect.top + (inColor ? 0 : 1));
      }
      if (part.left >= part.right) return;
      // In a colour the row at the bottom is painted too, and the clip image's row stays.
      for (int y = std::max(part.top, 0); y < std::min(part.bottom, kHeight) + inColor; ++y) {
        if (inColor) {
          if (gate) gate->MoveCursor(0, 7);
          s.plain->MoveCursor(-1, y);
          s.plain->FillLineRowForPolygon(part.left, part.right - 1, Narrowed(s.color), mode, gate,
                                         0, s.StippleRow(y));
        } else {
          for (int x = std::max(part.left, 0); x < std::min(part.right, kWidth); ++x) {
            s.Lay(x, y, rect.left, rect.top, !isPoint);
          }
        }
      }
    }));
  }
}

TEST(MixerShapes, FilledCirclesAndTheirFormInAColor) {
  // Rows of small circles as first and last column. The form in a colour has no 4 among them.
  static constexpr int kSmall[4][4][2] = {
      {{0, 0}}, {{0, 1}, {0, 1}}, {{1, 1}, {0, 2}, {1, 1}}, {{1, 2}, {0, 3}, {0, 3}, {1, 2}}};
  for (unsigned seed = 0; seed < 700; ++seed) {
    SCOPED_TRACE(seed);
    Scene s(seed);
    const ImagePtr clipImage = Scribbled(1, 290, 300, seed + 1);
    KXVOffscreenAutoLock clipLock(clipImage.get(), 0);
    KXVOffscreen* const gate = s.random.OneIn(3) ? clipImage.get() : nullptr;
    const KXPoint offset(s.random.Int(-9, 9), s.random.Int(-9, 9));
    const bool inColor = s.random.OneIn(2);
    const int d = s.random.OneIn(2) ? s.random.Int(-1, 7) : s.random.Int(5, 400);
    // What begins left of the image is cut toward 0, so that a row there may begin a column late,
    // and then ends one early.
    const int left = s.random.OneIn(3) ? s.random.Int(-std::abs(d), 3) : s.random.Edge(-20, 290);
    const int top = s.random.Edge(-20, 270), mode = s.random.Int(0, 3);
    const auto draw = [&](KXVOffscreen& o) {
      if (inColor) {
        o.CircleFill64(left, top, d, s.color, mode, gate, offset, s.clip, s.stipple);
      } else {
        o.CircleFill(left, top, d, &s.mixer, s.Mask(), s.clip, s.stipple);
      }
    };
    EXPECT_TRUE(s.Agrees(draw, [&] {
      for (int i = 0; i < std::max(d, 1); ++i) {
        const int y = top + i;
        const double r = d * 0.5, cx = left + r, side = r - 0.5 - i;
        const int* const small = kSmall[std::clamp(d, 1, 4) - 1][std::min(i, 3)];
        int xl = left + small[0], xr = left + small[1];
        if (d > (inColor ? 3 : 4)) {
          xl = int(cx - std::sqrt(r * r - side * side));
          xr = 2 * int(cx) - xl - (d % 2 ? 0 : 1);
        }
        if (!inColor) {
          for (int x = xl; x <= xr; ++x) s.Lay(x, y, left, top);
        } else if (y >= s.bounds.top && y < s.bounds.bottom && xl < s.bounds.right) {
          if (gate) gate->MoveCursorY(s.plain->ConvertPointY(gate, offset.y + y));
          s.plain->MoveCursor(-1, y);
          s.plain->FillLineRowForPolygon64(std::max(xl, s.bounds.left),
                                           int(std::min<i64>(xr, i64(s.bounds.right) - 1)), s.color,
                                           mode, gate, offset.x, s.StippleRow(y));
        }
      }
    }));
  }
}

TEST(MixerShapes, AntiAliasedCircles) {
  for (unsigned seed = 0; seed < 240; ++seed) {
    SCOPED_TRACE(seed);
    Scene s(seed);
    const int hundredths = s.random.OneIn(2) ? s.random.Int(-5, 400) : s.random.Int(290, 9000);
    const double radius = s.random.OneIn(8) ? 3 : hundredths / 100.0;
    const double cx = s.random.Edge(-2000, 32000) / 100.0, cy = s.random.Edge(-2000, 30000) / 100.0;
    EXPECT_TRUE(s.Agrees(
        [&](KXVOffscreen& o) { o.CircleFillAA(cx, cy, radius, &s.mixer, s.Mask(), s.clip); },
        [&] {
          if (radius <= 0) return;
          const int left = int(cx - radius), top = int(cy - radius);
          const i64 c32x = i64(32 * cx), c32y = i64(32 * cy), r32 = i64(32 * radius);
          const i64 c2x = i64(2 * cx), c2y = i64(2 * cy), r2 = i64(4 * radius * radius);
          for (int y = top; y <= int(cy + radius); ++y) {
            for (int x = left; x <= int(cx + radius); ++x) {
              int corners = 0, samples = 0;
              for (int k = 0; k < 4; ++k) {
                const i64 u = 32 * x - c32x + k % 2 * 32, v = 32 * y - c32y + k / 2 * 32;
                corners += u * u + v * v <= r32 * r32;
              }
              for (int k = 0; k < 9; ++k) {
                const i64 u = 2 * x - c2x + k % 3, v = 2 * y - c2y + k / 3;
                samples += u * u + v * v <= r2;
              }
              if (radius >= 3 && corners == 0) continue;
              const u64 a = s.color >> 48;
              const u64 level =
                  radius >= 3 && corners == 4 ? a : a * (u64(samples) * 255 / 9) / 255;
              s.mixer.SetColor(KXComplexColor(32, (s.color & 0xFFFFFFFFFFFF) | level << 48));
              s.Lay(x, y, left, top, false);
            }
          }
        }));
  }
}

/// The rule of an outline: the points of an eighth, each in its eight places.
template <class Op>
void WalkOutline(int radius, bool hasMask, Op plot) {
  i64 x = 0, y = radius, d = 3 - 2 * i64(radius);
  while (x < y || (hasMask && x == y)) {
    plot(x, y);
    plot(y, x);
    d += d >= 0 ? 4 * (x - y--) + 10 : 4 * x + 6;
    ++x;
  }
  if (x == y) plot(x, y);
}

// Of an outline that is huge beside its image only what may touch the image is walked: here a few
// points about each place where that is decided, and about the ends, in all eight mirror images.
TEST(MixerShapes, NothingOfAHugeOutlineIsJumpedOver) {
  Scene s(2);
  s.mixer.SetNode(&s.add);
  s.mixer.SetSrcOffscreen(nullptr, {});
  s.mixer.SetColor(KXComplexColor(8, BYTE{1}));
  constexpr int kSize = 3;
  for (const int radius : {5700, 30000, 30007}) {
    std::vector<KXPoint> arc;
    WalkOutline(radius, false, [&](i64 x, i64 y) { arc.emplace_back(int(x), int(y)); });
    const auto at = [&](int k) { return arc[static_cast<std::size_t>(k)]; };
    std::vector<int> places;
    for (int x = 0; x < radius * 7 / 10; x += 4096) places.push_back(2 * x);
    places.push_back(int(arc.size()));
    for (const int place : places) {
      for (int n = std::max(place - 10, 0); n < std::min(place + 11, int(arc.size())); ++n) {
        for (int signs = 0; signs < 4; ++signs) {
          const int cx = (signs & 1 ? at(n).x : -at(n).x) + n % kSize;
          const int cy = (signs & 2 ? at(n).y : -at(n).y) + n / 3 % kSize;
          const ImagePtr image = MakeImage(8, kSize, kSize, 72, RoomyManager());
          s.mixer.SetDstOffscreen(image.get());
          image->Circle(cx, cy, radius, 0, &s.mixer, nullptr, nullptr, nullptr);
          int expected[kSize][kSize] = {};
          for (int k = std::max(n - 20, 0); k < std::min(n + 20, int(arc.size())); ++k) {
            for (const int x : {cx + at(k).x, cx - at(k).x}) {
              for (const int y : {cy + at(k).y, cy - at(k).y}) {
                if (image->GetRect().PtInRect(KXPoint(x, y))) ++expected[y][x];
              }
            }
          }
          KXVOffscreenAutoLock lock(image.get(), 0);
          for (int y = 0; y < kSize; ++y) {
            for (int x = 0; x < kSize; ++x) {
              image->MoveCursor(x, y);
              ASSERT_EQ(image->Get8BitColor(), expected[y][x]) << radius << ", point " << n;
            }
          }
        }
      }
    }
  }
}

TEST(MixerShapes, CircleOutlinesPlotTheirPointsAsOftenAsTheRuleDoes) {
  for (unsigned seed = 0; seed < 210; ++seed) {
    SCOPED_TRACE(seed);
    Scene s(seed / 7 * 7 + 2);  // 8 bits, where points that are laid twice add up
    s.mixer.SetNode(&s.add);
    s.mixer.SetColor(KXComplexColor(8, BYTE{1}));
    // At first each small one: some end on the diagonal, others beside it.
    const int radius = seed < 60 ? int(seed) - 2 : s.random.Int(9, 200);
    const int cx = 150 + s.random.Int(-99, 99), cy = 140 + s.random.Int(-99, 99);
    EXPECT_TRUE(s.Agrees(
        [&](KXVOffscreen& o) {
          o.Circle(cx, cy, radius, 5, &s.mixer, s.Mask(), s.clip, s.stipple);
        },
        [&] {
          WalkOutline(radius, s.hasMask, [&](i64 px, i64 py) {
            for (const i64 sx : {px, -px}) {
              for (const i64 sy : {py, -py})
                s.Lay(int(cx + sx), int(cy + sy), Scene::kNoSource, 0, false);
            }
          });
        }));
  }
}

TEST(MixerShapes, AFailureInTheMiddleLeavesAWholeImage) {
  using kxw::detail::FaultPoint;
  Scene s(5);
  s.mixer.SetNode(&s.replace);
  s.mixer.SetSrcOffscreen(nullptr, {});
  const KXPoint points[] = {{5, 5}, {890, 300}, {20, 890}};
  const KXRect rect(9, 9, 800, 800);
  const auto draw = [&](KXVOffscreen& o, int shape) {
    s.mixer.SetDstOffscreen(&o);
    if (shape == 0) o.FillPolygon(points, 3, nullptr, 0xFF112233, 1);
    if (shape == 1) o.RectFill(rect, 0, 0xFF112233, 1);
    if (shape == 2) o.RectFill(rect, 0xFF112233, 0, nullptr, nullptr, nullptr);
    if (shape == 3) o.RectFill(rect, &s.mixer, nullptr, nullptr, nullptr);
    if (shape == 4) o.CircleFillAA(400, 400, 399, &s.mixer, nullptr, nullptr);
    if (shape == 5) o.Circle(400, 400, 399, 0, &s.mixer, nullptr, nullptr, nullptr);
    if (shape == 6) o.ArcFill(9, 9, 800, 800, 0xFF112233, nullptr);
    if (shape == 7) o.DrawSegment(9, 9, 800, 700, 5, 0xFF112233, 2, 0);
  };
  // A block of one colour would be in no file.
  const auto dot = [](KXVOffscreen& o) {
    for (int at = 0; at < 81; ++at) {
      const int x = at % 9 * 100, y = at / 9 * 100;
      o.RectFill(KXRect(x, y, x + 2, y + 2), 0, 0xFF000000 | static_cast<DWORD>(at), 1);
    }
  };
  for (int i = 0; i < 16; ++i) {
    SCOPED_TRACE(i);
    const int shape = i / 2;
    const bool fromDisk = i % 2;  // blocks that are to be read back, or to be made
    const ImagePtr expected = MakeImage(32, 900, 900, 72, RoomyManager());
    if (fromDisk) dot(*expected);
    draw(*expected, shape);
    int nth = 0;
    for (int code = 8; code != 0; ++nth) {
      KXVirtualMemory manager;
      manager.Create(16 << 20, nullptr);
      const ImagePtr image = MakeImage(32, 900, 900, 72, &manager);
      if (fromDisk) {
        image->RectFill(image->GetRect(), 1, 0);
        dot(*image);
      }
      image->UnloadAllBlock();
      {
        kxw::detail::ScopedFaults faults;
        faults.Fail(fromDisk ? FaultPoint::kRead : FaultPoint::kAlloc, nth + 1, 8, 99);
        code = CodeOf([&] { draw(*image, shape); });
      }
      draw(*image, shape);
      ASSERT_TRUE((code == 0 || code == 8) && image->GetLockCount() == 0 &&
                  AreSame(*image, *expected));
    }
    EXPECT_GT(nth, 5);
  }
}

TEST(MixerShapes, NothingAndEverything) {
  Scene s(5);
  KXVOffscreen& image = *s.fast;
  EXPECT_THROW(image.RectFill(image.GetRect(), nullptr, nullptr, nullptr, nullptr), KXException);
  EXPECT_THROW(image.CircleFill(0, 0, 9, nullptr, nullptr, nullptr, nullptr), KXException);
  EXPECT_THROW(image.CircleFillAA(9, 9, 9, nullptr, nullptr, nullptr), KXException);
  EXPECT_THROW(image.Circle(9, 9, 9, 0, nullptr, nullptr, nullptr, nullptr), KXException);
  // A mixer that is told of another depth than its image's.
  for (const int depth : {0, 8, 48, 64}) {
    s.mixer.SetDstOffscreen(depth, &image);
    image.RectFill(KXRect(INT_MIN, 0, INT_MAX, 300), &s.mixer, &s.mask, nullptr, s.pattern);
  }
  // Circles of any size take no more time than the image.
  s.mixer.SetSrcOffscreen(nullptr, {});
  s.mixer.SetDstOffscreen(&image);
  image.Circle(INT_MIN, INT_MAX, INT_MAX, 0, &s.mixer, nullptr, nullptr, nullptr);
  image.CircleFill(INT_MIN, INT_MIN, INT_MAX, &s.mixer, nullptr, nullptr, nullptr);
  image.CircleFillAA(NAN, 0, 5, &s.mixer, nullptr, nullptr);
  image.CircleFillAA(1e300, -1e300, 1e300, &s.mixer, nullptr, nullptr);
  image.CircleFillAA(2e9, -2e9, 2.1e9, &s.mixer, nullptr, nullptr);
  EXPECT_EQ(image.GetLockCount(), 0u);
}

}  // namespace
