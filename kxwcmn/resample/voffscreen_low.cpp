#include <algorithm>
#include <cstring>
#include <optional>
#include <vector>

#include "kxwcmn/compositing/detail/behind.h"
#include "kxwcmn/compositing/detail/blockwalk.h"
#include "kxwcmn/compositing/detail/rows.h"
#include "kxwcmn/core/abort.h"
#include "kxwcmn/core/exception.h"
#include "kxwcmn/core/outofmemory_internal.h"
#include "kxwcmn/offscreen/autolock.h"
#include "kxwcmn/offscreen/voffscreen.h"
#include "kxwcmn/resample/detail/boxes.h"
#include "kxwcmn/resample/detail/scale.h"

// The fast change of size, of every depth but 64 bits. A kernel gets the rows of one row of boxes,
// and stores what comes of them in a row of the destination, as often as that is repeated.

namespace {

using kxw::BoxColumns;

constexpr int kSize = KXVOffscreen::kBlockSize;

std::size_t Index(int i) { return static_cast<std::size_t>(i); }

// --- Averages in 32 bits ------------------------------------------------------------------------

constexpr int kWordRowBytes = kxw::kRowBytes<kxw::Depth32>;

class AverageKernel {
 public:
  AverageKernel(int dstBits, int srcBits, bool behind, bool skipsTransparent)
      : behind_(behind),
        skips_(skipsTransparent),
        srcBits_(srcBits),
        srcRowBytes_(srcBits * kSize / 8),
        readSource_(kxw::FindCopyRow(32, srcBits)),
        readTarget_(kxw::FindCopyRow(32, dstBits)),
        write_(kxw::FindCopyRow(dstBits, 32)) {}

  void Begin(const BoxColumns& columns) {
    columns_ = &columns;
    average_.emplace(columns);
  }

  void Sum(const BYTE* row, int column, int width, int rows) {
    const BYTE* at = row + 4 * column;
    int rowBytes = srcRowBytes_;
    if (srcBits_ != 32 || skips_) {
      rowBytes = kWordRowBytes;
      words_.resize(Index(rows * rowBytes));
      for (int i = 0; i < rows; ++i) {
        readSource_(&words_[Index(i * rowBytes)], 0, row + i * srcRowBytes_, column, width);
      }
      at = words_.data();
    }
    if (!skips_) {
      kxw::SumRows(at, rowBytes, rows, 4 * width, sums_);
      average_->Take(sums_, rows, pixels_);
      return;
    }
    std::fill_n(counts_, width, WORD{0});
    for (int i = 0; i < rows; ++i)
      kxw::DropTransparent(&words_[Index(i * rowBytes)], width, counts_);
    kxw::SumRows(at, rowBytes, rows, 4 * width, sums_);
    kxw::AverageDrawn(sums_, counts_, *columns_, rows, 0, pixels_);
  }

  void Store(BYTE* to, int column) {
    const int count = columns_->Count();
    if (!behind_) {
      write_(to, column, pixels_, 0, count);
      return;
    }
    BYTE mixed[kWordRowBytes];
    readTarget_(mixed, 0, to, column, count);
    Lay(mixed, count);
    // A pixel behind which nothing is laid stays as it stands, whatever its depth would store.
    const auto isDrawn = [this](int i) { return pixels_[4 * i + 3] != 0; };
    for (int first = 0, end; first < count; first = end + 1) {
      end = first;
      while (end < count && isDrawn(end)) ++end;
      if (end > first) write_(to, column + first, mixed, first, end - first);
    }
  }

 private:
  /// An average takes the place of a transparent pixel, whose colour counts for nothing. The rules
  /// treat the three colours alike, and so words as they stand in memory will do.
  void Lay(BYTE* mixed, int count) const {
    for (int i = 0; i < count; ++i) {
      DWORD over, under;
      std::memcpy(&over, mixed + 4 * i, sizeof over);
      std::memcpy(&under, pixels_ + 4 * i, sizeof under);
      over = kxw::Alpha(over) == 0 ? under : kxw::ColorBehind(over, under);
      std::memcpy(mixed + 4 * i, &over, sizeof over);
    }
  }

