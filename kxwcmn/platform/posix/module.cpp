#include "kxwcmn/platform/module.h"

#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "kxwcmn/platform/filesystem.h"

namespace kxw {

std::string ProgramPath() {
  std::string hostPath(256, '\0');
  for (;;) {
    const ssize_t length = readlink("/proc/self/exe", hostPath.data(), hostPath.size());
    if (length < 0) return "";
    const auto size = static_cast<std::size_t>(length);
    if (size < hostPath.size()) {
      hostPath.resize(size);
      break;
    }
    hostPath.resize(hostPath.size() * 2);
  }
  std::string path;
  LibraryPath(hostPath, &path);
  return path;
}

Language LanguageOfHost() {
  for (const char* variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
    const char* value = std::getenv(variable);
    if (!value || !value[0]) continue;
    const std::string name(value, std::strcspn(value, "_.@"));
    return name == "ja" ? kLanguageJapanese : kLanguageEnglish;
  }
  return kLanguageEnglish;
}

}  // namespace kxw
