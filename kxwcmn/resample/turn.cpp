#include "kxwcmn/resample/detail/turn.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <vector>

#include "kxwcmn/compositing/detail/rows.h"
#include "kxwcmn/platform/vectorize_internal.h"

namespace kxw {
namespace {

constexpr int kSize = KXVOffscreen::kBlockSize;

constexpr bool IsQuarter(Turn turn) { return turn == Turn::kLeft || turn == Turn::kRight; }

/// The source's step along a row of the result, and from one row to the next. The first goes by
/// rows of the source in a quarter turn, and otherwise by columns.
constexpr int StepAlong(Turn turn) {
  return turn == Turn::kRight || turn == Turn::kMirrorX ? -1 : 1;
}
constexpr int StepDown(Turn turn) { return turn == Turn::kLeft || turn == Turn::kMirrorY ? -1 : 1; }

/// A pixel of some bytes as something to copy, in one word where there is one.
struct Bytes3 {
  BYTE bytes[3];
};
template <int kBytes>
struct RawOf {
  using Type = Bytes3;
};
template <>
struct RawOf<1> {
  using Type = BYTE;
};
template <>
struct RawOf<2> {
  using Type KX_MAY_ALIAS = WORD;
};
template <>
struct RawOf<4> {
  using Type KX_MAY_ALIAS = DWORD;
};
template <>
struct RawOf<8> {
  using Type KX_MAY_ALIAS = u64;
};

// --- Whole bytes --------------------------------------------------------------------------------

/// Eight bytes of eight rows each, turned over: byte c of row r becomes byte r of row c.
inline void Transpose8(u64* rows) {
  const auto exchange = [](u64& a, u64& b, int shift, u64 mask) {
    const u64 moved = ((a >> shift) ^ b) & mask;
    b ^= moved;
    a ^= moved << shift;
  };
  for (int i = 0; i < 4; ++i) exchange(rows[i], rows[i + 4], 32, 0x00000000FFFFFFFF);
  for (const int i : {0, 1, 4, 5}) exchange(rows[i], rows[i + 2], 16, 0x0000FFFF0000FFFF);
  for (const int i : {0, 2, 4, 6}) exchange(rows[i], rows[i + 1], 8, 0x00FF00FF00FF00FF);
}

/// Copies `width` by `height` pixels whose source steps by `along` bytes in a row and by `down`
/// from row to row, a square at a time, so that the lines of both sides stay in the nearest cache.
template <int kBytes>
void CopySteps(BYTE* to, int toRowBytes, const BYTE* from, int along, int down, int width,
               int height) {
  constexpr int kSquare = 8;
  for (int y = 0; y < height; y += kSquare) {
    const int rows = std::min(kSquare, height - y);
    for (int x = 0; x < width; x += kSquare) {
      const int columns = std::min(kSquare, width - x);
      BYTE* at = to + y * toRowBytes + x * kBytes;
      const BYTE* pixel = from + x * along + y * down;
      if (kBytes == 1 && rows == kSquare && columns == kSquare && (down == 1 || down == -1)) {
        // Along each column of the result the source's bytes lie side by side.
        u64 lines[kSquare];
        for (int i = 0; i < kSquare; ++i) {
          std::memcpy(&lines[i], pixel + i * along - (down < 0 ? kSquare - 1 : 0), kSquare);
        }
        Transpose8(lines);
        for (int i = 0; i < kSquare; ++i) {
          std::memcpy(at + i * toRowBytes, &lines[down < 0 ? kSquare - 1 - i : i], kSquare);
        }
        continue;
      }
      for (int j = 0; j < rows; ++j) {
        for (int i = 0; i < columns; ++i) {
          std::memcpy(at + j * toRowBytes + i * kBytes, pixel + j * down + i * along, kBytes);
        }
      }
    }
  }
}

/// A row's pixels in the opposite order; `from` is the one that comes first.
template <int kBytes>
void ReverseRow(BYTE* to, const BYTE* from, int count) {
  using Raw = typename RawOf<kBytes>::Type;
  auto* const target = reinterpret_cast<Raw*>(to);
  const auto* const source = reinterpret_cast<const Raw*>(from) - (count - 1);
  for (int i = 0; i < count; ++i) target[i] = source[count - 1 - i];
}

template <class Depth, Turn kTurn>
void TurnBytes(const TurnPiece& piece) {
  constexpr int kBytes = Depth::kBits / 8, kStride = kRowBytes<Depth>;
  BYTE* const to = piece.to + piece.row * kStride + piece.column * kBytes;
  const BYTE* const from = piece.from + piece.fromRow * kStride + piece.fromColumn * kBytes;
  if constexpr (IsQuarter(kTurn)) {
    CopySteps<kBytes>(to, kStride, from, StepAlong(kTurn) * kStride, StepDown(kTurn) * kBytes,
                      piece.width, piece.height);
  } else {
    for (int y = 0; y < piece.height; ++y) {
      const BYTE* const row = from + y * StepDown(kTurn) * kStride;
      if constexpr (kTurn == Turn::kMirrorX) {
        kxw::InVectors<ReverseRow<kBytes>>(to + y * kStride, row, piece.width);
      } else {
        std::memcpy(to + y * kStride, row, static_cast<std::size_t>(piece.width * kBytes));
      }
    }
  }
}

// --- Packed pixels ------------------------------------------------------------------------------

template <class Depth>
void WritePixels(BYTE* row, int column, const BYTE* pixels, int count) {
  RowWriter<Depth> writer(row, column, count);
  for (int i = 0; i < count; ++i) writer.Set(i, pixels[i]);
  writer.Finish();
}

/// Pixels of less than a byte by way of one byte each.
template <class Depth, Turn kTurn>
void TurnPacked(const TurnPiece& piece) {
  constexpr int kStride = kRowBytes<Depth>;
  const int columns = IsQuarter(kTurn) ? piece.height : piece.width;  // of the source
  const int rows = IsQuarter(kTurn) ? piece.width : piece.height;
  const int along = StepAlong(kTurn), down = StepDown(kTurn);
  const int left = piece.fromColumn - ((IsQuarter(kTurn) ? down : along) < 0 ? columns - 1 : 0);
  const int top = piece.fromRow - ((IsQuarter(kTurn) ? along : down) < 0 ? rows - 1 : 0);
  std::vector<BYTE> spread(std::size_t{kSize} * kSize), turned(std::size_t{kSize} * kSize);
  for (int y = 0; y < rows; ++y) {
    const RowReader<Depth> pixels(piece.from + (top + y) * kStride, left, columns);
    BYTE* const at = &spread[static_cast<std::size_t>(y * kSize)];
    for (int x = 0; x < columns; ++x) {
      at[x] = Depth::kBits == 2 ? Depth::To2(pixels[x]) : pixels[x];
    }
  }
  const BYTE* const first =
      &spread[static_cast<std::size_t>((piece.fromRow - top) * kSize + piece.fromColumn - left)];
  CopySteps<1>(turned.data(), kSize, first, IsQuarter(kTurn) ? along * kSize : along,
               IsQuarter(kTurn) ? down : down * kSize, piece.width, piece.height);
  for (int y = 0; y < piece.height; ++y) {
    WritePixels<Depth>(piece.to + (piece.row + y) * kStride, piece.column,
                       &turned[static_cast<std::size_t>(y * kSize)], piece.width);
  }
}

// --- Single bits --------------------------------------------------------------------------------

constexpr int kBitRow = kRowBytes<Depth1>;

/// Eight rows of eight bits, the first row in the highest byte, turned over: the leftmost column
/// becomes the first row.
constexpr u64 TransposeBits(u64 rows) {
  const auto exchange = [&rows](int shift, u64 mask) {
    const u64 moved = (rows ^ (rows >> shift)) & mask;
    rows ^= moved ^ (moved << shift);
  };
  exchange(7, 0x00AA00AA00AA00AA);
  exchange(14, 0x0000CCCC0000CCCC);
  exchange(28, 0x00000000F0F0F0F0);
  return rows;
}

/// A byte of the result in eight rows at a time: eight rows of the source, of which one byte.
template <Turn kTurn>
void TurnBits(const TurnPiece& piece) {
  const int columnEnd = piece.column + piece.width;
  const int down = StepDown(kTurn), along = StepAlong(kTurn);
  // The columns of the source that become rows of the result.
  const int left = piece.fromColumn - (down < 0 ? piece.height - 1 : 0);
  for (int column = piece.column; column < columnEnd; column = (column | 7) + 1) {
    const int first = column & 7, end = std::min(8, first + columnEnd - column);
    const int mask = (0xFF >> first) & (0xFF00 >> end);
    BYTE* const target = piece.to + column / 8;
    const BYTE* const source =
        piece.from + (piece.fromRow + along * (column - piece.column)) * kBitRow;
    for (int byte = left / 8; byte <= (left + piece.height - 1) / 8; ++byte) {
      u64 bits = 0;
      for (int i = first; i < end; ++i) {
        bits |= u64{source[along * (i - first) * kBitRow + byte]} << (56 - 8 * i);
      }
      bits = TransposeBits(bits);
      const int begin = std::max(left - 8 * byte, 0);
      const int stop = std::min(left + piece.height - 8 * byte, 8);
      for (int i = begin; i < stop; ++i) {
        BYTE& to = target[(piece.row + down * (8 * byte + i - piece.fromColumn)) * kBitRow];
        to = static_cast<BYTE>((to & ~mask) | (static_cast<int>(bits >> (56 - 8 * i)) & mask));
      }
    }
  }
}

constexpr auto kReversed = [] {
  std::array<BYTE, 256> table{};
  for (unsigned value = 0; value < 256; ++value) {
    for (unsigned bit = 0; bit < 8; ++bit) {
      if (value >> bit & 1) table[value] = static_cast<BYTE>(table[value] | 0x80 >> bit);
    }
  }
  return table;
}();

template <Turn kTurn>
void MirrorBits(const TurnPiece& piece) {
  for (int y = 0; y < piece.height; ++y) {
    BYTE* const to = piece.to + (piece.row + y) * kBitRow;
    const BYTE* const from = piece.from + (piece.fromRow + StepDown(kTurn) * y) * kBitRow;
    if constexpr (kTurn == Turn::kMirrorX) {
      BYTE reversed[kBitRow];
      for (int i = 0; i < kBitRow; ++i) {
        reversed[i] = kReversed[from[kBitRow - 1 - i]];
      }
      CopyRow<Depth1>(to, piece.column, reversed, kSize - 1 - piece.fromColumn, piece.width);
    } else {
      CopyRow<Depth1>(to, piece.column, from, piece.fromColumn, piece.width);
    }
  }
}

template <class Depth, Turn kTurn>
constexpr TurnFunc FuncOf() {
  if constexpr (Depth::kBits >= 8) return TurnBytes<Depth, kTurn>;
  if constexpr (Depth::kBits == 2) return TurnPacked<Depth, kTurn>;
  if constexpr (Depth::kBits == 1) return IsQuarter(kTurn) ? TurnBits<kTurn> : MirrorBits<kTurn>;
}

}  // namespace

TurnFunc FindTurn(int bits, Turn turn) {
  return WithDepth(bits, [turn](auto depth) -> TurnFunc {
    using Depth = decltype(depth);
    switch (turn) {
      case Turn::kLeft:
        return FuncOf<Depth, Turn::kLeft>();
      case Turn::kRight:
        return FuncOf<Depth, Turn::kRight>();
      case Turn::kMirrorX:
        return FuncOf<Depth, Turn::kMirrorX>();
      default:
        return FuncOf<Depth, Turn::kMirrorY>();
    }
  });
}

}  // namespace kxw
