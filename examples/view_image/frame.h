#pragma once

#include "view_image/pixels.h"
#include "view_image/pyramid.h"
#include "view_image/view.h"

namespace viewimage {

/// What a picture lies on.
struct Ground {
  Checkerboard board;              ///< Under the picture.
  QMCOLORREF beside = 0xFF38332F;  ///< Around it.
  QMCOLORREF unmade =
      0xFF4A443F;  ///< Where a reduced copy lacks its block, and nothing is at hand.
};

/// Draws what `view` shows into the top left of `frame`, an image of 32 bits that is at least as
/// large as the view's window, and makes it opaque: enlarged pixels as crisp squares, reduced ones
/// averaged. Where a copy lacks a block, pixels of the finer ones in memory stand for it. Reads no
/// other blocks than those that are seen. Raises 8 if one cannot be read.
void DrawFrame(Pyramid& pyramid, const View& view, const Ground& ground, KXBitImage& frame);

/// The blocks, in columns and rows, of the copy of the picture that `view` shows.
KXRect VisibleBlocks(const View& view);
/// Whether all of those are made.
bool IsComplete(Pyramid& pyramid, const View& view);

}  // namespace viewimage
