#include <algorithm>

#include "kxwcmn/core/exception.h"
#include "kxwcmn/persist/archive.h"
#include "kxwcmn/persist/streams_internal.h"

namespace kxw {

namespace {

/// What a length is believed without having seen its bytes.
constexpr DWORD kTrustedSize = 0x100000;

}  // namespace

PtrBlock AllocateBlock(DWORD size, DWORD flags) {
  PtrBlock block;
  ResizeBlock(block, size, flags);
  return block;
}

void ResizeBlock(PtrBlock& block, DWORD size, DWORD flags) {
  int error = 0;
  void* resized = qmReAllocPtr(block.get(), size, flags, &error);
  if (!resized) kxThrowError(error);
  (void)block.release();
  block.reset(static_cast<BYTE*>(resized));
}

UINT ReadSome(KXArchive& archive, void* data, UINT size) {
  const UINT before = archive.GetPosition();
  archive.Read(data, size);
  return archive.GetPosition() - before;
}

void ReadAll(KXArchive& archive, void* data, UINT size) {
  if (ReadSome(archive, data, size) != size) kxThrowError(kFailureBadFormat);
}

UINT ReadGrowing(KXArchive& archive, UINT size, PtrBlock& block, DWORD& capacity) {
  if (size <= capacity) return ReadSome(archive, block.get(), size);
  block.reset();
  capacity = 0;
  UINT done = 0;
  for (UINT next = std::min(size, kTrustedSize);; next = size - done > done ? 2 * done : size) {
    ResizeBlock(block, next, kAllocUninitialized);
    capacity = next;
    const UINT part = ReadSome(archive, block.get() + done, next - done);
    done += part;
    if (done < next || done == size) return done;
  }
}

}  // namespace kxw
