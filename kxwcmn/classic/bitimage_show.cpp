#include "kxwcmn/classic/bitimage.h"
#include "kxwcmn/core/exception.h"
#include "kxwcmn/core/gdi.h"
#include "kxwcmn/platform/graphics.h"

void KXBitImage::DrawGDI(HDC context, int destX, int destY, int destW, int destH, int srcX,
                         int srcY, int srcW, int srcH) const {
  if (!context) kxThrowError(kxw::kFailureBadArgument);
  if (!IsValid()) return;
  const int code = kxw::StretchToDevice(context, {destX, destY, destW, destH},
                                        {srcX, srcY, srcW, srcH}, bits_, &info_.header, bltMode_);
  if (code) kxThrowError(code);
}

void KXBitImage::DrawGDI(KXGdi* gdi, int destX, int destY, int destW, int destH, int srcX, int srcY,
                         int srcW, int srcH) const {
  DrawGDI(gdi ? gdi->GetHandle() : nullptr, destX, destY, destW, destH, srcX, srcY, srcW, srcH);
}
