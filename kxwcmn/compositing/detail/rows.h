#pragma once

#include <array>
#include <cstring>
#include <type_traits>

#include "kxwcmn/offscreen/detail/depths.h"
#include "kxwcmn/platform/types.h"

/// Rows of pixels as plain memory. A row is that of one block: `row` is its first byte, `column` a
/// pixel's place in it, and a stretch of `count` pixels never passes its end.
///
/// The depths below 8 bits are handled a byte of pixels at a time: pixels are spread to a byte
/// each and packed again, or moved as bits. What stands beside the stretch in its first and last
/// byte is kept.
namespace kxw {

/// Bytes of the longest packed row, with room for the whole words of loops.
inline constexpr int kMaxPackedRow = 64;

/// Copies the bits `first` up to `last` of a row; both rows have them in the same places.
inline void CopyBits(BYTE* to, const BYTE* from, int first, int last) {
  const auto merge = [&](int at, int mask) {
    to[at] = static_cast<BYTE>((to[at] & ~mask) | (from[at] & mask));
  };
  const int head = first >> 3, tail = last >> 3;
  const int headMask = 0xFF >> (first & 7), tailMask = 0xFF00 >> (last & 7) & 0xFF;
  if (head == tail) {
    merge(head, headMask & tailMask);
    return;
  }
  merge(head, headMask);
  std::memcpy(to + head + 1, from + head + 1, static_cast<std::size_t>(tail - head - 1));
  if (tailMask) merge(tail, tailMask);
}

/// A packed row moved sideways: bit `fromBit` of the row comes to stand at `toBit`, and the `count`
/// bits behind it follow. The bits around them are of no meaning. Both rows are those of a block,
/// or a byte longer.
class ShiftedRow {
 public:
  ShiftedRow(const BYTE* row, int rowBytes, int fromBit, int toBit, int count) {
    BYTE padded[kPadding + kMaxPackedRow + 2 * kPadding] = {};
    std::memcpy(padded + kPadding, row, static_cast<std::size_t>(rowBytes));
    const int shift = fromBit - toBit;  // may be negative; >> and & keep its multiples of 8 apart
    const int first = toBit >> 3, end = (toBit + count + 7) >> 3;
    const BYTE* from = padded + kPadding + (shift >> 3);
    for (int i = first; i < end; ++i) {
      bytes_[i] = static_cast<BYTE>((from[i] << 8 | from[i + 1]) >> (8 - (shift & 7)));
    }
  }
  const BYTE* Bytes() const { return bytes_; }
  BYTE* Bytes() { return bytes_; }

 private:
  // The byte before the row's first can be looked at, and one behind its last.
  static constexpr int kPadding = 8;
  BYTE bytes_[kMaxPackedRow + kPadding];
};

/// The pixels of a row, one after another.
template <class Depth, bool kPacked = (Depth::kBits < 8)>
class RowReader {
 public:
  RowReader(const BYTE* row, int column, int) : at_(row + ByteOfColumn<Depth>(column)) {}
  typename Depth::Pixel operator[](int i) const { return Depth::Load(at_ + i * kBytes, 0); }

 private:
  static constexpr int kBytes = Depth::kBits / 8;
  const BYTE* at_;
};

/// The places of a row's pixels; `Finish` ends the writing.
template <class Depth, bool kPacked = (Depth::kBits < 8)>
class RowWriter {
 public:
  RowWriter(BYTE* row, int column, int) : at_(row + ByteOfColumn<Depth>(column)) {}
  void Set(int i, typename Depth::Pixel p) { Depth::Store(at_ + i * kBytes, 0, p); }
  void Finish() {}

 private:
  static constexpr int kBytes = Depth::kBits / 8;
  BYTE* at_;
};

/// The pixels of each byte of a packed depth, each in a byte of its own.
template <class Depth>
inline constexpr auto kSpread = [] {
  constexpr int kPixels = 8 / Depth::kBits;
  std::array<std::array<BYTE, kPixels>, 256> table{};
  for (unsigned value = 0; value < 256; ++value) {
    const BYTE byte = static_cast<BYTE>(value);
    for (int i = 0; i < kPixels; ++i) {
      table[value][static_cast<std::size_t>(i)] = Depth::Load(&byte, MaskOfColumn<Depth>(i));
    }
  }
  return table;
}();

template <class Depth>
class RowReader<Depth, true> {
 public:
  RowReader(const BYTE* row, int column, int count) : skip_(column & (kPixels - 1)) {
    const BYTE* from = row + ByteOfColumn<Depth>(column);
    for (int i = 0; i < skip_ + count; i += kPixels) {
      std::memcpy(pixels_ + i, kSpread<Depth>[*from++].data(), kPixels);
    }
  }
  BYTE operator[](int i) const { return pixels_[skip_ + i]; }

