#pragma once

#include <atomic>
#include <functional>
#include <limits>
#include <mutex>

#include "kxwcmn/platform/types.h"

// Failures on demand, for tests: what a full disk, a broken file or exhausted memory would do at a
// chosen moment. The platform asks FaultAt at the start of every operation named in FaultPoint;
// while no test holds a ScopedFaults this is one relaxed load.

namespace kxw::detail {

/// The operations that can be made to fail. Each call of the platform counts once, whatever number
/// of host calls it takes.
enum class FaultPoint {
  kAlloc,  // a block made, or one that grows
  kOpen,
  kRead,
  kWrite,
  kSeek,
  kSetEnd,
  kRename,
  kLock,
  kSync,      // a file or folder brought to the disk
  kDiskFree,  // a query of a disk's sizes
  kCount
};

/// What happens to one operation.
struct Fault {
  int code = 0;                                     // fails with this code, 0: succeeds
  u64 bytes = 0;                                    // a read or write moves these first
  u64 hostBytes = std::numeric_limits<u64>::max();  // at most these in one host call
  u64 diskFree = std::numeric_limits<u64>::max();   // at most these are free on a disk
  bool endsEarly = false;                           // a read stops behind `bytes` without failure
  const std::function<void()>* action = nullptr;    // called behind `bytes`; it may not return
};

/// Injects failures in the whole process while it lives. Of several, the latest one counts.
///
///     ScopedFaults faults;
///     faults.Fail(FaultPoint::kWrite, 3, kErrorDiskFull);  // the third write from here on
class ScopedFaults {
 public:
  ScopedFaults();
  ~ScopedFaults();
  ScopedFaults(const ScopedFaults&) = delete;
  ScopedFaults& operator=(const ScopedFaults&) = delete;

  /// Lets operation `nth` (1 is the next one) at `point` fail with `code`, and the `times` - 1
  /// operations behind it. A write moves `bytes` bytes before it fails. Replaces what was set for
  /// the point before.
  void Fail(FaultPoint point, int nth, int code, int times = 1, u64 bytes = 0);

  /// Lets read `nth` end after `bytes` bytes, as if the file ended there.
  void EndReadEarly(int nth, u64 bytes);

  /// Calls `action` when operation `nth` at `point` starts; a write moves `bytes` bytes before
  /// that. If the action returns, the operation succeeds with these.
  void Act(FaultPoint point, int nth, std::function<void()> action, u64 bytes = 0);

  /// Lets every host call of a read or write move at most `bytes` (above 0) bytes.
  void LimitHostCalls(u64 bytes);

  /// Lets every disk have at most `bytes` bytes free.
  void LimitDiskFree(u64 bytes);

  /// How often `point` was passed since this object was made.
  int Count(FaultPoint point) const;

 private:
  friend Fault FaultAtSlow(FaultPoint point);

  struct Plan {
    int passed = 0;
    int first = 0, last = -1;  // by number of passing
    Fault fault;
    std::function<void()> action;
  };

  Plan& PlanOf(FaultPoint point) { return plans_[static_cast<int>(point)]; }

  mutable std::mutex mutex_;
  Plan plans_[static_cast<int>(FaultPoint::kCount)];
  u64 hostBytes_ = std::numeric_limits<u64>::max();
  u64 diskFree_ = std::numeric_limits<u64>::max();
  ScopedFaults* outer_;
};

extern std::atomic<ScopedFaults*> activeFaults;

Fault FaultAtSlow(FaultPoint point);

/// What is to happen to the operation that starts now.
inline Fault FaultAt(FaultPoint point) {
  if (activeFaults.load(std::memory_order_relaxed)) [[unlikely]]
    return FaultAtSlow(point);
  return {};
}

}  // namespace kxw::detail
