#include "kxwcmn/platform/posix/regions_internal.h"

#include <pthread.h>
#include <sys/mman.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <new>
#include <utility>

namespace kxw {

namespace {

constexpr std::size_t kHugePage = std::size_t{2} << 20;
constexpr int kOwnRegion = -1;  // the class of a region with one block that no slot can hold

/// Maps `size` bytes at a multiple of `alignment`; null if the host refuses.
BYTE* MapAligned(std::size_t size, std::size_t alignment) {
  const std::size_t span = size + alignment;
  void* raw = mmap(nullptr, span, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (raw == MAP_FAILED) return nullptr;
  auto* start = static_cast<BYTE*>(raw);
  const auto behind = reinterpret_cast<std::uintptr_t>(start) % alignment;
  const std::size_t front = behind ? alignment - behind : 0;
  if (front > 0) munmap(start, front);
  if (span > front + size) munmap(start + front + size, span - front - size);
#ifdef MADV_HUGEPAGE
  madvise(start + front, size, MADV_HUGEPAGE);  // a wish: without it pages are small
#endif
  return start + front;
}

}  // namespace

struct Regions::Region {
  BYTE* start = nullptr;
  std::size_t mapped = 0;  // bytes
  int sizeClass = kOwnRegion;
  std::size_t slotSize = 0;
  DWORD slots = 0;
  DWORD cut = 0;            // slots handed out at least once since the region was cut
  DWORD used = 0;           // slots in use
  std::size_t dirty = 0;    // bytes handed out since the region came from the host
  std::size_t touched = 0;  // bytes from the start that may have memory, but for slots given back
  bool smallPages = false;
  DWORD given = 0;  // the lowest entries of `freeSlots`, whose memory was given back
  Region* previous = nullptr;
  Region* next = nullptr;
  DWORD freeCount = 0;
  WORD freeSlots[kMostSlots];
  DWORD sizes[kMostSlots];  // asked for; like `inUse` it is valid for cut slots only
  bool inUse[kMostSlots];

  /// Bytes with memory in no block.
  std::size_t Idle() const {
    return sizeClass == kOwnRegion ? 0 : touched - (used + given) * slotSize;
  }

  bool HasRoom() const { return freeCount > 0 || cut < slots; }

  void Cut(int newClass, std::size_t newSlotSize, std::size_t newSlots) {
    sizeClass = newClass;
    slotSize = newSlotSize;
    slots = static_cast<DWORD>(newSlots);
    cut = used = freeCount = given = 0;
  }

  /// Takes a slot, used ones first: their memory is at hand. `*isZero` tells whether it was never
  /// handed out, under any way of cutting the region.
  DWORD Take(std::size_t size, bool* isZero) {
    if (given > 0 && given == freeCount) --given;
    const DWORD slot = freeCount > 0 ? freeSlots[--freeCount] : cut++;
    const std::size_t begin = slot * slotSize;
    *isZero = begin >= dirty;
    const std::size_t end = begin + slotSize;
    if (end > dirty) dirty = end;
    const std::size_t page = smallPages ? 1 : kHugePage;
    touched = std::max(touched, std::min(mapped, (end + page - 1) / page * page));
    sizes[slot] = static_cast<DWORD>(size);
    inUse[slot] = true;
    ++used;
    return slot;
  }

  void Give(DWORD slot) {
    inUse[slot] = false;
    freeSlots[freeCount++] = static_cast<WORD>(slot);
    --used;
  }

  void UseSmallPages() {
#ifdef MADV_NOHUGEPAGE
    if (!smallPages) madvise(start, mapped, MADV_NOHUGEPAGE);
#endif
    smallPages = true;
  }