  const bool behind_, skips_;
  const int srcBits_, srcRowBytes_;
  const kxw::RowFunc readSource_, readTarget_, write_;
  const BoxColumns* columns_ = nullptr;
  std::optional<kxw::BoxAverage> average_;
  std::vector<BYTE> words_;          // rows of boxes in 32 bits
  WORD sums_[4 * (kSize + 1)] = {};  // with the column behind the last one
  WORD counts_[kSize];
  BYTE pixels_[kWordRowBytes];
};

// --- Densities ----------------------------------------------------------------------------------

/// The sum of a box, undivided: of more than one pixel it wraps, which is meant.
class DensityKernel {
 public:
  explicit DensityKernel(bool behind) : behind_(behind) {}

  void Begin(const BoxColumns& columns) { columns_ = &columns; }

  void Sum(const BYTE* row, int column, int width, int rows) {
    kxw::SumRows(row + column, kxw::kRowBytes<kxw::Depth8>, rows, width, sums_);
    kxw::SumColumns(sums_, *columns_, boxes_);
  }

  void Store(BYTE* to, int column) const {
    to += column;
    for (int i = 0; i < columns_->Count(); ++i) {
      const DWORD sum = boxes_[i];
      if (!behind_) {
        to[i] = static_cast<BYTE>(sum);
      } else if (sum != 0) {
        // Unlike DensityBehind by a sum beyond 255; its low byte does not depend on the wrapping.
        to[i] = static_cast<BYTE>(255 - ((255u - to[i]) * (255u - sum) >> 8));
      }
    }
  }

 private:
  const bool behind_;
  const BoxColumns* columns_ = nullptr;
  WORD sums_[kSize + 1] = {};
  DWORD boxes_[kSize];
};

// --- Below 8 bits -------------------------------------------------------------------------------

/// The most frequent value of a box. Each value that is drawn is counted in a plane of bytes: black
/// and, at 2 bits, white.
template <class Depth>
class MajorityKernel {
 public:
  explicit MajorityKernel(bool behind) : behind_(behind) {}

  void Begin(const BoxColumns& columns) { columns_ = &columns; }

  void Sum(const BYTE* row, int column, int width, int rows) {
    planes_.resize(Index(rows * kSize));
    for (int plane = 0; plane < kPlanes; ++plane) {
      for (int y = 0; y < rows; ++y) {
        const kxw::RowReader<Depth> pixels(row + y * kxw::kRowBytes<Depth>, column, width);
        BYTE* const marks = &planes_[Index(y * kSize)];
        for (int x = 0; x < width; ++x) marks[x] = pixels[x] == kValues[plane];
      }
      WORD sums[kSize + 1] = {};
      kxw::SumRows(planes_.data(), kSize, rows, width, sums);
      kxw::SumColumns(sums, *columns_, counts_[plane]);
    }
    for (int i = 0; i < columns_->Count(); ++i) {
      const DWORD all = static_cast<DWORD>(rows * columns_->Length(i));
      values_[i] = kPlanes == 1 ? counts_[0][i] > all - counts_[0][i]
                                : Most(counts_[0][i], counts_[kPlanes - 1][i], all);
    }
  }

  void Store(BYTE* to, int column) const {
    const int count = columns_->Count();
    const kxw::RowReader<Depth> over(to, column, count);
    kxw::RowWriter<Depth> target(to, column, count);
    for (int i = 0; i < count; ++i) {
      const BYTE old = over[i];
      const bool stays = behind_ && (values_[i] == 0 || Depth::To2(old) != 0);
      target.Set(i, stays ? old : values_[i]);
    }
    target.Finish();
  }

 private:
  static constexpr int kPlanes = Depth::kBits;
  static constexpr BYTE kValues[] = {kPlanes == 1 ? 1 : 3, 2};

  static BYTE Most(DWORD blacks, DWORD whites, DWORD all) {
    const DWORD others = all - blacks - whites;
    if (others >= blacks && others >= whites) return 0;
    return blacks > whites ? 3 : 2;
  }

  const bool behind_;
  const BoxColumns* columns_ = nullptr;
  std::vector<BYTE> planes_;
  DWORD counts_[kPlanes][kSize];
  BYTE values_[kSize];
};

// --- The walk -----------------------------------------------------------------------------------

class LowSampler {
 public:
  LowSampler(KXVOffscreen& dst, KXVOffscreen& src, const kxw::Axis& x, const kxw::Axis& y)
      : dst_(dst), src_(src), x_(x), y_(y) {}

