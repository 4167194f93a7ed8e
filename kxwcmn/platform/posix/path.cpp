#include <algorithm>

#include "kxwcmn/platform/posix/host_internal.h"

namespace kxw {

std::string HostPath(const char* path) {
  std::string host = path ? path : "";
  std::replace(host.begin(), host.end(), '\\', '/');
  return host;
}

std::string LibraryPath(const std::string& hostPath) {
  std::string path = hostPath;
  std::replace(path.begin(), path.end(), '/', '\\');
  return path;
}

}  // namespace kxw
