#include "kxwcmn/memory/virtualmemory.h"
#include "kxwcmn/offscreen/voffscreen.h"

int KXVOffscreen::GetBlockAreaIndex(const KXRect& rect, int& firstColumn, int& lastColumn,
                                    int& firstRow, int& lastRow) const {
  KXRect area;
  if (!area.IntersectRect(rect, GetRect())) return 0;
  firstColumn = area.left / kBlockSize;
  lastColumn = (area.right - 1) / kBlockSize;
  firstRow = area.top / kBlockSize;
  lastRow = (area.bottom - 1) / kBlockSize;
  return (lastColumn - firstColumn + 1) * (lastRow - firstRow + 1);
}

int KXVOffscreen::GetBlockArea(const KXRect& rect, KXTArray<tagRECT, 0>& out, int clip) const {
  out.SetCount(0);
  int firstColumn, lastColumn, firstRow, lastRow;
  if (!GetBlockAreaIndex(rect, firstColumn, lastColumn, firstRow, lastRow)) return 0;
  const KXRect area = clip ? rect & GetRect() : GetRect();
  for (int by = firstRow; by <= lastRow; ++by) {
    for (int bx = firstColumn; bx <= lastColumn; ++bx) {
      const KXRect part = GetBlockByIndex(GridIndex(bx, by)) & area;
      if (!part.IsRectEmpty()) out.Add(part);
    }
  }
  return out.GetCount();
}

int KXVOffscreen::GetBlockArea(const KXRect& rect, int index, tagRECT* out, int clip) const {
  const KXRect block = GetBlockByIndex(index);
  KXRect part;
  if (!part.IntersectRect(rect, block)) return 0;
  if (out) *out = clip == 1 ? part : block;
  return 1;
}

AREA_TYPE KXVOffscreen::CheckAreaType(int index) const {
  const KXSwapBlock* block = SwapBlockAt(index);
  if (!block) return kAreaNone;
  return block->IsEnable() ? kAreaContents : kAreaEmpty;
}

// --- The protect area ---------------------------------------------------------------------------

namespace {

void SetProtected(KXSwapBlock* block, bool protect) {
  if (!block) return;
  block->SetTemporary(!protect);
  block->SetAbsoluteProtect(protect);
}

}  // namespace

void KXVOffscreen::ClearProtectArea() {
  protectArea_.SetRectEmpty();
  for (const KXVOffscreenBlock& cell : blocks_) SetProtected(cell.GetSwapBlock(), false);
}

void KXVOffscreen::SetProtectArea(const KXRect& rect) {
  ClearProtectArea();
  if (rect.IsRectEmpty()) return;
  int firstColumn, lastColumn, firstRow, lastRow;
  if (!GetBlockAreaIndex(rect, firstColumn, lastColumn, firstRow, lastRow)) return;
  // The corner of the last block is stored, and read as half-open when a new block is made: a block
  // made later in the last column or row is not protected. This is meant.
  protectArea_ = KXRect(firstColumn * kBlockSize, firstRow * kBlockSize, lastColumn * kBlockSize,
                        lastRow * kBlockSize);
  for (int by = firstRow; by <= lastRow; ++by) {
    for (int bx = firstColumn; bx <= lastColumn; ++bx) {
      SetProtected(SwapBlockAt(GridIndex(bx, by)), true);
    }
  }
}

void KXVOffscreen::SetProtectBlockArea(const KXRect& rect) {
  if (rect.IsRectEmpty()) return;
  const int index = GetBlockIndex(rect.left, rect.top);
  if (index < 0) return;
  SetProtected(SwapBlockAt(index), true);
  const KXRect block = GetBlockByIndex(index);
  if (protectArea_.IsRectEmpty()) {
    protectArea_ = block;
  } else {
    protectArea_.UnionRect(block);
  }
}

int KXVOffscreen::IsProtected(int index) const {
  if (blockCountX_ < 1 || blockCountY_ < 1) return 0;
  return protectArea_.PtInRect(
      KXPoint(index % blockCountX_ * kBlockSize, index / blockCountX_ * kBlockSize));
}