  /// Gives the memory of all slots that are not in use back.
  void GiveIdleBack() {
    UseSmallPages();
    for (DWORD slot = 0; slot < cut;) {
      const DWORD first = slot;
      while (slot < cut && !inUse[slot]) ++slot;
      if (slot > first) {
        madvise(start + first * slotSize, (slot - first) * slotSize, MADV_DONTNEED);
      } else {
        ++slot;
      }
    }
    const std::size_t end = cut * slotSize;
    if (touched > end) madvise(start + end, touched - end, MADV_DONTNEED);
    touched = end;
    given = freeCount;
  }
};

Regions::Regions() = default;

Regions::~Regions() {
  for (const auto& [key, region] : regions_) munmap(region->start, region->mapped);
}

Regions& Regions::Get() {
  static Regions& regions = *new Regions;
  return regions;
}

// A thread of the parent that was at work at the moment of a fork does not go on in the child: the
// lock that it held would never end there. So forks wait for it.
const int Regions::kForks = pthread_atfork(
    [] { Get().mutex_.lock(); }, [] { Get().mutex_.unlock(); }, [] { Get().mutex_.unlock(); });

// Four sizes to a doubling: the two bits behind the leading one of size - 1 tell the quarter.
int Regions::ClassOf(std::size_t size) {
  if (size <= kSmallest) return 0;
  const auto width = [](std::size_t value) { return static_cast<int>(std::bit_width(value)); };
  const std::size_t top = size - 1;
  const auto quarter = static_cast<int>((top >> (width(top) - 3)) & 3);
  return (width(top) - width(kSmallest)) * 4 + quarter + 1;
}

std::size_t Regions::SizeOfClass(int sizeClass) {
  const std::size_t base = kSmallest << (sizeClass / 4);
  return base + base / 4 * static_cast<std::size_t>(sizeClass % 4);
}

Regions::Region* Regions::Map(std::size_t size) {
  BYTE* start = MapAligned(size, kRegionSize);
  if (!start) return nullptr;
  try {
    auto region = std::make_unique<Region>();
    region->start = start;
    region->mapped = size;
    const auto key = reinterpret_cast<std::uintptr_t>(start) / kRegionSize;
    Region* result = region.get();
    regions_.emplace(key, std::move(region));
    mapped_ += size;
    return result;
  } catch (const std::bad_alloc&) {
    munmap(start, size);
    return nullptr;
  }
}

/// Takes a region without blocks out of service. Returns it if it is to go back to the host.
std::unique_ptr<Regions::Region> Regions::Release(Region* region) {
  if (region->sizeClass != kOwnRegion && !region->smallPages && !reserve_) {
    reserve_ = region;
    return nullptr;
  }
  mapped_ -= region->mapped;
  idle_ -= region->Idle();
  auto node = regions_.extract(reinterpret_cast<std::uintptr_t>(region->start) / kRegionSize);
  return std::move(node.mapped());
}

void Regions::Link(Region* region) {
  Region*& head = withRoom_[region->sizeClass];
  region->previous = nullptr;
  region->next = head;
  if (head) head->previous = region;
  head = region;
}

void Regions::Unlink(Region* region) {
  (region->previous ? region->previous->next : withRoom_[region->sizeClass]) = region->next;
  if (region->next) region->next->previous = region->previous;
}

/// A region of the class with a free slot, linked; null if the host has no memory.
Regions::Region* Regions::RegionWithRoom(int sizeClass) {
  if (withRoom_[sizeClass]) return withRoom_[sizeClass];
  Region* region = reserve_ ? reserve_ : Map(kRegionSize);
  if (!region) return nullptr;
  reserve_ = nullptr;
  const std::size_t slotSize = SizeOfClass(sizeClass);
  region->Cut(sizeClass, slotSize, kRegionSize / slotSize);  // all idle before and behind
  Link(region);
  return region;
}

void* Regions::Allocate(std::size_t size, bool zeroed) {
  bool isZero = false;
  BYTE* block;
  {
    const std::lock_guard guard(mutex_);
    Region* region;
    if (size > kLargestSlot) {
      region = Map((size + kHugePage - 1) / kHugePage * kHugePage);
      if (region) region->Cut(kOwnRegion, region->mapped, 1);
    } else {
      region = RegionWithRoom(ClassOf(size));
    }
    if (!region) return nullptr;
    const std::size_t idle = region->Idle();
    const DWORD slot = region->Take(size, &isZero);
    idle_ += region->Idle() - idle;  // wraps where it falls
    if (region->sizeClass != kOwnRegion && !region->HasRoom()) Unlink(region);
    block = region->start + slot * region->slotSize;
  }
  if (zeroed && !isZero) std::memset(block, 0, size);
  return block;
}

Regions::Region* Regions::Find(const void* address, std::size_t* slot) {
  const auto at = reinterpret_cast<std::uintptr_t>(address);
  const auto found = regions_.find(at / kRegionSize);
  if (found == regions_.end()) return nullptr;
  Region* region = found->second.get();
  // Behind a region of a single block other memory of the process may share the look-up's key.
  const std::size_t offset = at - reinterpret_cast<std::uintptr_t>(region->start);
  if (offset >= region->mapped || offset % region->slotSize != 0) return nullptr;
  *slot = offset / region->slotSize;
  return *slot < region->cut && region->inUse[*slot] ? region : nullptr;
}

bool Regions::Free(void* address) {
  std::unique_ptr<Region> gone;
  {
    const std::lock_guard guard(mutex_);
    std::size_t slot;
    Region* region = Find(address, &slot);
    if (!region) return false;
    const bool wasFull = !region->HasRoom();
    idle_ -= region->Idle();
    region->Give(static_cast<DWORD>(slot));
    idle_ += region->Idle();
    if (region->used == 0) {
      if (!wasFull) Unlink(region);
      gone = Release(region);
    } else if (wasFull) {
      Link(region);
    }
  }
  // Outside the lock, for the host takes its time over a large one.
  if (gone) munmap(gone->start, gone->mapped);
  return true;
}

std::size_t Regions::SizeOf(const void* address) {
  const std::lock_guard guard(mutex_);
  std::size_t slot;
  const Region* region = Find(address, &slot);
  return region ? region->sizes[slot] : 0;
}

bool Regions::ResizeInPlace(void* address, std::size_t size) {
  const std::lock_guard guard(mutex_);
  std::size_t slot;
  Region* region = Find(address, &slot);
  // A block that shrinks below half its place moves, so that the place is not wasted on it.
  if (!region || size > region->slotSize || size < region->slotSize / 2) return false;
  region->sizes[slot] = static_cast<DWORD>(size);
  return true;
}

void Regions::Trim(std::size_t keep) {
  const std::lock_guard guard(mutex_);
  if (idle_ > keep && reserve_) {
    Region* region = std::exchange(reserve_, nullptr);
    idle_ -= region->Idle();
    mapped_ -= region->mapped;
    munmap(region->start, region->mapped);
    regions_.erase(reinterpret_cast<std::uintptr_t>(region->start) / kRegionSize);
  }
  while (idle_ > keep) {
    // The one with the most of it: the fewest regions lose their huge pages.
    const auto most = std::max_element(regions_.begin(), regions_.end(), [](auto& a, auto& b) {
      return a.second->Idle() < b.second->Idle();
    });
    if (most == regions_.end() || most->second->Idle() == 0) return;
    idle_ -= most->second->Idle();
    most->second->GiveIdleBack();
  }
}

void Regions::UseSmallPages(const void* address) {
  const std::lock_guard guard(mutex_);
  const auto found = regions_.find(reinterpret_cast<std::uintptr_t>(address) / kRegionSize);
  if (found != regions_.end()) found->second->UseSmallPages();
}

std::size_t Regions::MappedBytes() {
  const std::lock_guard guard(mutex_);
  return mapped_;
}

}  // namespace kxw
