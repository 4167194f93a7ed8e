#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <memory>

#include "kxwcmn/platform/error.h"
#include "kxwcmn/platform/filesystem.h"
#include "kxwcmn/platform/posix/file_internal.h"
#include "kxwcmn/platform/posix/host_internal.h"

namespace kxw {

namespace {

/// The last element of a path of the host.
std::string NameOf(const std::string& path) {
  const std::size_t end = path.find_last_not_of('/');
  if (end == std::string::npos) return "";
  const std::size_t delimiter = path.find_last_of('/', end);
  const std::size_t begin = delimiter == std::string::npos ? 0 : delimiter + 1;
  return path.substr(begin, end + 1 - begin);
}

FileInfo InfoOf(const struct stat& status, const std::string& name) {
  FileInfo info;
  if (S_ISDIR(status.st_mode)) info.attributes |= kAttributeFolder;
  if (!(status.st_mode & S_IWUSR)) info.attributes |= kAttributeReadOnly;
  if (name.size() > 1 && name[0] == '.' && name != "..") info.attributes |= kAttributeHidden;
  if (info.attributes == 0) info.attributes = kAttributeNormal;
  info.size = S_ISDIR(status.st_mode) ? 0 : status.st_size;
  info.created = status.st_ctime;
  info.accessed = status.st_atime;
  info.written = status.st_mtime;
  return info;
}

}  // namespace

int GetFileInfo(const char* path, FileInfo* info) {
  const std::string hostPath = HostPath(path);
  if (hostPath.empty()) return Report(kErrorPathNotFound);
  struct stat status;
  // A link that leads nowhere is told as itself.
  if (stat(hostPath.c_str(), &status) != 0 && lstat(hostPath.c_str(), &status) != 0) {
    return ReportHost(false);
  }
  *info = InfoOf(status, NameOf(hostPath));
  return Report(0);
}

int GetFileInfo(FileHandle file, FileInfo* info) {
  struct stat status;
  const int descriptor = DescriptorOf(file);
  if (descriptor < 0) return Report(kErrorInvalidHandle);
  if (fstat(descriptor, &status) != 0) return ReportHost(false);
  *info = InfoOf(status, "");
  return Report(0);
}

int SetReadOnly(const char* path, bool readOnly) {
  const std::string hostPath = HostPath(path);
  struct stat status;
  if (stat(hostPath.c_str(), &status) != 0) return ReportHost(false);
  constexpr mode_t kAllWrite = S_IWUSR | S_IWGRP | S_IWOTH;
  const mode_t mode = status.st_mode & 07777;
  // The owner alone gets the right back: who else had it is not known any more.
  return ReportHost(chmod(hostPath.c_str(), readOnly ? mode & ~kAllWrite : mode | S_IWUSR) == 0);
}

int ListFolder(const char* path, std::vector<std::string>* names) {
  names->clear();
  const std::string hostPath = HostPath(path);
  const std::unique_ptr<DIR, int (*)(DIR*)> folder(opendir(hostPath.c_str()), &closedir);
  if (!folder) return Report(errno == ENOENT ? kErrorPathNotFound : CodeOfHostError(errno));
  errno = 0;
  while (const dirent* entry = readdir(folder.get())) {
    std::string name;
    if (LibraryPath(entry->d_name, &name)) names->push_back(std::move(name));
    errno = 0;
  }
  const int code = CodeOfHostError(errno);
  if (code != 0) names->clear();
  std::sort(names->begin(), names->end());
  return Report(code);
}

}  // namespace kxw
