#pragma once

#include <string>

// What the sources of this host share.

namespace kxw {

/// The platform's code for a value of errno; 0 for 0. The one table.
int CodeOfHostError(int hostError);

/// Stores `code` as last error and returns it.
int Report(int code);

/// The host's form of a path of the library: both delimiters become a slash. Null counts as empty.
std::string HostPath(const char* path);

/// The library's form of a path of the host: each slash becomes a backslash.
std::string LibraryPath(const std::string& hostPath);

}  // namespace kxw
