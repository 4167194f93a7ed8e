#include "kxwcmn/core/filepath.h"

#include <cstring>

#include "kxwcmn/core/exception.h"
#include "kxwcmn/core/filepath_internal.h"
#include "kxwcmn/platform/error.h"
#include "kxwcmn/platform/filesystem.h"
#include "kxwcmn/platform/path.h"
#include "kxwcmn/platform/text.h"

namespace kxw {

void CopyToBuffer(const std::string& text, char* buffer) {
  constexpr std::size_t kBufferSize = 260;
  if (!buffer) kxThrowError(kFailureBadArgument);
  if (text.size() >= kBufferSize) kxThrowError(kErrorNameTooLong);
  std::memcpy(buffer, text.c_str(), text.size() + 1);
}

std::string WithoutBackDelimiters(const char* path) {
  return {path, LengthWithoutBack(path, IsBackslash)};
}

void RaiseIfFailed(int code) {
  if (code != 0) kxThrowError(code);
}

}  // namespace kxw

namespace {

std::string TextOf(const char* text) { return text ? text : ""; }

}  // namespace

KXFilePath::KXFilePath() = default;

KXFilePath::KXFilePath(const char* path) : path_(path) {}

KXFilePath::KXFilePath(const KXString& path) : path_(path) {}

KXFilePath::~KXFilePath() = default;

KXFilePath& KXFilePath::operator=(const char* path) {
  path_ = path;
  return *this;
}

KXFilePath& KXFilePath::operator=(const KXString& path) {
  path_ = path;
  return *this;
}

void KXFilePath::GetFullPath(char* path) const { kxw::CopyToBuffer(path_.GetCStrPtr(), path); }

void KXFilePath::SetNativePath(const char* path) {
  std::string text;
  if (!kxw::LibraryPath(TextOf(path), &text)) kxThrowError(kxw::kErrorInvalidName);
  path_ = text.c_str();
}

void KXFilePath::GetNativePath(char* path) const { kxw::CopyToBuffer(kxw::HostPath(path_), path); }

void KXFilePath::GetNativePath(KXString& path) const { path = kxw::HostPath(path_).c_str(); }

void KXFilePath::SetDefaultPath() {
  constexpr int kDocuments = 5;
  char path[260];
  kxw::RaiseIfFailed(kxwSHGetFolderPath(nullptr, kDocuments, nullptr, 0, path));
  path_ = path;
}

bool KXFilePath::operator==(const KXFilePath& other) const {
  return kxw::CompareNoCase(kxw::WithoutBackDelimiters(path_).c_str(),
                            kxw::WithoutBackDelimiters(other.path_).c_str()) == 0;
}

KXFilePath& KXFilePath::operator+=(const char* subPath) {
  if (!subPath || !subPath[0]) return *this;
  if (path_.IsEmpty()) {
    path_ = subPath;
    return *this;
  }
  const char* front = subPath;
  while (kxw::IsBackslash(*front)) ++front;
  const std::string joined = kxw::WithoutBackDelimiters(path_) + '\\' + front;
  path_ = kxw::WithoutBackDelimiters(joined.c_str()).c_str();
  return *this;
}

void KXFilePath::CatSubPathForMac(const char* subPath) {
  KXString converted(subPath);
  ConvertMacToWinSubPath(converted);
  *this += converted;
}

void KXFilePath::GetFileName(char* name) const {
  kxw::CopyToBuffer(kxw::SplitPath(path_.GetCStrPtr()).name, name);
}

void KXFilePath::GetFileName(KXString& name) const {
  name = kxw::SplitPath(path_.GetCStrPtr()).name.c_str();
}

void KXFilePath::SetFileName(const char* name) {
  KXFilePath folder;
  GetFolderPath(folder);
  folder += name;
  path_ = folder.path_;
}

void KXFilePath::GetNameAndExtension(char* name, char* extension) const {
  const kxw::NameParts parts = kxw::SplitExtension(kxw::SplitPath(path_.GetCStrPtr()).name);
  if (name) kxw::CopyToBuffer(parts.name, name);
  if (extension) kxw::CopyToBuffer(parts.extension, extension);
}

void KXFilePath::GetNameAndExtension(KXString& name, KXString& extension) const {
  const kxw::NameParts parts = kxw::SplitExtension(kxw::SplitPath(path_.GetCStrPtr()).name);
  name = parts.name.c_str();
  extension = parts.extension.c_str();
}

void KXFilePath::SetNameAndExtension(const char* name, const char* extension) {
  SetFileName(kxw::JoinExtension({TextOf(name), TextOf(extension)}).c_str());
}

void KXFilePath::ChangeName(const char* name) {
  KXString oldName, extension;
  GetNameAndExtension(oldName, extension);
  SetNameAndExtension(name, extension);
}

void KXFilePath::ChangeExtension(const char* extension) {
  KXString name, oldExtension;
  GetNameAndExtension(name, oldExtension);
  SetNameAndExtension(name, extension);
}

int KXFilePath::IsExtensionFile(const char* extension) const {
  KXString name, own;
  GetNameAndExtension(name, own);
  return kxw::CompareNoCase(own, TextOf(extension).c_str()) == 0;
}

void KXFilePath::GetFolderPath(char* folder) const {
  kxw::CopyToBuffer(kxw::SplitPath(path_.GetCStrPtr()).folder, folder);
}

void KXFilePath::GetFolderPath(KXString& folder) const {
  folder = kxw::SplitPath(path_.GetCStrPtr()).folder.c_str();
}

int KXFilePath::GetRootPath(char* root) const {
  kxw::CopyToBuffer(kxw::RootOf(path_.GetCStrPtr()), root);
  return root[0] != 0;
}

int KXFilePath::GetRootPath(KXString& root) const {
  root = kxw::RootOf(path_.GetCStrPtr()).c_str();
  return !root.IsEmpty();
}

void KXFilePath::ConvertWinToMacSubPath(char* text) {
  for (; text && *text; text += kxw::CharacterSize(text)) {
    if (*text == '\\') *text = ':';
  }
}

void KXFilePath::ConvertMacToWinSubPath(char* text) {
  if (!text) return;
  const bool keepsSecond = text[0] && text[1] == ':' && text[2] == ':';
  for (char* at = text; *at; at += kxw::CharacterSize(at)) {
    if (*at == ':' && !(keepsSecond && at == text + 1)) *at = '\\';
  }
}

int KXFilePath::DeleteBackDelimiter(char* text) {
  if (!text) return 0;
  const std::size_t length = kxw::LengthWithoutBack(text, kxw::IsBackslash);
  const std::size_t removed = std::strlen(text) - length;
  text[length] = 0;
  return static_cast<int>(removed);
}

int KXFilePath::DeleteFrontDelimiter(char* text) {
  if (!text) return 0;
  const std::size_t removed = std::strspn(text, "\\");
  std::memmove(text, text + removed, std::strlen(text + removed) + 1);
  return static_cast<int>(removed);
}
