#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <vector>

#include "kxwcmn/platform/detail/faults.h"
#include "kxwcmn/platform/error.h"
#include "tests/compositing/copymodel.h"
#include "tests/support/failure.h"

// The model moves one pixel at a time by the cursor, and puts it at its place in the rows by hand.

namespace {

using namespace testing_kxw;
using Format = KXPixelFormat;

constexpr Format kFormats[] = {Format::kNative, Format::kDensity8, Format::kGrey8, Format::kRgba8,
                               Format::kBgra8,  Format::kRgba16,   Format::kBgra16};

int BitsOf(Format format, int bits) {
  if (format == Format::kNative) return bits;
  if (format == Format::kDensity8 || format == Format::kGrey8) return 8;
  if (format == Format::kRgba8 || format == Format::kBgra8) return 32;
  return 64;
}

/// The number with the channel of `size` bits that is lowest and the third one exchanged.
u64 Swapped(u64 color, int size) {
  const u64 mask = (u64{1} << size) - 1, low = color & mask, third = color >> 2 * size & mask;
  return (color & ~(mask | mask << 2 * size)) | low << 2 * size | third;
}

/// What the library reads from no memory, in the depth's own bits.
u64 RawNothing(int bits) { return bits == 24 ? 0xFFFFFF : 0; }

u64 ReadPixel(KXVOffscreen& image, Format format) {
  static const ImagePtr density = MakeImage(8, 1, 1);
  switch (format) {
    case Format::kNative:
      return image.GetCurrentAddress() ? RawPixel(image) : RawNothing(image.GetBitCount());
    case Format::kDensity8:
      return image.Get8BitColor();
    case Format::kGrey8: {
      KXVOffscreenAutoLock lock(density.get(), 0, 0, 1);
      density->Set32BitColor(image.Get32BitColor());
      return 255u - density->Get8BitColor();
    }
    case Format::kRgba8:
      return image.Get32BitColor();
    case Format::kBgra8:
      return Swapped(image.Get32BitColor(), 8);
    case Format::kRgba16:
      return image.Get64BitColor();
    default:
      return Swapped(image.Get64BitColor(), 16);
  }
}

void WritePixel(KXVOffscreen& image, Format format, u64 value) {
  const BYTE byte = static_cast<BYTE>(value);
  if (format == Format::kNative) return SetRawPixel(image, value);
  if (format == Format::kDensity8) return image.Set8BitColor(byte);
  if (format == Format::kGrey8) return image.Set32BitColor(kxw::MakeColor(byte, byte, byte, 255));
  if (format == Format::kRgba8) return image.Set32BitColor(static_cast<DWORD>(value));
  if (format == Format::kBgra8) return image.Set32BitColor(static_cast<DWORD>(Swapped(value, 8)));
  if (format == Format::kRgba16) return image.Set64BitColor(value);
  return image.Set64BitColor(Swapped(value, 16));
}

/// Rows of pixels with room around them that must never change.
struct PlainRows {
  PlainRows(const KXRect& area, int pixelBits, Random& random) : rect(area), bits(pixelBits) {
    const int rowBytes = (rect.Width() * bits + 7) / 8;
    const int gap = random.OneIn(3) ? 0 : random.Int(1, 40);
    stride = rowBytes + gap;
    bytes.resize(static_cast<std::size_t>(stride) * static_cast<std::size_t>(rect.Height()));
    for (BYTE& byte : bytes) byte = static_cast<BYTE>(random.OneIn(3) ? random.Bits() : 0);
    if (random.OneIn(2)) {
      first = (rect.Height() - 1) * stride;
      stride = -stride;
    } else if (gap == 0 && random.OneIn(2)) {
      isTight = true;
    }
  }
  BYTE* First() { return bytes.data() + first; }
  std::ptrdiff_t Stride() const { return isTight ? 0 : stride; }

