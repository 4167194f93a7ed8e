#include "kxwcmn/compositing/detail/rows.h"
#include "kxwcmn/classic/rows_internal.h"

// Loops over rows, for every pair of depths. Rows are cut into pieces that the readers and writers
// of rows can hold: at 1 bit these spread the pixels to a byte each, and pack them again.

namespace kxw {

namespace {

constexpr int kPiece = KXVOffscreen::kBlockSize;

/// Where a piece begins: the byte of the first pixel and, at 1 bit, its place in that.
template <class Depth, class Byte>
struct Place {
  Place(Byte* row, int x) : at(row + PixelByte<Depth>(x)), column(Depth::kBits == 1 ? x & 7 : 0) {}
  Byte* at;
  int column;
};

template <class Depth>
RowReader<Depth> ReadPiece(const BYTE* row, int x, int count) {
  const Place<Depth, const BYTE> place(row, x);
  return {place.at, place.column, count};
}
template <class Depth>
RowWriter<Depth> WritePiece(BYTE* row, int x, int count) {
  const Place<Depth, BYTE> place(row, x);
  return {place.at, place.column, count};
}

/// Calls `op(first, count)` for the pieces of a row.
template <class Op>
void ForEachPiece(int count, Op op) {
  for (int first = 0; first < count; first += kPiece) op(first, std::min(kPiece, count - first));
}

/// A pixel in the terms of another depth, which need not be its own.
template <class Terms, class Depth>
auto Get(typename Depth::Pixel p) {
  if constexpr (Terms::kBits == 1) return Depth::To1(p);
  if constexpr (Terms::kBits == 8) return Depth::To8(p);
  if constexpr (Terms::kBits == 24) return Depth::To24(p);
  if constexpr (Terms::kBits == 32) return Depth::To32(p);
}
template <class Terms, class Depth, class Value>
typename Depth::Pixel Set(Value value) {
  if constexpr (Terms::kBits == 1) return Depth::From1(value);
  if constexpr (Terms::kBits == 8) return Depth::From8(value);
  if constexpr (Terms::kBits == 24) return Depth::From24(value);
  if constexpr (Terms::kBits == 32) return Depth::From32(value);
}

/// Up to 8 bits from `bit` on, in the highest places, of a row of which no byte behind them is
/// touched.
unsigned TakeBits(const BYTE* row, int bit, int count) {
  const BYTE* const at = row + (bit >> 3);
  const int shift = bit & 7;
  const unsigned second = shift + count > 8 ? at[1] : 0u;
  return (static_cast<unsigned>(at[0]) << 8 | second) << shift >> 8 & 0xFF;
}

/// Stores the highest `count` bits of `bits` at place `place` of a byte.
void PutBits(BYTE* at, int place, int count, unsigned bits) {
  const unsigned mask = (0xFF00u >> count & 0xFF) >> place;
  *at = static_cast<BYTE>((*at & ~mask) | (bits >> place & mask));
}

/// Copies bits between rows in which they have different places in their bytes.
void CopyShiftedBits(BYTE* to, int toX, const BYTE* from, int fromX, int count) {
  to += toX >> 3;
  if (const int place = toX & 7; place != 0) {
    const int head = std::min(count, 8 - place);
    PutBits(to++, place, head, TakeBits(from, fromX, head));
    fromX += head;
    count -= head;
  }
  from += fromX >> 3;
  const int shift = fromX & 7, bytes = count >> 3;
  for (int i = 0; i < bytes; ++i) {
    to[i] = static_cast<BYTE>((from[i] << 8 | from[i + 1]) >> (8 - shift));
  }
  if (const int tail = count & 7) PutBits(to + bytes, 0, tail, TakeBits(from + bytes, shift, tail));
}

template <class To, class From>
void CopyPixels(BYTE* to, int toX, const BYTE* from, int fromX, int count) {
  if constexpr (To::kBits != From::kBits) {
    ForEachPiece(count, [=](int first, int pixels) {
      const auto reader = ReadPiece<From>(from, fromX + first, pixels);
      auto writer = WritePiece<To>(to, toX + first, pixels);
      for (int i = 0; i < pixels; ++i) writer.Set(i, Set<To, To>(Get<To, From>(reader[i])));
      writer.Finish();
    });
  } else if constexpr (To::kBits > 1) {
    std::memcpy(to + PixelByte<To>(toX), from + PixelByte<To>(fromX),
                static_cast<std::size_t>(PixelByte<To>(count)));
  } else if ((toX & 7) == (fromX & 7)) {
    CopyBits(to + (toX >> 3), from + (fromX >> 3), toX & 7, (toX & 7) + count);
  } else {
    CopyShiftedBits(to, toX, from, fromX, count);
  }
}

/// The smaller value of each channel.
template <class Depth>
typename Depth::Pixel Minimum(typename Depth::Pixel a, typename Depth::Pixel b) {
  if constexpr (Depth::kBits <= 8) {
    return std::min(a, b);
  } else {
    return MakeColor(std::min(Red(a), Red(b)), std::min(Green(a), Green(b)),
                     std::min(Blue(a), Blue(b)), std::min(Alpha(a), Alpha(b)));
  }
}

template <class To, class From>
void MinimumPixels(BYTE* to, int toX, const BYTE* from, int fromX, int count) {
  ForEachPiece(count, [=](int first, int pixels) {
    const auto reader = ReadPiece<From>(from, fromX + first, pixels);
    const auto old = ReadPiece<To>(to, toX + first, pixels);
    auto writer = WritePiece<To>(to, toX + first, pixels);
    for (int i = 0; i < pixels; ++i) writer.Set(i, Minimum<To>(old[i], Get<To, From>(reader[i])));
    writer.Finish();
  });
}

template <class To, class From, class Mask>
void MaskPixels(BYTE* to, int toX, const BYTE* from, int fromX, const BYTE* mask, int maskX,
                int count) {
  // A 32-bit image is written at 24 bits.
  using Terms = std::conditional_t<To::kBits == 32, Classic24, To>;
  ForEachPiece(count, [=](int first, int pixels) {
    const auto reader = ReadPiece<From>(from, fromX + first, pixels);
    const auto gate = ReadPiece<Mask>(mask, maskX + first, pixels);
    const auto old = ReadPiece<To>(to, toX + first, pixels);
    auto writer = WritePiece<To>(to, toX + first, pixels);
    for (int i = 0; i < pixels; ++i) {
      const auto value = Set<Terms, To>(Get<Terms, From>(reader[i]));
      writer.Set(i, Mask::To1(gate[i]) ? value : old[i]);
    }
    writer.Finish();
  });
}

template <class To, class From>
void KeyPixels(BYTE* to, int toX, const BYTE* from, int fromX, int count, DWORD key,
               bool copiesEqual) {
  const DWORD wanted = From::kBits <= 8 ? static_cast<BYTE>(key) : key;
  ForEachPiece(count, [=](int first, int pixels) {
    const auto reader = ReadPiece<From>(from, fromX + first, pixels);
    const auto old = ReadPiece<To>(to, toX + first, pixels);
    auto writer = WritePiece<To>(to, toX + first, pixels);
    for (int i = 0; i < pixels; ++i) {
      const auto value = Get<From, From>(reader[i]);
      writer.Set(i, (value == wanted) == copiesEqual ? Set<From, To>(value) : old[i]);
    }
    writer.Finish();
  });
}

// A pixel of 24 bits is read and written together with the byte behind it, but for the last one.

template <class Depth>
void ReadColors(DWORD* colors, const BYTE* row, int x, int count) {
  if constexpr (Depth::kBits == 24) {
    if (count <= 0) return;
    const BYTE* const at = row + PixelByte<Depth>(x);
    for (int i = 0; i < count - 1; ++i) {
      DWORD word;
      std::memcpy(&word, at + PixelByte<Depth>(i), sizeof word);
      colors[i] = Depth::From32(word);
    }
    colors[count - 1] = Depth::Load(at + PixelByte<Depth>(count - 1), 0);
  } else {
    ForEachPiece(count, [=](int first, int pixels) {
      const auto reader = ReadPiece<Depth>(row, x + first, pixels);
      for (int i = 0; i < pixels; ++i) colors[first + i] = Depth::To24(reader[i]);
    });
  }
}

template <class Depth>
void WriteColors(BYTE* row, int x, const DWORD* colors, int count) {
  if constexpr (Depth::kBits == 24) {
    if (count <= 0) return;
    BYTE* const at = row + PixelByte<Depth>(x);
    for (int i = 0; i < count - 1; ++i) {
      std::memcpy(at + PixelByte<Depth>(i), colors + i, sizeof *colors);
    }
    Depth::Store(at + PixelByte<Depth>(count - 1), 0, colors[count - 1]);
  } else {
    ForEachPiece(count, [=](int first, int pixels) {
      auto writer = WritePiece<Depth>(row, x + first, pixels);
      for (int i = 0; i < pixels; ++i) writer.Set(i, Depth::From24(colors[first + i]));
      writer.Finish();
    });
  }
}

template <class Depth>
void ReadGreys(BYTE* greys, const BYTE* row, int x, int count) {
  ForEachPiece(count, [=](int first, int pixels) {
    const auto reader = ReadPiece<Depth>(row, x + first, pixels);
    for (int i = 0; i < pixels; ++i) greys[first + i] = Red(Depth::To24(reader[i]));
  });
}

// As densities, greys are written by their complement.
static_assert([] {
  for (DWORD grey = 0; grey < 256; ++grey) {
    if (DensityOfSum(3 * grey) != 255 - grey) return false;
  }
  return true;
}());

template <class Depth>
void WriteGreys(BYTE* row, int x, const BYTE* greys, int count) {
  ForEachPiece(count, [=](int first, int pixels) {
    auto writer = WritePiece<Depth>(row, x + first, pixels);
    for (int i = 0; i < pixels; ++i) {
      const BYTE grey = greys[first + i];
      if constexpr (Depth::kBits == 8) {
        writer.Set(i, static_cast<BYTE>(255 - grey));
      } else {
        writer.Set(i, Depth::From24(MakeGrey(grey, 0)));
      }
    }
    writer.Finish();
  });
}

/// `op(to, from)` with the structs of two depths.
template <class Op>
auto WithTwoDepths(int toBits, int fromBits, Op op) {
  return WithClassicDepth(toBits, [=](auto to) {
    return WithClassicDepth(fromBits, [=](auto from) { return op(to, from); });
  });
}

}  // namespace

ClassicRowFunc FindClassicCopyRow(int toBits, int fromBits) {
  return WithTwoDepths(toBits, fromBits, [](auto to, auto from) -> ClassicRowFunc {
    return CopyPixels<decltype(to), decltype(from)>;
  });
}

ClassicRowFunc FindClassicMinimumRow(int toBits, int fromBits) {
  return WithTwoDepths(toBits, fromBits, [](auto to, auto from) -> ClassicRowFunc {
    return MinimumPixels<decltype(to), decltype(from)>;
  });
}

ClassicMaskRowFunc FindClassicMaskRow(int toBits, int fromBits, int maskBits) {
  return WithTwoDepths(toBits, fromBits, [=](auto to, auto from) {
    return WithClassicDepth(maskBits, [=](auto mask) -> ClassicMaskRowFunc {
      return MaskPixels<decltype(to), decltype(from), decltype(mask)>;
    });
  });
}

ClassicKeyRowFunc FindClassicKeyRow(int toBits, int fromBits) {
  return WithTwoDepths(toBits, fromBits, [](auto to, auto from) -> ClassicKeyRowFunc {
    return KeyPixels<decltype(to), decltype(from)>;
  });
}

ClassicReadColorsFunc FindClassicReadColors(int bits) {
  return WithClassicDepth(
      bits, [](auto depth) -> ClassicReadColorsFunc { return ReadColors<decltype(depth)>; });
}

ClassicWriteColorsFunc FindClassicWriteColors(int bits) {
  return WithClassicDepth(
      bits, [](auto depth) -> ClassicWriteColorsFunc { return WriteColors<decltype(depth)>; });
}

ClassicReadGreysFunc FindClassicReadGreys(int bits) {
  return bits == 1 ? ReadGreys<Classic1> : ReadGreys<Classic8>;
}

ClassicWriteGreysFunc FindClassicWriteGreys(int bits) {
  return WithClassicDepth(
      bits, [](auto depth) -> ClassicWriteGreysFunc { return WriteGreys<decltype(depth)>; });
}

}  // namespace kxw
