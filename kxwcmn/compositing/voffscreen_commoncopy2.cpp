#include "kxwcmn/compositing/detail/behind.h"
#include "kxwcmn/compositing/detail/blockwalk.h"
#include "kxwcmn/compositing/detail/rows.h"
#include "kxwcmn/core/exception.h"
#include "kxwcmn/offscreen/autolock.h"

namespace {

/// The rule of one pixel where the source stands exactly over the destination.
template <class Depth>
typename Depth::Pixel LaidUnder(typename Depth::Pixel d, typename Depth::Pixel s);

// A source of 0 is laid too, and darkens what is there by one step: this is meant.
template <>
BYTE LaidUnder<kxw::Depth8>(BYTE d, BYTE s) {
  return d == 0 ? s : kxw::DensityBehind(d, s);
}

// An opaque source takes the place of a transparent destination, whose colour then counts for
// nothing.
template <>
DWORD LaidUnder<kxw::Depth32>(DWORD d, DWORD s) {
  return kxw::Alpha(s) == 255 && kxw::Alpha(d) == 0 ? s : kxw::ColorBehind(d, s);
}

template <>
u64 LaidUnder<kxw::Depth64>(u64 d, u64 s) {
  return kxw::Alpha64(s) == 65535 && kxw::Alpha64(d) == 0 ? s : kxw::Color64Behind(d, s);
}

template <class Depth>
void LayUnder(KXVOffscreen& dst, KXVOffscreen& src, const KXRect& area) {
  KXVOffscreenAutoLock dstLock(&dst, 1), srcLock(&src, 0);
  KXBlockGetter blocks(&src, area, 1);
  for (KXRect part; blocks.GetNextBlock(part);) {
    const BYTE* base = kxw::EnterForRead(src, part.left, part.top);
    if (!base) continue;
    kxw::ForEachRowPair(dst, src, base, part, 0, 0, false,
                        [](BYTE* to, int column, const BYTE* from, int /*fromColumn*/, int count,
                           int /*x*/, int /*y*/) {
                          const kxw::RowReader<Depth> under(from, column, count);
                          const kxw::RowReader<Depth> over(to, column, count);
                          kxw::RowWriter<Depth> target(to, column, count);
                          for (int i = 0; i < count; ++i) {
                            target.Set(i, LaidUnder<Depth>(over[i], under[i]));
                          }
                        });
  }
}

}  // namespace

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
  std::unique_ptr<KXVOffscreen> snapshot;
  if (src == this) snapshot = kxw::MakeSnapshot(*this, area);
  KXVOffscreen& from = snapshot ? *snapshot : *src;
  switch (bitCount_) {
    case 8:
      return LayUnder<kxw::Depth8>(*this, from, area);
    case 32:
      return LayUnder<kxw::Depth32>(*this, from, area);
    case 64:
      return LayUnder<kxw::Depth64>(*this, from, area);
    default:  // there is no such form at 16 and 24 bits
      return;
  }
}
