#pragma once

#include "kxwcmn/platform/export.h"
#include "kxwcmn/platform/types.h"

/// The platform's memory report, 64 bytes.
struct _MEMORYSTATUSEX {
  DWORD dwLength;
  DWORD dwMemoryLoad;  // percent of the physical memory in use
  u64 ullTotalPhys;    // bytes, likewise below
  u64 ullAvailPhys;
  u64 ullTotalPageFile;  // physical memory and the host's swap space together
  u64 ullAvailPageFile;
  u64 ullTotalVirtual;  // the process's address space
  u64 ullAvailVirtual;
  u64 ullAvailExtendedVirtual;  // always 0
};

/// Fills the memory report; null does nothing. A control group's limit counts as the machine's
/// memory when it is below it. What the host does not tell is 0.
KX_EXPORT void kxwGlobalMemoryStatus(_MEMORYSTATUSEX* status);

namespace kxw {

/// The host's page size in bytes.
DWORD PageSize();

/// How many forks lie between this process and the one that loaded the library: what was made in
/// another generation belongs to an ancestor. A number of the host tells less, for two processes
/// may have the same one in different name spaces.
unsigned ForkGeneration();

/// How many forks this process has begun, and its line before it. While that has not changed,
/// nobody else has got hold of what it opened.
unsigned ForksBegun();

/// Counts a fork of which the host has not told, such as one by a bare system call, if this process
/// comes from one. To be called before a file is written to, cut or removed.
void NoticeFork();

/// Milliseconds since some moment; they wrap after 49 days and never go back otherwise.
DWORD MillisecondClock();

}  // namespace kxw
