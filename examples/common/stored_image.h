#pragma once

#include <string>

#include "common/image.h"
#include "common/new_file.h"

namespace examples {

/// A file that an image is stored in. The file takes its name when it is complete: whatever stood
/// there before stays until then.
class StoredImageWriter {
 public:
  /// Creates the file. Raises FileError, as `Write` does.
  explicit StoredImageWriter(const std::string& path) : newFile_(path) {}

  /// Stores `image` with its blocks compressed at `level`, 1 to 9, or raw at 0, and ends the file.
  /// Shows its progress. Raises KXException with code 0x20010004 when the user stops it.
  void Write(KXVOffscreen& image, int level);

 private:
  NewFile newFile_;
};

/// Reads an image into the manager of the process, and shows the progress. Raises as
/// `StoredImageWriter` does.
Offscreen ReadStoredImage(const std::string& path);

/// Opens a file that holds a stored image. Raises FileError.
void OpenStoredImage(KXArchiveFile& archive, const std::string& path);

/// As `RaiseOfFile`, for a file that should hold a stored image.
[[noreturn]] void RaiseOfStored(const std::string& path, KXException& failure);

}  // namespace examples
