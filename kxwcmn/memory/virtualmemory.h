#pragma once

#include <vector>

#include "kxwcmn/core/array.h"
#include "kxwcmn/memory/swapblock.h"
#include "kxwcmn/memory/vmcache.h"
#include "kxwcmn/memory/vmchunk.h"
#include "kxwcmn/platform/export.h"
#include "kxwcmn/platform/types.h"

class KXFilePath;
class KXSwap;

/// How to create the manager of the process.
struct _CREATEVMPARAM {
  DWORD reserved;                // not read
  const KXFilePath* swapFolder;  // folder of the swap file; null means the temporary folder
  int allocationType;            // 0 default, 1 percent; see kxGetAllocateMemorySize
  int percent;                   // used with allocation type 1
};

/// What a manager has done so far. Counts of blocks and bytes since its creation.
struct KXVMStatistics {
  u64 blocksDropped;  // left memory without a write
  u64 blocksFlat;  // that repeat 24 bytes or fewer: left without a write, come back without a read
  u64 blocksWritten;
  u64 blocksRead;
  u64 bytesWritten;
  u64 bytesRead;
  int chunks;              // chunks of 1 MiB in the pool now
  int blocksOnMemory;      // now
  int peakBlocksOnMemory;  // the most at one time
};

/// Allocations that may be larger in sum than the memory the application is willing to give them.
///
/// The budget counts blocks. Memory between them, of which freed blocks leave much where sizes
/// change, goes back to the host when blocks and it are 16 MiB beyond the budget together, so what
/// the process holds for them follows the budget, too.
///
/// Each allocation is a KXSwapBlock. Its bytes live in a pool of a fixed budget, in a swap file, or
/// in both: Lock brings them into the pool and gives their address, and the manager evicts other
/// blocks when the budget is spent.
///
/// Not thread-safe: all calls to one manager, and to its blocks, come from one thread at a time.
class KX_EXPORT KXVirtualMemory {
 public:
  KXVirtualMemory();
  KXVirtualMemory(const KXVirtualMemory&) = delete;
  KXVirtualMemory& operator=(const KXVirtualMemory&) = delete;
  /// Frees every block and removes the swap file.
  virtual ~KXVirtualMemory();

  /// Gives the manager a budget of `size` bytes, rounded to the disk's sectors, and a swap file of
  /// that first size in `folder` (null: the temporary folder). Deletes every other file of that
  /// folder whose name contains "SWP" and that no manager has open: a process that died has left
  /// it. Raises KXException with code 0x200132C9 if no unique name can be made, 0x200132C8 if the
  /// file cannot; Create may then be tried again. A manager is created once: another call raises
  /// 0x20010008 and changes nothing. A relative `folder` is taken from the current one once.
  void Create(unsigned int size, const KXFilePath* folder = nullptr);
  /// The same for a path or its text: `Create(256 << 20, "/var/tmp")`.
  void Create(unsigned int size, const KXFilePath& folder) { Create(size, &folder); }

  /// Makes a block of `size` bytes, rounded up to the disk's sectors: in the pool, not locked, its
  /// contents undefined. Raises KXException with code 8 if there is no room and no other block can
  /// leave memory, or if there could not be enough (nothing leaves then); 0x200132C8 before Create.
  /// The manager owns the block.
  KXSwapBlock* Allocate(unsigned int size);

  /// Destroys `block`, locked or not. Null does nothing; a copy of a block raises 0x20010008.
  void Free(KXSwapBlock* block);

  /// Brings `block` into memory and returns the address of its bytes, stable until Unlock. A
  /// non-zero `edit` marks the block as changed. `*loaded` (may be null) becomes 1 if the bytes
  /// were read from the swap file and is left alone otherwise. A block that was never written, or
  /// that is temporary, comes in with undefined contents. When nothing can be evicted the pool goes
  /// beyond its budget, until something can. Returns null, with the block as it was, also for null;
  /// the last error tells why: 8 without memory, 23 if the file gives back other bytes than were
  /// written, 0x20010008 for a copy of a block, another code if it cannot be read.
  void* Lock(KXSwapBlock* block, int edit, int* loaded) {
    if (!block || !block->IsOnMemory()) return BringIn(block, edit, loaded);
    if (edit) block->SetEditFlag(1);
    return block->Lock();
  }

