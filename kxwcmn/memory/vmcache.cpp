#include "kxwcmn/memory/vmcache.h"

#include <algorithm>

#include "kxwcmn/memory/swapblock.h"

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
  if (marginSize_ >= size) return 1;
  for (int pass = 0; pass < kxw::EvictionFront::kPasses; ++pass) {
    while (KXSwapBlock* block = front_.FirstToGo(pass)) {
      if (!EvictUnit(swap, block)) return 0;
      if (marginSize_ >= size) return 1;
    }
  }
  return 0;
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
