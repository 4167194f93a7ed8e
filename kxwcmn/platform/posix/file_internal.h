#pragma once

#include "kxwcmn/platform/file.h"

namespace kxw {

/// The host's descriptor of an open file; -1 if there is none.
int DescriptorOf(FileHandle file);

/// Renames, both paths in the host's form. Returns 0 or errno; EEXIST if `to` exists.
int RenameWithoutReplacing(const char* from, const char* to);

}  // namespace kxw
