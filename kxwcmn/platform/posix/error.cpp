#include "kxwcmn/platform/error.h"

#include <cerrno>

#include "kxwcmn/platform/posix/host_internal.h"

namespace {
thread_local int lastError = 0;
}

void qmSetLastError(int code) { lastError = code; }

int qmGetLastError() { return lastError; }

namespace kxw {

int Report(int code) {
  lastError = code;
  return code;
}

int ReportHost(bool success) { return Report(success ? 0 : CodeOfHostError(errno)); }

int CodeOfHostError(int hostError) {
  switch (hostError) {
    case 0:
      return kErrorNone;
    case ENOENT:
      return kErrorFileNotFound;
    case ENOTDIR:
      return kErrorPathNotFound;
    case EMFILE:
    case ENFILE:
      return kErrorTooManyOpenFiles;
    case EACCES:
    case EPERM:
    case EISDIR:
      return kErrorAccessDenied;
    case EBADF:
      return kErrorInvalidHandle;
    case ENOMEM:
      return kErrorNotEnoughMemory;
    case EROFS:
      return kErrorWriteProtect;
    case EXDEV:
      return kErrorNotSameDevice;
    case EBUSY:
    case ETXTBSY:
    case EAGAIN:
      return kErrorSharingViolation;
    case ENOSPC:
    case EDQUOT:
      return kErrorDiskFull;
    case ENOSYS:
    case EOPNOTSUPP:
      return kErrorNotSupported;
    case EEXIST:
      return kErrorFileExists;
    case EINVAL:
    case EFAULT:
      return kErrorInvalidParameter;
    case EILSEQ:
      return kErrorInvalidName;
    case ESPIPE:
      return kErrorSeekOnDevice;
    case ENOTEMPTY:
      return kErrorDirNotEmpty;
    case ENAMETOOLONG:
      return kErrorNameTooLong;
    case EFBIG:
    case EOVERFLOW:
      return kErrorFileTooLarge;
    case ELOOP:
      return kErrorCannotResolveName;
    default:
      return kErrorIoDevice;
  }
}

}  // namespace kxw
