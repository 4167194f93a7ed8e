#pragma once

#include <cstdint>
#include <string>

#include "kxwcmn/platform/export.h"

namespace kxw {

/// Saves a file so that no crash loses it: what is new is written to a temporary file beside the
/// target, and takes the target's place when it is complete. The target is the old file or the
/// whole new one at any moment, whatever kills the process or the machine meanwhile.
///
///     FileReplacement save;
///     if (int code = save.Begin("C:\\cels\\fox", "cel")) ...
///     // write and close the file at save.Path()
///     if (int code = save.Commit()) ...
///
/// A target that is a link stays one: what it leads to is replaced. Paths are those of file.h; all
/// codes are the platform's, 0 for success, and stored as last error.
class KX_EXPORT FileReplacement {
 public:
  FileReplacement() = default;
  FileReplacement(const FileReplacement&) = delete;
  FileReplacement& operator=(const FileReplacement&) = delete;
  /// Deletes the temporary file, unless it took the target's place or is to stay.
  ~FileReplacement();

  /// Makes the temporary file, empty and of a unique name: `prefix` (with no delimiter),
  /// hexadecimal digits and ".tmp". Nobody but the user may read it before it is complete if the
  /// target is there already. Gives up what was begun before. Fails with 5 where the target is a
  /// folder, and with 50 where it is something else than a file.
  int Begin(const char* target, const char* prefix);

  /// The temporary file; empty when none is begun.
  const char* Path() const { return path_.c_str(); }

  /// Lets the temporary file stay whatever happens, for the user to rescue what is in it.
  void KeepTemporary() { keepsTemporary_ = true; }

  /// Brings the closed temporary file to the disk, gives it the rights of the target and, in one
  /// step, its name. Fails with 5 if the target is read-only. After a failure the target is as it
  /// was, unless the host only could not say that the new name is on the disk for sure.
  int Commit();

 private:
  void Discard();

  std::string path_;                         // of the temporary file, in the library's form
  std::string folder_, temporary_, target_;  // folder, and names in it, in the host's form
  std::intptr_t openFolder_ = -1;
  bool keepsTemporary_ = false;
};

}  // namespace kxw
