#include <limits>
#include <string>

#include "kxwcmn/core/exception.h"
#include "kxwcmn/core/filepath.h"
#include "kxwcmn/core/filepath_internal.h"
#include "kxwcmn/core/time.h"
#include "kxwcmn/platform/error.h"
#include "kxwcmn/platform/filesystem.h"
#include "kxwcmn/platform/path.h"
#include "kxwcmn/platform/text.h"

namespace {

/// What is known of a path; nothing for an empty one or one that does not exist.
bool Find(const KXString& path, kxw::FileInfo* info) {
  return !path.IsEmpty() && kxw::GetFileInfo(path, info) == 0;
}

bool HasAttribute(const KXString& path, DWORD attribute) {
  kxw::FileInfo info;
  return Find(path, &info) && (info.attributes & attribute) != 0;
}

/// Copying and moving know what is in the way by one code.
void RaiseTransfer(int code) {
  if (code == kxw::kErrorFileExists || code == kxw::kErrorAlreadyExists) {
    kxThrowError(kxw::kFailureExists);
  }
  kxw::RaiseIfFailed(code);
}

/// Where a folder comes to lie: in the target, or in its place if there is none.
KXFilePath PlaceIn(const KXFilePath& target, const KXFilePath& source, int failIfExists) {
  KXFilePath inside = target;
  KXString name;
  source.GetFileName(name);
  inside += name;
  if (failIfExists && inside.IsExistence()) kxThrowError(kxw::kFailureExists);
  return target.IsFolder() ? inside : target;
}

}  // namespace

int KXFilePath::IsExistence() const {
  kxw::FileInfo info;
  return Find(path_, &info);
}

int KXFilePath::IsFolder() const { return HasAttribute(path_, kxw::kAttributeFolder); }

int KXFilePath::IsHidden() const { return HasAttribute(path_, kxw::kAttributeHidden); }

int KXFilePath::GetReadOnly() const { return HasAttribute(path_, kxw::kAttributeReadOnly); }

void KXFilePath::SetReadOnly(int readOnly) {
  kxw::FileInfo info;
  kxw::RaiseIfFailed(kxw::GetFileInfo(path_, &info));
  const bool isReadOnly = (info.attributes & kxw::kAttributeReadOnly) != 0;
  if (isReadOnly != (readOnly != 0)) kxw::RaiseIfFailed(kxw::SetReadOnly(path_, readOnly != 0));
}

int KXFilePath::GetTime(KXTime& time) const {
  time.Clear();
  kxw::FileInfo info;
  if (!Find(path_, &info)) return 0;
  if (info.written < std::numeric_limits<LONG>::min() ||
      info.written > std::numeric_limits<LONG>::max()) {
    return 0;
  }
  time = static_cast<long>(info.written);
  return time.IsValid();
}

DWORD KXFilePath::GetDiskClusterSize(const KXFilePath& path) {
  kxw::DiskFacts facts;
  const int code = kxw::GetDiskFacts(path, &facts);
  return code == kxw::kErrorNotSupported ? 32768 : facts.clusterSize;
}

DWORD KXFilePath::GetDiskSectorSize(const KXFilePath& path) {
  kxw::DiskFacts facts;
  const int code = kxw::GetDiskFacts(path, &facts);
  return code == kxw::kErrorNotSupported ? 512 : facts.sectorSize;
}

u64 KXFilePath::GetDiskSpace(const KXFilePath& path) {
  kxw::DiskFacts facts;
  kxw::GetDiskFacts(path, &facts);
  return facts.total;
}

u64 KXFilePath::GetDiskFreeSpaceA(const KXFilePath& path) {
  kxw::DiskFacts facts;
  if (kxw::GetDiskFacts(path, &facts) == 0 && facts.free == 0) qmSetLastError(kxw::kErrorDiskFull);
  return facts.free;
}

int KXFilePath::MakeTempPath(const char* prefix, int nextToFile) {
  std::string folder = kxw::SplitPath(path_.GetCStrPtr()).folder;
  if (!nextToFile && kxw::GetTemporaryFolder(&folder) != 0) return 0;
  std::string path;
  if (kxw::MakeTemporaryFile(folder.c_str(), prefix, &path) != 0) return 0;
  path_ = path.c_str();
  return 1;
}

void KXFilePath::CreateFolder() {
  const int code = qmCreateFolder(path_);
  if (code == kxw::kErrorAlreadyExists) {
    if (!IsFolder()) kxThrowError(kxw::kFailureExists);
    return;
  }
  kxw::RaiseIfFailed(code);
}

void KXFilePath::Delete(int toRecycleBin) {
  if (!IsExistence()) return;
  const std::string path = kxw::WithoutBackDelimiters(path_);
  if (toRecycleBin && kxw::MoveToTrash(path.c_str()) != kxw::kErrorNotSupported) return;
  kxw::RemoveTree(path.c_str());
}

void KXFilePath::Rename(const char* name) {
  const std::string newName = name ? name : "";
  KXString oldName;
  GetFileName(oldName);
  if (oldName == newName.c_str()) return;
  // A name that is a way would move the file.
  if (newName.empty() || newName == "." || newName == ".." ||
      kxw::SplitPath(newName).name != newName) {
    kxThrowError(kxw::kErrorInvalidName);
  }
  KXFilePath renamed(*this);
  renamed.SetFileName(newName.c_str());
  kxw::RaiseIfFailed(qmChangeFileName(path_, renamed));
  path_ = renamed.path_;
}

void KXFilePath::CopyFileA(const KXFilePath& target, const KXFilePath& source, int failIfExists) {
  // The file in which another platform keeps a folder's icon, as the packages name it.
  if (kxw::CompareNoCase(source, "Icon?") == 0) return;
  RaiseTransfer(kxw::CopyFile(source, target, failIfExists != 0));
}

void KXFilePath::MoveFileA(const KXFilePath& target, const KXFilePath& source, int keepExisting) {
  RaiseTransfer(kxw::MoveFile(source, target, !keepExisting));
}

void KXFilePath::CopyFolder(const KXFilePath& target, const KXFilePath& source, int failIfExists) {
  kxw::RaiseIfFailed(kxw::CopyTree(source, PlaceIn(target, source, failIfExists)));
}

void KXFilePath::MoveFolder(const KXFilePath& target, const KXFilePath& source, int failIfExists) {
  kxw::RaiseIfFailed(kxw::MoveTree(source, PlaceIn(target, source, failIfExists)));
}
