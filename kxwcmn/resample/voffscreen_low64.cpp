#include <algorithm>
#include <cstring>
#include <vector>

#include "kxwcmn/compositing/detail/behind.h"
#include "kxwcmn/compositing/detail/blockwalk.h"
#include "kxwcmn/compositing/detail/rows.h"
#include "kxwcmn/core/abort.h"
#include "kxwcmn/core/exception.h"
#include "kxwcmn/core/outofmemory_internal.h"
#include "kxwcmn/offscreen/autolock.h"
#include "kxwcmn/offscreen/voffscreen_depths.h"
#include "kxwcmn/platform/vectorize_internal.h"
#include "kxwcmn/resample/detail/scale.h"

// The fast change of size into 64 bits. Its boxes know no blocks: for each block of the destination
// the sums of all its boxes are kept while the blocks of the source go by, each once. A block
// without memory adds nothing to them.

namespace {

constexpr int kSize = KXVOffscreen::kBlockSize;
constexpr int kRowBytes = kxw::kRowBytes<kxw::Depth64>;

using Word KX_MAY_ALIAS = WORD;

std::size_t Index(int i) { return static_cast<std::size_t>(i); }

/// A box's columns or rows in the source; they may lie outside of it.
struct Span {
  i64 begin, end;
  i64 Length() const { return end - begin; }
};

/// Adds the four words of each of `count` pixels of a row to sums.
void AddRow(const BYTE* row, int count, DWORD* sums) {
  const auto* const words = reinterpret_cast<const Word*>(row);
  for (int i = 0; i < 4 * count; ++i) sums[i] += words[i];
}

/// The same with the pixels that are not wholly transparent alone, which are counted.
void AddDrawnRow(const BYTE* row, int count, DWORD* sums, DWORD* counts) {
  const auto* const words = reinterpret_cast<const Word*>(row);
  for (int i = 0; i < count; ++i) {
    if (words[4 * i + 3] == 0) continue;
    for (int c = 4 * i; c < 4 * i + 4; ++c) sums[c] += words[c];
    ++counts[i];
  }
}

/// Lays a row of pixels under another. The rule treats the colours alike, and so pixels as they
/// stand in memory will do.
void LayRow(BYTE* to, const BYTE* from, int count) {
  for (int i = 0; i < count; ++i) {
    u64 over, under;
    std::memcpy(&over, to + 8 * i, sizeof over);
    std::memcpy(&under, from + 8 * i, sizeof under);
    if (kxw::Alpha64(under) == 0) continue;
    over = kxw::Alpha64(over) == 0 ? under : kxw::Color64Behind(over, under);
    std::memcpy(to + 8 * i, &over, sizeof over);
  }
}

/// `Sum` holds the sum of a box's words.
template <class Sum>
class Low64Sampler {
 public:
  Low64Sampler(KXVOffscreen& dst, KXVOffscreen& src, const kxw::Axis& x, const kxw::Axis& y,
               bool behind, bool skipsTransparent)
      : dst_(dst),
        src_(src),
        x_(x),
        y_(y),
        behind_(behind),
        skips_(skipsTransparent),
        read_(kxw::FindCopyRow(64, src.GetBitCount())) {}

  void Run(const KXRect& rect) {
    KXVOffscreenAutoLock dstLock(&dst_, 1), srcLock(&src_, 0);
    KXBlockGetter blocks(&dst_, rect, 1);
    for (KXRect target; blocks.GetNextBlock(target);) {
      abort_.CheckAbort();
      FillBlock(target);
    }
  }

 private:
  bool IsNarrowed() const { return x_.size < x_.fromSize; }
  bool IsLowered() const { return y_.size < y_.fromSize; }

  /// All pixels from one on that the ratio gives to it; only the first if they end behind the
  /// source's size, which counts from 0 wherever the source's part begins. This is meant.
  static Span SpanOf(const kxw::Axis& axis, i64 at) {
    const i64 begin = axis.ToSource(at), end = axis.ToSource(at + 1);
    return {begin, end > axis.fromSize ? begin + 1 : end};
  }

