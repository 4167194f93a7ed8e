#include "kxwcmn/drawing/floodparts_internal.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstring>

#include "kxwcmn/drawing/detail/floodrows.h"
#include "kxwcmn/platform/vectorize_internal.h"

namespace kxw::flood {

namespace {

constexpr int kMostRuns = KXVOffscreen::kBlockSize * KXVOffscreen::kBlockSize / 2;

/// The first bits of the runs in a word; `before` is the word to its left.
u64 StartsOf(u64 word, u64 before) { return word & ~(word >> 1 | before << (kWordBits - 1)); }

/// The first run of the part that a run is known to be of.
int FirstOf(WORD* partOf, int run) {
  while (partOf[run] != run) run = partOf[run] = partOf[partOf[run]];
  return run;
}

}  // namespace

/// Numbers the runs, and joins those that touch from row to row: each gets the number of a run of
/// the same part, its own or a lower one. Returns how many there are.
int Parts::JoinRuns(std::vector<Row>& rows, WORD* partOf) {
  RowBits starts[2];
  int runs = 0;
  for (Row *row = rows.data(), *above = row; row != rows.data() + rows.size(); above = row++) {
    RowBits& mine = starts[(row - rows.data()) & 1];
    const RowBits& theirs = starts[(row - rows.data() + 1) & 1];
    u64 last = 0, lastBoth = 0;
    for (int k = 0; k < kRowWords; ++k) {
      mine[k] = StartsOf(row->open[k], last);
      last = row->open[k];
      row->before[k] = static_cast<WORD>(runs);
      for (const int end = runs + std::popcount(mine[k]); runs < end; ++runs) {
        partOf[runs] = static_cast<WORD>(runs);
      }
      if (row == above) continue;
      // Two runs touch in one stretch of columns, whose first one stands for both.
      const u64 both = row->open[k] & above->open[k];
      for (u64 joints = StartsOf(both, lastBoth); joints; joints &= joints - 1) {
        const int bit = std::countr_zero(joints);
        const int first = FirstOf(partOf, above->before[k] + std::popcount(theirs[k] >> bit) - 1);
        const int other = FirstOf(partOf, row->before[k] + std::popcount(mine[k] >> bit) - 1);
        partOf[std::max(first, other)] = static_cast<WORD>(std::min(first, other));
      }
      lastBoth = both;
    }
  }
  return runs;
}

Parts::Parts(const RowBits* open, int rows) : rows_(static_cast<std::size_t>(rows)) {
  for (Row& row : rows_) std::memcpy(row.open, open++, sizeof row.open);
  WORD joined[kMostRuns];
  const int runs = InVectors<JoinRuns>(rows_, joined);
  // The runs that stand for their parts come before all others of them.
  partOf_.resize(static_cast<std::size_t>(runs));
  for (int run = 0; run < runs; ++run) {
    partOf_[static_cast<std::size_t>(run)] =
        joined[run] == run ? static_cast<WORD>(left_++) : partOf_[joined[run]];
  }
  parts_.resize(static_cast<std::size_t>(left_));
  stretches_.resize(1);
  AddBorderRow(0, Side::kAbove);
  AddBorderRow(rows - 1, Side::kBelow);
  AddBorderColumn(0, Side::kLeft);
  AddBorderColumn(KXVOffscreen::kBlockMask, Side::kRight);
}

int Parts::RunAt(int column, int row) const {
  const auto& [open, before] = RowAt(row);
  const int word = column >> 6;
  const u64 starts = StartsOf(open[word], word > 0 ? open[word - 1] : 0);
  return before[word] + std::popcount(starts >> (~column & 63)) - 1;
}

template <class See>
void Parts::ForEachRun(int row, See see) const {
  const RowBits& open = RowAt(row).open;
  int run = RowAt(row).before[0] - 1;
  for (int word = 0; word < kRowWords; ++word) {
    bool goesOn = GoesOn(open, word);
    for (u64 rest = open[word]; rest; goesOn = false) {
      const int at = std::countl_zero(rest), count = std::countl_one(rest << at);
      rest &= ~BitsOf(at, count);
      if (!goesOn) ++run;
      see(run, goesOn, word, at, count);
    }
  }
}

void Parts::AddBorderRow(int row, Side side) {
  ForEachRun(row, [&](int run, bool goesOn, int word, int at, int count) {
    const int first = word * kWordBits + at, last = first + count - 1;
    if (goesOn) {
      stretches_.back().last = static_cast<BYTE>(last);
    } else {
      AddStretch(run, side, first, last);
    }
  });
}

void Parts::AddBorderColumn(int column, Side side) {
  for (int row = 0, end; row < Rows(); row = end + 1) {
    for (end = row; end < Rows() && IsOpen(column, end);) ++end;
    if (row < end) AddStretch(RunAt(column, row), side, row, end - 1);
  }
}

void Parts::AddStretch(int run, Side side, int first, int last) {
  Part& part = parts_[partOf_[static_cast<std::size_t>(run)]];
  stretches_.push_back({side, static_cast<BYTE>(first), static_cast<BYTE>(last), part.stretch});
  part.stretch = static_cast<WORD>(stretches_.size() - 1);
}

void Parts::GetReached(int row, u64* bits) const {
  if (AreAllReached()) {
    std::memcpy(bits, RowAt(row).open, sizeof(RowBits));
    return;
  }
  std::memset(bits, 0, sizeof(RowBits));
  ForEachRun(row, [&](int run, bool, int word, int at, int count) {
    if (IsReached(run)) bits[word] |= BitsOf(at, count);
  });
}

}  // namespace kxw::flood
