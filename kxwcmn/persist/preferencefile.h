#pragma once

#include <memory>

#include "kxwcmn/core/filepath.h"
#include "kxwcmn/persist/archivemem.h"
#include "kxwcmn/platform/export.h"
#include "kxwcmn/platform/types.h"

class KXString;
struct _QMNUMBER;
struct tagQMRGBCOLOR16;
namespace kxw {
class RecordFile;
}

/// An application's settings in a file of labelled values. The file has no order: a reader looks
/// for its labels, and a writer replaces those that it sets and leaves the others, so that two
/// versions of a program can share it.
///
///     KXPreferenceFile settings;
///     settings.OpenPreferenceFile(1, path);
///     settings.SetPreferenceFile("grid", 12);
///     settings.ClosePreferenceFile();  // here the file changes, all at once
///
/// Between an open and its close one either reads or writes. A label is a text that is not empty;
/// it is compared byte by byte. A value has from 1 to 32767 bytes. An object belongs to one thread.
class KX_EXPORT KXPreferenceFile {
 public:
  KXPreferenceFile();
  KXPreferenceFile(const KXPreferenceFile&) = delete;
  KXPreferenceFile& operator=(const KXPreferenceFile&) = delete;
  /// Closes; a failure of that is lost here, so close explicitly what was written.
  virtual ~KXPreferenceFile();

  /// Opens for writing if `write` is 1, and returns 1; else for reading, and returns 0 if there is
  /// no file. Closes what was open before. Raises the platform's code for a file that cannot be
  /// read.
  int OpenPreferenceFile(int write, const KXFilePath& path);

  /// Saves what was set: in a new file, or in front of the records of the old one whose labels were
  /// not set. An old record without a value ends the merge, and what follows it is lost. Raises
  /// what `KXFile` and `KXArchive` raise; the old file is untouched then, the temporary file of a
  /// merge stays beside it, and closing can be tried again.
  void ClosePreferenceFile();

  // Setting a label twice leaves both records, of which the first one counts. Labels and values
  // outside the limits, and a file not open for writing, raise 0x20010008.

  void SetPreferenceFile(const char* label, short value);
  void SetPreferenceFile(const char* label, WORD value);
  void SetPreferenceFile(const char* label, int value);
  void SetPreferenceFile(const char* label, UINT value);
  /// In 4 bytes: a value beyond 32 bits raises 0x20010008.
  void SetPreferenceFile(const char* label, long value);
  /// An empty text, and null, is stored as a single blank.
  void SetPreferenceFile(const char* label, const char* text);
  void SetPreferenceFile(const char* label, const _QMNUMBER& value);
  /// Four records, with the endings _A, _R, _G and _B of the label.
  void SetPreferenceFile(const char* label, const tagQMRGBCOLOR16& color);
  /// `size` bytes as they stand.
  void SetPreferenceFile(const char* label, int size, const void* data);
  /// The same of characters, which would look like a number and its format else.
  void SetPreferenceFile(const char* label, int size, const char* data) {
    SetPreferenceFile(label, size, static_cast<const void*>(data));
  }
  /// As text, printed with `format`, which must fit a double; "%4.1lf" if it is null.
  void SetPreferenceFile(const char* label, double value, const char* format = nullptr);

  // These return 1 if there is a value of the right size, else 0, with the variable as it was.

  int GetPreferenceFile(const char* label, short& value);
  int GetPreferenceFile(const char* label, WORD& value);
  int GetPreferenceFile(const char* label, int& value);
  int GetPreferenceFile(const char* label, UINT& value);
  int GetPreferenceFile(const char* label, long& value);
  /// A text of one blank comes as an empty one.
  int GetPreferenceFile(const char* label, KXString& text);
  int GetPreferenceFile(const char* label, _QMNUMBER& value);
  int GetPreferenceFile(const char* label, double& value);
  int GetPreferenceFile(const char* label, tagQMRGBCOLOR16& color);
  /// Copies the text with its terminator, but at most `maxLength` bytes: a longer text comes
  /// without. A blank stays one.
  int GetPreferenceFile(const char* label, char* text, int maxLength);
  int GetPreferenceFile(const char* label, int size, void* data);

 private:
  template <class Value>
  void Set(const char* label, int size, const Value& value);
  template <class Value>
  int Get(const char* label, int size, Value& value);

  KXArchiveMem writer_;
  std::unique_ptr<kxw::RecordFile> reader_;  // null unless open for reading
  bool isWriting_ = false;
  KXFilePath path_;
};
