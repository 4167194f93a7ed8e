#pragma once

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace kxw {

/// A descriptor that is closed with its scope.
class Descriptor {
 public:
  explicit Descriptor(int descriptor = -1) : descriptor_(descriptor) {}
  Descriptor(Descriptor&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(descriptor_, other.descriptor_);
    return *this;
  }
  ~Descriptor() { Close(); }

  /// Returns 0 or errno.
  int Close() {
    const int descriptor = std::exchange(descriptor_, -1);
    return descriptor < 0 || close(descriptor) == 0 || errno == EINTR ? 0 : errno;
  }
  int Get() const { return descriptor_; }
  /// Hands it out, for another to close.
  int Release() { return std::exchange(descriptor_, -1); }
  explicit operator bool() const { return descriptor_ >= 0; }

 private:
  int descriptor_;
};

inline bool IsSame(const struct stat& a, const struct stat& b) {
  return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

inline bool IsDots(const char* name) {
  return std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0;
}

/// The names in a folder, so that it can be changed while they are gone through. Returns 0 or
/// errno.
inline int NamesIn(int folder, std::vector<std::string>* names) {
  const int again = openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (again < 0) return errno;
  const std::unique_ptr<DIR, int (*)(DIR*)> list(fdopendir(again), &closedir);
  if (!list) {
    close(again);
    return ENOMEM;
  }
  errno = 0;
  while (const dirent* entry = readdir(list.get())) {
    if (!IsDots(entry->d_name)) names->push_back(entry->d_name);
    errno = 0;
  }
  return errno;
}

}  // namespace kxw
