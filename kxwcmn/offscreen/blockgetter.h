#pragma once

#include "kxwcmn/core/geometry.h"
#include "kxwcmn/platform/export.h"

class KXVOffscreen;

/// Walks the blocks that a rectangle touches, row by row, each once.
///
/// The walk is of the grid alone: it locks nothing, and blocks may come and go meanwhile, but it
/// must not outlive a change of the grid.
class KX_EXPORT KXBlockGetter {
 public:
  /// With `clip` 0 the parts are whole blocks, cut only by the image's edges; otherwise they are
  /// cut to `rect` too. A null image gives an empty walk.
  KXBlockGetter(KXVOffscreen* offscreen, const KXRect& rect, int clip);
  KXBlockGetter(const KXBlockGetter&) = default;
  KXBlockGetter& operator=(const KXBlockGetter&) = default;
  virtual ~KXBlockGetter();

  /// The next block's part; 0, with `out` left alone, when there is none left.
  int GetNextBlock(KXRect& out);
  /// Whether the walk has not passed its last row.
  int IsExist() const { return currentRow_ <= lastRow_; }

 private:
  KXRect clip_;
  int firstColumn_ = 0;
  int lastColumn_ = -1;
  int firstRow_ = 0;
  int lastRow_ = -1;
  int currentColumn_;
  int currentRow_;
};
