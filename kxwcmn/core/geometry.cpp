#include "kxwcmn/core/geometry.h"

static_assert(sizeof(KXPoint) == sizeof(tagPOINT) && sizeof(KXRect) == 2 * sizeof(KXPoint));
static_assert(sizeof(KXPointF) == sizeof(tagPOINTF) && sizeof(KXRectF) == 2 * sizeof(KXPointF));
static_assert(sizeof(KXPointD) == sizeof(tagPOINTD) && sizeof(KXRectD) == 2 * sizeof(KXPointD));

void KXRect::CalcDestRect(const tagRECT& src, const tagRECT& dst) {
  using G = kxw::IntGeometry;
  const KXSize from = KXRect(src).Size(), to = KXRect(dst).Size();
  if (from == to) {
    CopyRect(dst);
    return;
  }
  // A zero size makes these ratios infinite or no number, which the comparisons below and the
  // truncation take in their stride.
  const double sw = from.cx, sh = from.cy, dw = to.cx, dh = to.cy;
  bool fullHeight;
  if (sw >= sh) {
    const double ratio = dw >= dh ? dw / dh : 1.0;
    fullHeight = ratio > sw / sh;
  } else {
    const double ratio = dw > dh ? dh / dw : 1.0;
    fullHeight = !(ratio > sh / sw);
  }
  const LONG width = fullHeight ? kxw::Truncate(dh / sh * sw) : to.cx;
  const LONG height = fullHeight ? to.cy : kxw::Truncate(dw / sw * sh);
  const LONG insetX = G::Sub(to.cx, width) / 2;
  const LONG insetY = G::Sub(to.cy, height) / 2;
  // An odd remainder stays with the result: right and bottom use the truncated inset too.
  SetRect(G::Add(dst.left, insetX), G::Add(dst.top, insetY),
          G::Add(G::Sub(dst.left, insetX), to.cx), G::Add(G::Sub(dst.top, insetY), to.cy));
}
