#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "kxwcmn/platform/error.h"
#include "kxwcmn/platform/filesystem.h"
#include "kxwcmn/platform/posix/file_internal.h"
#include "kxwcmn/platform/posix/host_internal.h"

// The trash of the free desktops: a folder with two others, `files` for what was deleted and `info`
// with one text for each, which says where it was and when it went. The user's home has one, and
// every other disk its own, for a file is moved and not copied.

namespace kxw {

namespace {

/// Creates a folder of the user, if it is missing. False if something else is in its place.
bool MakeOwnFolder(const std::string& path) {
  if (mkdir(path.c_str(), 0700) != 0 && errno != EEXIST) return false;
  struct stat status;
  if (lstat(path.c_str(), &status) != 0) return false;
  if (S_ISDIR(status.st_mode) && status.st_uid == geteuid()) return true;
  errno = EACCES;
  return false;
}

/// Creates `path` and the folders above it that are missing.
bool MakeFolders(const std::string& path) {
  for (std::size_t at = path.find('/', 1); at != std::string::npos; at = path.find('/', at + 1)) {
    if (mkdir(path.substr(0, at).c_str(), 0700) != 0 && errno != EEXIST) return false;
  }
  return MakeOwnFolder(path);
}

std::string HomeTrash() {
  const char* data = std::getenv("XDG_DATA_HOME");
  if (data && data[0] == '/') return std::string(data) + "/Trash";
  const char* home = std::getenv("HOME");
  return home && home[0] == '/' ? std::string(home) + "/.local/share/Trash" : "";
}

/// The absolute path of an entry, with its folder's links resolved and its own left; empty if the
/// folder cannot be found.
std::string ResolveFolderOf(std::string path) {
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  const std::size_t delimiter = path.rfind('/');
  std::string folder = delimiter == std::string::npos ? "." : path.substr(0, delimiter + 1);
  char* resolved = realpath(folder.c_str(), nullptr);
  if (!resolved) return "";
  folder = resolved;
  std::free(resolved);
  if (folder.back() != '/') folder += '/';
  return folder + path.substr(delimiter == std::string::npos ? 0 : delimiter + 1);
}

/// The highest folder above `path` on the disk `device`.
std::string TopOfDisk(const std::string& path, dev_t device) {
  std::string top = path;
  for (;;) {
    const std::size_t delimiter = top.rfind('/');
    if (delimiter == std::string::npos || top == "/") return top;
    const std::string above = delimiter == 0 ? "/" : top.substr(0, delimiter);
    struct stat status;
    if (lstat(above.c_str(), &status) != 0 || status.st_dev != device) return top;
    top = above;
  }
}

std::string PercentEncoded(const std::string& path) {
  std::string result;
  for (const char c : path) {
    const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                       c == '/' || c == '-' || c == '.' || c == '_' || c == '~';
    char code[4];
    std::snprintf(code, sizeof code, "%%%02X", static_cast<unsigned char>(c));
    result += plain ? std::string(1, c) : code;
  }
  return result;
}

std::string InfoText(const std::string& formerPath) {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  char date[32];
  std::strftime(date, sizeof date, "%Y-%m-%dT%H:%M:%S", &local);
  return "[Trash Info]\nPath=" + PercentEncoded(formerPath) + "\nDeletionDate=" + date + "\n";
}

bool WriteAll(int descriptor, const std::string& text) {
  std::size_t done = 0;
  while (done < text.size()) {
    const ssize_t written = write(descriptor, text.data() + done, text.size() - done);
    if (written < 0 && errno != EINTR) return false;
    if (written > 0) done += static_cast<std::size_t>(written);
  }
  return true;
}

/// A name that leaves room for a number and the extension of its text, cut between characters.
std::string Shortened(const std::string& name) {
  constexpr std::size_t kLongest = 234;  // of the 255 bytes that file systems have
  if (name.size() <= kLongest) return name;
  std::size_t length = kLongest;
  while (length > kLongest - 4 && (name[length] & 0xC0) == 0x80) --length;
  return name.substr(0, length);
}

/// Moves `path` into `trash`, noting `formerPath`. The text comes first: creating it exclusively
/// reserves the name. Returns 0 or errno.
int MoveInto(const std::string& trash, const std::string& path, const std::string& formerPath) {
  if (!MakeOwnFolder(trash + "/files") || !MakeOwnFolder(trash + "/info")) return errno;
  const std::string name = Shortened(path.substr(path.rfind('/') + 1));
  for (int number = 1; number < INT_MAX; ++number) {
    const std::string unique = number == 1 ? name : name + "." + std::to_string(number);
    const std::string info = trash + "/info/" + unique + ".trashinfo";
    const int descriptor = open(info.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (descriptor < 0 && errno == EEXIST) continue;
    if (descriptor < 0) return errno;
    int error = WriteAll(descriptor, InfoText(formerPath)) ? 0 : errno;
    if (close(descriptor) != 0 && error == 0) error = errno;
    const std::string target = trash + "/files/" + unique;
    if (error == 0) error = RenameWithoutReplacing(path.c_str(), target.c_str());
    if (error == 0) return 0;
    unlink(info.c_str());
    if (error != EEXIST) return error;
  }
  return EEXIST;
}

}  // namespace

int MoveToTrash(const char* path) {
  std::string hostPath = HostPath(path);
  if (hostPath.empty()) return Report(kErrorPathNotFound);
  hostPath = ResolveFolderOf(hostPath);
  struct stat status;
  if (hostPath.empty() || lstat(hostPath.c_str(), &status) != 0) return ReportHost(false);

  const std::string home = HomeTrash();
  if (!home.empty() && MakeFolders(home)) {
    const int error = MoveInto(home, hostPath, hostPath);
    if (error != EXDEV) return Report(CodeOfHostError(error));
  }
  const std::string top = TopOfDisk(hostPath, status.st_dev);
  if (top == hostPath) return Report(kErrorAccessDenied);
  const std::string slash = top == "/" ? "" : "/";
  const std::string trash = top + slash + ".Trash-" + std::to_string(geteuid());
  if (!MakeOwnFolder(trash)) return Report(kErrorNotSupported);
  const std::string relative = hostPath.substr(top.size() + slash.size());
  return Report(CodeOfHostError(MoveInto(trash, hostPath, relative)));
}

}  // namespace kxw
