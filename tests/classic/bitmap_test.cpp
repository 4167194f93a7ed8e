#include "kxwcmn/classic/bitmap.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <vector>

#include "kxwcmn/classic/bitimage.h"
#include "kxwcmn/classic/bitmapcursor.h"
#include "kxwcmn/classic/pict.h"
#include "kxwcmn/core/exception.h"
#include "kxwcmn/core/gdi.h"
#include "kxwcmn/platform/error.h"
#include "kxwcmn/platform/graphics.h"
#include "kxwcmn/platform/host.h"
#include "kxwcmn/platform/module.h"

namespace {

/// The colours of a bitmap by its bytes alone, from the top left on, row by row.
std::vector<QMCOLORREF> ColorsOf(KXBitmap& bitmap, bool isTopDown = false) {
  bitmap.Lock();
  const int bits = bitmap.GetBitCount(), width = bitmap.GetWidth(), height = bitmap.GetHeight();
  const BYTE* const base = bitmap.GetBaseAddress();
  const auto* const palette = reinterpret_cast<const BYTE*>(bitmap.GetBitmapInfo()) + 40;
  std::vector<QMCOLORREF> colors;
  for (int y = 0; y < height; ++y) {
    const BYTE* const row = base + bitmap.GetRowBytes() * (isTopDown ? y : height - 1 - y);
    for (int x = 0; x < width; ++x) {
      int index = 0;
      for (int i = x * bits; i < (x + 1) * bits && bits <= 8; ++i) {
        index = index * 2 + (row[i / 8] >> (7 - i % 8) & 1);
      }
      const BYTE* const c = bits > 8 ? row + x * bits / 8 : palette + index * 4;
      colors.push_back(DWORD{c[0]} << 16 | static_cast<DWORD>(c[1] << 8) | c[2]);
    }
  }
  bitmap.Unlock();
  return colors;
}

int CodeOfCreate(int width, int height, int bits, int dib, int planes = 1) {
  KXBitmap bitmap;
  bitmap.Create(nullptr, 2, 2, 8, 1, 1);
  try {
    bitmap.Create(nullptr, width, height, bits, dib, planes);
  } catch (const KXException& failure) {
    EXPECT_TRUE(!bitmap.IsValid() && !bitmap.GetBitmapInfo() && bitmap.GetWidth() == 0);
    return failure.GetErrorCode();
  }
  return 0;
}

TEST(Bitmap, SectionsHaveRowsAndAPalette) {
  const struct {
    int bits, rowBytes, pixelSize, colors;
  } table[] = {{1, 4, 0, 2}, {4, 4, 0, 16}, {8, 8, 1, 256}, {24, 16, 3, 0}, {32, 20, 4, 0}};
  for (const auto& c : table) {
    SCOPED_TRACE(c.bits);
    KXBitmap bitmap;
    bitmap.Create(nullptr, 5, 3, c.bits, 1, 1);
    EXPECT_TRUE(bitmap.GetWidth() == 5 && bitmap.GetHeight() == 3);
    EXPECT_TRUE(bitmap.GetBitCount() == c.bits && bitmap.GetPixelSize() == c.pixelSize);
    EXPECT_EQ(bitmap.GetRowBytes(), c.rowBytes);
    const BITMAPINFOHEADER& head = bitmap.GetBitmapInfo()->bmiHeader;
    EXPECT_TRUE(head.biSize == 40 && head.biWidth == 5 && head.biHeight == 3);
    EXPECT_TRUE(head.biPlanes == 1 && head.biBitCount == c.bits &&
                head.biClrUsed == DWORD(c.colors));
    const auto* const palette = reinterpret_cast<const BYTE*>(&head) + 40;
    for (int i = 0; i < c.colors; ++i) {
      const auto grey = static_cast<BYTE>(c.bits == 1 ? i * 255 : c.bits == 8 ? 255 - i : 0);
      const BYTE expected[] = {grey, grey, grey, 0};
      EXPECT_EQ(std::memcmp(palette + i * 4, expected, 4), 0) << i;
    }
    bitmap.Lock();
    EXPECT_EQ(bitmap.GetBaseAddress()[3 * c.rowBytes - 1], 0);
  }
  KXBitmap topDown;
  topDown.Create(nullptr, 5, -3, 24, 1, 1);
  EXPECT_EQ(topDown.GetHeight(), 3);
  EXPECT_EQ(topDown.GetBitmapInfo()->bmiHeader.biHeight, -3);
  KXBitmap device;
  device.Create(nullptr, 5, -3, 8, 0, 3);
  device.Lock();
  EXPECT_TRUE(device.GetHeight() == 3 && device.GetBitCount() == 24 && !device.GetBitmapInfo());
  EXPECT_EQ(device.GetBaseAddress(), nullptr);
}

TEST(Bitmap, WhatCannotBeMadeRaises8) {
  for (int dib : {0, 1}) {
    EXPECT_EQ(CodeOfCreate(5, 3, 24, dib), 0);
    for (int size : {0, -1, INT_MIN, INT_MAX}) {
      EXPECT_EQ(CodeOfCreate(size, 3, 24, dib), 8) << size;
      EXPECT_EQ(CodeOfCreate(5, size, 24, dib), size == -1 ? 0 : 8) << size;  // a top row alone
    }
    for (int bits : {0, 2, 16, 64, -1, 65536 + 24, INT_MIN}) {
      EXPECT_EQ(CodeOfCreate(5, 3, bits, dib), 8) << bits;
    }
    EXPECT_EQ(CodeOfCreate(1 << 16, 1 << 16, 32, dib), 8);
  }
  for (int planes : {0, -1, 3, INT_MAX}) EXPECT_EQ(CodeOfCreate(5, 3, 24, 0, planes), 8);
}

TEST(Bitmap, OwnsWhatItIsToldToOwn) {
  KXBitmap owner;
  owner.Create(nullptr, 5, 3, 32, 1, 1);
  tagBITMAP record;
  {
    KXBitmap attached(owner), assigned;
    assigned = owner;
    KXPict pict(static_cast<HBITMAP>(owner));
    EXPECT_TRUE(pict.GetWidth() == 5 && pict.GetHeight() == 3);
    EXPECT_EQ(static_cast<HBITMAP>(attached), static_cast<HBITMAP>(assigned));
    assigned.Attach(nullptr, 1);
    EXPECT_FALSE(assigned.IsValid());
  }
  EXPECT_EQ(kxwGetBitmap(owner, &record), 1);  // freed twice and used after that if owned there
  owner.Attach(owner, 1);
  EXPECT_EQ(owner.GetWidth(), 5);
  HBITMAP const handle = owner.Detach();
  EXPECT_FALSE(owner.IsValid() || owner.GetBitmapInfo());
  KXPict keeper;
  EXPECT_EQ(keeper.Attach(handle, 1), 1);
  keeper.Attach(handle, 0);
  keeper.Destroy();
  KXBitmap last;
  last.Attach(handle, 1);  // leaked or freed twice if `keeper` owned it
}

TEST(Bitmap, LoadsPicturesOfModules) {
  KXBitmap bitmap;
  KXPict pict;
  EXPECT_FALSE(bitmap.LoadImageA(1, nullptr) || pict.Load(1, nullptr));
  kxw::HostProcedures procedures;
  std::vector<HINSTANCE> modules;
  procedures.loadPicture = [&](HINSTANCE module, int id) {
    modules.push_back(module);
    return id == 7 ? qmwCreateDDB(nullptr, 0, 6, 4, 8, 4) : nullptr;
  };
  kxw::SetHostProcedures(procedures);
  int place = 0;
  const auto instance = reinterpret_cast<HINSTANCE>(&place);
  const HINSTANCE program = kxwSetInstanceHandle(instance);
  EXPECT_TRUE(bitmap.LoadImageA(7, nullptr) && pict.Load(7, nullptr) && pict.Load(7, program));
  EXPECT_EQ(modules, (std::vector{program, instance, program}));
  EXPECT_FALSE(bitmap.LoadImageA(8, nullptr) || pict.Load(8, nullptr));
  EXPECT_FALSE(bitmap.IsValid() || pict.IsValid() || pict.GetWidth());
  kxwSetInstanceHandle(nullptr);
  kxw::SetHostProcedures({});
}

TEST(BitmapCursor, GoesFromTheLastRowInMemoryBack) {
  for (int height : {3, -3}) {  // upright or not, the cursor goes by memory alone
    KXBitmap bitmap;
    bitmap.Create(nullptr, 5, height, 24, 1, 1);
    bitmap.Lock();
    BYTE* const base = bitmap.GetBaseAddress();
    for (int i = 0; i < 3 * 16; ++i) base[i] = static_cast<BYTE>(i);
    KXBitmapCursor cursor(&bitmap, 0, 0);
    EXPECT_EQ(cursor.GetBitPixel(), 0x202122u);
    cursor.NextCursorX();
    cursor.NextCursorY();
    EXPECT_EQ(&cursor.GetRReference(), base + 16 + 3 + 2);
    cursor.OffsetCursor(4, 1);
    EXPECT_TRUE(!cursor.CursorXInBitmap() && cursor.CursorYInBitmap() && !cursor.CursorInBitmap());
    cursor.OffsetCursor(INT_MAX, INT_MIN);
    cursor.MoveCursorY(3);
    cursor.MoveCursorX(2);
    EXPECT_TRUE(cursor.CursorXInBitmap() && !cursor.CursorYInBitmap());
    cursor.PrevCursorY();
    cursor.PrevCursorX();
    cursor.SetBitPixel(0xFF010203);
    BYTE *r, *g, *b;
    cursor.GetRGBReference(r, g, b);
    EXPECT_TRUE(b == base + 3 && *r == 3 && *g == 2 && *b == 1 && base[6] == 6);
    cursor.ResetCursorX();
    EXPECT_EQ(&cursor.GetBReference(), base);
    cursor.ResetCursorY();
    EXPECT_EQ(&cursor.GetBReference(), base + 32);
  }
  KXBitmapCursor none;
  none.OffsetCursor(3, 4);
  none.MoveCursorY(-1);
  EXPECT_FALSE(none.CursorInBitmap());
}

TEST(Pict, ReplacesTheSecondColourByTheFirst) {
  for (int bits : {1, 4, 8, 24, 32}) {
    SCOPED_TRACE(bits);
    KXBitmap bitmap;
    bitmap.Create(nullptr, 37, 5, bits, 1, 1);
    bitmap.Lock();
    BYTE* const base = bitmap.GetBaseAddress();
    for (int i = 0; i < bitmap.GetRowBytes() * 5; ++i)
      base[i] = static_cast<BYTE>(i * i >> 4 & 0x81);
    const std::vector<BYTE> bytes(base, base + bitmap.GetRowBytes() * 5);
    bitmap.Unlock();
    std::vector<QMCOLORREF> expected = ColorsOf(bitmap);
    const QMCOLORREF to = expected[40], from = bits == 1 ? 0xFFFFFF - to : bits == 4 ? 0 : 0x171717;
    KXPict pict(static_cast<HBITMAP>(bitmap));
    pict.ReplaceColor(to, to);
    pict.ReplaceColor(from, 0x123456);
    EXPECT_EQ(std::memcmp(base, bytes.data(), bytes.size()), 0);
    pict.ReplaceColor(from | 0xAB000000, to | 0x55000000);
    for (QMCOLORREF& color : expected) color = color == to ? from : color;
    EXPECT_EQ(ColorsOf(bitmap), expected);
    for (std::size_t i = 3; bits == 32 && i < bytes.size(); i += 4) EXPECT_EQ(base[i], bytes[i]);
  }
  // Of greys, the nearest one.
  KXBitmap greys;
  greys.Create(nullptr, 1, 1, 8, 1, 1);
  KXPict pict(static_cast<HBITMAP>(greys));
  pict.ReplaceColor(0x0A0F14, 0xFFFFFF);
  EXPECT_EQ(ColorsOf(greys), std::vector<QMCOLORREF>{0x0F0F0F});
  KXPict().ReplaceColor(1, 2);
}

/// A picture of 24 bits whose colours tell their place, `transparent` at some of them.
KXBitImage TestPicture(int width, int height, QMCOLORREF transparent) {
  KXBitImage image;
  image.Create(width, height, 24);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const bool hole = (x * 5 + y * 3) % 4 == 0;
      const QMCOLORREF c = hole ? transparent : static_cast<DWORD>(0x404040 + x * 8 + (y << 19));
      BYTE* const at = image.GetBaseAddress() + y * image.GetRowBytes() + x * 3;
      at[2] = static_cast<BYTE>(c);
      at[1] = static_cast<BYTE>(c >> 8);
      at[0] = static_cast<BYTE>(c >> 16);
    }
  }
  return image;
}

