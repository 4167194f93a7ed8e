#pragma once

#include <bit>
#include <cstddef>
#include <vector>

#include "kxwcmn/drawing/detail/floodwords.h"
#include "kxwcmn/offscreen/voffscreen.h"

namespace kxw::flood {

/// The rows of a block that a fill works out at a time.
inline constexpr int kBandRows = 16;
/// The words of bits that stand for a row of a block, the leftmost pixel in the highest bit.
inline constexpr int kRowWords = KXVOffscreen::kBlockSize / kWordBits;
using RowBits = u64[kRowWords];
using BandBits = RowBits[kBandRows];

/// The pixels of some rows of a block that can be painted, in connected parts, and which of these a
/// fill has reached. Rows and columns count from the first ones.
///
/// A part is known by any of its runs; these are numbered row by row from the left. All that a fill
/// wants to know is then a matter of runs, not of pixels.
class Parts {
 public:
  enum class Side : BYTE { kAbove, kBelow, kLeft, kRight };
  /// Pixels of a part side by side at the border: columns of the first or the last row, or
  /// rows of the first or the last column. Both ends are in it.
  struct Stretch {
    Side side;
    BYTE first, last;
    WORD next;  // of the same part; 0 is none
  };

  /// Of `rows` rows, at most a block. Raises std::bad_alloc.
  Parts(const RowBits* open, int rows);

  int Runs() const { return static_cast<int>(partOf_.size()); }
  int Rows() const { return static_cast<int>(rows_.size()); }

  /// Reaches the parts that hold pixels of the `count` ones from (`column`, `row`) on, to the right
  /// or, in the first or the last column, downward. Calls `leave(const Stretch&)` for the
  /// stretches of those that were not reached before.
  template <class Leave>
  void ReachRow(int column, int row, int count, Leave leave);
  template <class Leave>
  void ReachColumn(int column, int row, int count, Leave leave);

  bool AreAllReached() const { return left_ == 0; }
  /// The bits of a row's pixels that were reached.
  void GetReached(int row, u64* bits) const;

 private:
  struct Part {
    WORD stretch = 0;  // the first one
    bool isReached = false;
  };

  void AddBorderRow(int row, Side side);
  void AddBorderColumn(int column, Side side);
  void AddStretch(int run, Side side, int first, int last);

  struct Row {
    RowBits open;
    WORD before[kRowWords];  // the runs that begin before a word
  };
  const Row& RowAt(int row) const { return rows_[static_cast<std::size_t>(row)]; }

  bool IsOpen(int column, int row) const {
    return RowAt(row).open[column >> 6] << (column & 63) & kFirstBit;
  }
  /// Whether the first pixel of a word goes on a run of the word before it.
  static bool GoesOn(const RowBits& open, int word) {
    return word > 0 && open[word - 1] & open[word] >> (kWordBits - 1) & 1;
  }
  /// Calls `see(run, goesOn, word, at, count)` for the runs of a row from the left, cut at the ends
  /// of words: number `at` of the word is the first of the `count` pixels, and `goesOn` tells that
  /// the run began before the word.
  template <class See>
  void ForEachRun(int row, See see) const;
  bool IsReached(int run) const { return parts_[partOf_[static_cast<std::size_t>(run)]].isReached; }
  /// The number of the run that holds an open pixel.
  int RunAt(int column, int row) const;
  static int JoinRuns(std::vector<Row>& rows, WORD* partOf);
  template <class Leave>
  void Reach(int run, Leave leave);

  std::vector<Row> rows_;
  std::vector<WORD> partOf_;  // by runs
  std::vector<Part> parts_;
  std::vector<Stretch> stretches_;  // number 0 is not used
  int left_ = 0;                    // parts that were not reached
};

template <class Leave>
inline void Parts::Reach(int run, Leave leave) {
  Part& part = parts_[partOf_[static_cast<std::size_t>(run)]];
  if (part.isReached) return;
  part.isReached = true;
  --left_;
  for (WORD i = part.stretch; i != 0; i = stretches_[i].next) leave(stretches_[i]);
}

template <class Leave>
void Parts::ReachRow(int column, int row, int count, Leave leave) {
  const RowBits& open = RowAt(row).open;
  const int end = column + count;
  while (column < end) {
    const int skipped = column & 63;
    const u64 rest = open[column >> 6] << skipped;
    if (!rest) {
      column = (column | 63) + 1;
      continue;
    }
    column += std::countl_zero(rest);
    if (column >= end) return;
    Reach(RunAt(column, row), leave);
    // Past the pixels of the run that lie in the word.
    column += std::countl_one(open[column >> 6] << (column & 63));
  }
}

template <class Leave>
void Parts::ReachColumn(int column, int row, int count, Leave leave) {
  for (int end = row + count; row < end; ++row) {
    if (IsOpen(column, row)) Reach(RunAt(column, row), leave);
  }
}

}  // namespace kxw::flood
