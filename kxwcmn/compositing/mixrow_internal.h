#pragma once

#include "kxwcmn/platform/types.h"

class KXVOffscreen;
class KXVOffPixelMask;
class KXVOffPixelMixer;

// The two forms of KXVOffscreen::FillLineRowForPolygon with a mixer. Both lay what lies in the
// image, and leave the cursors of the destination and of the source one pixel behind the row.
namespace kxw {

/// Raises 8 if the cursor of a locked image stands in a block that exists and cannot be brought in:
/// a source would erase there, and a mask let through what it holds back.
void CheckBroughtIn(const KXVOffscreen& image);

/// Pixel by pixel through the mixer's virtual functions: the form that defines the result.
void MixRowPlain(KXVOffscreen& dst, int x1, int x2, KXVOffPixelMixer& mixer, KXVOffPixelMask* mask,
                 const BYTE* pattern);

/// What is to be laid where, with half-open edges.
struct MixArea {
  i64 left, top, right, bottom;  ///< Of the destination; may reach beyond it.
  i64 sourceX, sourceY;          ///< The source's pixel that matches the area's first.
  const BYTE* pattern;           ///< Four cells of a stipple, by x; of an area, four rows of them.
  bool isRow;                    ///< The masks' rows are where their cursors stand.
};

/// The same pixels by loops over memory, for a chain of the library's own mixers bound to the
/// destination and its depth. An area is laid block by block. Returns false, with nothing done, for
/// any other chain, for an empty area, and where an image has two parts to play, so that its one
/// cursor must move as the plain form moves it. Raises 0x20010008 for a chain that leads into
/// itself, and 8 as CheckBroughtIn does.
bool MixByKernel(KXVOffscreen& dst, KXVOffPixelMixer& mixer, KXVOffPixelMask* mask,
                 const MixArea& area);

/// The same for a row from the cursors' places.
bool MixRowByKernel(KXVOffscreen& dst, int x1, int x2, KXVOffPixelMixer& mixer,
                    KXVOffPixelMask* mask, const BYTE* pattern);

}  // namespace kxw
