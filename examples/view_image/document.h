#pragma once

#include <string>

#include "common/image.h"

namespace viewimage {

/// A picture and what it is called.
struct Document {
  examples::Offscreen picture;
  std::string name;
};

/// Opens a file that holds a stored image or a PNG. Shows its progress. Raises examples::FileError,
/// and what the library raises: code 0x20010004 when the user stops it.
Document OpenFile(const std::string& path);

/// Paints the built-in drawing at `size` pixels of its longer side, its ink over the paint and
/// nothing around it. Raises as `OpenFile` does.
Document PaintCel(int size);

}  // namespace viewimage
