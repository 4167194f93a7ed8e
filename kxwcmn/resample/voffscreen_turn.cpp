#include <algorithm>

#include "kxwcmn/compositing/detail/blockwalk.h"
#include "kxwcmn/core/abort.h"
#include "kxwcmn/core/outofmemory_internal.h"
#include "kxwcmn/memory/virtualmemory.h"
#include "kxwcmn/offscreen/autolock.h"
#include "kxwcmn/offscreen/voffscreen.h"
#include "kxwcmn/resample/detail/turn.h"

// The walk goes over the blocks of the result, each of which takes pieces of four blocks of the
// source at most. So each is made once, and only where one of the four is there.

namespace {

using kxw::Turn;

class Turner {
 public:
  Turner(KXVOffscreen& dst, KXVOffscreen& src, Turn turn)
      : dst_(dst), src_(src), turn_(turn), turnPiece_(kxw::FindTurn(src.GetBitCount(), turn)) {}

  void Run() {
    KXVOffscreenAutoLock dstLock(&dst_, 1), srcLock(&src_, 0);
    KXBlockGetter blocks(&dst_, dst_.GetRect(), 1);
    for (KXRect target; blocks.GetNextBlock(target);) FillBlock(target);
  }

 private:
  /// The pixel of the source that comes to stand at (x, y), and the way back.
  KXPoint SourceOf(int x, int y) const {
    switch (turn_) {
      case Turn::kLeft:
        return KXPoint(src_.GetWidth() - 1 - y, x);
      case Turn::kRight:
        return KXPoint(y, src_.GetHeight() - 1 - x);
      case Turn::kMirrorX:
        return KXPoint(src_.GetWidth() - 1 - x, y);
      default:
        return KXPoint(x, src_.GetHeight() - 1 - y);
    }
  }
  KXPoint TargetOf(int x, int y) const {
    switch (turn_) {
      case Turn::kLeft:
        return KXPoint(y, src_.GetWidth() - 1 - x);
      case Turn::kRight:
        return KXPoint(src_.GetHeight() - 1 - y, x);
      default:
        return SourceOf(x, y);
    }
  }

  /// The rectangle whose corner pixels are those two.
  static KXRect Between(const KXPoint& a, const KXPoint& b) {
    return KXRect(std::min(a.x, b.x), std::min(a.y, b.y), std::max(a.x, b.x) + 1,
                  std::max(a.y, b.y) + 1);
  }

  void FillBlock(const KXRect& target) {
    const KXRect source =
        Between(SourceOf(target.left, target.top), SourceOf(target.right - 1, target.bottom - 1));
    int pixels = 0;
    KXBlockGetter counted(&src_, source, 1);
    for (KXRect part; counted.GetNextBlock(part);) {
      if (src_.GetBlockExist(part.left, part.top)) pixels += part.Width() * part.Height();
    }
    if (pixels == 0) return;
    abort_.CheckAbort();
    constexpr int kBlockPixels = KXVOffscreen::kBlockSize * KXVOffscreen::kBlockSize;
    BYTE* const base = Enter(target, pixels == kBlockPixels);
    KXBlockGetter blocks(&src_, source, 1);
    for (KXRect part; blocks.GetNextBlock(part);) {
      if (const BYTE* from = kxw::EnterForRead(src_, part.left, part.top))
        FillPiece(base, part, from);
    }
  }

  /// A new block that is going to be written whole need not be cleared: it is gone with the image
  /// if that fails.
  BYTE* Enter(const KXRect& target, bool isWhole) {
    if (!isWhole) return kxw::EnterForWrite(dst_, target.left, target.top);
    kxw::ClearPause pause(dst_);
    return kxw::EnterForWrite(dst_, target.left, target.top);
  }

  void FillPiece(BYTE* base, const KXRect& part, const BYTE* from) {
    constexpr int kMask = KXVOffscreen::kBlockMask;
    const KXRect piece =
        Between(TargetOf(part.left, part.top), TargetOf(part.right - 1, part.bottom - 1));
    const KXPoint first = SourceOf(piece.left, piece.top);
    turnPiece_({base, piece.left & kMask, piece.top & kMask, piece.Width(), piece.Height(), from,
                first.x & kMask, first.y & kMask});
  }

  KXVOffscreen &dst_, &src_;
  const Turn turn_;
  const kxw::TurnFunc turnPiece_;
  KXAbort abort_;
};

KXVOffscreen* CreateTurned(KXVOffscreen& src, Turn turn) {
  return kxw::RaiseWithoutMemory([&]() -> KXVOffscreen* {
    KXVOffscreenPtr image(KXVOffscreen::CreateOffscreen(src.GetBitCount()));
    if (!image) return nullptr;
    const bool isQuarter = turn == Turn::kLeft || turn == Turn::kRight;
    image->Create(kxGetVirtualMemory(), isQuarter ? src.GetHeight() : src.GetWidth(),
                  isQuarter ? src.GetWidth() : src.GetHeight(), src.GetResolution());
    Turner(*image, src, turn).Run();
    return image.release();
  });
}

}  // namespace

KXVOffscreen* KXVOffscreen::CreateAndRotate90() { return CreateTurned(*this, Turn::kLeft); }
KXVOffscreen* KXVOffscreen::CreateAndRotate90R() { return CreateTurned(*this, Turn::kRight); }
KXVOffscreen* KXVOffscreen::CreateAndReverseHorz() { return CreateTurned(*this, Turn::kMirrorX); }
KXVOffscreen* KXVOffscreen::CreateAndReverseVert() { return CreateTurned(*this, Turn::kMirrorY); }
