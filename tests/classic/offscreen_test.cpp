#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <utility>

#include "kxwcmn/platform/detail/faults.h"
#include "kxwcmn/platform/error.h"
#include "tests/classic/support.h"
#include "tests/support/failure.h"

namespace {

using namespace classic_test;
using kxw::detail::FaultPoint;
using kxw::detail::ScopedFaults;

constexpr int kMin = std::numeric_limits<int>::min(), kMax = std::numeric_limits<int>::max();
constexpr int kBadArgument = 0x20010008;

TEST(ClassicImage, RowsAreAlignedTo32Bits) {
  for (int width : {0, 1, 31, 32, 33, 64, 65}) {
    for (int bits : kDepths) {
      const int rowBytes = (width * bits + 31) / 32 * 4;
      EXPECT_EQ(KXOffscreen::CalcRowLineBufferSize(width, bits), rowBytes);
      KXOffscreen image;
      image.Create(width, 7, bits, 0, 1);
      EXPECT_EQ(image.GetRowBytes(), rowBytes);
      EXPECT_EQ(image.GetBufferSize(), 7 * rowBytes);
    }
  }
  EXPECT_EQ(KXOffscreen::CalcBufferSize(32768, 65536, 32), i64{1} << 33);
  for (int bits : {0, 2, 16, 64, -1}) {
    EXPECT_EQ(CodeOf([&] { KXOffscreen::CalcRowLineBufferSize(8, bits); }), kBadArgument);
  }
  EXPECT_EQ(CodeOf([] { KXOffscreen::CalcRowLineBufferSize(kMax, 32); }), kBadArgument);

  // A negative value takes its remainder's size off, which is no rounding.
  const int aligned[][3] = {{0, 0, 0},    {1, 32, 64},   {32, 32, 64},    {33, 64, 64},
                            {-1, 30, 62}, {-33, -2, -2}, {-64, -64, -64}, {-31, -30, 2}};
  for (const auto& [value, to32, to64] : aligned) {
    EXPECT_EQ(KXOffscreen::Align32Bit(value), to32) << value;
    EXPECT_EQ(KXOffscreen::Align64Bit(value), to64) << value;
  }
  EXPECT_EQ(CodeOf([] { KXOffscreen::Align32Bit(kMax); }), kBadArgument);

  tagRECT rect = {-13, 1, 13, 2};
  KXOffscreen::CalcAlign8BitRect(rect, 8);
  EXPECT_EQ(rect.left, -13);
  KXOffscreen::CalcAlign8BitRect(rect, 1);
  EXPECT_EQ(rect.left, -16);
  EXPECT_EQ(rect.right, 13);
}

TEST(ClassicImage, CreationFailsClearlyAndLeavesNothing) {
  struct {
    int width, height, bits, code;
  } cases[] = {{-1, 5, 8, kBadArgument},   {5, -1, 8, kBadArgument},
               {5, 5, 16, kBadArgument},   {kMax, 1, 32, kBadArgument},
               {kMax, 1, 1, kBadArgument}, {kMin, kMin, 1, kBadArgument},
               {65536, 65536, 32, 8},      {0x7FFFFF00, 0x7FFFFF00, 1, 8}};
  for (const auto& c : cases) {
    KXOffscreen image;
    image.Create(3, 3, 24, 0, 1);
    EXPECT_EQ(CodeOf([&] { image.Create(c.width, c.height, c.bits, 0, 1); }), c.code);
    EXPECT_FALSE(image.IsValid());
    EXPECT_EQ(image.GetWidth(), 0);
    image.Lock();
    EXPECT_EQ(image.GetBaseAddress(), nullptr);
  }
  for (int nth : {1, 2}) {
    KXOffscreen image;
    ScopedFaults faults;
    faults.Fail(FaultPoint::kAlloc, nth, kxw::kErrorNotEnoughMemory);
    EXPECT_EQ(CodeOf([&] { image.Create(100, 100, 24, 0, 1); }), 8);
    EXPECT_FALSE(image.IsValid());
    image.Create(100, 100, 24, 0, 1);
    EXPECT_TRUE(image.IsValid());
  }
}

TEST(ClassicImage, WithoutColumnsMayHaveAnyNumberOfRows) {
  for (int bits : kDepths) {
    KXOffscreen image, other;
    image.Create(0, 0x7FFFFF00, bits, 0, 1);
    other.Create(0, 0x7FFFFF00, bits, 0, 1);
    image.Lock();
    other.Lock();
    EXPECT_NE(image.GetBaseAddress(), nullptr);
    image.Reverse();
    image.CreateFlipImage(0);
    image.CreateFlipImage(1);
    image.ChangeResolution(0, 0, 10, 10, &other, 0, 0, 20, 20, KXOffscreen::cnHighLevelRes);
    EXPECT_EQ(image.GetBufferSize(), 0);
  }
}

TEST(ClassicImage, LocksNest) {
  KXOffscreen image;
  image.Unlock();
  image.Create(5, 5, 8, 0, 0);
  EXPECT_EQ(image.GetBaseAddress(), nullptr);
  {
    KXStLockOff lock(&image);
    image.Lock();
    image.Unlock();
    EXPECT_NE(image.GetBaseAddress(), nullptr);
  }
  EXPECT_EQ(image.GetBaseAddress(), nullptr);

  // Meant: an explicit unlock and the end of the scope take two locks back.
  image.Lock();
  {
    KXStLockOff lock;
    lock.Lock(&image);
    lock.Unlock();
    EXPECT_NE(image.GetBaseAddress(), nullptr);
  }
  EXPECT_EQ(image.GetBaseAddress(), nullptr);
  KXStLockOff nothing(nullptr);
  nothing.Unlock();
}

TEST(ClassicImage, CopiesArePixelsAlone) {
  Random random(5);
  for (int bits : kDepths) {
    const auto image = MakeNoise(bits, 45, 9, random);
    image->SetForeColor(DWORD{0x123456});
    image->SetClipRect({1, 2, 3, 4});
    image->Unlock();
    KXOffscreen copy(*image);
    EXPECT_EQ(image->GetBaseAddress(), nullptr);
    EXPECT_EQ(copy.GetForeColor(), 0u);
    EXPECT_EQ(copy.GetClipMode(), 0);
    const KXOffscreen& same = copy;
    copy = same;
    copy.Lock();
    image->Lock();
    EXPECT_EQ(BytesOf(copy), BytesOf(*image));
    copy = KXOffscreen();
    EXPECT_FALSE(copy.IsValid());
  }
}

TEST(ClassicImage, TakesOverImagesOfThePlatform) {
  KXOffscreen image;
  image.Create(3, 3, 1, 0, 1);
  QMHANDLE__* const handle = qmImageCreate(9, 4, 24, nullptr);
  qmImageSetLayerKind(handle, 77);
  image.SetQMImage(handle);
  image.SetQMImage(image);
  EXPECT_EQ(static_cast<QMHANDLE__*>(image), handle);
  EXPECT_EQ(image.GetWidth(), 9);
  EXPECT_EQ(image.GetBitCount(), 24);
  EXPECT_EQ(image.GetLayerKind(), 77);

  QMHANDLE__* const other = qmAlloc(5000, 0, nullptr);
  for (QMHANDLE__* wrong : {static_cast<QMHANDLE__*>(nullptr), other}) {
    EXPECT_EQ(CodeOf([&] { image.SetQMImage(wrong); }), kBadArgument);
  }
  EXPECT_EQ(static_cast<QMHANDLE__*>(image), handle);
  QMIMAGELOCK record;
  EXPECT_EQ(qmImageLock(other, &record), 0);
  qmFree(other);
}

TEST(ClassicImage, ForeColorInEveryDepth) {
  KXOffscreen image;
  image.SetForeColor(tagQMRGBCOLOR16{0x12FF, 0x34FF, 0x5600, 0x78FF});
  EXPECT_EQ(image.GetForeColor(), 0x12785634u);
  for (const auto& [set, got] : {std::pair{-5, 0}, {0, 0}, {77, 77}, {256, 255}}) {
    image.SetTransparency(set);
    EXPECT_EQ(image.GetTransparency(), got);
  }
}

// A fill with the old row buffer would show in the second image.
TEST(ClassicFill, EqualsThePixelByPixelFill) {
  Random random(6);
  for (int bits : kDepths) {
    for (int i = 0; i < 60; ++i) {
      const DWORD colors[] = {0, 0xFF000000, 0x000001, 0xFFFFFF, random.Bits()};
      const DWORD color = colors[random.Int(0, 4)];
      const auto image = MakeNoise(bits, random.Int(1, 90), 9, random);
      KXOffscreen expected(*image);
      expected.Lock();
      tagRECT rect = {random.Int(-9, 80), random.Int(-3, 9), random.Int(-9, 99),
                      random.Int(-3, 12)};
      if (i == 0) image->GetRect(rect);
      const int width = image->GetWidth();
      for (int y = std::max(0, static_cast<int>(rect.top)); y < std::min<int>(9, rect.bottom);
           ++y) {
        for (int x = std::max(0, static_cast<int>(rect.left)); x < std::min<int>(width, rect.right);
             ++x) {
          const DWORD grey = 255 - static_cast<DWORD>(Model::Sum(color)) / 3;
          const DWORD bit = (color & 0xFFFFFF) == 0;
          Model::Set(expected, bits, bits == 1 ? bit : bits == 8 ? grey : color, x, y);
        }
      }
      image->SetForeColor(color);
      image->RectFill(rect);
      for (int y = 0; y < 9; ++y) {
        for (int x = 0; x < width; ++x) {
          ASSERT_EQ(Model::Get(*image, 32, x, y), Model::Get(expected, 32, x, y))
              << bits << " bits, case " << i << " at " << x << ", " << y;
        }
      }
      image->RectFill({kMin, kMin, kMin, kMax});
      KXOffscreen created;
      created.Create(width, 9, bits, color, 1);
      EXPECT_EQ(created.GetForeColor(), 0u);
      created.Lock();
      image->RectFill({kMin, kMin, kMax, kMax});
      EXPECT_EQ(Model::Get(created, 32, width - 1, 8), Model::Get(*image, 32, width - 1, 8));
    }
  }
}

// A large fill goes past the caches, in other stores.
TEST(ClassicFill, LargeOnesKeepToTheirEdges) {
  for (int bits : kDepths) {
    // Whole groups of 16 bytes, others, and a start between them.
    for (const auto& [left, count] : {std::pair(32, 4032), {32, 4040}, {3, 4032}}) {
      KXOffscreen image;
      image.Create(4096, (40 << 20) / (512 * bits), bits, 0xFFFFFFFF, 1);
      image.Lock();
      const std::vector<BYTE> blank(image.GetBaseAddress(),
                                    image.GetBaseAddress() + image.GetRowBytes());
      const DWORD color = bits == 1 ? 0x40000000 : 0x40302010;
      image.SetForeColor(color);
      int from = left, to = left + count;
      if (bits == 1) {
        image.RectFillScamp({from, 1, to, image.GetHeight() - 1});
        from = from / 32 * 32, to = (to + 31) / 32 * 32;
      } else {
        image.RectFill({from, 1, to, image.GetHeight() - 1});
      }
      KXOffscreen row;
      row.Create(4096, 1, bits, 0xFFFFFFFF, 1);
      row.Lock();
      for (int x = from; x < to; ++x) Model::Set(row, 32, color, x, 0);
      for (int y = 0; y < image.GetHeight(); ++y) {
        const bool isEdge = y == 0 || y == image.GetHeight() - 1;
        const BYTE* const like = isEdge ? blank.data() : row.GetBaseAddress();
        ASSERT_EQ(
            std::memcmp(image.GetBaseAddress() + std::size_t(y) * blank.size(), like, blank.size()),
            0)
            << bits << " bits, row " << y;
      }
    }
  }
}

TEST(ClassicFill, ScampPaintsWholeGroups) {
  KXOffscreen bits, bytes;
  bits.Create(100, 3, 1, 0xFFFFFF, 1);
  bits.Lock();
  bits.RectFillScamp({33, 1, 65, 2});
  for (int x : {31, 32, 95, 96}) EXPECT_EQ(bits.Get1BitPixel(x, 1), x == 32 || x == 95);
  bytes.Create(10, 3, 8, 0xFFFFFF, 1);
  bytes.Lock();
  bytes.RectFillScamp({5, 1, 9, 2});
  for (int x : {3, 4, 9}) EXPECT_EQ(bytes.Get8BitPixel(x, 1), x > 3 ? 255 : 0);
  EXPECT_EQ(bytes.GetBaseAddress()[2 * bytes.GetRowBytes() + 8], 0);
}

TEST(ClassicClip, ScalesToTheMaskAndBack) {
  KXOffscreen image, mask;
  mask.Create(7, 5, 1, 0, 1);
  for (int scale : {-5, -2, -1, 1, 3}) {
    image.SetClipMask(&mask, 10, 20, scale);
    EXPECT_EQ(image.GetClipMode(), 2);
    const auto times = [](int v, int s) { return s > 0 ? v * s : v / -s; };  // toward zero
    for (int v = -30; v < 30; ++v) {
      EXPECT_EQ(image.OffscreenToClipMask(v), times(v, scale));
      EXPECT_EQ(image.OffscreenToClipMaskX(v), times(v - 10, scale));
      EXPECT_EQ(image.OffscreenToClipMaskY(v), times(v - 20, scale));
      EXPECT_EQ(image.ClipMaskToOffscreen(v), times(v, -scale));
      EXPECT_EQ(image.ClipMaskToOffscreenX(v), times(v, -scale) + 10);
      EXPECT_EQ(image.ClipMaskToOffscreenY(v), times(v, -scale) + 20);
    }
  }
  image.SetClipMask(&mask, kMax, kMin, kMin);
  EXPECT_EQ(image.OffscreenToClipMaskX(kMin), -1);
  EXPECT_EQ(image.ClipMaskToOffscreenX(1), kMax);
  EXPECT_EQ(CodeOf([&] { image.SetClipMask(&mask, 0, 0, 0); }), kBadArgument);
  EXPECT_EQ(image.GetClipMode(), 2);

  image.SetClipRect({1, 2, 3, 4});
  EXPECT_EQ(image.GetClipMode(), 1);
  EXPECT_EQ(image.GetClipRect().bottom, 4);
  EXPECT_EQ(image.OffscreenToClipMask(5), 5);
  image.SetClipRect({});
  EXPECT_EQ(image.GetClipMode(), 0);
  image.SetClipRect({1, 2, 3, 4});
  image.SetClipMask(nullptr, 1, 2, 3);
  EXPECT_EQ(image.GetClipMode(), 0);
  EXPECT_EQ(image.GetClipRect().right, 0);
}

// Against sets of pixels: those of the block that lie in every rectangle.
TEST(ClassicClip, SafetyAreaIsWhatAllSpacesShare) {
  Random random(7);
  for (int i = 0; i < 2000; ++i) {
    const int count = random.Int(0, 4);
    tagRECT rects[4];
    tagPOINT origins[4], before[4];
    for (int k = 0; k < count; ++k) {
      rects[k] = {random.Int(-9, 9), random.Int(-9, 9), random.Int(-2, 20), random.Int(-2, 20)};
      before[k] = origins[k] = {random.Int(-12, 12), random.Int(-12, 12)};
    }
    const int width = random.Int(-2, 15), height = random.Int(-2, 15);
    int left = kMax, top = kMax, pixels = 0;
    for (int y = 0; y < height; ++y) {
      for (int x = 0; x < width; ++x) {
        bool isIn = true;
        for (int k = 0; k < count; ++k) {
          const int px = before[k].x + x, py = before[k].y + y;
          isIn &= px >= rects[k].left && px < rects[k].right && py >= rects[k].top &&
                  py < rects[k].bottom;
        }
        if (!isIn) continue;
        ++pixels, left = std::min(left, x), top = std::min(top, y);
      }
    }
    int w = width, h = height;
    const int result = KXOffscreen::CalcSafetyArea(rects, origins, count, w, h);
    if (count == 0) {
      EXPECT_EQ(result, 1);
      continue;
    }
    ASSERT_EQ(result, pixels > 0);
    ASSERT_EQ(w * h, pixels);
    for (int k = 0; k < count && result; ++k) {
      ASSERT_EQ(origins[k].x, before[k].x + left);
      ASSERT_EQ(origins[k].y, before[k].y + top);
    }
  }
  tagRECT all = {kMin, kMin, kMax, kMax};
  tagPOINT at[] = {{kMax - 1, kMin}, {0, 0}};
  const tagRECT rects[] = {all, all};
  int width = kMax, height = kMax;
  EXPECT_EQ(KXOffscreen::CalcSafetyArea(rects, at, 2, width, height), 1);
  EXPECT_EQ(width, 1);
  EXPECT_EQ(CodeOf([&] { KXOffscreen::CalcSafetyArea(nullptr, at, 1, width, height); }),
            kBadArgument);
}

}  // namespace
