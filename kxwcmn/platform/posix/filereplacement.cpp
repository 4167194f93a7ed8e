#include "kxwcmn/platform/filereplacement.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <string_view>

#include "kxwcmn/platform/error.h"
#include "kxwcmn/platform/filesystem.h"
#include "kxwcmn/platform/path.h"
#include "kxwcmn/platform/posix/file_internal.h"
#include "kxwcmn/platform/posix/folder_internal.h"
#include "kxwcmn/platform/posix/host_internal.h"

namespace kxw {

namespace {

constexpr int kOpenComplete = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;

/// Goes from a link to where it leads, which need not exist. Returns 0 or errno.
int FollowLinks(std::string* path) {
  constexpr int kMostLinks = 40;  // as the host follows
  for (int i = 0; i < kMostLinks; ++i) {
    char leadsTo[PATH_MAX];
    const ssize_t length = readlink(path->c_str(), leadsTo, sizeof leadsTo);
    if (length < 0) return errno == EINVAL || errno == ENOENT ? 0 : errno;
    if (length == 0) return ENOENT;
    if (length == sizeof leadsTo) return ENAMETOOLONG;
    const std::string_view next(leadsTo, static_cast<std::size_t>(length));
    if (next[0] != '/') {
      path->resize(path->rfind('/') + 1);
      *path += next;
    } else {
      *path = next;
    }
  }
  return ELOOP;
}

/// Looks at what is to be replaced; `*exists` tells whether there is anything. Returns the
/// platform's code for what no file may replace.
int LookAtTarget(int folder, const std::string& name, struct stat* status, bool* exists) {
  *exists = fstatat(folder, name.c_str(), status, AT_SYMLINK_NOFOLLOW) == 0;
  if (!*exists) return errno == ENOENT ? 0 : CodeOfHostError(errno);
  if (S_ISDIR(status->st_mode)) return kErrorAccessDenied;
  return S_ISREG(status->st_mode) ? 0 : kErrorNotSupported;
}

/// Gives an open file the owner and the rights of another, as far as the user may. Returns 0 or
/// errno.
int TakeRights(int file, const struct stat& status) {
  struct stat own;
  if (fstat(file, &own) != 0) return errno;
  mode_t mode = status.st_mode & 0777;
  const bool isOwned = own.st_uid == status.st_uid && own.st_gid == status.st_gid;
  if (!isOwned && fchown(file, status.st_uid, status.st_gid) != 0 &&
      fchown(file, static_cast<uid_t>(-1), status.st_gid) != 0) {
    mode &= ~static_cast<mode_t>(S_IRWXG);  // they were another group's
  }
  const mode_t given = own.st_mode & 0777;
  if (given == mode || fchmod(file, mode) == 0) return 0;
  // Where all files of a disk seem to be somebody else's, rights that are no wider will do.
  const bool isRefused = errno == EPERM || errno == ENOSYS || errno == EOPNOTSUPP;
  return isRefused && (given & ~mode) == 0 ? 0 : errno;
}

/// `ReplaceElement` of a file that is open, so that its rights need not let it be opened.
int ReplaceByOpenFile(int folder, int file, const char* complete, const char* target) {
  if (file >= 0) {
    if (const int error = Sync(file)) return error;
  }
  // Both names are the folder's: it is on the disk with the complete file before the old one goes.
  if (const int error = Sync(folder)) return error;
  if (const int error = RenameReplacing(folder, complete, folder, target)) return error;
  return Sync(folder);
}

}  // namespace

int Sync(int descriptor) {
  if (const int error = HostErrorAt(detail::FaultPoint::kSync)) return error;
  int result;
  do {
    result = fsync(descriptor);
  } while (result != 0 && errno == EINTR);
  if (result == 0) return 0;
  // A descriptor that only names a folder cannot be synced, and some file systems have nothing to.
  const bool isPointless = errno == EBADF || errno == EINVAL || errno == EROFS;
  return isPointless ? 0 : errno;
}

int ReplaceElement(int folder, const char* complete, const char* target) {
  const Descriptor file(openat(folder, complete, kOpenComplete));
  if (!file && errno != ELOOP) return errno;  // a link is all in its folder
  return ReplaceByOpenFile(folder, file.Get(), complete, target);
}

FileReplacement::~FileReplacement() {
  const int lastError = qmGetLastError();
  Discard();
  qmSetLastError(lastError);
}

void FileReplacement::Discard() {
  const Descriptor folder(static_cast<int>(openFolder_));
  openFolder_ = -1;
  if (folder && !temporary_.empty() && !keepsTemporary_)
    unlinkat(folder.Get(), temporary_.c_str(), 0);
  temporary_.clear();
  path_.clear();
}

int FileReplacement::Begin(const char* target, const char* prefix) {
  Discard();
  std::string path = target ? std::string(target, LengthWithoutBack(target, IsAnyDelimiter)) : "";
  std::string hostPath = HostPath(path.c_str());
  const std::string named = hostPath, start = HostPath(prefix);
  if (hostPath.empty()) return Report(kErrorPathNotFound);
  if (start.find('/') != std::string::npos) return Report(kErrorInvalidName);
  if (const int error = FollowLinks(&hostPath)) return Report(CodeOfHostError(error));
  if (hostPath != named && !LibraryPath(hostPath, &path)) return Report(kErrorInvalidName);

  const std::size_t delimiter = hostPath.rfind('/');
  const std::string folder =
      delimiter == std::string::npos ? "." : hostPath.substr(0, delimiter + 1);
  target_ = delimiter == std::string::npos ? hostPath : hostPath.substr(delimiter + 1);
  if (target_.empty() || IsDots(target_.c_str())) return Report(kErrorAccessDenied);
  constexpr int kFlags = O_DIRECTORY | O_CLOEXEC;
  Descriptor opened(open(folder.c_str(), O_RDONLY | kFlags));
  // A folder that may be written to but not listed.
  if (!opened && errno == EACCES) opened = Descriptor(open(folder.c_str(), O_PATH | kFlags));
  if (!opened) return Report(errno == ENOENT ? int{kErrorPathNotFound} : CodeOfHostError(errno));

  struct stat status;
  bool exists;
  if (const int code = LookAtTarget(opened.Get(), target_, &status, &exists)) return Report(code);
  std::string name;
  if (const int error = MakeUniqueFile(opened.Get(), start, exists ? 0600 : 0666, &name)) {
    return Report(CodeOfHostError(error));
  }
  temporary_ = name;
  const PathParts parts = SplitPath(path);
  path_ = parts.folder;
  if (!path_.empty() && LengthWithoutBack(path_.c_str(), IsAnyDelimiter) == path_.size())
    path_ += '\\';
  path_ += (prefix ? prefix : "") + name.substr(start.size());
  openFolder_ = opened.Release();
  return Report(0);
}

int FileReplacement::Commit() {
  if (openFolder_ < 0) return Report(kErrorInvalidHandle);
  const int folder = static_cast<int>(openFolder_);
  struct stat status;
  bool exists;
  if (const int code = LookAtTarget(folder, target_, &status, &exists)) return Report(code);
  if (exists && !(status.st_mode & S_IWUSR)) return Report(kErrorAccessDenied);
  const Descriptor file(openat(folder, temporary_.c_str(), kOpenComplete));
  int error = file ? 0 : errno;
  if (error == 0 && exists) error = TakeRights(file.Get(), status);
  if (error != 0) return Report(CodeOfHostError(error));
  error = ReplaceByOpenFile(folder, file.Get(), temporary_.c_str(), target_.c_str());
  // After a failure of the last sync the temporary name is gone all the same.
  struct stat left;
  if (fstatat(folder, temporary_.c_str(), &left, AT_SYMLINK_NOFOLLOW) != 0) temporary_.clear();
  if (error == 0) Discard();
  return Report(CodeOfHostError(error));
}

}  // namespace kxw
