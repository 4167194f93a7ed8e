#include "kxwcmn/platform/memory.h"

#include <sys/mman.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>

#ifdef __GLIBC__
#include <malloc.h>
#endif

#include "kxwcmn/platform/detail/faults.h"
#include "kxwcmn/platform/error.h"
#include "kxwcmn/platform/posix/regions_internal.h"

// Three kinds of block, told apart by their address:
//
// - below 4096 bytes: on the heap, behind a Head; never at a multiple of 4096;
// - 4096 bytes and more: on the heap at a multiple of 4096, with a Head at the end of the page in
//   front of it;
// - 128 KiB and more: in a region, without a Head, unless there is no room for one.

namespace {

constexpr std::size_t kPage = 4096;

// The address checker watches blocks of the heap only, so under it all blocks lie there.
#if defined(__SANITIZE_ADDRESS__)
constexpr bool kUseRegions = false;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
constexpr bool kUseRegions = false;
#else
constexpr bool kUseRegions = true;
#endif
#else
constexpr bool kUseRegions = true;
#endif

struct alignas(16) Head {
  DWORD size;   // as asked for
  DWORD front;  // bytes from the start of the heap's block to the first byte of ours
};

// Of freed pages the heap does not tell what it still holds: at most this many bytes.
std::atomic<i64> idleOnHeap = 0;

void AddIdleOnHeap(i64 bytes) {
  i64 old = idleOnHeap.load(std::memory_order_relaxed);
  while (!idleOnHeap.compare_exchange_weak(old, std::max<i64>(old + bytes, 0),
                                           std::memory_order_relaxed)) {
  }
}

Head* HeadOf(void* block) { return static_cast<Head*>(block) - 1; }

bool IsPageAligned(const void* block) {
  return reinterpret_cast<std::uintptr_t>(block) % kPage == 0;
}

void* PutHead(void* raw, std::size_t front, DWORD size) {
  BYTE* block = static_cast<BYTE*>(raw) + front;
  *HeadOf(block) = {size, static_cast<DWORD>(front)};
  return block;
}

void* AllocateOnHeap(std::size_t size, bool zeroed) {
  return zeroed ? std::calloc(1, size) : std::malloc(size);
}

void* AllocateSmall(DWORD size, bool zeroed) {
  void* raw = AllocateOnHeap(sizeof(Head) + size, zeroed);
  if (!raw) return nullptr;
  std::size_t front = sizeof(Head);
  if (IsPageAligned(static_cast<BYTE*>(raw) + front)) {
    // Once in 256 times: a longer block, in which ours can step aside.
    std::free(raw);
    raw = AllocateOnHeap(2 * sizeof(Head) + size, zeroed);
    if (!raw) return nullptr;
    if (IsPageAligned(static_cast<BYTE*>(raw) + front)) front = 2 * sizeof(Head);
  }
  return PutHead(raw, front, size);
}

void* AllocatePages(DWORD size, bool zeroed) {
  void* raw = nullptr;
  if (posix_memalign(&raw, kPage, kPage + size) != 0) return nullptr;
  AddIdleOnHeap(-static_cast<i64>(size));
  void* block = PutHead(raw, kPage, size);
  if (zeroed) std::memset(block, 0, size);
  return block;
}

void* Allocate(DWORD size, DWORD flags) {
  const bool zeroed = !(flags & kxw::kAllocUninitialized);
  if (size < kPage) return AllocateSmall(size, zeroed);
  if (kUseRegions && size >= kxw::Regions::kSmallest) {
    // Where the host has no room for another region, the heap may still have some for a block.
    if (void* block = kxw::Regions::Get().Allocate(size, zeroed)) return block;
  }
  return AllocatePages(size, zeroed);
}

/// Hands `block` on, with the code of its absence in both places.
void* Finish(void* block, int* error) {
  if (error) *error = block ? 0 : kxw::kErrorNotEnoughMemory;
  if (!block) qmSetLastError(kxw::kErrorNotEnoughMemory);
  return block;
}

bool InjectFault(int* error) {
  const int code = kxw::detail::FaultAt(kxw::detail::FaultPoint::kAlloc).code;
  if (code == 0) return false;
  if (error) *error = code;
  qmSetLastError(code);
  return true;
}

void ClearGrowth(void* block, DWORD oldSize, DWORD size, DWORD flags) {
  if (size <= oldSize || flags & kxw::kAllocUninitialized) return;
  std::memset(static_cast<BYTE*>(block) + oldSize, 0, size - oldSize);
}

}  // namespace

