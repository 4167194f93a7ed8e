#include "kxwcmn/platform/bitmap.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>
#include <vector>

#include "kxwcmn/platform/bitmap_internal.h"
#include "kxwcmn/platform/error.h"
#include "kxwcmn/platform/host.h"
#include "kxwcmn/platform/image.h"
#include "kxwcmn/platform/memory.h"

namespace {

// The channels of a pixel may be referred to in every depth, also at the last pixel.
constexpr int kSlack = 4;

HBITMAP Fail(int code, int* error) {
  if (error) *error = code;
  qmSetLastError(code);
  return nullptr;
}

bool IsDepth(int bitCount) {
  return bitCount == 1 || bitCount == 4 || bitCount == 8 || bitCount == 24 || bitCount == 32;
}

bool IsSize(i64 size) { return size >= 1 && size <= kxw::kMaxImageSize; }

DWORD ColorsOf(int bitCount) { return bitCount <= 8 ? 1u << bitCount : 0; }

i64 RowBytesOf(const BITMAPINFOHEADER& header) {
  return qmwDIB_WIDTH_BIT(i64{header.biWidth} * header.biBitCount) / 8;
}

/// Makes a bitmap by a head of which size and depth count, with a palette of zeros.
HBITMAP Create(const BITMAPINFOHEADER& header, bool isSection, int* error) {
  const i64 height = header.biHeight < 0 ? -i64{header.biHeight} : header.biHeight;
  if (!IsSize(header.biWidth) || !IsSize(height) || !IsDepth(header.biBitCount)) {
    return Fail(kxw::kErrorInvalidParameter, error);
  }
  const i64 rowBytes = RowBytesOf(header);
  if (rowBytes > std::numeric_limits<int>::max() ||
      rowBytes * height > std::numeric_limits<DWORD>::max() - kSlack) {
    return Fail(kxw::kErrorNotEnoughMemory, error);
  }
  HBITMAP const bitmap = new (std::nothrow) HBITMAP__{};
  const auto bytes = static_cast<DWORD>(rowBytes * height + kSlack);
  if (bitmap) {
    bitmap->bits = static_cast<BYTE*>(qmAllocPtr(bytes, kxw::kAllocZeroed, error));
  }
  if (!bitmap || !bitmap->bits) {
    delete bitmap;
    return Fail(kxw::kErrorNotEnoughMemory, error);
  }
  bitmap->isSection = isSection;
  BITMAPINFOHEADER& ours = bitmap->info.header;
  ours.biSize = sizeof ours;
  ours.biWidth = header.biWidth;
  ours.biHeight = header.biHeight;
  ours.biPlanes = 1;
  ours.biBitCount = header.biBitCount;
  ours.biClrUsed = ColorsOf(header.biBitCount);
  if (error) *error = kxw::kErrorNone;
  return bitmap;
}

int NearestColor(const kxw::PixelBlock& block, DWORD word) {
  const auto difference = [&](int i) {
    int sum = 0;
    for (int shift : {0, 8, 16}) {
      const int d =
          static_cast<int>(block.colors[i] >> shift & 255) - static_cast<int>(word >> shift & 255);
      sum += d * d;
    }
    return sum;
  };
  int nearest = 0;
  for (int i = 1; i < 1 << block.bitCount; ++i) {
    if (difference(i) < difference(nearest)) nearest = i;
  }
  return nearest;
}

}  // namespace

