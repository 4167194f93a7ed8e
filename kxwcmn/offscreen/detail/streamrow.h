#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "kxwcmn/platform/types.h"
#include "kxwcmn/platform/vectorize_internal.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

/// Rows of pixels and the caches: rows that are asked for ahead of time, and rows that go past.
namespace kxw {

/// What writes so many bytes goes past the caches. They would not hold it anyway, and a line that
/// is written around them need not be read first, which is most of the time of a fill.
inline constexpr i64 kStreamedBytes = i64{32} << 20;

/// Asks for a row that is going to be read. The machine foresees the bytes of a row, but not where
/// the next one begins.
inline void PrefetchRow(const BYTE* row, std::ptrdiff_t bytes) {
  for (std::ptrdiff_t i = 0; i < bytes; i += 64) KXW_PREFETCH(row + i);
}

/// Copies a row past the caches. Ends with `EndStream` before anybody else may look.
inline void StreamRow(BYTE* to, const BYTE* from, std::size_t bytes) {
#if defined(__SSE2__)
  constexpr std::size_t kLine = 64, kWide = 16;
  const std::size_t head = std::min((0 - reinterpret_cast<std::uintptr_t>(to)) % kLine, bytes);
  std::memcpy(to, from, head);
  std::size_t i = head;
  for (; i + kLine <= bytes; i += kLine) {
    __m128i words[kLine / kWide];
    std::memcpy(words, from + i, kLine);
    auto* const at = reinterpret_cast<__m128i*>(to + i);
    for (std::size_t k = 0; k < kLine / kWide; ++k) _mm_stream_si128(at + k, words[k]);
  }
  std::memcpy(to + i, from + i, bytes - i);
#else
  std::memcpy(to, from, bytes);
#endif
}

inline void EndStream() {
#if defined(__SSE2__)
  _mm_sfence();
#endif
}

}  // namespace kxw