  u64 Get(int x, int y) {
    u64 value = 0;
    if (bits >= 8) {
      std::memcpy(&value, At(x, y), static_cast<std::size_t>(bits / 8));
      return value;
    }
    return *At(x, y) >> Shift(x) & ((1 << bits) - 1);
  }
  void Set(int x, int y, u64 value) {
    if (bits >= 8) {
      std::memcpy(At(x, y), &value, static_cast<std::size_t>(bits / 8));
      return;
    }
    const int mask = ((1 << bits) - 1) << Shift(x);
    *At(x, y) = static_cast<BYTE>((*At(x, y) & ~mask) | value << Shift(x));
  }

  KXRect rect;
  int bits;
  std::ptrdiff_t stride, first = 0;
  bool isTight = false;  // the stride may be left to the operation
  std::vector<BYTE> bytes;

 private:
  BYTE* At(int x, int y) { return First() + (y - rect.top) * stride + (x - rect.left) * bits / 8; }
  int Shift(int x) const { return 8 - bits - (x - rect.left) * bits % 8; }
};

/// A rectangle that often begins and ends near seams and edges, or outside.
KXRect AnyRect(const KXVOffscreen& image, Random& random) {
  const int x = random.Edge(-20, image.GetWidth() + 10), y = random.Edge(-20, image.GetHeight());
  if (random.OneIn(4)) return KXRect(x, y, x + random.Int(1, 30), y + random.Int(1, 4));
  return KXRect(x, y, x + random.Edge(1, 330), y + random.Edge(1, 270));
}

template <class Test>
void ForEachCase(Test test) {
  for (const int bits : kAllDepths) {
    for (const Format format : kFormats) {
      for (unsigned seed = 0; seed < 5; ++seed) {
        Random random(seed);
        const ImagePtr image = RandomImage(bits, 300, 270, random);
        PlainRows rows(AnyRect(*image, random), BitsOf(format, bits), random);
        SCOPED_TRACE(testing::Message()
                     << bits << " bits, format " << static_cast<int>(format) << ", seed " << seed);
        test(*image, format, rows, random);
        if (testing::Test::HasFatalFailure()) return;
      }
    }
  }
}

TEST(Pixels, AreReadAsTheCursorReadsThem) {
  ForEachCase([](KXVOffscreen& image, Format format, PlainRows& rows, Random&) {
    PlainRows expected = rows;
    {
      KXVOffscreenAutoLock lock(&image, 0);
      const KXRect inside = rows.rect & image.GetRect();
      for (int y = inside.top; y < inside.bottom; ++y) {
        for (int x = inside.left; x < inside.right; ++x) {
          image.MoveCursor(x, y);
          expected.Set(x, y, ReadPixel(image, format));
        }
      }
    }
    const u64 used = image.GetUsedMemory(0);
    image.ReadPixels(rows.rect, format, rows.First(), rows.Stride());
    ASSERT_EQ(rows.bytes, expected.bytes);
    ASSERT_EQ(image.GetUsedMemory(0), used);
  });
}

// A block that had no memory has none afterwards where the cursor would have put nothing into it.
TEST(Pixels, AreWrittenAsTheCursorWritesThemButForHoles) {
  ForEachCase([](KXVOffscreen& image, Format format, PlainRows& rows, Random& random) {
    const u64 nothing = format == Format::kGrey8 || image.GetBitCount() == 24 ? ~0ull : 0;
    const KXRect inside = rows.rect & image.GetRect();
    const auto forEachBlock = [&](auto op) {
      KXBlockGetter blocks(&image, inside, 1);
      for (KXRect part; blocks.GetNextBlock(part);) {
        for (int y = part.top; y < part.bottom; ++y) {
          for (int x = part.left; x < part.right; ++x) op(x, y, part);
        }
      }
    };
    if (inside.IsRectEmpty()) return;
    bool isEmpty = false;
    forEachBlock([&](int x, int y, const KXRect& part) {
      if (x == part.left && y == part.top) isEmpty = random.OneIn(2);
      if (isEmpty) rows.Set(x, y, nothing);
      // Nothing but for the last pixel.
      if (isEmpty && x == part.right - 1 && y == part.bottom - 1 && random.OneIn(4)) {
        rows.Set(x, y, ~nothing);
      }
    });

    const ImagePtr expected = Clone(image);
    {
      KXVOffscreenAutoLock lock(expected.get(), 1);
      bool holdsNothing = true;
      forEachBlock([&](int x, int y, const KXRect& part) {
        expected->MoveCursor(x, y);
        WritePixel(*expected, format, rows.Get(x, y));
        if (RawPixel(*expected) != RawNothing(image.GetBitCount())) holdsNothing = false;
        if (x != part.right - 1 || y != part.bottom - 1) return;
        if (holdsNothing && !image.GetBlockExist(x, y)) expected->DestroyBlock(x, y);
        holdsNothing = true;
      });
    }
    image.WritePixels(rows.rect, format, rows.First(), rows.Stride());
    for (int i = 0; i < image.GetBlockCount(nullptr, nullptr); ++i) {
      ASSERT_EQ(!image.GetBlockExist(i), !expected->GetBlockExist(i)) << "block " << i;
    }
    ExpectSame(image, *expected);
  });
}

// So many bytes go past the caches, and parts of them do not.
TEST(Pixels, OfAHugePictureAreThoseOfItsParts) {
  constexpr int kWidth = 3001, kHeight = 3800, kStrip = 475;
  const ImagePtr image = MakeImage(24, kWidth, kHeight);
  std::vector<BYTE> noise(kWidth * kHeight * 3);
  Random random(8);
  for (std::size_t i = 0; i + 8 < noise.size(); i += 8) {
    const u64 word = random.Bits();
    std::memcpy(&noise[i], &word, sizeof word);
  }
  image->WritePixels(image->GetRect(), Format::kNative, noise.data());
  for (const Format format : {Format::kNative, Format::kRgba8}) {
    const std::size_t rowBytes = image->GetPixelRowBytes(format, kWidth);
    std::vector<BYTE> whole(1 + rowBytes * kHeight), part(rowBytes * kStrip);
    image->ReadPixels(image->GetRect(), format, &whole[1]);
    for (int y = 0; y < kHeight; y += kStrip) {
      image->ReadPixels(KXRect(0, y, kWidth, y + kStrip), format, part.data());
      const BYTE* const rows = &whole[1 + rowBytes * static_cast<std::size_t>(y)];
      ASSERT_EQ(std::memcmp(rows, part.data(), part.size()), 0) << y;
      if (format == Format::kNative) {
        ASSERT_EQ(std::memcmp(rows, &noise[rowBytes * static_cast<std::size_t>(y)], part.size()),
                  0);
      }
    }
  }
}

TEST(Pixels, RefuseRowsThatCannotBe) {
  const ImagePtr image = MakeImage(2, 300, 300);
  BYTE rows[64] = {};
  constexpr auto kMost = std::numeric_limits<std::ptrdiff_t>::max();
  constexpr int kFar = 0x7FFFFFFF;
  const KXRect two(250, 7, 260, 9), one(250, 7, 260, 8), all(-kFar - 1, -kFar - 1, kFar, kFar);
  const struct {
    KXRect rect;
    Format format;
    void* rows;
    std::ptrdiff_t stride;
    int code;
  } cases[] = {
      {two, Format::kNative, rows, 3, 0},  // ten pixels of 2 bits
      {two, Format::kNative, rows + 8, -3, 0},
      {two, Format::kNative, rows, 2, kxw::kFailureBadArgument},
      {two, Format::kNative, rows + 8, -2, kxw::kFailureBadArgument},
      {one, Format::kRgba8, rows, 39, kxw::kFailureBadArgument},
      {one, Format::kRgba8, rows, kMost, 0},
      {two, Format::kRgba8, rows, kMost, kxw::kFailureBadArgument},
      {two, Format::kRgba8, rows, -kMost - 1, kxw::kFailureBadArgument},
      {two, Format::kRgba8, nullptr, 40, kxw::kFailureBadArgument},
      {KXRect(-9, 7, 0, 9), Format::kRgba8, nullptr, 40, kxw::kFailureBadArgument},
      {KXRect(9, 7, 9, 9), Format::kRgba8, nullptr, 1, 0},
      {KXRect(9, 7, -kFar, 9), Format::kRgba8, nullptr, 1, 0},
      {KXRect(kFar - 2, 7, kFar, 9), Format::kRgba8, rows, 8, 0},
      {all, Format::kRgba16, rows, 0, kxw::kFailureBadArgument},
      {KXRect(9, 7, 9, 9), Format(-1), rows, 40, kxw::kFailureBadArgument},
      {two, Format(7), rows, 40, kxw::kFailureBadArgument},
  };
  for (const auto& c : cases) {
    const auto i = &c - cases;
    EXPECT_EQ(CodeOf([&] { image->ReadPixels(c.rect, c.format, c.rows, c.stride); }), c.code) << i;
    EXPECT_EQ(CodeOf([&] { image->WritePixels(c.rect, c.format, c.rows, c.stride); }), c.code) << i;
    EXPECT_EQ(image->GetLockCount(), 0u);
  }
  EXPECT_EQ(image->GetUsedMemory(0), 0u);

  EXPECT_EQ(image->GetPixelRowBytes(Format::kNative, 5), 2u);
  EXPECT_EQ(image->GetPixelRowBytes(Format::kBgra16, kFar), 8ull * kFar);
  EXPECT_EQ(CodeOf([&] { image->GetPixelRowBytes(Format(7), 1); }), kxw::kFailureBadArgument);
  EXPECT_EQ(CodeOf([&] { image->GetPixelRowBytes(Format::kGrey8, -1); }), kxw::kFailureBadArgument);

  const ImagePtr never(KXVOffscreen::CreateOffscreen(32));  // not created: nothing lies inside
  never->WritePixels(two, Format::kRgba8, rows, 40);
  never->ReadPixels(all & KXRect(-5, -5, 5, 1), Format::kGrey8, rows);
}

TEST(Pixels, LeaveTheCallersLockAndRaiseForBlocksThatCannotComeIn) {
  const ImagePtr image = MakeImage(32, 600, 300);
  DWORD row[600];
  std::memset(row, 0x55, sizeof row);
  const KXRect line(0, 20, 600, 21);
  {
    KXVOffscreenAutoLock lock(image.get(), 300, 5, 0);
    image->WritePixels(line, Format::kRgba8, row);
    EXPECT_EQ(image->GetCursorPosX(), 300);
    EXPECT_EQ(image->GetCursorPosY(), 5);
    image->MoveCursor(300, 280);  // a block that is not there, and is not made by a read lock
    EXPECT_EQ(image->GetCurrentAddress(), nullptr);
  }
  {
    // No block comes into being for a read inside a lock for writing.
    KXVOffscreenAutoLock lock(image.get(), 300, 5, 1);
    image->ReadPixels(KXRect(0, 260, 600, 261), Format::kRgba8, row);
  }
  EXPECT_EQ(image->GetUsedMemory(0), u64{3} << 18);
  EXPECT_EQ(row[599], 0u);

  image->UnloadAllBlock();
  {
    kxw::detail::ScopedFaults faults;
    faults.Fail(kxw::detail::FaultPoint::kRead, 1, kxw::kErrorReadFault, 100);
    EXPECT_EQ(CodeOf([&] { image->ReadPixels(line, Format::kRgba8, row); }),
              kxw::kErrorNotEnoughMemory);
  }
  EXPECT_EQ(image->GetLockCount(), 0u);
  image->ReadPixels(line, Format::kRgba8, row);
  EXPECT_EQ(row[0], 0x55555555u);
}

}  // namespace
