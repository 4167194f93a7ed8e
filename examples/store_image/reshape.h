#pragma once

#include "common/image.h"

namespace storeimage {

enum class Quality { kArea, kFast, kNearest };

/// How an image is to be shown; what is left as it stands here changes nothing.
struct Shape {
  bool flipsColumns = false;  ///< Left becomes right.
  bool flipsRows = false;     ///< Top becomes bottom.
  int degrees = 0;            ///< Anticlockwise, after the flips.
  bool isSmooth = false;      ///< For turns other than quarters.
  int width = 0;              ///< Columns in the end; the rows follow in proportion.
  int mostSide = 0;           ///< Or: columns and rows to fit in, without enlarging.
  Quality quality = Quality::kArea;
};

/// Gives an image the shape, in the manager of the process, whatever its size. It keeps its depth,
/// but for means of depths 1 and 2, which are densities of 8 bits; and the size that its resolution
/// prints it in. Shows its progress. Raises examples::UserError for a shape that no image can have,
/// and what the library raises.
examples::Offscreen Reshape(examples::Offscreen image, const Shape& shape);

}  // namespace storeimage
