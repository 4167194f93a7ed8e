#pragma once

#include <string>

#include "kxwcmn/platform/export.h"
#include "kxwcmn/platform/types.h"

/// The platform's memory report, 64 bytes.
struct _MEMORYSTATUSEX {
  DWORD dwLength;
  DWORD dwMemoryLoad;  // percent of the physical memory in use
  u64 ullTotalPhys;    // bytes, likewise below
  u64 ullAvailPhys;
  u64 ullTotalPageFile;
  u64 ullAvailPageFile;
  u64 ullTotalVirtual;
  u64 ullAvailVirtual;
  u64 ullAvailExtendedVirtual;
};

/// Fills the memory report. A control group's limit counts as the machine's memory when it is below
/// it.
KX_EXPORT void kxwGlobalMemoryStatus(_MEMORYSTATUSEX* status);

namespace kxw {

/// The host's page size in bytes.
DWORD PageSize();

}  // namespace kxw
