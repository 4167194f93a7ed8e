#include "kxwcmn/platform/image.h"

#include <limits>

#include "kxwcmn/platform/error.h"

namespace {

constexpr DWORD kSignature = 0x474D4951;  // "QIMG"

/// Stands before the rows. In blocks of 4096 bytes or more its size puts the first row at the start
/// of a cache line.
struct Head {
  DWORD signature;
  int width, height, bitCount, rowBytes, layerKind;
  BYTE padding[40];
};
static_assert(sizeof(Head) == 64);

Head* HeadOf(QMHANDLE__* image) {
  if (!image || qmGetHandleSize(image) < sizeof(Head)) return nullptr;
  auto* const head = reinterpret_cast<Head*>(image);
  return head->signature == kSignature ? head : nullptr;
}

bool IsDepth(int bitCount) {
  return bitCount == 1 || bitCount == 8 || bitCount == 24 || bitCount == 32;
}

bool IsSize(int size) { return size >= 0 && size <= kxw::kMaxImageSize; }

QMHANDLE__* Fail(int code, int* error) {
  if (error) *error = code;
  qmSetLastError(code);
  return nullptr;
}

}  // namespace

QMHANDLE__* kxw::CreateImage(int width, int height, int bitCount, DWORD flags, int* error) {
  if (!IsSize(width) || !IsSize(height) || !IsDepth(bitCount)) {
    return Fail(kxw::kErrorInvalidParameter, error);
  }
  const i64 rowBytes = (i64{width} * bitCount + 31) / 32 * 4;
  if (rowBytes > std::numeric_limits<int>::max()) return Fail(kxw::kErrorNotEnoughMemory, error);
  const i64 size = i64{sizeof(Head)} + rowBytes * height;
  if (size > std::numeric_limits<DWORD>::max()) return Fail(kxw::kErrorNotEnoughMemory, error);

  QMHANDLE__* const image = qmAlloc(static_cast<DWORD>(size), flags, error);
  if (image) {
    *reinterpret_cast<Head*>(image) = {
        kSignature, width, height, bitCount, static_cast<int>(rowBytes), 0, {}};
  }
  return image;
}

QMHANDLE__* qmImageCreate(int width, int height, int bitCount, int* error) {
  return kxw::CreateImage(width, height, bitCount, kxw::kAllocZeroed, error);
}

int qmImageLock(QMHANDLE__* image, QMIMAGELOCK* record) {
  Head* const head = HeadOf(image);
  if (!head || !record || !qmLock(image)) return 0;
  *record = {reinterpret_cast<BYTE*>(head + 1),
             head->width,
             head->height,
             head->bitCount,
             head->rowBytes,
             head->layerKind};
  return 1;
}

void qmImageUnlock(QMHANDLE__* image) { qmUnlock(image); }

int qmImageGetWidthDirect(QMHANDLE__* image) {
  const Head* const head = HeadOf(image);
  return head ? head->width : 0;
}

int qmImageGetBitCountDirect(QMHANDLE__* image) {
  const Head* const head = HeadOf(image);
  return head ? head->bitCount : 0;
}

void qmImageSetLayerKind(QMHANDLE__* image, int layerKind) {
  if (Head* const head = HeadOf(image)) head->layerKind = layerKind;
}
