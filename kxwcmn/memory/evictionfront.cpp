#include "kxwcmn/memory/evictionfront.h"

#include "kxwcmn/memory/swapblock.h"

namespace kxw {

namespace {

/// Whether eviction may take `block` in `pass`. A block of a chunk goes with the chunk, for only an
/// empty chunk gives real memory back: one pinned owner holds all of them.
bool MayGo(const KXSwapBlock& block, int pass) {
  const KXVMChunk* chunk = block.GetMemory().GetChunk();
  const bool pinned = chunk ? chunk->IsPinned() : block.IsLocked() || block.IsAbsoluteProtect();
  const bool lasting = chunk ? chunk->IsLasting() : !block.IsTemporary();
  if (pinned) return false;
  switch (pass) {
    case EvictionFront::kTemporaryPass:
      return !lasting;
    case EvictionFront::kCleanPass:
      return chunk ? chunk->IsClean() : block.IsClean();
    default:
      return true;
  }
}

}  // namespace

KXSwapBlock* EvictionFront::FirstToGo(int pass) {
  while (KXVMCacheListItem* item = item_[pass]) {
    if (MayGo(*item->block, pass)) return item->block;
    Stand(pass, item->next);
  }
  return nullptr;
}

u64 EvictionFront::Enter(KXVMCacheListItem* item) {
  for (KXVMCacheListItem*& front : item_) {
    if (!front) front = item;  // its number is the one expected
  }
  return next_++;
}

void EvictionFront::Leave(const KXVMCacheListItem* item) {
  for (int pass = 0; pass < kPasses; ++pass) {
    if (item_[pass] == item) Stand(pass, item->next);
  }
}

void EvictionFront::CallBack(int pass, const KXSwapBlock& block) {
  if (pass == kCleanPass && !MayGo(block, pass)) return;
  const KXSwapBlock* oldest = &block;
  if (KXVMChunk* chunk = block.memory_.GetChunk()) {
    oldest = chunk->FindOldest();
    if (!oldest) return;
    chunk->oldest_ = oldest->order_;
  }
  if (oldest->order_ < order_[pass]) Stand(pass, oldest->cacheItem_);
}

void EvictionFront::Stand(int pass, KXVMCacheListItem* item) {
  item_[pass] = item;
  order_[pass] = item ? item->block->order_ : next_;
}

}  // namespace kxw
