#include "kxwcmn/memory/vmcache.h"

#include <algorithm>

#include "kxwcmn/core/exception.h"
#include "kxwcmn/memory/swapblock.h"

using Front = kxw::EvictionFront;

KXVMCache::~KXVMCache() { Destroy(); }

void KXVMCache::Create(unsigned int size) {
  cacheSize_ = size;
  marginSize_ = size;
}

void KXVMCache::Destroy() {
  while (const KXVMCacheListItem* item = list_.GetFirst()) {
    item->block->FreeOnMemory(nullptr);
    Unlist(item->block);
  }
  list_.Clear();
}

int KXVMCache::Request(KXSwap* swap, unsigned int size) {
  const auto enough = [&] { return marginSize_ >= size; };
  return enough() || EvictUntil(swap, Front::kTemporaryPass, enough) ||
         EvictUntil(swap, Front::kAnyPass, enough);
}

int KXVMCache::RequestClean(KXSwap* swap, unsigned int size) {
  const auto enough = [&] { return marginSize_ >= size; };
  return enough() || EvictUntil(swap, Front::kCleanPass, enough);
}

void KXVMCache::EndOverrun(KXSwap* swap) {
  const auto within = [&] { return marginSize_ <= cacheSize_; };
  if (within() || EvictUntil(swap, Front::kTemporaryPass, within)) return;
  // One block that cannot be written ends the second walk, so a full disk costs one attempt.
  if (!EvictUntil(swap, Front::kAnyPass, within)) EvictUntil(swap, Front::kCleanPass, within);
}

int KXVMCache::GiveWay(KXSwap* swap, unsigned int size) {
  const unsigned int before = marginSize_;  // differences are right where the margin wraps, too
  const auto enough = [&] { return marginSize_ - before >= size; };
  return EvictUntil(swap, Front::kTemporaryPass, enough) ||
         EvictUntil(swap, Front::kAnyPass, enough) || EvictUntil(swap, Front::kCleanPass, enough) ||
         marginSize_ != before;
}

/// Evicts the units of `pass` one by one. False if there are not enough, or if one could not be
/// written.
template <class Enough>
bool KXVMCache::EvictUntil(KXSwap* swap, int pass, Enough enough) {
  while (KXSwapBlock* block = front_.FirstToGo(pass)) {
    if (!EvictUnit(swap, block)) return false;
    if (enough()) return true;
  }
  return false;
}

/// Evicts `block`, and the other owners in the lower units of its chunk. Those in higher units
/// stay: that is kept. False if one could not be written.
bool KXVMCache::EvictUnit(KXSwap* swap, KXSwapBlock* block) {
  const KXVMChunk* chunk = block->GetMemory().GetChunk();
  if (!chunk) return Evict(swap, block);
  const int last = block->GetMemory().GetSlot();  // when its owner has gone, so may have the chunk
  for (int slot = 0; slot <= last; ++slot) {
    KXSwapBlock* owner = chunk->GetOwner(slot);
    if (owner && !Evict(swap, owner)) return false;
  }
  return true;
}

int KXVMCache::Purge(KXSwap* swap, KXSwapBlock* block) {
  if (!block) return 1;
  if (block->IsLocked()) return 0;
  const KXVMCacheListItem* item = block->cacheItem_;
  if (item && item->block != block) kxThrowError(kxw::kFailureBadArgument);
  return Evict(swap, block);
}

bool KXVMCache::Evict(KXSwap* swap, KXSwapBlock* block) {
  if (!block->Purge(swap, owner_)) return false;
  Unlist(block);
  return true;
}

void KXVMCache::Add(KXSwapBlock* block, const KXVMHandle& handle) {
  if (!block || block->cacheItem_) return;
  KXVMCacheListItem* item;
  try {
    item = list_.Append(block);
  } catch (...) {
    return;
  }
  block->cacheItem_ = item;
  block->order_ = front_.Enter(item);
  block->front_ = &front_;
  block->SetMemory(handle);
  marginSize_ -= static_cast<unsigned int>(block->GetSize());
  peakBlocks_ = std::max(peakBlocks_, list_.GetCount());
}

void KXVMCache::Remove(KXSwapBlock* block) {
  if (!block) return;
  block->FreeOnMemory(owner_);
  Unlist(block);
}

/// Takes a block, whose memory has gone, off the list and off the account.
void KXVMCache::Unlist(KXSwapBlock* block) {
  KXVMCacheListItem* item = block->cacheItem_;
  if (!item) return;
  front_.Leave(item);
  list_.Remove(item);
  block->cacheItem_ = nullptr;
  block->front_ = nullptr;
  marginSize_ += static_cast<unsigned int>(block->GetSize());
}
