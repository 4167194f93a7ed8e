#include <algorithm>

#include "kxwcmn/memory/virtualmemory.h"
#include "kxwcmn/offscreen/autolock.h"
#include "kxwcmn/offscreen/blockgetter.h"
#include "kxwcmn/offscreen/detail/depths.h"
#include "kxwcmn/offscreen/uniformrun_internal.h"
#include "kxwcmn/offscreen/voffscreen_depths.h"

namespace {

/// The pixels of one row of a block that have one of the bits `kBits`.
template <class Depth, u64 kBits>
struct UsedPixels {
  static constexpr bool IsUsed(const BYTE* row, int column) {
    if constexpr (Depth::kBits >= 8) {
      // Of a pixel's bytes the bits repeat with the pixel, or count in every byte.
      const BYTE* pixel = row + ByteOf(column);
      for (int i = 0; i < Depth::kBits / 8; ++i) {
        if (pixel[i] & static_cast<BYTE>(kBits >> (8 * (i & 7)))) return true;
      }
      return false;
    } else {
      return (row[ByteOf(column)] & kxw::MaskOfColumn<Depth>(column) & static_cast<BYTE>(kBits)) !=
             0;
    }
  }
  static constexpr int ByteOf(int column) { return kxw::ByteOfColumn<Depth>(column); }

  /// The first used column of [first, last), or `last`.
  static int First(const BYTE* row, int first, int last) {
    while (first < last && !IsUsed(row, first)) ++first;
    return first;
  }
  /// One past the last used column of [first, last), or `first`.
  static int Last(const BYTE* row, int first, int last) {
    while (last > first && !IsUsed(row, last - 1)) --last;
    return last;
  }
  static bool Any(const BYTE* row, int first, int last) {
    // Up to the first and from the last whole eight bytes pixel by pixel, between them by words.
    constexpr int kPixels = Depth::kBits == 24 ? 8 : 64 / Depth::kBits;
    const int from = std::min(last, (first + kPixels - 1) / kPixels * kPixels);
    const int to = std::max(from, last / kPixels * kPixels);
    return First(row, first, from) != from ||
           !kxw::IsUniformRun(row + ByteOf(from),
                              static_cast<std::size_t>(ByteOf(to) - ByteOf(from)), 0, kBits) ||
           First(row, to, last) != last;
  }
};

/// Whether no pixel of `part`, which lies in one block at `base`, is in use.
template <class Depth>
bool IsPartEmpty(const BYTE* base, const KXRect& part) {
  constexpr int kSize = KXVOffscreen::kBlockSize, kMask = KXVOffscreen::kBlockMask;
  if (part.Width() == kSize && part.Height() == kSize) {
    return kxw::IsUniformRun(base, kxw::kBlockBytes<Depth>, 0, Depth::kUsedBits);
  }
  const int left = part.left & kMask;
  const BYTE* row = base + (part.top & kMask) * kxw::kRowBytes<Depth>;
  for (int y = part.top; y < part.bottom; ++y, row += kxw::kRowBytes<Depth>) {
    if (UsedPixels<Depth, Depth::kUsedBits>::Any(row, left, left + part.Width())) return false;
  }
  return true;
}

/// Widens `box` by the pixels of `part`, in one block at `base`, that count in an extent.
template <class Depth>
void AddExtent(const BYTE* base, const KXRect& part, KXRect& box) {
  // At 24 bits every pixel that has memory counts.
  if constexpr (Depth::kExtentBits == 0) {
    box |= part;
  } else {
    using Used = UsedPixels<Depth, Depth::kExtentBits>;
    constexpr int kMask = KXVOffscreen::kBlockMask;
    const int origin = part.left & ~kMask;
    const int left = part.left - origin, right = part.right - origin;
    for (int y = part.top; y < part.bottom; ++y) {
      const BYTE* row = base + (y & kMask) * kxw::kRowBytes<Depth>;
      if (!Used::Any(row, left, right)) continue;
      box |= KXRect(origin + Used::First(row, left, right), y,
                    origin + Used::Last(row, left, right), y + 1);
    }
  }
}

}  // namespace

