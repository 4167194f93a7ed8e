#include <algorithm>
#include <vector>

#include "kxwcmn/compositing/detail/behind.h"
#include "kxwcmn/compositing/detail/blockwalk.h"
#include "kxwcmn/compositing/detail/rows.h"
#include "kxwcmn/core/abort.h"
#include "kxwcmn/core/exception.h"
#include "kxwcmn/core/outofmemory_internal.h"
#include "kxwcmn/offscreen/autolock.h"
#include "kxwcmn/offscreen/detail/streamrow.h"
#include "kxwcmn/offscreen/voffscreen_depths.h"
#include "kxwcmn/resample/detail/ratiorows.h"

namespace {

constexpr int kBlock = KXVOffscreen::kBlockSize, kMask = KXVOffscreen::kBlockMask;

/// The pixels of an image within [low, high) of one axis, of which nothing may be left.
struct Span {
  i64 low, high;
  Span(i64 from, i64 to, i64 limit) : low(std::max<i64>(from, 0)), high(std::min(to, limit)) {}
};

KXRect RectOf(const Span& x, const Span& y) {
  if (x.low >= x.high || y.low >= y.high) return KXRect(0, 0, 0, 0);
  return KXRect(static_cast<int>(x.low), static_cast<int>(y.low), static_cast<int>(x.high),
                static_cast<int>(y.high));
}

/// Lays a row of 32 bits under one of another depth, pixel by pixel. What is left alone keeps its
/// bits: at 2 bits a pixel that is not defined reads as transparent and would become that.
template <class Depth>
void LayUnder(BYTE* to, int toColumn, const BYTE* from, int fromColumn, int count) {
  const kxw::RowReader<Depth> over(to, toColumn, count);
  const kxw::RowReader<kxw::Depth32> under(from, fromColumn, count);
  kxw::RowWriter<Depth> target(to, toColumn, count);
  for (int i = 0; i < count; ++i) {
    typename Depth::Pixel p = over[i];
    const DWORD s = under[i];
    if (kxw::Alpha(s) != 0) p = Depth::From32(kxw::ColorBehindOrFor(Depth::To32(p), s));
    target.Set(i, p);
  }
  target.Finish();
}

/// How rows of `wordBits` are stored at a depth; null where nothing would change.
kxw::RowFunc FindLayRow(int bits, int wordBits, bool behind) {
  if (!behind) return kxw::FindCopyRow(bits, wordBits);
  if (wordBits == 8) return kxw::FindBehindRow(8);
  switch (bits) {
    case 1:
      return LayUnder<kxw::Depth1>;
    case 2:
      return LayUnder<kxw::Depth2>;
    case 8:
      return LayUnder<kxw::Depth8>;
    case 16:
      return LayUnder<kxw::Depth16>;
    default:
      return kxw::FindTakingBehindRow(bits);  // none at 24 bits, where every pixel is opaque
  }
}

/// A change of resolution by a whole ratio, in words of 8, 32 or 64 bits: those of two images of
/// densities, of two others, and of a destination of 64 bits.
template <class Word>
class RatioChange {
 public:
  RatioChange(KXVOffscreen& dst, i64 x, i64 y, KXVOffscreen& src, i64 sx, i64 sy, bool behind)
      : dst_(dst), src_(src), x_(x), y_(y), sx_(sx), sy_(sy), replaces_(!behind) {
    read_ = kxw::FindCopyRow(kBits, src.GetBitCount());
    lay_ = FindLayRow(dst.GetBitCount(), kBits, behind);
    isSourceWords_ = src.GetBitCount() == kBits;
    isDirect_ = replaces_ && dst.GetBitCount() == kBits;
  }

  template <int kRatio>
  void Reduce(const KXRect& area) {
    Walk(area, [this](const KXRect& part, const BYTE* base) { ReducePart<kRatio>(part, base); });
  }
  template <int kRatio>
  void Enlarge(const KXRect& area) {
    Walk(area, [this](const KXRect& part, const BYTE* base) { EnlargePart<kRatio>(part, base); });
  }

 private:
  static constexpr int kBytes = sizeof(Word), kBits = 8 * kBytes;
  static constexpr int kAhead = 2;  // rows of squares that are asked for before they are read

