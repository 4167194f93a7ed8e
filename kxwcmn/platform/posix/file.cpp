#include "kxwcmn/platform/file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <limits>
#include <new>
#include <string>

#include "kxwcmn/platform/detail/faults.h"
#include "kxwcmn/platform/error.h"
#include "kxwcmn/platform/filesystem.h"
#include "kxwcmn/platform/posix/file_internal.h"
#include "kxwcmn/platform/posix/host_internal.h"
#include "kxwcmn/platform/system.h"

namespace {

using kxw::CodeOfHostError;
using kxw::Report;
using kxw::ReportHost;
using kxw::detail::Fault;
using kxw::detail::FaultAt;
using kxw::detail::FaultPoint;

constexpr mode_t kNewFileMode = 0666;
constexpr mode_t kTemporaryFileMode = 0600;  // of what nobody else has to do with
constexpr mode_t kNewFolderMode = 0777;
constexpr u64 kMostPerHostCall = u64{1} << 30;  // some hosts refuse 2 GiB and more

/// An open file. The position is kept here and not by the host, so that a seek costs nothing and
/// paging a block is one host call.
struct OpenFile {
  int descriptor;
  i64 position;
  bool readable, writable;
  bool unbuffered;
  std::string deletedPath;  // host form; empty unless the file is deleted on closing
  unsigned deleter = 0;     // the fork generation of the process that deletes it
};

OpenFile* FileOf(kxw::FileHandle file) {
  if (file == kxw::kNoFile || file == 0) return nullptr;
  return reinterpret_cast<OpenFile*>(file);
}

int OpenRetrying(const char* path, int flags, mode_t mode) {
  int descriptor;
  do {
    descriptor = open(path, flags, mode);
  } while (descriptor < 0 && errno == EINTR);
  return descriptor;
}

/// The host's flags for a disposition, -1 for an unknown one.
int FlagsOfDisposition(DWORD disposition) {
  switch (disposition) {
    case kxw::kCreateNew:
      return O_CREAT | O_EXCL;
    case kxw::kCreateAlways:
      return O_CREAT | O_TRUNC;
    case kxw::kOpenExisting:
      return 0;
    case kxw::kOpenAlways:
      return O_CREAT;
    case kxw::kTruncateExisting:
      return O_TRUNC;
    default:
      return -1;
  }
}

/// Opens, and drops the wish for unbuffered access where the file system refuses it. Returns the
/// descriptor, or -1 with errno set.
int OpenOnHost(const char* path, int flags, mode_t mode, bool* unbuffered) {
#ifdef O_DIRECT
  if (*unbuffered) {
    const int descriptor = OpenRetrying(path, flags | O_DIRECT, mode);
    if (descriptor >= 0 || errno != EINVAL) return descriptor;
    flags &= ~O_EXCL;  // the refused call may have made the file
  }
#endif
  *unbuffered = false;
  return OpenRetrying(path, flags, mode);
}

/// After a transfer that was refused for its alignment or by the file system, goes on through the
/// host's cache. Returns whether another try makes sense.
bool DropUnbuffered(OpenFile* file) {
#ifdef O_DIRECT
  if (file->unbuffered) {
    file->unbuffered = false;
    const int flags = fcntl(file->descriptor, F_GETFL);
    return flags >= 0 && fcntl(file->descriptor, F_SETFL, flags & ~O_DIRECT) == 0;
  }
#endif
  return false;
}

/// Takes a lock of the whole file at once. Returns 0 or errno.
int LockOnHost(int descriptor, int kind) {
  if (const int error = kxw::HostErrorAt(FaultPoint::kLock)) return error;
  return flock(descriptor, kind | LOCK_NB) == 0 ? 0 : errno;
}

/// Whether a name is still that of an open file, and has not gone to another one meanwhile.
bool IsNameOf(const char* hostPath, int descriptor) {
  struct stat ours, named;
  return fstat(descriptor, &ours) == 0 && lstat(hostPath, &named) == 0 &&
         ours.st_dev == named.st_dev && ours.st_ino == named.st_ino;
}

/// Moves `size` bytes with `transfer(at, part, position)`, one host call, until all are moved, the
/// file ends or the host fails. Returns the code.
template <class Transfer>
int TransferAll(OpenFile* file, DWORD size, u64 hostLimit, DWORD* done, Transfer transfer) {
  hostLimit = std::min(hostLimit, kMostPerHostCall);
  *done = 0;
  while (*done < size) {
    const auto part = static_cast<std::size_t>(std::min<u64>(size - *done, hostLimit));
    const ssize_t moved = transfer(*done, part, file->position);
    if (moved < 0) {
      if (errno == EINTR || (errno == EINVAL && DropUnbuffered(file))) continue;
      return CodeOfHostError(errno);
    }
    if (moved == 0) break;
    *done += static_cast<DWORD>(moved);
    file->position += moved;
  }
  return 0;
}

}  // namespace

