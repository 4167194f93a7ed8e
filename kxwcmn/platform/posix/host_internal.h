#pragma once

#include "kxwcmn/platform/detail/faults.h"

// What the sources of this host share.

namespace kxw {

/// The platform's code for a value of errno; 0 for 0. The one table.
int CodeOfHostError(int hostError);

/// A value of errno with that code; 0 for 0.
int HostErrorOfCode(int code);

/// What is to fail at `point`, as errno; 0 if nothing is.
inline int HostErrorAt(detail::FaultPoint point) {
  return HostErrorOfCode(detail::FaultAt(point).code);
}

/// Stores `code` as last error and returns it.
int Report(int code);

/// Reports success, or the platform's code for errno.
int ReportHost(bool success);

}  // namespace kxw
