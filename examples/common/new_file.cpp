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
  std::FILE* const file = std::fopen(partPath_.c_str(), "wb");
  if (!file) throw FileError(path, std::strerror(errno));
  std::fclose(file);
}

NewFile::~NewFile() {
  if (!isKept_) std::remove(partPath_.c_str());
}

void NewFile::Keep() {
  std::error_code ignored;
  const fs::file_status old = fs::status(target_, ignored);
  if (fs::exists(old)) fs::permissions(partPath_, old.permissions(), ignored);
  if (std::rename(partPath_.c_str(), target_.c_str()) != 0) {
    throw FileError(path_, std::strerror(errno));
  }
  isKept_ = true;
}

}  // namespace examples
