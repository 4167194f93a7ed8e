#pragma once

#include <cstddef>
#include <string>

#include "kxwcmn/platform/export.h"

// Paths as texts. The library's delimiter is the backslash; what comes from a disk or a user may
// have the slash as well. All walk over characters: the second byte of a pair may look like a
// delimiter.

namespace kxw {

inline bool IsBackslash(char c) { return c == '\\'; }
inline bool IsAnyDelimiter(char c) { return c == '\\' || c == '/'; }

/// The length of `text` without the delimiters at its end.
std::size_t LengthWithoutBack(const char* text, bool (*isDelimiter)(char));

/// A path in front of its last element, and that element without delimiters at its end. The folder
/// has no delimiter at its end unless it is the root.
struct PathParts {
  std::string folder, name;
};
PathParts SplitPath(const std::string& path);

/// A file name in front of its extension, and that without the full stop. A name that only begins
/// or ends with its full stop has no extension.
struct NameParts {
  std::string name, extension;
};
NameParts SplitExtension(const std::string& name);
std::string JoinExtension(const NameParts& parts);

/// The root that a path begins with: "\", "C:\" or "\\server\share", as far as it is there. Empty
/// for a relative path.
std::string RootOf(const std::string& path);
bool IsRoot(const std::string& path);

}  // namespace kxw

// The same for buffers of at least 260 bytes. They return 1; 0 with the last error set if the
// result is longer.
KX_EXPORT int qmGetFileNamefromFullPath(const char* path, char* name);
KX_EXPORT int qmGetFolderfromFullPath(const char* path, char* folder);
KX_EXPORT int qmGetFileNameDelExt(const char* fileName, char* name);
KX_EXPORT int qmCopyExtension(const char* fileName, char* extension);
