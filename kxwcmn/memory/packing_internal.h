#pragma once

#include <cstddef>

#include "kxwcmn/platform/types.h"

// What a block becomes on its way to the swap file. Paint is flat for the most part: in words of
// 8 bytes, a word equals the third one in front of it wherever a colour of any depth goes on, for
// 24 bytes are whole pixels of every depth. Such stretches are counted, all other words copied.

namespace kxw {

/// Packs `size` bytes, a multiple of 8 below 16 GiB, and returns how many bytes the result has; 0
/// if it does not fit into `room` bytes, or does not look as if it would. What lies at `out` is
/// undefined then.
std::size_t Pack(const BYTE* data, std::size_t size, BYTE* out, std::size_t room);

/// Unpacks what `Pack` made of `size` bytes. Returns false if it is nothing of the kind.
bool Unpack(const BYTE* packed, std::size_t packedSize, BYTE* data, std::size_t size);

}  // namespace kxw
