#include <sys/statvfs.h>

#include <algorithm>
#include <cerrno>

#include "kxwcmn/platform/detail/faults.h"
#include "kxwcmn/platform/error.h"
#include "kxwcmn/platform/filesystem.h"
#include "kxwcmn/platform/posix/host_internal.h"

namespace kxw {

namespace {

/// The path with its last element cut off: "/" and "." are the ends.
std::string Above(const std::string& path) {
  const std::size_t end = path.find_last_not_of('/');
  const std::size_t delimiter = end == std::string::npos ? 0 : path.find_last_of('/', end);
  if (delimiter == std::string::npos) return ".";
  return delimiter == 0 ? "/" : path.substr(0, delimiter);
}

}  // namespace

int GetDiskFacts(const char* path, DiskFacts* facts) {
  const detail::Fault fault = detail::FaultAt(detail::FaultPoint::kDiskFree);
  if (fault.code) return Report(fault.code);
  std::string hostPath = HostPath(path);
  if (hostPath.empty()) return Report(kErrorPathNotFound);

  struct statvfs disk;
  while (statvfs(hostPath.c_str(), &disk) != 0) {
    if (errno == EINTR) continue;
    const bool isMissing = errno == ENOENT || errno == ENOTDIR;
    if (!isMissing || hostPath == "/" || hostPath == ".") return ReportHost(false);
    hostPath = Above(hostPath);
  }
  const u64 unit = disk.f_frsize ? disk.f_frsize : disk.f_bsize;
  // Block sizes of images are multiples of these two and of nothing larger.
  facts->sectorSize = unit >= 4096 ? 4096 : 512;
  facts->clusterSize = static_cast<DWORD>(std::max<u64>(unit, facts->sectorSize));
  facts->total = unit * disk.f_blocks;
  facts->free = std::min<u64>(unit * disk.f_bavail, fault.diskFree);
  return Report(0);
}

}  // namespace kxw
