#pragma once

#include "kxwcmn/core/geometry.h"
#include "kxwcmn/offscreen/voffscreen.h"

namespace kxw {

/// Resamples `from`, inside `src`, into `to`, inside `dst`: each pixel becomes what
/// `CalcPixelValue` of `src` gives for its box, stored as `ChangeResolution` tells. Both images
/// have 64 bits, or none has. They are different ones, and neither rectangle is empty.
void ApplyAreaFilter(KXVOffscreen& dst, const KXRect& to, KXVOffscreen& src, const KXRect& from,
                     bool behind);

}  // namespace kxw
