#pragma once

#include <string>

#include "kxwcmn/platform/export.h"
#include "kxwcmn/platform/types.h"

/// A path held as text: multi-byte, with the backslash as delimiter.
///
/// Operations with a text result write into a buffer of at least 260 bytes that the caller
/// supplies, and raise KXException with code 206 if the text is longer. Operations that only
/// inspect return 0 for what cannot be found, and raise nothing.
class KX_EXPORT KXFilePath {
 public:
  KXFilePath();
  /// Null counts as empty.
  KXFilePath(const char* path);
  KXFilePath(const KXFilePath&) = default;
  KXFilePath& operator=(const KXFilePath&) = default;
  KXFilePath& operator=(const char* path);
  virtual ~KXFilePath();

  /// The text, valid until the path is changed.
  operator const char*() const { return path_.c_str(); }
  const char* GetFullPath() const { return path_.c_str(); }
  void SetFullPath(const char* path);

  bool IsEmpty() const { return path_.empty(); }
  void Empty() { path_.clear(); }

  /// Compares without the delimiters at the end and without the case of single-byte letters.
  bool operator==(const KXFilePath& other) const;
  bool operator!=(const KXFilePath& other) const { return !(*this == other); }
  bool operator==(const char* other) const { return *this == KXFilePath(other); }
  bool operator!=(const char* other) const { return !(*this == other); }

  /// Appends `subPath` with exactly one delimiter between, and removes the delimiters at the end.
  /// An empty path takes the text as it stands; an empty text changes nothing.
  KXFilePath& operator+=(const char* subPath);

  /// The last element.
  void GetFileName(char* name) const;
  /// All but the last element, without a delimiter at the end unless it is the root; empty for a
  /// path of one element.
  void GetFolderPath(char* folder) const;
  void GetFolderPath(KXFilePath& folder) const;

  int IsExistence() const;
  int IsFolder() const;

  /// Makes this the path of a new, empty file: `prefix`, hexadecimal digits and ".tmp", in this
  /// path's folder if `nextToFile` is set and in the folder for temporary files otherwise. Returns
  /// 1, or 0 with the last error set and the path unchanged.
  int MakeTempPath(const char* prefix, int nextToFile);

  /// Deletes the file, or the folder with all that is in it; links are deleted and not followed.
  /// Does nothing for an empty path or one that does not exist. With `toRecycleBin` it goes to the
  /// user's trash where there is one. A failure is only told by the last error.
  void Delete(int toRecycleBin);

  /// Removes the delimiters at the end or at the front of a text in its place; returns the number
  /// of characters removed. Null does nothing.
  static int DeleteBackDelimiter(char* text);
  static int DeleteFrontDelimiter(char* text);

  /// Facts of the disk that holds a path, in bytes; 0 with the last error set on failure. A disk
  /// without free space gives 0 with code 39.
  static DWORD GetDiskClusterSize(const KXFilePath& path);
  static DWORD GetDiskSectorSize(const KXFilePath& path);
  static u64 GetDiskSpace(const KXFilePath& path);
  static u64 GetDiskFreeSpaceA(const KXFilePath& path);

 private:
  std::string path_;
};
