#pragma once

// What the sources of this host share.

namespace kxw {

/// The platform's code for a value of errno; 0 for 0. The one table.
int CodeOfHostError(int hostError);

/// Stores `code` as last error and returns it.
int Report(int code);

/// Reports success, or the platform's code for errno.
int ReportHost(bool success);

}  // namespace kxw
