#pragma once

#include <map>
#include <memory>

#include "kxwcmn/core/file.h"
#include "kxwcmn/core/filepath.h"
#include "kxwcmn/core/handle.h"
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
///
/// A forked child neither writes to the file of the process that made it, nor cuts or removes it.
/// Its blocks have the places of the moment of the fork: what it writes goes, at the same places,
/// to a file of its own that the first write makes beside the other, and what it has not written is
/// read from the other. What it has on memory counts as changed, unless it is of one colour, for
/// the other file may be written over. A block that lies there alone and whose place the parent has
/// written to meanwhile cannot be read any more; that fails and is never taken for the block's
/// contents. The parent's end costs the child nothing: the file has no name then, and its bytes
/// stay until the child ends, too.
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

  /// Removes the file alone: from then on no block is written or read. A forked child that has
  /// written nothing has no file to remove.
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
  /// fits. Returns 0 if the disk is full or the write failed, and for a size that Allocate does not
  /// give. After a failed write the contents of its place are undefined. A block that repeats its
  /// first 24 bytes from end to end, as one colour does, takes its place as all do, but only these
  /// bytes are kept, in memory; one that does so along most of it fills a part of its place. Paint
  /// is like that, and costs little traffic then.
  int Write(void* const data, KXSwapBlock* block);

  /// Reads the bytes of `block`. Returns 0 if it has no place, with the code as last error if not
  /// all of its bytes could be read (a short read is a failure, for what is missing would be
  /// painted over with chance), and with 23 if they are not those last written: a host may lose
  /// what it took into its cache when the disk refuses it later. `data` is undefined then.
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
    u64 blocksFlat = 0;     // of which only the repeated bytes were kept
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
  KXFile& MakeFile(const KXFilePath& path, u64 size);
  KXFile* FindFile(unsigned generation);
  KXFile& OwnFile();
  bool HasWholeSectors(const KXSwapBlock& block) const;
  BYTE* RoomForPacked();
  DWORD PackedLength(DWORD packed) const;

  // By the fork generation of the process that made it: those of the processes that this one was
  // forked from, and its own if there is one.
  std::map<unsigned, std::unique_ptr<KXFile>> files_;
  unsigned forksBefore_ = 0;  // that had begun when the file was made
  DWORD flags_ = 0;           // with which files are made
  unsigned int sectorSize_ = 0;
  std::unique_ptr<KXGarbage> garbage_;
  kxw::BlockList<KXSwapListItem> list_;
  u64 swapSize_ = 0;
  u64 usedTotalSize_ = 0;
  unsigned int enlargeUnit_ = 0;
  Traffic traffic_;
  KXPointer packing_;  // room for the packed form of a block, from the first one on
};
