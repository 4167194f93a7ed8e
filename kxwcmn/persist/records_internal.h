#pragma once

#include <string_view>
#include <vector>

#include "kxwcmn/core/filepath.h"
#include "kxwcmn/core/string.h"
#include "kxwcmn/persist/archivefile.h"
#include "kxwcmn/persist/archivemem.h"
#include "kxwcmn/platform/types.h"

// Files of labelled records, in which preference files and keys keep their values: records with no
// header, no end mark and no order, all big-endian.
//
//   label  a counted string: 2 bytes and the text
//   size   2 bytes, signed: of the value, in bytes
//   value
//
// Of records with one label the first one counts. Labels are compared as they are stored.

namespace kxw {

struct Record {
  std::string_view label;  // in its stored form
  int size = 0;
  UINT begin = 0, sizeField = 0, end = 0;  // from the block's start
};

/// Goes over records from the front.
class RecordWalk {
 public:
  RecordWalk() = default;
  /// `at` is where a record begins.
  explicit RecordWalk(std::string_view bytes, UINT at = 0) : bytes_(bytes), at_(at) {}

  /// The next record; false at the end, at an empty label, and where there is no whole record.
  bool Next(Record& record);

 private:
  std::string_view bytes_;
  UINT at_ = 0;
};

/// The records of a file, as they were when it was opened.
class RecordFile {
 public:
  /// Opens the file if there is one. Raises the platform's code.
  explicit RecordFile(const KXFilePath& path);

  /// Whether there was one.
  bool IsValid() const { return reader_.IsValid(); }

  /// An archive at the value of a label's record; null if there is none, or one of another size.
  /// All labels together take one walk over the file, whatever their order.
  KXArchive* SearchLabel(const char* label, int size);
  /// Reads a value that is text. False, with the text as it was, if there is none.
  bool ReadText(const char* label, KXString& text);

 private:
  /// Reads the whole file on the first look-up; false if that fails, or nothing is in it.
  bool LoadPref();
  /// Finds the first record of a label; false if there is none, or no memory to look for it.
  bool Find(const char* label, Record& record);

  KXArchiveFile reader_;
  KXArchiveMem loaded_;
  bool isLoaded_ = false;
  std::string_view bytes_;     // of the file
  std::vector<UINT> byLabel_;  // where the records begin, those of one label in their order
};

/// Appends a record: the label, `size`, and what `writeValue()` writes. Raises 0x20010008 for a
/// label that is empty in store, for a size that is not from 1 to 32767, and where `writer` is not
/// open for storing; other failures are the archive's. The records stay whole: those up to the
/// archive's position count.
template <class WriteValue>
void AppendRecord(KXArchiveMem& writer, const char* label, i64 size, WriteValue writeValue);

/// The same for text. An empty one is stored as a single blank, for a size of 0 would end a merge.
void AppendText(KXArchiveMem& writer, const char* label, const char* text);
/// The same for a block.
void AppendBlock(KXArchiveMem& writer, const char* label, int size, const void* data);

/// Reads text of which a single blank stands for an empty one.
bool ReadTextOrEmpty(RecordFile& file, const char* label, KXString& text);

/// Saves `records` in a file: in a new one, or in front of those records of the old one whose
/// labels are not among them. A record without a value in the old file ends the merge, and what
/// follows is lost. Raises what files and archives raise, with the old file untouched; the
/// temporary file of a merge that failed stays if `keepsTemporary` is set.
void SearchSet(const KXFilePath& path, KXArchiveMem& records, bool keepsTemporary);

/// Writes the label and the size field in front of a value; checks them.
void AppendHead(KXArchiveMem& writer, const char* label, i64 size);

template <class WriteValue>
void AppendRecord(KXArchiveMem& writer, const char* label, i64 size, WriteValue writeValue) {
  const UINT begin = writer.GetPosition();
  try {
    AppendHead(writer, label, size);
    writeValue();
  } catch (...) {
    writer.Seek(static_cast<int>(begin), 0);
    throw;
  }
}

}  // namespace kxw
