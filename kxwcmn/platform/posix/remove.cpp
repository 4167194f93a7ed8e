#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <utility>
#include <vector>

#include "kxwcmn/platform/error.h"
#include "kxwcmn/platform/filesystem.h"
#include "kxwcmn/platform/posix/file_internal.h"
#include "kxwcmn/platform/posix/folder_internal.h"
#include "kxwcmn/platform/posix/host_internal.h"

namespace kxw {

namespace {

/// A folder that is being emptied.
struct Level {
  struct stat status;
  std::string name;
  std::vector<std::string> left;  // of its entries
};

/// Deletes what is no folder, and opens what is one: `*folder` is open then. Returns 0 or errno.
int RemoveOrOpen(int parent, const char* name, Descriptor* folder, Level* level) {
  // Of a folder the host says EISDIR or EPERM here.
  if (unlinkat(parent, name, 0) == 0 || errno == ENOENT) return 0;
  if (errno != EISDIR && errno != EPERM) return errno;
  const int refused = errno;
  Descriptor opened(openat(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  if (!opened) return errno == ENOTDIR ? refused : errno;
  if (fstat(opened.Get(), &level->status) != 0) return errno;
  level->name = name;
  if (const int error = NamesIn(opened.Get(), &level->left)) return error;
  *folder = std::move(opened);
  return 0;
}

}  // namespace

// Every step names one element of an open folder and follows no link, so that nothing outside the
// tree is reached even if it is changed meanwhile. Only one folder is open at a time, so that no
// tree is too deep.
int RemoveElement(int folder, const char* name) {
  Descriptor current;
  std::vector<Level> levels(1);
  int first = RemoveOrOpen(folder, name, &current, &levels[0]);
  if (!current) return first;
  const auto note = [&](int error) { first = first != 0 ? first : error; };
  for (;;) {
    if (!levels.back().left.empty()) {
      const std::string next = std::move(levels.back().left.back());
      levels.back().left.pop_back();
      Descriptor child;
      Level level;
      note(RemoveOrOpen(current.Get(), next.c_str(), &child, &level));
      if (!child) continue;
      current = std::move(child);
      levels.push_back(std::move(level));
      continue;
    }
    const std::string emptied = std::move(levels.back().name);
    levels.pop_back();
    if (levels.empty()) break;
    Descriptor above(openat(current.Get(), "..", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    struct stat status;
    if (!above || fstat(above.Get(), &status) != 0) return first != 0 ? first : errno;
    // A folder that was moved away meanwhile leads elsewhere.
    if (!IsSame(status, levels.back().status)) return first != 0 ? first : EBUSY;
    current = std::move(above);
    if (unlinkat(current.Get(), emptied.c_str(), AT_REMOVEDIR) != 0 && errno != ENOENT) note(errno);
  }
  if (unlinkat(folder, name, AT_REMOVEDIR) != 0 && errno != ENOENT) note(errno);
  return first;
}

int CheckRemovable(int folder, const char* name, int depth) {
  if (depth > kDeepestFolder) return ENAMETOOLONG;
  struct stat above, status;
  if (fstat(folder, &above) != 0 || fstatat(folder, name, &status, AT_SYMLINK_NOFOLLOW) != 0) {
    return errno;
  }
  if (faccessat(folder, ".", W_OK | X_OK, AT_EACCESS) != 0) return errno;
  // In a folder for everybody each deletes what is his.
  const uid_t user = geteuid();
  const bool isSticky = above.st_mode & S_ISVTX;
  if (isSticky && user != 0 && user != above.st_uid && user != status.st_uid) return EPERM;
  if (!S_ISDIR(status.st_mode)) return 0;
  if (status.st_dev != above.st_dev) return EBUSY;  // another disk is mounted there
  const Descriptor opened(openat(folder, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  if (!opened) return errno;
  std::vector<std::string> names;
  if (const int error = NamesIn(opened.Get(), &names)) return error;
  for (const std::string& inside : names) {
    if (const int error = CheckRemovable(opened.Get(), inside.c_str(), depth + 1)) return error;
  }
  return 0;
}

int RemoveTree(const char* path) {
  std::string hostPath = HostPath(path);
  while (!hostPath.empty() && hostPath.back() == '/') hostPath.pop_back();
  const std::size_t delimiter = hostPath.rfind('/');
  const std::string name =
      delimiter == std::string::npos ? hostPath : hostPath.substr(delimiter + 1);
  if (name.empty() || IsDots(name.c_str())) return Report(kErrorAccessDenied);
  return Report(CodeOfHostError(RemoveElement(AT_FDCWD, hostPath.c_str())));
}

}  // namespace kxw
