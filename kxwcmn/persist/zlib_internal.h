#pragma once

#include "kxwcmn/persist/streams_internal.h"
#include "kxwcmn/platform/types.h"

class KXArchive;

namespace kxw {

/// Inflates the zlib stream at `source` and returns the bytes that it gave, at most `destSize`.
/// Raises 8 for a stream that is damaged, cut off, or gives more.
DWORD Inflate(const BYTE* source, DWORD sourceSize, BYTE* dest, DWORD destSize);

/// Reads the stored form of a buffer through `block` of `capacity` bytes, which is replaced if it
/// is too small, and inflates it as `Inflate` does. Raises 0x2001000B if the archive ends early.
DWORD InflateFrom(KXArchive& ar, BYTE* dest, DWORD destSize, PtrBlock& block, DWORD& capacity);

}  // namespace kxw
