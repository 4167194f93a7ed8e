#include <algorithm>
#include <cmath>
#include <limits>

#include "kxwcmn/drawing/filledarc_internal.h"
#include "kxwcmn/drawing/shape_internal.h"
#include "kxwcmn/offscreen/autolock.h"
#include "kxwcmn/offscreen/voffscreen_depths.h"

namespace {

int Saturate(i64 value) {
  return static_cast<int>(
      std::clamp<i64>(value, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
}

/// Calls `fill(first, last, y)` for the rows of the ellipse in a rectangle. One without width or
/// height holds a straight line, and a reversed one counts from its left and top as well.
template <class Op>
void ForEachRow(const KXVOffscreen& image, const KXRect& rect, const tagRECT* clip, Op fill) {
  if (!rect.IsIntersectRect(image.GetRect())) return;
  const i64 a = std::abs(static_cast<i64>(rect.right) - rect.left) / 2;
  const i64 b = std::abs(static_cast<i64>(rect.bottom) - rect.top) / 2;
  // Less than two pixels in both directions hold no ellipse.
  if (a == 0 && b == 0) return;
  const i64 cx = rect.left + a, cy = rect.top + b;
  const kxw::FilledArc arc(a, b);
  const KXRect rows = kxw::CutToImage(clip, image);
  const i64 first = std::max<i64>(cy - b, rows.top), last = std::min<i64>(cy + b, rows.bottom - 1);
  for (i64 y = first; y <= last; ++y) {
    const i64 half = arc.HalfWidth(std::abs(y - cy));
    if (half >= 0) fill(Saturate(cx - half), Saturate(cx + half), static_cast<int>(y));
  }
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
