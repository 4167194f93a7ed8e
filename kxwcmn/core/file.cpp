#include "kxwcmn/core/file.h"

#include "kxwcmn/core/exception.h"
#include "kxwcmn/core/time.h"
#include "kxwcmn/platform/error.h"
#include "kxwcmn/platform/filesystem.h"

namespace {

constexpr UINT kAnyType = 0x41414141;

void RaiseIfFailed(int code) {
  if (code != 0) kxThrowError(code);
}

}  // namespace

KXFile::KXFile() = default;

KXFile::~KXFile() {
  if (IsOpen()) qmCloseFile(file_);
}

void KXFile::Create(const KXFilePath& path, UINT creator, UINT type, int access, int share,
                    int disposition, int flags) {
  const KXFilePath newPath = path;  // `path` may be the one that Close empties
  Close();
  path_ = newPath;
  RaiseIfFailed(qmOpenFile(path_, creator, type, static_cast<DWORD>(access),
                           static_cast<DWORD>(share), static_cast<DWORD>(disposition),
                           static_cast<DWORD>(flags), &file_));
}

void KXFile::Open(const KXFilePath& path, int access, int share, int disposition, int flags) {
  if (disposition == kxw::kCreateNew || disposition == kxw::kCreateAlways) {
    kxThrowError(kxw::kFailureBadArgument);
  }
  Create(path, kAnyType, kAnyType, access, share, disposition, flags);
}

void KXFile::Read(void* data, DWORD size, DWORD* done) {
  RaiseIfFailed(qmReadFile(file_, data, size, done));
}

void KXFile::Write(const void* data, DWORD size, DWORD* done) {
  RaiseIfFailed(qmWriteFile(file_, data, size, done));
}

void KXFile::Seek(i64 offset, DWORD origin) { RaiseIfFailed(qmSeekFile(file_, offset, origin)); }

i64 KXFile::GetPosition() const {
  const i64 position = qmGetFilePointer(file_);
  RaiseIfFailed(qmGetLastError());
  return position;
}

i64 KXFile::GetLength() const {
  const i64 length = qmGetFileSize(file_);
  RaiseIfFailed(qmGetLastError());
  return length;
}

void KXFile::SetEOF() { RaiseIfFailed(qmSetEndOfFile(file_)); }

void KXFile::GetTime(KXTime& time) const {
  kxw::FileInfo info;
  RaiseIfFailed(kxw::GetFileInfo(file_, &info));
  time = static_cast<long>(info.written);
}

void KXFile::Close() {
  const kxw::FileHandle file = file_;
  file_ = kxw::kNoFile;
  path_.Empty();
  if (file != kxw::kNoFile) RaiseIfFailed(qmCloseFile(file));
}