void Show(KXBitmap& bitmap, const KXBitImage& image, int x = 0, int y = 0) {
  KXGdi* const gdi = bitmap.GetGDI(nullptr);
  ASSERT_NE(gdi, nullptr);
  const int width = image.GetWidth(), height = image.GetHeight();
  image.DrawGDI(gdi, x, y, width, height, 0, 0, width, height);
  bitmap.ReleaseGDI(gdi);
}

TEST(BitmapContext, DrawsOnBitmapsOfAllDepths) {
  if (!kxw::HasGraphics()) GTEST_SKIP();
  const KXBitImage image = TestPicture(9, 4, 0xFFFFFF);
  KXBitmap trueColor;
  trueColor.Create(nullptr, 12, 6, 24, 1, 1);
  Show(trueColor, image, 2, 1);
  const std::vector<QMCOLORREF> shown = ColorsOf(trueColor);
  EXPECT_TRUE(shown[12 + 2] == 0xFFFFFF && shown[12 + 3] == 0x404048 && shown[24 + 2] == 0x484040);
  EXPECT_TRUE(shown[12 + 1] == 0 && shown[2] == 0 && shown[60 + 3] == 0);
  for (int bits : {1, 4, 8, 32}) {
    for (int height : {6, -6}) {
      SCOPED_TRACE(bits);
      KXBitmap bitmap;
      bitmap.Create(nullptr, 12, height, bits, 1, 1);
      bitmap.Lock();
      std::memset(bitmap.GetBaseAddress(), 0x11,
                  static_cast<std::size_t>(6 * bitmap.GetRowBytes()));
      bitmap.Unlock();
      std::vector<QMCOLORREF> expected = ColorsOf(bitmap, height < 0);
      for (std::size_t y = 1; y < 5; ++y) {
        for (std::size_t x = 2; x < 11; ++x) {
          const QMCOLORREF c = shown[y * 12 + x];
          const int r = c & 255, g = c >> 8 & 255, b = c >> 16;
          // The grey with the least squared distance is the mean.
          const auto grey = static_cast<DWORD>((r + g + b) / 3. + .5);
          expected[y * 12 + x] = bits == 32  ? c
                                 : bits == 8 ? grey * 0x010101
                                 : bits == 1 ? (grey > 127 ? 0xFFFFFFu : 0)
                                             : 0;
        }
      }
      Show(bitmap, image, 2, 1);
      EXPECT_EQ(ColorsOf(bitmap, height < 0), expected);
    }
  }
}

