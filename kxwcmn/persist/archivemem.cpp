#include "kxwcmn/persist/archivemem.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "kxwcmn/core/exception.h"
#include "kxwcmn/platform/error.h"

namespace {

constexpr UINT kGrowth = 0x10000;
constexpr UINT kLargeGrowth = 1024;  // beside the bytes of a write of kGrowth or more

}  // namespace

KXArchiveMem::KXArchiveMem() : KXArchiveMem(kxw::kArchiveLoad | kxw::kArchiveBigEndian, 512000) {}

KXArchiveMem::KXArchiveMem(UINT mode, UINT size) {
  cacheEnabled_ = 0;
  Init(mode, size);
}

KXArchiveMem::~KXArchiveMem() = default;

void KXArchiveMem::SetMode(int mode) {
  mode_ = static_cast<UINT>(mode);
  SeekSelf(0, 0);
}

void* KXArchiveMem::Lock() { return memory_.Lock(); }

void KXArchiveMem::Unlock() { memory_.Unlock(); }

QMHANDLE__* KXArchiveMem::Dettach() {
  length_ = 0;
  dataLength_ = 0;
  capacity_ = 0;
  return memory_.Detach();
}

void KXArchiveMem::Attach(QMHANDLE__* handle, UINT size) {
  const bool isHeld = handle && handle == static_cast<void*>(memory_);
  if (isHeld || size > qmGetHandleSize(handle)) kxThrowError(kxw::kFailureBadArgument);
  Cleanup();
  memory_.Attach(handle, size, 1);
  length_ = size;
  dataLength_ = size;
  capacity_ = size;
}

void KXArchiveMem::MemFree() { Cleanup(); }

void KXArchiveMem::Initialize() {
  KXArchive::Initialize();
  cacheEnabled_ = 0;
  memoryPosition_ = 0;
  dataLength_ = 0;
  capacity_ = 0;
}

void KXArchiveMem::Cleanup() {
  memory_.Free();
  KXArchive::Cleanup();
  Initialize();
}

void KXArchiveMem::Grow(u64 capacity) {
  if (capacity > std::numeric_limits<UINT>::max()) kxThrowError(kxw::kErrorNotEnoughMemory);
  memory_.ReAlloc(static_cast<UINT>(capacity), 0);
  capacity_ = static_cast<UINT>(capacity);
}

void KXArchiveMem::Expand(UINT size) {
  const u64 end = u64{memoryPosition_} + size;
  if (end <= capacity_) return;
  // A seek may have left the position far behind the block.
  const u64 more = size >= kGrowth ? u64{size} + kLargeGrowth : kGrowth;
  Grow(std::max(capacity_ + more, end));
}

UINT KXArchiveMem::WriteSelf(const void* data, UINT size) {
  if (size == 0) return 0;
  Expand(size);
  std::memcpy(static_cast<BYTE*>(memory_) + memoryPosition_, data, size);
  memoryPosition_ += size;
  dataLength_ = std::max(dataLength_, memoryPosition_);
  return size;
}

UINT KXArchiveMem::ReadSelf(void* data, UINT size) {
  if (memoryPosition_ >= dataLength_) return 0;
  const UINT part = std::min(size, dataLength_ - memoryPosition_);
  if (part == 0) return 0;
  std::memcpy(data, static_cast<const BYTE*>(memory_) + memoryPosition_, part);
  memoryPosition_ += part;
  return part;
}

UINT KXArchiveMem::SeekSelf(int offset, UINT origin) {
  UINT target = memoryPosition_;
  if (origin <= 1) target = (origin == 1 ? target : 0) + static_cast<UINT>(offset);
  // Once and by this much, also where it is not enough: the next write makes room for itself.
  if (target > capacity_) Grow(u64{capacity_} + kGrowth);
  return memoryPosition_ = target;
}
