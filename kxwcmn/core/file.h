#pragma once

#include "kxwcmn/core/filepath.h"
#include "kxwcmn/platform/export.h"
#include "kxwcmn/platform/file.h"
#include "kxwcmn/platform/types.h"

class KXTime;

/// An open file with 64-bit positions. Operations raise KXException with the platform's code; on a
/// closed file that is 6. Belongs to one thread at a time.
class KX_EXPORT KXFile {
 public:
  KXFile();
  KXFile(const KXFile&) = delete;
  KXFile& operator=(const KXFile&) = delete;
  /// Closes; a failure of that is lost here, so close explicitly what was written.
  virtual ~KXFile();

  /// Opens or creates the file at `path`, after closing what is open. The constants of the last
  /// four are those of platform/file.h; `creator` and `type` are only passed on.
  void Create(const KXFilePath& path, UINT creator, UINT type, int access, int share,
              int disposition, int flags);

  /// The same for dispositions that do not create: 1 and 2 raise 0x20010008.
  void Open(const KXFilePath& path, int access, int share, int disposition, int flags);

  /// Reads or writes at the position and moves it. `*done` (may be null) becomes the bytes moved;
  /// at the end of the file that is less than `size`, which is no failure.
  void Read(void* data, DWORD size, DWORD* done);
  void Write(const void* data, DWORD size, DWORD* done);

  /// Sets the position `offset` bytes from the begin (`origin` 0), the position (1) or the end (2).
  void Seek(i64 offset, DWORD origin);
  i64 GetPosition() const;
  i64 GetLength() const;

  /// Cuts or extends the file at its position.
  void SetEOF();

  /// The time of the last write. Raises 0x20010008 for one that KXTime does not hold.
  void GetTime(KXTime& time) const;

  /// Closes if open, and empties the path.
  void Close();

  bool IsOpen() const { return file_ != kxw::kNoFile; }
  const KXFilePath& GetPath() const { return path_; }

 private:
  kxw::FileHandle file_ = kxw::kNoFile;
  KXFilePath path_;
};
