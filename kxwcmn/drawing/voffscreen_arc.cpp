#include "kxwcmn/drawing/filledarc_internal.h"
#include "kxwcmn/drawing/shape_internal.h"
#include "kxwcmn/offscreen/autolock.h"
#include "kxwcmn/offscreen/voffscreen_depths.h"

namespace {

/// Calls `fill(first, last, y)` for the rows of the ellipse in a rectangle.
template <class Op>
void ForEachRow(const KXVOffscreen& image, const KXRect& rect, const tagRECT* clip, Op fill) {
  if (!rect.IsIntersectRect(image.GetRect())) return;
  kxw::ForEachFilledArcRow(rect, kxw::CutToImage(clip, image), fill);
}

}  // namespace

void KXVOffscreen::ArcFill(int left, int top, int right, int bottom, DWORD color,
                           const tagRECT* clip) {
  KXVOffscreenAutoLock lock(this, 1);
  ForEachRow(*this, {left, top, right, bottom}, clip,
             [&](int first, int last, int y) { FillLineRow(first, last, y, color, clip); });
}

void KXVOffscreen64Bit::ArcFill64(int left, int top, int right, int bottom, u64 color,
                                  const tagRECT* clip) {
  KXVOffscreenAutoLock lock(this, 1);
  ForEachRow(*this, {left, top, right, bottom}, clip,
             [&](int first, int last, int y) { FillLineRow64(first, last, y, color, clip); });
}
