#include <algorithm>
#include <limits>

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

/// Spans of rows that lie in one row of blocks, put by so that each block is entered once for many
/// of them.
class SpanBand {
 public:
  static constexpr int kMostColumns = 2048;

  /// Whether `columns`, two for each span of a row, find room.
  bool HasRoom(int y, int columns) const {
    return rowCount_ < kMostRows && columns <= kMostColumns - columnCount_ &&
           (rowCount_ == 0 || (y ^ rows_[0].y) <= KXVOffscreen::kBlockMask);
  }
  void Add(int y, const int* spans, int columns) {
    const int first = columnCount_;
    for (int i = 0; i < columns; i += 2) {
      columns_[columnCount_] = spans[i];
      columns_[columnCount_ + 1] = spans[i + 1];
      columnCount_ += spans[i] <= spans[i + 1] ? 2 : 0;  // an empty one makes place for the next
    }
    if (first == columnCount_) return;
    rows_[rowCount_++] = {y, first, columnCount_};
    firstColumn_ = std::min(firstColumn_, columns_[first]);
  }
  /// Takes all spans out, block by block: calls `enter(x, y)` with a point of the block, which
  /// gives its memory or null, and `paint(block, x, y, count)` for the parts of spans there.
  template <class Enter, class Paint>
  void Empty(Enter enter, Paint paint) {
    while (firstColumn_ != kNone) {
      const int last = firstColumn_ | KXVOffscreen::kBlockMask;  // of the block
      BYTE* const block = enter(firstColumn_, rows_[0].y);
      firstColumn_ = kNone;
      for (int i = 0; i < rowCount_; ++i) {
        Row& row = rows_[i];
        for (; row.next < row.end && columns_[row.next] <= last; row.next += 2) {
          int& x = columns_[row.next];
          const int end = columns_[row.next + 1];
          if (block) paint(block, x, row.y, std::min(end, last) - x + 1);
          if (end > last) {
            x = last + 1;  // what is left of it
            break;
          }
        }
        if (row.next < row.end) firstColumn_ = std::min(firstColumn_, columns_[row.next]);
      }
    }
    rowCount_ = columnCount_ = 0;
  }

 private:
  static constexpr int kMostRows = 64, kNone = std::numeric_limits<int>::max();
  struct Row {
    int y;
    int next, end;  // the columns of the spans that are left
  };

  int rowCount_ = 0, columnCount_ = 0;
  int firstColumn_ = kNone;  // of all that is left
  Row rows_[kMostRows];
  int columns_[kMostColumns];  // the first and the last one of each span
};

}  // namespace

template <class Depth, class Fill>
void KXVOffscreen::FillPolygonWith(const KXPoint* points, int count, const tagRECT* clip, Fill fill,
                                   int closed) {
  KXVOffscreenAutoLock lock(this, 1);
  KXRect bounds = clip ? KXRect(*clip) : GetRect();
  bounds.left = std::max(bounds.left, 0);
  bounds.right = std::min(bounds.right, width_);
  SpanBand band;
  const auto paintBand = [&] {
    band.Empty([this](int x, int y) { return EnterRow(x, y & ~kBlockMask); },
               [fill](BYTE* block, int x, int y, int runLength) {
                 BYTE* const row = block + (y & kBlockMask) * kxw::kRowBytes<Depth>;
                 kxw::FillRun<Depth>(row, x & kBlockMask, runLength, fill);
               });
  };
  const auto add = [&](int y, const int* spans, int columns) {
    for (int left = columns; left > 0;) {
      const int part = std::min(left, SpanBand::kMostColumns);
      if (!band.HasRoom(y, part)) paintBand();
      band.Add(y, spans + (columns - left), part);
      left -= part;
    }
    return true;
  };
  ForEachRowOfSpans(points, count, true, closed != 0, bounds, GetRect(), add);
  paintBand();
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