int kxw::DescriptorOf(FileHandle handle) {
  const OpenFile* file = FileOf(handle);
  return file ? file->descriptor : -1;
}

int kxw::RenameReplacing(int fromFolder, const char* from, int toFolder, const char* to) {
  if (const int error = HostErrorAt(FaultPoint::kRename)) return error;
  return renameat(fromFolder, from, toFolder, to) == 0 ? 0 : errno;
}

int kxw::RenameWithoutReplacing(int fromFolder, const char* from, int toFolder, const char* to) {
  if (const int error = HostErrorAt(FaultPoint::kRename)) return error;
#ifdef RENAME_NOREPLACE
  if (renameat2(fromFolder, from, toFolder, to, RENAME_NOREPLACE) == 0) return 0;
  if (errno != EINVAL && errno != ENOSYS) return errno;
#endif
  // A file system that cannot refuse to replace: look first.
  struct stat status;
  if (fstatat(toFolder, to, &status, AT_SYMLINK_NOFOLLOW) == 0) return EEXIST;
  return renameat(fromFolder, from, toFolder, to) == 0 ? 0 : errno;
}

int kxw::RenameWithoutReplacing(const char* from, const char* to) {
  return RenameWithoutReplacing(AT_FDCWD, from, AT_FDCWD, to);
}

int qmOpenFile(const char* path, DWORD /*creator*/, DWORD /*type*/, DWORD access, DWORD /*share*/,
               DWORD disposition, DWORD flags, kxw::FileHandle* file) {
  if (!file) return Report(kxw::kErrorInvalidParameter);
  *file = kxw::kNoFile;
  if (const Fault fault = FaultAt(FaultPoint::kOpen); fault.code) return Report(fault.code);

  const bool readable = access & kxw::kFileRead;
  const bool writable = access & kxw::kFileWrite;
  int hostFlags = FlagsOfDisposition(disposition);
  if (hostFlags < 0 || (!readable && !writable)) return Report(kxw::kErrorInvalidParameter);
  if (hostFlags & O_TRUNC && !writable) {
    // The host leaves open what emptying a file without the right to write does.
    if (disposition == kxw::kTruncateExisting) return Report(kxw::kErrorInvalidParameter);
    hostFlags |= O_RDWR;
  } else {
    hostFlags |= writable ? (readable ? O_RDWR : O_WRONLY) : O_RDONLY;
  }

  const std::string hostPath = kxw::HostPath(path);
  if (hostPath.empty()) return Report(kxw::kErrorPathNotFound);
  bool unbuffered = flags & kxw::kFileNoBuffering;
  const bool temporary = flags & kxw::kFileTemporary;
  if (temporary) hostFlags |= O_NOFOLLOW;
  // A pipe without a partner would let the opening wait.
  const int descriptor = OpenOnHost(hostPath.c_str(), hostFlags | O_CLOEXEC | O_NOCTTY | O_NONBLOCK,
                                    temporary ? kTemporaryFileMode : kNewFileMode, &unbuffered);
  if (descriptor < 0) return Report(CodeOfHostError(errno));

  struct stat status;
  if (fstat(descriptor, &status) == 0 && (S_ISDIR(status.st_mode) || S_ISFIFO(status.st_mode))) {
    close(descriptor);
    return Report(S_ISDIR(status.st_mode) ? kxw::kErrorAccessDenied : kxw::kErrorNotSupported);
  }

  auto* opened = new (std::nothrow) OpenFile{descriptor, 0, readable, writable, unbuffered, {}, 0};
  if (!opened) {
    close(descriptor);
    return Report(kxw::kErrorNotEnoughMemory);
  }
  if (flags & kxw::kFileDeleteOnClose) {
    opened->deletedPath = hostPath;
    opened->deleter = kxw::ForkGeneration();
    // The sign of being in use. It is refused only while somebody removes the name, or by a file
    // system without locks; the file serves on without one.
    LockOnHost(descriptor, LOCK_SH);
  }
  *file = reinterpret_cast<kxw::FileHandle>(opened);
  return Report(0);
}

