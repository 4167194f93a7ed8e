#pragma once

#include "kxwcmn/memory/blocklist.h"
#include "kxwcmn/memory/evictionfront.h"
#include "kxwcmn/memory/vmchunk.h"
#include "kxwcmn/platform/export.h"
#include "kxwcmn/platform/types.h"

class KXSwap;
class KXSwapBlock;
class KXVirtualMemory;

/// The budget of the pool and the list of the blocks on memory, in the order in which they came.
///
/// The sizes of the listed blocks plus the margin equal the cache size modulo 2^32: a block that
/// enters beyond the budget wraps the margin, which then reads as huge until enough blocks have
/// left; the manager evicts what lies beyond the budget before it asks for more. The account is
/// kept in block sizes, not in the chunks behind them.
class KX_EXPORT KXVMCache {
 public:
  KXVMCache() = default;
  KXVMCache(const KXVMCache&) = delete;
  KXVMCache& operator=(const KXVMCache&) = delete;
  virtual ~KXVMCache();

  /// Sets the budget, in bytes; all of it is margin. To be called once, before any block enters.
  void Create(unsigned int size);

  /// Gives the memory of all blocks back and empties the list. Never fails.
  void Destroy();

  /// Makes the margin at least `size` bytes: evicts blocks from the one that has been on memory
  /// longest on, first those that cost no writing (temporary ones), then any. Locked and absolutely
  /// protected blocks stay, and all blocks that share a chunk with one. Returns 0 if it could not
  /// or if a block could not be written; what was evicted before stays evicted.
  int Request(KXSwap* swap, unsigned int size);

  /// Makes the margin at least `size` bytes without writing: for when Request has met a block that
  /// could not be written. Returns 0 if too few blocks can go so.
  int RequestClean(KXSwap* swap, unsigned int size);

  /// Evicts as Request does, and then without writing, until the blocks are within the budget again
  /// or no more can go. Does nothing within the budget.
  void EndOverrun(KXSwap* swap);

  /// Evicts in the same order `size` bytes of blocks, or as many as can go. Returns 0 if none can.
  int GiveWay(KXSwap* swap, unsigned int size);

  /// Evicts `block` alone. Returns 0 if it is locked, absolutely protected (it is written if it was
  /// changed) or cannot be written; null and a block that is not on memory give 1. A copy of a
  /// block on memory raises 0x20010008.
  int Purge(KXSwap* swap, KXSwapBlock* block);

  /// Enters `block` at the end of the list with the memory of `handle`, clean and unlocked, and
  /// takes its size from the margin. If the list finds no memory for its item nothing happens: the
  /// block is not on memory then, and the handle stays the caller's. Nothing happens to a listed
  /// block either.
  void Add(KXSwapBlock* block, const KXVMHandle& handle);

  /// Takes `block` out without writing it, and gives its memory back. Never fails.
  void Remove(KXSwapBlock* block);

  unsigned int GetCacheSize() const { return cacheSize_; }
  unsigned int GetMarginSize() const { return marginSize_; }
  void SetOwnerVM(KXVirtualMemory* owner) { owner_ = owner; }

  /// Blocks on memory now, and the most that there were at one time.
  int GetBlockCount() const { return list_.GetCount(); }
  int GetPeakBlockCount() const { return peakBlocks_; }
  /// The block that has been on memory longest; follow `next` for the others.
  const KXVMCacheListItem* GetFirst() const { return list_.GetFirst(); }

 private:
  template <class Enough>
  bool EvictUntil(KXSwap* swap, int pass, Enough enough);
  bool EvictUnit(KXSwap* swap, KXSwapBlock* block);
  bool Evict(KXSwap* swap, KXSwapBlock* block);
  void Unlist(KXSwapBlock* block);

  KXVirtualMemory* owner_ = nullptr;
  unsigned int cacheSize_ = 0;
  unsigned int marginSize_ = 0;
  kxw::BlockList<KXVMCacheListItem> list_;
  kxw::EvictionFront front_;
  int peakBlocks_ = 0;
};
