#include "kxwcmn/drawing/rowgate_internal.h"

#include <algorithm>

#include "kxwcmn/compositing/mixrow_internal.h"
#include "kxwcmn/core/geometry.h"
#include "kxwcmn/offscreen/detail/depths.h"
#include "kxwcmn/platform/number.h"

namespace kxw {

int RowGate::ClipX(int x) const {
  const double distance = x - originX_ + (x == firstX_ ? firstOffset_ : clipOffset_);
  return IntGeometry::Add(Truncate(distance * ratio_), clip_->GetOffset().x);
}

void RowGate::ReadClip(int x, int count, bool* open) const {
  const int y = clip_->GetCursorPosY();
  WithDepth(clip_->GetBitCount(), [&](auto depth) {
    using Depth = decltype(depth);
    int index = -1;             // of the block that `row` lies in
    const BYTE* row = nullptr;  // null where there is no memory
    for (int i = 0; i < count; ++i) {
      const int clipX = ClipX(x + i);
      const int clipIndex = clip_->GetBlockIndex(clipX, y);
      if (clipIndex != index) {
        index = clipIndex;
        row = nullptr;
        // Nothing is read where there is no block, and none is made.
        if (clip_->GetBlockExist(index)) {
          clip_->MoveCursor(clipX, y);
          CheckBroughtIn(*clip_);
          const BYTE* const base = clip_->GetBaseAddress();
          if (base) row = base + (y & KXVOffscreen::kBlockMask) * kRowBytes<Depth>;
        }
      }
      const int column = clipX & KXVOffscreen::kBlockMask;
      open[i] = row && Depth::To1(Depth::Load(row + ByteOfColumn<Depth>(column),
                                              MaskOfColumn<Depth>(column)));
    }
  });
  // The cursor stands where the last pixel was looked up, without making a block there.
  clip_->MoveCursorBehindRow(IntGeometry::Sub(ClipX(x + count - 1), 1));
}

void RowGate::Read(int x, int count, bool* open) const {
  std::fill(open, open + count, !clip_);
  if (clip_) ReadClip(x, count, open);
  if (!pattern_) return;
  for (int i = 0; i < count; ++i) open[i] = open[i] && pattern_[(x + i) & 3] != 0;
}

}  // namespace kxw
