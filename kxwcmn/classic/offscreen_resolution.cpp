#include <array>
#include <cstring>
#include <type_traits>

#include "kxwcmn/classic/resize_internal.h"
#include "kxwcmn/compositing/detail/rows.h"
#include "kxwcmn/core/exception.h"
#include "kxwcmn/platform/vectorize_internal.h"
#include "kxwcmn/resample/detail/ratiorows.h"

namespace {

using kxw::Resizing;

constexpr int kPiece = KXVOffscreen::kBlockSize;  // pixels that are halved or converted at a time

/// The depth of results that are made of pixels of a depth: 1 bit becomes densities.
template <class Depth>
using Result = std::conditional_t<Depth::kBits == 1, kxw::Classic8, Depth>;

/// Rows of results on their way to an image: they are made where they belong if the image has their
/// depth, else beside it, and converted as colours.
template <class Depth>
class ResultRows {
 public:
  explicit ResultRows(KXOffscreen& image)
      : image_(image),
        isPlain_(image.GetBitCount() == Depth::kBits),
        read_(kxw::FindClassicReadColors(Depth::kBits)),
        write_(kxw::FindClassicWriteColors(image.GetBitCount())) {}

  /// Where the results go that belong from column `x` of row `y` on, at most a strip.
  BYTE* Place(int x, int y) {
    return isPlain_ ? kxw::ClassicRow(image_, y) + kxw::PixelByte<Depth>(x) : pixels_.data();
  }
  /// Ends what `Place` has begun.
  void Finish(int x, int y, int count) {
    if (!isPlain_) {
      Convert(x, y, count);
    } else if constexpr (Depth::kBits == 32) {
      BYTE* const at = Place(x, y);
      for (int i = 0; i < count; ++i) at[std::ptrdiff_t{i} * 4] = 255;
    }
  }
  /// The results of the row before once more.
  void Repeat(int x, int y, int count) {
    if (isPlain_) {
      std::memcpy(Place(x, y), Place(x, y - 1),
                  static_cast<std::size_t>(kxw::PixelByte<Depth>(count)));
    } else {
      Convert(x, y, count);
    }
  }

 private:
  void Convert(int x, int y, int count) {
    BYTE* const row = kxw::ClassicRow(image_, y);
    DWORD colors[kPiece];
    for (int done = 0; done < count; done += kPiece) {
      const int pixels = std::min(kPiece, count - done);
      read_(colors, pixels_.data(), done, pixels);
      write_(row, x + done, colors, pixels);
    }
  }

