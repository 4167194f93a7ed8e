#include "kxwcmn/platform/detail/faults.h"

#include <utility>

namespace kxw::detail {

std::atomic<ScopedFaults*> activeFaults = nullptr;

ScopedFaults::ScopedFaults() : outer_(activeFaults.exchange(this)) {}

ScopedFaults::~ScopedFaults() { activeFaults = outer_; }

void ScopedFaults::Fail(FaultPoint point, int nth, int code, int times, u64 bytes) {
  const std::lock_guard guard(mutex_);
  Plan& plan = PlanOf(point);
  plan.first = plan.passed + nth;
  plan.last = plan.first + times - 1;
  plan.fault = {};
  plan.fault.code = code;
  plan.fault.bytes = bytes;
}

void ScopedFaults::EndReadEarly(int nth, u64 bytes) {
  const std::lock_guard guard(mutex_);
  Plan& plan = PlanOf(FaultPoint::kRead);
  plan.first = plan.last = plan.passed + nth;
  plan.fault = {};
  plan.fault.bytes = bytes;
  plan.fault.endsEarly = true;
}

void ScopedFaults::Act(FaultPoint point, int nth, std::function<void()> action, u64 bytes) {
  const std::lock_guard guard(mutex_);
  Plan& plan = PlanOf(point);
  plan.first = plan.last = plan.passed + nth;
  plan.action = std::move(action);
  plan.fault = {};
  plan.fault.bytes = bytes;
  plan.fault.action = &plan.action;
}

void ScopedFaults::LimitHostCalls(u64 bytes) {
  const std::lock_guard guard(mutex_);
  hostBytes_ = bytes;
}

void ScopedFaults::LimitDiskFree(u64 bytes) {
  const std::lock_guard guard(mutex_);
  diskFree_ = bytes;
}

int ScopedFaults::Count(FaultPoint point) const {
  const std::lock_guard guard(mutex_);
  return plans_[static_cast<int>(point)].passed;
}

Fault FaultAtSlow(FaultPoint point) {
  ScopedFaults* faults = activeFaults;
  if (!faults) return {};
  Fault fault;
  {
    const std::lock_guard guard(faults->mutex_);
    ScopedFaults::Plan& plan = faults->PlanOf(point);
    const int number = ++plan.passed;
    if (number >= plan.first && number <= plan.last) fault = plan.fault;
    fault.hostBytes = faults->hostBytes_;
    fault.diskFree = faults->diskFree_;
  }
  if (fault.action && point != FaultPoint::kWrite) (*fault.action)();
  return fault;
}

}  // namespace kxw::detail
