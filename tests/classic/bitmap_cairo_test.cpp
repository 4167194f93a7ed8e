#include <gtest/gtest.h>

#if defined(KXWCMN_WITH_TEXT)

#include <cairo.h>

#include <memory>
#include <vector>

#include "kxwcmn/classic/bitmap.h"
#include "kxwcmn/classic/bitmapcursor.h"
#include "kxwcmn/core/gdi.h"
#include "kxwcmn/platform/error.h"
#include "kxwcmn/platform/graphics.h"

namespace {

/// A bitmap of 24 bits with four colours, which lies below the context that is got from it.
void MakeFourColours(KXBitmap& bitmap, const std::vector<QMCOLORREF>& colors) {
  bitmap.Create(nullptr, 2, 2, 24, 1, 1);
  bitmap.Lock();
  for (int i = 0; i < 4; ++i) {
    KXBitmapCursor(&bitmap, i % 2, i / 2).SetBitPixel(colors[static_cast<std::size_t>(i)]);
  }
  bitmap.Unlock();
}

TEST(TransparentBlt, GoesThroughAnyTransformation) {
  KXBitmap bitmap;
  MakeFourColours(bitmap, {0x0000FF, 0x00FF00, 0xFF0000, 0xFFFFFF});
  KXGdi* const source = bitmap.GetGDI(nullptr);
  cairo_surface_t* const surface = cairo_image_surface_create(CAIRO_FORMAT_RGB24, 8, 8);
  cairo_t* const cairo = cairo_create(surface);
  cairo_set_source_rgb(cairo, 0, 1, 1);
  cairo_paint(cairo);
  cairo_scale(cairo, 2, 2);
  KXGdi target(kxwCreateContext(cairo), 1);
  EXPECT_TRUE(kxwTransparentBlt(target, 1, 1, 2, 2, *source, 0, 0, 2, 2, 0x00FF00));
  cairo_surface_flush(surface);
  const auto* const words = reinterpret_cast<const DWORD*>(cairo_image_surface_get_data(surface));
  for (int y = 0; y < 8; ++y) {
    for (int x = 0; x < 8; ++x) {
      DWORD expected = 0x00FFFF;
      if (x / 2 == 1 && y / 2 == 1) expected = 0xFF0000;
      if (x / 2 == 1 && y / 2 == 2) expected = 0x0000FF;
      if (x / 2 == 2 && y / 2 == 2) expected = 0xFFFFFF;
      EXPECT_EQ(words[y * 8 + x] & 0xFFFFFF, expected) << x << " " << y;
    }
  }
  // What cannot be read, and what is in an error state.
  EXPECT_FALSE(kxwTransparentBlt(*source, 0, 0, 2, 2, target, 0, 0, 2, 2, 0));
  EXPECT_EQ(qmGetLastError(), kxw::kErrorNotSupported);
  cairo_scale(cairo, 0, 0);
  EXPECT_FALSE(kxwTransparentBlt(target, 0, 0, 2, 2, *source, 0, 0, 2, 2, 0));
  EXPECT_EQ(qmGetLastError(), kxw::kErrorInvalidHandle);
  bitmap.ReleaseGDI(source);
  cairo_destroy(cairo);
  cairo_surface_destroy(surface);
}

// What Cairo itself draws goes to the bitmap as well, and unchanged pixels keep their index where
// the palette has their colour twice.
TEST(BitmapContext, BringsBackWhatHasChanged) {
  KXBitmap bitmap;
  bitmap.Create(nullptr, 4, 1, 4, 1, 1);  // sixteen times black
  bitmap.Lock();
  bitmap.GetBaseAddress()[0] = 0x75;
  bitmap.GetBaseAddress()[1] = 0x31;
  KXGdi* const gdi = bitmap.GetGDI(nullptr);
  cairo_t* const cairo = kxwGetCairo(*gdi);
  cairo_set_source_rgb(cairo, 1, 1, 1);
  cairo_rectangle(cairo, 1, 0, 2, 1);
  cairo_fill(cairo);
  bitmap.ReleaseGDI(gdi);
  EXPECT_EQ(bitmap.GetBaseAddress()[0], 0x70);
  EXPECT_EQ(bitmap.GetBaseAddress()[1], 0x01);
}

// What was drawn is in the bitmap although Cairo's context has failed since; and one context at a
// time draws on a bitmap, whichever object gives it.
TEST(BitmapContext, KeepsWhatWasDrawnBeforeAFailureAndHasNoRival) {
  for (const int bits : {24, 32}) {
    KXBitmap bitmap;
    bitmap.Create(nullptr, 2, 2, bits, 1, 1);
    KXBitmap second(bitmap);
    KXGdi* const gdi = bitmap.GetGDI(nullptr);
    ASSERT_TRUE(gdi);
    EXPECT_EQ(second.GetGDI(nullptr), nullptr);
    EXPECT_EQ(qmGetLastError(), kxw::kErrorAccessDenied);
    cairo_t* const cairo = kxwGetCairo(*gdi);
    cairo_set_source_rgb(cairo, 1, 0, 0);
    cairo_paint(cairo);
    cairo_restore(cairo);  // of nothing saved
    ASSERT_NE(cairo_status(cairo), CAIRO_STATUS_SUCCESS);
    bitmap.ReleaseGDI(gdi);
    bitmap.Lock();
    EXPECT_EQ(bitmap.GetBaseAddress()[2], 255) << bits;
    KXGdi* const next = second.GetGDI(nullptr);
    EXPECT_TRUE(next);
    second.ReleaseGDI(next);
    bitmap = HBITMAP(bitmap);  // still its owner
  }
}

}  // namespace

#endif
