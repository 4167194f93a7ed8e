#include "kxwcmn/offscreen/blockgetter.h"

#include "kxwcmn/offscreen/voffscreen.h"

KXBlockGetter::KXBlockGetter(KXVOffscreen* offscreen, const KXRect& rect, int clip) {
  if (offscreen) {
    offscreen->GetBlockAreaIndex(rect, firstColumn_, lastColumn_, firstRow_, lastRow_);
    clip_ = clip ? rect & offscreen->GetRect() : offscreen->GetRect();
  }
  currentColumn_ = firstColumn_ - 1;
  currentRow_ = firstRow_;
}

KXBlockGetter::~KXBlockGetter() = default;

int KXBlockGetter::GetNextBlock(KXRect& out) {
  constexpr int kSize = KXVOffscreen::kBlockSize;
  while (IsExist()) {
    if (++currentColumn_ > lastColumn_) {
      currentColumn_ = firstColumn_;
      if (++currentRow_ > lastRow_) return 0;
    }
    const int left = currentColumn_ * kSize, top = currentRow_ * kSize;
    if (out.IntersectRect(KXRect(left, top, left + kSize, top + kSize), clip_)) return 1;
  }
  return 0;
}
