#pragma once

#include "kxwcmn/platform/types.h"

class KXVOffscreen;
class KXVOffPixelMask;
class KXVOffPixelMixer;

// The two forms of KXVOffscreen::FillLineRowForPolygon with a mixer. Both leave the cursors of the
// destination and of the source one pixel behind the row.
namespace kxw {

/// Pixel by pixel through the mixer's virtual functions: the form that defines the result.
void MixRowPlain(KXVOffscreen& dst, int x1, int x2, KXVOffPixelMixer& mixer, KXVOffPixelMask* mask,
                 const BYTE* pattern);

/// The same pixels by loops over rows of memory, for a chain of the library's own mixers bound to
/// the destination and its depth. Returns false, with nothing done, for any other chain, and where
/// an image has two parts to play, so that its one cursor must move as the plain form moves it.
bool MixRowByKernel(KXVOffscreen& dst, int x1, int x2, KXVOffPixelMixer& mixer,
                    KXVOffPixelMask* mask, const BYTE* pattern);

}  // namespace kxw
