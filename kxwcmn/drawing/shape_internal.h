#pragma once

#include "kxwcmn/core/geometry.h"
#include "kxwcmn/offscreen/voffscreen.h"

namespace kxw {

/// A rectangle without width and height, which the fills take as one pixel.
inline bool IsPoint(const KXRect& rect) {
  return rect.left == rect.right && rect.top == rect.bottom;
}

/// The part of `clip` (null: all) that lies in the image.
inline KXRect CutToImage(const tagRECT* clip, const KXVOffscreen& image) {
  return clip ? KXRect(*clip) & image.GetRect() : image.GetRect();
}

/// The four bytes of a 4 by 4 stipple (null: none) for row `y`.
inline const BYTE* StippleRow(const BYTE* pattern, int y) {
  return pattern ? pattern + (y & 3) * 4 : nullptr;
}

}  // namespace kxw
