#include "kxwcmn/compositing/detail/blockwalk.h"

#include <cstring>

#include "kxwcmn/core/exception.h"
#include "kxwcmn/memory/swapblock.h"
#include "kxwcmn/offscreen/autolock.h"
#include "kxwcmn/offscreen/detail/fillrun.h"

namespace kxw {

bool CutCopyArea(const KXVOffscreen& dst, int dstX, int dstY, int width, int height,
                 const KXVOffscreen& src, int srcX, int srcY, CopyArea& area) {
  const i64 dx = static_cast<i64>(dstX) - srcX, dy = static_cast<i64>(dstY) - srcY;
  const i64 left = std::max<i64>({srcX, 0, -dx}), top = std::max<i64>({srcY, 0, -dy});
  const i64 right = std::min(
      {static_cast<i64>(srcX) + width, static_cast<i64>(src.GetWidth()), dst.GetWidth() - dx});
  const i64 bottom = std::min(
      {static_cast<i64>(srcY) + height, static_cast<i64>(src.GetHeight()), dst.GetHeight() - dy});
  if (left >= right || top >= bottom) return false;
  // Both ends now lie inside images, and so does the way between them inside 32 bits.
  area.source = KXRect(static_cast<int>(left), static_cast<int>(top), static_cast<int>(right),
                       static_cast<int>(bottom));
  area.dx = static_cast<int>(dx);
  area.dy = static_cast<int>(dy);
  return true;
}

bool IsCopyOfAll(const KXVOffscreen& dst, int dstX, int dstY, int width, int height,
                 const KXVOffscreen& src, int srcX, int srcY) {
  return dstX == 0 && dstY == 0 && srcX == 0 && srcY == 0 && width == dst.GetWidth() &&
         height == dst.GetHeight() && width == src.GetWidth() && height == src.GetHeight() &&
         dst.GetBitCount() == src.GetBitCount();
}

bool NarrowCopyArea(const KXVOffscreen& dst, int dstX, int dstY, int width, int height,
                    const KXVOffscreen& src, int srcX, int srcY, CopyArea& area) {
  const int x = std::max(dstX, 0), y = std::max(dstY, 0);
  const i64 w = std::min<i64>(static_cast<i64>(width) + dstX - x, dst.GetWidth() - x);
  const i64 h = std::min<i64>(static_cast<i64>(height) + dstY - y, dst.GetHeight() - y);
  // At most the image's size, and below 0 where nothing is left.
  return w > 0 && h > 0 &&
         CutCopyArea(dst, x, y, static_cast<int>(w), static_cast<int>(h), src, srcX, srcY, area);
}

BYTE* EnterForWrite(KXVOffscreen& image, int x, int y) {
  image.MoveCursor(x, y);
  BYTE* const base = image.GetBaseAddress();
  if (!base) kxThrowError(CodeOfMissingBlock(image.GetBlockExist(x, y)));
  return base;
}

void FillArea(KXVOffscreen& dst, const KXRect& rect, u64 color) {
  WithDepth(dst.GetBitCount(), [&](auto depth) {
    using Depth = decltype(depth);
    const typename Depth::Fill fill = Depth::FillOf(Depth::From64(color));
    ForEachRow(dst, rect, true, [fill](BYTE* row, int column, int count, int /*y*/) {
      FillRun<Depth>(row, column, count, fill);
    });
  });
}

void CopyWholeBlocks(KXVOffscreen& dst, KXVOffscreen& src, const KXRect& area) {
  KXVOffscreenAutoLock dstLock(&dst, 1), srcLock(&src, 0);
  ClearPause pause(dst);  // ends before the locks do, which may enter blocks again
  const auto bytes = static_cast<std::size_t>(dst.GetBlockRowBytes()) * KXVOffscreen::kBlockSize;
  KXBlockGetter blocks(&src, area, 0);
  for (KXRect part; blocks.GetNextBlock(part);) {
    if (!src.GetBlockExist(part.left, part.top)) {
      dst.DestroyBlock(part.left, part.top);
      continue;
    }
    const BYTE* from = EnterForRead(src, part.left, part.top);
    std::memcpy(EnterForWrite(dst, part.left, part.top), from, bytes);
  }
}

void CopyRun(KXVOffscreen& dst, const KXVOffscreen& src, const BYTE* base, const KXRect& part,
             int dx, int dy) {
  const int rowBytes = src.GetBlockRowBytes();
  ForEachTarget(dst, part + KXPoint(dx, dy), true, [=](const KXRect& piece, BYTE* to) {
    std::memcpy(RowOf(to, piece.top, rowBytes), RowOf(base, piece.top - dy, rowBytes),
                static_cast<std::size_t>(piece.Height()) * static_cast<std::size_t>(rowBytes));
  });
}

std::unique_ptr<KXVOffscreen> MakeSnapshot(KXVOffscreen& image, const KXRect& area) {
  std::unique_ptr<KXVOffscreen> snapshot(KXVOffscreen::CreateOffscreen(image.GetBitCount()));
  snapshot->Create(image.GetVirtualMemory(), image.GetWidth(), image.GetHeight(),
                   image.GetResolution());
  CopyWholeBlocks(*snapshot, image, area);
  return snapshot;
}

}  // namespace kxw
