#pragma once

#include <cstddef>

#include "kxwcmn/platform/types.h"

namespace kxw {

/// Whether `bytes` bytes, a multiple of 8, are those of `value` in the bits `used`; both repeat
/// every 8 bytes.
bool IsUniformRun(const BYTE* at, std::size_t bytes, u64 value, u64 used);

}  // namespace kxw
