#pragma once

#include "kxwcmn/core/string.h"
#include "kxwcmn/platform/export.h"
#include "kxwcmn/platform/types.h"

class KXTime;
namespace kxw {
struct FileInfo;
}
struct tagFindInfo;

/// A path held as text: multi-byte, with the backslash as delimiter. What is looked for on a disk
/// may have slashes as well.
///
/// Operations with a text result have two forms: one writes into a buffer of at least 260 bytes
/// that the caller supplies, and raises KXException with code 206 if the text is longer; the other
/// fills a string. A null text counts as empty. Operations that only inspect return 0 for what
/// cannot be found, and raise nothing; those that change a disk raise the platform's code, and
/// 0x2001000A where something is in the way. None of them follows a link out of the folder that it
/// was given.
class KX_EXPORT KXFilePath {
 public:
  KXFilePath();
  KXFilePath(const char* path);
  KXFilePath(const KXString& path);
  KXFilePath(const KXFilePath&) = default;
  KXFilePath& operator=(const KXFilePath&) = default;
  KXFilePath& operator=(const char* path);
  KXFilePath& operator=(const KXString& path);
  virtual ~KXFilePath();

  // --- The text.

  /// The text, valid until the path is changed.
  operator const char*() const { return path_; }
  const char* GetFullPath() const { return path_; }
  void GetFullPath(char* path) const;
  void GetFullPath(KXString& path) const { path = path_; }
  void SetFullPath(const char* path) { path_ = path; }

  bool IsEmpty() const { return path_.IsEmpty(); }
  void Empty() { path_.Empty(); }

  /// The path as the host spells it, in its delimiters and UTF-8. A path of the host that the code
  /// page cannot show raises 123.
  void SetNativePath(const char* path);
  void GetNativePath(char* path) const;
  void GetNativePath(KXString& path) const;

  /// Takes the folder of the user's documents.
  void SetDefaultPath();

  /// Compares without the delimiters at the end and without the case of single-byte letters.
  bool operator==(const KXFilePath& other) const;
  bool operator==(const KXString& other) const { return *this == KXFilePath(other); }
  bool operator==(const char* other) const { return *this == KXFilePath(other); }

  /// Appends `subPath` with exactly one delimiter between, and removes the delimiters at the end.
  /// An empty path takes the text as it stands; an empty text changes nothing.
  KXFilePath& operator+=(const char* subPath);
  KXFilePath& operator+=(const KXString& subPath) { return *this += subPath.GetCStrPtr(); }
  void CatSubPath(const char* subPath) { *this += subPath; }
  void CatSubPathForWin(const char* subPath) { *this += subPath; }
  /// The same for a sub-path whose delimiter is the colon.
  void CatSubPathForMac(const char* subPath);

  // --- Its elements.

  /// The last element. Setting it keeps the folder.
  void GetFileName(char* name) const;
  void GetFileName(KXString& name) const;
  void SetFileName(const char* name);

  /// The last element in front of its extension, and that without the full stop; a null buffer is
  /// passed over. A full stop at either end of a name begins no extension.
  void GetNameAndExtension(char* name, char* extension) const;
  void GetNameAndExtension(KXString& name, KXString& extension) const;
  void SetNameAndExtension(const char* name, const char* extension);
  void ChangeName(const char* name);
  void ChangeExtension(const char* extension);
  /// Whether the extension is `extension` (without a full stop), whatever their case.
  int IsExtensionFile(const char* extension) const;

  /// All but the last element, without a delimiter at the end unless it is the root; empty for a
  /// path of one element.
  void GetFolderPath(char* folder) const;
  void GetFolderPath(KXString& folder) const;
  void GetFolderPath(KXFilePath& folder) const { GetFolderPath(folder.path_); }

  /// The root: "\", "C:\" or "\\server\share". Returns 0, with an empty text, for a path without
  /// one.
  int GetRootPath(char* root) const;
  int GetRootPath(KXString& root) const;
  int GetRootPath(KXFilePath& root) const { return GetRootPath(root.path_); }

  // --- What is there on the disk.

  int IsExistence() const;
  int IsFolder() const;
  int IsHidden() const;
  int GetReadOnly() const;
  /// Sets or takes away the right to write; nothing is done where it is so already.
  void SetReadOnly(int readOnly);
  /// The time of the last change. Returns 0, with an invalid time, if there is none.
  int GetTime(KXTime& time) const;

  /// Whether this is an alias: a file with the extension "lnk", or a link of the host. `*isFolder`
  /// (may be null) tells whether its target is a folder.
  int IsAliasFile(int* isFolder = nullptr) const;
  /// Takes the path of the alias's target, which need not exist. Returns 0, and changes nothing, if
  /// this is no alias or cannot be read.
  int ResolveAliasFile();

