#pragma once

#include <stdexcept>
#include <string>

#include "kxwcmn/kxwcmn.h"

namespace examples {

/// A file that cannot be read or written. `what()` is one line that names it.
class FileError : public std::runtime_error {
 public:
  FileError(const std::string& path, const std::string& reason)
      : std::runtime_error(path + ": " + reason) {}
};

/// What a failure of the library did to the file at `path`, as FileError in the library's words. A
/// failure that has nothing to do with the file goes through as it is. To be called while `failure`
/// is caught.
[[noreturn]] void RaiseOfFile(const std::string& path, KXException& failure);

/// A path of the host as the library has it.
KXFilePath FromNative(const std::string& path);

/// A file that takes its name only when it is complete: whatever has the name stays until then.
class NewFile {
 public:
  /// Creates it empty, as a file of a name that nobody has. Raises FileError if it cannot be, or
  /// where a read-only file or something else than a file has the name.
  explicit NewFile(const std::string& path);

  /// The name to be, for messages.
  const std::string& Path() const { return path_; }
  /// Where the file is until then, beside the one that it replaces. It goes unless it is kept.
  const std::string& PartPath() const { return partPath_; }
  /// Gives the complete and closed file its name, and the rights of the file that it replaces.
  /// Raises FileError.
  void Keep();

 private:
  std::string path_;
  std::string partPath_;
  kxw::FileReplacement replacement_;
};

}  // namespace examples
