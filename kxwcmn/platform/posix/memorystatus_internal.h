#pragma once

#include <string>

#include "kxwcmn/platform/types.h"

namespace kxw {

/// Memory in bytes.
struct MemoryAmount {
  u64 total = 0;
  u64 available = 0;
};

/// The machine's physical memory and swap space, from the host's table (`/proc/meminfo`).
struct MachineMemory {
  MemoryAmount physical, swap;
};
MachineMemory ReadMachineMemory(const std::string& table);

/// Lowers `memory` to what the control groups of the process leave it. `membership` is the list of
/// its groups (`/proc/self/cgroup`), `root` the folder where groups are found (`/sys/fs/cgroup`).
/// Limits of every level up to the root hold; both generations of groups are understood.
void ApplyGroupLimits(const std::string& membership, const std::string& root, MemoryAmount* memory);

}  // namespace kxw
