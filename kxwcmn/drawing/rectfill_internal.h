#pragma once

#include "kxwcmn/compositing/mixrow_internal.h"
#include "kxwcmn/drawing/detail/streamrun.h"
#include "kxwcmn/drawing/fillrules_internal.h"
#include "kxwcmn/offscreen/autolock.h"
#include "kxwcmn/offscreen/blockgetter.h"
#include "kxwcmn/offscreen/detail/fillrun.h"

namespace kxw {

/// Calls `op(row, column, count, isFresh)` for the rows of `rect`, block by block, under a write
/// lock: `row` is the row of a block, made or read just now if `isFresh`, and `column` the first of
/// the `count` pixels in it. The rows of a block that `rect` covers in its whole width arrive as
/// one long run.
template <class Depth, class Op>
inline void ForEachRun(KXVOffscreen& image, const KXRect& rect, Op op) {
  KXVOffscreenAutoLock lock(&image, 1);
  KXBlockGetter blocks(&image, rect, 1);
  for (KXRect part; blocks.GetNextBlock(part);) {
    const int index = image.GetBlockIndex(part.left, part.top);
    const bool isFresh = !image.GetBlockExist(index) || !image.IsBlockOnMemory(index);
    image.MoveCursor(part.left, part.top);
    CheckBroughtIn(image);
    BYTE* const base = image.GetBaseAddress();
    if (!base) continue;
    BYTE* row = base + (part.top & KXVOffscreen::kBlockMask) * kRowBytes<Depth>;
    const int column = part.left & KXVOffscreen::kBlockMask;
    if (part.Width() == KXVOffscreen::kBlockSize) {
      op(row, column, part.Width() * part.Height(), isFresh);
      continue;
    }
    for (int y = part.top; y < part.bottom; ++y, row += kRowBytes<Depth>) {
      op(row, column, part.Width(), isFresh);
    }
  }
}

/// Fills `rect`, cut to the image; from `streamed` bytes on past the caches.
template <class Depth>
inline void FillRect(KXVOffscreen& image, const KXRect& rect, typename Depth::Fill fill,
                     i64 streamed = kStreamedBytes) {
  const KXRect part = rect & image.GetRect();
  if (static_cast<i64>(part.Width()) * part.Height() * Depth::kBits / 8 < streamed) {
    ForEachRun<Depth>(image, part, [fill](BYTE* row, int column, int count, bool) {
      FillRun<Depth>(row, column, count, fill);
    });
    return;
  }
  ForEachRun<Depth>(image, part, [fill](BYTE* row, int column, int count, bool isFresh) {
    // A fresh block is in the caches already.
    if (count >= KXVOffscreen::kBlockSize && !isFresh) {
      StreamRun<Depth>(row, count, fill);
    } else {
      FillRun<Depth>(row, column, count, fill);
    }
  });
  EndStream();
}

/// Replaces each pixel of `rect` by `op(pixel)`.
template <class Depth, class Op>
inline void ChangeRect(KXVOffscreen& image, const KXRect& rect, Op op) {
  ForEachRun<Depth>(image, rect, [&op](BYTE* row, int column, int count, bool) {
    ChangeRun<Depth>(row, column, count, op);
  });
}

}  // namespace kxw
