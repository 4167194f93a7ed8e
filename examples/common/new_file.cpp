#include "common/new_file.h"

#include <filesystem>

namespace examples {

namespace fs = std::filesystem;

void RaiseOfFile(const std::string& path, KXException& failure) {
  switch (failure.GetErrorCode()) {
    case kxw::kFailureAborted:
    case kxw::kErrorNotEnoughMemory:
    case kxw::kFailureNoSwapName:
    case kxw::kFailureNoSwapSpace:
      throw;
    default:
      KXString words;
      failure.GetAlertMessage(words);
      throw FileError(path, words.IsEmpty() ? "an unknown failure" : words.GetCStrPtr());
  }
}

KXFilePath FromNative(const std::string& path) {
  KXFilePath native;
  native.SetNativePath(path.c_str());
  return native;
}

NewFile::NewFile(const std::string& path) : path_(path) {
  std::error_code ignored;
  const fs::file_status status = fs::status(path, ignored);
  if (fs::exists(status) && !fs::is_regular_file(status)) throw FileError(path, "not a file");
  KXString part;
  try {
    const KXFilePath target = FromNative(path);
    // Now and not when the work is done, for it would be in vain.
    if (target.GetReadOnly()) throw FileError(path, "read-only");
    if (const int code = replacement_.Begin(target, "new")) kxThrowError(code);
    KXFilePath(replacement_.Path()).GetNativePath(part);
  } catch (KXException& failure) {
    RaiseOfFile(path, failure);
  }
  partPath_ = part.GetCStrPtr();
}

void NewFile::Keep() {
  try {
    if (const int code = replacement_.Commit()) kxThrowError(code);
  } catch (KXException& failure) {
    RaiseOfFile(path_, failure);
  }
}

}  // namespace examples
