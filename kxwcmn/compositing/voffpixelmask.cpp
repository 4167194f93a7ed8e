#include "kxwcmn/compositing/voffpixelmask.h"

#include "kxwcmn/compositing/mixrow_internal.h"
#include "kxwcmn/core/color.h"
#include "kxwcmn/core/exception.h"
#include "kxwcmn/offscreen/voffscreen.h"

namespace {

constexpr int kNoMode = 96;  // above the comparisons

bool IsSameColor(DWORD a, DWORD b, int whiteEqual) {
  if (a == b) return true;
  if (kxw::Alpha(a) == 0 && kxw::Alpha(b) == 0) return true;
  return whiteEqual && (a & b & 0x00FFFFFF) == 0x00FFFFFF;
}

// The position on a mask that lies under a position of the destination.
int MaskX(const KXVOffPixelMask::MaskInfo& info, const KXVOffscreen* dst, int x) {
  return kxw::Deref(dst).ConvertPointX(info.offscreen, kxw::IntGeometry::Sub(x, info.offset.x));
}
int MaskY(const KXVOffPixelMask::MaskInfo& info, const KXVOffscreen* dst, int y) {
  return kxw::Deref(dst).ConvertPointY(info.offscreen, kxw::IntGeometry::Sub(y, info.offset.y));
}

}  // namespace

void KXVOffPixelMask::Initialize() {
  for (MaskInfo& info : masks_) info = MaskInfo();
  masks_[0].mode = kNoMode;
}

KXVOffPixelMask::MaskInfo* KXVOffPixelMask::GetMaskInfo(int index) {
  return index >= 0 && index < kCount ? &masks_[index] : nullptr;
}

void KXVOffPixelMask::SetMaskInfo(int index, const MaskInfo& info) {
  MaskInfo* entry = GetMaskInfo(index);
  if (!entry) kxThrowError(kxw::kFailureBadArgument);
  *entry = info;
}

int KXVOffPixelMask::IsMaskCompare(int mode, DWORD maskColor, DWORD pixelColor,
                                   int whiteEqual) const {
  switch (mode) {
    case 0:
      return IsSameColor(maskColor, pixelColor, whiteEqual);
    case 1:
      return !IsSameColor(maskColor, pixelColor, whiteEqual);
    case 2:
      return kxw::Alpha(maskColor) == kxw::Alpha(pixelColor);
    case 3:
      return kxw::Alpha(maskColor) != kxw::Alpha(pixelColor);
    default:
      return 0;
  }
}

int KXVOffPixelMask::IsMaskFree(KXVOffscreen* dst, int x, int y) {
  for (const MaskInfo& info : masks_) {
    if (!info.offscreen) return 1;
    info.offscreen->MoveCursor(MaskX(info, dst, x), MaskY(info, dst, y));
    if (HoldsBack(info)) return 0;
  }
  return 1;
}

int KXVOffPixelMask::IsMaskFreeX(KXVOffscreen* dst, int x) {
  for (const MaskInfo& info : masks_) {
    if (!info.offscreen) return 1;
    info.offscreen->MoveCursorX(MaskX(info, dst, x));
    if (HoldsBack(info)) return 0;
  }
  return 1;
}

bool KXVOffPixelMask::HoldsBack(const MaskInfo& info) const {
  kxw::CheckBroughtIn(*info.offscreen);
  const DWORD pixel = info.offscreen->Get32BitColor();
  return IsMaskCompare(info.mode, info.color, pixel, info.whiteEqual) != 0;
}

void KXVOffPixelMask::MoveCursorY(KXVOffscreen* dst, int y) {
  for (const MaskInfo& info : masks_) {
    if (info.offscreen) info.offscreen->MoveCursorY(MaskY(info, dst, y));
  }
}
