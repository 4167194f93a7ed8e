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

/// Writes `fill` to the `count` pixels at `at`, which are of 1, 2, 4 or 8 bytes. Runs that are
/// short, as most in drawings are, take a few stores without a loop: its end would be guessed wrong
/// nearly each time. Those from the end overlap those from the start.
template <class Depth>
inline void FillPixels(BYTE* at, int count, typename Depth::Fill fill) {
  constexpr std::size_t kPixel = Depth::kBits / 8, kWide = 16;
  const std::size_t bytes = static_cast<std::size_t>(count) * kPixel;
  BYTE wide[kWide];
  for (std::size_t i = 0; i < kWide; i += kPixel) Depth::Store(wide + i, 0, fill);
  BYTE* const end = at + bytes;
  const auto store = [&wide](BYTE* to) { std::memcpy(to, wide, kWide); };
  if (bytes > 4 * kWide) {
    BYTE* const last = end - 4 * kWide;
    for (; at < last; at += 4 * kWide) {
      for (std::size_t i = 0; i < 4; ++i) store(at + i * kWide);
    }
    for (std::size_t i = 0; i < 4; ++i) store(last + i * kWide);
  } else if (bytes > 2 * kWide) {
    store(at);
    store(at + kWide);
    store(end - 2 * kWide);
    store(end - kWide);
  } else if (bytes >= kWide) {
    store(at);
    store(end - kWide);
  } else if (bytes >= 8) {
    std::memcpy(at, wide, 8);
    std::memcpy(end - 8, wide, 8);
  } else if (kPixel <= 4 && bytes >= 4) {
    std::memcpy(at, wide, 4);
    std::memcpy(end - 4, wide, 4);
  } else if (kPixel <= 2 && bytes > 0) {
    // The first, the middle and the last of up to three pixels.
    const std::size_t pixels = bytes / kPixel;
    Depth::Store(at, 0, fill);
    Depth::Store(at + pixels / 2 * kPixel, 0, fill);
    Depth::Store(end - kPixel, 0, fill);
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
    constexpr int kLong = 256;
    if (count > kLong) {
      std::memset(row + column, fill, static_cast<std::size_t>(count));
    } else {
      FillPixels<Depth>(row + column, count, fill);
    }
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
    FillPixels<Depth>(row + ByteOfColumn<Depth>(column), count, fill);
  }
}

}  // namespace kxw
