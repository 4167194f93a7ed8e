#pragma once

#include "kxwcmn/compositing/detail/behind.h"
#include "kxwcmn/compositing/detail/rows.h"
#include "kxwcmn/offscreen/detail/depths.h"

/// How results of the area filter are stored at a depth. `IsLaid` says of a value whether, behind
/// what is there, it is laid at all.
namespace kxw {

template <class Depth>
constexpr bool IsLaid(u64 value) {
  if constexpr (Depth::kBits == 64) return Alpha64(value) != 0;
  if constexpr (Depth::kBits <= 8) return static_cast<BYTE>(value) != 0;
  return Alpha(static_cast<DWORD>(value)) != 0;
}

template <class Depth>
typename Depth::Pixel AreaResult(u64 value) {
  if constexpr (Depth::kBits == 64) return value;
  if constexpr (Depth::kBits <= 8) return Depth::From8(static_cast<BYTE>(value));
  if constexpr (Depth::kBits > 8 && Depth::kBits < 64) {
    return Depth::From32(static_cast<DWORD>(value));
  }
}

/// A value behind a pixel: it replaces a density, as all of 8 bits and below.
template <class Depth>
typename Depth::Pixel AreaResultBehind(typename Depth::Pixel p, u64 value,
                                       const ClearColors& clear) {
  if (!IsLaid<Depth>(value)) return p;
  if constexpr (Depth::kBits <= 8) return AreaResult<Depth>(value);
  if constexpr (Depth::kBits == 64) {
    // The words are moved together by 8 bits each, as if they were bytes. It is meant.
    const u64 laid = Color64Behind(p, value);
    return static_cast<DWORD>(Alpha64(laid)) << 24 | static_cast<DWORD>(Blue64(laid)) << 16 |
           static_cast<DWORD>(Green64(laid)) << 8 | static_cast<DWORD>(Red64(laid));
  }
  if constexpr (Depth::kBits > 8 && Depth::kBits < 64) {
    return Depth::FromNative(ColorBehind(Depth::To32(p), static_cast<DWORD>(value)), clear);
  }
}

/// Stores a stretch of a block's row.
template <class Depth, class Value>
void StoreAreaRow(BYTE* row, int column, const Value* values, int count, bool behind,
                  const ClearColors& clear) {
  RowWriter<Depth> target(row, column, count);
  if (behind) {
    const RowReader<Depth> over(row, column, count);
    for (int i = 0; i < count; ++i) {
      target.Set(i, AreaResultBehind<Depth>(over[i], values[i], clear));
    }
  } else {
    for (int i = 0; i < count; ++i) target.Set(i, AreaResult<Depth>(values[i]));
  }
  target.Finish();
}

}  // namespace kxw
