#pragma once

#include "kxwcmn/core/geometry.h"
#include "kxwcmn/platform/export.h"

class KXSwapBlock;

/// One cell of an image's grid: the 256 by 256 pixels it stands for, and its memory.
class KX_EXPORT KXVOffscreenBlock {
 public:
  KXVOffscreenBlock() = default;
  KXVOffscreenBlock(const KXRect& rect, KXSwapBlock* block) : rect_(rect), block_(block) {}
  KXVOffscreenBlock(const KXVOffscreenBlock&) = default;
  KXVOffscreenBlock& operator=(const KXVOffscreenBlock&) = default;
  virtual ~KXVOffscreenBlock();

  const KXRect& GetRect() const { return rect_; }

  bool IsInsideX(int x) const { return rect_.left <= x && x < rect_.right; }
  bool IsInsideY(int y) const { return rect_.top <= y && y < rect_.bottom; }
  bool IsInside(int x, int y) const { return IsInsideX(x) && IsInsideY(y); }

  /// The cell's memory, owned by the image; null while nothing was written.
  KXSwapBlock* GetSwapBlock() const { return block_; }
  void SetSwapBlock(KXSwapBlock* block) { block_ = block; }

 private:
  KXRect rect_;
  KXSwapBlock* block_ = nullptr;
};
