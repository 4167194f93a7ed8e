#include <cstddef>
#include <cstring>

#include "kxwcmn/core/exception.h"
#include "kxwcmn/memory/virtualmemory.h"
#include "kxwcmn/offscreen/voffscreen.h"
#include "kxwcmn/platform/error.h"

// --- Locking ------------------------------------------------------------------------------------

void KXVOffscreen::Lock(int x, int y, int edit) {
  const int outerEditMode = editMode_;
  if (edit) editMode_ = 1;
  ++lockCount_;
  try {
    if (lockCount_ == 1) LeaveBlock();
    MoveCursor(x, y);
  } catch (...) {
    // A lock that was not granted must not need an unlock.
    Unlock();
    editMode_ = outerEditMode;
    throw;
  }
}

void KXVOffscreen::Unlock() {
  if (lockCount_ == 0) return;
  if (--lockCount_ > 0) return;
  LeaveBlock();
  editMode_ = 0;
}

void* KXVOffscreen::LockBlock(int index) {
  KXVOffscreenBlock& cell = blocks_[static_cast<std::size_t>(index)];
  KXSwapBlock* block = cell.GetSwapBlock();
  // A block that comes back without its contents is cleared like a new one.
  bool hasContents =
      block && (block->IsOnMemory() || (block->IsSwapped() && !block->IsTemporary()));
  if (!block) {
    if (!editMode_) return nullptr;
    block = memory_->Allocate(static_cast<unsigned>(blockRowBytes_) * kBlockSize);
    if (!block) return nullptr;
    cell.SetSwapBlock(block);
    if (allowBreak_) {
      const bool protect = !protectArea_.IsRectEmpty() && IsProtected(index);
      block->SetTemporary(!protect);
      block->SetAbsoluteProtect(protect);
    }
    hasContents = false;
  }
  void* address = memory_->Lock(block, editMode_, nullptr);
  if (address && !hasContents && enableClear_ == 1) {
    ClearBlock(static_cast<BYTE*>(address));
  }
  return address;
}

void KXVOffscreen::UnlockBlock(int index) {
  if (KXSwapBlock* block = SwapBlockAt(index)) memory_->Unlock(block);
}

KXSwapBlock* KXVOffscreen::SwapBlockAt(int index) const {
  if (static_cast<std::size_t>(index) >= blocks_.size()) return nullptr;
  return blocks_[static_cast<std::size_t>(index)].GetSwapBlock();
}

void KXVOffscreen::LeaveBlock() {
  if (cursor_.blockIndex >= 0) UnlockBlock(cursor_.blockIndex);
  cursor_.blockIndex = -1;
  cursor_.base = nullptr;
  cursor_.current = nullptr;
}

void KXVOffscreen::EnterBlock(int index) {
  // Off the image until the block is in: a new block that finds no room raises from here.
  LeaveBlock();
  if (static_cast<std::size_t>(index) >= blocks_.size()) return;
  cursor_.base = static_cast<BYTE*>(LockBlock(index));
  cursor_.blockIndex = index;
  SetCurrentCursorAddress(cursor_.x, cursor_.y);
}

void KXVOffscreen::CheckNoBlock() const {
  const std::intptr_t block = lockCount_ > 0 ? GetBlockExist(cursor_.blockIndex) : 0;
  if (block) kxThrowError(kxw::CodeOfMissingBlock(block));
}

// --- Moves --------------------------------------------------------------------------------------

void KXVOffscreen::SetCurrentBlock() { EnterBlock(GetBlockIndex(cursor_.x, cursor_.y)); }

void KXVOffscreen::MoveCursor(int x, int y) {
  cursor_.x = x;
  cursor_.y = y;
  const int index = GetBlockIndex(x, y);
  if (index != cursor_.blockIndex) {
    EnterBlock(index);
  } else if (index >= 0) {
    SetCurrentCursorAddress(x, y);
  }
}

void KXVOffscreen::MoveCursorFast(int x, int y) {
  cursor_.x = x;
  cursor_.y = y;
  const int index = GetBlockIndexFast(x, y);
  if (index != cursor_.blockIndex) {
    EnterBlock(index);
  } else {
    SetCurrentCursorAddress(x, y);
  }
}

void KXVOffscreen::OffsetCursor(int dx, int dy) {
  MoveCursor(kxw::IntGeometry::Add(cursor_.x, dx), kxw::IntGeometry::Add(cursor_.y, dy));
}

// The checked steps. What counts is whether the new position lies in the current block: `Fastest`
// steps before it may have ended just behind one of its edges.

void KXVOffscreen::NextCursorY() {
  cursor_.y = kxw::IntGeometry::Add(cursor_.y, 1);
  const int index = GetBlockIndex(cursor_.x, cursor_.y);
  if (index != cursor_.blockIndex) {
    EnterBlock(index);
  } else if (cursor_.current) {
    cursor_.current += blockRowBytes_;
  }
}

void KXVOffscreen::PrevCursorY() {
  cursor_.y = kxw::IntGeometry::Add(cursor_.y, -1);
  const int index = GetBlockIndex(cursor_.x, cursor_.y);
  if (index != cursor_.blockIndex) {
    EnterBlock(index);
  } else if (cursor_.current) {
    cursor_.current -= blockRowBytes_;
  }
}

void KXVOffscreen::MoveCursorBehindRow(int lastX) {
  const int x = kxw::IntGeometry::Add(lastX, 1);
  const int index = GetBlockIndex(x, cursor_.y);
  if (index == cursor_.blockIndex || GetBlockExist(index)) {
    MoveCursor(x, cursor_.y);
  } else {
    LeaveBlock();
    cursor_.x = x;
  }
}

BYTE* KXVOffscreen::SetCurrentCursorAddressFake32(int x, int y) const {
  if (!cursor_.base || bitCount_ != 32) return nullptr;
  return cursor_.base + (y & kBlockMask) * blockRowBytes_ + (x & kBlockMask) * 4;
}

BYTE* KXVOffscreen::MoveCursorFake32(int x, int y) {
  if (GetBlockIndexFast(x, y) == cursor_.blockIndex) return SetCurrentCursorAddressFake32(x, y);
  MoveCursorFast(x, y);
  return SetCurrentCursorAddressFake32(x, y);
}

bool KXVOffscreen::HasQuad() const {
  constexpr std::ptrdiff_t kBytes = 4;
  return cursor_.current && cursor_.base + blockRowBytes_ * kBlockSize - cursor_.current >= kBytes;
}

DWORD KXVOffscreen::Get8BitColorOnlyQuad() const {
  DWORD pixels = 0;
  if (HasQuad()) std::memcpy(&pixels, cursor_.current, sizeof pixels);
  return pixels;
}

void KXVOffscreen::Set8BitColorOnlyQuad(DWORD pixels) {
  if (HasQuad()) std::memcpy(cursor_.current, &pixels, sizeof pixels);
}
