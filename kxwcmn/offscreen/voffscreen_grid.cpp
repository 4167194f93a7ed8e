#include <algorithm>
#include <utility>

#include "kxwcmn/core/exception.h"
#include "kxwcmn/memory/virtualmemory.h"
#include "kxwcmn/offscreen/voffscreen.h"
#include "kxwcmn/platform/number.h"

// --- Queries ------------------------------------------------------------------------------------

int KXVOffscreen::GridIndex(int bx, int by) const {
  if (bx < 0 || by < 0 || bx >= blockCountX_ || by >= blockCountY_) return -1;
  return by * blockCountX_ + bx;
}

int KXVOffscreen::GetBlockCount(int* x, int* y) const {
  if (x) *x = blockCountX_;
  if (y) *y = blockCountY_;
  return blockCountX_ * blockCountY_;
}

KXRect KXVOffscreen::GetBlockByIndex(int index) const {
  if (static_cast<std::size_t>(index) >= blocks_.size()) return KXRect();
  return blocks_[static_cast<std::size_t>(index)].GetRect();
}

std::intptr_t KXVOffscreen::GetBlockExist(int index) const {
  return reinterpret_cast<std::intptr_t>(SwapBlockAt(index));
}

int KXVOffscreen::IsCreatedBlockByIndex(int bx, int by) const {
  return GetBlockExist(GridIndex(bx, by)) != 0;
}

int KXVOffscreen::IsBlockOnMemory(int index) const {
  const KXSwapBlock* block = SwapBlockAt(index);
  return !block || block->IsOnMemory();
}

int KXVOffscreen::IsBlockAbsoluteProtect(int index) const {
  const KXSwapBlock* block = SwapBlockAt(index);
  return !block || block->IsAbsoluteProtect();
}

int KXVOffscreen::CheckBlockLock(int index) const {
  const KXSwapBlock* block = SwapBlockAt(index);
  return block && block->IsLocked();
}

int KXVOffscreen::GetCurrentBlock(KXRect& rect, BYTE*& address) const {
  if (!cursor_.IsEnable()) return 0;
  rect = GetBlockByIndex(cursor_.blockIndex);
  address = cursor_.base;
  return 1;
}

// --- Giving blocks back -------------------------------------------------------------------------

int KXVOffscreen::DestroyBlock(int index) {
  KXSwapBlock* block = SwapBlockAt(index);
  if (!block) return 0;
  if (index == cursor_.blockIndex) {
    // Off the grid, so that the next checked move enters the cell, and under a write lock makes its
    // block anew.
    cursor_.blockIndex = -1;
    cursor_.base = nullptr;
    cursor_.current = nullptr;
  }
  blocks_[static_cast<std::size_t>(index)].SetSwapBlock(nullptr);
  memory_->Free(block);
  return 1;
}

int KXVOffscreen::DestroyBlockByIndex(int bx, int by) { return DestroyBlock(GridIndex(bx, by)); }

void KXVOffscreen::DestroyAllBlock() {
  for (std::size_t i = 0; i < blocks_.size(); ++i) DestroyBlock(static_cast<int>(i));
}

void KXVOffscreen::UnloadAllBlock() {
  for (const KXVOffscreenBlock& cell : blocks_) {
    KXSwapBlock* block = cell.GetSwapBlock();
    if (block && block->IsOnMemory()) memory_->Purge(block);
  }
}

// --- Growing and shrinking ----------------------------------------------------------------------

void KXVOffscreen::RebuildGrid(int countX, int countY, int dx, int dy) {
  LeaveBlock();  // a cursor that was moved without a lock
  std::vector<KXVOffscreenBlock> old;
  old.swap(blocks_);
  const int oldCountX = std::exchange(blockCountX_, countX);
  const int oldCountY = std::exchange(blockCountY_, countY);
  try {
    InitBlock();
  } catch (...) {
    blocks_.swap(old);
    blockCountX_ = oldCountX;
    blockCountY_ = oldCountY;
    throw;
  }
  for (int by = 0; by < oldCountY; ++by) {
    for (int bx = 0; bx < oldCountX; ++bx) {
      KXSwapBlock* block = old[static_cast<std::size_t>(by * oldCountX + bx)].GetSwapBlock();
      const int index = GridIndex(bx + dx, by + dy);
      if (index >= 0) {
        blocks_[static_cast<std::size_t>(index)].SetSwapBlock(block);
      } else if (block) {
        memory_->Free(block);
      }
    }
  }
}

