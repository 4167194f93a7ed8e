#pragma once

#include <algorithm>
#include <memory>

#include "kxwcmn/core/geometry.h"
#include "kxwcmn/offscreen/blockgetter.h"
#include "kxwcmn/offscreen/detail/depths.h"
#include "kxwcmn/offscreen/voffscreen.h"

/// The walk over the blocks of two images at once: a part of a source block is cut at the grid of
/// the destination too, so that each piece is plain memory on both sides.
namespace kxw {

/// The area of a copy, in the source's coordinates and inside both images, and the way from a pixel
/// there to its place in the destination.
struct CopyArea {
  KXRect source;
  int dx = 0;
  int dy = 0;
};

/// Cuts a copy of `width` by `height` pixels to both images. Any arguments are good; returns false
/// if nothing is left.
bool CutCopyArea(const KXVOffscreen& dst, int dstX, int dstY, int width, int height,
                 const KXVOffscreen& src, int srcX, int srcY, CopyArea& area);

/// Whether a copy takes all of `src` to all of `dst`, both of one size and depth.
bool IsCopyOfAll(const KXVOffscreen& dst, int dstX, int dstY, int width, int height,
                 const KXVOffscreen& src, int srcX, int srcY);

/// The cut of the copies that know no negative position: it narrows the area, and the source's
/// position stays, so that the picture is not pushed over the edge. Otherwise as CutCopyArea.
bool NarrowCopyArea(const KXVOffscreen& dst, int dstX, int dstY, int width, int height,
                    const KXVOffscreen& src, int srcX, int srcY, CopyArea& area);

/// Fills `rect`, which lies inside `dst`, with a colour as `Set64BitColor` stores it.
void FillArea(KXVOffscreen& dst, const KXRect& rect, u64 color);

/// Copies all blocks of `src` that `area` touches to the same places of `dst`, which has the same
/// depth and grid: the whole memory of a block, and a hole as a hole.
void CopyWholeBlocks(KXVOffscreen& dst, KXVOffscreen& src, const KXRect& area);

/// An image that holds what `image` has in the blocks of `area`, so that an operation can read its
/// own target as it was before.
std::unique_ptr<KXVOffscreen> MakeSnapshot(KXVOffscreen& image, const KXRect& area);

/// Leaves new blocks uncleared for its life: they are about to be overwritten whole.
class ClearPause {
 public:
  explicit ClearPause(KXVOffscreen& image) : image_(image), enabled_(image.IsEnableClear()) {
    image_.EnableClear(0);
  }
  ~ClearPause() { image_.EnableClear(enabled_); }
  ClearPause(const ClearPause&) = delete;
  ClearPause& operator=(const ClearPause&) = delete;