  void FillBlock(const KXRect& target) {
    const int width = target.Width(), height = target.Height();
    sums_.assign(Index(4 * width * height), 0);
    counts_.assign(skips_ ? Index(width * height) : 0, 0);
    Span columns[kSize], rows[kSize], firstColumns[kSize], firstRows[kSize], nextRows[kSize];
    for (int i = 0; i < width; ++i) {
      columns[i] = SpanOf(x_, target.left + i);
      firstColumns[i] = {columns[i].begin, columns[i].begin + 1};
    }
    for (int j = 0; j < height; ++j) {
      rows[j] = SpanOf(y_, target.top + j);
      if (!IsLowered()) rows[j].end = rows[j].begin + 1;
      firstRows[j] = {rows[j].begin, rows[j].begin + 1};
      nextRows[j] = {rows[j].begin + 1, rows[j].end};
    }
    if (IsNarrowed()) {
      AddBoxes(columns, width, rows, height);
    } else {
      // A pixel has its first sample always, and others only where a source pixel begins in it.
      AddBoxes(firstColumns, width, firstRows, height);
      AddBoxes(columns, width, nextRows, height);
    }
    BYTE* const base = kxw::EnterForWrite(dst_, target.left, target.top);
    for (int j = 0; j < height; ++j) StoreRow(target, base, columns, rows[j], j);
  }

  /// The smallest part of the source that holds all spans.
  static Span Around(const Span* spans, int count, int limit) {
    Span all{spans[0].begin, spans[0].end};
    for (int i = 1; i < count; ++i) all.end = std::max(all.end, spans[i].end);
    return {std::clamp<i64>(all.begin, 0, limit), std::clamp<i64>(all.end, 0, limit)};
  }

  void AddBoxes(const Span* columns, int width, const Span* rows, int height) {
    const Span x = Around(columns, width, src_.GetWidth());
    const Span y = Around(rows, height, src_.GetHeight());
    const KXRect area(static_cast<int>(x.begin), static_cast<int>(y.begin), static_cast<int>(x.end),
                      static_cast<int>(y.end));
    KXBlockGetter blocks(&src_, area, 1);
    for (KXRect part; blocks.GetNextBlock(part);) {
      if (!src_.GetBlockExist(part.left, part.top)) continue;
      abort_.CheckAbort();
      AddPart(part, columns, width, rows, height);
    }
  }

  struct Piece {
    int at, begin, end;  // a box, and its columns in the part
  };

  void AddPart(const KXRect& part, const Span* columns, int width, const Span* rows, int height) {
    const BYTE* const from = kxw::EnterForRead(src_, part.left, part.top);
    std::vector<Piece>& pieces = pieces_;
    pieces.clear();
    for (int i = 0; i < width; ++i) {
      const i64 begin = std::max<i64>(columns[i].begin, part.left);
      const i64 end = std::min<i64>(columns[i].end, part.right);
      if (begin < end) {
        pieces.push_back(
            {i, static_cast<int>(begin - part.left), static_cast<int>(end - part.left)});
      }
    }
    i64 summedBegin = 0, summedEnd = 0;
    for (int j = 0; j < height; ++j) {
      const i64 begin = std::max<i64>(rows[j].begin, part.top);
      const i64 end = std::min<i64>(rows[j].end, part.bottom);
      if (begin >= end) continue;
      if (begin != summedBegin || end != summedEnd) {
        SumRows(part, from, static_cast<int>(begin), static_cast<int>(end));
        summedBegin = begin;
        summedEnd = end;
      }
      AddPieces(j * width);
    }
  }

  void SumRows(const KXRect& part, const BYTE* from, int begin, int end) {
    const int column = part.left & KXVOffscreen::kBlockMask, width = part.Width();
    std::fill_n(rowSums_, 4 * width, 0u);
    if (skips_) std::fill_n(rowCounts_, width, 0u);
    for (int y = begin; y < end; ++y) {
      const BYTE* row = kxw::RowOf(from, y, src_.GetBlockRowBytes());
      BYTE pixels[kRowBytes];
      if (src_.GetBitCount() == 64) {
        row += 8 * column;
      } else {
        read_(pixels, 0, row, column, width);
        row = pixels;
      }
      if (skips_) {
        AddDrawnRow(row, width, rowSums_, rowCounts_);
      } else {
        kxw::InVectors<AddRow>(row, width, rowSums_);
      }
    }
  }

