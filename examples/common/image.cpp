#include "common/image.h"

#include <cstring>
#include <string>

namespace examples {

int CompareImages(KXVOffscreen& a, KXVOffscreen& b) {
  if (a.GetBitCount() != b.GetBitCount() || a.GetRect() != b.GetRect() ||
      a.GetResolution() != b.GetResolution()) {
    throw std::runtime_error("the images differ in size, depth or resolution");
  }
  const auto bytes = static_cast<std::size_t>(a.GetBlockRowBytes()) * KXVOffscreen::kBlockSize;
  int count = 0;
  KXAbort abort;
  KXProgressBar progress(a.GetBlockCount(nullptr, nullptr), "Comparing");
  KXVOffscreenAutoLock lockA(&a, 0), lockB(&b, 0);
  KXBlockGetter blocks(&a, a.GetRect(), 1);
  for (KXRect block; blocks.GetNextBlock(block); progress.Step()) {
    abort.CheckAbort();
    a.MoveCursor(block.left, block.top);
    b.MoveCursor(block.left, block.top);
    const BYTE* inA = PixelsUnderCursor(a);
    const BYTE* inB = PixelsUnderCursor(b);
    if (inA && inB ? std::memcmp(inA, inB, bytes) != 0 : inA != inB) {
      throw std::runtime_error("the images differ in the block at (" + std::to_string(block.left) +
                               ", " + std::to_string(block.top) + ")");
    }
    if (inA) ++count;
  }
  return count;
}

}  // namespace examples
