#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "kxwcmn/core/exception.h"
#include "tests/classic/support.h"

namespace {

using namespace classic_test;

constexpr DWORD kWhite = 0xFFFFFF;

/// A turn by its rules, with a pixel at a time.
struct Rule {
  double c, s;
  double x = 0, y = 0, u = 0, v = 0;  // what is turned about

  explicit Rule(int angle)
      : c(std::cos(angle * 0.017453292519943295)), s(std::sin(angle * 0.017453292519943295)) {}

  struct Box {
    int left, top, right, bottom;
  };
  Box BoxOf(int px, int py, int w, int h) const {
    Box box{};
    for (int k = 0; k < 4; ++k) {
      const double a = px + (k & 1 ? w : 0), b = py + (k & 2 ? h : 0);
      const int tx = static_cast<int>(a * c + b * s), ty = static_cast<int>(b * c - a * s);
      if (k == 0) box = {tx, ty, tx, ty};
      box = {std::min(box.left, tx), std::min(box.top, ty), std::max(box.right, tx),
             std::max(box.bottom, ty)};
    }
    return box;
  }

  /// The colour at (px, py); false where four equal pixels gave it.
  bool At(const KXOffscreen& source, int px, int py, DWORD outside, DWORD& color) const {
    const double pu = (px - x) * c - (py - y) * s + u, pv = (py - y) * c + (px - x) * s + v;
    const int iu = static_cast<int>(pu) - (pu <= 0 ? 1 : 0);
    const int iv = static_cast<int>(pv) - (pv <= 0 ? 1 : 0);
    color = outside;
    if (iu < -1 || iu >= source.GetWidth() || iv < -1 || iv >= source.GetHeight()) return true;
    DWORD p[4];
    for (int k = 0; k < 4; ++k) {
      const int a = iu + k % 2, b = iv + k / 2;
      p[k] = source.PointInOffscreen(a, b) ? Model::Get(source, 24, a, b) : kWhite;
    }
    color = p[0];
    if (p[0] == p[1] && p[0] == p[2] && p[0] == p[3]) return false;
    const double fu = pu - iu, fv = pv - iv;
    color = 0;
    for (int shift = 0; shift < 24; shift += 8) {
      double q[4];
      for (int k = 0; k < 4; ++k) q[k] = p[k] >> shift & 255;
      const double mixed =
          (q[0] * (1 - fu) + q[1] * fu) * (1 - fv) + (q[2] * (1 - fu) + q[3] * fu) * fv;
      color |= static_cast<DWORD>(mixed) << shift;
    }
    return true;
  }

