#include "kxwcmn/platform/error.h"

#include <cerrno>
#include <system_error>

#include "kxwcmn/platform/posix/host_internal.h"
#include "kxwcmn/platform/text.h"

namespace kxw {

namespace {

thread_local int lastError = 0;

struct HostError {
  int hostError;
  int code;
};

// The first row of an error gives its code; the first row of a code gives its words.
constexpr HostError kHostErrors[] = {
    {ENOENT, kErrorFileNotFound},
    {ENOENT, kErrorPathNotFound},
    {ENOTDIR, kErrorPathNotFound},
    {EMFILE, kErrorTooManyOpenFiles},
    {ENFILE, kErrorTooManyOpenFiles},
    {EACCES, kErrorAccessDenied},
    {EPERM, kErrorAccessDenied},
    {EISDIR, kErrorAccessDenied},
    {EBADF, kErrorInvalidHandle},
    {ENOMEM, kErrorNotEnoughMemory},
    {ENOEXEC, kErrorBadFormat},
    {EROFS, kErrorWriteProtect},
    {EXDEV, kErrorNotSameDevice},
    {EBUSY, kErrorSharingViolation},
    {ETXTBSY, kErrorSharingViolation},
    {EAGAIN, kErrorSharingViolation},
    {ENOSPC, kErrorDiskFull},
    {EDQUOT, kErrorDiskFull},
    {EOPNOTSUPP, kErrorNotSupported},
    {ENOSYS, kErrorNotSupported},
    {EEXIST, kErrorFileExists},
    {EEXIST, kErrorAlreadyExists},
    {EINVAL, kErrorInvalidParameter},
    {EFAULT, kErrorInvalidParameter},
    {EILSEQ, kErrorInvalidName},
    {ESPIPE, kErrorSeekOnDevice},
    {ENOTEMPTY, kErrorDirNotEmpty},
    {ENAMETOOLONG, kErrorNameTooLong},
    {EFBIG, kErrorFileTooLarge},
    {EOVERFLOW, kErrorFileTooLarge},
    {ELOOP, kErrorCannotResolveName},
    {EIO, kErrorIoDevice},
    {EIO, kErrorReadFault},
    {EIO, kErrorWriteFault},
};

}  // namespace

}  // namespace kxw

void qmSetLastError(int code) { kxw::lastError = code; }

int qmGetLastError() { return kxw::lastError; }

namespace kxw {

int Report(int code) {
  lastError = code;
  return code;
}

int ReportHost(bool success) { return Report(success ? 0 : CodeOfHostError(errno)); }

int CodeOfHostError(int hostError) {
  if (hostError == 0) return kErrorNone;
  for (const HostError& entry : kHostErrors) {
    if (entry.hostError == hostError) return entry.code;
  }
  return kErrorIoDevice;
}

std::string ErrorMessage(int code) {
  for (const HostError& entry : kHostErrors) {
    if (entry.code != code) continue;
    std::string message = std::generic_category().message(entry.hostError);
    FromUtf8(message, &message);
    return message;
  }
  return "";
}

}  // namespace kxw