  KXOffscreen& image_;
  const bool isPlain_;
  const kxw::ClassicReadColorsFunc read_;
  const kxw::ClassicWriteColorsFunc write_;
  std::array<BYTE, std::size_t{kxw::kStrip} * (Depth::kBits / 8)> pixels_;
};

// Single pixels of a row brought side by side: `columns`, of which there is one at least, tells
// where they stand in the row, and never falls.

/// `count` pixels of `kBytes` bytes.
template <int kBytes>
void PickPixels(BYTE* to, const BYTE* from, const int* columns, int count) {
  int i = 0;
  if constexpr (kBytes == 3) {
    // They move as four bytes: what is written too much is written over by the next one. Neither
    // may be done at the last one, behind which the row may end.
    for (const int last = columns[count - 1]; i < count - 1 && columns[i] < last; ++i) {
      std::memcpy(to + std::ptrdiff_t{i} * 3, from + std::ptrdiff_t{columns[i]} * 3, 4);
    }
  }
  for (; i < count; ++i) {
    std::memcpy(to + std::ptrdiff_t{i} * kBytes, from + std::ptrdiff_t{columns[i]} * kBytes,
                kBytes);
  }
}

/// Asks for the pixels of a row that is picked from next: the rows of a reduction lie too far apart
/// for the machine to foresee them. Pixels that are far apart are not worth it.
template <int kBits>
void PrefetchPixels(const BYTE* row, const int* columns, int count) {
  if (columns[count - 1] - columns[0] > 8 * kPiece) return;
  const BYTE* const end = row + std::ptrdiff_t{columns[count - 1]} * kBits / 8;
  for (const BYTE* at = row + std::ptrdiff_t{columns[0]} * kBits / 8; at < end; at += 64) {
    KXW_PREFETCH(at);
  }
}

/// `count` bits, the leftmost of a byte in bit 7, each as a byte of 0 or 1.
void PickBits(BYTE* to, const BYTE* from, const int* columns, int count) {
  constexpr int kMostSpread = 1024;
  const int first = columns[0] & ~7, last = columns[count - 1];
  if (last - first < kMostSpread) {
    BYTE spread[kMostSpread];
    for (int x = first; x <= last; x += 8) {
      std::memcpy(spread + (x - first), kxw::kSpread<kxw::Depth1>[from[x >> 3]].data(), 8);
    }
    for (int i = 0; i < count; ++i) to[i] = spread[columns[i] - first];
  } else {
    for (int i = 0; i < count; ++i) to[i] = from[columns[i] >> 3] >> (7 - (columns[i] & 7)) & 1;
  }
}

/// Pixels of row `row` of a source, of which row `next` is the next one to be picked from.
template <class Depth>
void PickRow(BYTE* to, const KXOffscreen& source, int row, int next, const int* columns,
             int count) {
  const BYTE* const at = kxw::ClassicRow(source, row);
  for (int done = 0; done < count; done += kPiece) {
    const int pixels = std::min(kPiece, count - done);
    if (next > row + 1) {
      PrefetchPixels<Depth::kBits>(kxw::ClassicRow(source, next), columns + done, pixels);
    }
    if constexpr (Depth::kBits == 1) {
      PickBits(to + done, at, columns + done, pixels);
      for (int i = done; i < done + pixels; ++i) to[i] = static_cast<BYTE>(-to[i]);
    } else {
      constexpr int kBytes = Depth::kBits / 8;
      PickPixels<kBytes>(to + std::ptrdiff_t{done} * kBytes, at, columns + done, pixels);
    }
  }
}

template <class Depth>
void ResizeByPicking(const Resizing& job) {
  const kxw::Stretch columns = job.columns.Shown(), rows = job.rows.Shown();
  ResultRows<Result<Depth>> results(job.image);
  std::array<int, kxw::kStrip> from;
  for (int left = columns.begin, count; left < columns.end; left += count) {
    count = std::min(kxw::kStrip, columns.end - left);
    for (int i = 0; i < count; ++i) {
      from[static_cast<std::size_t>(i)] =
          static_cast<int>(job.columns.from + job.columns.Begin(left + i));
    }
    const int x = job.columns.at + left;
    for (int i = rows.begin, picked = -1; i < rows.end; ++i) {
      const int row = static_cast<int>(job.rows.from + job.rows.Begin(i)), y = job.rows.at + i;
      if (row == picked) {
        results.Repeat(x, y, count);
        continue;
      }
      picked = row;
      const i64 next = job.rows.from + job.rows.Begin(i64{i} + 1);
      PickRow<Depth>(results.Place(x, y), job.source, row,
                     i + 1 < rows.end ? static_cast<int>(next) : row, from.data(), count);
      results.Finish(x, y, count);
    }
  }
}

/// The means of squares of four densities. As greys they are cut to whole numbers, and so rounded
/// up as densities.
void AverageDensities(BYTE* means, const BYTE* above, const BYTE* below, int count) {
  for (int i = 0; i < count; ++i) {
    WORD a, b;
    std::memcpy(&a, above + std::ptrdiff_t{i} * 2, sizeof a);
    std::memcpy(&b, below + std::ptrdiff_t{i} * 2, sizeof b);
    const WORD sum = static_cast<WORD>((a & 255) + (a >> 8) + (b & 255) + (b >> 8) + 3);
    means[i] = static_cast<BYTE>(sum >> 2);
  }
}

/// The means of the squares of four pixels of three bytes that begin at any of `count` bytes.
void AverageSquares3(BYTE* means, const BYTE* above, const BYTE* below, int count) {
  for (int i = 0; i < count; ++i) {
    means[i] = static_cast<BYTE>((above[i] + above[i + 3] + below[i] + below[i + 3]) >> 2);
  }
}

/// The means of `count` squares of four pixels, of which two rows are given from column `x` on.
template <class Depth>
void HalveRow(BYTE* means, const BYTE* above, const BYTE* below, int x, int count) {
  const BYTE* rows[] = {above + kxw::PixelByte<Depth>(x), below + kxw::PixelByte<Depth>(x)};
  if constexpr (Depth::kBits == 1) {
    BYTE densities[2][2 * kPiece];
    const auto copy = kxw::FindClassicCopyRow(8, 1);
    copy(densities[0], 0, above, x, 2 * count);
    copy(densities[1], 0, below, x, 2 * count);
    kxw::InVectors<AverageDensities>(means, densities[0], densities[1], count);
  } else if constexpr (Depth::kBits == 8) {
    kxw::InVectors<AverageDensities>(means, rows[0], rows[1], count);
  } else if constexpr (Depth::kBits == 24) {
    BYTE squares[6 * kPiece];
    kxw::InVectors<AverageSquares3>(squares, rows[0], rows[1], 6 * count - 3);
    int i = 0;
    for (; i < count - 1; ++i) {  // with a byte behind each, too, which the next one writes over
      std::memcpy(means + std::ptrdiff_t{i} * 3, squares + std::ptrdiff_t{i} * 6, 4);
    }
    std::memcpy(means + std::ptrdiff_t{i} * 3, squares + std::ptrdiff_t{i} * 6, 3);
  } else {
    kxw::AverageRows<DWORD, 2>(means, rows, count);
  }
}

/// Means of squares of four pixels: those from (2 x, 2 y) on come to (`shift` + x, y), for x from 0
/// to `width` and y from `shift` to `height`, as far as all these pixels are there.
template <class Depth>
void Halve(KXOffscreen& image, const KXOffscreen& source, int shift, int width, int height) {
  const int end = std::min({width, source.GetWidth() / 2,
                            static_cast<int>(std::max<i64>(0, i64{image.GetWidth()} - shift))});
  const int bottom = std::min({height, source.GetHeight() / 2, image.GetHeight()});
  ResultRows<Result<Depth>> results(image);
  // A shift below 0 would take rows of the source above its first.
  for (int y = std::max(shift, 0); y < bottom; ++y) {
    for (i64 x = std::max<i64>(0, -i64{shift}); x < end; x += kPiece) {
      const int first = static_cast<int>(x), count = std::min(kPiece, end - first);
      HalveRow<Depth>(results.Place(shift + first, y), kxw::ClassicRow(source, 2 * y),
                      kxw::ClassicRow(source, 2 * y + 1), 2 * first, count);
      results.Finish(shift + first, y, count);
    }
  }
}

}  // namespace

