#pragma once

#include <string>

#include "kxwcmn/kxwcmn.h"

namespace smoothcel {

/// Makes `cel` an image of 32 bits of a PNG, with hard edges.
///
/// A picture in colours is a painted cel, and taken as it is. Any other, and any with `seeds`, is a
/// line drawing: each pixel becomes ink or white paper, and each region gets the colour that a line
/// of the file `seeds` tells ("x y #RRGGBB", in pixels of the drawing) or, with `seeds` empty, one
/// of a palette. Of a drawing of at least 2048 pixels of side every second one is left then, of a
/// larger one fewer, but no fewer than 1024. Returns how many seeds lie on ink, and paint nothing.
/// Raises FileError, UserError, and what the library raises.
int ReadHardCel(const std::string& path, const std::string& seeds, KXOffscreen& cel);

}  // namespace smoothcel
