#pragma once

#include <cstdint>

#include "kxwcmn/offscreen/detail/fillrun.h"
#include "kxwcmn/offscreen/detail/streamrow.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace kxw {

/// `FillRun` for whole rows of a block, `count` pixels from `row` on, past the caches. Ends with
/// `EndStream` before anybody else may look.
template <class Depth>
inline void StreamRun(BYTE* row, int count, typename Depth::Fill fill) {
#if defined(__SSE2__)
  constexpr int kWide = 16;
  // Pixels of every depth come out even in three stores.
  alignas(kWide) BYTE pattern[3 * kWide];
  FillRun<Depth>(pattern, 0, 3 * kWide * 8 / Depth::kBits, fill);
  __m128i words[3];
  for (int i = 0; i < 3; ++i) {
    words[i] = _mm_load_si128(reinterpret_cast<const __m128i*>(pattern + i * kWide));
  }
  auto* at = reinterpret_cast<__m128i*>(row);
  const std::size_t stores = static_cast<std::size_t>(count) * Depth::kBits / (8 * kWide);
  if (reinterpret_cast<std::uintptr_t>(row) % kWide == 0) {
    auto* const end = at + stores;
    for (; end - at >= 3; at += 3) {
      for (int i = 0; i < 3; ++i) _mm_stream_si128(at + i, words[i]);
    }
    for (int i = 0; at != end; ++at, ++i) _mm_stream_si128(at, words[i]);
    return;
  }
#endif
  FillRun<Depth>(row, 0, count, fill);
}

}  // namespace kxw
