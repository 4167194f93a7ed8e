#include <cstring>
#include <string>

#include "kxwcmn/platform/error.h"
#include "kxwcmn/platform/file.h"
#include "kxwcmn/platform/filesystem.h"

namespace {

constexpr int kCreate = 0x8000;
constexpr DWORD kDefaultPlace = 1;
constexpr std::size_t kBufferSize = 260;

struct Number {
  int number;
  kxw::UserFolder folder;
};

constexpr Number kNumbers[] = {
    {0, kxw::UserFolder::kDesktop},   {5, kxw::UserFolder::kDocuments},
    {13, kxw::UserFolder::kMusic},    {14, kxw::UserFolder::kVideos},
    {16, kxw::UserFolder::kDesktop},  {21, kxw::UserFolder::kTemplates},
    {26, kxw::UserFolder::kSettings}, {28, kxw::UserFolder::kLocalData},
    {39, kxw::UserFolder::kPictures}, {40, kxw::UserFolder::kHome},
};

int Fail(int code) {
  qmSetLastError(code);
  return code;
}

}  // namespace

int kxwSHGetFolderPath(HWND /*window*/, int folder, void* /*token*/, DWORD flags, char* path) {
  if (!path) return Fail(kxw::kErrorInvalidParameter);
  path[0] = 0;
  for (const Number& entry : kNumbers) {
    if (entry.number != (folder & ~kCreate)) continue;
    std::string found;
    int code = kxw::GetUserFolder(entry.folder, flags != kDefaultPlace, &found);
    if (code == 0 && folder & kCreate) {
      code = qmCreateFolder(found.c_str());
      if (code == kxw::kErrorAlreadyExists) code = 0;
    }
    if (code == 0 && found.size() >= kBufferSize) code = kxw::kErrorNameTooLong;
    if (code != 0) return Fail(code);
    std::memcpy(path, found.c_str(), found.size() + 1);
    return 0;
  }
  return Fail(kxw::kErrorInvalidParameter);
}