int qmCloseFile(kxw::FileHandle handle) {
  OpenFile* file = FileOf(handle);
  if (!file) return Report(kxw::kErrorInvalidHandle);
  kxw::NoticeFork();
  if (!file->deletedPath.empty() && file->deleter == kxw::ForkGeneration() &&
      IsNameOf(file->deletedPath.c_str(), file->descriptor)) {
    unlink(file->deletedPath.c_str());
  }
  // Never repeated: the descriptor is gone even when the host says that it was interrupted.
  const int result = close(file->descriptor);
  const int code = result == 0 || errno == EINTR ? 0 : CodeOfHostError(errno);
  delete file;
  return Report(code);
}

int qmReadFile(kxw::FileHandle handle, void* data, DWORD size, DWORD* done) {
  if (done) *done = 0;
  OpenFile* file = FileOf(handle);
  if (!file) return Report(kxw::kErrorInvalidHandle);
  if (!file->readable) return Report(kxw::kErrorAccessDenied);
  if (!data && size > 0) return Report(kxw::kErrorInvalidParameter);
  const Fault fault = FaultAt(FaultPoint::kRead);
  if (fault.code) return Report(fault.code);
  if (fault.endsEarly) size = static_cast<DWORD>(std::min<u64>(size, fault.bytes));

  DWORD moved = 0;
  const int code = TransferAll(
      file, size, fault.hostBytes, &moved, [&](DWORD at, std::size_t part, i64 position) {
        return pread(file->descriptor, static_cast<BYTE*>(data) + at, part, position);
      });
  if (done) *done = moved;
  return Report(code);
}

int qmWriteFile(kxw::FileHandle handle, const void* data, DWORD size, DWORD* done) {
  if (done) *done = 0;
  OpenFile* file = FileOf(handle);
  if (!file) return Report(kxw::kErrorInvalidHandle);
  if (!file->writable) return Report(kxw::kErrorAccessDenied);
  if (!data && size > 0) return Report(kxw::kErrorInvalidParameter);
  const Fault fault = FaultAt(FaultPoint::kWrite);
  if (fault.code || fault.action) size = static_cast<DWORD>(std::min<u64>(size, fault.bytes));

  DWORD moved = 0;
  int code = TransferAll(
      file, size, fault.hostBytes, &moved, [&](DWORD at, std::size_t part, i64 position) {
        return pwrite(file->descriptor, static_cast<const BYTE*>(data) + at, part, position);
      });
  if (code == 0 && moved < size) code = kxw::kErrorWriteFault;
  if (fault.action) (*fault.action)();
  if (code == 0) code = fault.code;
  if (done) *done = moved;
  return Report(code);
}

