#pragma once

#include <cstddef>
#include <cstring>

#include "kxwcmn/offscreen/detail/depths.h"

namespace kxw {

/// Fills `bytes` bytes, at least `length`, with a pattern of `length` bytes, by doubling what is
/// there.
inline void FillPattern(BYTE* at, std::size_t bytes, const BYTE* pattern, int length) {
  if (length == 1) {
    std::memset(at, pattern[0], bytes);
    return;
  }
  std::size_t filled = static_cast<std::size_t>(length);
  std::memcpy(at, pattern, filled);
  while (filled < bytes) {
    const std::size_t more = filled < bytes - filled ? filled : bytes - filled;
    std::memcpy(at + filled, at, more);
    filled += more;
  }
}

/// A memset whose short runs are stored in line, the last store overlapping the one before.
inline void FillBytes(BYTE* at, BYTE value, std::size_t bytes) {
  if (bytes > 32) {
    std::memset(at, value, bytes);
    return;
  }
  const u64 wide = value * 0x0101010101010101u;
  BYTE* const end = at + bytes;
  if (bytes >= 8) {
    for (; at < end - 8; at += 8) std::memcpy(at, &wide, 8);
    std::memcpy(end - 8, &wide, 8);
  } else if (bytes >= 4) {
    std::memcpy(at, &wide, 4);
    std::memcpy(end - 4, &wide, 4);
  } else if (bytes > 0) {
    at[0] = at[bytes / 2] = end[-1] = value;
  }
}

/// Writes `fill` to the `count` pixels from `column` of the row of a block at `row`. Rows of a
/// block follow each other without a gap, so a run over whole rows may go on into the next ones.
template <class Depth>
inline void FillRun(BYTE* row, int column, int count, typename Depth::Fill fill) {
  if (count <= 0) return;
  if constexpr (Depth::kBits < 8) {
    const int first = column * Depth::kBits, last = (column + count) * Depth::kBits;
    BYTE* at = row + first / 8;
    BYTE* const end = row + last / 8;
    const auto merge = [fill](BYTE* byte, int mask) {
      *byte = static_cast<BYTE>((*byte & ~mask) | (fill & mask));
    };
    const int head = 0xFF >> (first & 7), tail = 0xFF & ~(0xFF >> (last & 7));
    if (at == end) {
      merge(at, head & tail);
      return;
    }
    merge(at++, head);
    std::memset(at, fill, static_cast<std::size_t>(end - at));
    if (tail) merge(end, tail);
  } else if constexpr (Depth::kBits == 8) {
    FillBytes(row + column, fill, static_cast<std::size_t>(count));
  } else if constexpr (Depth::kBits == 24) {
    // Sixteen pixels are three stores of 16 bytes, eight are three of 8. The last ones overlap what
    // is there instead of leaving a rest.
    BYTE* at = row + ByteOfColumn<Depth>(column);
    BYTE* const end = at + count * 3;
    const auto fillBy = [&](auto& pattern) {
      constexpr int kBytes = sizeof pattern;
      for (int i = 0; i < kBytes; i += 3) Depth::Store(pattern + i, 0, fill);
      for (; end - at > kBytes; at += kBytes) std::memcpy(at, pattern, kBytes);
      std::memcpy(end - kBytes, pattern, kBytes);
    };
    if (count >= 16) {
      BYTE pattern[48];
      fillBy(pattern);
    } else if (count >= 8) {
      BYTE pattern[24];
      fillBy(pattern);
    } else {
      for (; at != end; at += 3) Depth::Store(at, 0, fill);
    }
  } else {
    // Stores of 16 bytes, the last of which overlaps what is there instead of leaving a rest.
    constexpr int kBytes = Depth::kBits / 8, kWide = 16;
    BYTE* at = row + ByteOfColumn<Depth>(column);
    BYTE* const end = at + count * kBytes;
    if (end - at < kWide) {
      for (; at != end; at += kBytes) Depth::Store(at, 0, fill);
      return;
    }
    BYTE pattern[kWide];
    for (int i = 0; i < kWide; i += kBytes) Depth::Store(pattern + i, 0, fill);
    for (; end - at > kWide; at += kWide) std::memcpy(at, pattern, kWide);
    std::memcpy(end - kWide, pattern, kWide);
  }
}

}  // namespace kxw
