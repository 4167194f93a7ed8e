#include "kxwcmn/core/findfile.h"

#include "kxwcmn/platform/error.h"

namespace {

std::string PathOf(const KXFilePath& folder, const std::string& name) {
  KXFilePath path = folder;
  path += name.c_str();
  return path.GetFullPath();
}

}  // namespace

KXFindFile::KXFindFile() = default;

KXFindFile::~KXFindFile() = default;

int KXFindFile::First(const KXFilePath& folder) {
  const KXFilePath walked = folder;  // `folder` may be the one that Close empties
  Close();
  if (kxw::ListFolder(walked, &names_) != 0) return 0;
  info_.folder = walked;
  return Next();
}

int KXFindFile::Next() {
  while (next_ < names_.size()) {
    const std::string& name = names_[next_++];
    kxw::FileInfo file;
    if (kxw::GetFileInfo(PathOf(info_.folder, name).c_str(), &file) != 0) continue;
    SetFindInfos(info_, info_.folder, name.c_str(), file);
    return 1;
  }
  qmSetLastError(kxw::kErrorNoMoreFiles);
  return 0;
}

void KXFindFile::Close() {
  SetupFileInfo(info_);
  names_.clear();
  next_ = 0;
}

int KXFindFile::IsParentFolder() const { return info_.name == "." || info_.name == ".."; }

void KXFindFile::GetFilePath(KXFilePath& path) const {
  path = PathOf(info_.folder, info_.name).c_str();
}

int KXFindFile::GetFileInfo(const KXFilePath& path, tagFindInfo& info) {
  SetupFileInfo(info);
  kxw::FileInfo file;
  if (kxw::GetFileInfo(path, &file) != 0) return 0;
  KXFilePath folder;
  KXString name;
  path.GetFolderPath(folder);
  path.GetFileName(name);
  SetFindInfos(info, folder, name, file);
  return 1;
}

void KXFindFile::SetFindInfos(tagFindInfo& info, const KXFilePath& folder, const char* name,
                              const kxw::FileInfo& file) {
  info.folder = folder;
  info.name = name ? name : "";
  info.file = file;
}

int KXFilePath::GetFileInfo(tagFindInfo& info) const {
  return KXFindFile::GetFileInfo(*this, info);
}

void KXFilePath::SetFindInfos(tagFindInfo& info, const KXFilePath& folder, const char* name,
                              const kxw::FileInfo& file) {
  KXFindFile::SetFindInfos(info, folder, name, file);
}

void KXFilePath::SetupFileInfo(tagFindInfo& info) { KXFindFile::SetupFileInfo(info); }
