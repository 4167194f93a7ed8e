#include "kxwcmn/resample/detail/boxes.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "kxwcmn/platform/vectorize_internal.h"

namespace kxw {
namespace {

/// Adds up to four rows at a time, so that the sums go through memory that much less often.
template <int kRows, bool kFirst>
inline void AddRows(const BYTE* row, std::ptrdiff_t rowBytes, int count, WORD* sums) {
  for (int i = 0; i < count; ++i) {
    int sum = kFirst ? 0 : sums[i];
    for (int k = 0; k < kRows; ++k) sum += row[k * rowBytes + i];
    sums[i] = static_cast<WORD>(sum);
  }
}

template <bool kFirst>
inline void AddSomeRows(const BYTE* row, std::ptrdiff_t rowBytes, int rows, int count, WORD* sums) {
  switch (rows) {
    case 1:
      return AddRows<1, kFirst>(row, rowBytes, count, sums);
    case 2:
      return AddRows<2, kFirst>(row, rowBytes, count, sums);
    case 3:
      return AddRows<3, kFirst>(row, rowBytes, count, sums);
    default:
      return AddRows<4, kFirst>(row, rowBytes, count, sums);
  }
}

u64 Lanes(const WORD* at) {
  u64 lanes;
  std::memcpy(&lanes, at, sizeof lanes);
  return lanes;
}

void AddAllRows(const BYTE* row, std::ptrdiff_t rowBytes, int rows, int count, WORD* sums) {
  AddSomeRows<true>(row, rowBytes, std::min(rows, 4), count, sums);
  for (int done = 4; done < rows; done += 4) {
    AddSomeRows<false>(row + done * rowBytes, rowBytes, std::min(rows - done, 4), count, sums);
  }
}

}  // namespace

void SumRows(const BYTE* row, std::ptrdiff_t rowBytes, int rows, int count, WORD* sums) {
  InVectors<AddAllRows>(row, rowBytes, rows, count, sums);
}

BoxColumns::BoxColumns(int from, int count) : count_(count), shortest_(std::max(from / count, 1)) {
  const Spans spans(from, count);
  for (int i = 0; i < count; ++i) {
    begins_[i] = spans.Begin(i);
    masks_[i] = spans.End(i) - begins_[i] > shortest_ ? ~0ull : 0;
  }
}

BoxColumns::BoxColumns(const int* edges, int count, int shortest)
    : count_(count), shortest_(shortest) {
  for (int i = 0; i < count; ++i) {
    begins_[i] = edges[i];
    masks_[i] = edges[i + 1] - edges[i] > shortest ? ~0ull : 0;
  }
}

void SumColumns(const WORD* sums, const BoxColumns& columns, DWORD* boxes) {
  const int shortest = columns.Shortest();
  for (int i = 0; i < columns.Count(); ++i) {
    const WORD* at = sums + columns.Begin(i);
    DWORD sum = at[shortest] & static_cast<DWORD>(columns.Mask(i));
    for (int k = 0; k < shortest; ++k) sum += at[k];
    boxes[i] = sum;
  }
}

// --- Averages -----------------------------------------------------------------------------------

namespace {

/// The sums of a row of boxes, four channels to a word of 64 bits.
void SumLanes(const WORD* sums, const BoxColumns& columns, WORD* boxes) {
  const int shortest = columns.Shortest();
  for (int i = 0; i < columns.Count(); ++i) {
    const WORD* at = sums + 4 * columns.Begin(i);
    u64 sum = Lanes(at + 4 * shortest) & columns.Mask(i);
    for (int k = 0; k < shortest; ++k) sum += Lanes(at + 4 * k);
    std::memcpy(boxes + 4 * i, &sum, sizeof sum);
  }
}

}  // namespace

// With half a step added the product is at least 1/514 away from any whole number, and the errors
// of factor and product together are below 1/32768.
void DivideSums(const WORD* sums, const float* factors, int count, BYTE* quotients) {
  for (int i = 0; i < count; ++i) {
    const float sum = static_cast<float>(static_cast<int>(sums[i])) + 0.5f;
    quotients[i] = static_cast<BYTE>(static_cast<int>(sum * factors[i]));
  }
}

void BoxAverage::Take(const WORD* sums, int rows, BYTE* pixels) {
  if (rows * (columns_.Shortest() + 1) <= kMostInWords) {
    TakeSmall(sums, rows, pixels);
  } else {
    TakeLarge(sums, rows, pixels);
  }
}

void BoxAverage::TakeSmall(const WORD* sums, int rows, BYTE* pixels) {
  WORD boxes[4 * kMostColumns];
  SumLanes(sums, columns_, boxes);
  InVectors<DivideSums>(boxes, FactorsFor(rows), 4 * columns_.Count(), pixels);
}

void BoxAverage::TakeLarge(const WORD* sums, int rows, BYTE* pixels) const {
  for (int i = 0; i < columns_.Count(); ++i) {
    const WORD* at = sums + 4 * columns_.Begin(i);
    const int length = columns_.Length(i);
    DWORD box[4] = {};
    for (int k = 0; k < 4 * length; ++k) box[k & 3] += at[k];
    const DWORD number = static_cast<DWORD>(rows * length);
    for (int c = 0; c < 4; ++c) pixels[4 * i + c] = static_cast<BYTE>(box[c] / number);
  }
}

const float* BoxAverage::FactorsFor(int rows) {
  for (int i = 0; i < 2; ++i) {
    if (factorRows_[i] == rows) return factors_[i];
  }
  if (factorRows_[0] != 0) {
    factorRows_[1] = factorRows_[0];
    std::copy(factors_[0], factors_[0] + 4 * columns_.Count(), factors_[1]);
  }
  factorRows_[0] = rows;
  for (int i = 0; i < columns_.Count(); ++i) {
    const float factor = 1.0f / static_cast<float>(rows * columns_.Length(i));
    std::fill_n(factors_[0] + 4 * i, 4, factor);
  }
  return factors_[0];
}

namespace {

using Word KX_MAY_ALIAS = DWORD;

void DropAndCount(BYTE* row, int count, WORD* counts) {
  auto* const words = reinterpret_cast<Word*>(row);
  for (int i = 0; i < count; ++i) {
    const DWORD isDrawn = words[i] >> 24 != 0;
    words[i] &= 0 - isDrawn;
    counts[i] = static_cast<WORD>(counts[i] + isDrawn);
  }
}

}  // namespace

void DropTransparent(BYTE* row, int count, WORD* counts) {
  InVectors<DropAndCount>(row, count, counts);
}

void AverageDrawn(const WORD* sums, const WORD* counts, const BoxColumns& columns, int rows,
                  DWORD blank, BYTE* pixels) {
  for (int i = 0; i < columns.Count(); ++i, pixels += 4) {
    const int begin = columns.Begin(i), length = columns.Length(i);
    DWORD box[4] = {}, drawn = 0;
    for (int k = begin; k < begin + length; ++k) {
      drawn += counts[k];
      for (int c = 0; c < 4; ++c) box[c] += sums[4 * k + c];
    }
    if (drawn == 0) {
      std::memcpy(pixels, &blank, sizeof blank);
      continue;
    }
    const DWORD all = static_cast<DWORD>(rows * length);
    for (int c = 0; c < 3; ++c) pixels[c] = static_cast<BYTE>(box[c] / drawn);
    pixels[3] = static_cast<BYTE>(box[3] / all);
  }
}

}  // namespace kxw
