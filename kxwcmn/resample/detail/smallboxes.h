#pragma once

#include "kxwcmn/platform/types.h"
#include "kxwcmn/resample/detail/boxes.h"

namespace kxw {

/// The averages of boxes of one or two columns and rows of 32-bit pixels, as they come from slight
/// reductions. Pixels of alpha 0 have no part in the colours, as in `AverageDrawn`, and the results
/// are the same to the last bit.
///
/// A column or row that a box lacks counts as its first one again, which changes no average: so all
/// boxes have four pixels, and loops over them have no conditions.
class SmallBoxAverage {
 public:
  static constexpr int kRun = 32;  // boxes that are gone through together

  /// For boxes of these columns, next to each other.
  explicit SmallBoxAverage(const BoxColumns& columns);

  static bool CanTake(const BoxColumns& columns, int rows) {
    return columns.Shortest() == 1 && rows <= 2;
  }

  /// Averages the pixels of `row` and `next`, the same row for boxes of one, which begin with the
  /// first box. A box without any drawn pixel becomes `blank`, as a word in memory of alpha 0.
  void Take(const BYTE* row, const BYTE* next, DWORD blank, BYTE* pixels) const;

 private:
  int count_;
  WORD firsts_[kMostColumns / kRun + 1];  // columns of the runs, and where the last one ends
  BYTE areLong_[kMostColumns] = {};       // which boxes have two columns
};

}  // namespace kxw
