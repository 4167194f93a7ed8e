#include <algorithm>
#include <cstddef>
#include <limits>
#include <new>

#include "kxwcmn/core/exception.h"
#include "kxwcmn/drawing/detail/floodplain.h"
#include "kxwcmn/drawing/floodfill_internal.h"
#include "kxwcmn/memory/swapblock.h"
#include "kxwcmn/platform/error.h"

namespace kxw::flood {

Request::Request(KXVOffscreen& paintImage, KXVOffscreen& referenceImage, KXVOffscreen* secondImage,
                 const KXPoint& seedPoint, const KXPoint& originPoint, const KXRect& clip,
                 int marginOfMatch, int abortableFlag)
    : paint(paintImage),
      reference(referenceImage),
      second(secondImage),
      seed(seedPoint),
      origin(originPoint),
      margin(marginOfMatch),
      abortable(abortableFlag == 1),
      left(std::max<int>(clip.left, 0)),
      right(std::clamp<int>(clip.right, 0, paint.GetWidth()) - 1),
      top(std::clamp<int>(clip.top, -1, paint.GetHeight() + 1)),
      bottom(std::clamp<int>(clip.bottom, -1, paint.GetHeight() + 1) - 1) {}

void CheckBlock(const KXVOffscreen& image) {
  if (image.GetBaseAddress()) return;
  int x, y;
  image.GetCursorPos(x, y);
  if (const std::intptr_t block = image.GetBlockExist(x, y)) {
    kxThrowError(CodeOfMissingBlock(block));
  }
}

Span* SpanStack::Grow(const Span* top) {
  constexpr int kFirst = 256;
  constexpr int kMost = std::numeric_limits<int>::max();
  const int count = spans_.GetCount();
  const std::ptrdiff_t used = top - spans_.begin();
  spans_.SetCount(count > kMost / 2 ? kMost : std::max(count * 2, kFirst));
  return spans_.begin() + used;
}

bool PaintedPixels::Contains(int x, int y) const {
  const auto page = pages_.find(KeyOf(x, y));
  return page != pages_.end() && (page->second[WordOf(x, y)] & BitOf(x));
}

void PaintedPixels::Add(int x, int y) {
  std::unique_ptr<u64[]>& page = pages_[KeyOf(x, y)];
  if (!page) page = std::make_unique<u64[]>(kPageWords);
  page[WordOf(x, y)] |= BitOf(x);
}

}  // namespace kxw::flood
