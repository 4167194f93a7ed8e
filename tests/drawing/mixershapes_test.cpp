#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>

#include "kxwcmn/compositing/pixelmixer.h"
#include "kxwcmn/compositing/voffpixelmask.h"
#include "kxwcmn/compositing/voffpixelmixer.h"
#include "kxwcmn/core/exception.h"
#include "tests/drawing/drawing_support.h"

// Shapes laid through a mixer, against the same pixels laid one by one.

namespace {

using namespace testing_kxw;

/// A destination twice, and one setting of mixer, source, mask, stipple and clip for both.
struct Scene {
  Scene(int bits, unsigned seed) : random(seed) {
    for (ImagePtr& image : images) image = Scribbled(bits, 300, 280, seed);
    source = Scribbled(kAllDepths[random.Int(0, 6)], 200, 200, seed + 1);
    maskImage = Scribbled(32, 320, 280, seed + 2);
    color.Normalize(32, AnyColor(random));
    hasSource = random.OneIn(3);
    hasMask = random.OneIn(3);
    hasClip = random.OneIn(2);
    origin = {random.Int(-9, 9), random.Int(-9, 9)};
    clip = AnyRect(random, 300, 280);
    for (BYTE& byte : pattern) byte = BYTE(random.Int(0, 1));
    stipple = random.OneIn(2) ? pattern : nullptr;
    KXVOffPixelMask::MaskInfo info;
    info.offscreen = maskImage.get();
    info.mode = 2;
    info.offset = KXPoint(random.Int(-9, 9), random.Int(-9, 9));
    mask.SetMaskInfo(0, info);
    nodes[0] = &replace;
    nodes[1] = &blend;
    nodes[2] = &add;
    mixer.SetNode(nodes[random.Int(0, 2)]);
    if (hasSource) mixer.SetSrcOffscreen(source.get(), origin);
    mixer.SetColor(color);
  }

  const tagRECT* Clip() const { return hasClip ? &clip : nullptr; }
  KXVOffPixelMask* Mask() { return hasMask ? &mask : nullptr; }

  /// Lays one pixel that belongs to a shape whose source begins at (left, top).
  void Lay(int x, int y, int left, int top, bool stippled = true) {
    KXVOffscreen& o = *mixer.GetDstOffscreen();
    if (x < 0 || y < 0 || x >= 300 || y >= 280) return;
    if (hasClip && !clip.PtInRect(KXPoint(x, y))) return;
    if (stippled && stipple && !stipple[(y & 3) * 4 + (x & 3)]) return;
    if (hasMask && !mask.IsMaskFree(&o, x, y)) return;
    o.MoveCursor(x, y);
    if (!hasSource || left == INT_MAX) {
      mixer.Do();
    } else {
      mixer.RelativeSrcCursor(x - left, y - top);
      mixer.DoSrc();
    }
  }

  /// Runs the shape on one image and its model, which stands under a lock, on the other.
  template <class Fast, class Plain>
  bool Agrees(Fast fast, Plain plain) {
    KXVOffscreenAutoLock sourceLock(source.get(), 0), maskLock(maskImage.get(), 0);
    mixer.SetDstOffscreen(images[0].get());
    fast(*images[0]);
    mixer.SetDstOffscreen(images[1].get());
    {
      KXVOffscreenAutoLock lock(images[1].get(), 1);
      plain();
    }
    KXComplexColor after;
    mixer.GetColor(after);
    return after.color64 == color.color64 && images[0]->GetLockCount() == 0 &&
           BytesOf(*images[0]) == BytesOf(*images[1]);
  }

