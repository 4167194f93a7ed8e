#include <algorithm>
#include <cstddef>
#include <cstring>
#include <utility>
#include <vector>

#include "kxwcmn/compositing/detail/blockwalk.h"
#include "kxwcmn/compositing/detail/rows.h"
#include "kxwcmn/offscreen/autolock.h"
#include "kxwcmn/offscreen/detail/fillrun.h"
#include "kxwcmn/offscreen/voffscreen_depths.h"
#include "kxwcmn/platform/vectorize_internal.h"

namespace {

using kxw::ClearColors;
using kxw::CopyArea;

/// What a copy within one depth clears with: runs of whole aligned rows, and all else.
template <class Depth, bool kPacked = (Depth::kBits < 8)>
struct CopyClear {
  static typename Depth::Fill Run(const ClearColors& clear) { return Depth::ClearFill(clear); }
  static typename Depth::Fill Span(const ClearColors& clear, bool /*aligned*/) {
    return Depth::ClearFill(clear);
  }
};

// The packed depths take the byte clear colour only where whole bytes of a block are filled; spans
// of rows of the same columns become 0. This is meant.
template <class Depth>
struct CopyClear<Depth, true> {
  static typename Depth::Fill Run(const ClearColors& clear) { return clear.byte; }
  static typename Depth::Fill Span(const ClearColors& clear, bool aligned) {
    return aligned ? 0 : Depth::ClearFill(clear);
  }
};

/// Copies stretches of `bytes` bytes, at least `kStep`, of `rows` rows that are `rowBytes` apart on
/// both sides. The last step of a stretch overlaps the one before.
template <std::size_t kStep>
inline void CopyRowsBy(BYTE* to, const BYTE* from, std::size_t bytes, int rows, int rowBytes) {
  for (; rows > 0; --rows, to += rowBytes, from += rowBytes) {
    for (std::size_t i = 0; i + kStep < bytes; i += kStep) std::memcpy(to + i, from + i, kStep);
    std::memcpy(to + bytes - kStep, from + bytes - kStep, kStep);
  }
}

/// The same for any stretches of whole bytes that lie apart, in steps as wide as they are: a call
/// for each row would cost as much as what it copies.
inline void CopyRows(BYTE* to, const BYTE* from, std::size_t bytes, int rows, int rowBytes) {
  if (bytes >= 64) {
    CopyRowsBy<64>(to, from, bytes, rows, rowBytes);
  } else if (bytes >= 16) {
    CopyRowsBy<16>(to, from, bytes, rows, rowBytes);
  } else if (bytes >= 4) {
    CopyRowsBy<4>(to, from, bytes, rows, rowBytes);
  } else if (bytes > 0) {
    CopyRowsBy<1>(to, from, bytes, rows, rowBytes);
  }
}

/// A copy between two different images of one depth.
template <class Depth>
class BlockCopy {
 public:
  BlockCopy(KXVOffscreen& dst, KXVOffscreen& src, const CopyArea& area, int clearMode)
      : dst_(dst), src_(src), area_(area), clears_(clearMode == 1) {
    dst.GetClearColor(&clear_.byte);
    dst.GetClearColor(&clear_.color);
  }

  void Run() {
    KXVOffscreenAutoLock dstLock(&dst_, 1), srcLock(&src_, 0);
    kxw::ForEachSource(
        src_, area_.source, [this](const KXRect& part, const BYTE* base) { CopyPart(part, base); },
        [this](const KXRect& part) { CopyHole(part); });
    // A hole is copied as a hole, whatever the clear mode. The locks are still held: an outer one
    // that stands in such a block enters it anew, and can go on writing.
    for (const int index : holes_) dst_.DestroyBlock(index);
  }

 private:
  bool IsAlignedX() const { return (area_.dx & KXVOffscreen::kBlockMask) == 0; }
  bool IsAligned() const { return IsAlignedX() && (area_.dy & KXVOffscreen::kBlockMask) == 0; }
  bool IsRun(const KXRect& part) const {
    return IsAligned() && part.Width() == KXVOffscreen::kBlockSize;
  }

  void CopyPart(const KXRect& part, const BYTE* base) {
    if (IsAlignedX() && part.Width() == KXVOffscreen::kBlockSize) {
      kxw::CopyRun(dst_, src_, base, part, area_.dx, area_.dy);
      return;
    }
    // Across a seam of the destination the wider side comes first: it walks the memory of the
    // source in order, and the narrower one finds it in the caches.
    const int seam = ((part.left + area_.dx) | KXVOffscreen::kBlockMask) + 1 - area_.dx;
    KXRect left = part, right = part;
    left.right = std::min(seam, part.right);
    right.left = left.right;
    if (left.Width() < right.Width()) std::swap(left, right);
    CopySide(left, base);
    if (right.Width() > 0) CopySide(right, base);
  }

