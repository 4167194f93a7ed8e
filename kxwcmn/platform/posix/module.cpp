#include "kxwcmn/platform/module.h"

#include <dlfcn.h>
#include <unistd.h>

#include <cstdlib>

#include "kxwcmn/platform/filesystem.h"

namespace kxw {

HINSTANCE ProcessModule() {
  static const auto program = static_cast<HINSTANCE>(dlopen(nullptr, RTLD_LAZY));
  return program;
}

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
    return std::string(value).rfind("ja", 0) == 0 ? kLanguageJapanese : kLanguageEnglish;
  }
  return kLanguageEnglish;
}

}  // namespace kxw
