#include "kxwcmn/classic/convexscan_internal.h"

#include <new>

#include "kxwcmn/core/exception.h"
#include "kxwcmn/drawing/polygonscan_internal.h"
#include "kxwcmn/platform/error.h"

namespace kxw {

ConvexScan::ConvexScan(const tagPOINT* points, int count, int top, int bottom, bool breaks)
    : top_(top), bottom_(top) {
  if (!points || count < 1) return;
  const auto isBreak = [breaks](const tagPOINT& p) { return breaks && p.y == PolygonScan::kBreak; };
  using Limits = std::numeric_limits<int>;
  int first = Limits::max(), last = Limits::min();
  for (int i = 0; i < count; ++i) {
    if (isBreak(points[i])) continue;
    first = std::min<int>(first, points[i].y);
    last = std::max<int>(last, points[i].y);
  }
  if (first > last) return;
  top_ = std::max(top, first);
  bottom_ = last < bottom ? last + 1 : bottom;
  if (top_ >= bottom_) return;
  const auto rows = static_cast<std::size_t>(bottom_ - top_);
  if (rows > kLocalRows) {
    memory_.reset(new (std::nothrow) Span[rows]);
    if (!memory_) kxThrowError(kErrorNotEnoughMemory);
    rows_ = memory_.get();
  }
  std::fill_n(rows_, rows, Span{Limits::max(), Limits::min()});
  for (int i = 0; i < count; ++i) {
    const tagPOINT& p = points[i];
    const tagPOINT& q = points[i + 1 < count ? i + 1 : 0];
    if (isBreak(p) || isBreak(q)) continue;
    if (p.y < q.y) AddEdge(p, q);
    if (p.y > q.y) AddEdge(q, p);
  }
}

// By row k, counted from the upper end, a steep edge has stepped k * dx / dy columns aside,
// rounded, halves up. A flat one comes to row k with the least step n for which n * dy / dx,
// rounded alike, is k: with (k * dx - dx / 2) / dy, rounded up. Both are a quotient by dy, which
// goes on from row to row by the quotient and the rest of dx / dy. The products fit 64 unsigned
// bits.
void ConvexScan::AddEdge(const tagPOINT& upper, const tagPOINT& lower) {
  if (upper.y >= top_ && upper.y < bottom_) Include(rows_[upper.y - top_], upper.x);
  if (lower.y >= top_ && lower.y < bottom_) Include(rows_[lower.y - top_], lower.x);
  const i64 first = std::max<i64>(static_cast<i64>(upper.y) + 1, top_);
  const i64 end = std::min(lower.y, bottom_);
  if (first >= end) return;

  const i64 offset = static_cast<i64>(lower.x) - upper.x;
  const u64 dx = static_cast<u64>(offset < 0 ? -offset : offset);
  const u64 dy = static_cast<u64>(static_cast<i64>(lower.y) - upper.y);
  const u64 k = static_cast<u64>(first - upper.y);
  const bool isFlat = dx > dy;
  const u64 dividend = isFlat ? k * dx - dx / 2 - 1 : k * dx + dy / 2;
  u64 steps = dividend / dy + (isFlat ? 1 : 0), rest = dividend % dy;
  const u64 stepsOfRow = dx / dy, restOfRow = dx % dy;
  for (i64 y = first; y < end; ++y) {
    const i64 aside = static_cast<i64>(steps);
    Include(rows_[y - top_], static_cast<int>(upper.x + (offset < 0 ? -aside : aside)));
    steps += stepsOfRow;
    rest += restOfRow;
    if (rest >= dy) {
      rest -= dy;
      ++steps;
    }
  }
}

}  // namespace kxw
