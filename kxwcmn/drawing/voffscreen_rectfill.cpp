#include "kxwcmn/drawing/channels_internal.h"
#include "kxwcmn/drawing/rectfill_internal.h"
#include "kxwcmn/offscreen/voffscreen_depths.h"

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
  kxw::FillRect<kxw::Depth64>(*this, rect, useClear ? clearColor64_ : color);
}

void KXVOffscreen::RectFill(const KXRect& rect, int useClear, DWORD color, int behind) {
  if (!behind) {
    RectFill(rect, useClear, color);
    return;
  }
  kxw::WithDepth(bitCount_, [&](auto depth) {
    using Depth = decltype(depth);
    kxw::ChangeRect<Depth>(*this, rect, [color](typename Depth::Pixel p) {
      return Depth::From32(kxw::LaidBehind<kxw::Channels8>(Depth::To32(p), color));
    });
  });
}

void KXVOffscreen64Bit::RectFill64(const KXRect& rect, int useClear, u64 color, int behind) {
  if (!behind) {
    RectFill64(rect, useClear, color);
    return;
  }
  kxw::ChangeRect<kxw::Depth64>(
      *this, rect, [color](u64 p) { return kxw::LaidBehind<kxw::Channels16>(p, color); });
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
