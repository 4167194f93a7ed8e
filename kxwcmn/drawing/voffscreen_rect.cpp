#include <algorithm>

#include "kxwcmn/compositing/mixrow_internal.h"
#include "kxwcmn/compositing/voffpixelmask.h"
#include "kxwcmn/compositing/voffpixelmixer.h"
#include "kxwcmn/core/exception.h"
#include "kxwcmn/drawing/shape_internal.h"
#include "kxwcmn/offscreen/autolock.h"
#include "kxwcmn/offscreen/voffscreen.h"

void KXVOffscreen::RectFill(const KXRect& rect, DWORD color, int fillMode, KXVOffscreen* clip1Bit,
                            const tagRECT* clip, BYTE* pattern) {
  const KXRect bounds = clip ? KXRect(*clip) : GetRect();
  KXRect part;
  int last;  // column
  if (kxw::IsPoint(rect)) {
    if (!bounds.PtInRect(rect.TopLeft())) return;
    part = rect;
    last = rect.left;
  } else {
    if (!part.IntersectRect(rect, bounds)) return;
    last = part.right - 1;
  }
  KXVOffscreenAutoLock lock(this, 1);
  // The row at `bottom` is painted too, even below the clip, unlike the column at `right` and
  // unlike the form with a mixer; this is meant.
  const int firstRow = std::max(part.top, 0), lastRow = std::min(part.bottom, height_ - 1);
  for (int y = firstRow; y <= lastRow; ++y) {
    cursor_.y = y;
    FillLineRowForPolygon(part.left, last, color, fillMode, clip1Bit, 0,
                          kxw::StippleRow(pattern, y));
  }
}

void KXVOffscreen::RectFill(const KXRect& rect, KXVOffPixelMixer* mixer, KXVOffPixelMask* mask,
                            const tagRECT* clip, BYTE* pattern) {
  if (!mixer) kxThrowError(kxw::kFailureBadArgument);
  const KXRect bounds = kxw::CutToImage(clip, *this);
  KXVOffscreenAutoLock lock(this, 1);
  if (kxw::IsPoint(rect)) {
    const KXPoint point = rect.TopLeft();
    if (!bounds.PtInRect(point) || (mask && !mask->IsMaskFree(this, point.x, point.y))) return;
    MoveCursor(point.x, point.y);
    kxw::CheckBroughtIn(*this);
    if (mixer->GetSrcOffscreen()) {
      mixer->RelativeSrcCursor(0, 0);
      mixer->DoSrc();
    } else {
      mixer->Do();
    }
    return;
  }
  KXRect part;
  if (!part.IntersectRect(rect, bounds)) return;
  // The library's own mixers take the area block by block.
  mixer->RelativeSrcCursor(kxw::IntGeometry::Sub(part.left, rect.left),
                           kxw::IntGeometry::Sub(part.top, rect.top));
  int sourceX = 0, sourceY = 0;
  if (mixer->GetSrcOffscreen()) mixer->GetSrcOffscreen()->GetCursorPos(sourceX, sourceY);
  if (kxw::MixByKernel(*this, *mixer, mask,
                       {part.left, part.top, part.right, part.bottom, sourceX, sourceY, pattern,
                        /*isRow=*/false})) {
    return;
  }
  for (int y = part.top; y < part.bottom; ++y) {
    cursor_.y = y;
    if (mask) mask->MoveCursorY(this, y);
    mixer->RelativeSrcCursor(kxw::IntGeometry::Sub(part.left, rect.left),
                             kxw::IntGeometry::Sub(y, rect.top));
    FillLineRowForPolygon(part.left, part.right - 1, mixer, mask, kxw::StippleRow(pattern, y));
  }
}
