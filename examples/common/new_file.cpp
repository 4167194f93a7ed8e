#include "common/new_file.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>

namespace examples {

namespace fs = std::filesystem;

NewFile::NewFile(const std::string& path) : path_(path), target_(path) {
  std::error_code ignored;
  const fs::file_status status = fs::status(path, ignored);
  if (fs::exists(status) && !fs::is_regular_file(status)) throw FileError(path, "not a file");
  if (fs::is_symlink(path, ignored)) target_ = fs::weakly_canonical(path, ignored).string();
  partPath_ = target_ + ".part";
}

NewFile::~NewFile() {
  if (!isKept_) std::remove(partPath_.c_str());
}

void NewFile::Keep() {
  if (std::rename(partPath_.c_str(), target_.c_str()) != 0) {
    throw FileError(path_, std::strerror(errno));
  }
  isKept_ = true;
}

}  // namespace examples
