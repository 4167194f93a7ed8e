#pragma once

#include <cstddef>

#include "kxwcmn/platform/types.h"

namespace kxw {

/// A number that tells the bytes of a block from any others that a disk may give back for them.
/// `size` is a multiple of 128. It means something within one run only: the hardware decides which
/// of the forms makes it.
u64 BlockChecksum(const void* data, std::size_t size);

namespace detail {

/// The form for processors without the widest registers, with the same result as theirs.
u64 NarrowBlockChecksum(const void* data, std::size_t size);

/// The form for every machine.
u64 PlainBlockChecksum(const void* data, std::size_t size);

}  // namespace detail

}  // namespace kxw
