#include <algorithm>

#include "kxwcmn/offscreen/voffscreen.h"

namespace {

/// The turn in which a cell of a square of 2^bits cells a side is filled, so that each level is
/// spread as evenly as it can be: the turn's digits in base 4 are 0, 2, 3, 1 for the four corners
/// (row, column) of ever smaller squares.
constexpr int FillTurn(int row, int column, int bits) {
  constexpr int kDigit[2][2] = {{0, 2}, {3, 1}};
  int turn = 0;
  for (int bit = 0; bit < bits; ++bit) {
    turn = turn * 4 + kDigit[row >> bit & 1][column >> bit & 1];
  }
  return turn;
}

/// Level n has 1 in the first n cells, `next` in the cell after them and `rest` in all others.
constexpr KXVOffscreen::DitherLevels MakeLevels(BYTE next, BYTE rest) {
  KXVOffscreen::DitherLevels levels{};
  for (std::size_t n = 0; n < levels.size(); ++n) {
    for (std::size_t i = 0; i < 16; ++i) {
      const auto turn =
          static_cast<std::size_t>(FillTurn(static_cast<int>(i / 4), static_cast<int>(i % 4), 2));
      levels[n][i / 4][i % 4] = turn < n ? 1 : turn == n ? next : rest;
    }
  }
  return levels;
}

constexpr std::array<BYTE, 256> MakeThresholds() {
  std::array<BYTE, 256> thresholds{};
  for (int i = 0; i < 256; ++i) {
    thresholds[static_cast<std::size_t>(i)] = static_cast<BYTE>(FillTurn(i / 16, i % 16, 4));
  }
  return thresholds;
}

/// A position within a pattern of `size` cells a side, a power of two.
constexpr std::size_t Cell(int position, int size) {
  return static_cast<std::size_t>(position & (size - 1));
}

}  // namespace

constinit const KXVOffscreen::DitherLevels KXVOffscreen::cbDitherTable = MakeLevels(0, 0);
constinit const KXVOffscreen::DitherLevels KXVOffscreen::cbDitherTable2 = MakeLevels(0, 2);
constinit const std::array<BYTE, 256> KXVOffscreen::cbDitherTable256 = MakeThresholds();

int KXVOffscreen::GetDitherValue(int value) const {
  value = std::clamp(value, 0, 256);
  const int x = cursor_.x, y = cursor_.y;
  const auto coarse = static_cast<std::size_t>(value >> 4);
  switch (cbDitherTable2[coarse][Cell(x >> 2, 4)][Cell(y >> 2, 4)]) {
    case 0:  // the one tile that the coarse level leaves open
      return cbDitherTable[static_cast<std::size_t>(value & 15)][Cell(x, 4)][Cell(y, 4)];
    case 1:
      return 1;
    default:
      return 0;
  }
}

int KXVOffscreen::GetDitherValue16(int value) const {
  // Row before column here, and the other way round above: it is meant.
  const auto level = static_cast<std::size_t>(std::clamp(value, 0, 16));
  return cbDitherTable[level][Cell(cursor_.y, 4)][Cell(cursor_.x, 4)];
}

int KXVOffscreen::GetDitherValue255(int value) const {
  if (value >= 255) return 1;
  if (value <= 0) return 0;
  return GetDitherOrgValue255(cursor_.x, cursor_.y) <= value;
}

BYTE KXVOffscreen::GetDitherOrgValue255(int x, int y) {
  return cbDitherTable256[Cell(y, 16) * 16 + Cell(x, 16)];
}