  void CopySide(const KXRect& part, const BYTE* base) {
    if constexpr (Depth::kBits < 8) {
      const bool aligned = IsAlignedX();
      kxw::ForEachRowPair(dst_, src_, base, part, area_.dx, area_.dy, true,
                          [=](BYTE* to, int toColumn, const BYTE* from, int fromColumn, int count,
                              int /*x*/, int /*y*/) {
                            if (aligned) {
                              kxw::CopyAlignedRow<Depth>(to, from, toColumn, count);
                            } else {
                              kxw::CopyRow<Depth>(to, toColumn, from, fromColumn, count);
                            }
                          });
    } else {
      kxw::ForEachTarget(dst_, TargetOf(part), true, [=, this](const KXRect& piece, BYTE* to) {
        kxw::InVectors<CopyRows>(PixelAt(to, piece.left, piece.top),
                                 PixelAt(base, piece.left - area_.dx, piece.top - area_.dy),
                                 static_cast<std::size_t>(kxw::ByteOfColumn<Depth>(piece.Width())),
                                 piece.Height(), kxw::kRowBytes<Depth>);
      });
    }
  }

  /// The pixel of a block, by its place in the image.
  template <class Byte>
  static Byte* PixelAt(Byte* base, int x, int y) {
    return kxw::RowOf(base, y, kxw::kRowBytes<Depth>) +
           kxw::ByteOfColumn<Depth>(x & KXVOffscreen::kBlockMask);
  }

  void CopyHole(const KXRect& part) {
    if (IsRun(part) && kxw::IsWholeBlock(part)) {
      holes_.push_back(dst_.GetBlockIndex(part.left + area_.dx, part.top + area_.dy));
      return;
    }
    if (!clears_) return;
    const auto fill =
        IsRun(part) ? CopyClear<Depth>::Run(clear_) : CopyClear<Depth>::Span(clear_, IsAlignedX());
    kxw::ForEachRow(dst_, TargetOf(part), true, [=](BYTE* row, int column, int count, int /*y*/) {
      kxw::FillRun<Depth>(row, column, count, fill);
    });
  }

  KXRect TargetOf(const KXRect& part) const { return part + KXPoint(area_.dx, area_.dy); }

  KXVOffscreen& dst_;
  KXVOffscreen& src_;
  const CopyArea area_;
  const bool clears_;
  ClearColors clear_{};
  std::vector<int> holes_;  // cells of the destination to free
};

template <class Depth>
void CopySameDepth(KXVOffscreen& dst, int dstX, int dstY, int width, int height, KXVOffscreen* src,
                   int srcX, int srcY, int clearMode) {
  if (!src || src->GetBitCount() != Depth::kBits) {
    dst.CommonCopy(dstX, dstY, width, height, src, srcX, srcY, clearMode, 0);
    return;
  }
  if (kxw::IsCopyOfAll(dst, dstX, dstY, width, height, *src, srcX, srcY)) {
    dst.CopyAll(src);
    return;
  }
  CopyArea area;
  if (!kxw::CutCopyArea(dst, dstX, dstY, width, height, *src, srcX, srcY, area)) return;
  if (src != &dst) {
    BlockCopy<Depth>(dst, *src, area, clearMode).Run();
  } else {
    BlockCopy<Depth>(dst, *kxw::MakeSnapshot(dst, area.source), area, clearMode).Run();
  }
}

}  // namespace

void KXVOffscreen1Bit::Copy(int dstX, int dstY, int width, int height, KXVOffscreen* src, int srcX,
                            int srcY, int clearMode) {
  CopySameDepth<kxw::Depth1>(*this, dstX, dstY, width, height, src, srcX, srcY, clearMode);
}

void KXVOffscreen2Bit::Copy(int dstX, int dstY, int width, int height, KXVOffscreen* src, int srcX,
                            int srcY, int clearMode) {
  CopySameDepth<kxw::Depth2>(*this, dstX, dstY, width, height, src, srcX, srcY, clearMode);
}

void KXVOffscreen8Bit::Copy(int dstX, int dstY, int width, int height, KXVOffscreen* src, int srcX,
                            int srcY, int clearMode) {
  CopySameDepth<kxw::Depth8>(*this, dstX, dstY, width, height, src, srcX, srcY, clearMode);
}

void KXVOffscreen32Bit::Copy(int dstX, int dstY, int width, int height, KXVOffscreen* src, int srcX,
                             int srcY, int clearMode) {
  CopySameDepth<kxw::Depth32>(*this, dstX, dstY, width, height, src, srcX, srcY, clearMode);
}

// These two have no copy by blocks of their own: a hole never frees a block here.
void KXVOffscreen16Bit::Copy(int dstX, int dstY, int width, int height, KXVOffscreen* src, int srcX,
                             int srcY, int clearMode) {
  CommonCopy(dstX, dstY, width, height, src, srcX, srcY, clearMode, 0);
}

void KXVOffscreen24Bit::Copy(int dstX, int dstY, int width, int height, KXVOffscreen* src, int srcX,
                             int srcY, int clearMode) {
  CommonCopy(dstX, dstY, width, height, src, srcX, srcY, clearMode, 0);
}

void KXVOffscreen64Bit::Copy(int dstX, int dstY, int width, int height, KXVOffscreen* src, int srcX,
                             int srcY, int clearMode) {
  Copy64(dstX, dstY, width, height, src, srcX, srcY, clearMode, 0);
}