TEST(BitmapContext, IsOneAtATimeAndOutlivesTheBitmap) {
  KXBitmap bitmap;
  EXPECT_EQ(bitmap.GetGDI(nullptr), nullptr);
  bitmap.ReleaseGDI(nullptr);
  bitmap.Create(nullptr, 40000, 1, 32, 1, 1);
  EXPECT_EQ(bitmap.GetGDI(nullptr), nullptr);
  bitmap.Create(nullptr, 4, 4, 32, 1, 1);
  KXGdi* const gdi = bitmap.GetGDI(nullptr);
  if (!kxw::HasGraphics()) {
    EXPECT_EQ(gdi, nullptr);
    EXPECT_EQ(qmGetLastError(), kxw::kErrorNotSupported);
    return;
  }
  EXPECT_EQ(bitmap.GetGDI(nullptr), nullptr);
  bitmap.Lock();
  EXPECT_EQ(bitmap.GetBaseAddress(), nullptr);
  bitmap.Destroy();
  TestPicture(4, 4, 0).DrawGDI(gdi, 0, 0, 4, 4, 0, 0, 4, 4);
  bitmap.Create(nullptr, 4, 4, 32, 1, 1);
  KXGdi* const next = bitmap.GetGDI(nullptr);
  bitmap.ReleaseGDI(gdi);
  EXPECT_EQ(bitmap.GetGDI(nullptr), nullptr) << "of the next bitmap, still in use";
  bitmap.ReleaseGDI(next);
  bitmap.Lock();
  EXPECT_NE(bitmap.GetBaseAddress(), nullptr);
  bitmap.Unlock();
  EXPECT_EQ(bitmap.GetBaseAddress(), nullptr);
}

