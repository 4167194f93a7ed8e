#include "kxwcmn/compositing/detail/rows.h"
#include "kxwcmn/platform/vectorize_internal.h"

namespace kxw {
namespace {

/// A pixel of the depth `From` as the depth `To` stores it.
template <class To, class From>
struct Conversion {
  static typename To::Pixel Of(typename From::Pixel p) { return To::From32(From::To32(p)); }
};
/// A density becomes a grey. Through 32 bits it would lose its alpha and come out black.
template <>
struct Conversion<Depth24, Depth8> {
  static Depth24::Pixel Of(Depth8::Pixel p) { return Depth24::From24(Depth8::To24(p)); }
};
// Between densities and greys nothing is lost on the way without colours.
template <>
struct Conversion<Depth16, Depth8> {
  static Depth16::Pixel Of(Depth8::Pixel p) { return Depth16::From8(p); }
};
template <>
struct Conversion<Depth8, Depth16> {
  static Depth8::Pixel Of(Depth16::Pixel p) {
    return static_cast<BYTE>(Weigh(255u - p.grey, p.alpha));
  }
};

template <class To, class From>
void ConvertRow(BYTE* to, int toColumn, const BYTE* from, int fromColumn, int count) {
  const RowReader<From> source(from, fromColumn, count);
  RowWriter<To> target(to, toColumn, count);
  for (int i = 0; i < count; ++i) target.Set(i, Conversion<To, From>::Of(source[i]));
  target.Finish();
}

// Between 32 and 64 bits the channels stand in one order in memory.

template <>
void ConvertRow<Depth32, Depth64>(BYTE* to, int toColumn, const BYTE* from, int fromColumn,
                                  int count) {
  to += ByteOfColumn<Depth32>(toColumn);
  from += ByteOfColumn<Depth64>(fromColumn);
  for (int i = 0; i < 4 * count; ++i) to[i] = from[2 * i + 1];
}

template <>
void ConvertRow<Depth64, Depth32>(BYTE* to, int toColumn, const BYTE* from, int fromColumn,
                                  int count) {
  to += ByteOfColumn<Depth64>(toColumn);
  from += ByteOfColumn<Depth32>(fromColumn);
  for (int i = 0; i < 4 * count; ++i) to[2 * i] = to[2 * i + 1] = from[i];
}

/// The same by way of a row of 32 bits, so that there is one loop a depth and not one a pair.
template <class To, class From>
void ConvertRowBy32(BYTE* to, int toColumn, const BYTE* from, int fromColumn, int count) {
  BYTE row[kRowBytes<Depth32>];
  InVectors<ConvertRow<Depth32, From>>(row, 0, from, fromColumn, count);
  InVectors<ConvertRow<To, Depth32>>(to, toColumn, row, 0, count);
}

template <class To, class From>
constexpr RowFunc CopyFunc() {
  if constexpr (To::kBits == From::kBits) return CopyRow<To>;
  constexpr bool kBy32 = To::kBits != 32 && From::kBits != 32;
  constexpr bool kGreys =
      From::kBits == 8 ? To::kBits == 16 || To::kBits == 24 : From::kBits == 16 && To::kBits == 8;
  if constexpr (!kBy32 || kGreys) return InVectors<ConvertRow<To, From>>;
  return ConvertRowBy32<To, From>;
}

}  // namespace

RowFunc FindCopyRow(int toBits, int fromBits) {
  return WithDepth(toBits, [=](auto to) {
    return WithDepth(fromBits, [](auto from) { return CopyFunc<decltype(to), decltype(from)>(); });
  });
}

}  // namespace kxw
