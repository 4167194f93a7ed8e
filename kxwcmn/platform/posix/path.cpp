#include <algorithm>
#include <filesystem>
#include <system_error>
#include <utility>

#include "kxwcmn/platform/error.h"
#include "kxwcmn/platform/filesystem.h"
#include "kxwcmn/platform/path.h"
#include "kxwcmn/platform/posix/host_internal.h"
#include "kxwcmn/platform/text.h"

namespace kxw {

std::string HostPath(const char* path) {
  std::string host = path ? path : "";
  for (std::size_t at = 0; at < host.size();) {
    const int size = CharacterSize(host.c_str() + at);
    if (size == 2 && host[at + 1] == '/') return "";  // the host would see an element more
    if (size == 1 && host[at] == '\\') host[at] = '/';
    at += static_cast<std::size_t>(size);
  }
  ToUtf8(host, &host);
  return host;
}

bool LibraryPath(const std::string& hostPath, std::string* path) {
  if (hostPath.find('\\') != std::string::npos) return false;
  std::string result;
  if (!FromUtf8(hostPath, &result)) return false;
  // The slash is never the second byte of a pair, so no walk over characters is needed.
  std::replace(result.begin(), result.end(), '/', '\\');
  *path = std::move(result);
  return true;
}

int AbsolutePath(const char* path, std::string* absolute) {
  std::string result = path ? path : "";
  if (result.empty() || !IsAnyDelimiter(result[0])) {
    std::error_code error;
    const std::string current = std::filesystem::current_path(error).string();
    if (error) return Report(CodeOfHostError(error.value()));
    std::string front;
    if (!LibraryPath(current, &front)) return Report(kErrorInvalidName);
    if (front != "\\") front += '\\';  // the last byte may be the second one of a pair
    result = front + result;
  }
  *absolute = std::move(result);
  return Report(0);
}

}  // namespace kxw
