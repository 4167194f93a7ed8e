#include "kxwcmn/classic/bitmap.h"

#include <cstdlib>
#include <limits>
#include <memory>
#include <new>

#include "kxwcmn/core/exception.h"
#include "kxwcmn/core/gdi.h"
#include "kxwcmn/core/outofmemory_internal.h"
#include "kxwcmn/platform/bitmap_internal.h"
#include "kxwcmn/platform/error.h"
#include "kxwcmn/platform/graphics.h"
#include "kxwcmn/platform/memory.h"
#include "kxwcmn/platform/module.h"

namespace {

int ColorsOf(int bitCount) {
  switch (bitCount) {
    case 1:
      return 2;
    case 4:
      return 16;
    case 8:
      return 256;
    default:
      return 0;
  }
}

struct PointerFreer {
  void operator()(void* block) const { qmFreePtr(block); }
};

}  // namespace

KXBitmap& KXBitmap::operator=(const KXBitmap& other) { return *this = other.bitmap_; }

KXBitmap& KXBitmap::operator=(HBITMAP bitmap) {
  if (bitmap != bitmap_) Attach(bitmap, 0);  // what is owned already stays so
  return *this;
}

void KXBitmap::Create(HWND window, int width, int height, int bitCount, int dib, int planes) {
  Cleanup();
  if (dib) {
    CreateSection(width, height, bitCount);
  } else if (height != std::numeric_limits<int>::min()) {
    bitmap_ = qmwCreateDDB(window, 0, width, std::abs(height), bitCount, planes);
  }
  if (!bitmap_) kxThrowError(kxw::kErrorNotEnoughMemory);
  isOwned_ = true;
}

void KXBitmap::CreateSection(int width, int height, int bitCount) {
  const int colors = ColorsOf(bitCount);
  const std::size_t bytes = sizeof(BITMAPINFOHEADER) + sizeof(tagRGBQUAD) * std::size_t(colors);
  std::unique_ptr<void, PointerFreer> block(
      qmAllocPtr(static_cast<DWORD>(bytes), kxw::kAllocZeroed, nullptr));
  if (!block) kxThrowError(qmGetLastError());
  auto* const info = static_cast<BITMAPINFO*>(block.get());
  info->bmiHeader.biSize = sizeof info->bmiHeader;
  info->bmiHeader.biWidth = width;
  info->bmiHeader.biHeight = height;
  info->bmiHeader.biPlanes = 1;
  info->bmiHeader.biBitCount = static_cast<WORD>(bitCount);
  info->bmiHeader.biClrUsed = static_cast<DWORD>(colors);
  auto* const palette = reinterpret_cast<tagRGBQUAD*>(&info->bmiHeader + 1);
  if (colors == 2) palette[1] = {255, 255, 255, 0};
  for (int i = 0; colors == 256 && i < colors; ++i) {
    const auto grey = static_cast<BYTE>(255 - i);
    palette[i] = {grey, grey, grey, 0};
  }
  if (info->bmiHeader.biBitCount != bitCount) return;
  bitmap_ = kxwCreateDIBSection(info, nullptr);
  if (bitmap_) info_ = static_cast<BITMAPINFO*>(block.release());
}

int KXBitmap::LoadImageA(int id, HINSTANCE module) {
  Cleanup();
  Attach(qmLoadPictResource(id, module ? module : kxw::ProcessModule()), 1);
  return IsValid();
}

void KXBitmap::Attach(HBITMAP bitmap, int own) {
  if (bitmap != bitmap_) Cleanup();
  bitmap_ = bitmap;
  isOwned_ = bitmap && own;
}

HBITMAP KXBitmap::Detach() {
  HBITMAP const bitmap = bitmap_;
  isOwned_ = false;
  Cleanup();
  return bitmap;
}

void KXBitmap::Cleanup() {
  if (isOwned_) kxwFreeBitmap(bitmap_);
  bitmap_ = nullptr;
  isOwned_ = isLocked_ = false;
  gdi_ = nullptr;
  FreeInfo();
}

void KXBitmap::FreeInfo() {
  qmFreePtr(info_);
  info_ = nullptr;
}

tagBITMAP KXBitmap::Record() const {
  tagBITMAP record = {};
  kxwGetBitmap(bitmap_, &record);
  return record;
}

void KXBitmap::GetSize(KXRect& rect) const { rect = KXRect(0, 0, GetWidth(), GetHeight()); }

int KXBitmap::GetRowBytes() const {
  const tagBITMAP record = Record();
  return static_cast<int>(qmwDIB_WIDTH_BIT(i64{record.bmBitsPixel} * record.bmWidth) / 8);
}

void KXBitmap::Lock() {
  if (!gdi_) isLocked_ = true;
}

KXGdi* KXBitmap::GetGDI(HWND /*window*/) {
  if (!bitmap_ || gdi_) return nullptr;
  auto gdi = std::unique_ptr<KXGdi>(new (std::nothrow) KXGdi);
  HDC const context = gdi ? kxw::CreateMemoryContext(bitmap_) : nullptr;
  if (!context) return nullptr;
  gdi->Attach(context, 1);
  gdi_ = gdi.get();
  return gdi.release();
}

void KXBitmap::ReleaseGDI(KXGdi* gdi) {
  if (!gdi) return;
  const std::unique_ptr<KXGdi> end(gdi);
  if (gdi == gdi_) gdi_ = nullptr;
  kxw::RaiseWithoutMemory([gdi] { kxw::FlushMemoryContext(gdi->GetHandle()); });
}
