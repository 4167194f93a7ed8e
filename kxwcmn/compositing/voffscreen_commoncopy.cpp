#include "kxwcmn/compositing/detail/behind.h"
#include "kxwcmn/compositing/detail/blockwalk.h"
#include "kxwcmn/compositing/detail/rows.h"
#include "kxwcmn/offscreen/autolock.h"
#include "kxwcmn/offscreen/voffscreen_depths.h"

namespace {

/// A copy between two different images.
class AnyCopy {
 public:
  AnyCopy(KXVOffscreen& dst, KXVOffscreen& src, const kxw::CopyArea& area, int clearMode,
          bool behind, u64 clearColor)
      : dst_(dst),
        src_(src),
        area_(area),
        clearMode_(clearMode),
        behind_(behind),
        sameDepth_(dst.GetBitCount() == src.GetBitCount()),
        clearColor_(clearColor) {}

  void Run() {
    lay_ = behind_ && sameDepth_ ? kxw::FindBehindRow(dst_.GetBitCount())
                                 : kxw::FindCopyRow(dst_.GetBitCount(), src_.GetBitCount());
    if (!lay_) return;

    KXVOffscreenAutoLock dstLock(&dst_, 1), srcLock(&src_, 0);
    kxw::ForEachSource(
        src_, area_.source, [this](const KXRect& part, const BYTE* base) { CopyPart(part, base); },
        [this](const KXRect& part) { CopyHole(part); });
  }

 private:
  void CopyPart(const KXRect& part, const BYTE* base) {
    const bool replaces = !(behind_ && sameDepth_);
    // Whole rows of blocks that agree are one run of bytes; at 2 bits pixels change on the way.
    if (replaces && sameDepth_ && dst_.GetBitCount() != 2 &&
        part.Width() == KXVOffscreen::kBlockSize && (area_.dx & KXVOffscreen::kBlockMask) == 0) {
      kxw::CopyRun(dst_, src_, base, part, area_.dx, area_.dy);
      return;
    }
    const kxw::RowFunc lay = lay_;
    kxw::ForEachRowPair(
        dst_, src_, base, part, area_.dx, area_.dy, replaces,
        [lay](BYTE* to, int toColumn, const BYTE* from, int fromColumn, int count, int /*x*/,
              int /*y*/) { lay(to, toColumn, from, fromColumn, count); });
  }

  void CopyHole(const KXRect& part) {
    if (clearMode_ == 0) return;
    if (!behind_) {
      if (clearMode_ == 1) kxw::FillArea(dst_, TargetOf(part), clearColor_);
    } else if (!sameDepth_) {
      // Reads where there is no memory give 0 in 32 bits, and no density, which is white at 24.
      const bool isGrey = src_.GetBitCount() == 8 && dst_.GetBitCount() == 24;
      kxw::FillArea(dst_, TargetOf(part), isGrey ? KXVOffscreen::ccrWhite64Bit : 0);
    }
  }

  KXRect TargetOf(const KXRect& part) const { return part + KXPoint(area_.dx, area_.dy); }

  KXVOffscreen& dst_;
  KXVOffscreen& src_;
  const kxw::CopyArea area_;
  const int clearMode_;
  const bool behind_, sameDepth_;
  const u64 clearColor_;
  kxw::RowFunc lay_ = nullptr;
};

void CopyAny(KXVOffscreen& dst, int dstX, int dstY, int width, int height, KXVOffscreen* src,
             int srcX, int srcY, int clearMode, int behind, u64 clearColor) {
  if (!src) return;
  if (!behind && kxw::IsCopyOfAll(dst, dstX, dstY, width, height, *src, srcX, srcY)) {
    dst.CopyAll(src);
    return;
  }
  kxw::CopyArea area;
  if (!kxw::CutCopyArea(dst, dstX, dstY, width, height, *src, srcX, srcY, area)) return;
  if (src != &dst) {
    AnyCopy(dst, *src, area, clearMode, behind != 0, clearColor).Run();
  } else {
    AnyCopy(dst, *kxw::MakeSnapshot(dst, area.source), area, clearMode, behind != 0, clearColor)
        .Run();
  }
}

}  // namespace

void KXVOffscreen::CommonCopy(int dstX, int dstY, int width, int height, KXVOffscreen* src,
                              int srcX, int srcY, int clearMode, int behind) {
  // Between images of 64 bits too: their pixels pass whole, as in Copy64.
  CopyAny(*this, dstX, dstY, width, height, src, srcX, srcY, clearMode, behind,
          QMCOLORREF32to64(clearColor_));
}

void KXVOffscreen64Bit::Copy64(int dstX, int dstY, int width, int height, KXVOffscreen* src,
                               int srcX, int srcY, int clearMode, int behind) {
  CopyAny(*this, dstX, dstY, width, height, src, srcX, srcY, clearMode, behind, clearColor64_);
}
