#pragma once

#include <memory>
#include <string>

#include "kxwcmn/platform/memory.h"
#include "kxwcmn/platform/types.h"

class KXArchive;

namespace kxw {

struct FreePtr {
  void operator()(void* block) const { qmFreePtr(block); }
};

/// A block of `qmAllocPtr`.
using PtrBlock = std::unique_ptr<BYTE, FreePtr>;

/// Raises the platform's code if there is no memory.
PtrBlock AllocateBlock(DWORD size, DWORD flags = kAllocZeroed);

/// Resizes `block`, which may be null; what is added is zero unless `flags` say otherwise. Raises
/// the platform's code with the block as it was.
void ResizeBlock(PtrBlock& block, DWORD size, DWORD flags = kAllocZeroed);

/// Reads up to `size` bytes and returns how many came: fewer only from an archive without a cache.
UINT ReadSome(KXArchive& archive, void* data, UINT size);

/// Reads `size` bytes; raises 0x2001000B if fewer came.
void ReadAll(KXArchive& archive, void* data, UINT size);

/// The same as `ReadSome`, into `block` of `capacity` bytes. A smaller block is replaced by one of
/// `size` bytes, which grows with what really comes: a false size takes no memory. Whatever is
/// raised, `block` and `capacity` stay valid.
UINT ReadGrowing(KXArchive& archive, UINT size, PtrBlock& block, DWORD& capacity);

/// A text in its stored form, without the count: CR LF becomes CR.
std::string StoredText(const char* text);

}  // namespace kxw