  /// Ends the lock of `block`; a second lock without one in between is ended too. Does nothing for
  /// null and for a block that is not on memory.
  void Unlock(KXSwapBlock* block) {
    if (block && block->IsOnMemory()) block->Unlock();
  }

  /// Forces one block out of the pool; see KXVMCache::Purge.
  int Purge(KXSwapBlock* block);

  /// Takes memory of the pool: a unit of a chunk for the five class sizes, an allocation of its own
  /// for any other. The budget is the business of KXVMCache::Request and not looked at. Returns 1;
  /// raises KXException with the platform's code if there is no memory.
  int AllocHandle(unsigned int size, KXVMHandle& handle);

  /// Gives memory back. `size` is the one it was taken with: under another size an empty chunk is
  /// kept. The handle is for the caller to clear; a copy of it must not be given back again.
  void FreeHandle(KXVMHandle& handle, unsigned int size);

  /// The budget in bytes; 0 before Create.
  unsigned int GetPhysicalMemorySize() const { return physicalMemorySize_; }
  unsigned int GetUsedPhysicalMemorySize() const {
    return cache_.GetCacheSize() - cache_.GetMarginSize();
  }
  /// 0 while the pool is beyond its budget.
  unsigned int GetFreePhysicalMemorySize() const {
    const unsigned int used = GetUsedPhysicalMemorySize();
    return used >= physicalMemorySize_ ? 0 : physicalMemorySize_ - used;
  }
  unsigned int GetMinimumUnitSize() const { return minimumUnitSize_; }

  /// Length of the swap file in bytes, and the sum of the sizes of the blocks with a place in it.
  u64 GetSwapFileSize() const;
  u64 GetUsedDiskSize() const;
  /// Blocks that exist.
  unsigned int GetUsedBlockCount() const;

  KXVMStatistics GetStatistics() const;

  /// Removes the swap file at the end of the process. Blocks on memory stay usable, no other one
  /// can be locked from then on, and none is evicted that was changed.
  void CloseSwapFile();

 private:
  static constexpr int kSizeClasses = 5;

  struct SizeClass {
    KXTArray<KXVMChunk*> chunks;  // in the order in which they were made
    // Those of them with a free unit, latest first: the last one is the first fit.
    std::vector<KXVMChunk*> open;
  };

  static int FindSizeClass(unsigned int size);
  void MakeChunk(int index);
  void DestroyChunk(SizeClass& sizeClass, KXVMChunk* chunk);
  void SweepSwapFiles(const KXFilePath& swapFile);
  bool MakeRoom(unsigned int size);
  template <class Operation>
  void WithMemory(unsigned int size, Operation operation);
  void GiveIdleBack(unsigned int size);
  void* BringIn(KXSwapBlock* block, int edit, int* loaded);

  KXSwap* swap_;
  unsigned int physicalMemorySize_ = 0;
  unsigned int minimumUnitSize_ = 32768;
  KXVMCache cache_;
  SizeClass sizeClasses_[kSizeClasses];
  u64 chunksMade_ = 0;
  u64 idleInChunks_ = 0;  // bytes of free units that the process holds
  bool created_ = false;
};

/// The budget for `type`, in bytes, never above 0x7FFFFFFF. 0: the default percent of the total or
/// of the available physical memory, whichever is larger. 1: `percent` of the total, kept within
/// the minimum and maximum percent. Any other type gives 0. A negative percentage counts as 0.
KX_EXPORT u64 kxGetAllocateMemorySize(int type, int percent);

/// Creates the manager of the process. Does nothing once it has succeeded; a creation that failed
/// may be tried again. Raises as KXVirtualMemory::Create does, and 0x20010008 for null and for an
/// unknown allocation type.
KX_EXPORT void kxCreateVirtualMemory(_CREATEVMPARAM* param);

/// The manager of the process, never null and the same from the first call on. Its swap file is
/// removed when the process ends; the object itself outlives every static one, so that a block may
/// be freed at any time.
KX_EXPORT KXVirtualMemory* kxGetVirtualMemory();

/// Percentages of the budget; the setters take any value.
KX_EXPORT int kxGetMinVMAllocationPercent();
KX_EXPORT void kxSetMinVMAllocationPercent(int percent);
KX_EXPORT int kxGetMaxVMAllocationPercent();
KX_EXPORT void kxSetMaxVMAllocationPercent(int percent);
KX_EXPORT int kxGetDefaultVMAllocationPercent();
KX_EXPORT void kxSetDefaultVMAllocationPercent(int percent);
