#include "kxwcmn/compositing/detail/behind.h"

#include "kxwcmn/compositing/detail/rows.h"

namespace kxw {

template <>
void BehindRow<Depth1>(BYTE* to, int toColumn, const BYTE* from, int fromColumn, int count) {
  ShiftedRow under(from, kRowBytes<Depth1>, fromColumn, toColumn, count);
  for (int i = toColumn >> 3; i < (toColumn + count + 7) >> 3; ++i) under.Bytes()[i] |= to[i];
  CopyBits(to, under.Bytes(), toColumn, toColumn + count);
}

template <>
void BehindRow<Depth2>(BYTE* to, int toColumn, const BYTE* from, int fromColumn, int count) {
  ShiftedRow under(from, kRowBytes<Depth2>, 2 * fromColumn, 2 * toColumn, 2 * count);
  for (int i = toColumn >> 2; i < (toColumn + count + 3) >> 2; ++i) {
    const BYTE pixels = ReadPixels2(under.Bytes()[i]);  // 0, or the high bit is set
    const int drawn = (pixels & 0xAA) | (pixels >> 1 & 0x55);
    under.Bytes()[i] = static_cast<BYTE>((to[i] & ~drawn) | pixels);
  }
  CopyBits(to, under.Bytes(), 2 * toColumn, 2 * (toColumn + count));
}

template <>
void BehindRow<Depth8>(BYTE* to, int toColumn, const BYTE* from, int fromColumn, int count) {
  to += toColumn;
  from += fromColumn;
  for (int i = 0; i < count; ++i) to[i] = from[i] ? DensityBehind(to[i], from[i]) : to[i];
}

template <>
void BehindRow<Depth16>(BYTE* to, int toColumn, const BYTE* from, int fromColumn, int count) {
  const RowReader<Depth16> under(from, fromColumn, count), over(to, toColumn, count);
  RowWriter<Depth16> target(to, toColumn, count);
  for (int i = 0; i < count; ++i) {
    target.Set(i, Depth16::From32(ColorBehind(Depth16::To32(over[i]), Depth16::To32(under[i]))));
  }
}

template <>
void BehindRow<Depth24>(BYTE*, int, const BYTE*, int, int) {}

template <>
void BehindRow<Depth32>(BYTE* to, int toColumn, const BYTE* from, int fromColumn, int count) {
  const RowReader<Depth32> under(from, fromColumn, count), over(to, toColumn, count);
  RowWriter<Depth32> target(to, toColumn, count);
  for (int i = 0; i < count; ++i) target.Set(i, ColorBehind(over[i], under[i]));
}

template <>
void BehindRow<Depth64>(BYTE* to, int toColumn, const BYTE* from, int fromColumn, int count) {
  const RowReader<Depth64> under(from, fromColumn, count), over(to, toColumn, count);
  RowWriter<Depth64> target(to, toColumn, count);
  for (int i = 0; i < count; ++i) target.Set(i, Color64Behind(over[i], under[i]));
}

}  // namespace kxw
