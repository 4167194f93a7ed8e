#pragma once

#include <cstddef>

#include "kxwcmn/offscreen/voffscreen.h"
#include "kxwcmn/platform/types.h"
#include "kxwcmn/resample/detail/scale.h"

/// Sums over boxes of pixels, a row of boxes at a time: first down the rows of the boxes, which are
/// plain loops over bytes, then along the sums of each box's columns.
namespace kxw {

inline constexpr int kMostColumns = KXVOffscreen::kBlockSize;

/// Adds up `count` bytes in each of `rows` rows, at most 257, that stand `rowBytes` apart.
void SumRows(const BYTE* row, std::ptrdiff_t rowBytes, int rows, int count, WORD* sums);

/// Where the boxes of a row begin and end. Their lengths differ by one at most: loops run over the
/// shortest length, and add one more column under a mask.
class BoxColumns {
 public:
  BoxColumns(int from, int count);
  /// Boxes next to each other, between `count` + 1 edges, of `shortest` columns or one more.
  BoxColumns(const int* edges, int count, int shortest);
  int Count() const { return count_; }
  int Begin(int i) const { return begins_[i]; }
  int Length(int i) const { return shortest_ + IsLong(i); }
  int Shortest() const { return shortest_; }
  bool IsLong(int i) const { return masks_[i] != 0; }
  u64 Mask(int i) const { return masks_[i]; }  // all bits for a box that is one column longer

 private:
  int count_, shortest_;
  int begins_[kMostColumns];
  u64 masks_[kMostColumns];
};

/// The sums of each box's columns. `sums` holds one column more than the boxes, of any value.
void SumColumns(const WORD* sums, const BoxColumns& columns, DWORD* boxes);

/// Each sum of bytes, of which there are at most 257, over their number, cut to a whole number;
/// `factors` are 1 over the numbers.
void DivideSums(const WORD* sums, const float* factors, int count, BYTE* quotients);

/// The averages of boxes of 32-bit pixels, each channel's sum over the number of pixels, cut to a
/// whole number.
class BoxAverage {
 public:
  /// For boxes of these columns; a part of an image.
  explicit BoxAverage(const BoxColumns& columns) : columns_(columns) {}

  /// `sums` are those of the channels of a row's columns, over `rows` rows, with a column more of
  /// any value.
  void Take(const WORD* sums, int rows, BYTE* pixels);

 private:
  /// The most pixels of a box whose channel sums fit words.
  static constexpr int kMostInWords = 257;

  void TakeSmall(const WORD* sums, int rows, BYTE* pixels);
  void TakeLarge(const WORD* sums, int rows, BYTE* pixels) const;
  const float* FactorsFor(int rows);

  const BoxColumns& columns_;
  // Of the two numbers of rows that occur in one part.
  int factorRows_[2] = {0, 0};
  float factors_[2][4 * kMostColumns];
};

/// Makes the channels of transparent pixels 0, in the first `count` of a row of 32-bit pixels, and
/// adds the others to the counts of their columns.
void DropTransparent(BYTE* row, int count, WORD* counts);

/// The same averages with colours of the pixels alone that are not wholly transparent, of which
/// `counts` are the numbers in the columns. `sums` must not have those of others. A box without
/// such a pixel becomes `blank`, as a word in memory.
void AverageDrawn(const WORD* sums, const WORD* counts, const BoxColumns& columns, int rows,
                  DWORD blank, BYTE* pixels);

}  // namespace kxw
