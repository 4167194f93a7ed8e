#pragma once

#include <string>

#include "kxwcmn/platform/export.h"

// Aliases of files: links of the host, and the files "*.lnk" that desktops of another family make.

namespace kxw {

/// Reads where a link of the host leads, one step; a target that the link names from its own folder
/// comes with that folder in front. Returns the platform's code: 50 for what is no link.
int ReadHostLink(const char* path, std::string* target);

/// Reads where an alias leads in the end. Of the two ways that a shortcut file names, the one that
/// leads to something on this host counts, the absolute one first; where neither does, it is the
/// absolute one as it stands. Returns the platform's code: 11 for a file that is no shortcut.
int ResolveAlias(const char* path, std::string* target);

/// The two ways of a shortcut file: absolute, and from the shortcut's folder. Either may be empty.
struct ShortcutTarget {
  std::string path, relativePath;
};

/// Reads a shortcut file's bytes. False if they are none.
bool ParseShortcut(const void* data, std::size_t size, ShortcutTarget* target);

}  // namespace kxw

/// `ResolveAlias` into a buffer of at least 260 bytes. Returns 1, or 0 with the last error set.
KX_EXPORT int qmwGetShortcutLink(const char* path, char* target);
