#include <algorithm>

#include "kxwcmn/classic/convexscan_internal.h"
#include "kxwcmn/classic/offscreencursor.h"
#include "kxwcmn/classic/spanpainter_internal.h"
#include "kxwcmn/drawing/polygonscan_internal.h"

namespace {

/// Whether a polygon leaves no mark, unlike a single row or a circle.
bool IsInvisible(const KXOffscreen& image) {
  return image.GetTransparency() < (image.GetBitCount() == 1 ? 127 : 1);
}

/// Paints the edges that no scan takes. Each is painted on its own, over what the scan has painted.
void PaintHorizontalEdges(const kxw::SpanPainter& painter, const tagPOINT* points, int count) {
  for (int i = 0; i < count; ++i) {
    const tagPOINT& p = points[i];
    const tagPOINT& q = points[i + 1 < count ? i + 1 : 0];
    if (p.y != q.y || p.y < painter.Area().top || p.y >= painter.Area().bottom) continue;
    painter.Paint(p.y, std::min(p.x, q.x), std::max(p.x, q.x));
  }
}

}  // namespace

void KXOffscreen::FillPolygon(tagPOINT* const points, int count) {
  if (!IsLocked() || !points || IsInvisible(*this)) return;
  const kxw::SpanPainter painter(*this);
  const KXRect& area = painter.Area();
  if (area.IsRectEmpty()) return;
  kxw::PolygonScan scan(points, count, false);
  scan.Run<kxw::TruncatedCrossings>(area.top, area.bottom, area.left, area.right,
                                    [&](int y, const int* spans, int columns) {
                                      for (int i = 0; i < columns; i += 2) {
                                        painter.Paint(y, spans[i], spans[i + 1]);
                                      }
                                      return true;
                                    });
  PaintHorizontalEdges(painter, points, count);
}

void KXOffscreen::FillPolygonConvex(tagPOINT* const points, int count) {
  if (!IsLocked() || !points || IsInvisible(*this)) return;
  const kxw::SpanPainter painter(*this);
  const KXRect& area = painter.Area();
  if (area.IsRectEmpty()) return;
  const kxw::ConvexScan scan(points, count, area.top, area.bottom);
  scan.ForEachRow([&](int y, int left, int right) { painter.Paint(y, left, right); });
  PaintHorizontalEdges(painter, points, count);
}

void KXOffscreen::FillLineRowForPolygon(const int& left, const int& right,
                                        KXOffscreenCursor& cursor, KXOffscreenCursor& maskCursor,
                                        tagRECT* imageArea, tagRECT* maskArea) {
  if (!IsLocked()) return;
  cursor.MoveCursorX(left);
  if (clipMode_ == 2) maskCursor.MoveCursorX(OffscreenToClipMaskX(left));
  if (left > right) return;
  const kxw::SpanPainter painter(*this);
  KXRect area = painter.Area();
  if (imageArea) area &= KXRect(*imageArea);
  const int y = cursor.GetY(), maskY = maskCursor.GetY();
  int first = std::max<int>(left, area.left), last = std::min<int>(right, area.right - 1);
  if (y < area.top || y >= area.bottom) return;
  if (clipMode_ == 2) {
    KXRect read(0, 0, clipMask_->GetWidth(), clipMask_->GetHeight());
    if (maskArea) read &= KXRect(*maskArea);
    if (maskY < read.top || maskY >= read.bottom) return;
    while (first <= last && OffscreenToClipMaskX(first) < read.left) ++first;
    while (first <= last && OffscreenToClipMaskX(last) >= read.right) --last;
  }
  if (first <= last) painter.PaintRow(y, first, last - first + 1, maskY);
}
