#include "kxwcmn/platform/dib.h"

#include <cstring>
#include <limits>

#include "kxwcmn/platform/error.h"
#include "kxwcmn/platform/image.h"

namespace {

constexpr QMCOLORREF kWhite = 0x00FFFFFF;

bool IsDepth(int bitCount) {
  for (int depth : {1, 4, 8, 24, 32}) {
    if (bitCount == depth) return true;
  }
  return false;
}

std::size_t ColorsOf(int bitCount) { return bitCount <= 8 ? std::size_t{1} << bitCount : 0; }

std::size_t HeadBytesOf(int bitCount) {
  return sizeof(BITMAPINFOHEADER) + ColorsOf(bitCount) * sizeof(tagRGBQUAD);
}

bool IsSize(int size) { return size >= 1 && size <= kxw::kMaxImageSize; }

QMHANDLE__* Fail(int code, int* error) {
  if (error) *error = code;
  qmSetLastError(code);
  return nullptr;
}

/// The head of a block that is one of ours; null otherwise.
BITMAPINFOHEADER* HeadOf(QMHANDLE__* dib) {
  if (!dib || qmGetHandleSize(dib) < sizeof(BITMAPINFOHEADER)) return nullptr;
  auto* const head = reinterpret_cast<BITMAPINFOHEADER*>(dib);
  const bool isHead = head->biSize == sizeof *head && IsDepth(head->biBitCount) &&
                      IsSize(head->biWidth) && IsSize(head->biHeight);
  if (!isHead) return nullptr;
  const i64 rows = qmwDIB_WIDTH_BIT(i64{head->biWidth} * head->biBitCount) / 8 * head->biHeight;
  return qmGetHandleSize(dib) - HeadBytesOf(head->biBitCount) == static_cast<u64>(rows) ? head
                                                                                        : nullptr;
}

}  // namespace

QMHANDLE__* qmwCreateDIB(int width, int height, int bitCount, const tagRGBQUAD* palette,
                         int* error) {
  if (!IsSize(width) || !IsSize(height) || !IsDepth(bitCount)) {
    return Fail(kxw::kErrorInvalidParameter, error);
  }
  const i64 rowBytes = qmwDIB_WIDTH_BIT(i64{width} * bitCount) / 8;
  if (rowBytes > std::numeric_limits<int>::max()) return Fail(kxw::kErrorNotEnoughMemory, error);
  const i64 size = static_cast<i64>(HeadBytesOf(bitCount)) + rowBytes * height;
  if (size > std::numeric_limits<DWORD>::max()) return Fail(kxw::kErrorNotEnoughMemory, error);

  QMHANDLE__* const dib = qmAlloc(static_cast<DWORD>(size), kxw::kAllocZeroed, error);
  if (!dib) return nullptr;
  auto* const head = reinterpret_cast<BITMAPINFOHEADER*>(dib);
  const std::size_t colors = ColorsOf(bitCount);
  *head = {};
  head->biSize = sizeof *head;
  head->biWidth = width;
  head->biHeight = height;
  head->biPlanes = 1;
  head->biBitCount = static_cast<WORD>(bitCount);
  head->biClrUsed = static_cast<DWORD>(colors);
  auto* const ours = reinterpret_cast<tagRGBQUAD*>(head + 1);
  for (std::size_t i = 0; i < colors; ++i) {
    const BYTE grey = static_cast<BYTE>(i * 255 / (colors - 1));
    ours[i] = palette ? palette[i] : tagRGBQUAD{grey, grey, grey, 0};
  }
  return dib;
}

void qmwEraseDIB(QMHANDLE__* dib) {
  if (const BITMAPINFOHEADER* const head = HeadOf(dib)) {
    const std::size_t headBytes = HeadBytesOf(head->biBitCount);
    std::memset(reinterpret_cast<BYTE*>(dib) + headBytes, 0xFF, qmGetHandleSize(dib) - headBytes);
  }
}

BITMAPINFOHEADER* qmwDibLock(QMHANDLE__* dib) {
  BITMAPINFOHEADER* const head = HeadOf(dib);
  return head && qmLock(dib) ? head : nullptr;
}

void qmwDibUnlock(QMHANDLE__* dib) { qmUnlock(dib); }

QMCOLORREF qmwGetDibPixel(QMHANDLE__* dib, int x, int y) {
  const BITMAPINFOHEADER* const head = HeadOf(dib);
  if (!head || x < 0 || x >= head->biWidth || y < 0 || y >= head->biHeight) return kWhite;
  const int bitCount = head->biBitCount;
  const i64 rowBytes = qmwDIB_WIDTH_BIT(i64{head->biWidth} * bitCount) / 8;
  const BYTE* const row = reinterpret_cast<const BYTE*>(head) + HeadBytesOf(bitCount) +
                          rowBytes * (head->biHeight - 1 - y);
  const i64 bit = i64{x} * bitCount;
  const BYTE* const at = row + bit / 8;
  if (bitCount > 8) return at[2] | at[1] << 8 | DWORD{at[0]} << 16;
  const int index = *at >> (8 - bitCount - bit % 8) & ((1 << bitCount) - 1);
  const tagRGBQUAD& color = reinterpret_cast<const tagRGBQUAD*>(head + 1)[index];
  return color.rgbRed | color.rgbGreen << 8 | DWORD{color.rgbBlue} << 16;
}
