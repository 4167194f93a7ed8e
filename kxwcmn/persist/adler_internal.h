#pragma once

#include <cstddef>

#include "kxwcmn/platform/types.h"

namespace kxw {

/// The checksum at the end of a zlib stream, of all that the stream stands for.
DWORD Adler32(const BYTE* data, std::size_t size);

}  // namespace kxw