  void Paint(KXOffscreen& image, const KXOffscreen& source, const Box& box, int originX,
             int originY, DWORD outside, bool keepsWhite) const {
    for (int py = box.top; py < box.bottom; ++py) {
      for (int px = box.left; px < box.right; ++px) {
        DWORD color;
        if (!image.PointInOffscreen(px - originX, py - originY)) continue;
        if (!At(source, px, py, outside, color) && keepsWhite && color == kWhite) continue;
        Model::Set(image, 24, color, px - originX, py - originY);
      }
    }
  }
};

/// Noise with flat parts, of white and of another colour.
std::unique_ptr<KXOffscreen> MakePatched(int bits, int width, int height, Random& random) {
  auto image = MakeNoise(bits, width, height, random);
  for (DWORD color : {kWhite, DWORD{0x3366CC}}) {
    const int left = random.Int(0, width), top = random.Int(0, height);
    image->SetForeColor(color);
    image->RectFill({left, top, left + width / 2, top + height / 2});
  }
  return image;
}

int DrawAngle(Random& random) {
  return random.OneIn(3) ? 90 * random.Int(-5, 5) : random.Int(-800, 800);
}

TEST(ClassicTurns, ARectangleIsTurnedAsByItsRule) {
  Random random(31);
  for (int i = 0; i < 160; ++i) {
    const int bits = kDepths[i % 4], side = i % 40 < 4 ? 300 : 40;
    const auto source = MakePatched(bits, random.Int(1, side), random.Int(1, side), random);
    const auto image = MakePatched(kDepths[random.Int(0, 3)], random.Int(1, 2 * side), 50, random);
    const int angle = DrawAngle(random);
    const int x = random.Int(-20, side), y = random.Int(-20, side);
    const int width = random.Int(1, side), height = random.Int(1, side);
    const DWORD color = random.Bits();
    SCOPED_TRACE(testing::Message() << bits << " bits, " << angle << " degrees, case " << i);
    KXOffscreen expected(*image);
    expected.Lock();
    const Rule rule(angle);
    const Rule::Box whole = rule.BoxOf(0, 0, source->GetWidth(), source->GetHeight());
    rule.Paint(expected, *source, rule.BoxOf(x, y, width, height), std::min(whole.left, 0),
               std::min(whole.top, 0), color, false);
    source->RotationImage(*image, angle, x, y, width, height, color);
    ASSERT_EQ(BytesOf(*image), BytesOf(expected));
  }
}

TEST(ClassicTurns, AWholeImageIsTurnedIntoANewOneOrWhatIsThere) {
  Random random(32);
  for (int i = 0; i < 200; ++i) {
    const int bits = kDepths[i % 4], mode = i / 4 % 2, angle = DrawAngle(random);
    const bool isNew = random.OneIn(2);
    const auto source = MakePatched(bits, random.Int(1, 200), random.Int(1, 50), random);
    const int w = source->GetWidth(), h = source->GetHeight();
    Rule rule(angle);
    Rule::Box box = rule.BoxOf(0, 0, w, h);
    KXOffscreen image, expected;
    if (!isNew) image = *MakePatched(kDepths[random.Int(0, 3)], 60, 60, random);
    image.Lock();
    int originX = std::min(box.left, 0), originY = std::min(box.top, 0);
    if (mode) {
      const double ac = std::abs(rule.c), as = std::abs(rule.s);
      box = {0, 0, 60, 60};
      if (isNew) {
        box.right = static_cast<int>(2 * (w / 2.0 * ac + h / 2.0 * as));
        box.bottom = static_cast<int>(2 * (h / 2.0 * ac + w / 2.0 * as));
      }
      rule.x = box.right / 2.0, rule.y = box.bottom / 2.0;
      rule.u = w / 2.0, rule.v = h / 2.0;
      originX = originY = 0;
    }
    if (isNew) {
      expected.Create(box.right - box.left, box.bottom - box.top, bits, 0xFFFFFFFF, 1);
    } else {
      expected = image;
    }
    SCOPED_TRACE(testing::Message() << bits << " bits, " << angle << " degrees, mode " << mode);
    expected.Lock();
    rule.Paint(expected, *source, box, originX, originY, kWhite, true);
    source->CreateRotationImage(image, angle, mode);
    if (isNew) {
      EXPECT_EQ(image.GetBaseAddress(), nullptr);  // made unlocked
      EXPECT_EQ(image.GetBitCount(), bits);
      image.Lock();
    }
    ASSERT_EQ(image.GetWidth(), expected.GetWidth());
    ASSERT_EQ(BytesOf(image), BytesOf(expected));
  }
}

TEST(ClassicTurns, OfAnImageToItselfReadWhatWasThere) {
  Random random(33);
  const auto image = MakePatched(24, 40, 30, random),
             before = std::make_unique<KXOffscreen>(*image);
  KXOffscreen expected(*image);
  before->Lock();
  expected.Lock();
  before->RotationImage(expected, 33, 3, 3, 30, 20, 0x112233);
  image->RotationImage(*image, 33, 3, 3, 30, 20, 0x112233);
  EXPECT_EQ(BytesOf(*image), BytesOf(expected));
  *before = expected;
  before->Lock();
  before->CreateRotationImage(expected, 10, 1);
  image->CreateRotationImage(*image, 10, 1);
  EXPECT_EQ(BytesOf(*image), BytesOf(expected));
  *before = expected;
  before->Lock();
  expected.FlipImage(*before, 0, 2, 1, 30, 20);
  image->FlipImage(*image, 0, 2, 1, 30, 20);
  EXPECT_EQ(BytesOf(*image), BytesOf(expected));
}

// --- Mirrors -------------------------------------------------------------------------------------

TEST(ClassicMirrors, InPlaceExchangePixelsOrRows) {
  Random random(34);
  for (int bits : kDepths) {
    for (int i = 0; i < 40; ++i) {
      const auto image = MakeNoise(bits, random.Int(1, 70), random.Int(1, 9), random);
      const KXOffscreen original(*image);
      KXOffscreen expected(*image);
      expected.Lock();
      const int w = image->GetWidth(), h = image->GetHeight();
      for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
          Model::Set(expected, bits, Model::Get(*image, bits, x, y), w - 1 - x, y);
        }
      }
      const auto before = BytesOf(*image);
      image->CreateFlipImage(0);
      EXPECT_EQ(BytesOf(*image), BytesOf(expected)) << bits << " bits, width " << w;
      image->CreateFlipImage(0);
      EXPECT_EQ(BytesOf(*image), before);

      // Bytes of rows, with what fills up the last one at 1 bit, but without those that align them.
      const int bytes = (w * bits + 7) / 8;
      expected = *image;
      expected.Lock();
      for (int y = 0; y < h; ++y) {
        const BYTE* const row = before.data() + (h - 1 - y) * image->GetRowBytes();
        std::copy(row, row + bytes, expected.GetBaseAddress() + y * image->GetRowBytes());
      }
      image->CreateFlipImage(1);
      EXPECT_EQ(BytesOf(*image), BytesOf(expected)) << bits << " bits, height " << h;
    }
  }
}

