#include <algorithm>

#include "kxwcmn/persist/adler_internal.h"
#include "kxwcmn/platform/vectorize_internal.h"

// zlib's own sum takes half of the time of reading flat colours: it goes byte by byte. The checksum
// is the sum of all bytes, and the sum of that sum after every byte. In rows of 64 bytes the latter
// is 64 times the sums at the rows' starts, and each byte as often as bytes of its row remain.

namespace kxw {

namespace {

constexpr DWORD kModulus = 65521;
constexpr DWORD kColumns = 64;
constexpr std::size_t kMaxRows = 64;  // the sum of the sums stays below 2^32

/// The sums of some rows: of the bytes, and of all sums if the first one starts from 0.
struct RowSums {
  DWORD bytes, sums;
};

RowSums SumRows(const BYTE* data, std::size_t rows) {
  WORD column[kColumns] = {};   // of the rows so far
  DWORD before[kColumns] = {};  // of `column` at the start of every row
  for (std::size_t row = 0; row < rows; ++row, data += kColumns) {
    for (DWORD x = 0; x < kColumns; ++x) before[x] += column[x];
    for (DWORD x = 0; x < kColumns; ++x) column[x] = static_cast<WORD>(column[x] + data[x]);
  }
  RowSums result{};
  for (DWORD x = 0; x < kColumns; ++x) {
    result.bytes += column[x];
    result.sums += kColumns * before[x] + (kColumns - x) * column[x];
  }
  return result;
}

}  // namespace

DWORD Adler32(const BYTE* data, std::size_t size) {
  DWORD bytes = 1, sums = 0;
  while (size >= kColumns) {
    const std::size_t rows = std::min(size / kColumns, kMaxRows);
    const RowSums added = InVectors<SumRows>(data, rows);
    const std::size_t count = rows * kColumns;
    sums = static_cast<DWORD>((sums + u64{bytes} * count + added.sums) % kModulus);
    bytes = (bytes + added.bytes) % kModulus;
    data += count;
    size -= count;
  }
  for (; size > 0; --size) sums += bytes += *data++;
  return (sums % kModulus) << 16 | bytes % kModulus;
}

}  // namespace kxw
