#pragma once

#include <memory>

#include "kxwcmn/core/file.h"
#include "kxwcmn/core/filepath.h"
#include "kxwcmn/memory/blocklist.h"
#include "kxwcmn/memory/garbage.h"
#include "kxwcmn/memory/swapblock.h"
#include "kxwcmn/platform/export.h"
#include "kxwcmn/platform/types.h"

/// The swap file and the list of all blocks.
///
/// A block takes a place in the file when it is first written and keeps it while it lives. The file
/// has no structure of its own and goes away when it is closed. Places and lengths are multiples of
/// the disk's sector size.
class KX_EXPORT KXSwap {
 public:
  KXSwap() = default;
  KXSwap(const KXSwap&) = delete;
  KXSwap& operator=(const KXSwap&) = delete;
  virtual ~KXSwap();

  /// Makes the file at `path`, `*size` bytes long, rounded up to the disk's sectors; a value that
  /// rounding would bring above 0x7FFFFFFF becomes two sectors less than that. `*size` becomes the
  /// length; the file grows in steps of it. A `buffered` of 0 bypasses the host's file cache.
  /// Returns 0, with nothing left behind, if that fails or if there is a file already; raises
  /// nothing.
  int Create(unsigned int* size, KXFilePath& path, int buffered);

  /// Deletes all blocks and removes the file. The blocks' memory is for their cache to free first.
  void Destroy();

  /// Removes the file alone: from then on no block is written or read.
  void CloseFile();

  /// Makes a block of `size` bytes, rounded up to the disk's sectors, without memory or place.
  /// Returns null before Create; raises KXException with code 8 if there is no memory for the
  /// record or the size passes 32 bits. The swap owns the block.
  KXSwapBlock* Allocate(unsigned int size);

  /// Gives up the place of `block` and deletes it. Null does nothing; a block that is
  /// not in the list, or that a cache still lists, raises 0x20010008.
  void Deallocate(KXSwapBlock* block);

  /// Whether `block` is one of the list itself and not a copy.
  static bool IsListed(const KXSwapBlock* block) {
    const KXSwapListItem* item = block->GetSwapListItem();
    return item && item->block == block;
  }

  /// Writes the bytes of `block`, which takes a place if it has none; the file grows if no gap
  /// fits. Returns 0 if the disk is full or the write failed. After a failed write the contents of
  /// its place are undefined.
  int Write(void* const data, KXSwapBlock* block);

  /// Reads the bytes of `block`. Returns 0 if it has no place or not all of its bytes could be
  /// read.
  int Read(void* data, KXSwapBlock* block);

  /// The length of the file and the sum of the sizes of the blocks with a place in it, in bytes.
  u64 GetSwapSize() const { return swapSize_; }
  u64 GetUsedTotalSize() const { return usedTotalSize_; }
  /// Blocks that exist.
  unsigned int GetUsedBlockCount() const { return static_cast<unsigned int>(list_.GetCount()); }
  unsigned int GetSectorSize() const { return sectorSize_; }

  /// What went through here so far.
  struct Traffic {
    u64 blocksDropped = 0;  // left memory without a write
    u64 blocksWritten = 0;
    u64 blocksRead = 0;
    u64 bytesWritten = 0;
    u64 bytesRead = 0;
  };
  const Traffic& GetTraffic() const { return traffic_; }
  void CountDropped() { ++traffic_.blocksDropped; }

 private:
  int Enlarge(unsigned int size);
  bool TakePlace(KXSwapBlock* block);

  KXFile file_;
  unsigned int sectorSize_ = 0;
  std::unique_ptr<KXGarbage> garbage_;
  kxw::BlockList<KXSwapListItem> list_;
  u64 swapSize_ = 0;
  u64 usedTotalSize_ = 0;
  unsigned int enlargeUnit_ = 0;
  Traffic traffic_;
};
