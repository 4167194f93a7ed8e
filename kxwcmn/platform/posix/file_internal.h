#pragma once

#include "kxwcmn/platform/file.h"

namespace kxw {

/// The host's descriptor of an open file; -1 if there is none.
int DescriptorOf(FileHandle file);

/// Renames, both paths in the host's form and relative ones in their open folders. Returns 0 or
/// errno; EEXIST if `to` exists.
int RenameWithoutReplacing(int fromFolder, const char* from, int toFolder, const char* to);
int RenameWithoutReplacing(const char* from, const char* to);

/// Deletes an element of an open folder with all that is in it; a link is deleted, never followed.
/// What does not exist is deleted already. Returns the first error as errno, 0 if all is gone.
int RemoveElement(int folder, const char* name);

}  // namespace kxw
