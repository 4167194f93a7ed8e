#pragma once

#include <ctime>

#include "kxwcmn/platform/time.h"

namespace kxw {

/// The parts of a local time as the runtime has them, the day of the year (0 is the first)
/// included. False if the month is not from 1 to 12.
bool PartsOf(const _SYSTEMTIME& time, std::tm* parts);

}  // namespace kxw