 private:
  KXVOffscreen& image_;
  int enabled_;
};

/// Whether a rectangle that lies in one block is the whole of it.
inline bool IsWholeBlock(const KXRect& part) {
  return part.Width() == KXVOffscreen::kBlockSize && part.Height() == KXVOffscreen::kBlockSize;
}

/// The memory of the block of (x, y), held until the cursor moves on; made as needed under a write
/// lock. Raises 8 if it cannot be brought in: a copy with a hole in its place would be taken for
/// the whole.
BYTE* EnterForWrite(KXVOffscreen& image, int x, int y);

/// The same for reading: null where there is no block. Makes none, even if an outer lock would.
inline const BYTE* EnterForRead(KXVOffscreen& image, int x, int y) {
  return image.GetBlockExist(x, y) ? EnterForWrite(image, x, y) : nullptr;
}

/// Calls `copy(part, base)` for each block of `src` that `rect` touches, with the rectangle cut to
/// the block and the block's memory; `hole(part)` where there is no block. `poll()` comes before a
/// block that is there is entered: what it asks may paint the image on the screen, and leaves its
/// cursor elsewhere.
template <class Copy, class Hole, class Poll>
void ForEachSource(KXVOffscreen& src, const KXRect& rect, Copy copy, Hole hole, Poll poll) {
  KXBlockGetter blocks(&src, rect, 1);
  for (KXRect part; blocks.GetNextBlock(part);) {
    if (src.GetBlockExist(part.left, part.top)) poll();
    if (const BYTE* base = EnterForRead(src, part.left, part.top)) {
      copy(part, base);
    } else {
      hole(part);
    }
  }
}

template <class Copy, class Hole>
void ForEachSource(KXVOffscreen& src, const KXRect& rect, Copy copy, Hole hole) {
  ForEachSource(src, rect, copy, hole, [] {});
}

/// The start of the block's row that holds pixels of row `y`.
template <class Byte>
Byte* RowOf(Byte* base, int y, int rowBytes) {
  return base + (y & KXVOffscreen::kBlockMask) * rowBytes;
}

/// Calls `op(piece, base)` for each block of `dst` that `rect`, which lies inside the image,
/// touches: `piece` is the rectangle cut to the block and `base` the block's memory, made as
/// needed. With `overwrite` every pixel of a piece is going to be written, and a new block is not
/// cleared first where that is all of it.
template <class Op>
void ForEachTarget(KXVOffscreen& dst, const KXRect& rect, bool overwrite, Op op) {
  constexpr int kMask = KXVOffscreen::kBlockMask;
  for (int top = rect.top, bottom; top < rect.bottom; top = bottom) {
    bottom = std::min<int>(rect.bottom, (top | kMask) + 1);
    for (int left = rect.left, right; left < rect.right; left = right) {
      right = std::min<int>(rect.right, (left | kMask) + 1);
      const KXRect piece(left, top, right, bottom);
      BYTE* base;
      if (overwrite && IsWholeBlock(piece)) {
        ClearPause pause(dst);
        base = EnterForWrite(dst, left, top);
      } else {
        base = EnterForWrite(dst, left, top);
      }
      op(piece, base);
    }
  }
}

/// Calls `op(row, column, count, y)` for each row of each block piece of `rect` in `dst`: `row` is
/// the block's row, and `column` the piece's first pixel in it.
template <class Op>
void ForEachRow(KXVOffscreen& dst, const KXRect& rect, bool overwrite, Op op) {
  const int rowBytes = dst.GetBlockRowBytes();
  ForEachTarget(dst, rect, overwrite, [&](const KXRect& piece, BYTE* base) {
    for (int y = piece.top; y < piece.bottom; ++y) {
      op(RowOf(base, y, rowBytes), piece.left & KXVOffscreen::kBlockMask, piece.Width(), y);
    }
  });
}

/// Calls `op(to, toColumn, from, fromColumn, count, x, y)` for each row of `part` of a source block
/// at `base`, cut at the grid of `dst`; (x, y) is the row's first pixel in the source.
template <class Op>
void ForEachRowPair(KXVOffscreen& dst, const KXVOffscreen& src, const BYTE* base,
                    const KXRect& part, int dx, int dy, bool overwrite, Op op) {
  constexpr int kMask = KXVOffscreen::kBlockMask;
  const int rowBytes = dst.GetBlockRowBytes(), srcRowBytes = src.GetBlockRowBytes();
  const KXRect target = part + KXPoint(dx, dy);
  ForEachTarget(dst, target, overwrite, [&](const KXRect& piece, BYTE* to) {
    const int x = piece.left - dx;
    for (int y = piece.top - dy; y < piece.bottom - dy; ++y) {
      op(RowOf(to, y + dy, rowBytes), piece.left & kMask, RowOf(base, y, srcRowBytes), x & kMask,
         piece.Width(), x, y);
    }
  });
}

/// Copies `part`, a block's full width of pixels, where the grids have the same columns and the
/// images one depth: its rows are one run of bytes on both sides.
void CopyRun(KXVOffscreen& dst, const KXVOffscreen& src, const BYTE* base, const KXRect& part,
             int dx, int dy);

}  // namespace kxw