TEST(ClassicMirrors, OfARectangleStandOnePixelOffInOddSizes) {
  Random random(35);
  for (int i = 0; i < 300; ++i) {
    const int bits = kDepths[random.Int(0, 3)], vertical = i % 2;
    const auto image = MakeNoise(bits, random.Int(1, 30), random.Int(1, 30), random);
    const auto source = MakeNoise(kDepths[random.Int(0, 3)], random.Int(1, 30), 25, random);
    KXOffscreen expected(*image);
    expected.Lock();
    const int x = random.Int(-5, 30), y = random.Int(-5, 30), w = random.Int(0, 30), h = 12;
    for (int v = y; v < y + h && bits >= 24; ++v) {
      for (int u = x; u < x + w; ++u) {
        const int toX = vertical ? u : image->GetWidth() / 2 * 2 - 1 - u;
        const int toY = vertical ? image->GetHeight() / 2 * 2 - 1 - v : v;
        if (!source->PointInOffscreen(u, v) || !image->PointInOffscreen(toX, toY)) continue;
        Model::Set(expected, bits, Model::Get(*source, bits, u, v), toX, toY);
      }
    }
    image->FlipImage(*source, vertical, x, y, w, h);
    ASSERT_EQ(BytesOf(*image), BytesOf(expected)) << bits << " bits, case " << i;
  }
}

TEST(ClassicTurns, NeedLocksAndSizes) {
  constexpr int kMin = std::numeric_limits<int>::min(), kMax = std::numeric_limits<int>::max();
  Random random(36);
  const auto image = MakeNoise(24, 20, 20, random), other = MakeNoise(24, 20, 20, random);
  const auto before = BytesOf(*image);
  KXOffscreen empty;
  other->Unlock();
  for (KXOffscreen* off : {&empty, other.get()}) {
    off->RotationImage(*image, 10, 0, 0, 20, 20, 0);
    image->RotationImage(*off, 10, 0, 0, 20, 20, 0);
    off->CreateRotationImage(*image, 10, 0);
    off->CreateFlipImage(1);
    image->FlipImage(*off, 1, 0, 0, 20, 20);
    off->FlipImage(*image, 1, 0, 0, 20, 20);
  }
  image->CreateRotationImage(*other, 10, 0);
  other->Lock();
  EXPECT_NE(BytesOf(*other), before);
  for (int size : {kMin, -1, 0}) {
    other->RotationImage(*image, 10, 0, 0, size, 20, 0);
    image->FlipImage(*other, 0, 0, 0, 20, size);
  }
  other->RotationImage(*image, 10, kMax - 3, kMin, 20, 20, 0);
  image->FlipImage(*other, 0, kMax - 3, 0, kMax, kMax);
  image->FlipImage(*other, 1, kMin, kMin, kMax, kMax);
  EXPECT_EQ(BytesOf(*image), before);
  other->RotationImage(*image, kMin, kMin, kMin, kMax, kMax, 0);

  // A turned strip may have no room in any memory: there is none then.
  KXOffscreen strip;
  strip.Create(1'000'000, 1, 24, 0, 1);
  strip.Lock();
  EXPECT_THROW(strip.CreateRotationImage(empty, 45, 0), KXException);
  EXPECT_FALSE(empty.IsValid());
  // Without pixels there is nothing to turn.
  KXOffscreen none;
  none.Create(0, 5, 24, 0, 1);
  none.Lock();
  none.CreateFlipImage(0);
  none.CreateFlipImage(1);
  none.CreateRotationImage(*image, 10, 0);
  none.CreateRotationImage(empty, 10, 1);
}

}  // namespace
