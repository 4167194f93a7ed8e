#pragma once

#include <cstdint>

#include "kxwcmn/memory/blocklist.h"
#include "kxwcmn/memory/evictionfront.h"
#include "kxwcmn/memory/vmchunk.h"
#include "kxwcmn/platform/export.h"
#include "kxwcmn/platform/types.h"

class KXSwap;

/// A gap of the swap file: the bytes from begin up to, not including, end. Always end = begin +
/// size; the setters do not see to it.
class KX_EXPORT KXGarbageBlock {
 public:
  /// What became of a gap that was asked for room.
  enum RequestType {
    kTooSmall = 0,
    kCut = 1,    // it lost the room from its front
    kExact = 2,  // it fits exactly and is used up; its owner drops it
  };

  KXGarbageBlock() = default;
  KXGarbageBlock(u64 begin, u64 end, u64 size) : begin_(begin), end_(end), size_(size) {}

  u64 GetBeginPos() const { return begin_; }
  u64 GetEndPos() const { return end_; }
  u64 GetSize() const { return size_; }
  void SetBeginPos(u64 begin) { begin_ = begin; }
  void SetEndPos(u64 end) { end_ = end; }
  void SetSize(u64 size) { size_ = size; }

  /// Order and equality look at the begin alone.
  bool operator<(const KXGarbageBlock& other) const { return begin_ < other.begin_; }
  bool operator==(const KXGarbageBlock& other) const { return begin_ == other.begin_; }

  /// Grows at the end.
  void Resize(u64 add) {
    end_ += add;
    size_ += add;
  }
  /// Grows at the front.
  void ResizeForward(u64 add) {
    begin_ -= add;
    size_ += add;
  }

  /// Asks for `size` bytes. Unless the gap is too small, `*position` becomes their begin.
  RequestType Request(u64* position, u64 size);

 private:
  u64 begin_ = 0;
  u64 end_ = 0;
  u64 size_ = 0;
};

/// An allocation of KXVirtualMemory: a place in the swap file (begin differs from end), memory of
/// the pool, both, or neither. KXSwap owns it; KXVirtualMemory makes and destroys it.
class KX_EXPORT KXSwapBlock : public KXGarbageBlock {
 public:
  KXSwapBlock() = default;
  KXSwapBlock(u64 begin, u64 end, u64 size) : KXGarbageBlock(begin, end, size) {}
  /// Copies every field. The copy is a record for looking at: no list names it, and it owns neither
  /// the memory nor the place. Never assign to a block of the manager.
  KXSwapBlock(const KXSwapBlock& other) : KXGarbageBlock(other) { *this = other; }
  KXSwapBlock& operator=(const KXSwapBlock& other);

  bool IsOnMemory() const { return memory_.IsEnable(); }
  /// Whether it has a place in the swap file; it may be on memory too.
  bool IsSwapped() const { return GetBeginPos() != GetEndPos(); }
  /// Whether it has contents at all.
  bool IsEnable() const { return IsOnMemory() || IsSwapped(); }

  /// A temporary block is dropped where another would be written: it comes back with undefined
  /// contents. A block that stops being temporary loads whatever its place held before.
  int IsTemporary() const { return temporary_; }
  void SetTemporary(int temporary) {
    if (temporary_ != (temporary != 0)) ChangeTemporary();
  }

  /// A protected block stays on memory until it is freed or the protection ends.
  int IsAbsoluteProtect() const { return absoluteProtect_; }
  void SetAbsoluteProtect(int protect) {
    if (absoluteProtect_ != (protect != 0)) ChangeAbsoluteProtect();
  }

  /// Non-zero while the memory may differ from the place in the swap file.
  int GetEditFlag() const { return editFlag_; }
  void SetEditFlag(int edit) {
    const bool becomesClean = editFlag_ && !edit;
    editFlag_ = edit;
    if (becomesClean && front_) front_->Reconsider(*this);
  }

  /// Whether it can leave memory without being written. What a forked child has on memory and not
  /// in a file of its own cannot: its parent may write over the other place.
  bool IsClean() const { return temporary_ || !(editFlag_ || IsInherited()); }

  /// A flag, not a count.
  int IsLocked() const { return locked_; }

  /// Whether the last attempt to bring the block in found other bytes in the file than were
  /// written.
  bool IsDamaged() const { return damaged_; }

