#pragma once

#include "kxwcmn/memory/blocklist.h"
#include "kxwcmn/memory/vmchunk.h"
#include "kxwcmn/platform/export.h"
#include "kxwcmn/platform/types.h"

namespace kxw {

/// Where the walks of KXVMCache::Request may begin.
///
/// A request walks the blocks on memory from the oldest on, in passes, and most walks would meet
/// the same thousands of blocks that may not go: locked, protected, not temporary where only those
/// go, changed where nothing can be written. For each pass the front stands before the first block
/// not yet known to be of that kind. A block behind which the front stands and that may go again,
/// alone or with its chunk, calls it back. So the order of eviction is that of a walk from the
/// head, and its cost is that of what changed.
class EvictionFront {
 public:
  static constexpr int kTemporaryPass = 0;  // blocks whose contents nobody wants back
  static constexpr int kAnyPass = 1;
  static constexpr int kCleanPass = 2;  // blocks that need no writing, while none succeeds
  static constexpr int kPasses = 3;

  /// The oldest block that `pass` may evict, alone or with its chunk; null if there is none.
  KXSwapBlock* FirstToGo(int pass);

  /// `item`, the new last one of the list, belongs to a block that enters. Returns the block's
  /// order number, to be stored in it; numbers ascend along the list.
  u64 Enter(KXVMCacheListItem* item);

  /// `item` is about to leave the list.
  void Leave(const KXVMCacheListItem* item);

  /// Something that kept `block`, or the chunk it sits in, from being evicted has gone.
  inline void Reconsider(const KXSwapBlock& block);

 private:
  /// Moves the front of `pass` to the oldest block of the unit that `block` belongs to, if it has
  /// gone past it.
  KX_EXPORT void CallBack(int pass, const KXSwapBlock& block);
  void Stand(int pass, KXVMCacheListItem* item);

  KXVMCacheListItem* item_[kPasses] = {};
  // The order number of the front's block; behind the last item, the number that the next block to
  // enter will have.
  u64 order_[kPasses] = {};
  u64 next_ = 0;
};

}  // namespace kxw
