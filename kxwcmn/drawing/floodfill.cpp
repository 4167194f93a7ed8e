#include <algorithm>
#include <limits>
#include <new>

#include "kxwcmn/drawing/floodfill_internal.h"

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
      top(clip.top),
      bottom(std::max<int>(clip.bottom, std::numeric_limits<int>::min() + 1) - 1) {}

void SpanStack::Grow() {
  constexpr int kFirst = 256;
  constexpr int kMost = std::numeric_limits<int>::max();
  const int count = spans_.GetCount();
  spans_.SetCount(count > kMost / 2 ? kMost : std::max(count * 2, kFirst));
}

bool PaintedPixels::Contains(int x, int y) const {
  const auto page = pages_.find(KeyOf(x, y));
  if (page == pages_.end()) return false;
  return (*page->second)[(y & 255) * 4 + (x >> 6 & 3)] >> (x & 63) & 1;
}

void PaintedPixels::Add(int x, int y) {
  try {
    std::unique_ptr<Page>& page = pages_[KeyOf(x, y)];
    if (!page) page = std::make_unique<Page>();
    (*page)[(y & 255) * 4 + (x >> 6 & 3)] |= u64{1} << (x & 63);
  } catch (const std::bad_alloc&) {
    kxThrowError(kErrorNotEnoughMemory);
  }
}

}  // namespace kxw::flood