namespace kxw {

template <class Depth>
void DepthOffscreen<Depth>::Optimize() {
  if (lockCount_ > 0) return;
  KXTArray<tagRECT, 0> empty;  // freed only when the cursor has left them
  {
    // A read lock: what is brought in from the swap file for the test is not written out again.
    KXVOffscreenAutoLock lock(this, 0, 0, 0);
    KXBlockGetter blocks(this, GetRect(), 1);
    for (KXRect part; blocks.GetNextBlock(part);) {
      MoveCursor(part.left, part.top);
      if (cursor_.base && IsPartEmpty<Depth>(cursor_.base, part)) empty.Add(part);
    }
  }
  for (const tagRECT& part : empty) DestroyBlock(part.left, part.top);
}

template <class Depth>
void DepthOffscreen<Depth>::OptimizeBlock(tagRECT rect) {
  const KXRect part = KXRect(rect) & GetRect();
  if (part.IsRectEmpty() ||
      GetBlockIndex(part.left, part.top) != GetBlockIndex(part.right - 1, part.bottom - 1) ||
      !GetBlockExist(part.left, part.top)) {  // an enclosing write lock would make it
    return;
  }
  KXVOffscreenAutoLock lock(this, part.left, part.top, 0);
  const bool isEmpty = cursor_.base && IsPartEmpty<Depth>(cursor_.base, part);
  lock.Unlock();  // an enclosing lock's cursor is not put back
  if (isEmpty) DestroyBlock(part.left, part.top);
}

template void DepthOffscreen<Depth1>::Optimize();
template void DepthOffscreen<Depth2>::Optimize();
template void DepthOffscreen<Depth8>::Optimize();
template void DepthOffscreen<Depth16>::Optimize();
template void DepthOffscreen<Depth24>::Optimize();
template void DepthOffscreen<Depth32>::Optimize();
template void DepthOffscreen<Depth64>::Optimize();
template void DepthOffscreen<Depth1>::OptimizeBlock(tagRECT);
template void DepthOffscreen<Depth2>::OptimizeBlock(tagRECT);
template void DepthOffscreen<Depth8>::OptimizeBlock(tagRECT);
template void DepthOffscreen<Depth16>::OptimizeBlock(tagRECT);
template void DepthOffscreen<Depth24>::OptimizeBlock(tagRECT);
template void DepthOffscreen<Depth32>::OptimizeBlock(tagRECT);
template void DepthOffscreen<Depth64>::OptimizeBlock(tagRECT);

}  // namespace kxw

// --- Extents ------------------------------------------------------------------------------------

int KXVOffscreen::GetExtentRect(tagRECT& out) {
  KXRect box;
  kxw::WithDepth(bitCount_, [&](auto depth) {
    KXVOffscreenAutoLock lock(this, 0);
    KXBlockGetter blocks(this, GetRect(), 1);
    for (KXRect part; blocks.GetNextBlock(part);) {
      if (!GetBlockExist(part.left, part.top)) continue;
      MoveCursor(part.left, part.top);
      if (cursor_.base) AddExtent<decltype(depth)>(cursor_.base, part, box);
    }
  });
  out = box;
  return !box.IsRectEmpty();
}

int KXVOffscreen::GetExtentBlock(tagRECT& out) {
  KXRect box;
  KXBlockGetter blocks(this, GetRect(), 1);
  for (KXRect part; blocks.GetNextBlock(part);) {
    if (GetBlockExist(part.left, part.top)) box |= part;
  }
  if (box.IsRectEmpty()) return 0;
  out = box;
  return 1;
}

u64 KXVOffscreen::GetUsedMemory(int onMemoryOnly) const {
  u64 bytes = 0;
  for (const KXVOffscreenBlock& cell : blocks_) {
    const KXSwapBlock* block = cell.GetSwapBlock();
    if (block && (!onMemoryOnly || block->IsOnMemory())) bytes += block->GetSize();
  }
  return bytes;
}
