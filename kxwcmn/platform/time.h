#pragma once

#include <ctime>

#include "kxwcmn/platform/export.h"
#include "kxwcmn/platform/types.h"

/// A moment in parts, local time unless told otherwise. The day of the week is 0 for Sunday.
struct _SYSTEMTIME {
  WORD wYear, wMonth, wDayOfWeek, wDay, wHour, wMinute, wSecond, wMilliseconds;
};

namespace kxw {

/// Seconds since the beginning of 1970, UTC.
i64 CurrentTime();

/// Expand seconds into the parts of a date. False, with `*parts` untouched, for years that the host
/// cannot hold.
bool ToLocalTime(i64 seconds, std::tm* parts);
bool ToUtcTime(i64 seconds, std::tm* parts);

/// The seconds of a local time, whose parts may lie outside their ranges; -1 if the host has none.
/// A negative `tm_isdst` leaves it to the host whether summer time applies.
i64 FromLocalTime(const std::tm& parts);

/// Ask for a timer resolution in milliseconds, and give it up. Return 0, or 97 for a period that
/// the host cannot meet. This host's clock and sleeps are finer than a millisecond at all times.
UINT BeginTimerPeriod(UINT milliseconds);
UINT EndTimerPeriod(UINT milliseconds);

}  // namespace kxw
