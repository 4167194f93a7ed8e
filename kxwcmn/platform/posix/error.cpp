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
    {EBADMSG, kErrorDataCheck},
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

/// The row that gives a code its words, or null.
const HostError* RowOf(int code) {
  for (const HostError& row : kHostErrors) {
    if (row.code == code) return &row;
  }
  return nullptr;
}

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

int HostErrorOfCode(int code) {
  if (code == 0) return 0;
  const HostError* row = RowOf(code);
  return row ? row->hostError : EIO;
}

std::string ErrorMessage(int code) {
  const HostError* row = RowOf(code);
  if (!row) return "";
  std::string message = std::generic_category().message(row->hostError);
  FromUtf8(message, &message);
  return message;
}

}  // namespace kxw