  template <class Op>
  void Walk(const KXRect& area, Op op) {
    if (!lay_ || !read_ || area.IsRectEmpty()) return;
    KXVOffscreenAutoLock dstLock(&dst_, 1), srcLock(&src_, 0);
    KXAbort abort;
    kxw::ForEachSource(
        src_, area, op, [](const KXRect&) {}, [&abort] { abort.CheckAbort(); });
  }

  template <int kRatio>
  void ReducePart(const KXRect& part, const BYTE* base) {
    // The squares of a part end in it, and may begin in the parts to the left and above.
    const Span columns(x_ + (part.left - sx_) / kRatio, x_ + (part.right - sx_) / kRatio,
                       dst_.GetWidth());
    const Span rows(y_ + (part.top - sy_) / kRatio, y_ + (part.bottom - sy_) / kRatio,
                    dst_.GetHeight());
    const KXRect target = RectOf(columns, rows);
    if (target.IsRectEmpty()) return;
    const int left = static_cast<int>(sx_ + (target.left - x_) * kRatio);
    const int top = static_cast<int>(sy_ + (target.top - y_) * kRatio);
    const BYTE* from;
    int rowBytes;
    if (isSourceWords_ && left >= part.left && top >= part.top) {
      rowBytes = src_.GetBlockRowBytes();
      from = kxw::RowOf(base, top, rowBytes) + (left & kMask) * kBytes;
    } else {
      rowBytes = kBytes * target.Width() * kRatio;
      from =
          Gather(KXRect(left, top, left + target.Width() * kRatio, top + target.Height() * kRatio),
                 part, base);
    }
    kxw::ForEachTarget(dst_, target, replaces_, [&](const KXRect& piece, BYTE* to) {
      for (int y = piece.top; y < piece.bottom; ++y) {
        const BYTE* lines[kRatio];
        for (int k = 0; k < kRatio; ++k) {
          lines[k] = from + static_cast<std::ptrdiff_t>((y - target.top) * kRatio + k) * rowBytes +
                     (piece.left - target.left) * kRatio * kBytes;
          if (y + kAhead < piece.bottom) {
            kxw::PrefetchRow(lines[k] + kAhead * kRatio * rowBytes,
                             piece.Width() * kRatio * kBytes);
          }
        }
        BYTE* const row = kxw::RowOf(to, y, dst_.GetBlockRowBytes());
        if (isDirect_) {
          kxw::AverageRows<Word, kRatio>(row + (piece.left & kMask) * kBytes, lines, piece.Width());
        } else {
          alignas(Word) BYTE words[kBlock * kBytes];
          kxw::AverageRows<Word, kRatio>(words, lines, piece.Width());
          lay_(row, piece.left & kMask, words, 0, piece.Width());
        }
      }
    });
  }

  /// The pixels of `area` as words, row by row: of `part`, a block's at `base`, or where the area
  /// passes it, of the blocks around. What lies outside the image or has no memory is 0.
  const BYTE* Gather(const KXRect& area, const KXRect& part, const BYTE* base) {
    const int rowBytes = kBytes * area.Width();
    words_.resize(static_cast<std::size_t>(rowBytes) * static_cast<std::size_t>(area.Height()));
    const auto read = [&](const KXRect& piece, const BYTE* block) {
      for (int y = piece.top; y < piece.bottom; ++y) {
        read_(words_.data() + static_cast<std::ptrdiff_t>(y - area.top) * rowBytes,
              piece.left - area.left, kxw::RowOf(block, y, src_.GetBlockRowBytes()),
              piece.left & kMask, piece.Width());
      }
    };
    if (area.left >= part.left && area.top >= part.top) {
      read(area, base);
    } else {
      std::fill(words_.begin(), words_.end(), BYTE{0});
      kxw::ForEachSource(src_, area, read, [](const KXRect&) {});
    }
    return words_.data();
  }