  template <class Kernel>
  void Run(const KXRect& rect, Kernel kernel) {
    KXVOffscreenAutoLock dstLock(&dst_, 1), srcLock(&src_, 0);
    KXBlockGetter blocks(&dst_, rect, 1);
    for (KXRect target; blocks.GetNextBlock(target);) {
      FillBlock(target, kernel);
    }
  }

 private:
  /// `target` is the part of one block. Its source is cut at blocks too, and each of the pieces is
  /// brought back to the destination by itself.
  template <class Kernel>
  void FillBlock(const KXRect& target, Kernel& kernel) {
    const i64 right = x_.ToSource(target.right), bottom = y_.ToSource(target.bottom);
    const KXRect area(Cut(x_.ToSource(target.left), src_.GetWidth()),
                      Cut(y_.ToSource(target.top), src_.GetHeight()), Cut(right, src_.GetWidth()),
                      Cut(bottom, src_.GetHeight()));
    KXBlockGetter blocks(&src_, area, 1);
    for (KXRect part; blocks.GetNextBlock(part);) {
      if (!src_.GetBlockExist(part.left, part.top)) continue;
      abort_.CheckAbort();
      const KXRect piece(
          std::max(static_cast<int>(x_.ToTarget(part.left)), target.left),
          std::max(static_cast<int>(y_.ToTarget(part.top)), target.top),
          part.right == right ? target.right : static_cast<int>(x_.ToTarget(part.right)),
          part.bottom == bottom ? target.bottom : static_cast<int>(y_.ToTarget(part.bottom)));
      if (piece.left >= piece.right || piece.top >= piece.bottom) continue;
      const BYTE* const from = kxw::EnterForRead(src_, part.left, part.top);
      FillPiece(piece, kxw::EnterForWrite(dst_, piece.left, piece.top), part, from, kernel);
    }
  }

  static int Cut(i64 at, int end) { return static_cast<int>(std::clamp<i64>(at, 0, end)); }

  template <class Kernel>
  void FillPiece(const KXRect& piece, BYTE* to, const KXRect& part, const BYTE* from,
                 Kernel& kernel) {
    const BoxColumns columns(part.Width(), piece.Width());
    const kxw::Spans rows(part.Height(), piece.Height());
    const int toRowBytes = dst_.GetBlockRowBytes(), fromRowBytes = src_.GetBlockRowBytes();
    kernel.Begin(columns);
    for (int i = 0; i < piece.Height(); ++i) {
      const int begin = rows.Begin(i), end = rows.End(i);
      if (i == 0 || begin != rows.Begin(i - 1) || end != rows.End(i - 1)) {
        kernel.Sum(kxw::RowOf(from, part.top + begin, fromRowBytes),
                   part.left & KXVOffscreen::kBlockMask, part.Width(), end - begin);
      }
      kernel.Store(kxw::RowOf(to, piece.top + i, toRowBytes),
                   piece.left & KXVOffscreen::kBlockMask);
    }
  }

  KXVOffscreen &dst_, &src_;
  const kxw::Axis x_, y_;
  KXAbort abort_;
};

}  // namespace

void KXVOffscreen::ChangeResolutionLow(int x, int y, int w, int h, KXVOffscreen* src, int sx,
                                       int sy, int sw, int sh, int behind, int skipTransparent) {
  if (!src || !src->memory_ || w < 1 || h < 1 || sw < 1 || sh < 1) return;
  if (src == this) kxThrowError(kxw::kFailureBadArgument);
  const KXRect rect = kxw::CutToImage(*this, x, y, w, h);
  if (rect.IsRectEmpty()) return;
  LowSampler sampler(*this, *src, {x, w, sx, sw}, {y, h, sy, sh});
  const int pair = bitCount_ == src->bitCount_ ? bitCount_ : 0;
  kxw::RaiseWithoutMemory([&] {
    if (pair == 8) {
      sampler.Run(rect, DensityKernel(behind != 0));
    } else if (pair == 2) {
      sampler.Run(rect, MajorityKernel<kxw::Depth2>(behind != 0));
    } else if (pair == 1) {
      sampler.Run(rect, MajorityKernel<kxw::Depth1>(behind != 0));
    } else {
      sampler.Run(rect,
                  AverageKernel(bitCount_, src->bitCount_, behind != 0, skipTransparent != 0));
    }
  });
}
