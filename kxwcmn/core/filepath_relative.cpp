#include <algorithm>
#include <cstring>
#include <string>

#include "kxwcmn/core/filepath.h"
#include "kxwcmn/core/filepath_internal.h"
#include "kxwcmn/platform/path.h"
#include "kxwcmn/platform/text.h"

namespace {

constexpr char kUp[] = "..\\";

bool IsServerPath(const std::string& path) { return path.rfind("\\\\", 0) == 0; }

/// The text with slashes as backslashes, and without the delimiters at its end unless it is a root.
std::string Trimmed(const char* path) {
  std::string text = path;
  for (std::size_t at = 0; at < text.size();) {
    if (text[at] == '/') text[at] = '\\';
    at += static_cast<std::size_t>(kxw::CharacterSize(text.c_str() + at));
  }
  return kxw::IsRoot(text) ? text : kxw::WithoutBackDelimiters(text.c_str());
}

/// Whether the characters at two places are the same, single-byte letters whatever their case.
bool SameCharacter(const char* a, const char* b) {
  const int size = kxw::CharacterSize(a);
  if (size != kxw::CharacterSize(b)) return false;
  const auto count = static_cast<std::size_t>(size);
  return size == 2 ? std::memcmp(a, b, count) == 0 : kxw::CompareBytesNoCase(a, b, count) == 0;
}

std::size_t CountBackslashes(const char* text) {
  std::size_t count = 0;
  for (; *text; text += kxw::CharacterSize(text)) count += kxw::IsBackslash(*text);
  return count;
}

/// Where the comparison of two paths of one root begins: behind the drive or the first delimiter.
std::size_t CompareFrom(const std::string& base, const std::string& target) {
  if (kxw::IsBackslash(base[0])) return 1;
  const std::size_t shorter = std::min(base.size(), target.size());
  return shorter >= 3 && base[1] == ':' && target[1] == ':' ? 3 : 0;
}

/// The position of the first backslash from `at` on, or the end.
std::size_t NextBackslash(const std::string& path, std::size_t at) {
  while (at < path.size() && !kxw::IsBackslash(path[at])) {
    at += static_cast<std::size_t>(kxw::CharacterSize(path.c_str() + at));
  }
  return at;
}

/// The name of the server of a path "\\server\...".
std::string ServerOf(const std::string& path) { return path.substr(2, NextBackslash(path, 2) - 2); }

std::string RelativePath(const char* basePath, const char* targetPath) {
  const std::string base = Trimmed(basePath);
  const std::string target = Trimmed(targetPath);
  if (base.empty() || target.empty() || base[0] != target[0]) return targetPath;
  std::size_t at = CompareFrom(base, target);
  if (IsServerPath(base) || IsServerPath(target)) {
    if (IsServerPath(base) != IsServerPath(target)) return targetPath;
    const std::string server = ServerOf(base);
    if (kxw::CompareNoCase(server.c_str(), ServerOf(target).c_str()) != 0) return targetPath;
    at = 2 + server.size();
  }

  std::size_t elementBegin = at;
  while (at < base.size() && at < target.size() &&
         SameCharacter(base.c_str() + at, target.c_str() + at)) {
    const bool isDelimiter = kxw::IsBackslash(base[at]);
    at += static_cast<std::size_t>(kxw::CharacterSize(base.c_str() + at));
    if (isDelimiter) elementBegin = at;
  }
  const char* baseRest = base.c_str() + at;
  const char* targetRest = target.c_str() + at;
  if (!*baseRest && !*targetRest) return "";

  std::string rest;
  std::size_t ups = CountBackslashes(baseRest);
  if (!*baseRest && kxw::IsBackslash(*targetRest)) {
    rest = targetRest + 1;
  } else if (!*baseRest && at == elementBegin) {
    rest = targetRest;  // below a root
  } else if (!kxw::IsBackslash(*baseRest) || *targetRest) {
    ++ups;  // in the middle of an element
    rest = target.substr(elementBegin);
  }
  std::string result;
  for (std::size_t i = 0; i < ups; ++i) result += kUp;
  return result + rest;
}

/// Whether there is a folder above: ways also lead from one share of a server to another.
bool IsBelowAnother(const char* path) {
  const std::string text = Trimmed(path);
  return !kxw::IsRoot(text) || (IsServerPath(text) && NextBackslash(text, 2) < text.size());
}

bool IsAbsolute(const char* path) {
  return kxw::IsAnyDelimiter(path[0]) || (path[0] && path[1] == ':');
}

}  // namespace

void KXFilePath::MakeRelativePath(char* result, const KXFilePath& base, const KXFilePath& target) {
  kxw::CopyToBuffer(RelativePath(base, target), result);
}

void KXFilePath::MakeRelativePath(KXString& result, const KXFilePath& base,
                                  const KXFilePath& target) {
  result = RelativePath(base, target).c_str();
}

void KXFilePath::RemakePath(const char* relative, const KXFilePath& base) {
  std::string rest = relative ? relative : "";
  if (IsAbsolute(rest.c_str())) {
    path_ = rest.c_str();
    return;
  }
  KXFilePath result(base);
  while (rest.rfind(kUp, 0) == 0) {
    rest.erase(0, std::strlen(kUp));
    if (IsBelowAnother(result)) result.GetFolderPath(result);
  }
  while (!rest.empty()) {
    const std::size_t end = NextBackslash(rest, 0);
    result += rest.substr(0, end).c_str();
    rest.erase(0, end + 1);
  }
  path_ = result.path_;
}