namespace kxw {

void KeepBitmap(HBITMAP bitmap) { ++bitmap->references; }

PixelBlock BlockOf(HBITMAP bitmap) {
  PixelBlock block;
  DescribeBlock(bitmap->bits, &bitmap->info.header, &block);
  return block;
}

NearestMap ColumnsOf(const PixelBlock& block) {
  return {0, block.width, 0, block.width, block.width, 0, block.width};
}

void LoadRow(const PixelBlock& block, const NearestMap& columns, int y, DWORD* words) {
  const NearestMap rows(0, 1, y, 1, block.height, 0, 1);
  Transfer(block, columns, rows, 0xCC0020, {reinterpret_cast<BYTE*>(words), 0});
}

void StoreChanges(const PixelBlock& block, int y, const DWORD* before, const DWORD* after) {
  BYTE* const row = const_cast<BYTE*>(block.top) + block.rowBytes * y;
  DWORD lastWord = 0;
  int lastIndex = 0;
  for (int x = 0; x < block.width; ++x) {
    const DWORD word = after[x] | 0xFF000000;
    if (word == before[x]) continue;
    if (block.bitCount > 8) {
      BYTE* const pixel = row + std::ptrdiff_t{x} * (block.bitCount / 8);
      pixel[0] = static_cast<BYTE>(word);
      pixel[1] = static_cast<BYTE>(word >> 8);
      pixel[2] = static_cast<BYTE>(word >> 16);
      continue;
    }
    if (word != lastWord) lastIndex = NearestColor(block, word);
    lastWord = word;
    const i64 bit = i64{x} * block.bitCount;
    const int shift = 8 - block.bitCount - static_cast<int>(bit % 8);
    const int mask = (1 << block.bitCount) - 1;
    BYTE& byte = row[bit / 8];
    byte = static_cast<BYTE>((byte & ~(mask << shift)) | lastIndex << shift);
  }
}

bool ReplaceColor(HBITMAP bitmap, QMCOLORREF from, QMCOLORREF to) {
  const PixelBlock block = BlockOf(bitmap);
  try {
    const NearestMap columns = ColumnsOf(block);
    std::vector<DWORD> before(static_cast<std::size_t>(block.width)), after(before.size());
    for (int y = 0; y < block.height; ++y) {
      LoadRow(block, columns, y, before.data());
      std::replace_copy(before.begin(), before.end(), after.begin(), WordOf(to), WordOf(from));
      StoreChanges(block, y, before.data(), after.data());
    }
  } catch (const std::bad_alloc&) {
    return false;
  }
  return true;
}

}  // namespace kxw

HBITMAP kxwCreateDIBSection(const BITMAPINFO* info, int* error) {
  if (!info) return Fail(kxw::kErrorInvalidParameter, error);
  HBITMAP const bitmap = Create(info->bmiHeader, true, error);
  if (!bitmap) return nullptr;
  DWORD colors = bitmap->info.header.biClrUsed;
  if (info->bmiHeader.biClrUsed != 0) colors = std::min(colors, info->bmiHeader.biClrUsed);
  std::memcpy(bitmap->info.palette, &info->bmiHeader + 1, colors * sizeof(tagRGBQUAD));
  return bitmap;
}

HBITMAP qmwCreateDDB(HWND /*window*/, int /*flags*/, int width, int height, int bitCount,
                     int planes) {
  const i64 depth = i64{bitCount} * planes;
  if (height < 0 || depth < 1 || depth > 32) return Fail(kxw::kErrorInvalidParameter, nullptr);
  BITMAPINFOHEADER header = {};
  header.biWidth = width;
  header.biHeight = height;
  header.biBitCount = static_cast<WORD>(depth);
  HBITMAP const bitmap = Create(header, false, nullptr);
  if (!bitmap) return nullptr;
  const DWORD colors = bitmap->info.header.biClrUsed;
  for (DWORD i = 0; i < colors; ++i) {
    const auto grey = static_cast<BYTE>(i * 255 / (colors - 1));
    bitmap->info.palette[i] = {grey, grey, grey, 0};
  }
  return bitmap;
}

void kxwFreeBitmap(HBITMAP bitmap) {
  if (!bitmap || --bitmap->references != 0) return;
  qmFreePtr(bitmap->bits);
  delete bitmap;
}

int kxwGetBitmap(HBITMAP bitmap, tagBITMAP* record) {
  if (!bitmap || !record) return 0;
  const BITMAPINFOHEADER& header = bitmap->info.header;
  *record = {header.biWidth, header.biHeight < 0 ? -header.biHeight : header.biHeight,
             static_cast<LONG>(RowBytesOf(header)), header.biBitCount,
             bitmap->isSection ? bitmap->bits : nullptr};
  return 1;
}

HBITMAP qmLoadPictResource(int id, HINSTANCE module) {
  const auto& load = kxw::GetHostProcedures().loadPicture;
  return load ? load(module, id) : nullptr;
}

void qmDeleteHPICT(HBITMAP picture) { kxwFreeBitmap(picture); }

int qmGetPictRect(HBITMAP picture, tagRECT* rect) {
  tagBITMAP record;
  if (!rect || !kxwGetBitmap(picture, &record)) return 0;
  *rect = {0, 0, record.bmWidth, record.bmHeight};
  return 1;
}