  void AddPieces(int first) {
    for (const Piece& piece : pieces_) {
      DWORD words[4] = {};  // of a block's pixels at most
      for (int i = 4 * piece.begin; i < 4 * piece.end; i += 4) {
        for (int c = 0; c < 4; ++c) words[c] += rowSums_[i + c];
      }
      Sum* const sum = &sums_[Index(4 * (first + piece.at))];
      for (int c = 0; c < 4; ++c) sum[c] += words[c];
      if (!skips_) continue;
      for (int i = piece.begin; i < piece.end; ++i) {
        counts_[Index(first + piece.at)] += rowCounts_[i];
      }
    }
  }

  /// The samples of a pixel, those outside the source too.
  i64 SamplesOf(const Span& columns, const Span& rows) const {
    if (IsNarrowed()) return columns.Length() * rows.Length();
    return 1 + columns.Length() * (rows.Length() - 1);
  }

  void StoreRow(const KXRect& target, BYTE* base, const Span* columns, const Span& rows, int j) {
    const int width = target.Width();
    WORD words[4 * kSize];
    for (int i = 0; i < width; ++i) {
      const int at = j * width + i;
      const u64 samples = skips_ ? std::max<u64>(counts_[Index(at)], 1)
                                 : static_cast<u64>(SamplesOf(columns[i], rows));
      Divide(&sums_[Index(4 * at)], samples, words + 4 * i);
    }
    BYTE* const to =
        kxw::RowOf(base, target.top + j, kRowBytes) + 8 * (target.left & KXVOffscreen::kBlockMask);
    BYTE bytes[kRowBytes];
    std::memcpy(bytes, words, Index(8 * width));
    if (behind_) {
      LayRow(to, bytes, width);
    } else {
      std::memcpy(to, bytes, Index(8 * width));
    }
  }

  static void Divide(const Sum* sums, u64 samples, WORD* words) {
    if constexpr (sizeof(Sum) == sizeof(DWORD)) {
      // Half a step is far more than the rounding of factor and product, for so few samples.
      const double factor = 1.0 / static_cast<double>(samples);
      for (int c = 0; c < 4; ++c) {
        words[c] = static_cast<WORD>(static_cast<int>((sums[c] + 0.5) * factor));
      }
    } else {
      for (int c = 0; c < 4; ++c) words[c] = static_cast<WORD>(sums[c] / samples);
    }
  }

  KXVOffscreen &dst_, &src_;
  const kxw::Axis x_, y_;
  const bool behind_, skips_;
  const kxw::RowFunc read_;
  KXAbort abort_;
  // Of all boxes of a block of the destination.
  std::vector<Sum> sums_;
  std::vector<u64> counts_;
  // Of the columns of a part of the source.
  DWORD rowSums_[4 * kSize];
  DWORD rowCounts_[kSize];
  std::vector<Piece> pieces_;
};

}  // namespace

void KXVOffscreen64Bit::ChangeResolutionLow(int x, int y, int w, int h, KXVOffscreen* src, int sx,
                                            int sy, int sw, int sh, int behind,
                                            int skipTransparent) {
  if (!src || !src->GetVirtualMemory() || w < 1 || h < 1 || sw < 1 || sh < 1) return;
  if (src == this) kxThrowError(kxw::kFailureBadArgument);
  const KXRect rect = kxw::CutToImage(*this, x, y, w, h);
  if (rect.IsRectEmpty()) return;
  const kxw::Axis axisX{x, w, sx, sw}, axisY{y, h, sy, sh};
  const bool isBehind = behind != 0, skips = skipTransparent != 0;
  constexpr double kMostInDwords = 65536;
  const double samples = (1.0 * sw / w + 1) * (1.0 * sh / h + 1);
  kxw::RaiseWithoutMemory([&] {
    if (samples <= kMostInDwords) {
      Low64Sampler<DWORD>(*this, *src, axisX, axisY, isBehind, skips).Run(rect);
    } else {
      Low64Sampler<u64>(*this, *src, axisX, axisY, isBehind, skips).Run(rect);
    }
  });
}
