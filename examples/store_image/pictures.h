#pragma once

#include <string>

#include "common/image.h"

namespace storeimage {

/// Reads the PNG at `path` into an image of `bits` bits a pixel. Blocks without any paint take no
/// memory. Transparent pixels come over white where the depth has no alpha. Shows its progress.
/// Raises examples::FileError, and what the library raises.
examples::Offscreen ImportPicture(const std::string& path, int bits);

/// Writes an image as a PNG that holds what its depth holds. Raises as `ImportPicture` does.
void ExportPicture(KXVOffscreen& image, const std::string& path);

}  // namespace storeimage
