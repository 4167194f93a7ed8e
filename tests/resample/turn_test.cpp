#include <cmath>

#include "kxwcmn/core/abort.h"
#include "kxwcmn/platform/number.h"
#include "tests/compositing/copymodel.h"
#include "tests/resample/processmanager.h"
#include "tests/support/failure.h"

namespace {

using namespace testing_kxw;

/// Turned images come from the manager of the process.
class Turning : public testing::Test {
 protected:
  static void SetUpTestSuite() { ProcessManager(); }
};

constexpr int kKinds = 4;

KXVOffscreen* Turned(KXVOffscreen& src, int kind) {
  if (kind == 0) return src.CreateAndRotate90();
  if (kind == 1) return src.CreateAndRotate90R();
  if (kind == 2) return src.CreateAndReverseHorz();
  return src.CreateAndReverseVert();
}

KXPoint TargetOf(int kind, int x, int y, int w, int h) {
  const KXPoint targets[] = {KXPoint(y, w - 1 - x), KXPoint(h - 1 - y, x), KXPoint(w - 1 - x, y),
                             KXPoint(x, h - 1 - y)};
  return targets[kind];
}

TEST_F(Turning, MovesThePixelsOfBlocksThatAreThere) {
  for (int bits : kAllDepths) {
    for (unsigned seed = 0; seed < 6; ++seed) {
      Random random(seed * 100 + static_cast<unsigned>(bits));
      const int w = seed == 0 ? 512 : random.Edge(1, 600), h = random.Edge(1, 600);
      const ImagePtr src = RandomImage(bits, w, h, random, seed > 0);
      src->SetResolution(150);
      for (int kind = 0; kind < kKinds; ++kind) {
        SCOPED_TRACE(testing::Message()
                     << bits << " bits, " << w << " x " << h << ", kind " << kind);
        const ImagePtr turned(Turned(*src, kind));
        ASSERT_EQ(turned->GetWidth(), kind < 2 ? h : w);
        ASSERT_EQ(turned->GetHeight(), kind < 2 ? w : h);
        EXPECT_EQ(turned->GetResolution(), 150);
        const ImagePtr expected = MakeImage(bits, turned->GetWidth(), turned->GetHeight());
        {
          KXVOffscreenAutoLock from(src.get(), 0), to(expected.get(), 1);
          for (int y = 0; y < h; ++y) {
            for (int x = 0; x < w; ++x) {
              if (!src->GetBlockExist(x, y)) continue;
              const KXPoint at = TargetOf(kind, x, y, w, h);
              src->MoveCursor(x, y);
              expected->MoveCursor(at.x, at.y);
              bits == 64 ? expected->Set64BitColor(src->Get64BitColor())
                         : expected->SetColor(src->GetColor());
            }
          }
        }
        ASSERT_NO_FATAL_FAILURE(ExpectSame(*turned, *expected));
      }
    }
  }
}

TEST_F(Turning, FourQuartersAndTwoMirrorsAreNothing) {
  for (int bits : {1, 8, 24, 64}) {
    Random random(static_cast<unsigned>(bits));
    const ImagePtr src = RandomImage(bits, 700, 300, random, false);
    const std::vector<BYTE> pixels = Pixels(*src);
    for (int kind = 0; kind < kKinds; ++kind) {
      ImagePtr image;
      for (int i = 0; i < (kind < 2 ? 4 : 2); ++i) {
        image.reset(Turned(image ? *image : *src, kind));
      }
      EXPECT_TRUE(Pixels(*image) == pixels) << bits << " bits, kind " << kind;
    }
  }
}

// --- Any angle ----------------------------------------------------------------------------------

void ModelFast(KXVOffscreen& dst, KXVOffscreen& src, int degrees) {
  const double angle = degrees * 0.017453292519943295, c = std::cos(angle), s = std::sin(angle);
  const int w = src.GetWidth(), h = src.GetHeight();
  const auto [left, right] = std::minmax(
      {0, static_cast<int>(w * c), static_cast<int>(h * s + w * c), static_cast<int>(h * s)});
  const auto [top, bottom] = std::minmax(
      {0, static_cast<int>(-w * s), static_cast<int>(h * c - w * s), static_cast<int>(h * c)});
  const int width = right - left, height = bottom - top;
  dst.Create(SmallManager(), width, height, 72);
  const int C = static_cast<int>(c * 4096.0), S = static_cast<int>(s * 4096.0);
  const int U = height / 2 * S - width / 2 * C + w / 2 * 4096;
  const int V = h / 2 * 4096 - height / 2 * C - width / 2 * S;
  KXVOffscreenAutoLock dstLock(&dst, 1), srcLock(&src, 0);
  for (int j = 0; j < height; ++j) {
    for (int i = 0; i < width; ++i) {
      const int u = (i * C + U - j * S) >> 12, v = (i * S + V + j * C) >> 12;
      if (u < 0 || v < 0 || u >= w || v >= h) continue;
      src.MoveCursor(u, v);
      dst.MoveCursor(i, j);
      dst.GetBitCount() == 64 ? dst.Set64BitColor(src.Get64BitColor())
                              : dst.Set32BitColor(src.Get32BitColor());
    }
  }
}

/// Returns how many channels lie at a border of the cut to whole numbers.
int ModelSmooth(KXVOffscreen& dst, KXVOffscreen& src, int degrees) {
  int ties = 0;
  const double angle = degrees * 0.017453292519943295, c = std::cos(angle), s = std::sin(angle);
  const int w = src.GetWidth(), h = src.GetHeight();
  const double centre[2] = {(w - 1) * 0.5, (h - 1) * 0.5};
  double low[2] = {1e9, 1e9}, high[2] = {-1e9, -1e9};
  for (int k = 0; k < 4; ++k) {
    double corner[2] = {k == 1 || k == 2 ? w - 1.0 : 0.0, k > 1 ? h - 1.0 : 0.0};
    qmRotatePointD(corner, degrees, centre);
    for (int i = 0; i < 2; ++i)
      low[i] = std::min(low[i], corner[i]), high[i] = std::max(high[i], corner[i]);
  }
  const double dw = high[0] - low[0], dh = high[1] - low[1];
  dst.Create(SmallManager(), static_cast<int>(dw), static_cast<int>(dh), 72);
  const bool wide = dst.GetBitCount() == 64;
  const int channelBits = wide ? 16 : 8;
  KXVOffscreenAutoLock dstLock(&dst, 1), srcLock(&src, 0);
  for (int j = 0; j < dst.GetHeight(); ++j) {
    for (int i = 0; i < dst.GetWidth(); ++i) {
      const double dx = i - dw * 0.5, dy = j - dh * 0.5;
      const double sxf = dx * c - dy * s + (w - 1) * 0.5, syf = dy * c + dx * s + (h - 1) * 0.5;
      const int u = static_cast<int>(sxf), v = static_cast<int>(syf);
      const double fx = sxf - u, fy = syf - v;
      if (u < 0 || v < 0 || u >= w || v >= h) continue;
      const u64 counted = wide ? 0x0000FFFFFFFFFFFF : 0xFFFFFFFF;  // no alpha among words
      const auto read = [&](int x, int y) -> u64 {
        if (x >= w || y >= h) return wide ? counted : 0x00FFFFFF;
        src.MoveCursor(x, y);
        return wide ? src.Get48BitColor() : src.Get32BitColor();
      };
      const u64 c00 = read(u, v), c10 = read(u + 1, v), c01 = read(u, v + 1),
                c11 = read(u + 1, v + 1);
      u64 color = 0;
      if ((((c00 ^ c10) | (c00 ^ c01) | (c00 ^ c11)) & counted) == 0) {
        if (c00 == 0x00FFFFFF) continue;
        color = c00;
      } else {
        for (int at = 0; at < (wide ? 48 : 32); at += channelBits) {
          const u64 full = (1ull << channelBits) - 1;
          const auto of = [&](u64 sample) { return static_cast<double>(sample >> at & full); };
          const double value = (of(c01) * (1 - fx) + of(c11) * fx) * fy +
                               (of(c00) * (1 - fx) + of(c10) * fx) * (1 - fy);
          color |= (static_cast<u64>(static_cast<i64>(value)) & full) << at;
          ties += std::abs(value - std::round(value)) < 1e-9;
        }
      }
      dst.MoveCursor(i, j);
      wide ? dst.Set48BitColor(color) : dst.Set32BitColor(static_cast<DWORD>(color));
    }
  }
  return ties;
}

// Multiples of 45 degrees put the fractions of the smooth turn on borders, and noise of 0 and 255
// its values.
TEST_F(Turning, RotatesAsTheRulesTell) {
  for (int to : kAllDepths) {
    for (int from : kAllDepths) {
      for (unsigned seed = 0; seed < (to == from ? 12u : 3u); ++seed) {
        Random random(seed * 100 + static_cast<unsigned>(to * 7 + from));
        const ImagePtr src = RandomImage(from, random.Edge(1, 540), random.Edge(1, 300), random);
        const int degrees = random.OneIn(2) ? 45 * random.Int(-9, 9) : random.Int(-800, 800);
        for (int smooth = 0; smooth < 2; ++smooth) {
          SCOPED_TRACE(testing::Message() << from << " to " << to << ", seed " << seed << ", "
                                          << degrees << " degrees, smooth " << smooth);
          const ImagePtr actual(KXVOffscreen::CreateOffscreen(to));
          const ImagePtr expected(KXVOffscreen::CreateOffscreen(to));
          actual->CreateRotationImage(*src, degrees, smooth);
          smooth ? void(ModelSmooth(*expected, *src, degrees))
                 : ModelFast(*expected, *src, degrees);
          ASSERT_EQ(actual->GetRect(), expected->GetRect());
          ASSERT_NO_FATAL_FAILURE(ExpectSame(*actual, *expected));
        }
      }
    }
  }
}

// Slopes that the places between the pixels meet at whole numbers, or as near as doubles get to
// them, from both sides.
TEST_F(Turning, CutsAsTheRulesTellAtWholeNumbers) {
  for (const int bits : {8, 32, 64}) {
    const ImagePtr src = MakeImage(bits, 301, 270);
    {
      KXVOffscreenAutoLock lock(src.get(), 1);
      for (int y = 0; y < 270; ++y) {
        for (int x = 0; x < 301; ++x) {
          src->MoveCursor(x, y);
          const u64 color = static_cast<u64>(x * 2 + y * 4) & 255;
          src->Set64BitColor(0xFFFF000000000000 | color << 40 | (255 - color) << 24 | color * 514);
        }
      }
    }
    for (const int degrees : {0, 30, 60, 90, 180, 270}) {
      SCOPED_TRACE(testing::Message() << bits << " bits, " << degrees << " degrees");
      const ImagePtr actual(KXVOffscreen::CreateOffscreen(bits));
      const ImagePtr expected(KXVOffscreen::CreateOffscreen(bits));
      actual->CreateRotationImage(*src, degrees, 1);
      EXPECT_GT(ModelSmooth(*expected, *src, degrees), 300);
      ASSERT_NO_FATAL_FAILURE(ExpectSame(*actual, *expected));
    }
  }
}

TEST_F(Turning, DropsARowAndAColumnWhereItIsSmooth) {
  Random random(1);
  const ImagePtr src = RandomImage(32, 300, 200, random, false), fast(new KXVOffscreen32Bit),
                 smooth(new KXVOffscreen32Bit);
  fast->CreateRotationImage(*src, 0, 0);
  EXPECT_TRUE(Pixels(*fast) == Pixels(*src));
  smooth->CreateRotationImage(*src, 0, 1);
  EXPECT_EQ(smooth->GetRect(), KXRect(0, 0, 299, 199));
  // Transparent white is left out, but not at 64 bits; nor there an opaque colour of the same bits.
  src->RectFill(src->GetRect(), 0, 0x00FFFFFF);
  const ImagePtr none(new KXVOffscreen32Bit), wide(new KXVOffscreen64Bit);
  none->CreateRotationImage(*src, 30, 1);
  EXPECT_EQ(none->GetUsedMemory(0), 0u);
  wide->CreateRotationImage(*src, 30, 1);
  EXPECT_GT(wide->GetUsedMemory(0), 0u);
  const ImagePtr yellow = MakeImage(64, 30, 30), turned(new KXVOffscreen64Bit);
  yellow->RectFill64(yellow->GetRect(), 0, 0xFFFF000000FFFFFF);
  turned->CreateRotationImage(*yellow, 0, 1);
  KXVOffscreenAutoLock lock(turned.get(), 9, 9, 0);
  EXPECT_EQ(turned->Get64BitColor(), 0xFFFF000000FFFFFFu);
}

int Stop() { return 1; }

TEST_F(Turning, GivesBackWhatItCannotFinish) {
  const ImagePtr src = MakeImage(32, 300, 300), dst(new KXVOffscreen32Bit);
  src->RectFill(src->GetRect(), 0, 0xFF000000);
  EXPECT_EQ(CodeOf([&] { src->CreateRotationImage(*src, 1, 0); }), 0x20010008);
  EXPECT_EQ(src->GetWidth(), 300);
  KXAbort::SetCallback(Stop);
  for (int smooth : {0, 1}) {
    EXPECT_EQ(CodeOf([&] { dst->CreateRotationImage(*src, 30, smooth); }), 0x20010004);
    EXPECT_EQ(dst->GetVirtualMemory(), nullptr);
  }
  for (int kind = 0; kind < kKinds; ++kind) {
    EXPECT_EQ(CodeOf([&] { delete Turned(*src, kind); }), 0x20010004);
  }
  KXAbort::SetCallback(nullptr);
  EXPECT_EQ(src->GetLockCount(), 0u);
  // A box beyond what an image can hold.
  const ImagePtr line = MakeImage(8, 1 << 26, 1);
  for (int smooth : {0, 1}) {
    EXPECT_EQ(CodeOf([&] { dst->CreateRotationImage(*line, 45, smooth); }), 8);
    EXPECT_EQ(dst->GetVirtualMemory(), nullptr);
  }
  for (int degrees : {INT_MIN, INT_MAX}) dst->CreateRotationImage(*src, degrees, degrees > 0);
  EXPECT_GT(dst->GetWidth(), 290);
}

}  // namespace
