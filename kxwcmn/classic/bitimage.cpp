#include "kxwcmn/classic/bitimage.h"

#include <cstdint>
#include <cstring>
#include <utility>

#include "kxwcmn/core/exception.h"
#include "kxwcmn/platform/error.h"
#include "kxwcmn/platform/image.h"

namespace {

bool IsBitDepth(int bitCount) {
  for (int depth : {1, 4, 8, 16, 24, 32, 64}) {
    if (bitCount == depth) return true;
  }
  return false;
}

/// Bytes of a row, aligned to 32 bits; raises for what is no row of an image.
int RowBytesOf(int width, int height, int bitCount) {
  const bool isSize =
      width >= 0 && width <= kxw::kMaxImageSize && height >= 0 && height <= kxw::kMaxImageSize;
  if (!isSize || !IsBitDepth(bitCount)) kxThrowError(kxw::kFailureBadArgument);
  const i64 bytes = (i64{width} * bitCount + 31) / 32 * 4;
  if (bytes != static_cast<int>(bytes)) kxThrowError(kxw::kFailureBadArgument);
  return static_cast<int>(bytes);
}

/// A block for all rows, locked.
BYTE* AllocRows(KXHandle& pixels, i64 size) {
  const DWORD bytes = static_cast<DWORD>(size);
  if (bytes != size) kxThrowError(kxw::kErrorNotEnoughMemory);
  pixels.Alloc(bytes, kxw::kAllocUninitialized);
  return static_cast<BYTE*>(pixels.Lock());
}

}  // namespace

KXBitImage::KXBitImage() { info_.header.biSize = sizeof info_.header; }

KXBitImage::KXBitImage(const KXBitImage& other) : KXBitImage() { Copy(other); }

KXBitImage::~KXBitImage() = default;

KXBitImage& KXBitImage::operator=(const KXBitImage& other) {
  Copy(other);
  return *this;
}

void KXBitImage::Create(int width, int height, int bitCount) {
  Destroy();
  const int rowBytes = RowBytesOf(width, height, bitCount);
  bits_ = AllocRows(pixels_, i64{rowBytes} * height);
  SetInfo(width, height, bitCount);
}

void KXBitImage::SetReference(BYTE* bytes, int width, int height, int bitCount) {
  Destroy();
  if (!bytes) kxThrowError(kxw::kFailureBadArgument);
  RowBytesOf(width, height, bitCount);
  bits_ = bytes;
  SetInfo(width, height, bitCount);
}

void KXBitImage::SetInfo(int width, int height, int bitCount) {
  width_ = width;
  height_ = height;
  bitCount_ = bitCount;
  rowBytes_ = RowBytesOf(width, height, bitCount);
  info_.header.biPlanes = 1;
  info_.header.biWidth = width;
  info_.header.biHeight = -height;
  info_.header.biBitCount = static_cast<WORD>(bitCount);
  info_.header.biClrUsed = bitCount <= 8 ? 1u << bitCount : 0;
  SetMonochromePalettes();
}

void KXBitImage::Destroy() {
  pixels_.Free();
  bits_ = nullptr;
  width_ = height_ = bitCount_ = rowBytes_ = 0;
  info_ = {};
  info_.header.biSize = sizeof info_.header;
}

void KXBitImage::Copy(const KXBitImage& other) {
  if (this == &other) return;
  if (!other.IsValid()) {
    Destroy();
    return;
  }
  // `other` may refer to the pixels that go here.
  KXHandle pixels;
  BYTE* const bits = AllocRows(pixels, i64{other.rowBytes_} * other.height_);
  std::memcpy(bits, other.bits_, pixels.GetMemSize());
  const DWORD size = pixels.GetMemSize();
  Destroy();
  pixels_.Attach(pixels.Detach(), size);
  bits_ = static_cast<BYTE*>(pixels_.Lock());
  SetInfo(other.width_, other.height_, other.bitCount_);
  info_ = other.info_;
}

void KXBitImage::Clear() {
  if (bits_)
    std::memset(bits_, 0, static_cast<std::size_t>(rowBytes_) * static_cast<std::size_t>(height_));
}

void KXBitImage::SetMonochromePalettes() {
  if (bitCount_ != 1 && bitCount_ != 8) return;
  const int last = (1 << bitCount_) - 1;
  for (int i = 0; i <= last; ++i) {
    const BYTE grey = static_cast<BYTE>(i * 255 / last);
    info_.palette[i] = {grey, grey, grey, 0};
  }
}
