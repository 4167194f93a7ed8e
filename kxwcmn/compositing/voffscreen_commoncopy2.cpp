#include "kxwcmn/compositing/detail/behind.h"
#include "kxwcmn/compositing/detail/blockwalk.h"
#include "kxwcmn/core/exception.h"
#include "kxwcmn/offscreen/autolock.h"

void KXVOffscreen::CommonCopy2(int dstX, int dstY, int width, int height, KXVOffscreen* src,
                               int srcX, int srcY, int clearMode, int behind) {
  if (!src || src->bitCount_ < 8 || dstX != srcX || dstY != srcY || !behind) {
    CommonCopy(dstX, dstY, width, height, src, srcX, srcY, clearMode, behind);
    return;
  }
  if (src->bitCount_ != bitCount_) kxThrowError(kxw::kFailureBadArgument);
  // After this cut the two positions may differ, but each pixel still lies over its own.
  kxw::CopyArea cut;
  if (!kxw::NarrowCopyArea(*this, dstX, dstY, width, height, *src, srcX, srcY, cut)) return;
  const KXRect& area = cut.source;
  const kxw::RowFunc lay = kxw::FindRawBehindRow(bitCount_);
  if (!lay) return;  // there is no such form at 16 and 24 bits
  std::unique_ptr<KXVOffscreen> snapshot;
  if (src == this) snapshot = kxw::MakeSnapshot(*this, area);
  KXVOffscreen& from = snapshot ? *snapshot : *src;
  KXVOffscreenAutoLock dstLock(this, 1), srcLock(&from, 0);
  KXBlockGetter blocks(&from, area, 1);
  for (KXRect part; blocks.GetNextBlock(part);) {
    const BYTE* base = kxw::EnterForRead(from, part.left, part.top);
    if (!base) continue;
    kxw::ForEachRowPair(*this, from, base, part, 0, 0, false,
                        [lay](BYTE* to, int column, const BYTE* under, int, int count, int, int) {
                          lay(to, column, under, column, count);
                        });
  }
}
