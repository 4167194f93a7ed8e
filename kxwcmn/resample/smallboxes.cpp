#include "kxwcmn/resample/detail/smallboxes.h"

#include <algorithm>
#include <cstring>

#include "kxwcmn/platform/vectorize_internal.h"

namespace kxw {
namespace {

/// Boxes that are looked at together: a cel is flat for long stretches.
constexpr int kRun = SmallBoxAverage::kRun;
/// Pixels that loops over columns take at once.
constexpr int kStep = 8;
/// Pixels of a run's row, with those that the last step takes along.
constexpr int kMostWidth = 2 * kRun + kStep;

DWORD Load(const BYTE* row, int x) {
  DWORD pixel;
  std::memcpy(&pixel, row + 4 * x, sizeof pixel);
  return pixel;
}

// Sums have a lane of 16 bits for each channel, the even bytes of a pixel in the lower two and the
// odd ones in the upper two, and the number of drawn pixels above the alpha, which is the last.
constexpr DWORD kEven = 0x00FF00FF;
constexpr int kDrawnBit = 28, kSumBits = 12;

constexpr u64 Lanes(u64 color, u64 alpha) {
  return color | color << 16 | color << 32 | alpha << 48;
}

/// What the doubled sums of up to four drawn pixels are multiplied with, for the upper half of the
/// product to be the average, cut to a whole number. Of the alpha all four pixels have a part.
constexpr u64 kFactors[] = {Lanes(32768, 8192), Lanes(32768, 8192), Lanes(16384, 8192),
                            Lanes(10923, 8192), Lanes(8192, 8192)};

/// Pixels of two rows as lanes.
template <bool kIsAllDrawn>
void SumPixels(const BYTE* row, const BYTE* next, int width, u64* sums) {
  for (int x = 0; x < width; ++x) {
    DWORD a = Load(row, x), b = Load(next, x), drawn = 0;
    if constexpr (!kIsAllDrawn) {
      const DWORD isA = a >> 24 != 0, isB = b >> 24 != 0;
      a &= 0 - isA;
      b &= 0 - isB;
      drawn = (isA + isB) << kDrawnBit;
    }
    const DWORD even = (a & kEven) + (b & kEven);
    const DWORD odd = (a >> 8 & kEven) + (b >> 8 & kEven) + drawn;
    sums[x] = even | u64{odd} << 32;
  }
}

/// Lanes of averages as a pixel.
DWORD ToPixel(u64 lanes) { return static_cast<DWORD>(lanes | lanes >> 24); }

void AverageAll(const u64* sums, const BYTE* areLong, BYTE* pixels) {
  for (int i = 0; i < kRun; ++i) {
    const u64 lanes = (sums[0] + sums[areLong[i]]) >> 2 & Lanes(0xFF, 0xFF);
    sums += 1 + areLong[i];
    const DWORD pixel = ToPixel(lanes);
    std::memcpy(pixels + 4 * i, &pixel, sizeof pixel);
  }
}

void AverageDrawn(const u64* sums, const BYTE* areLong, DWORD blank, BYTE* pixels) {
  // Where nothing is drawn, the average of that.
  const u64 blanks[5] = {(blank & kEven) | u64{blank >> 8 & kEven} << 32};
  WORD words[4 * kRun], factors[4 * kRun];
  for (int i = 0; i < kRun; ++i) {
    const u64 sum = sums[0] + sums[areLong[i]];
    sums += 1 + areLong[i];
    const std::size_t drawn = sum >> (32 + kDrawnBit);
    const u64 lanes = sum | blanks[drawn];
    std::memcpy(words + 4 * i, &lanes, sizeof lanes);
    std::memcpy(factors + 4 * i, &kFactors[drawn], sizeof kFactors[drawn]);
  }
  constexpr WORD kSum = (1 << kSumBits) - 1;
  for (int i = 0; i < 4 * kRun; ++i) {
    const DWORD doubled = static_cast<WORD>((words[i] & kSum) * 2);
    words[i] = static_cast<WORD>(doubled * factors[i] >> 16);
  }
  for (int i = 0; i < kRun; ++i) {
    u64 lanes;
    std::memcpy(&lanes, words + 4 * i, sizeof lanes);
    const DWORD pixel = ToPixel(lanes);
    std::memcpy(pixels + 4 * i, &pixel, sizeof pixel);
  }
}

/// `width` is a number of steps.
void AverageRun(const BYTE* row, const BYTE* next, int width, const BYTE* areLong, DWORD blank,
                BYTE* pixels) {
  const DWORD pixel = Load(row, 0);
  DWORD others = 0, isAnyClear = 0;
  for (int x = 0; x < width; ++x) {
    const DWORD a = Load(row, x), b = Load(next, x);
    others |= (a ^ pixel) | (b ^ pixel);
    isAnyClear |= (a < 0x01000000) | (b < 0x01000000);
  }
  u64 sums[kMostWidth];
  if (others == 0) {
    const DWORD flat = pixel >> 24 ? pixel : blank;
    for (int i = 0; i < kRun; ++i) std::memcpy(pixels + 4 * i, &flat, sizeof flat);
  } else if (!isAnyClear) {
    SumPixels<true>(row, next, width, sums);
    AverageAll(sums, areLong, pixels);
  } else {
    SumPixels<false>(row, next, width, sums);
    AverageDrawn(sums, areLong, blank, pixels);
  }
}

void AverageRow(const BYTE* row, const BYTE* next, const WORD* firsts, const BYTE* areLong,
                int count, DWORD blank, BYTE* pixels) {
  const int runs = (count + kRun - 1) / kRun, end = firsts[runs];
  for (int i = 0; i < runs; ++i) {
    const int first = firsts[i], width = firsts[i + 1] - first;
    const int steps = (width + kStep - 1) / kStep * kStep, boxes = std::min(kRun, count - i * kRun);
    const BYTE *const a = row + 4 * first, *const b = next + 4 * first;
    BYTE* const to = pixels + 4 * kRun * i;
    if (boxes == kRun && first + steps <= end) {
      AverageRun(a, b, steps, areLong + kRun * i, blank, to);
      continue;
    }
    // The last run ends with its row: its last pixels stand for those behind, of boxes that are
    // not.
    BYTE ends[2][4 * kMostWidth], averages[4 * kRun];
    for (int x = 0; x < kMostWidth; ++x) {
      const DWORD of[] = {Load(a, std::min(x, width - 1)), Load(b, std::min(x, width - 1))};
      for (int k = 0; k < 2; ++k) std::memcpy(ends[k] + 4 * x, &of[k], sizeof of[k]);
    }
    AverageRun(ends[0], ends[1], kMostWidth, areLong + kRun * i, blank, averages);
    std::memcpy(to, averages, 4 * static_cast<std::size_t>(boxes));
  }
}

}  // namespace

SmallBoxAverage::SmallBoxAverage(const BoxColumns& columns) : count_(columns.Count()) {
  for (int i = 0; i < count_; i += kRun) firsts_[i / kRun] = static_cast<WORD>(columns.Begin(i));
  firsts_[(count_ + kRun - 1) / kRun] =
      static_cast<WORD>(columns.Begin(count_ - 1) + columns.Length(count_ - 1));
  for (int i = 0; i < count_; ++i) areLong_[i] = columns.IsLong(i);
}

void SmallBoxAverage::Take(const BYTE* row, const BYTE* next, DWORD blank, BYTE* pixels) const {
  InVectors<AverageRow>(row, next, firsts_, areLong_, count_, blank, pixels);
}

}  // namespace kxw
