#pragma once

#include <string>

#include "kxwcmn/platform/export.h"

/// The platform's error codes that the library names itself. Any other code passes through as a
/// number; a host's own errors are turned into these codes by one table in the host's folder.
namespace kxw {
enum ErrorCode : int {
  kErrorNone = 0,
  kErrorFileNotFound = 2,
  kErrorPathNotFound = 3,
  kErrorTooManyOpenFiles = 4,
  kErrorAccessDenied = 5,
  kErrorInvalidHandle = 6,
  kErrorNotEnoughMemory = 8,
  kErrorBadFormat = 11,
  kErrorNotSameDevice = 17,
  kErrorNoMoreFiles = 18,
  kErrorWriteProtect = 19,
  kErrorDataCheck = 23,
  kErrorWriteFault = 29,
  kErrorReadFault = 30,
  kErrorSharingViolation = 32,
  kErrorHandleEof = 38,
  kErrorDiskFull = 39,
  kErrorNotSupported = 50,
  kErrorFileExists = 80,
  kErrorInvalidParameter = 87,
  kErrorInvalidName = 123,
  kErrorNegativeSeek = 131,
  kErrorSeekOnDevice = 132,
  kErrorDirNotEmpty = 145,
  kErrorAlreadyExists = 183,
  kErrorNameTooLong = 206,
  kErrorFileTooLarge = 223,
  kErrorIoDevice = 1117,
  kErrorCannotResolveName = 1921,
};

/// The host's words for a code, in the process's code page; empty for one that it does not know.
std::string ErrorMessage(int code);

}  // namespace kxw

/// Stores the calling thread's last error; 0 clears it.
KX_EXPORT void qmSetLastError(int code);

/// The calling thread's last error, 0 if the last operations succeeded.
KX_EXPORT int qmGetLastError();
