#pragma once

#include "kxwcmn/platform/export.h"
#include "kxwcmn/platform/memory.h"
#include "kxwcmn/platform/types.h"

class KXSwapBlock;
class KXVMCache;
class KXVirtualMemory;

namespace kxw {
class EvictionFront;
}

/// 1 MiB of the pool, cut into equal units. The unit freed last goes out first.
class KX_EXPORT KXVMChunk {
 public:
  static constexpr DWORD kBytes = 0x100000;

  /// Takes over `memory`, of `kBytes` bytes. `unitSize` is one of the size classes of the pool.
  /// `serial` grows with every chunk of the pool.
  KXVMChunk(QMHANDLE__* memory, DWORD unitSize, u64 serial);
  KXVMChunk(const KXVMChunk&) = delete;
  KXVMChunk& operator=(const KXVMChunk&) = delete;
  /// Gives the memory back, locked or not.
  virtual ~KXVMChunk();

  DWORD GetUnitSize() const { return unitSize_; }
  int GetUnitCount() const { return unitCount_; }
  int GetFreeCount() const { return freeCount_; }
  u64 GetSerial() const { return serial_; }
  bool IsEmpty() const { return freeCount_ == unitCount_; }
  /// Whether an owner is locked or absolutely protected.
  bool IsPinned() const { return pinned_ > 0; }
  /// Whether an owner is not temporary.
  bool IsLasting() const { return lasting_ > 0; }
  /// Whether all owners can leave memory without being written.
  bool IsClean() const;
  /// Bytes of free units that the process holds all the same.
  DWORD GetIdleBytes() const { return static_cast<DWORD>(freeCount_ - given_) * unitSize_; }
  /// Gives the memory of the free units back to the host; a unit that goes out again gets new one.
  void GiveIdleBack();
  /// The block in unit `slot`, null for a unit that no block occupies.
  KXSwapBlock* GetOwner(int slot) const { return owners_[slot]; }

  /// The chunk must have a free unit.
  int TakeUnit() {
    if (given_ == freeCount_) --given_;
    return static_cast<int>(freeSlots_[--freeCount_]);
  }
  /// Also clears the unit's owner.
  void GiveUnit(int slot);

 private:
  friend class KXVMHandle;
  friend class KXSwapBlock;
  friend class kxw::EvictionFront;

  static constexpr int kSlots = 256;  // of which the smallest units take 128

  /// Makes `block` the owner of unit `slot`.
  void Enter(int slot, KXSwapBlock* block);
  void Leave(int slot);
  /// The owner that has been on memory longest; null without owners.
  const KXSwapBlock* FindOldest() const;

  QMHANDLE__* memory_;
  DWORD unitSize_;
  int unitCount_;
  DWORD freeSlots_[kSlots];
  KXSwapBlock* owners_[kSlots];
  int freeCount_;
  int given_ = 0;  // the lowest entries of the stack, whose memory was given back
  DWORD lockCount_ = 0;
  BYTE* lockBase_ = nullptr;

  u64 serial_;
  // What eviction asks of all owners at once.
  int pinned_ = 0;   // owners that are locked or absolutely protected
  int lasting_ = 0;  // owners that are not temporary
  u64 oldest_ = 0;   // no owner has a lower order number
};

/// A piece of the pool: a unit of a chunk, an allocation of its own, or nothing. A plain value,
/// copied freely; whoever took it from KXVirtualMemory::AllocHandle gives one copy back.
class KXVMHandle {
 public:
  KXVMHandle() = default;

  /// Whether there is memory behind the handle.
  bool IsEnable() const { return chunk_ || direct_; }

  /// The address of the memory, stable until the matching Unlock; null for an empty handle. Locks
  /// nest. All units of a chunk share one lock count.
  void* Lock() const {
    if (!chunk_) return direct_ ? qmLock(direct_) : nullptr;
    if (chunk_->lockCount_++ == 0) {
      chunk_->lockBase_ = static_cast<BYTE*>(qmLock(chunk_->memory_));
    }
    return chunk_->lockBase_ + static_cast<u64>(chunk_->unitSize_) * static_cast<u64>(slot_);
  }

  /// Without a lock to undo it does nothing.
  void Unlock() const {
    if (!chunk_) {
      if (direct_) qmUnlock(direct_);
    } else if (chunk_->lockCount_ > 0 && --chunk_->lockCount_ == 0) {
      qmUnlock(chunk_->memory_);
      chunk_->lockBase_ = nullptr;
    }
  }

  /// The chunk that the memory is a unit of, or null.
  KXVMChunk* GetChunk() const { return chunk_; }
  /// The unit within the chunk.
  int GetSlot() const { return slot_; }
  /// The size asked for, in bytes.
  DWORD GetSize() const { return size_; }

 private:
  friend class KXVirtualMemory;
  friend class KXSwapBlock;

  KXVMHandle(KXVMChunk* chunk, int slot, QMHANDLE__* direct, DWORD size)
      : chunk_(chunk), slot_(slot), direct_(direct), size_(size) {}

  /// Gives the memory back; a chunk that becomes empty stays where it is.
  KX_EXPORT void Release();

  KXVMChunk* chunk_ = nullptr;
  int slot_ = 0;
  QMHANDLE__* direct_ = nullptr;
  DWORD size_ = 0;
};
