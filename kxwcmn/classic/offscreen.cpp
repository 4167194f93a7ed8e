#include "kxwcmn/classic/offscreen.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "kxwcmn/classic/rows_internal.h"
#include "kxwcmn/core/exception.h"
#include "kxwcmn/platform/error.h"

namespace {

template <int kMultiple>
i64 Align(i64 value) {
  const i64 rest = std::abs(value % kMultiple);
  return rest == 0 ? value : value + kMultiple - rest;
}

int NeedInt(i64 value) {
  if (value != static_cast<int>(value)) kxThrowError(kxw::kFailureBadArgument);
  return static_cast<int>(value);
}

}  // namespace

// --- Life ----------------------------------------------------------------------------------------

KXOffscreen::KXOffscreen(const KXOffscreen& other) : KXOffscreen() { *this = other; }

KXOffscreen::~KXOffscreen() { Destroy(); }

KXOffscreen& KXOffscreen::operator=(const KXOffscreen& other) {
  if (this == &other) return *this;
  Destroy();
  if (!other.IsValid()) return *this;
  kxw::CreateClassicImage(*this, other.GetWidth(), other.GetHeight(), other.GetBitCount(),
                          kxw::kAllocUninitialized);
  // Both blocks are laid out alike, so that no lock of `other` is needed.
  QMIMAGELOCK to, from;
  const bool isToLocked = qmImageLock(*this, &to), isFromLocked = qmImageLock(other, &from);
  if (isToLocked && isFromLocked) {
    std::memcpy(to.base, from.base, static_cast<std::size_t>(GetBufferSize()));
  }
  if (isFromLocked) qmImageUnlock(other);
  if (isToLocked) qmImageUnlock(*this);
  if (!isToLocked || !isFromLocked) {
    Destroy();
    kxThrowError(kxw::kErrorNotEnoughMemory);
  }
  return *this;
}

void kxw::CreateClassicImage(KXOffscreen& image, int width, int height, int bitCount, DWORD flags) {
  image.Destroy();
  KXOffscreen::CalcRowLineBufferSize(width, bitCount);
  int error = 0;
  QMHANDLE__* const block = kxw::CreateImage(width, height, bitCount, flags, &error);
  if (!block) {
    kxThrowError(error == kxw::kErrorInvalidParameter ? int{kxw::kFailureBadArgument} : error);
  }
  try {
    image.SetQMImage(block);
  } catch (...) {
    qmFree(block);
    throw;
  }
}

void KXOffscreen::Create(int width, int height, int bitCount, DWORD color, int fill) {
  // A fill writes all bytes of rows but those behind pixels of 24 bits.
  const bool isWritten = fill == 1 && (bitCount != 24 || width % 4 == 0);
  kxw::CreateClassicImage(*this, width, height, bitCount,
                          isWritten ? kxw::kAllocUninitialized : kxw::kAllocZeroed);
  if (fill != 1) return;
  try {
    Lock();
  } catch (...) {
    Destroy();
    throw;
  }
  const QMCOLORREF kept = foreColor_;
  SetForeColor(color);
  Fill();
  SetForeColor(kept);
  Unlock();
}

void KXOffscreen::Destroy() {
  while (lockCount_ > 0) Unlock();
  image_.Free();
  rowBuffer_.Free();
  info_ = {};
}

void KXOffscreen::SetQMImage(QMHANDLE__* image) {
  if (image && image == *this) return;
  if (!qmImageGetBitCountDirect(image)) kxThrowError(kxw::kFailureBadArgument);
  Destroy();
  try {
    SetKXImageInfo(image);
    // Without rows there is nothing to fill, however wide they would be.
    rowBuffer_.Alloc(info_.height > 0 ? static_cast<DWORD>(info_.rowBytes) : 0);
  } catch (...) {
    Destroy();
    throw;
  }
  // From here on nothing fails.
  image_.Attach(image, qmGetHandleSize(image));
  isRowBufferDirty_ = true;
}

void KXOffscreen::SetKXImageInfo(QMHANDLE__* image) {
  if (!qmImageLock(image, &info_)) kxThrowError(kxw::kErrorNotEnoughMemory);
  qmImageUnlock(image);
  info_.base = nullptr;
}

KXOffscreen::operator QMHANDLE__*() const {
  return static_cast<QMHANDLE__*>(static_cast<void*>(image_));
}

void KXOffscreen::Lock() {
  if (!IsValid()) return;
  if (lockCount_ == 0) {
    QMIMAGELOCK locked;
    if (!qmImageLock(*this, &locked)) kxThrowError(kxw::kErrorNotEnoughMemory);
    rowBufferBytes_ = static_cast<BYTE*>(rowBuffer_.Lock());
    if (!rowBufferBytes_) {
      qmImageUnlock(*this);
      kxThrowError(kxw::kErrorNotEnoughMemory);
    }
    info_.base = locked.base;
  }
  ++lockCount_;
}

void KXOffscreen::Unlock() {
  if (lockCount_ <= 0) return;
  if (lockCount_ == 1) {
    qmImageUnlock(*this);
    rowBuffer_.Unlock();
    rowBufferBytes_ = nullptr;
    info_.base = nullptr;
  }
  --lockCount_;
}

// --- Properties ----------------------------------------------------------------------------------

void KXOffscreen::SetForeColor(const DWORD& color) {
  if (color == foreColor_) return;
  foreColor_ = color;
  isRowBufferDirty_ = true;
  foreColor8_ = kxw::ForeDensity(color);
  foreColor1_ = foreColor8_ > 127;
}

void KXOffscreen::SetForeColor(tagQMRGBCOLOR16 color) { SetForeColor(KXColor(color).GetColor()); }

void KXOffscreen::SetTransparency(int transparency) {
  transparency_ = std::clamp(transparency, 0, 255);
  if (transparency_ == 255) {
    opacityRatio_ = 1.0;
    transmissionRatio_ = 0.0;
  } else if (transparency_ == 0) {
    opacityRatio_ = 0.0;
    transmissionRatio_ = 1.0;
  } else {
    opacityRatio_ = transparency_ * 0.00392156862745098;  // 1 / 255
    transmissionRatio_ = 1 - opacityRatio_;
  }
}

// --- Sizes ---------------------------------------------------------------------------------------

int KXOffscreen::Align32Bit(int value) { return NeedInt(Align<32>(value)); }

int KXOffscreen::Align64Bit(int value) { return NeedInt(Align<64>(value)); }

int KXOffscreen::CalcRowLineBufferSize(int width, int bitCount) {
  if (bitCount != 1 && bitCount != 8 && bitCount != 24 && bitCount != 32) {
    kxThrowError(kxw::kFailureBadArgument);
  }
  return NeedInt(Align<32>(i64{width} * bitCount) / 8);
}

i64 KXOffscreen::CalcBufferSize(int width, int height, int bitCount) {
  return i64{CalcRowLineBufferSize(width, bitCount)} * height;
}

void KXOffscreen::CalcAlign8BitRect(tagRECT& rect, int bitCount) {
  if (bitCount == 1) rect.left &= ~7;
}
