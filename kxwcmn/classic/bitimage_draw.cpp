#include "kxwcmn/classic/bitimage.h"
#include "kxwcmn/classic/bitink_internal.h"
#include "kxwcmn/classic/convexscan_internal.h"
#include "kxwcmn/core/geometry.h"
#include "kxwcmn/drawing/polygonscan_internal.h"
#include "kxwcmn/drawing/stampline_internal.h"

namespace {

KXRect BoundsOf(const KXBitImage& image) { return {0, 0, image.GetWidth(), image.GetHeight()}; }

/// Paints a span of a polygon, of which the right column is a part, where the image has it.
template <class Paint>
void PaintSpan(const KXRect& bounds, const Paint& paint, int y, int left, int right) {
  left = std::max(left, 0);
  right = std::min<int>(right, bounds.right - 1);
  if (y < 0 || y >= bounds.bottom || left > right) return;
  paint(y, left, right - left + 1, kxw::kOnce);
}

/// Paints the edges that no scan takes, each over what is there already.
template <class Paint>
void PaintHorizontalEdges(const KXRect& bounds, const Paint& paint, const KXPoint* points,
                          int count) {
  for (int i = 0; i < count; ++i) {
    const KXPoint& p = points[i];
    const KXPoint& q = points[i + 1 < count ? i + 1 : 0];
    if (p.y == q.y) PaintSpan(bounds, paint, p.y, std::min(p.x, q.x), std::max(p.x, q.x));
  }
}

}  // namespace

void KXBitImage::RectFill(KXRect rect, QMCOLORREF color, int mode) {
  KXRect area = BoundsOf(*this);
  if (!area.IntersectRect(rect)) return;
  kxw::DrawBits(*this, color, mode, [&](auto paint) {
    for (int y = area.top; y < area.bottom; ++y) {
      paint(y, area.left, area.right - area.left, kxw::kOnce);
    }
  });
}

void KXBitImage::DrawSegment(int x1, int y1, int x2, int y2, int width, QMCOLORREF color,
                             int mode) {
  const kxw::StampLine line({x1, y1, x2, y2}, {width, 0}, BoundsOf(*this));
  kxw::DrawBits(*this, color, mode, [&](auto paint) {
    line.ForEachRow([&](int y, int left, int right, const kxw::Stamps& stamps) {
      paint(y, left, right - left, [&](int x) { return line.CountAt(x, stamps); });
    });
  });
}

void KXBitImage::DrawSimpleSegment(int x1, int y1, int x2, int y2, QMCOLORREF color, int mode) {
  DrawSegment(x1, y1, x2, y2, 1, color, mode);
}

void KXBitImage::DrawRect(int left, int top, int right, int bottom, int width, QMCOLORREF color,
                          int mode) {
  DrawSegment(left, top, right, top, width, color, mode);
  DrawSegment(right, top, right, bottom, width, color, mode);
  DrawSegment(right, bottom, left, bottom, width, color, mode);
  DrawSegment(left, bottom, left, top, width, color, mode);
}

void KXBitImage::FillPolygon(const KXPoint* points, int count, QMCOLORREF color, int mode) {
  if (!points) return;
  const KXRect bounds = BoundsOf(*this);
  kxw::DrawBits(*this, color, mode, [&](auto paint) {
    kxw::PolygonScan scan(points, count, /*breaks=*/true);
    scan.EndAtGap();
    scan.Run<kxw::TruncatedCrossings>(0, bounds.bottom, 0, bounds.right,
                                      [&](int y, const int* columns, int columnCount) {
                                        for (int i = 0; i < columnCount; i += 2) {
                                          PaintSpan(bounds, paint, y, columns[i], columns[i + 1]);
                                        }
                                        return true;
                                      });
    PaintHorizontalEdges(bounds, paint, points, count);
  });
}

void KXBitImage::FillPolygonConvex(const KXPoint* points, int count, QMCOLORREF color, int mode) {
  if (!points) return;
  const KXRect bounds = BoundsOf(*this);
  kxw::DrawBits(*this, color, mode, [&](auto paint) {
    const kxw::ConvexScan scan(points, count, 0, bounds.bottom, /*breaks=*/true);
    scan.ForEachRow([&](int y, int left, int right) { PaintSpan(bounds, paint, y, left, right); });
    PaintHorizontalEdges(bounds, paint, points, count);
  });
}
