#pragma once

#include <memory>

#include "kxwcmn/core/filepath.h"
#include "kxwcmn/core/geometry.h"
#include "kxwcmn/core/length.h"
#include "kxwcmn/persist/archivemem.h"
#include "kxwcmn/platform/export.h"
#include "kxwcmn/platform/types.h"

class KXString;
namespace kxw {
class RecordFile;
}

/// A key of a tree of settings. It looks like a registry's and is a folder below a root that the
/// application chooses; its values lie in one file there, "?pref.pff", with the records of
/// preference files. Names and values have the limits of labels and values there.
class KX_EXPORT KXRegKey {
 public:
  KXRegKey();
  KXRegKey(const KXRegKey&) = delete;
  KXRegKey& operator=(const KXRegKey&) = delete;
  /// Closes; a failure of that is lost here, so close explicitly what was written.
  ~KXRegKey();

  /// Opens the key `keyName` below `root`: names with backslashes, slashes or colons between them.
  /// `flags` are 1 for reading, which comes first, and 2 for writing. Reading returns 0 for a key
  /// that does not exist; all else makes the folders that are missing. Returns 0 too for a name of
  /// "." or "..", for no key lies outside its root, and where neither flag is set. Closes what was
  /// open before. Raises what `KXFilePath` and `KXFile` raise.
  int Open(const KXFilePath& root, const char* keyName, WORD flags);
  /// Below the folder of an open key; returns 0 for one that is not open.
  int Open(const KXRegKey& parent, const char* keyName, WORD flags);

  /// Saves what was set, in front of the values that were not; nothing if nothing was set. Raises
  /// what the files raise; the old file is untouched then, and closing can be tried again.
  void Close();

  // Setting a name twice leaves both values, of which the first one counts. Names and values
  // outside the limits, and a key not open for writing, raise 0x20010008.

  void SetValue(BYTE value, const char* name);
  void SetValue(short value, const char* name);
  void SetValue(WORD value, const char* name);
  void SetValue(int value, const char* name);
  void SetValue(UINT value, const char* name);
  /// In 4 bytes: a value beyond 32 bits raises 0x20010008.
  void SetValue(long value, const char* name);
  void SetValue(i64 value, const char* name);
  void SetValue(u64 value, const char* name);
  void SetValue(float value, const char* name);
  void SetValue(double value, const char* name);
  void SetValue(const tagRECT& value, const char* name);
  void SetValue(const tagRECTF& value, const char* name);
  void SetValue(const tagRECTD& value, const char* name);
  void SetValue(const tagPOINT& value, const char* name);
  void SetValue(const tagPOINTF& value, const char* name);
  void SetValue(const tagPOINTD& value, const char* name);
  void SetValue(const tagSIZE& value, const char* name);
  void SetValue(const tagSIZEF& value, const char* name);
  void SetValue(const tagSIZED& value, const char* name);
  /// The 24 bytes of the structure as they stand in memory: the byte order is the host's.
  void SetValue(const _QMLENGTH& value, const char* name);
  void SetValue(const char* text, const char* name);
  void SetValue(const KXString& text, const char* name);
  void SetValue(const KXFilePath& path, const char* name);
  void SetValue(const void* data, int size, const char* name);

  // These return 1 if there is a value of exactly that size, whatever its type was, else 0, with
  // the variable as it was.

  int GetValue(BYTE& value, const char* name);
  int GetValue(short& value, const char* name);
  int GetValue(WORD& value, const char* name);
  int GetValue(int& value, const char* name);
  int GetValue(UINT& value, const char* name);
  int GetValue(long& value, const char* name);
  int GetValue(i64& value, const char* name);
  int GetValue(u64& value, const char* name);
  int GetValue(float& value, const char* name);
  int GetValue(double& value, const char* name);
  int GetValue(tagRECT& value, const char* name);
  int GetValue(tagRECTF& value, const char* name);
  int GetValue(tagRECTD& value, const char* name);
  int GetValue(tagPOINT& value, const char* name);
  int GetValue(tagPOINTF& value, const char* name);
  int GetValue(tagPOINTD& value, const char* name);
  int GetValue(tagSIZE& value, const char* name);
  int GetValue(tagSIZEF& value, const char* name);
  int GetValue(tagSIZED& value, const char* name);
  int GetValue(_QMLENGTH& value, const char* name);
  /// A text of one blank comes as an empty one.
  int GetValue(KXString& text, const char* name);
  int GetValue(KXFilePath& path, const char* name);
  int GetValue(void* data, int size, const char* name);

 private:
  template <class Value>
  void Set(const Value& value, const char* name);
  template <class Value>
  int Get(Value& value, const char* name);

  KXFilePath folder_, file_;
  std::unique_ptr<kxw::RecordFile> reader_;  // null unless open for reading
  KXArchiveMem writer_;
  WORD flags_ = 0;
};