u64 kxw::IdleMemory() {
  return Regions::Get().IdleBytes() + static_cast<u64>(idleOnHeap.load(std::memory_order_relaxed));
}

void kxw::TrimIdleMemory(u64 keep) {
  const auto onHeap = static_cast<u64>(idleOnHeap.load(std::memory_order_relaxed));
  Regions::Get().Trim(keep - std::min(keep, onHeap));
  if (IdleMemory() <= keep) return;
#ifdef __GLIBC__
  malloc_trim(0);
#endif
  idleOnHeap = 0;
}

void kxw::DiscardContents(void* at, std::size_t size) {
  const auto begin = reinterpret_cast<std::uintptr_t>(at);
  const std::size_t front = (kPage - begin % kPage) % kPage;
  if (size < front + kPage) return;
  BYTE* first = static_cast<BYTE*>(at) + front;
  size = (size - front) / kPage * kPage;
  if (kUseRegions) Regions::Get().UseSmallPages(first);
  madvise(first, size, MADV_DONTNEED);
}

void* qmAllocPtr(DWORD size, DWORD flags, int* error) {
  if (InjectFault(error)) return nullptr;
  return Finish(Allocate(size, flags), error);
}

void* qmReAllocPtr(void* block, DWORD size, DWORD flags, int* error) {
  if (!block) return qmAllocPtr(size, flags, error);
  if (InjectFault(error)) return nullptr;
  const DWORD oldSize = qmGetPtrSize(block);
  if (kUseRegions && IsPageAligned(block) && kxw::Regions::Get().ResizeInPlace(block, size)) {
    ClearGrowth(block, oldSize, size, flags);
    return Finish(block, error);
  }
  void* moved = Finish(Allocate(size, kxw::kAllocUninitialized), error);
  if (!moved) return nullptr;
  std::memcpy(moved, block, std::min(size, oldSize));
  ClearGrowth(moved, oldSize, size, flags);
  qmFreePtr(block);
  return moved;
}

void qmFreePtr(void* block) {
  if (!block) return;
  if (kUseRegions && IsPageAligned(block) && kxw::Regions::Get().Free(block)) return;
  if (IsPageAligned(block)) AddIdleOnHeap(HeadOf(block)->size);
  std::free(static_cast<BYTE*>(block) - HeadOf(block)->front);
}

DWORD qmGetPtrSize(void* block) {
  if (!block) return 0;
  if (kUseRegions && IsPageAligned(block)) {
    if (const std::size_t size = kxw::Regions::Get().SizeOf(block)) return static_cast<DWORD>(size);
  }
  return HeadOf(block)->size;
}

QMHANDLE__* qmAlloc(DWORD size, DWORD flags, int* error) {
  return static_cast<QMHANDLE__*>(qmAllocPtr(size, flags, error));
}

QMHANDLE__* qmReAlloc(QMHANDLE__* handle, DWORD size, DWORD flags, int* error) {
  return static_cast<QMHANDLE__*>(qmReAllocPtr(handle, size, flags, error));
}

void qmFree(QMHANDLE__* handle) { qmFreePtr(handle); }

void* qmLock(QMHANDLE__* handle) { return handle; }

void qmUnlock(QMHANDLE__* /*handle*/) {}

DWORD qmGetHandleSize(QMHANDLE__* handle) { return qmGetPtrSize(handle); }