  const KXVMHandle& GetMemory() const { return memory_; }
  /// Also clears the edit flag and the locked flag. What the block had before is not given back.
  void SetMemory(const KXVMHandle& memory);

  KXSwapListItem* GetSwapListItem() const { return swapItem_; }
  void SetSwapListItem(KXSwapListItem* item) { swapItem_ = item; }
  KXVMCacheListItem* GetVMCacheListItem() const { return cacheItem_; }
  void SetVMCacheListItem(KXVMCacheListItem* item) { cacheItem_ = item; }

  /// Sets the locked flag and returns the address of the memory; null while there is none.
  void* Lock() {
    if (!locked_) {
      locked_ = 1;
      if (front_ && !absoluteProtect_) Pin();
    }
    return memory_.Lock();
  }

  /// Clears the locked flag, whatever the number of locks.
  void Unlock() {
    if (locked_) {
      locked_ = 0;
      if (front_ && !absoluteProtect_) Unpin();
    }
    memory_.Unlock();
  }

  /// Gives the memory back; flags and lists stay as they are. Without a manager the pool does not
  /// learn of it: the unit goes back to its chunk, and an empty chunk stays until the pool ends.
  void FreeOnMemory(KXVirtualMemory* manager);

  /// Takes the block out of memory: writes it to `swap` if it was changed and is not temporary,
  /// then gives the memory back and returns 1. Returns 0 if the write failed (the block stays as it
  /// was) or the block is absolutely protected (it stays on memory, clean). The lists stay as they
  /// are.
  int Purge(KXSwap* swap, KXVirtualMemory* manager);

 private:
  friend class KXSwap;
  friend class KXVMCache;
  friend class KXVMChunk;
  friend class KXVirtualMemory;
  friend class kxw::EvictionFront;

  bool IsPinned() const { return locked_ || absoluteProtect_; }
  bool IsInherited() const;

  void Pin() {
    if (KXVMChunk* chunk = memory_.GetChunk()) ++chunk->pinned_;
  }
  void Unpin() {
    KXVMChunk* chunk = memory_.GetChunk();
    if (!chunk || --chunk->pinned_ == 0) front_->Reconsider(*this);
  }

  void ChangeTemporary();
  void ChangeAbsoluteProtect();

  int temporary_ = 0;
  int absoluteProtect_ = 0;
  KXVMHandle memory_;
  int editFlag_ = 0;
  int locked_ = 0;
  KXSwapListItem* swapItem_ = nullptr;
  KXVMCacheListItem* cacheItem_ = nullptr;

  // Set while a cache lists the block: what it tells of changes that bear on eviction, and its
  // place in the order of entering.
  kxw::EvictionFront* front_ = nullptr;
  u64 order_ = 0;

  // What the swap knows of the bytes in the file. Of a block that repeats its first bytes from end
  // to end it keeps these instead, and the file holds nothing of it.
  static constexpr int kPeriod = 24;  // whole pixels of every depth
  bool flat_ = false;
  BYTE period_[kPeriod] = {};
  DWORD packed_ = 0;  // bytes of its packed form, which the file holds instead; 0: it is not packed
  u64 checksum_ = 0;
  unsigned generation_ = 0;  // the fork generation of the process whose file holds them
  bool written_ = false;     // a write has ended well, so that the block can be read
  bool damaged_ = false;
};

namespace kxw {

/// The code to be raised where an image finds `block`, a KXSwapBlock or 0, not on memory though it
/// asked for it: 23 if its bytes in the swap file are not those that were written, else 8.
KX_EXPORT int CodeOfMissingBlock(std::intptr_t block);

}  // namespace kxw

inline void kxw::EvictionFront::Reconsider(const KXSwapBlock& block) {
  const KXVMChunk* chunk = block.memory_.GetChunk();
  const u64 oldest = chunk ? chunk->oldest_ : block.order_;
  if (oldest < order_[kAnyPass]) CallBack(kAnyPass, block);
  if (oldest < order_[kCleanPass]) CallBack(kCleanPass, block);
  const bool lasting = chunk ? chunk->lasting_ > 0 : !block.temporary_;
  if (!lasting && oldest < order_[kTemporaryPass]) CallBack(kTemporaryPass, block);
}
