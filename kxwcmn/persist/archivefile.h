#pragma once

#include "kxwcmn/core/file.h"
#include "kxwcmn/persist/archive.h"

/// An archive on a file. Call `DoFlush` before `FileClose`, or what is pending is lost.
class KX_EXPORT KXArchiveFile : public KXArchive {
 public:
  /// Loads, big-endian, through a cache of 512,000 bytes.
  KXArchiveFile();
  /// `mode` as for `Init`; a `cacheSize` of 0 stands for no cache.
  KXArchiveFile(UINT mode, UINT cacheSize);
  ~KXArchiveFile() override;

  /// These open as `KXFile` does, with what the cache holds dropped. The position stays: who uses
  /// an archive for a second file seeks to 0. A length beyond 4 GiB counts as 4 GiB.
  void FileCreate(const KXFilePath& path, UINT creator, UINT type, int access, int share,
                  int disposition, int flags);
  void FileOpen(const KXFilePath& path, int access, int share, int disposition, int flags);
  void FileClose();
  int IsValid() const { return file_.IsOpen(); }

  UINT WriteSelf(const void* data, UINT size) override;
  UINT ReadSelf(void* data, UINT size) override;
  UINT SeekSelf(int offset, UINT origin) override;

 private:
  void TakeLength();

  KXFile file_;
};
