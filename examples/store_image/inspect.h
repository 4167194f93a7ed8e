#pragma once

#include <string>

#include "kxwcmn/kxwcmn.h"

namespace storeimage {

/// What a stored image says of itself.
struct StoredForm {
  WORD version = 0;
  int width = 0, height = 0, bits = 0;
  double resolution = 0;
  BYTE pixelOrder = 0;
  KXRect extent;  ///< Of the blocks with memory; empty if there are none.
  bool isCompressed = false;
  int cells = 0;       ///< Blocks of the extent.
  int blocks = 0;      ///< Those with memory.
  u64 rawBytes = 0;    ///< Of their memory.
  u64 blockBytes = 0;  ///< Of their pixels in the file.
  u64 fileBytes = 0;

  i64 AllCells() const;
};

/// Reads the head of the stored image at `path` and walks over its blocks, without their pixels.
/// Raises examples::FileError if it is none, or not whole.
StoredForm Inspect(const std::string& path);

/// A text of some lines for the user.
std::string Describe(const StoredForm& form);

}  // namespace storeimage
