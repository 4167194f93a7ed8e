#include "kxwcmn/classic/bitimage.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>

#include "tests/classic/bitsupport.h"
#include "tests/support/failure.h"

namespace {

using namespace classic_test;

constexpr int kLeast = std::numeric_limits<int>::min(), kMost = std::numeric_limits<int>::max();
constexpr int kBitDepths[] = {1, 8, 16, 24, 32, 64};

// --- Life ----------------------------------------------------------------------------------------

TEST(BitImage, DescribesItselfToADevice) {
  KXBitImage image;
  EXPECT_FALSE(image.IsValid());
  EXPECT_EQ(image.GetBltMode(), 0xCC0020);
  for (const auto& [bits, rowBytes, colors] :
       {std::tuple(1, 8, 2u), {4, 20, 16u}, {8, 36, 256u}, {24, 100, 0u}, {32, 132, 0u}}) {
    image.Create(33, 5, bits);
    const BITMAPINFOHEADER& head = *image.GetBitmapInfoHeader();
    EXPECT_EQ(image.GetRowBytes(), rowBytes);
    EXPECT_TRUE(head.biSize == 40 && head.biPlanes == 1 && head.biWidth == 33 &&
                head.biHeight == -5 && head.biBitCount == bits && head.biClrUsed == colors);
    const auto* const palette = reinterpret_cast<const BYTE*>(&head) + 40;
    EXPECT_EQ(palette, reinterpret_cast<const BYTE*>(image.GetPalettes()));
    for (DWORD i = 0; i < colors && bits != 4; ++i) {
      const auto grey = static_cast<BYTE>(i * 255 / (colors - 1));
      const BYTE expected[] = {grey, grey, grey};
      EXPECT_EQ(std::memcmp(palette + 4 * i, expected, 3), 0) << i;
    }
  }
}

TEST(BitImage, CopiesPixelsAndPaletteToOneOfItsOwn) {
  Random random(61);
  BitPicture picture(8, 13, 7, random);
  picture.image.GetPalettes()[9].rgbRed = 77;
  KXBitImage copy(picture.image), other;
  other.Create(4, 4, 32);
  other = copy;
  // A reference to the pixels that the copy replaces.
  KXBitImage reference;
  reference.SetReference(other.GetBaseAddress(), 13, 7, 8);
  reference.GetPalettes()[9].rgbRed = 78;
  other = reference;
  const auto before = picture.bytes;
  picture.image.Clear();
  EXPECT_EQ(picture.bytes, std::vector<BYTE>(picture.bytes.size()));
  for (const KXBitImage* image : {&copy, &other}) {
    const BYTE* const base = image->GetBaseAddress();
    EXPECT_EQ(std::vector<BYTE>(base, base + 16 * 7), before);
    EXPECT_EQ(image->GetWidth(), 13);
    EXPECT_EQ(image->GetHeight(), 7);
  }
  EXPECT_EQ(copy.GetPalettes()[9].rgbRed, 77);
  EXPECT_EQ(other.GetPalettes()[9].rgbRed, 78);
  copy = KXBitImage();
  EXPECT_FALSE(copy.IsValid());
}

TEST(BitImage, RefusesWhatIsNoImage) {
  KXBitImage image;
  BYTE byte = 0;
  for (int bits : {0, 2, -8, 12, 48, 128}) {
    EXPECT_EQ(CodeOf([&] { image.Create(4, 4, bits); }), 0x20010008);
    EXPECT_EQ(CodeOf([&] { image.SetReference(&byte, 4, 4, bits); }), 0x20010008);
  }
  EXPECT_EQ(CodeOf([&] { image.Create(-1, 4, 8); }), 0x20010008);
  EXPECT_EQ(CodeOf([&] { image.Create(4, kLeast, 8); }), 0x20010008);
  EXPECT_EQ(CodeOf([&] { image.Create(0x40000000, 1, 32); }), 0x20010008);
  EXPECT_EQ(CodeOf([&] { image.Create(kMost, 1, 1); }), 0x20010008);
  EXPECT_EQ(CodeOf([&] { image.Create(70000, 70000, 8); }), 8);
  EXPECT_EQ(CodeOf([&] { image.SetReference(nullptr, 4, 4, 8); }), 0x20010008);
  EXPECT_FALSE(image.IsValid());
  image.Create(0, 0, 8);
  image.Clear();
  EXPECT_TRUE(image.IsValid());
}

// --- Copies of other sizes -----------------------------------------------------------------------

struct Stretch {
  int destX, destY, destW, destH, srcX, srcY, srcW, srcH;
};

std::ostream& operator<<(std::ostream& out, const Stretch& s) {
  return out << s.destX << ' ' << s.destY << ' ' << s.destW << 'x' << s.destH << " from " << s.srcX
             << ' ' << s.srcY << ' ' << s.srcW << 'x' << s.srcH;
}

int Apply(const Stretch& s, BitPicture& to, const BitPicture& from) {
  return from.image.StretchCopy(&to.image, s.destX, s.destY, s.destW, s.destH, s.srcX, s.srcY,
                                s.srcW, s.srcH);
}

/// The rules of clipping and of the choice of a walk, as they are told. Returns what StretchCopy
/// should return; -1 if pixels outside the source would be read.
int ModelStretch(Stretch s, BitPicture& to, const BitPicture& from) {
  const int fullW = s.destW, fullH = s.destH, fullSrcW = s.srcW, fullSrcH = s.srcH;
  int errorX = s.destW, errorY = s.destH;
  const auto clipLow = [](int& dest, int& destSize, int& src, int& srcSize, int& error) {
    if (dest >= 0) return true;
    if (destSize + dest < 1) return false;
    const int k = dest * srcSize;
    error = destSize - -k % destSize;
    src -= k / destSize;
    srcSize += k / destSize;
    destSize += dest;
    dest = 0;
    return true;
  };
  const auto clipHigh = [](int dest, int& destSize, int& srcSize, int limit) {
    if (dest + destSize <= limit) return;
    const int w = limit - dest;
    srcSize = w * srcSize / destSize;
    destSize = w;
  };
  if (!clipLow(s.destX, s.destW, s.srcX, s.srcW, errorX)) return 0;
  if (!clipLow(s.destY, s.destH, s.srcY, s.srcH, errorY)) return 0;
  if (s.destW <= 0 || s.destH <= 0) return 0;
  clipHigh(s.destX, s.destW, s.srcW, to.image.GetWidth());
  clipHigh(s.destY, s.destH, s.srcH, to.image.GetHeight());
  if (s.srcW <= 0 || s.srcH <= 0 || s.destW <= 0 || s.destH <= 0) return 0;

  const int fromBits = from.image.GetBitCount(), toBits = to.image.GetBitCount();
  std::vector<int> columns, rows;
  const bool isEqual = s.destW == s.srcW && s.destH == s.srcH;
  if (isEqual || (s.destW <= s.srcW && s.destH <= s.srcH)) {
    columns = ReducedSteps(s.srcX, s.srcW, s.destW);
    rows = ReducedSteps(s.srcY, s.srcH, s.destH);
  } else if (s.destW >= s.srcW && s.destH >= s.srcH) {
    columns = EnlargedSteps(s.srcX, fullSrcW, fullW, errorX, s.destW);
    rows = EnlargedSteps(s.srcY, fullSrcH, fullH, errorY, s.destH, toBits == 1);
  } else {
    return 1;
  }
  const bool hasKernel = !Converted({0, 0, 0, 0}, fromBits, toBits).empty();
  if (!hasKernel || (fromBits == 64 && !isEqual)) return 1;
  if (columns[0] < 0 || columns.back() >= from.image.GetWidth() || rows[0] < 0 ||
      rows.back() >= from.image.GetHeight()) {
    return -1;
  }
  ModelPick(to, s.destX, s.destY, from, columns, rows);
  return 1;
}

TEST(BitImageStretch, ClipsAndScalesAsTold) {
  Random random(62);
  int counts[3] = {};
  for (int fromBits : kBitDepths) {
    for (int toBits : kBitDepths) {
      for (int i = 0; i < 150; ++i) {
        // Columns are worked out for some thousands at a time.
        const int widest = i == 0 ? 20000 : 60;
        BitPicture from(fromBits, random.Int(1, widest), random.Int(1, 12), random);
        BitPicture to(toBits, random.Int(1, widest), random.Int(1, 12), random);
        const int srcW = random.Int(1, from.image.GetWidth());
        const int srcH = random.Int(1, from.image.GetHeight());
        const int kind = random.Int(0, 3);
        const auto sizeOf = [&](int src) {
          if (kind == 0) return src;
          if (kind == 1) return random.Int(1, src);
          return random.OneIn(3) ? src * random.Int(1, 3)
                                 : random.Int(kind == 2 ? src : 1, 3 * src);
        };
        const int destW = sizeOf(srcW), destH = sizeOf(srcH);
        const Stretch s{random.Int(-destW, to.image.GetWidth()),
                        random.Int(-destH, to.image.GetHeight()),
                        destW,
                        destH,
                        random.Int(-1, from.image.GetWidth() - srcW + 1),
                        random.Int(-1, from.image.GetHeight() - srcH + 1),
                        srcW,
                        srcH};
        BitPicture expected(to);
        const int result = ModelStretch(s, expected, from);
        ASSERT_EQ(Apply(s, to, from), std::max(result, 0))
            << fromBits << " to " << toBits << ' ' << s;
        ASSERT_EQ(to.bytes, expected.bytes) << fromBits << " to " << toBits << ' ' << s;
        ++counts[result + 1];
      }
    }
  }
  for (int count : counts) EXPECT_GT(count, 100);  // each outcome was met
}

TEST(BitImageStretch, IsSafeForAnyNumbers) {
  Random random(63);
  const int numbers[] = {kLeast, kLeast + 1, -kMost / 2, -1000,     -1,   0,
                         1,      7,          1000,       kMost / 2, kMost};
  BitPicture from(8, 40, 30, random), to(24, 50, 20, random);
  const auto draw = [&] { return numbers[random.Int(0, 10)]; };
  for (int i = 0; i < 20000; ++i) {
    const auto before = to.bytes;
    const Stretch s{draw(), draw(), draw(), draw(), draw(), draw(), draw(), draw()};
    const int result = Apply(s, to, from);
    ASSERT_TRUE(result == 1 || to.bytes == before) << s;
  }
  // Where less than a pixel of the source would be seen, none is.
  EXPECT_EQ(Apply({-90, 0, 60 * 40, 30, 0, 0, 40, 30}, to, from), 0);
  EXPECT_EQ(Apply({-90, 0, 50 * 40, 30, 0, 0, 40, 30}, to, from), 1);
  KXBitImage none;
  EXPECT_EQ(none.StretchCopy(&to.image, 0, 0, 5, 5, 0, 0, 5, 5), 0);
  EXPECT_EQ(to.image.StretchCopy(&none, 0, 0, 5, 5, 0, 0, 5, 5), 0);
  EXPECT_EQ(to.image.StretchCopy(nullptr, 0, 0, 5, 5, 0, 0, 5, 5), 0);
}

TEST(BitImageStretch, ReadsItselfAsItWas) {
  Random random(65);
  for (int bits : {1, 8, 32}) {
    BitPicture picture(bits, 60, 20, random);
    const BitPicture before(picture);
    BitPicture expected(picture);
    const Stretch s{7, 2, 50, 17, 1, 1, 33, 11};
    ASSERT_EQ(ModelStretch(s, expected, before), 1);
    EXPECT_EQ(Apply(s, picture, picture), 1);
    EXPECT_EQ(picture.bytes, expected.bytes);
  }
}

}  // namespace
