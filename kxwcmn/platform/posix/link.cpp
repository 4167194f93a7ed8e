#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>

#include "kxwcmn/platform/error.h"
#include "kxwcmn/platform/filesystem.h"
#include "kxwcmn/platform/posix/host_internal.h"
#include "kxwcmn/platform/shortcut.h"

namespace kxw {

int ReadHostLink(const char* path, std::string* target) {
  std::string hostPath = HostPath(path);
  while (hostPath.size() > 1 && hostPath.back() == '/') hostPath.pop_back();
  char leadsTo[PATH_MAX];
  const ssize_t length = readlink(hostPath.c_str(), leadsTo, sizeof leadsTo);
  if (length < 0) return errno == EINVAL ? Report(kErrorNotSupported) : ReportHost(false);
  std::string found(leadsTo, static_cast<std::size_t>(length));
  if (found.empty() || found[0] != '/') {
    const std::size_t delimiter = hostPath.rfind('/');
    if (delimiter != std::string::npos) found.insert(0, hostPath, 0, delimiter + 1);
  }
  return Report(LibraryPath(found, target) ? 0 : kErrorInvalidName);
}

}  // namespace kxw
