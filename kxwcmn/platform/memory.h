#pragma once

#include <cstddef>

#include "kxwcmn/platform/export.h"
#include "kxwcmn/platform/types.h"

/// A relocatable block in the interface; in fact the stable address of its first byte.
struct QMHANDLE__;

namespace kxw {
/// Flags of `qmAlloc` and `qmAllocPtr`, and of their growing twins.
enum AllocFlags : DWORD {
  kAllocZeroed = 0,
  /// The caller overwrites every byte: the block's contents are left as they come, so that nothing
  /// is cleared twice.
  kAllocUninitialized = 1,
};

/// Bytes that the process holds of freed blocks of 4096 bytes and more, to serve the next ones.
u64 IdleMemory();

/// Gives idle memory back to the host until not more than about `keep` bytes of it are left.
void TrimIdleMemory(u64 keep);

/// Gives the memory behind a part of a block back to the host, as far as it is whole pages. The
/// part stays usable, with undefined contents and new memory from its next use on.
void DiscardContents(void* at, std::size_t size);
}  // namespace kxw

/// Allocates `size` bytes, zeroed unless `flags` say otherwise. Blocks of 4096 bytes or more are
/// aligned to 4096, so that unbuffered files can use them directly. Blocks of 1 MiB come from
/// regions that huge pages serve. Returns null on failure, with the code in `*error` (if not null)
/// and as last error; a size of 0 gives a valid block of its own.
KX_EXPORT QMHANDLE__* qmAlloc(DWORD size, DWORD flags, int* error);

/// Resizes a block; growth is zeroed. On failure returns null and the old block stays valid.
KX_EXPORT QMHANDLE__* qmReAlloc(QMHANDLE__* handle, DWORD size, DWORD flags, int* error);

/// Gives a block back, locked or not. Null does nothing.
KX_EXPORT void qmFree(QMHANDLE__* handle);

/// The block's address, stable until the block is freed or resized. Locks nest and need not pair.
KX_EXPORT void* qmLock(QMHANDLE__* handle);
KX_EXPORT void qmUnlock(QMHANDLE__* handle);

/// The size asked for, in bytes; 0 for null.
KX_EXPORT DWORD qmGetHandleSize(QMHANDLE__* handle);

/// The same for plain pointers.
KX_EXPORT void* qmAllocPtr(DWORD size, DWORD flags, int* error);
KX_EXPORT void* qmReAllocPtr(void* block, DWORD size, DWORD flags, int* error);
KX_EXPORT void qmFreePtr(void* block);
KX_EXPORT DWORD qmGetPtrSize(void* block);
