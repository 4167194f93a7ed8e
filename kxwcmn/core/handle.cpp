#include "kxwcmn/core/handle.h"

#include <cstring>

#include "kxwcmn/core/exception.h"
#include "kxwcmn/platform/error.h"

namespace {

/// Copies from the front, four bytes at a time and then the last ones, so that the result is the
/// same on every host when the ranges overlap.
void CopyFromFront(BYTE* dest, const BYTE* source, DWORD size) {
  const auto destAddress = reinterpret_cast<std::uintptr_t>(dest);
  const auto sourceAddress = reinterpret_cast<std::uintptr_t>(source);
  if (destAddress - sourceAddress >= size && sourceAddress - destAddress >= size) {
    std::memcpy(dest, source, size);
    return;
  }
  DWORD at = 0;
  for (; size - at >= 4; at += 4) std::memmove(dest + at, source + at, 4);
  for (; at < size; ++at) dest[at] = source[at];
}

void CopyChecked(void* dest, const void* source, DWORD size, DWORD destOffset, DWORD sourceOffset) {
  if (!dest || !source) kxThrowError(kxw::kFailureBadArgument);
  CopyFromFront(static_cast<BYTE*>(dest) + destOffset,
                static_cast<const BYTE*>(source) + sourceOffset, size);
}

void MoveChecked(void* block, DWORD size, DWORD destOffset, DWORD sourceOffset) {
  if (!block) kxThrowError(kxw::kFailureBadArgument);
  BYTE* bytes = static_cast<BYTE*>(block);
  std::memmove(bytes + destOffset, bytes + sourceOffset, size);
}

/// A lock for the length of a scope.
struct ScopedLock {
  explicit ScopedLock(const KXHandle& locked) : handle(locked) { handle.Lock(); }
  ~ScopedLock() { handle.Unlock(); }
  const KXHandle& handle;
};

}  // namespace

KXHandle::KXHandle(const KXHandle& other) : KXHandle() { *this = other; }

KXHandle::~KXHandle() { Cleanup(); }

KXHandle& KXHandle::operator=(const KXHandle& other) {
  if (this == &other) return *this;
  if (!other.handle_) {
    Free();
    return *this;
  }
  Alloc(other.size_, kxw::kAllocUninitialized, 1);
  Copy(other, 0, 0, 0);
  return *this;
}

void KXHandle::Attach(QMHANDLE__* handle, DWORD size, int purge) {
  if (handle != handle_) Cleanup();
  handle_ = handle;
  size_ = size;
  purge_ = purge;
}

QMHANDLE__* KXHandle::Detach() {
  QMHANDLE__* handle = handle_;
  if (handle && !relock_) qmUnlock(handle);
  Initialize();
  return handle;
}

void KXHandle::Alloc(DWORD size, DWORD flags, int purge) {
  Cleanup();
  int error = 0;
  QMHANDLE__* handle = qmAlloc(size, flags, &error);
  if (!handle) kxThrowError(qmGetLastError());
  handle_ = handle;
  size_ = size;
  purge_ = purge;
}

void KXHandle::ReAlloc(DWORD size, DWORD flags) {
  if (!handle_) {
    Alloc(size, flags, 1);
    return;
  }
  int error = 0;
  QMHANDLE__* handle = qmReAlloc(handle_, size, flags, &error);
  if (!handle) kxThrowError(qmGetLastError());
  handle_ = handle;
  size_ = size;
  lockCount_ = 0;
}

void KXHandle::Copy(const KXHandle& source, DWORD size, DWORD destOffset, DWORD sourceOffset) {
  Copy(static_cast<const void*>(source.handle_), size ? size : source.size_, destOffset,
       sourceOffset);
}

void KXHandle::Copy(const KXPointer& source, DWORD size, DWORD destOffset, DWORD sourceOffset) {
  Copy(static_cast<const void*>(source), size ? size : source.GetMemSize(), destOffset,
       sourceOffset);
}

void KXHandle::Copy(QMHANDLE__* const source, DWORD size, DWORD destOffset, DWORD sourceOffset) {
  if (!source || source == handle_) kxThrowError(kxw::kFailureBadArgument);
  const KXHandle taken(source, qmGetHandleSize(source), 1);
  Copy(taken, size, destOffset, sourceOffset);
}

void KXHandle::Copy(const void* source, DWORD size, DWORD destOffset, DWORD sourceOffset) {
  CopyChecked(handle_, source, size, destOffset, sourceOffset);
}

void KXHandle::BlockMove(DWORD size, DWORD destOffset, DWORD sourceOffset) {
  MoveChecked(handle_, size, destOffset, sourceOffset);
}

