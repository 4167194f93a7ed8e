#include "kxwcmn/platform/bitmap_internal.h"
#include "kxwcmn/platform/error.h"
#include "kxwcmn/platform/graphics.h"

#if defined(KXWCMN_WITH_TEXT)

#include <limits>
#include <memory>
#include <new>
#include <vector>

#include "kxwcmn/platform/posix/cairo_internal.h"

// Cairo draws straight on the rows of a bitmap of 32 bits, also from the bottom up. Bitmaps of
// other depths are drawn on through a picture of 32 bits, of which the pixels that have changed go
// back to the bitmap.

namespace kxw {

namespace {

/// Marks the pictures of memory contexts.
const cairo_user_data_key_t kBitmapKey = {};

bool IsDrawnOn(const PixelBlock& block) {
  return block.bitCount == 32 && block.rowBytes <= std::numeric_limits<int>::max() &&
         block.rowBytes >= -std::numeric_limits<int>::max();
}

DWORD* RowOf(cairo_surface_t* surface, int y) {
  return reinterpret_cast<DWORD*>(cairo_image_surface_get_data(surface) +
                                  std::ptrdiff_t{cairo_image_surface_get_stride(surface)} * y);
}

SurfaceOwner SurfaceOf(const PixelBlock& block) {
  if (IsDrawnOn(block)) {
    return SurfaceOwner(cairo_image_surface_create_for_data(
        const_cast<BYTE*>(block.top), CAIRO_FORMAT_RGB24, block.width, block.height,
        static_cast<int>(block.rowBytes)));
  }
  SurfaceOwner surface(cairo_image_surface_create(CAIRO_FORMAT_RGB24, block.width, block.height));
  if (cairo_surface_status(surface.get()) != CAIRO_STATUS_SUCCESS) return surface;
  cairo_surface_flush(surface.get());
  const NearestMap columns = ColumnsOf(block);
  for (int y = 0; y < block.height; ++y) LoadRow(block, columns, y, RowOf(surface.get(), y));
  cairo_surface_mark_dirty(surface.get());
  return surface;
}

void LetGo(void* data) {
  auto* const bitmap = static_cast<HBITMAP>(data);
  bitmap->hasContext = false;
  kxwFreeBitmap(bitmap);
}

HDC Fail(int code) {
  qmSetLastError(code);
  return nullptr;
}

}  // namespace

HDC CreateMemoryContext(HBITMAP bitmap) {
  // Two would not see what the other one draws, and each would bring the old pixels back.
  if (bitmap->hasContext.exchange(true)) return Fail(kErrorAccessDenied);
  KeepBitmap(bitmap);
  bool isKept = false;  // by the surface
  try {
    const SurfaceOwner surface = SurfaceOf(BlockOf(bitmap));
    if (cairo_surface_set_user_data(surface.get(), &kBitmapKey, bitmap, LetGo) !=
        CAIRO_STATUS_SUCCESS) {
      LetGo(bitmap);
      return Fail(kErrorNotEnoughMemory);
    }
    isKept = true;
    cairo_t* const cairo = cairo_create(surface.get());
    HDC const context = kxwCreateContext(cairo);
    cairo_destroy(cairo);
    return context;
  } catch (const std::bad_alloc&) {
    if (!isKept) LetGo(bitmap);
    return Fail(kErrorNotEnoughMemory);
  }
}

void FlushMemoryContext(HDC context) {
  // Not by the context of Cairo: one in an error state has no picture any more.
  cairo_surface_t* const surface = PictureOf(context);
  if (!surface) return;
  cairo_surface_flush(surface);
  auto* const bitmap = static_cast<HBITMAP>(cairo_surface_get_user_data(surface, &kBitmapKey));
  if (!bitmap || cairo_surface_status(surface) != CAIRO_STATUS_SUCCESS) return;
  const PixelBlock block = BlockOf(bitmap);
  if (IsDrawnOn(block)) return;
  const NearestMap columns = ColumnsOf(block);
  std::vector<DWORD> before(static_cast<std::size_t>(block.width));
  for (int y = 0; y < block.height; ++y) {
    LoadRow(block, columns, y, before.data());
    StoreChanges(block, y, before.data(), RowOf(surface, y));
  }
}

}  // namespace kxw

#else

namespace kxw {

HDC CreateMemoryContext(HBITMAP) {
  qmSetLastError(kErrorNotSupported);
  return nullptr;
}

void FlushMemoryContext(HDC) {}

}  // namespace kxw

#endif
