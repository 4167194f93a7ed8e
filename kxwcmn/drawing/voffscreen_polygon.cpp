#include <algorithm>

#include "kxwcmn/drawing/fillrules_internal.h"
#include "kxwcmn/drawing/polygonscan_internal.h"
#include "kxwcmn/offscreen/autolock.h"
#include "kxwcmn/offscreen/voffscreen_depths.h"
#include "kxwcmn/platform/number.h"

namespace {

/// Calls `op(y, spans, count)` for the rows of a polygon: `count` is even, and each two columns are
/// the first and the last one of a span, the first above the last if it is empty.
///
/// Spans are cut to the columns of `bounds`. Its rows limit no span but the horizontal edges, which
/// come at the end, one at a time, and with `closed` alone. Nothing leaves `rows`. Ends when `op`
/// returns false.
template <class Op>
void ForEachRowOfSpans(const KXPoint* points, int count, bool breaks, bool closed,
                       const KXRect& bounds, const KXRect& rows, Op op) {
  if (!points || count < 1 || bounds.left >= bounds.right) return;
  bool goesOn = true;
  const auto emit = [&](int y, int* spans, int columns, int open) {
    for (int i = 0; i < columns; i += 2) {
      spans[i] = std::max(spans[i], bounds.left);
      spans[i + 1] = std::min(spans[i + 1] - open, bounds.right - 1);
    }
    return goesOn = op(y, spans, columns);
  };
  kxw::PolygonScan scan(points, count, breaks);
  scan.Run(rows.top, rows.bottom, bounds.left, bounds.right,
           [&](int y, int* spans, int columns) { return emit(y, spans, columns, closed ? 0 : 1); });
  if (!closed) return;
  for (int i = 0; i < count && goesOn; ++i) {
    const KXPoint& p = points[i];
    const KXPoint& q = points[i + 1 < count ? i + 1 : 0];
    if (p.y != q.y || p.y < std::max(rows.top, bounds.top) ||
        p.y >= std::min(rows.bottom, bounds.bottom)) {
      continue;
    }
    int span[] = {std::min(p.x, q.x), std::max(p.x, q.x)};
    emit(p.y, span, 2, 0);
  }
}

}  // namespace

template <class Depth, class Fill>
void KXVOffscreen::FillPolygonWith(const KXPoint* points, int count, const tagRECT* clip, Fill fill,
                                   int closed) {
  KXVOffscreenAutoLock lock(this, 1);
  KXRect bounds = clip ? KXRect(*clip) : GetRect();
  bounds.left = std::max(bounds.left, 0);
  bounds.right = std::min(bounds.right, width_);
  const auto paint = [&](int y, const int* spans, int columns) {
    // The row in memory of the columns from `left` up to but not `right`, which are of one block.
    BYTE* row = nullptr;
    int left = 0, right = 0;
    for (int i = 0; i < columns; i += 2) {
      for (int x = spans[i], end; x <= spans[i + 1]; x = end) {
        if (x < left || x >= right) {
          row = EnterRow(x, y);
          left = x & ~kBlockMask;
          right = left + kBlockSize;
        }
        end = std::min(spans[i + 1] + 1, right);
        if (row) kxw::FillRun<Depth>(row, x - left, end - x, fill);
      }
    }
    return true;
  };
  ForEachRowOfSpans(points, count, true, closed != 0, bounds, GetRect(), paint);
}

void KXVOffscreen::FillPolygon(const KXPoint* points, int count, tagRECT* clip, DWORD color,
                               int closed) {
  kxw::WithDepth(bitCount_, [&](auto depth) {
    using Depth = decltype(depth);
    // The 64-bit depth has no row painter for a 32-bit colour.
    if constexpr (Depth::kBits < 64) {
      const kxw::FillRule<Depth> rule(color);
      FillPolygonWith<Depth>(points, count, clip, Depth::FillOf(rule.paint), closed);
    }
  });
}

void KXVOffscreen64Bit::FillPolygon64(const KXPoint* points, int count, tagRECT* clip, u64 color,
                                      int closed) {
  const kxw::FillRule<kxw::Depth64> rule(color);
  FillPolygonWith<kxw::Depth64>(points, count, clip, rule.paint, closed);
}

int KXVOffscreen::SearchPolygon(const KXPoint* points, int count) {
  constexpr int kMost = 255;
  if (!points || count < 1) return 0;
  // The box, inclusive: its ends may be the last coordinates that there are.
  int left = points[0].x, top = points[0].y, right = left, bottom = top;
  for (int i = 1; i < count; ++i) {
    left = std::min(left, points[i].x);
    top = std::min(top, points[i].y);
    right = std::max(right, points[i].x);
    bottom = std::max(bottom, points[i].y);
  }
  tagRECT blocks;
  if (!GetExtentBlock(blocks)) return 0;
  const KXRect box(std::max(left, blocks.left), std::max(top, blocks.top),
                   std::min(right, blocks.right - 1) + 1, std::min(bottom, blocks.bottom - 1) + 1);
  if (box.IsRectEmpty()) return 0;

  KXVOffscreenAutoLock lock(this, 0);
  int strongest = 0;
  ForEachRowOfSpans(
      points, count, false, true, box, box, [&](int y, const int* spans, int columns) {
        for (int i = 0; i < columns && strongest < kMost; i += 2) {
          cursor_.y = y;
          strongest = std::max(strongest, SearchLineRowForPolygon(spans[i], spans[i + 1]));
        }
        return strongest < kMost;
      });
  return std::min(strongest, kMost);
}
