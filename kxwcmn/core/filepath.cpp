#include "kxwcmn/core/filepath.h"

#include <cstring>

#include "kxwcmn/core/exception.h"
#include "kxwcmn/platform/error.h"
#include "kxwcmn/platform/filesystem.h"
#include "kxwcmn/platform/text.h"

namespace {

constexpr std::size_t kBufferSize = 260;

bool IsBackslash(char c) { return c == '\\'; }

/// For what is found on a disk: the host's delimiter divides elements too.
bool IsAnyDelimiter(char c) { return c == '\\' || c == '/'; }

/// The length of `text` without the delimiters at its end. Bytes must be looked at from the front:
/// the second byte of a pair may look like a delimiter.
std::size_t LengthWithoutBack(const char* text, bool (*isDelimiter)(char)) {
  std::size_t length = 0;
  for (std::size_t at = 0; text[at];) {
    const bool ends = isDelimiter(text[at]);  // no first byte of a pair is a delimiter
    at += static_cast<std::size_t>(kxw::CharacterSize(text + at));
    if (!ends) length = at;
  }
  return length;
}

std::string WithoutBackDelimiters(const std::string& path) {
  return path.substr(0, LengthWithoutBack(path.c_str(), IsBackslash));
}

/// A path in front of its last element, and that element without delimiters at its end.
struct Split {
  std::string folder, name;
};

Split SplitPath(const std::string& path) {
  const std::string whole = path.substr(0, LengthWithoutBack(path.c_str(), IsAnyDelimiter));
  std::size_t begin = 0;
  for (std::size_t at = 0; at < whole.size();) {
    const bool ends = IsAnyDelimiter(whole[at]);
    at += static_cast<std::size_t>(kxw::CharacterSize(whole.c_str() + at));
    if (ends) begin = at;
  }
  std::size_t end = LengthWithoutBack(whole.substr(0, begin).c_str(), IsAnyDelimiter);
  if (end == 0 && begin > 0) end = 1;  // the root keeps its delimiter
  return {whole.substr(0, end), whole.substr(begin)};
}

void CopyToBuffer(const std::string& text, char* buffer) {
  if (!buffer) kxThrowError(kxw::kFailureBadArgument);
  if (text.size() >= kBufferSize) kxThrowError(kxw::kErrorNameTooLong);
  std::memcpy(buffer, text.c_str(), text.size() + 1);
}

}  // namespace

KXFilePath::KXFilePath() = default;

KXFilePath::KXFilePath(const char* path) : path_(path ? path : "") {}

KXFilePath::~KXFilePath() = default;

KXFilePath& KXFilePath::operator=(const char* path) {
  SetFullPath(path);
  return *this;
}

void KXFilePath::SetFullPath(const char* path) { path_ = path ? path : ""; }

bool KXFilePath::operator==(const KXFilePath& other) const {
  return kxw::CompareNoCase(WithoutBackDelimiters(path_).c_str(),
                            WithoutBackDelimiters(other.path_).c_str()) == 0;
}

KXFilePath& KXFilePath::operator+=(const char* subPath) {
  if (!subPath || !subPath[0]) return *this;
  if (path_.empty()) {
    path_ = subPath;
    return *this;
  }
  const char* front = subPath;
  while (IsBackslash(*front)) ++front;
  path_ = WithoutBackDelimiters(WithoutBackDelimiters(path_) + '\\' + front);
  return *this;
}

void KXFilePath::GetFileName(char* name) const { CopyToBuffer(SplitPath(path_).name, name); }

void KXFilePath::GetFolderPath(char* folder) const {
  CopyToBuffer(SplitPath(path_).folder, folder);
}

void KXFilePath::GetFolderPath(KXFilePath& folder) const { folder.path_ = SplitPath(path_).folder; }

int KXFilePath::IsExistence() const {
  kxw::FileInfo info;
  return !path_.empty() && kxw::GetFileInfo(path_.c_str(), &info) == 0;
}

int KXFilePath::IsFolder() const {
  kxw::FileInfo info;
  return !path_.empty() && kxw::GetFileInfo(path_.c_str(), &info) == 0 &&
         (info.attributes & kxw::kAttributeFolder) != 0;
}

int KXFilePath::MakeTempPath(const char* prefix, int nextToFile) {
  std::string folder = SplitPath(path_).folder;
  if (!nextToFile && kxw::GetTemporaryFolder(&folder) != 0) return 0;
  return kxw::MakeTemporaryFile(folder.c_str(), prefix, &path_) == 0;
}

void KXFilePath::Delete(int toRecycleBin) {
  if (!IsExistence()) return;
  const std::string path = WithoutBackDelimiters(path_);
  if (toRecycleBin && kxw::MoveToTrash(path.c_str()) != kxw::kErrorNotSupported) return;
  kxw::RemoveTree(path.c_str());
}

int KXFilePath::DeleteBackDelimiter(char* text) {
  if (!text) return 0;
  const std::size_t length = LengthWithoutBack(text, IsBackslash);
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