void KXHandle::LeaveLock() const {
  if (relock_) {
    qmLock(handle_);
  } else {
    qmUnlock(handle_);
  }
}

void KXHandle::Cleanup() {
  if (handle_ && purge_) {
    qmFree(handle_);
  } else if (handle_) {
    LeaveLock();
  }
  Initialize();
}

void KXHandle::Initialize() {
  handle_ = nullptr;
  size_ = 0;
  purge_ = 1;
  lockCount_ = 0;
  relock_ = 0;
}

void* KXHandle::Lock() const {
  if (!handle_) kxThrowError(kxw::kFailureBadArgument);
  ++lockCount_;
  relock_ = 0;
  return qmLock(handle_);
}

void KXHandle::Unlock() const {
  if (!handle_) kxThrowError(kxw::kFailureBadArgument);
  if (lockCount_-- == 1) LeaveLock();
}

KXPointer::KXPointer(const KXPointer& other) : KXPointer() { *this = other; }

KXPointer::~KXPointer() { Cleanup(); }

KXPointer& KXPointer::operator=(const KXPointer& other) {
  if (this == &other) return *this;
  if (!other.block_) {
    Free();
    return *this;
  }
  Alloc(other.size_, kxw::kAllocUninitialized, 1);
  Copy(other, 0, 0, 0);
  return *this;
}

void KXPointer::Attach(void* block, DWORD size, int purge) {
  if (block != block_) Cleanup();
  block_ = block;
  size_ = block && size == 0 ? qmGetPtrSize(block) : size;
  purge_ = purge;
}

void* KXPointer::Detach() {
  void* block = block_;
  Initialize();
  return block;
}

void KXPointer::Alloc(DWORD size, DWORD flags, int purge) {
  Cleanup();
  int error = 0;
  void* block = qmAllocPtr(size, flags, &error);
  if (!block) kxThrowError(qmGetLastError());
  block_ = block;
  size_ = size;
  purge_ = purge;
}

void KXPointer::ReAlloc(DWORD size, DWORD flags) {
  if (!block_) {
    Alloc(size, flags, 1);
    return;
  }
  int error = 0;
  void* block = qmReAllocPtr(block_, size, flags, &error);
  if (!block) kxThrowError(qmGetLastError());
  block_ = block;
  size_ = size;
}

void KXPointer::Copy(const KXHandle& source, DWORD size, DWORD destOffset, DWORD sourceOffset) {
  const ScopedLock lock(source);
  Copy(static_cast<const void*>(source), size ? size : source.GetMemSize(), destOffset,
       sourceOffset);
}

void KXPointer::Copy(const KXPointer& source, DWORD size, DWORD destOffset, DWORD sourceOffset) {
  Copy(static_cast<const void*>(source.block_), size ? size : source.size_, destOffset,
       sourceOffset);
}

void KXPointer::Copy(QMHANDLE__* const source, DWORD size, DWORD destOffset, DWORD sourceOffset) {
  if (!source || source == block_) kxThrowError(kxw::kFailureBadArgument);
  const KXHandle taken(source, qmGetHandleSize(source), 1);
  Copy(taken, size, destOffset, sourceOffset);
}

void KXPointer::Copy(const void* source, DWORD size, DWORD destOffset, DWORD sourceOffset) {
  CopyChecked(block_, source, size, destOffset, sourceOffset);
}

void KXPointer::BlockMove(DWORD size, DWORD destOffset, DWORD sourceOffset) {
  MoveChecked(block_, size, destOffset, sourceOffset);
}

void KXPointer::Cleanup() {
  if (purge_) qmFreePtr(block_);
  Initialize();
}

void KXPointer::Initialize() {
  block_ = nullptr;
  size_ = 0;
  purge_ = 1;
}

KXAutoHandle::~KXAutoHandle() = default;

void* KXAutoHandle::operator=(QMHANDLE__* handle) {
  if (handle && handle == handle_) return pointer_;
  Cleanup();
  handle_ = handle;
  if (handle_) pointer_ = qmLock(handle_);
  return pointer_;
}

void KXAutoHandle::Cleanup() {
  if (!pointer_) return;
  qmUnlock(handle_);
  pointer_ = nullptr;
  qmFree(handle_);
  handle_ = nullptr;
}

KXAutoPointer::~KXAutoPointer() { Cleanup(); }

void* KXAutoPointer::operator=(void* block) {
  if (block != block_) Cleanup();
  block_ = block;
  return block_;
}

void KXAutoPointer::Cleanup() {
  qmFreePtr(block_);
  block_ = nullptr;
}
