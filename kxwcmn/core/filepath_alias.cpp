#include <string>

#include "kxwcmn/core/filepath.h"
#include "kxwcmn/core/filepath_internal.h"
#include "kxwcmn/core/versioninfo_internal.h"
#include "kxwcmn/platform/filesystem.h"
#include "kxwcmn/platform/shortcut.h"
#include "kxwcmn/platform/text.h"

int KXFilePath::IsAliasFile(int* isFolder) const {
  if (isFolder) *isFolder = 0;
  std::string target;
  if (!IsExtensionFile("lnk") && kxw::ReadHostLink(path_, &target) != 0) return 0;
  if (isFolder) {
    KXFilePath resolved(*this);
    *isFolder = resolved.ResolveAliasFile() && resolved.IsFolder();
  }
  return 1;
}

int KXFilePath::ResolveAliasFile() {
  std::string target;
  if (kxw::ResolveAlias(path_, &target) != 0) return 0;
  path_ = target.c_str();
  return 1;
}

int KXFilePath::GetVersionInfo(KXString& text, const char* key) const {
  std::u16string found;
  const bool isThere = kxw::ReadVersionText(*this, key ? key : "FileVersion", &found);
  text = kxw::FromWideLossy(found).c_str();
  return isThere;
}

int KXFilePath::GetVersionInfo(char* text, const char* key) const {
  KXString found;
  const int isThere = GetVersionInfo(found, key);
  kxw::CopyToBuffer(found.GetCStrPtr(), text);
  return isThere;
}
