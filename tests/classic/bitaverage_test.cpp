#include <gtest/gtest.h>

#include <algorithm>
#include <climits>

#include "tests/classic/bitsupport.h"

namespace {

using namespace classic_test;

struct Boxes {
  int destX, destY, destW, destH, srcX, srcY, srcW, srcH;
};

void Apply(const Boxes& b, BitPicture& to, const BitPicture& from) {
  from.image.AntiAliasCopy32(&to.image, b.destX, b.destY, b.destW, b.destH, b.srcX, b.srcY, b.srcW,
                             b.srcH);
}

/// The rules, box after box and pixel after pixel.
void Model(const Boxes& b, BitPicture& to, const BitPicture& from) {
  if (b.destW >= b.srcW || b.destH >= b.srcH) {
    from.image.StretchCopy(&to.image, b.destX, b.destY, b.destW, b.destH, b.srcX, b.srcY, b.srcW,
                           b.srcH);
  }
  const bool hasAlpha = from.image.GetBitCount() == 32;
  const int stepX = static_cast<int>(double(b.srcW) / b.destW * 4096.0);
  const int stepY = static_cast<int>(double(b.srcH) / b.destH * 4096.0);
  const auto far = [](int position, int limit) {
    return std::max(std::min(position >> 12, limit), 0);
  };
  for (int j = 0, nearY = 0, posY = 0; j < b.destH; ++j) {
    posY += stepY;
    const int farY = far(posY, b.srcH - b.srcY);
    for (int i = 0, nearX = 0, posX = 0; i < b.destW; ++i) {
      posX += stepX;
      const int farX = far(posX, b.srcW - b.srcX);
      const int x = b.destX + i, y = b.destY + j;
      if (x >= 0 && x < to.image.GetWidth() && y >= 0 && y < to.image.GetHeight()) {
        int sums[4] = {}, drawn = 0;
        for (int v = nearY; v < farY; ++v) {
          for (int u = nearX; u < farX; ++u) {
            const Channels p = from.Get(b.srcX + u, b.srcY + v);
            if (hasAlpha && p[3] == 0) continue;
            for (std::size_t c = 0; c < p.size(); ++c) sums[c] += p[c];
            ++drawn;
          }
        }
        const int area = (farX - nearX) * (farY - nearY);
        Channels result = {255, 255, 255, 0};
        if (drawn > 0) {
          result = {sums[0] / drawn, sums[1] / drawn, sums[2] / drawn,
                    hasAlpha ? sums[3] / area : 255};
        }
        if (to.image.GetBitCount() == 24) result.pop_back();
        if (hasAlpha || area > 0) to.Set(x, y, result);
      }
      nearX = farX;
    }
    nearY = farY;
  }
}

TEST(BitAverages, EqualSumsOfEachBox) {
  Random random(81);
  for (int fromBits : {24, 32}) {
    for (int toBits : {24, 32}) {
      for (int i = 0; i < 400; ++i) {
        const bool isLarge = random.OneIn(40);
        BitPicture from(fromBits, isLarge ? random.Int(1000, 3000) : random.Int(1, 90),
                        isLarge ? random.Int(1, 4) : random.Int(1, 40), random);
        // Pictures that are opaque, that have a few holes, and that have any alpha.
        const int kind = random.Int(0, 2);
        for (std::size_t at = 3; fromBits == 32 && at < from.bytes.size(); at += 4) {
          if (kind == 0 || (kind == 1 && !random.OneIn(50))) from.bytes[at] = 255;
          if (kind == 1 && from.bytes[at] != 255) from.bytes[at] = 0;
        }
        BitPicture to(toBits, random.Int(1, 60), random.Int(1, 20), random), expected(to);
        const int srcW = random.Int(1, from.image.GetWidth());
        const int srcH = random.Int(1, from.image.GetHeight());
        const bool isPart = random.OneIn(3);
        const int destW = random.Int(1, random.OneIn(4) ? 2 * srcW : srcW);
        const int destH = random.Int(1, random.OneIn(4) ? 2 * srcH : srcH);
        const Boxes b{random.OneIn(2) ? 0 : random.Int(-20, 30),
                      random.OneIn(2) ? 0 : random.Int(-9, 9),
                      destW,
                      destH,
                      isPart ? random.Int(0, from.image.GetWidth() - srcW) : 0,
                      isPart ? random.Int(0, from.image.GetHeight() - srcH) : 0,
                      srcW,
                      srcH};
        Model(b, expected, from);
        Apply(b, to, from);
        ASSERT_EQ(to.bytes, expected.bytes) << fromBits << " to " << toBits << ", case " << i;
      }
    }
  }
}

/// Fills a picture with stretches as a cel has them: of one colour, clear with whatever colour,
/// with holes, and of noise, with many channels near their ends.
void PaintStretches(BitPicture& picture, Random& random) {
  const std::size_t size = picture.image.GetBitCount() == 32 ? 4 : 3;
  for (std::size_t at = 0; at + size <= picture.bytes.size();) {
    const int kind = random.Int(0, 4), alpha = kind == 0 ? 0 : random.OneIn(3) ? 1 : 255;
    const BYTE flat = static_cast<BYTE>(random.Int(0, 255));
    for (int left = random.Int(1, 150); left > 0 && at + size <= picture.bytes.size(); --left) {
      for (std::size_t c = 0; c < size; ++c) {
        if (kind == 1) picture.bytes[at + c] = flat;
        if (kind >= 3 && random.OneIn(2)) picture.bytes[at + c] = random.OneIn(2) ? 255 : 0;
      }
      if (size == 4 && kind < 4) picture.bytes[at + 3] = static_cast<BYTE>(alpha);
      if (size == 4 && kind == 3 && random.OneIn(9)) picture.bytes[at + 3] = 0;
      at += size;
    }
  }
}

// Boxes of one and two columns and rows, on rows that are longer than a few dozen boxes and that
// end anywhere.
TEST(BitAverages, EqualSumsOfSmallBoxes) {
  Random random(83);
  for (int i = 0; i < 240; ++i) {
    BitPicture from(i & 1 ? 24 : 32, random.Int(1, 700), random.Int(1, 40), random);
    PaintStretches(from, random);
    const int width = from.image.GetWidth(), height = from.image.GetHeight();
    BitPicture to(i & 2 ? 24 : 32, width, height, random), expected(to);
    const Boxes b{random.OneIn(2) ? 0 : random.Int(-300, 300),
                  0,
                  random.Int(std::min(width / 2 + 1, width), width),
                  random.Int(std::min(height / 2 + 1, height), height),
                  0,
                  0,
                  width,
                  height};
    Model(b, expected, from);
    Apply(b, to, from);
    ASSERT_EQ(to.bytes, expected.bytes) << "case " << i;
  }
}

TEST(BitAverages, TakeAnyNumbersAndDepths) {
  Random random(82);
  const int numbers[] = {INT_MIN, INT_MIN + 1, -1000, -1, 0, 1, 7, 1000, INT_MAX / 2, INT_MAX};
  BitPicture from(32, 40, 30, random), to(24, 50, 20, random), grey(8, 40, 30, random);
  const auto draw = [&] { return numbers[random.Int(0, 9)]; };
  for (int i = 0; i < 20000; ++i) {
    const Boxes b{draw(), draw(), draw(), draw(), draw(), draw(), draw(), draw()};
    Apply(b, to, from);
    Apply(b, from, from);
  }
  const auto before = to.bytes;
  Apply({0, 0, 10, 10, 0, 0, 40, 30}, to, grey);
  Apply({0, 0, 10, 10, 0, 0, 41, 30}, to, from);  // beyond the source
  Apply({0, 0, 10, 10, -1, 0, 30, 30}, to, from);
  from.image.AntiAliasCopy32(nullptr, 0, 0, 10, 10, 0, 0, 40, 30);
  EXPECT_EQ(to.bytes, before);
  // Pixels that stand somewhere else, at an odd address.
  std::vector<BYTE> shifted(1);
  shifted.insert(shifted.end(), from.bytes.begin(), from.bytes.end());
  KXBitImage odd;
  odd.SetReference(&shifted[1], 40, 30, 32);
  odd.AntiAliasCopy32(&to.image, 0, 0, 10, 10, 0, 0, 40, 30);
  const auto fromOdd = to.bytes;
  Apply({0, 0, 10, 10, 0, 0, 40, 30}, to, from);
  EXPECT_EQ(to.bytes, fromOdd);
}

}  // namespace