int qmSeekFile(kxw::FileHandle handle, i64 offset, DWORD origin) {
  OpenFile* file = FileOf(handle);
  if (!file) return Report(kxw::kErrorInvalidHandle);
  if (const Fault fault = FaultAt(FaultPoint::kSeek); fault.code) return Report(fault.code);
  i64 base = 0;
  if (origin == kxw::kFromCurrent) {
    base = file->position;
  } else if (origin == kxw::kFromEnd) {
    base = qmGetFileSize(handle);
    if (base < 0) return qmGetLastError();
  } else if (origin != kxw::kFromBegin) {
    return Report(kxw::kErrorInvalidParameter);
  }
  if (offset > std::numeric_limits<i64>::max() - base) return Report(kxw::kErrorInvalidParameter);
  if (base + offset < 0) return Report(kxw::kErrorNegativeSeek);
  file->position = base + offset;
  return Report(0);
}

i64 qmGetFilePointer(kxw::FileHandle handle) {
  const OpenFile* file = FileOf(handle);
  Report(file ? 0 : kxw::kErrorInvalidHandle);
  return file ? file->position : -1;
}

i64 qmGetFileSize(kxw::FileHandle handle) {
  const OpenFile* file = FileOf(handle);
  struct stat status;
  const bool known = file && fstat(file->descriptor, &status) == 0;
  Report(known ? 0 : file ? CodeOfHostError(errno) : kxw::kErrorInvalidHandle);
  return known ? status.st_size : -1;
}

int qmSetEndOfFile(kxw::FileHandle handle) {
  const OpenFile* file = FileOf(handle);
  if (!file) return Report(kxw::kErrorInvalidHandle);
  if (!file->writable) return Report(kxw::kErrorAccessDenied);
  if (const Fault fault = FaultAt(FaultPoint::kSetEnd); fault.code) return Report(fault.code);
  int result;
  do {
    result = ftruncate(file->descriptor, file->position);
  } while (result != 0 && errno == EINTR);
  return ReportHost(result == 0);
}

int qmDeleteFile(const char* path) {
  const std::string hostPath = kxw::HostPath(path);
  if (hostPath.empty()) return Report(kxw::kErrorPathNotFound);
  return ReportHost(unlink(hostPath.c_str()) == 0);
}

int kxw::RemoveUnused(const char* path) {
  const std::string hostPath = HostPath(path);
  if (hostPath.empty()) return Report(kErrorPathNotFound);
  constexpr int kFlags = O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
  // Some file systems lock against others only what may be written.
  int file = open(hostPath.c_str(), O_RDWR | kFlags);
  if (file < 0 && (errno == EACCES || errno == EROFS)) file = open(hostPath.c_str(), kFlags);
  const bool isLinkOrSocket = file < 0 && (errno == ELOOP || errno == ENXIO);
  if (file < 0 && !isLinkOrSocket) return ReportHost(false);
  const int error = file < 0 ? 0 : LockOnHost(file, LOCK_EX);
  int code = kErrorSharingViolation;
  // Where locks do not exist nobody holds one; any other failure may hide somebody's.
  const bool isUnused = error == 0 || error == ENOSYS || error == EOPNOTSUPP;
  if (isUnused && (file < 0 || IsNameOf(hostPath.c_str(), file))) {
    code = unlink(hostPath.c_str()) == 0 ? 0 : CodeOfHostError(errno);
  }
  if (file >= 0) close(file);
  return Report(code);
}

int qmChangeFileName(const char* from, const char* to) {
  const std::string hostFrom = kxw::HostPath(from);
  const std::string hostTo = kxw::HostPath(to);
  if (hostFrom.empty() || hostTo.empty()) return Report(kxw::kErrorPathNotFound);
  const int error = kxw::RenameWithoutReplacing(hostFrom.c_str(), hostTo.c_str());
  return Report(error == EEXIST ? kxw::kErrorAlreadyExists : CodeOfHostError(error));
}

int qmCreateFolder(const char* path) {
  const std::string hostPath = kxw::HostPath(path);
  if (hostPath.empty()) return Report(kxw::kErrorPathNotFound);
  if (mkdir(hostPath.c_str(), kNewFolderMode) == 0) return Report(0);
  if (errno == ENOENT) return Report(kxw::kErrorPathNotFound);  // of an element on the way
  if (errno == EEXIST) return Report(kxw::kErrorAlreadyExists);
  return Report(CodeOfHostError(errno));
}
