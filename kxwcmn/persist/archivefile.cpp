#include "kxwcmn/persist/archivefile.h"

#include <algorithm>
#include <limits>

#include "kxwcmn/platform/file.h"

namespace {

constexpr UINT kDefaultCache = 512000;

/// Moves bytes and returns how many. A transfer that fails leaves the file where it was, as the
/// archive's position is, so that it can be repeated: a flush when there is room on the disk again.
template <class Move>
UINT Transfer(KXFile& file, Move move) {
  const i64 begin = file.GetPosition();
  DWORD done = 0;
  try {
    move(&done);
  } catch (...) {
    file.Seek(begin, kxw::kFromBegin);
    throw;
  }
  return done;
}

}  // namespace

KXArchiveFile::KXArchiveFile() { Init(kxw::kArchiveLoad, kDefaultCache); }

KXArchiveFile::KXArchiveFile(UINT mode, UINT cacheSize) {
  if (cacheSize == 0) cacheEnabled_ = 0;
  Init(mode, cacheSize);
}

KXArchiveFile::~KXArchiveFile() = default;

void KXArchiveFile::FileCreate(const KXFilePath& path, UINT creator, UINT type, int access,
                               int share, int disposition, int flags) {
  ClearCache();
  file_.Create(path, creator, type, access, share, disposition, flags);
  TakeLength();
}

void KXArchiveFile::FileOpen(const KXFilePath& path, int access, int share, int disposition,
                             int flags) {
  ClearCache();
  file_.Open(path, access, share, disposition, flags);
  TakeLength();
}

void KXArchiveFile::TakeLength() {
  length_ = static_cast<UINT>(std::min<i64>(file_.GetLength(), std::numeric_limits<UINT>::max()));
}

void KXArchiveFile::FileClose() {
  file_.Close();
  ClearCache();
}

UINT KXArchiveFile::WriteSelf(const void* data, UINT size) {
  return Transfer(file_, [&](DWORD* done) { file_.Write(data, size, done); });
}

UINT KXArchiveFile::ReadSelf(void* data, UINT size) {
  return Transfer(file_, [&](DWORD* done) { file_.Read(data, size, done); });
}

UINT KXArchiveFile::SeekSelf(int offset, UINT origin) {
  const UINT position = static_cast<UINT>(offset);
  if (IsLoading()) {
    const UINT target = origin == 1 ? position_ + position : position;
    if (target >= length_) {
      if (length_ != 0) file_.Seek(length_ - 1, kxw::kFromBegin);
      return target;
    }
  }
  file_.Seek(position, kxw::kFromBegin);
  return static_cast<UINT>(file_.GetPosition());
}
