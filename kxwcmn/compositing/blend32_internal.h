#pragma once

#include "kxwcmn/platform/types.h"

// The 32-bit blend over runs: what most pixels of a production go through.
namespace kxw {

/// A pixel of an image's memory, or a colour in that form.
using Word32 KX_MAY_ALIAS = DWORD;

/// Lays `count` colours on as many pixels, by BlendRule::Mix32.
void BlendRun32(Word32* pixels, const Word32* colors, int count);

/// The same for up to 64 pixels, of any alphas, in the vectors in use.
void BlendAnyPixels32(Word32* pixels, const Word32* colors, int count);

}  // namespace kxw
