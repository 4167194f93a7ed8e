#include "tests/resample/lowmodel.h"

#include "kxwcmn/core/abort.h"
#include "tests/support/failure.h"

namespace {

using namespace testing_kxw;

SizeCase RandomCase(const KXVOffscreen& dst, const KXVOffscreen& src, Random& random) {
  SizeCase c;
  c.w = random.Edge(1, 600), c.h = random.Edge(1, 600);
  c.sw = random.OneIn(4) ? c.w : random.Edge(1, 600), c.sh = random.Edge(1, 600);
  if (random.OneIn(4)) c.w = random.Int(1, 9), c.h = random.Int(1, 9);
  if (random.OneIn(4)) c.sw = random.Int(1, 3);
  c.x = random.Edge(-40, dst.GetWidth()), c.y = random.Edge(-40, dst.GetHeight());
  c.sx = random.OneIn(3) ? 0 : random.Edge(-40, src.GetWidth());
  c.sy = random.OneIn(3) ? 0 : random.Edge(-40, src.GetHeight());
  if (random.OneIn(3)) c.x = c.y = 0;
  c.behind = random.Int(0, 1), c.skip = random.Int(0, 1);
  return c;
}

/// Holes become blocks of the clear value on both sides.
void ExpectPixels(KXVOffscreen& actual, KXVOffscreen& expected) {
  const std::vector<BYTE> a = Pixels(actual), b = Pixels(expected);
  const auto at = std::mismatch(a.begin(), a.end(), b.begin(), b.end()).first - a.begin();
  ASSERT_TRUE(a == b) << "byte " << at;
}

TEST(ChangeResolutionLow, EqualsTheRulesForAllPairsOfDepths) {
  for (int to : kAllDepths) {
    for (int from : kAllDepths) {
      for (unsigned seed = 0; seed < 14; ++seed) {
        Random random(seed * 100 + static_cast<unsigned>(to * 7 + from));
        const ImagePtr dst = RandomImage(to, 530, 300, random);
        const ImagePtr src = RandomImage(from, 400, 590, random);
        const ImagePtr expected = Clone(*dst);
        const SizeCase c = RandomCase(*dst, *src, random);
        SCOPED_TRACE(testing::Message() << from << " to " << to << ", seed " << seed << ", " << c);
        to == 64 ? ModelLow64(*expected, *src, c) : ModelLow(*expected, *src, c);
        dst->ChangeResolutionLow(c.x, c.y, c.w, c.h, src.get(), c.sx, c.sy, c.sw, c.sh, c.behind,
                                 c.skip);
        ASSERT_NO_FATAL_FAILURE(ExpectPixels(*dst, *expected));
        ASSERT_EQ(dst->GetLockCount() + src->GetLockCount(), 0u);
      }
    }
  }
}

ImagePtr Row(int bits, const std::vector<DWORD>& colors) {
  ImagePtr image = MakeImage(bits, static_cast<int>(colors.size()), 1);
  image->Lock(0, 0, 1);
  for (const DWORD color : colors) {
    image->SetColor(color);
    image->NextCursorX();
  }
  image->Unlock();
  return image;
}

/// The native value that all of a row becomes.
DWORD Reduced(int bits, const std::vector<DWORD>& colors, int skip = 0) {
  const ImagePtr dst = MakeImage(bits, 1, 1), src = Row(bits, colors);
  const int n = static_cast<int>(colors.size());
  dst->ChangeResolutionLow(0, 0, 1, 1, src.get(), 0, 0, n, 1, 0, skip);
  dst->Lock(0, 0, 0);
  const DWORD color = dst->GetColor();
  dst->Unlock();
  return color;
}

TEST(ChangeResolutionLow, SumsDensitiesAndCountsPackedPixels) {
  EXPECT_EQ(Reduced(8, {100, 100, 100, 100}), 144u);  // 400 without its ninth bit
  EXPECT_EQ(Reduced(8, {100}), 100u);
  EXPECT_EQ(Reduced(2, {3, 3, 2, 0}), 3u);
  EXPECT_EQ(Reduced(2, {3, 2}), 2u);
  EXPECT_EQ(Reduced(2, {3, 0}), 0u);
  EXPECT_EQ(Reduced(1, {1, 0}), 0u);
  EXPECT_EQ(Reduced(1, {1, 1, 0}), 1u);
  EXPECT_EQ(Reduced(32, {0xFF0000FF, 0}), 0x7F00007Fu);
  EXPECT_EQ(Reduced(32, {0xFF0000FF, 0}, 1), 0x7F0000FFu);
}

int Stop() { return 1; }

TEST(Sampling, RefusesOrIgnoresWhatHasNoRule) {
  const ImagePtr image = MakeImage(32, 300, 300), wide = MakeImage(64, 300, 300);
  const ImagePtr none(KXVOffscreen::CreateOffscreen(32));
  for (KXVOffscreen* dst : {image.get(), wide.get()}) {
    EXPECT_EQ(CodeOf([&] { dst->ChangeResolutionLow(0, 0, 9, 9, dst, 0, 0, 5, 5, 0, 0); }),
              0x20010008);
    EXPECT_EQ(CodeOf([&] { dst->StretchCopy(0, 0, 9, 9, dst, 0, 0, 5, 5); }), 0x20010008);
    for (KXVOffscreen* src : {static_cast<KXVOffscreen*>(nullptr), none.get()}) {
      dst->ChangeResolutionLow(0, 0, 9, 9, src, 0, 0, 5, 5, 0, 0);
      dst->StretchCopy(0, 0, 9, 9, src, 0, 0, 5, 5);
    }
    const ImagePtr src = MakeImage(dst->GetBitCount(), 20, 20);
    for (int size : {0, -1, INT_MIN}) {
      dst->ChangeResolutionLow(0, 0, size, 9, src.get(), 0, 0, 5, 5, 0, 0);
      dst->ChangeResolutionLow(0, 0, 9, 9, src.get(), 0, 0, 5, size, 0, 0);
      dst->StretchCopy(0, 0, 9, size, src.get(), 0, 0, 5, 5);
      dst->StretchCopy(0, 0, 9, 9, src.get(), 0, 0, size, 5);
    }
    EXPECT_EQ(dst->GetUsedMemory(0), 0u);
    // The ends of 32 bits, where all ratios are.
    for (int at : {INT_MIN, -5, 0, INT_MAX - 5}) {
      dst->ChangeResolutionLow(at, at, INT_MAX, INT_MAX, src.get(), at, at, 1, INT_MAX, 0, 0);
      dst->ChangeResolutionLow(at, at, 1, INT_MAX, src.get(), at, at, INT_MAX, INT_MAX, 1, 1);
      dst->StretchCopy(at, at, INT_MAX, 1, src.get(), at, at, 1, INT_MAX);
    }
    // The wish to stop is heard, and leaves no lock.
    src->RectFill(src->GetRect(), 0, 0xFF000000);
    KXAbort::SetCallback(Stop);
    EXPECT_EQ(CodeOf([&] { dst->ChangeResolutionLow(0, 0, 9, 9, src.get(), 0, 0, 5, 5, 0, 0); }),
              0x20010004);
    EXPECT_EQ(CodeOf([&] { dst->StretchCopy(0, 0, 9, 9, src.get(), 0, 0, 5, 5); }), 0x20010004);
    KXAbort::SetCallback(nullptr);
    EXPECT_EQ(dst->GetLockCount() + src->GetLockCount(), 0u);
  }
}

// --- Copies of other sizes ----------------------------------------------------------------------

TEST(StretchCopy, EqualsTheRulesForAllPairsOfDepths) {
  for (int to : kAllDepths) {
    for (int from : kAllDepths) {
      for (unsigned seed = 0; seed < 8; ++seed) {
        Random random(seed * 100 + static_cast<unsigned>(to * 7 + from));
        const ImagePtr dst = RandomImage(to, 530, 300, random);
        const ImagePtr src = RandomImage(from, 400, 590, random);
        const ImagePtr expected = Clone(*dst);
        const SizeCase c = RandomCase(*dst, *src, random);
        SCOPED_TRACE(testing::Message() << from << " to " << to << ", seed " << seed << ", " << c);
        {
          KXVOffscreenAutoLock dstLock(expected.get(), 1), srcLock(src.get(), 0);
          const double ratioX = static_cast<double>(c.sw) / c.w, ratioY = 1.0 * c.sh / c.h;
          for (int j = 0; j < c.h; ++j) {
            expected->MoveCursor(c.x, c.y + j);
            for (int i = 0; i < c.w; ++i, expected->NextCursorX()) {
              src->MoveCursor(static_cast<int>(i * ratioX) + c.sx,
                              static_cast<int>(j * ratioY) + c.sy);
              from == 64 ? expected->Set64BitColor(src->Get64BitColor())
                         : expected->SetColor(src->GetColor());
            }
          }
        }
        dst->StretchCopy(c.x, c.y, c.w, c.h, src.get(), c.sx, c.sy, c.sw, c.sh);
        ASSERT_NO_FATAL_FAILURE(ExpectPixels(*dst, *expected));
      }
    }
  }
}

// --- Thumbnails ---------------------------------------------------------------------------------

TEST(CreateThumbnail, EqualsTheRules) {
  for (int bits : kAllDepths) {
    for (int depth : {8, 24, 32, 64, 16}) {
      Random random(static_cast<unsigned>(bits * 100 + depth));
      constexpr int kWidth = 70, kHeight = 50, kRowBytes = kWidth * 8 + 3;
      std::vector<BYTE> bytes(kRowBytes * kHeight);
      for (BYTE& byte : bytes) byte = static_cast<BYTE>(random.Bits());
      const ImagePtr dst = RandomImage(bits, 256, 256, random), expected = Clone(*dst);
      const int x = random.Int(-5, 60), y = random.Int(-5, 60), w = random.Int(1, 120),
                h = random.Int(1, 120);
      const int sx = random.Int(0, 20), sy = random.Int(0, 20), sw = random.Int(1, 50),
                sh = random.Int(1, 30);
      expected->Lock(0, 0, 1);
      for (int row = y; row < y + h; ++row) {
        for (int column = x; column < x + w; ++column) {
          const int top = (row - y) * sh / h + sy, left = (column - x) * sw / w + sx;
          const int bottom = std::min(std::max((row - y + 1) * sh / h + sy, top + 1), sh);
          const int right = std::min(std::max((column - x + 1) * sw / w + sx, left + 1), sw);
          unsigned sums[4] = {}, count = 0;
          for (int v = top; v < bottom; ++v) {
            for (int u = left; u < right; ++u, ++count) {
              const BYTE* p = &bytes[static_cast<std::size_t>(v * kRowBytes + u * (depth / 8))];
              for (int c = 0; c < 4; ++c) {
                if (depth == 8) sums[c] += c == 3 ? p[0] : 0;
                if (depth == 24) sums[c] += c == 3 ? 255 : p[c];
                if (depth == 32) sums[c] += p[c];
                if (depth == 64) sums[c] += p[2 * c + 1];
              }
            }
          }
          BYTE mean[4];
          for (int c = 0; c < 4; ++c)
            mean[c] = static_cast<BYTE>(count > 1 ? sums[c] / count : sums[c]);
          expected->MoveCursor(column, row);
          if (bits == 32 && expected->GetCurrentAddress()) {
            std::memcpy(expected->GetCurrentAddress(), mean, 4);
          } else {
            expected->Set32BitColor(mean[0] | mean[1] << 8 | mean[2] << 16 | DWORD{mean[3]} << 24);
          }
        }
      }
      expected->Unlock();
      dst->CreateThumbnail(x, y, w, h, bytes.data(), sx, sy, sw, sh, depth, kRowBytes);
      SCOPED_TRACE(testing::Message() << depth << " to " << bits);
      ASSERT_NO_FATAL_FAILURE(ExpectPixels(*dst, *expected));
    }
  }
}

TEST(CreateThumbnail, StaysInTheFirstBlockAt32Bits) {
  std::vector<BYTE> bits(400);
  const auto code = [&](int depth, int width, BYTE* from, int sx) {
    const ImagePtr image = MakeImage(depth, 300, 300);
    return CodeOf([&] { image->CreateThumbnail(0, 0, width, 9, from, sx, 0, 10, 10, 32, 40); });
  };
  EXPECT_EQ(code(32, 257, bits.data(), 0), 0x20010008);
  EXPECT_EQ(code(32, 256, bits.data(), 0), 0);
  EXPECT_EQ(code(24, 257, bits.data(), 0), 0);
  EXPECT_EQ(code(24, 9, nullptr, 0), 0x20010008);
  EXPECT_EQ(code(24, 9, bits.data(), -1), 0x20010008);
}

}  // namespace
