#pragma once

#include <stdexcept>
#include <string>

namespace examples {

/// A file that cannot be read or written. `what()` is one line that names it.
class FileError : public std::runtime_error {
 public:
  FileError(const std::string& path, const std::string& reason)
      : std::runtime_error(path + ": " + reason) {}
};

/// A file that takes its name only when it is complete: whatever has the name stays until then.
class NewFile {
 public:
  /// Creates it empty. Raises FileError if it cannot be, or where something else than a file has
  /// the name.
  explicit NewFile(const std::string& path);
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;
  /// Removes the file unless it is kept.
  ~NewFile();

  /// The name to be, for messages.
  const std::string& Path() const { return path_; }
  /// Where the file is until then, in the same folder.
  const std::string& PartPath() const { return partPath_; }
  /// Gives the complete and closed file its name, and the rights of the file that it replaces.
  /// Raises FileError.
  void Keep();

 private:
  std::string path_;
  std::string target_;  // what the name stands for, if it is a link
  std::string partPath_;
  bool isKept_ = false;
};

}  // namespace examples
