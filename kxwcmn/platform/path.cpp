#include "kxwcmn/platform/path.h"

#include <algorithm>
#include <cstring>

#include "kxwcmn/platform/error.h"
#include "kxwcmn/platform/text.h"

namespace kxw {

namespace {

/// The position of the first delimiter from `at` on, or the end.
std::size_t FindDelimiter(const std::string& path, std::size_t at) {
  while (at < path.size() && !IsAnyDelimiter(path[at])) {
    at += static_cast<std::size_t>(CharacterSize(path.c_str() + at));
  }
  return at;
}

}  // namespace

std::size_t LengthWithoutBack(const char* text, bool (*isDelimiter)(char)) {
  const std::size_t whole = std::strlen(text);
  if (whole == 0 || !isDelimiter(text[whole - 1])) return whole;
  std::size_t length = 0;
  for (std::size_t at = 0; text[at];) {
    const bool ends = isDelimiter(text[at]);  // no first byte of a pair is a delimiter
    at += static_cast<std::size_t>(CharacterSize(text + at));
    if (!ends) length = at;
  }
  return length;
}

PathParts SplitPath(const std::string& path) {
  const std::string whole = path.substr(0, LengthWithoutBack(path.c_str(), IsAnyDelimiter));
  std::size_t begin = 0;
  for (std::size_t at = 0; (at = FindDelimiter(whole, at)) < whole.size();) begin = ++at;
  const std::string front = whole.substr(0, begin);
  const std::size_t end = LengthWithoutBack(front.c_str(), IsAnyDelimiter);
  // The root keeps its delimiter.
  return {front.substr(0, std::max(end, RootOf(front).size())), whole.substr(begin)};
}

NameParts SplitExtension(const std::string& name) {
  std::size_t stop = 0;
  for (std::size_t at = 0; at < name.size();) {
    if (name[at] == '.') stop = at;
    at += static_cast<std::size_t>(CharacterSize(name.c_str() + at));
  }
  if (stop == 0 || stop + 1 == name.size()) return {name, ""};
  return {name.substr(0, stop), name.substr(stop + 1)};
}

std::string JoinExtension(const NameParts& parts) {
  std::string joined = parts.name;
  if (!parts.extension.empty()) joined.append(".").append(parts.extension);
  return joined;
}

std::string RootOf(const std::string& path) {
  if (path.size() >= 3 && IsBackslash(path[0]) && IsBackslash(path[1]) &&
      !IsAnyDelimiter(path[2])) {
    const std::size_t serverEnd = FindDelimiter(path, 2);
    const std::size_t shareEnd = FindDelimiter(path, serverEnd + 1);
    return path.substr(0, shareEnd > serverEnd + 1 ? shareEnd : serverEnd);
  }
  if (!path.empty() && IsAnyDelimiter(path[0])) return path.substr(0, 1);
  if (path.size() >= 3 && !IsLeadByte(path[0]) && path[1] == ':' && IsAnyDelimiter(path[2])) {
    return path.substr(0, 3);
  }
  return "";
}

bool IsRoot(const std::string& path) { return !path.empty() && RootOf(path) == path; }

}  // namespace kxw

namespace {

int CopyToBuffer(const std::string& text, char* buffer) {
  constexpr std::size_t kBufferSize = 260;
  if (!buffer || text.size() >= kBufferSize) {
    qmSetLastError(buffer ? kxw::kErrorNameTooLong : kxw::kErrorInvalidParameter);
    return 0;
  }
  std::memcpy(buffer, text.c_str(), text.size() + 1);
  return 1;
}

std::string TextOf(const char* text) { return text ? text : ""; }

}  // namespace

int qmGetFileNamefromFullPath(const char* path, char* name) {
  return CopyToBuffer(kxw::SplitPath(TextOf(path)).name, name);
}

int qmGetFolderfromFullPath(const char* path, char* folder) {
  return CopyToBuffer(kxw::SplitPath(TextOf(path)).folder, folder);
}

int qmGetFileNameDelExt(const char* fileName, char* name) {
  return CopyToBuffer(kxw::SplitExtension(TextOf(fileName)).name, name);
}

int qmCopyExtension(const char* fileName, char* extension) {
  return CopyToBuffer(kxw::SplitExtension(TextOf(fileName)).extension, extension);
}