// The model takes the nearest pixel of each centre, and leaves what is transparent.
TEST(TransparentBlt, LeavesTheTargetWhereTheColourIs) {
  if (!kxw::HasGraphics()) {
    EXPECT_FALSE(kxwTransparentBlt(nullptr, 0, 0, 1, 1, nullptr, 0, 0, 1, 1, 0));
    GTEST_SKIP();
  }
  constexpr QMCOLORREF kKey = 0x8040FF;
  const struct {
    int x, y, width, height, sourceX, sourceY, sourceWidth, sourceHeight;
  } table[] = {
      {2, 1, 9, 4, 0, 0, 9, 4},   {0, 0, 20, 12, 1, 1, 5, 3}, {3, 2, 4, 2, 0, 0, 9, 4},
      {-3, -2, 9, 4, 0, 0, 9, 4}, {12, 8, 9, 9, 3, 1, 9, 9},  {2, 2, 0, 4, 0, 0, 9, 4},
      {10, 1, -9, 4, 0, 0, 9, 4}, {0, 0, 8, 8, 0, 0, 0, 4},   {1, 1, 7, 5, -2, -1, 14, 10}};
  for (const auto& c : table) {
    for (int bits : {24, 32}) {
      SCOPED_TRACE(testing::Message() << c.x << " " << c.width << " " << bits);
      KXBitmap source, dest;
      source.Create(nullptr, 9, 4, bits, 1, 1);
      Show(source, TestPicture(9, 4, kKey));
      dest.Create(nullptr, 16, 10, bits, 1, 1);
      Show(dest, TestPicture(16, 10, 0x112233));
      const std::vector<QMCOLORREF> from = ColorsOf(source);
      std::vector<QMCOLORREF> expected = ColorsOf(dest);
      for (int y = 0; y < 10; ++y) {
        for (int x = 0; x < 16; ++x) {
          double u = (x + .5 - c.x) / c.width, v = (y + .5 - c.y) / c.height;
          if (!(u >= 0 && u < 1 && v >= 0 && v < 1)) continue;
          const int sx = c.sourceX + static_cast<int>(u * c.sourceWidth);
          const int sy = c.sourceY + static_cast<int>(v * c.sourceHeight);
          if (c.sourceWidth == 0 || sx < 0 || sx >= 9 || sy < 0 || sy >= 4) continue;
          const QMCOLORREF color = from[static_cast<std::size_t>(sy * 9 + sx)];
          if (color != kKey) expected[static_cast<std::size_t>(y * 16 + x)] = color;
        }
      }
      KXGdi* const to = dest.GetGDI(nullptr);
      KXGdi* const with = source.GetGDI(nullptr);
      EXPECT_TRUE(kxwTransparentBlt(*to, c.x, c.y, c.width, c.height, *with, c.sourceX, c.sourceY,
                                    c.sourceWidth, c.sourceHeight, kKey | 0xFF000000));
      EXPECT_FALSE(kxwTransparentBlt(nullptr, 0, 0, 1, 1, *with, 0, 0, 1, 1, 0));
      EXPECT_EQ(qmGetLastError(), kxw::kErrorInvalidHandle);
      EXPECT_FALSE(kxwTransparentBlt(*to, 0, 0, 1, 1, nullptr, 0, 0, 1, 1, 0));
      dest.ReleaseGDI(to);
      source.ReleaseGDI(with);
      EXPECT_EQ(ColorsOf(dest), expected);
    }
  }
}

TEST(TransparentBlt, ReadsThePictureBeforeItDrawsOnIt) {
  if (!kxw::HasGraphics()) GTEST_SKIP();
  KXBitmap bitmap;
  bitmap.Create(nullptr, 8, 8, 32, 1, 1);
  Show(bitmap, TestPicture(8, 8, 0));
  const std::vector<QMCOLORREF> before = ColorsOf(bitmap);
  KXGdi* const gdi = bitmap.GetGDI(nullptr);
  EXPECT_TRUE(kxwTransparentBlt(*gdi, 1, 1, 7, 7, *gdi, 0, 0, 7, 7, 0));
  EXPECT_TRUE(kxwTransparentBlt(*gdi, 0, 0, 7, 7, *gdi, INT_MAX, INT_MIN, INT_MAX, 9, 0));
  bitmap.ReleaseGDI(gdi);
  const std::vector<QMCOLORREF> after = ColorsOf(bitmap);
  for (std::size_t i = 9; i < 64; ++i) {
    const bool isMoved = i % 8 && before[i - 9];
    EXPECT_EQ(after[i], before[isMoved ? i - 9 : i]) << i;
  }
}

}  // namespace
