#include "kxwcmn/drawing/channels_internal.h"
#include "kxwcmn/offscreen/autolock.h"
#include "kxwcmn/offscreen/blockgetter.h"
#include "kxwcmn/offscreen/detail/depths.h"
#include "kxwcmn/offscreen/detail/fillrun.h"
#include "kxwcmn/offscreen/voffscreen_depths.h"

namespace {

/// Calls `op(row, column, count)` for the rows of `rect`, block by block, under a write lock: `row`
/// is the row of a block and `column` the first of the `count` pixels in it. The rows of a block
/// that `rect` covers in its whole width arrive as one long run.
template <class Depth, class Op>
void ForEachRun(KXVOffscreen& image, const KXRect& rect, Op op) {
  KXVOffscreenAutoLock lock(&image, 1);
  KXBlockGetter blocks(&image, rect, 1);
  for (KXRect part; blocks.GetNextBlock(part);) {
    image.MoveCursor(part.left, part.top);
    BYTE* const base = image.GetBaseAddress();
    if (!base) continue;
    BYTE* row = base + (part.top & KXVOffscreen::kBlockMask) * kxw::kRowBytes<Depth>;
    const int column = part.left & KXVOffscreen::kBlockMask;
    if (part.Width() == KXVOffscreen::kBlockSize) {
      op(row, column, part.Width() * part.Height());
      continue;
    }
    for (int y = part.top; y < part.bottom; ++y, row += kxw::kRowBytes<Depth>) {
      op(row, column, part.Width());
    }
  }
}

template <class Depth>
void FillRect(KXVOffscreen& image, const KXRect& rect, typename Depth::Fill fill) {
  ForEachRun<Depth>(image, rect, [fill](BYTE* row, int column, int count) {
    kxw::FillRun<Depth>(row, column, count, fill);
  });
}

/// Replaces each pixel of `rect` by `op(pixel)`.
template <class Depth, class Op>
void ChangeRect(KXVOffscreen& image, const KXRect& rect, Op op) {
  ForEachRun<Depth>(image, rect, [&](BYTE* row, int column, int count) {
    BYTE* at = row + kxw::ByteOfColumn<Depth>(column);
    BYTE mask = kxw::MaskOfColumn<Depth>(column);
    for (; count > 0; --count, kxw::StepRight<Depth>(at, mask)) {
      Depth::Store(at, mask, op(Depth::Load(at, mask)));
    }
  });
}

}  // namespace

namespace kxw {

template <class Depth>
void DepthOffscreen<Depth>::RectFill(const KXRect& rect, int useClear, DWORD color) {
  FillRect<Depth>(*this, rect,
                  useClear ? Depth::ClearFill({byteClearColor_, clearColor_, clearColor64_})
                           : Depth::FillOf(Depth::From32(color)));
}

template void DepthOffscreen<Depth1>::RectFill(const KXRect&, int, DWORD);
template void DepthOffscreen<Depth2>::RectFill(const KXRect&, int, DWORD);
template void DepthOffscreen<Depth8>::RectFill(const KXRect&, int, DWORD);
template void DepthOffscreen<Depth16>::RectFill(const KXRect&, int, DWORD);
template void DepthOffscreen<Depth24>::RectFill(const KXRect&, int, DWORD);
template void DepthOffscreen<Depth32>::RectFill(const KXRect&, int, DWORD);
template void DepthOffscreen<Depth64>::RectFill(const KXRect&, int, DWORD);

}  // namespace kxw

void KXVOffscreen64Bit::RectFill64(const KXRect& rect, int useClear, u64 color) {
  FillRect<kxw::Depth64>(*this, rect, useClear ? clearColor64_ : color);
}

void KXVOffscreen::RectFill(const KXRect& rect, int useClear, DWORD color, int behind) {
  if (!behind) {
    RectFill(rect, useClear, color);
    return;
  }
  kxw::WithDepth(bitCount_, [&](auto depth) {
    using Depth = decltype(depth);
    ChangeRect<Depth>(*this, rect, [color](typename Depth::Pixel p) {
      return Depth::From32(kxw::LaidBehind<kxw::Channels8>(Depth::To32(p), color));
    });
  });
}

void KXVOffscreen64Bit::RectFill64(const KXRect& rect, int useClear, u64 color, int behind) {
  if (!behind) {
    RectFill64(rect, useClear, color);
    return;
  }
  ChangeRect<kxw::Depth64>(*this, rect,
                           [color](u64 p) { return kxw::LaidBehind<kxw::Channels16>(p, color); });
}

void KXVOffscreen::ClrRect(const tagRECT& rect) {
  const KXRect area = rect;
  int firstColumn, lastColumn, firstRow, lastRow;
  if (!GetBlockAreaIndex(area, firstColumn, lastColumn, firstRow, lastRow)) return;
  for (int by = firstRow; by <= lastRow; ++by) {
    for (int bx = firstColumn; bx <= lastColumn; ++bx) {
      const int index = GridIndex(bx, by);
      if (!GetBlockExist(index)) continue;
      // The block's full square counts: one that juts out over the image's edge is whole only in a
      // rectangle that goes as far, and is otherwise filled.
      const KXRect block = GetBlockByIndex(index), part = block & area;
      if (part == block) {
        DestroyBlock(index);
      } else {
        RectFill64(part, 1, 0, 0);
      }
    }
  }
}
