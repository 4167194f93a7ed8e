#include "kxwcmn/platform/posix/memorystatus_internal.h"

#include <sys/resource.h>

#include <algorithm>
#include <fstream>
#include <limits>
#include <sstream>

#include "kxwcmn/platform/system.h"

namespace kxw {

namespace {

/// The number in a file of its own; false for a missing file and for words ("max").
bool ReadNumber(const std::string& path, u64* number) {
  std::ifstream file(path);
  return static_cast<bool>(file >> *number);
}

/// The number behind `key` in a file of lines "key number unit"; 0 if there is none.
u64 ReadEntry(const std::string& path, const std::string& key) {
  std::ifstream file(path);
  std::string line;
  while (std::getline(file, line)) {
    std::istringstream words(line);
    std::string name;
    u64 number = 0;
    if (words >> name >> number && name == key) return number;
  }
  return 0;
}

/// The names that one generation of control groups gives its files.
struct GroupFiles {
  const char *limit, *usage, *inactiveFiles;
};
constexpr GroupFiles kFirstGeneration = {"memory.limit_in_bytes", "memory.usage_in_bytes",
                                         "total_inactive_file"};
constexpr GroupFiles kSecondGeneration = {"memory.max", "memory.current", "inactive_file"};

void ApplyGroup(const std::string& group, const GroupFiles& files, MemoryAmount* memory) {
  u64 limit = 0;
  if (!ReadNumber(group + '/' + files.limit, &limit)) return;
  memory->total = std::min(memory->total, limit);
  u64 usage = 0;
  ReadNumber(group + '/' + files.usage, &usage);
  // Cached files that nobody has looked at lately give way to a need for memory.
  usage -= std::min(usage, ReadEntry(group + "/memory.stat", files.inactiveFiles));
  memory->available = std::min(memory->available, limit - std::min(limit, usage));
}

/// Applies the group `path` (from the hierarchy's top, "/" for the top) and all above it.
void ApplyGroupsUpwards(const std::string& hierarchy, std::string path, const GroupFiles& files,
                        MemoryAmount* memory) {
  while (!path.empty()) {
    if (path != "/") ApplyGroup(hierarchy + path, files, memory);
    path.resize(path.find_last_of('/') == std::string::npos ? 0 : path.find_last_of('/'));
  }
  // In a container the top of what it sees is its own group.
  ApplyGroup(hierarchy, files, memory);
}

/// Whether a comma separated list has `word`.
bool Lists(const std::string& list, const std::string& word) {
  return (',' + list + ',').find(',' + word + ',') != std::string::npos;
}

}  // namespace

MachineMemory ReadMachineMemory(const std::string& table) {
  constexpr u64 kUnit = 1024;
  MachineMemory memory;
  memory.physical.total = ReadEntry(table, "MemTotal:") * kUnit;
  memory.physical.available = ReadEntry(table, "MemAvailable:") * kUnit;
  memory.swap.total = ReadEntry(table, "SwapTotal:") * kUnit;
  memory.swap.available = ReadEntry(table, "SwapFree:") * kUnit;
  return memory;
}

void ApplyGroupLimits(const std::string& membership, const std::string& root,
                      MemoryAmount* memory) {
  std::ifstream groups(membership);
  std::string line;
  while (std::getline(groups, line)) {  // number:controllers:path
    const std::size_t first = line.find(':');
    const std::size_t second = line.find(':', first + 1);
    if (first == std::string::npos || second == std::string::npos) continue;
    const std::string controllers = line.substr(first + 1, second - first - 1);
    const std::string path = line.substr(second + 1);
    if (controllers.empty()) {
      ApplyGroupsUpwards(root, path, kSecondGeneration, memory);
    } else if (Lists(controllers, "memory")) {
      ApplyGroupsUpwards(root + "/memory", path, kFirstGeneration, memory);
    }
  }
}

}  // namespace kxw

void kxwGlobalMemoryStatus(_MEMORYSTATUSEX* status) {
  if (!status) return;
  const kxw::MachineMemory machine = kxw::ReadMachineMemory("/proc/meminfo");
  kxw::MemoryAmount physical = machine.physical;
  kxw::ApplyGroupLimits("/proc/self/cgroup", "/sys/fs/cgroup", &physical);

  *status = {};
  status->dwLength = sizeof *status;
  status->ullTotalPhys = physical.total;
  status->ullAvailPhys = physical.available;
  if (physical.total > 0) {
    status->dwMemoryLoad =
        static_cast<DWORD>((physical.total - physical.available) * 100 / physical.total);
  }
  status->ullTotalPageFile = physical.total + machine.swap.total;
  status->ullAvailPageFile = physical.available + machine.swap.available;

  constexpr u64 kAddressSpace = u64{1} << 47;
  rlimit limit;
  status->ullTotalVirtual = kAddressSpace;
  if (getrlimit(RLIMIT_AS, &limit) == 0) {
    status->ullTotalVirtual = std::min<u64>(kAddressSpace, limit.rlim_cur);
  }
  u64 usedPages = 0;
  std::ifstream("/proc/self/statm") >> usedPages;
  const u64 used = usedPages * kxw::PageSize();
  status->ullAvailVirtual = status->ullTotalVirtual - std::min(status->ullTotalVirtual, used);
}
