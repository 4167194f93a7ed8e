#include "kxwcmn/memory/swapblock.h"

#include <algorithm>

#include "kxwcmn/memory/swap.h"
#include "kxwcmn/memory/virtualmemory.h"
#include "kxwcmn/platform/error.h"
#include "kxwcmn/platform/system.h"

int kxw::CodeOfMissingBlock(std::intptr_t block) {
  const auto* missing = reinterpret_cast<const KXSwapBlock*>(block);
  return missing && missing->IsDamaged() ? kErrorDataCheck : kErrorNotEnoughMemory;
}

KXGarbageBlock::RequestType KXGarbageBlock::Request(u64* position, u64 size) {
  if (size_ < size) return kTooSmall;
  *position = begin_;
  if (size_ == size) return kExact;
  begin_ += size;
  size_ -= size;
  return kCut;
}

KXSwapBlock& KXSwapBlock::operator=(const KXSwapBlock& other) {
  KXGarbageBlock::operator=(other);
  temporary_ = other.temporary_;
  absoluteProtect_ = other.absoluteProtect_;
  memory_ = other.memory_;
  editFlag_ = other.editFlag_;
  locked_ = other.locked_;
  swapItem_ = other.swapItem_;
  cacheItem_ = other.cacheItem_;
  flat_ = other.flat_;
  std::copy_n(other.period_, kPeriod, period_);
  packed_ = other.packed_;
  checksum_ = other.checksum_;
  generation_ = other.generation_;
  written_ = other.written_;
  damaged_ = other.damaged_;
  return *this;  // no cache counts on what happens to a copy
}

void KXSwapBlock::SetMemory(const KXVMHandle& memory) {
  // Only a listed block is the owner of its unit.
  if (front_ && memory_.GetChunk()) memory_.GetChunk()->Leave(memory_.GetSlot());
  memory_ = memory;
  editFlag_ = 0;
  locked_ = 0;
  if (front_ && memory_.GetChunk()) memory_.GetChunk()->Enter(memory_.GetSlot(), this);
}

void KXSwapBlock::FreeOnMemory(KXVirtualMemory* manager) {
  if (!memory_.IsEnable()) return;
  if (manager) {
    manager->FreeHandle(memory_, static_cast<unsigned int>(GetSize()));
  } else {
    memory_.Release();
  }
  memory_ = {};
}

int KXSwapBlock::Purge(KXSwap* swap, KXVirtualMemory* manager) {
  const bool write = !IsClean() && IsOnMemory();
  if (write) {
    void* data = memory_.Lock();
    const int written = swap ? swap->Write(data, this) : 0;
    memory_.Unlock();
    if (!written) return 0;
  }
  editFlag_ = 0;
  if (absoluteProtect_) return 0;
  if (!write && swap && IsOnMemory()) swap->CountDropped();
  FreeOnMemory(manager);
  return 1;
}

/// Whether its bytes lie in the file of a process that this one was forked from.
bool KXSwapBlock::IsInherited() const {
  return written_ && !flat_ && generation_ != kxw::ForkGeneration();
}

void KXSwapBlock::ChangeTemporary() {
  temporary_ = !temporary_;
  if (!front_) return;
  if (KXVMChunk* chunk = memory_.GetChunk()) chunk->lasting_ += temporary_ ? -1 : 1;
  if (temporary_) front_->Reconsider(*this);
}

void KXSwapBlock::ChangeAbsoluteProtect() {
  absoluteProtect_ = !absoluteProtect_;
  if (!front_ || locked_) return;
  absoluteProtect_ ? Pin() : Unpin();
}