  /// A text of a program file's version information, in the first language that it names. Returns
  /// 0, with an empty text, if there is none. What the code page lacks is a question mark.
  int GetVersionInfo(char* text, const char* key = "FileVersion") const;
  int GetVersionInfo(KXString& text, const char* key = "FileVersion") const;

  /// Facts of the disk that holds a path, in bytes; 0 with the last error set on failure. A disk
  /// without free space gives 0 with code 39.
  static DWORD GetDiskClusterSize(const KXFilePath& path);
  static DWORD GetDiskSectorSize(const KXFilePath& path);
  static u64 GetDiskSpace(const KXFilePath& path);
  static u64 GetDiskFreeSpaceA(const KXFilePath& path);

  /// The records of a folder walk, as `KXFindFile` has them.
  int GetFileInfo(tagFindInfo& info) const;
  static void SetFindInfos(tagFindInfo& info, const KXFilePath& folder, const char* name,
                           const kxw::FileInfo& file);
  static void SetupFileInfo(tagFindInfo& info);

  // --- Changing the disk.

  /// Makes this the path of a new, empty file: `prefix`, hexadecimal digits and ".tmp", in this
  /// path's folder if `nextToFile` is set and in the folder for temporary files otherwise. Returns
  /// 1, or 0 with the last error set and the path unchanged.
  int MakeTempPath(const char* prefix, int nextToFile);

  /// A folder that is there already is no failure.
  void CreateFolder();

  /// Deletes the file, or the folder with all that is in it. Does nothing for an empty path or one
  /// that does not exist. With `toRecycleBin` it goes to the user's trash where there is one. A
  /// failure is only told by the last error.
  void Delete(int toRecycleBin);

  /// Gives the file or folder another name in its folder, and takes its path.
  void Rename(const char* name);

  /// Copies a file with its rights and times; a link is followed. A target that is there raises
  /// 0x2001000A with `failIfExists`; otherwise it is replaced when the copy is complete. A source
  /// "Icon?" is passed over.
  static void CopyFileA(const KXFilePath& target, const KXFilePath& source, int failIfExists);
  /// Moves a file or folder, all of it or nothing. A target that is there raises 0x2001000A with
  /// `keepExisting`; otherwise it goes, and its name stands for one of the two at any moment. A
  /// target that holds the source, or lies in it, raises 87; a folder in the way that the user may
  /// delete only in part raises 5.
  static void MoveFileA(const KXFilePath& target, const KXFilePath& source, int keepExisting);
  /// Copy or move a folder with all that is in it into the folder `target`, or to the path `target`
  /// if there is nothing. An entry of its name in the target raises 0x2001000A with `failIfExists`;
  /// otherwise folders are merged and files replaced. Links are taken along as links. The first
  /// failure stops the work.
  static void CopyFolder(const KXFilePath& target, const KXFilePath& source, int failIfExists);
  static void MoveFolder(const KXFilePath& target, const KXFilePath& source, int failIfExists);

  // --- Series and relative paths.

  /// Makes this the path of the next file of a numbered series in `folder`: `prefix`, a number with
  /// at least `digits` digits, and, unless it is empty, a full stop and `extension`. It is the
  /// first number missing above the smallest that is there, and 1 in an empty series. A name counts
  /// by its first run of digits, if it has the prefix and the extension; without an extension
  /// folders count as well. Hidden names do not.
  void GetSequencialFilePath(const KXFilePath& folder, int digits, const char* extension = nullptr,
                             const char* prefix = nullptr);

  /// The way from the folder `base` to `target`: "..\" for each folder up, and what follows. The
  /// target as it stands if the two have no root in common; empty if they are the same. Slashes
  /// count as backslashes.
  static void MakeRelativePath(char* result, const KXFilePath& base, const KXFilePath& target);
  static void MakeRelativePath(KXString& result, const KXFilePath& base, const KXFilePath& target);
  /// Goes that way. A path with a root is taken as it stands.
  void RemakePath(const char* relative, const KXFilePath& base);

  // --- Texts in their place. Null does nothing.

  /// Change delimiters from backslashes to colons and back. A colon behind the first byte stays one
  /// if another follows.
  static void ConvertWinToMacSubPath(char* text);
  static void ConvertWinToMacSubPath(KXString& text) { ConvertWinToMacSubPath(text.GetStr()); }
  static void ConvertMacToWinSubPath(char* text);
  static void ConvertMacToWinSubPath(KXString& text) { ConvertMacToWinSubPath(text.GetStr()); }

  /// Remove the delimiters at the end or at the front; return the number of characters removed.
  static int DeleteBackDelimiter(char* text);
  static int DeleteBackDelimiter(KXString& text) { return DeleteBackDelimiter(text.GetStr()); }
  static int DeleteFrontDelimiter(char* text);
  static int DeleteFrontDelimiter(KXString& text) { return DeleteFrontDelimiter(text.GetStr()); }

 private:
  KXString path_;
};
