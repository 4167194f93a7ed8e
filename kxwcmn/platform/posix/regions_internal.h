#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <unordered_map>

#include "kxwcmn/platform/types.h"

namespace kxw {

/// Blocks of 128 KiB and more, in memory that the host serves with huge pages.
///
/// Memory comes from the host in regions of 32 MiB, each cut into slots of one size; a block that
/// is too large for a slot has a region of its own. A region's start is a multiple of 32 MiB, so an
/// address leads to its region by one look-up. A region knows how far it was ever handed out: what
/// lies behind is still zero from the host and is never cleared a second time. A region without
/// blocks goes back to the host, but for one that is kept to be cut anew, for any slot size.
///
/// All operations are safe on any thread and take constant time apart from clearing and the host's
/// own work.
class Regions {
 public:
  /// The smallest block served.
  static constexpr std::size_t kSmallest = std::size_t{128} << 10;

  Regions();
  /// Gives all regions back, with the blocks in them.
  ~Regions();
  Regions(const Regions&) = delete;
  Regions& operator=(const Regions&) = delete;

  /// A block of `size` bytes, at least `kSmallest`, aligned to 4096; null if the host has no
  /// memory.
  void* Allocate(std::size_t size, bool zeroed);

  /// Gives the block at `address` back. False if no region holds a block there.
  bool Free(void* address);

  /// The size that was asked for; 0 if no region holds a block there.
  std::size_t SizeOf(const void* address);

  /// Gives a block a new size in its place, if that suits the place. What is behind the old size is
  /// left as it comes.
  bool ResizeInPlace(void* address, std::size_t size);

  /// Bytes that the host has lent at present.
  std::size_t MappedBytes();

  /// Bytes of memory in the regions that are in no block: of freed blocks, and what huge pages hold
  /// behind the last one.
  std::size_t IdleBytes() const { return idle_.load(std::memory_order_relaxed); }

  /// Gives idle memory back to the host, that of one region after the other, until not more than
  /// `keep` bytes are left. A region that has given some gets small pages, so that the host does
  /// not fill the holes again, until all of it goes back.
  void Trim(std::size_t keep);

  /// Lets the region of an address have small pages from now on.
  void UseSmallPages(const void* address);

  /// The one of the process. It outlives every static object, for those may still free blocks.
  static Regions& Get();

 private:
  struct Region;

  static constexpr std::size_t kRegionSize = std::size_t{32} << 20;
  static constexpr std::size_t kLargestSlot = std::size_t{4} << 20;
  static constexpr std::size_t kMostSlots = kRegionSize / kSmallest;
  static constexpr int kClasses = 21;  // four to a doubling, from kSmallest to kLargestSlot

  static const int kForks;

  static int ClassOf(std::size_t size);
  static std::size_t SizeOfClass(int sizeClass);

  Region* Map(std::size_t size);
  std::unique_ptr<Region> Release(Region* region);
  Region* RegionWithRoom(int sizeClass);
  Region* Find(const void* address, std::size_t* slot);
  void Link(Region* region);
  void Unlink(Region* region);

  std::mutex mutex_;
  std::unordered_map<std::uintptr_t, std::unique_ptr<Region>> regions_;  // by start / kRegionSize
  Region* withRoom_[kClasses] = {};  // of each class, those in use with a free slot
  Region* reserve_ = nullptr;
  std::size_t mapped_ = 0;
  std::atomic<std::size_t> idle_ = 0;
};

}  // namespace kxw