  template <int kRatio>
  void EnlargePart(const KXRect& part, const BYTE* base) {
    const i64 left = x_ + (part.left - sx_) * kRatio, top = y_ + (part.top - sy_) * kRatio;
    const KXRect target = RectOf(Span(left, left + part.Width() * kRatio, dst_.GetWidth()),
                                 Span(top, top + part.Height() * kRatio, dst_.GetHeight()));
    if (target.IsRectEmpty()) return;
    kxw::ForEachTarget(dst_, target, replaces_, [&](const KXRect& piece, BYTE* to) {
      const int first = static_cast<int>((piece.left - left) / kRatio);
      const int skipped = static_cast<int>((piece.left - left) % kRatio);
      const int cells = (skipped + piece.Width() + kRatio - 1) / kRatio;
      const bool whole = isDirect_ && cells * kRatio == piece.Width();
      const int width = piece.Width(), rowBytes = dst_.GetBlockRowBytes();
      alignas(Word) BYTE pixels[kBlock * kBytes], words[(kBlock + 2 * kRatio) * kBytes];
      for (int y = piece.top, next; y < piece.bottom; y = next) {
        const int line = static_cast<int>((y - top) / kRatio);
        next = static_cast<int>(std::min<i64>(top + (line + 1) * i64{kRatio}, piece.bottom));
        const BYTE* from = kxw::RowOf(base, part.top + line, src_.GetBlockRowBytes());
        const int column = (part.left & kMask) + first;
        if (isSourceWords_) {
          from += column * kBytes;
        } else {
          read_(pixels, 0, from, column, cells);
          from = pixels;
        }
        BYTE* const row = kxw::RowOf(to, y, rowBytes);
        if (whole) {
          BYTE* const at = row + (piece.left & kMask) * kBytes;
          for (int i = y; i < next; ++i) {
            kxw::RepeatPixels<Word, kRatio>(at + (i - y) * rowBytes, from, cells);
          }
          continue;
        }
        kxw::RepeatPixels<Word, kRatio>(words, from, cells);
        for (int i = y; i < next; ++i) {
          lay_(row + (i - y) * rowBytes, piece.left & kMask, words, skipped, width);
        }
      }
    });
  }

  KXVOffscreen& dst_;
  KXVOffscreen& src_;
  const i64 x_, y_, sx_, sy_;
  const bool replaces_;
  bool isSourceWords_, isDirect_;
  kxw::RowFunc read_, lay_;
  std::vector<BYTE> words_;
};

enum class Ratio { kHalf, kQuarter, kDouble, kFourfold };

template <class Word>
void Run(RatioChange<Word> change, Ratio ratio, const KXRect& area) {
  switch (ratio) {
    case Ratio::kHalf:
      return change.template Reduce<2>(area);
    case Ratio::kQuarter:
      return change.template Reduce<4>(area);
    case Ratio::kDouble:
      return change.template Enlarge<2>(area);
    case Ratio::kFourfold:
      return change.template Enlarge<4>(area);
  }
}

/// A change for `width` by `height` pixels of the source.
void Change(KXVOffscreen& dst, i64 x, i64 y, KXVOffscreen* src, i64 sx, i64 sy, i64 width,
            i64 height, int behind, Ratio ratio) {
  if (!src) return;
  if (src == &dst) kxThrowError(kxw::kFailureBadArgument);
  const KXRect area =
      RectOf(Span(sx, sx + width, src->GetWidth()), Span(sy, sy + height, src->GetHeight()));
  const bool lays = behind != 0;
  kxw::RaiseWithoutMemory([&] {
    if (dst.GetBitCount() == 64) {
      Run(RatioChange<u64>(dst, x, y, *src, sx, sy, lays), ratio, area);
    } else if (dst.GetBitCount() == 8 && src->GetBitCount() == 8) {
      Run(RatioChange<BYTE>(dst, x, y, *src, sx, sy, lays), ratio, area);
    } else {
      Run(RatioChange<DWORD>(dst, x, y, *src, sx, sy, lays), ratio, area);
    }
  });
}

/// The pixels of the source that a rectangle of `size` asks for, along one axis.
i64 SourceSize(i64 size, Ratio ratio) {
  switch (ratio) {
    case Ratio::kHalf:
      return size * 2;
    case Ratio::kDouble:
      return size / 2 + size % 2;
    default:
      return size * 4;  // fourfold too: it stops where the image does, not the rectangle
  }
}

void ChangeWindow(KXVOffscreen& dst, int x, int y, int w, int h, KXVOffscreen* src, int sx, int sy,
                  int behind, Ratio ratio) {
  Change(dst, x, y, src, sx, sy, SourceSize(w, ratio), SourceSize(h, ratio), behind, ratio);
}

void ChangeAll(KXVOffscreen& dst, KXVOffscreen* src, Ratio ratio) {
  if (src) Change(dst, 0, 0, src, 0, 0, src->GetWidth(), src->GetHeight(), 0, ratio);
}

}  // namespace