int KXVOffscreen::AllocateRect(const KXRect& rect, KXRect* out) {
  if (lockCount_ > 0 || !memory_) return 0;
  const i64 columns = rect.left < 0 ? (kBlockMask - static_cast<i64>(rect.left)) / kBlockSize : 0;
  const i64 rows = rect.top < 0 ? (kBlockMask - static_cast<i64>(rect.top)) / kBlockSize : 0;
  const i64 width = columns * kBlockSize + std::max(width_, rect.right);
  const i64 height = rows * kBlockSize + std::max(height_, rect.bottom);
  if (width > kMaxSize || height > kMaxSize) return 0;
  const int shiftX = static_cast<int>(columns) * kBlockSize;
  const int shiftY = static_cast<int>(rows) * kBlockSize;

  if (width != width_ || height != height_) {
    const int countX = static_cast<int>((width + kBlockMask) / kBlockSize);
    const int countY = static_cast<int>((height + kBlockMask) / kBlockSize);
    if (countX != blockCountX_ || countY != blockCountY_) {
      try {
        RebuildGrid(countX, countY, static_cast<int>(columns), static_cast<int>(rows));
      } catch (...) {
        // An image that cannot grow is given up whole; callers rely on 0 meaning an empty image.
        Destroy();
        return 0;
      }
    }
    width_ = static_cast<int>(width);
    height_ = static_cast<int>(height);
    offset_.x = kxw::IntGeometry::Sub(offset_.x, shiftX);
    offset_.y = kxw::IntGeometry::Sub(offset_.y, shiftY);
    if (!protectArea_.IsRectEmpty()) {
      protectArea_.OffsetRect(shiftX, shiftY);
      protectArea_.IntersectRect(GetRect());
    }
  }
  // The right and bottom edges overshoot the image by the shift; callers read left and top.
  if (out)
    *out = KXRect(shiftX, shiftY, kxw::IntGeometry::Add(shiftX, width_),
                  kxw::IntGeometry::Add(shiftY, height_));
  return 1;
}

int KXVOffscreen::DeallocateBlock(DEALLOCATE_BLOCK_TYPE type) {
  if (lockCount_ > 0) return 0;
  const bool isColumn = type == kDeallocateLeft || type == kDeallocateRight;
  const bool isRow = type == kDeallocateTop || type == kDeallocateBottom;
  if (!isColumn && !isRow) return 0;
  if ((isColumn ? blockCountX_ : blockCountY_) < 2) return 0;

  const int dx = type == kDeallocateLeft ? 1 : 0;
  const int dy = type == kDeallocateTop ? 1 : 0;
  RebuildGrid(blockCountX_ - (isColumn ? 1 : 0), blockCountY_ - (isRow ? 1 : 0), -dx, -dy);
  // The near edges take a whole block off the size, the far ones snap it to whole blocks.
  switch (type) {
    case kDeallocateLeft:
      width_ -= kBlockSize;
      break;
    case kDeallocateTop:
      height_ -= kBlockSize;
      break;
    case kDeallocateRight:
      width_ = blockCountX_ * kBlockSize;
      break;
    case kDeallocateBottom:
      height_ = blockCountY_ * kBlockSize;
      break;
  }
  offset_.x = kxw::IntGeometry::Add(offset_.x, dx * kBlockSize);
  offset_.y = kxw::IntGeometry::Add(offset_.y, dy * kBlockSize);
  protectArea_.OffsetRect(-dx * kBlockSize, -dy * kBlockSize);
  // An area that lay in the removed edge alone is gone with it.
  if (!protectArea_.IsRectEmpty()) protectArea_ = protectArea_ & GetRect();
  return 1;
}

int KXVOffscreen::DeallocateRect(KXRect rect, KXPoint& shift) {
  shift = KXPoint(0, 0);
  for (int n = rect.left / kBlockSize; n > 0; --n) {
    if (DeallocateBlock(kDeallocateLeft) != 1) return 0;
    shift.x += kBlockSize;
  }
  for (int n = rect.top / kBlockSize; n > 0; --n) {
    if (DeallocateBlock(kDeallocateTop) != 1) return 0;
    shift.y += kBlockSize;
  }
  // The far edges of `rect` in coordinates of the image as it is now.
  const i64 right = static_cast<i64>(rect.right) - shift.x;
  const i64 bottom = static_cast<i64>(rect.bottom) - shift.y;
  for (i64 n = (width_ - right) / kBlockSize; n > 0; --n) {
    if (DeallocateBlock(kDeallocateRight) != 1) return 0;
  }
  for (i64 n = (height_ - bottom) / kBlockSize; n > 0; --n) {
    if (DeallocateBlock(kDeallocateBottom) != 1) return 0;
  }
  return 1;
}

// --- Positions in another image -----------------------------------------------------------------

namespace {

/// Maps by offset and resolution, rounding.
int ConvertRounding(double ratio, int sourceOffset, int position, int offset) {
  return kxw::IntGeometry::Sub(qmDouble2Int((static_cast<double>(sourceOffset) + position) * ratio),
                               offset);
}

}  // namespace

void KXVOffscreen::ConvertPoint(KXPoint& out, const KXVOffscreen* source,
                                const KXPoint& point) const {
  if (!source) kxThrowError(kxw::kFailureBadArgument);
  const double ratio = source->resolution_ / resolution_;
  out = KXPoint(ConvertRounding(ratio, source->offset_.x, point.x, offset_.x),
                ConvertRounding(ratio, source->offset_.y, point.y, offset_.y));
}

int KXVOffscreen::ConvertPointX(const KXVOffscreen* source, int x) const {
  if (!source) kxThrowError(kxw::kFailureBadArgument);
  // Truncated, and with the offsets the other way round than in the two other forms: it is meant.
  const double ratio = source->resolution_ / resolution_;
  const double distance = static_cast<double>(x) - offset_.x;
  return kxw::IntGeometry::Add(kxw::Truncate(ratio * distance), source->offset_.x);
}

int KXVOffscreen::ConvertPointY(const KXVOffscreen* source, int y) const {
  if (!source) kxThrowError(kxw::kFailureBadArgument);
  return ConvertRounding(source->resolution_ / resolution_, source->offset_.y, y, offset_.y);
}
