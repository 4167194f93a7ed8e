#include "kxwcmn/memory/vmchunk.h"

#include <algorithm>

#include "kxwcmn/memory/memory_internal.h"
#include "kxwcmn/memory/swapblock.h"

std::atomic<int> kxw::liveAllocations = 0;

KXVMChunk::KXVMChunk(QMHANDLE__* memory, DWORD unitSize, u64 serial)
    : memory_(memory),
      unitSize_(unitSize),
      unitCount_(static_cast<int>(kBytes / unitSize)),
      freeCount_(unitCount_),
      serial_(serial) {
  for (int i = 0; i < unitCount_; ++i) {
    freeSlots_[i] = static_cast<DWORD>(i);
    owners_[i] = nullptr;
  }
}

KXVMChunk::~KXVMChunk() {
  qmFree(memory_);
  --kxw::liveAllocations;
}

void KXVMChunk::GiveUnit(int slot) {
  if (IsEmpty()) return;  // given back twice
  freeSlots_[freeCount_++] = static_cast<DWORD>(slot);
  Leave(slot);
}

void KXVMChunk::Enter(int slot, KXSwapBlock* block) {
  const bool alone = freeCount_ == unitCount_ - 1;
  if (alone) oldest_ = block->order_;
  owners_[slot] = block;
  if (block->IsPinned()) ++pinned_;
  if (!block->temporary_) ++lasting_;
}

void KXVMChunk::Leave(int slot) {
  KXSwapBlock* block = owners_[slot];
  if (!block) return;
  owners_[slot] = nullptr;
  if (block->IsPinned()) --pinned_;
  if (!block->temporary_) --lasting_;
  if (pinned_ == 0) block->front_->Reconsider(*block);
}

bool KXVMChunk::IsClean() const {
  return std::all_of(owners_, owners_ + unitCount_,
                     [](const KXSwapBlock* owner) { return !owner || owner->IsClean(); });
}

void KXVMChunk::GiveIdleBack() {
  if (given_ == freeCount_) return;
  DWORD slots[kSlots];
  std::copy_n(freeSlots_, freeCount_, slots);
  std::sort(slots, slots + freeCount_);
  BYTE* base = static_cast<BYTE*>(qmLock(memory_));
  for (int first = 0, i = 1; i <= freeCount_; ++i) {
    if (i < freeCount_ && slots[i] == slots[i - 1] + 1) continue;
    kxw::DiscardContents(base + std::size_t{slots[first]} * unitSize_,
                         static_cast<std::size_t>(i - first) * unitSize_);
    first = i;
  }
  qmUnlock(memory_);
  given_ = freeCount_;
}

const KXSwapBlock* KXVMChunk::FindOldest() const {
  const KXSwapBlock* oldest = nullptr;
  for (int i = 0; i < unitCount_; ++i) {
    const KXSwapBlock* owner = owners_[i];
    if (owner && (!oldest || owner->order_ < oldest->order_)) oldest = owner;
  }
  return oldest;
}

void KXVMHandle::Release() {
  if (chunk_) {
    chunk_->GiveUnit(slot_);
  } else if (direct_) {
    qmFree(direct_);
    direct_ = nullptr;
    --kxw::liveAllocations;
  }
}
