#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>

#include "kxwcmn/platform/error.h"
#include "kxwcmn/platform/filesystem.h"
#include "kxwcmn/platform/posix/file_internal.h"
#include "kxwcmn/platform/posix/host_internal.h"

namespace kxw {

namespace {

using Folder = std::unique_ptr<DIR, int (*)(DIR*)>;

bool IsDots(const char* name) {
  return std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0;
}

constexpr int kDeepest = 4000;  // folders within folders, each of which takes a descriptor

/// Deletes `name` in the folder `parent`. Every step names one element of an open folder and
/// follows no link, so that nothing outside the tree is reached even if it is changed meanwhile.
int RemoveEntry(int parent, const char* name, int depth) {
  // Of a folder the host says EISDIR or EPERM here.
  if (unlinkat(parent, name, 0) == 0 || errno == ENOENT) return 0;
  if (errno != EISDIR && errno != EPERM) return errno;
  const int refused = errno;
  if (depth > kDeepest) return ENAMETOOLONG;

  const int descriptor = openat(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  if (descriptor < 0) return errno == ENOTDIR ? refused : errno;
  const Folder folder(fdopendir(descriptor), &closedir);
  if (!folder) {
    close(descriptor);
    return ENOMEM;
  }
  int first = 0;
  for (;;) {
    errno = 0;
    const dirent* entry = readdir(folder.get());
    if (!entry) {
      if (first == 0) first = errno;
      break;
    }
    if (IsDots(entry->d_name)) continue;
    const int error = RemoveEntry(descriptor, entry->d_name, depth + 1);
    if (first == 0) first = error;
  }
  if (first != 0) return first;
  return unlinkat(parent, name, AT_REMOVEDIR) == 0 || errno == ENOENT ? 0 : errno;
}

}  // namespace

int RemoveElement(int folder, const char* name) { return RemoveEntry(folder, name, 0); }

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
