#include <memory>

#include "kxwcmn/compositing/complexcolor.h"
#include "kxwcmn/compositing/detail/blockwalk.h"
#include "kxwcmn/compositing/detail/rows.h"
#include "kxwcmn/compositing/voffpixelmixer.h"
#include "kxwcmn/core/exception.h"
#include "kxwcmn/offscreen/autolock.h"

namespace {

/// Lays a source below 16 bits, as a mask for one colour.
template <class Depth>
class MaskSource {
 public:
  MaskSource(u64 color, int /*ignoreWhite*/) : color_(color) {}

  static bool IsLaid(typename Depth::Pixel p) { return Depth::To8(p) != 0; }
  KXComplexColor ColorOf(typename Depth::Pixel p) const {
    // A product of 32 bits at most, so that the division truncates the whole of it.
    const DWORD alpha = Depth::To8(p) * static_cast<DWORD>(kxw::Alpha64(color_)) * 257 / 65535;
    const u64 weighed = (color_ & 0x0000FFFFFFFFFFFF) | static_cast<u64>(alpha) << 48;
    return KXComplexColor(Depth::kBits, weighed);
  }

 private:
  u64 color_;
};

/// Lays the pixels of a source themselves.
template <class Depth>
class ColorSource {
 public:
  ColorSource(u64 /*color*/, int ignoreWhite) : ignoreWhite_(ignoreWhite != 0) {}

  bool IsLaid(typename Depth::Pixel p) const {
    const DWORD color = Depth::To32(p);
    return kxw::Alpha(color) != 0 && !(ignoreWhite_ && (color & 0x00FFFFFF) == 0x00FFFFFF);
  }
  static KXComplexColor ColorOf(typename Depth::Pixel p) {
    return KXComplexColor(Depth::kBits, Depth::To32(p));
  }

 private:
  bool ignoreWhite_;
};

/// Lays `part` of a source block at `base` through `mixer`. The destination's cursor goes where
/// there is something to lay, and so no other blocks come into being.
template <class Depth, class Source>
void LayPart(KXVOffscreen& dst, const BYTE* base, const KXRect& part, const kxw::CopyArea& area,
             KXVOffPixelMixer& mixer, const Source& source) {
  for (int y = part.top; y < part.bottom; ++y) {
    const kxw::RowReader<Depth> pixels(kxw::RowOf(base, y, kxw::kRowBytes<Depth>),
                                       part.left & KXVOffscreen::kBlockMask, part.Width());
    for (int i = 0; i < part.Width(); ++i) {
      if (!source.IsLaid(pixels[i])) continue;
      dst.MoveCursor(part.left + i + area.dx, y + area.dy);
      mixer.Do(source.ColorOf(pixels[i]));
    }
  }
}

template <class Depth, class Source>
void LayThrough(KXVOffscreen& dst, KXVOffscreen& src, const kxw::CopyArea& area,
                KXVOffPixelMixer& mixer, int clearMode, const Source& source) {
  DWORD clearColor;
  dst.GetClearColor(&clearColor);
  KXVOffscreenAutoLock dstLock(&dst, 1), srcLock(&src, 0);
  KXBlockGetter blocks(&src, area.source, 1);
  for (KXRect part; blocks.GetNextBlock(part);) {
    if (!src.GetBlockExist(part.left, part.top)) {
      // An empty part clears what lies at its own coordinates here, not at those that the copy
      // leads to; this is meant.
      const KXRect here = part & dst.GetRect();
      if (clearMode == 1) kxw::FillArea(dst, here, KXVOffscreen::QMCOLORREF32to64(clearColor));
    } else if (const BYTE* base = kxw::EnterForRead(src, part.left, part.top)) {
      LayPart<Depth>(dst, base, part, area, mixer, source);
    }
  }
}

}  // namespace

void KXVOffscreen::CommonCopy3(int dstX, int dstY, int width, int height, KXVOffscreen* src,
                               int srcX, int srcY, KXVOffPixelMixer* mixer, u64 color,
                               int clearMode, int ignoreWhite) {
  if (!src) return;
  if (!mixer || mixer->GetDstOffscreen() != this) kxThrowError(kxw::kFailureBadArgument);
  kxw::CopyArea area;
  if (!kxw::NarrowCopyArea(*this, dstX, dstY, width, height, *src, srcX, srcY, area)) return;
  std::unique_ptr<KXVOffscreen> snapshot;
  if (src == this) snapshot = kxw::MakeSnapshot(*this, area.source);
  KXVOffscreen& from = snapshot ? *snapshot : *src;
  kxw::WithDepth(from.bitCount_, [&](auto depth) {
    using Depth = decltype(depth);
    if constexpr (Depth::kBits <= 8) {
      LayThrough<Depth>(*this, from, area, *mixer, clearMode,
                        MaskSource<Depth>(color, ignoreWhite));
    } else {
      LayThrough<Depth>(*this, from, area, *mixer, clearMode,
                        ColorSource<Depth>(color, ignoreWhite));
    }
  });
}
