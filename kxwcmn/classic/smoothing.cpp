#include "kxwcmn/classic/smoothing_internal.h"

#include <algorithm>
#include <cstring>

#include "kxwcmn/platform/vectorize_internal.h"

namespace kxw::stairs {

namespace {

constexpr int kWord = 64;
constexpr int kPixelBytes = 4;

/// A bit for each of 64 pairs of pixels, the first lowest: whether there is a border between them.
inline u64 Compare(const BYTE* a, const BYTE* b) {
  // Mostly all are equal, which is found out in line, many at a time.
  u64 differences = 0;
  for (int i = 0; i < kWord * kPixelBytes; i += 8) {
    u64 first, second;
    std::memcpy(&first, a + i, sizeof first);
    std::memcpy(&second, b + i, sizeof second);
    differences |= first ^ second;
  }
  if (differences == 0) return 0;
  BYTE answers[kWord];
  for (int i = 0; i < kWord; ++i) {
    const QMCOLORREF first = Classic32::Load(a + i * kPixelBytes, 0);
    const QMCOLORREF second = Classic32::Load(b + i * kPixelBytes, 0);
    answers[i] = IsBorder(first, second, kBorder) ? 1 : 0;
  }
  u64 word = 0;
  for (int i = kWord - 8; i >= 0; i -= 8) {
    u64 eight;
    std::memcpy(&eight, answers + i, sizeof eight);
    // The product brings the eight answers together in its highest byte.
    word = word << 8 | eight * 0x0102040810204080 >> 56;
  }
  return word;
}

/// The same for up to 64 pairs.
u64 Compare(const BYTE* a, const BYTE* b, int count) {
  BYTE first[kWord * kPixelBytes] = {}, second[kWord * kPixelBytes] = {};
  const auto bytes = static_cast<std::size_t>(count) * kPixelBytes;
  std::memcpy(first, a, bytes);
  std::memcpy(second, b, bytes);
  return Compare(first, second);
}

/// The borders of a row of pixels, and those between it and the next row.
void ReadRow(const BYTE* row, const BYTE* next, int width, u64* along, u64* across) {
  for (int x = 0, i = 0; x <= width; x += kWord, ++i) {
    const BYTE* const at = row + std::ptrdiff_t{x} * kPixelBytes;
    const int count = std::min(width - x, kWord);
    if (x == 0) {
      along[i] = count > 1 ? Compare(at, at + kPixelBytes, count - 1) << 1 : 0;
    } else {
      along[i] =
          count == kWord ? Compare(at - kPixelBytes, at) : Compare(at - kPixelBytes, at, count);
    }
    if (!next) {
      across[i] = 0;
    } else {
      const BYTE* const beside = next + std::ptrdiff_t{x} * kPixelBytes;
      across[i] = count == kWord ? Compare(at, beside) : Compare(at, beside, count);
    }
  }
}

void SetEnds(BitPlane& along, int lines, int positions) {
  for (int line = 0; line < lines; ++line) {
    along.Line(line)[0] |= 1;
    along.Line(line)[positions / kWord] |= u64{1} << positions % kWord;
  }
}

/// Bit k of word i becomes bit i of word k.
void Transpose(u64 (&words)[kWord]) {
  u64 mask = 0x00000000FFFFFFFF;
  for (int j = 32; j; j >>= 1, mask ^= mask << j) {
    for (int k = 0; k < kWord; k = ((k | j) + 1) & ~j) {
      const u64 moved = (words[k] >> j ^ words[k | j]) & mask;
      words[k] ^= moved << j;
      words[k | j] ^= moved;
    }
  }
}

/// Line x of `to`, of which there are `lines`, gets bit x of the `positions` lines of `from` up to
/// `last`, in reverse order.
void Turn(const BitPlane& from, int last, int positions, BitPlane& to, int lines) {
  for (int first = 0; first <= positions; first += kWord) {
    const int count = std::min(positions - first, kWord);
    for (int i = 0; i * kWord < lines; ++i) {
      u64 block[kWord] = {}, any = 0;
      for (int k = 0; k < count; ++k) any |= block[k] = from.Line(last - first - k)[i];
      if (any) Transpose(block);
      const int end = std::min(lines - i * kWord, kWord);
      for (int k = 0; k < end; ++k) to.Line(i * kWord + k)[first / kWord] = block[k];
    }
  }
}

void Clear(BitPlane& plane, int line) { std::fill_n(plane.Line(line), plane.Words(), 0); }

}  // namespace

Borders FindBorders(const BYTE* base, int rowBytes, int width, int height) {
  Borders borders(height, width);
  for (int y = 0; y < height; ++y) {
    const BYTE* const row = base + std::ptrdiff_t{y} * rowBytes;
    kxw::InVectors<ReadRow>(row, y + 1 < height ? row + rowBytes : nullptr, width,
                            borders.along.Line(y), borders.across.Line(y + 1));
  }
  SetEnds(borders.along, height, width);
  Clear(borders.across, 0);
  return borders;
}

Borders TurnBorders(const Borders& rows, int width, int height) {
  Borders columns(width, height);
  Turn(rows.across, height, height, columns.along, width);
  SetEnds(columns.along, width, height);
  Turn(rows.along, height - 1, height, columns.across, width);
  // The ends of rows are no borders between columns.
  Clear(columns.across, 0);
  Clear(columns.across, width);
  return columns;
}

SparseScratch::Tile* SparseScratch::MakeTile() {
  if (left_ == 0) {
    memory_.emplace_back(new Tile[kAtOnce]);
    left_ = kAtOnce;
  }
  Tile* const tile = &memory_.back()[kAtOnce - left_--];
  tile->set = 0;
  return tile;
}

}  // namespace kxw::stairs
