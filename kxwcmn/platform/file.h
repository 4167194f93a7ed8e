#pragma once

#include <cstdint>

#include "kxwcmn/platform/export.h"
#include "kxwcmn/platform/types.h"

namespace kxw {

/// An open file of the platform; `kNoFile` when there is none.
using FileHandle = std::intptr_t;
inline constexpr FileHandle kNoFile = -1;

/// Access, disposition and flags of `qmOpenFile`, with the platform's own values.
enum FileAccess : DWORD { kFileRead = 0x80000000, kFileWrite = 0x40000000 };
enum FileShare : int { kShareNone = 0, kShareRead = 1, kShareWrite = 2 };
enum FileDisposition : int {
  kCreateNew = 1,
  kCreateAlways = 2,
  kOpenExisting = 3,
  kOpenAlways = 4,
  kTruncateExisting = 5
};
enum FileFlags : DWORD {
  kFileTemporary = 0x00000100,
  kFileDeleteOnClose = 0x04000000,
  kFileNoBuffering = 0x20000000,
};
enum FileOrigin : DWORD { kFromBegin = 0, kFromCurrent = 1, kFromEnd = 2 };

/// File attributes, with the platform's own values.
enum FileAttribute : DWORD {
  kAttributeReadOnly = 0x01,
  kAttributeHidden = 0x02,
  kAttributeFolder = 0x10,
  kAttributeNormal = 0x80,
};

}  // namespace kxw

// Paths are multi-byte text with the backslash as delimiter; a slash is accepted too. Every
// operation that returns a code returns 0 on success and the platform's code on failure, and stores
// it as last error as well.

/// Opens or creates a file. `creator` and `type` are four-character codes that this host has no use
/// for. `kFileNoBuffering` is dropped silently where the file system refuses it. What is made with
/// `kFileTemporary` is for this user alone, and a link in its place is refused. A file opened with
/// `kFileDeleteOnClose` stays visible while it is open, is in use for `RemoveUnused`, and is
/// removed when the process that opened it closes it; a forked child that closes it leaves it
/// alone.
KX_EXPORT int qmOpenFile(const char* path, DWORD creator, DWORD type, DWORD access, DWORD share,
                         DWORD disposition, DWORD flags, kxw::FileHandle* file);
KX_EXPORT int qmCloseFile(kxw::FileHandle file);

/// Reads or writes up to `size` bytes at the file's position and moves it. `*done` (may be null)
/// becomes the bytes moved; a read at the end of the file succeeds with less than `size`. A write
/// that the host cuts short is continued until it is complete or fails.
KX_EXPORT int qmReadFile(kxw::FileHandle file, void* data, DWORD size, DWORD* done);
KX_EXPORT int qmWriteFile(kxw::FileHandle file, const void* data, DWORD size, DWORD* done);

KX_EXPORT int qmSeekFile(kxw::FileHandle file, i64 offset, DWORD origin);
/// Position and length in bytes; -1 on failure, with the last error set. Success clears it.
KX_EXPORT i64 qmGetFilePointer(kxw::FileHandle file);
KX_EXPORT i64 qmGetFileSize(kxw::FileHandle file);
/// Cuts or extends the file at its position.
KX_EXPORT int qmSetEndOfFile(kxw::FileHandle file);

KX_EXPORT int qmDeleteFile(const char* path);
KX_EXPORT int qmChangeFileName(const char* from, const char* to);
KX_EXPORT int qmCreateFolder(const char* path);