void KXOffscreen::ChangeResolution(int destX, int destY, int destW, int destH, KXOffscreen* source,
                                   int srcX, int srcY, int srcW, int srcH, int level) {
  if (!IsLocked() || !source || !source->IsLocked()) return;
  if (destW < 1 || destH < 1 || srcW < 1 || srcH < 1) return;
  if (destW == srcW && destH == srcH) {
    Copy(destX, destY, destW, destH, source, srcX, srcY, 0);
  } else if (level == cnLowLevelRes) {
    ChangeResolutionLow(destX, destY, destW, destH, source, srcX, srcY, srcW, srcH);
  } else if (level == cnMostLowLevelRes) {
    ChangeResolutionMostLow(destX, destY, destW, destH, source, srcX, srcY, srcW, srcH);
  } else {
    const kxw::ReadApart from(*source, *this);
    if (i64{destW} * 2 == srcW && i64{destH} * 2 == srcH) {
      kxw::WithClassicDepth(source->GetBitCount(), [&](auto depth) {
        Halve<decltype(depth)>(*this, from.Image(), destY, destW, destH);
      });
      return;
    }
    kxw::ResizeByArea({*this, destX, destY, destW, destH, from.Image(), srcX, srcY, srcW, srcH});
  }
}

void KXOffscreen::ChangeResolutionMostLow(int destX, int destY, int destW, int destH,
                                          KXOffscreen* source, int srcX, int srcY, int srcW,
                                          int srcH) {
  if (!IsLocked() || !source || !source->IsLocked()) return;
  if (destW < 1 || destH < 1 || srcW < 1 || srcH < 1) return;
  const kxw::ReadApart from(*source, *this);
  const Resizing job(*this, destX, destY, destW, destH, from.Image(), srcX, srcY, srcW, srcH);
  kxw::WithClassicDepth(source->GetBitCount(),
                        [&](auto depth) { ResizeByPicking<decltype(depth)>(job); });
}

void KXOffscreen::CalcPixValueHalf(int x, int y, DWORD& out) {
  if (!IsLocked()) return;
  if (x < 0 || y < 0 || x >= GetWidth() - 1 || y >= GetHeight() - 1) {
    kxThrowError(kxw::kFailureBadArgument);
  }
  DWORD sums[3] = {};
  for (const DWORD c : {Get24BitPixel(x, y), Get24BitPixel(x + 1, y), Get24BitPixel(x, y + 1),
                        Get24BitPixel(x + 1, y + 1)}) {
    sums[0] += kxw::Red(c);
    sums[1] += kxw::Green(c);
    sums[2] += kxw::Blue(c);
  }
  out = kxw::MakeColor(sums[0] >> 2, sums[1] >> 2, sums[2] >> 2, 0);
}
