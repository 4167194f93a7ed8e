#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "kxwcmn/platform/error.h"
#include "kxwcmn/platform/filesystem.h"
#include "kxwcmn/platform/posix/file_internal.h"
#include "kxwcmn/platform/posix/host_internal.h"

namespace kxw {

namespace {

bool IsFolder(const char* path) {
  struct stat status;
  return stat(path, &status) == 0 && S_ISDIR(status.st_mode);
}

/// The host's temporary folder, which all users share.
std::string HostTemporaryFolder() {
  const char* named = std::getenv("TMPDIR");
  return named && named[0] == '/' && IsFolder(named) ? named : "/tmp";
}

/// Makes sure that a folder is this user's alone, and no link to one.
int CheckPrivate(const std::string& path) {
  const int folder = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  if (folder < 0) {
    return errno == ELOOP || errno == ENOTDIR ? kErrorAccessDenied : CodeOfHostError(errno);
  }
  struct stat status;
  int code = fstat(folder, &status) == 0 ? 0 : CodeOfHostError(errno);
  if (code == 0 && status.st_uid != geteuid()) code = kErrorAccessDenied;
  if (code == 0 && (status.st_mode & 0777) != 0700 && fchmod(folder, 0700) != 0) {
    code = CodeOfHostError(errno);
  }
  close(folder);
  return code;
}

/// A number that differs from call to call and from process to process.
DWORD NextNumber() {
  static std::atomic<DWORD> counter = 0;
  const auto now = std::chrono::steady_clock::now().time_since_epoch().count();
  const u64 mixed = (static_cast<u64>(now) ^ (static_cast<u64>(getpid()) << 40)) + counter++;
  return static_cast<DWORD>((mixed * 0x9E3779B97F4A7C15u) >> 32);
}

}  // namespace

int GetTemporaryFolder(std::string* path) {
  const std::string folder = HostTemporaryFolder() + "/kxwcmn-" + std::to_string(geteuid());
  if (mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST) return ReportHost(false);
  if (const int code = CheckPrivate(folder)) return Report(code);
  return Report(LibraryPath(folder, path) ? 0 : kErrorInvalidName);
}

int MakeUniqueFile(int folder, const std::string& start, mode_t mode, std::string* name) {
  constexpr int kMostTries = 65536;
  for (int i = 0; i < kMostTries; ++i) {
    char number[16];
    std::snprintf(number, sizeof number, "%08X", static_cast<unsigned>(NextNumber()));
    *name = start + number + ".tmp";
    const int file = openat(folder, name->c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, mode);
    if (file >= 0) {
      close(file);
      return 0;
    }
    if (errno != EEXIST && errno != EINTR) return errno;
  }
  return EEXIST;
}

int MakeTemporaryFile(const char* folder, const char* prefix, std::string* path) {
  const std::string start = HostPath(prefix);
  if (start.find('/') != std::string::npos) return Report(kErrorInvalidName);
  std::string base = folder && folder[0] ? folder : ".";
  std::string hostBase = HostPath(base.c_str());
  if (hostBase.empty()) return Report(kErrorPathNotFound);
  if (hostBase.back() != '/') {
    hostBase += '/';
    base += '\\';
  }
  std::string made;
  const int error = MakeUniqueFile(AT_FDCWD, hostBase + start, 0600, &made);
  if (error == ENOENT) return Report(kErrorPathNotFound);
  if (error != 0) return Report(CodeOfHostError(error));
  *path = base + (prefix ? prefix : "") + made.substr(hostBase.size() + start.size());
  return Report(0);
}

}  // namespace kxw