 private:
  static constexpr int kPixels = 8 / Depth::kBits;  // of a byte
  int skip_;
  BYTE pixels_[KXVOffscreen::kBlockSize + kPixels];
};

template <class Depth>
class RowWriter<Depth, true> {
 public:
  RowWriter(BYTE* row, int column, int count) : row_(row), column_(column), count_(count) {}
  void Set(int i, BYTE p) { pixels_[(column_ & (kPixels - 1)) + i] = p; }

  void Finish() {
    BYTE packed[kMaxPackedRow];
    const int first = ByteOfColumn<Depth>(column_);
    const int end = ByteOfColumn<Depth>(column_ + count_ + kPixels - 1);
    const BYTE* from = pixels_;
    for (int at = first; at < end; ++at, from += kPixels) packed[at] = Pack(from);
    CopyBits(row_, packed, column_ * Depth::kBits, (column_ + count_) * Depth::kBits);
  }

 private:
  static constexpr int kPixels = 8 / Depth::kBits;

  /// A byte of pixels. The product has their sum, each pixel at its place, in its highest byte.
  static BYTE Pack(const BYTE* pixels) {
    std::conditional_t<Depth::kBits == 1, u64, DWORD> spread;
    static_assert(sizeof spread == kPixels);
    std::memcpy(&spread, pixels, sizeof spread);
    constexpr auto kPlaces =
        static_cast<decltype(spread)>(Depth::kBits == 1 ? 0x8040201008040201 : 0x40100401);
    return static_cast<BYTE>(spread * kPlaces >> 8 * (kPixels - 1));
  }

  BYTE* row_;
  int column_, count_;
  // Those around the stretch are packed with it and not stored.
  BYTE pixels_[KXVOffscreen::kBlockSize + kPixels] = {};
};

/// Copies a stretch as it stands, where it begins at the same column of both rows.
template <class Depth>
void CopyAlignedRow(BYTE* to, const BYTE* from, int column, int count) {
  if constexpr (Depth::kBits < 8) {
    CopyBits(to, from, column * Depth::kBits, (column + count) * Depth::kBits);
  } else {
    const auto first = static_cast<std::size_t>(ByteOfColumn<Depth>(column));
    std::memcpy(to + first, from + first, static_cast<std::size_t>(ByteOfColumn<Depth>(count)));
  }
}

/// Copies a stretch as its depth reads and writes it, which at 2 bits makes 0 of an undefined 1.
template <class Depth>
void CopyRow(BYTE* to, int toColumn, const BYTE* from, int fromColumn, int count) {
  std::memcpy(to + ByteOfColumn<Depth>(toColumn), from + ByteOfColumn<Depth>(fromColumn),
              static_cast<std::size_t>(ByteOfColumn<Depth>(count)));
}

template <>
inline void CopyRow<Depth1>(BYTE* to, int toColumn, const BYTE* from, int fromColumn, int count) {
  const ShiftedRow shifted(from, kRowBytes<Depth1>, fromColumn, toColumn, count);
  CopyBits(to, shifted.Bytes(), toColumn, toColumn + count);
}

/// The values of four pixels of 2 bits as they are read: the low bit counts under the high one.
constexpr BYTE ReadPixels2(BYTE pixels) {
  return static_cast<BYTE>(pixels & (0xAA | (pixels >> 1 & 0x55)));
}

template <>
inline void CopyRow<Depth2>(BYTE* to, int toColumn, const BYTE* from, int fromColumn, int count) {
  ShiftedRow shifted(from, kRowBytes<Depth2>, 2 * fromColumn, 2 * toColumn, 2 * count);
  for (int i = toColumn >> 2; i < (toColumn + count + 3) >> 2; ++i) {
    shifted.Bytes()[i] = ReadPixels2(shifted.Bytes()[i]);
  }
  CopyBits(to, shifted.Bytes(), 2 * toColumn, 2 * (toColumn + count));
}

/// Brings a stretch of a source's row to a row of the destination.
using RowFunc = void (*)(BYTE* to, int toColumn, const BYTE* from, int fromColumn, int count);

/// How rows are copied between two depths; null for a depth that is none. Unequal depths go through
/// 32 bits, except that densities become greys at 24.
RowFunc FindCopyRow(int toBits, int fromBits);

}  // namespace kxw
