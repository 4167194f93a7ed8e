#pragma once

#include <string>
#include <vector>

#include "kxwcmn/platform/file.h"
#include "kxwcmn/platform/types.h"

// What files and folders are, apart from their contents. Paths are those of file.h; every operation
// that returns a code returns 0 on success, and stores the code as last error.

namespace kxw {

/// The host's form of a path of the library: delimiters as the host has them, characters in UTF-8.
/// A path that UTF-8 cannot hold keeps its bytes; with a slash as the second byte of a pair it has
/// no form, and comes out empty. Null counts as empty.
std::string HostPath(const char* path);

/// The library's form of a path of the host. False, with `*path` untouched, if there is none: a
/// character is missing in the code page, or an element contains a backslash of its own.
bool LibraryPath(const std::string& hostPath, std::string* path);

/// `path` from the root on, so that it stays right when the process changes its current folder.
/// Fails with `kErrorInvalidName` if the current folder has no form in the library.
int AbsolutePath(const char* path, std::string* absolute);

/// What is known of a file or folder. Times are seconds since 1970, UTC.
struct FileInfo {
  DWORD attributes = 0;  // FileAttribute bits
  i64 size = 0;          // bytes
  i64 created = 0;       // on hosts that do not know: the last change of the file's state
  i64 accessed = 0;
  i64 written = 0;
};

/// Looks a file up; what a link points to, where that exists.
int GetFileInfo(const char* path, FileInfo* info);
int GetFileInfo(FileHandle file, FileInfo* info);

/// Sets or takes away the right to write.
int SetReadOnly(const char* path, bool readOnly);

/// The names in a folder in byte order, "." and ".." among them. Names without a library form are
/// left out; a failure leaves none.
int ListFolder(const char* path, std::vector<std::string>* names);

/// Deletes a file, or a folder with all that is in it. A link is deleted, never followed. What does
/// not exist is deleted already; the current folder, its parent and the root are refused. After a
/// failure the rest is still deleted, and the first code is returned.
int RemoveTree(const char* path);

/// Deletes a file or link of a process that has died. Fails with `kErrorSharingViolation`, and
/// leaves it, while some process (of this host, or of any where the file system shares its locks)
/// has it open to be deleted on closing; leaves what cannot be opened
/// or asked for its locks too, for nobody can tell. Where the file system has no locks at all every
/// file counts as unused.
int RemoveUnused(const char* path);

/// Copies a regular file with its rights and the time of its last change. A source that is a link
/// is followed. The target changes only when the copy is complete; a link there is replaced. With
/// `failIfExists` a target that is there fails with `kErrorFileExists`.
int CopyFile(const char* source, const char* target, bool failIfExists);

/// Moves a file or folder, to another disk by copying, all of it or nothing. A target that is there
/// fails with `kErrorAlreadyExists`; with `replace` it goes, and its name stands for one of the two
/// at any moment. A target that holds the source, or lies in it, fails with
/// `kErrorInvalidParameter`; one that the user may delete only in part, or such a source for
/// another disk, with `kErrorAccessDenied`.
int MoveFile(const char* source, const char* target, bool replace);

/// Copy or move a file or folder with all that is in it to the path `target`, and make the folders
/// above that are missing. Folders are merged and files replaced; a link or file in the place of a
/// folder fails with `kErrorAlreadyExists`. Links within are taken along as they are. The first
/// failure stops the work.
int CopyTree(const char* source, const char* target);
int MoveTree(const char* source, const char* target);

/// Moves a file or folder to the user's trash, so that the desktop can bring it back. Fails with
/// `kErrorNotSupported` where there is no trash.
int MoveToTrash(const char* path);

/// The process's folder for temporary files: private to the user, created when missing. Fails if
/// somebody else has put something of its name in the place.
int GetTemporaryFolder(std::string* path);

/// The user's own folders.
enum class UserFolder {
  kHome,
  kDesktop,
  kDocuments,
  kMusic,
  kPictures,
  kVideos,
  kTemplates,
  kSettings,
  kLocalData
};

/// Where a folder of the user is; it need not exist. Without `configured` it is the place that it
/// has unless the user chooses another.
int GetUserFolder(UserFolder folder, bool configured, std::string* path);

/// Creates an empty file of a unique name, `prefix` + hexadecimal digits + ".tmp", in `folder`
/// (empty: the current one). `prefix` must not contain a delimiter.
int MakeTemporaryFile(const char* folder, const char* prefix, std::string* path);

/// The disk that a path lies on.
struct DiskFacts {
  DWORD sectorSize = 0;   // bytes: 512 or 4096
  DWORD clusterSize = 0;  // bytes, the unit in which files take space
  u64 total = 0;          // bytes
  u64 free = 0;           // bytes that this user may still take
};

/// Facts of the disk that holds the path, or would hold it: of a path that does not exist, the
/// nearest folder above that does counts.
int GetDiskFacts(const char* path, DiskFacts* facts);

}  // namespace kxw

/// Writes the path of a folder of the user into a buffer of at least 260 bytes. By number: 0 and 16
/// the desktop, 5 documents, 13 music, 14 videos, 21 templates, 26 settings, 28 local data, 39
/// pictures, 40 the home; with 0x8000 added, the folder is made if it is missing. `flags` of 1 asks
/// for the place that it has unless the user chooses another. Returns 0, or the platform's code
/// with an empty path. Window and token have no meaning on this host.
KX_EXPORT int kxwSHGetFolderPath(HWND window, int folder, void* token, DWORD flags, char* path);
