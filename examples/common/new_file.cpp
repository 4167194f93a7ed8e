#include "common/new_file.h"

#include <filesystem>

namespace examples {

namespace fs = std::filesystem;

NewFile::NewFile(const std::string& path) : path_(path) {
  std::error_code ignored;
  const fs::file_status status = fs::status(path, ignored);
  if (fs::exists(status) && !fs::is_regular_file(status)) throw FileError(path, "not a file");
  KXFilePath target;
  KXString part;
  try {
    target.SetNativePath(path.c_str());
    // Now and not when the work is done, for it would be in vain.
    if (target.GetReadOnly()) throw FileError(path, "read-only");
    RaiseIfFailed(replacement_.Begin(target, "new"));
    KXFilePath(replacement_.Path()).GetNativePath(part);
  } catch (KXException& failure) {
    RaiseIfFailed(failure.GetErrorCode());
  }
  partPath_ = part.GetCStrPtr();
}

void NewFile::Keep() { RaiseIfFailed(replacement_.Commit()); }

void NewFile::RaiseIfFailed(int code) const {
  if (code == 0) return;
  KXString words;
  KXException(code, static_cast<UINT>(-1), "", "", "", "", "").GetAlertMessage(words);
  throw FileError(path_, words.IsEmpty() ? "an unknown failure" : words.GetCStrPtr());
}

}  // namespace examples