  Random random;
  ImagePtr images[2], source, maskImage;
  KXComplexColor color;
  bool hasSource, hasMask, hasClip;
  tagPOINT origin;
  KXRect clip;
  BYTE pattern[16];
  BYTE* stipple;
  KXVOffPixelMask mask;
  KXPixelMixer replace;
  KXPixelMixerBlend blend;
  KXPixelMixerAdd add;
  KXPixelMixer* nodes[3];
  KXVOffPixelMixer mixer;
};

constexpr int kNoSource = INT_MAX;

TEST(MixerShapes, RectanglesAndPoints) {
  for (unsigned seed = 0; seed < 140; ++seed) {
    SCOPED_TRACE(seed);
    Scene s(kAllDepths[seed % 7], seed);
    KXRect rect = AnyRect(s.random, 300, 280);
    if (s.random.OneIn(3)) rect.right = rect.left, rect.bottom = rect.top;
    const bool isPoint = rect.left == rect.right && rect.top == rect.bottom;
    EXPECT_TRUE(s.Agrees(
        [&](KXVOffscreen& o) { o.RectFill(rect, &s.mixer, s.Mask(), s.Clip(), s.stipple); },
        [&] {
          if (isPoint) s.Lay(rect.left, rect.top, rect.left, rect.top, false);
          const KXRect part = rect & s.images[1]->GetRect();
          for (int y = part.top; y < part.bottom; ++y) {
            for (int x = part.left; x < part.right; ++x) s.Lay(x, y, rect.left, rect.top);
          }
        }));
  }
}

TEST(MixerShapes, FilledCircles) {
  static const char* const kSmall[5] = {"X", "X", "XXXX", " X XXX X ", " XX XXXXXXXX XX "};
  for (unsigned seed = 0; seed < 140; ++seed) {
    SCOPED_TRACE(seed);
    Scene s(kAllDepths[seed % 7], seed);
    const int d = s.random.OneIn(2) ? s.random.Int(-1, 6) : s.random.Int(5, 400);
    const int left = s.random.Edge(-20, 290), top = s.random.Edge(-20, 270);
    EXPECT_TRUE(s.Agrees(
        [&](KXVOffscreen& o) {
          o.CircleFill(left, top, d, &s.mixer, s.Mask(), s.Clip(), s.stipple);
        },
        [&] {
          const int size = std::max(d, 1);
          for (int i = 0; i < size; ++i) {
            const double r = d * 0.5, cx = left + r, t = r - 0.5 - i;
            const int xl = int(cx - std::sqrt(std::max(0.0, r * r - t * t)));
            const int xr = 2 * int(cx) - xl - (d % 2 ? 0 : 1);
            for (int x = left - 1; x <= left + size; ++x) {
              const bool inTable = d <= 4 && x >= left && x < left + size;
              if (d > 4 ? x >= xl && x <= xr
                        : inTable && kSmall[size][i * size + x - left] == 'X') {
                s.Lay(x, top + i, left, top);
              }
            }
          }
        }));
  }
}

TEST(MixerShapes, AntiAliasedCircles) {
  for (unsigned seed = 0; seed < 240; ++seed) {
    SCOPED_TRACE(seed);
    Scene s(kAllDepths[seed % 7], seed);
    const double radius =
        s.random.OneIn(2) ? s.random.Int(-5, 400) / 100.0 : s.random.Int(290, 9000) / 100.0;
    const double cx = s.random.Edge(-2000, 32000) / 100.0, cy = s.random.Edge(-2000, 30000) / 100.0;
    EXPECT_TRUE(s.Agrees(
        [&](KXVOffscreen& o) { o.CircleFillAA(cx, cy, radius, &s.mixer, s.Mask(), s.Clip()); },
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
              const u64 a = s.color.channels16[0];
              const u64 level =
                  radius >= 3 && corners == 4 ? a : a * (u64(samples) * 255 / 9) / 255;
              KXComplexColor color;
              color.Normalize(32, (s.color.color64 & 0xFFFFFFFFFFFF) | level << 48);
              s.mixer.SetColor(color);
              s.Lay(x, y, left, top, false);
            }
          }
          s.mixer.SetColor(s.color);
        }));
  }
}

TEST(MixerShapes, CircleOutlinesPlotTheirPointsAsOftenAsTheRuleDoes) {
  for (unsigned seed = 0; seed < 210; ++seed) {
    SCOPED_TRACE(seed);
    Scene s(8, seed);
    s.mixer.SetNode(&s.add);
    s.color.Normalize(8, BYTE{1});
    s.mixer.SetColor(s.color);
    const bool isHuge = s.random.OneIn(3);
    const int radius =
        isHuge ? s.random.Int(9000, 2000000) : s.random.Int(-2, s.random.OneIn(2) ? 9 : 200);
    const double angle = s.random.Int(0, 628) / 100.0;
    const int cx = 150 + (isHuge ? int(radius * std::cos(angle)) : s.random.Int(-99, 99));
    const int cy = 140 + (isHuge ? int(radius * std::sin(angle)) : s.random.Int(-99, 99));
    EXPECT_TRUE(s.Agrees(
        [&](KXVOffscreen& o) {
          o.Circle(cx, cy, radius, 5, &s.mixer, s.Mask(), s.Clip(), s.stipple);
        },
        [&] {
          i64 x = 0, y = radius, d = 3 - 2 * i64(radius);
          const auto plot = [&](i64 px, i64 py) {
            for (const i64 sx : {px, -px}) {
              for (const i64 sy : {py, -py}) s.Lay(int(cx + sx), int(cy + sy), kNoSource, 0, false);
            }
          };
          while (x < y || (s.hasMask && x == y)) {
            plot(x, y);
            plot(y, x);
            d += d >= 0 ? 4 * (x - y--) + 10 : 4 * x + 6;
            ++x;
          }
          if (x == y) plot(x, y);
        }));
  }
}

TEST(MixerShapes, NothingAndEverything) {
  Scene s(32, 1);
  KXVOffscreen& image = *s.images[0];
  EXPECT_THROW(image.RectFill(image.GetRect(), nullptr, nullptr, nullptr, nullptr), KXException);
  EXPECT_THROW(image.CircleFill(0, 0, 9, nullptr, nullptr, nullptr, nullptr), KXException);
  EXPECT_THROW(image.CircleFillAA(9, 9, 9, nullptr, nullptr, nullptr), KXException);
  EXPECT_THROW(image.Circle(9, 9, 9, 0, nullptr, nullptr, nullptr, nullptr), KXException);
  // Circles of any size take no more time than the image.
  s.hasSource = false;
  s.mixer.SetSrcOffscreen(nullptr, {});
  s.mixer.SetDstOffscreen(&image);
  image.Circle(INT_MIN, INT_MAX, INT_MAX, 0, &s.mixer, nullptr, nullptr, nullptr);
  image.CircleFill(INT_MIN, INT_MIN, INT_MAX, &s.mixer, nullptr, nullptr, nullptr);
  image.CircleFillAA(NAN, 0, 5, &s.mixer, nullptr, nullptr);
  image.CircleFillAA(1e300, -1e300, 1e300, &s.mixer, nullptr, nullptr);
  image.CircleFillAA(0, 0, 1e12, &s.mixer, nullptr, nullptr);
  EXPECT_EQ(image.GetLockCount(), 0u);
}

}  // namespace
