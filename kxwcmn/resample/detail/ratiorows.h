#pragma once

#include <type_traits>

#include "kxwcmn/platform/types.h"

/// The loops of the integer ratios, over rows of words: densities of 8 bits, or pixels of 32 or 64
/// as they stand in memory.
namespace kxw {

/// Averages squares of `kRatio` by `kRatio` pixels, without rounding: `out` gets `count` pixels
/// from `rows`, as many as a square has, of `count` * `kRatio` pixels each; `count` is at most 256.
template <class Word, int kRatio>
void AverageRows(BYTE* out, const BYTE* const* rows, int count);

/// Repeats each of `count` pixels `kRatio` times.
template <class Word, int kRatio>
void RepeatPixels(BYTE* out, const BYTE* from, int count);

}  // namespace kxw
