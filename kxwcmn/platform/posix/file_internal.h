#pragma once

#include <sys/types.h>

#include <string>

#include "kxwcmn/platform/file.h"

namespace kxw {

/// The host's descriptor of an open file; -1 if there is none.
int DescriptorOf(FileHandle file);

/// Brings what was written to an open file, or the names in an open folder, to the disk. Returns 0
/// or errno; what a file system cannot bring there counts as there.
int Sync(int descriptor);

/// Renames; what has the name `to` is replaced in one step. Returns 0 or errno.
int RenameReplacing(int fromFolder, const char* from, int toFolder, const char* to);

/// Lets a complete file of an open folder take the place of another one there, or a name that is
/// free, in one step: at any moment, also after a loss of power, the name stands for the old file
/// or the whole new one. Returns 0 or errno; the target is as it was unless the last sync failed.
int ReplaceElement(int folder, const char* complete, const char* target);

/// Makes an empty file of a unique name: `start`, hexadecimal digits and ".tmp". Returns 0 or
/// errno.
int MakeUniqueFile(int folder, const std::string& start, mode_t mode, std::string* name);

/// Renames, both paths in the host's form and relative ones in their open folders. Returns 0 or
/// errno; EEXIST if `to` exists.
int RenameWithoutReplacing(int fromFolder, const char* from, int toFolder, const char* to);
int RenameWithoutReplacing(const char* from, const char* to);

/// Deletes an element of an open folder with all that is in it; a link is deleted, never followed.
/// What does not exist is deleted already. Returns the first error as errno, 0 if all is gone.
int RemoveElement(int folder, const char* name);

/// Looks whether the user may delete all of an element, so that a deletion that is begun also ends.
/// Returns 0, or the errno of what stands against it.
int CheckRemovable(int folder, const char* name, int depth = 0);

/// Folders within folders beyond this are refused by what holds all of them open.
inline constexpr int kDeepestFolder = 1000;

}  // namespace kxw