void KXVOffscreen::ChangeResolutionHalf(int x, int y, int w, int h, KXVOffscreen* src, int sx,
                                        int sy, int behind) {
  ChangeWindow(*this, x, y, w, h, src, sx, sy, behind, Ratio::kHalf);
}
void KXVOffscreen::ChangeResolutionHalfAll(KXVOffscreen* src) {
  ChangeAll(*this, src, Ratio::kHalf);
}

void KXVOffscreen::ChangeResolutionQuarter(int x, int y, int w, int h, KXVOffscreen* src, int sx,
                                           int sy, int behind) {
  ChangeWindow(*this, x, y, w, h, src, sx, sy, behind, Ratio::kQuarter);
}
void KXVOffscreen::ChangeResolutionQuarterAll(KXVOffscreen* src) {
  ChangeAll(*this, src, Ratio::kQuarter);
}

void KXVOffscreen::ChangeResolutionDouble(int x, int y, int w, int h, KXVOffscreen* src, int sx,
                                          int sy, int behind) {
  ChangeWindow(*this, x, y, w, h, src, sx, sy, behind, Ratio::kDouble);
}
void KXVOffscreen::ChangeResolutionDoubleAll(KXVOffscreen* src) {
  ChangeAll(*this, src, Ratio::kDouble);
}

void KXVOffscreen::ChangeResolutionFourfold(int x, int y, int w, int h, KXVOffscreen* src, int sx,
                                            int sy, int behind) {
  ChangeWindow(*this, x, y, w, h, src, sx, sy, behind, Ratio::kFourfold);
}
void KXVOffscreen::ChangeResolutionFourfoldAll(KXVOffscreen* src) {
  ChangeAll(*this, src, Ratio::kFourfold);
}

// The twins of 64 bits: the words that are worked with follow from the destination.

void KXVOffscreen64Bit::ChangeResolutionHalf(int x, int y, int w, int h, KXVOffscreen* src, int sx,
                                             int sy, int behind) {
  ChangeWindow(*this, x, y, w, h, src, sx, sy, behind, Ratio::kHalf);
}
void KXVOffscreen64Bit::ChangeResolutionHalfAll(KXVOffscreen* src) {
  ChangeAll(*this, src, Ratio::kHalf);
}

void KXVOffscreen64Bit::ChangeResolutionQuarter(int x, int y, int w, int h, KXVOffscreen* src,
                                                int sx, int sy, int behind) {
  ChangeWindow(*this, x, y, w, h, src, sx, sy, behind, Ratio::kQuarter);
}
void KXVOffscreen64Bit::ChangeResolutionQuarterAll(KXVOffscreen* src) {
  ChangeAll(*this, src, Ratio::kQuarter);
}

void KXVOffscreen64Bit::ChangeResolutionDouble(int x, int y, int w, int h, KXVOffscreen* src,
                                               int sx, int sy, int behind) {
  ChangeWindow(*this, x, y, w, h, src, sx, sy, behind, Ratio::kDouble);
}
void KXVOffscreen64Bit::ChangeResolutionDoubleAll(KXVOffscreen* src) {
  ChangeAll(*this, src, Ratio::kDouble);
}

void KXVOffscreen64Bit::ChangeResolutionFourfold(int x, int y, int w, int h, KXVOffscreen* src,
                                                 int sx, int sy, int behind) {
  ChangeWindow(*this, x, y, w, h, src, sx, sy, behind, Ratio::kFourfold);
}
void KXVOffscreen64Bit::ChangeResolutionFourfoldAll(KXVOffscreen* src) {
  ChangeAll(*this, src, Ratio::kFourfold);
}
