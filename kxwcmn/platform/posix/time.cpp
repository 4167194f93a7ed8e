#include "kxwcmn/platform/time.h"

namespace kxw {

namespace {

constexpr UINT kPeriodNotPossible = 97;

UINT CheckPeriod(UINT milliseconds) { return milliseconds == 0 ? kPeriodNotPossible : 0; }

}  // namespace

i64 CurrentTime() { return std::time(nullptr); }

bool ToLocalTime(i64 seconds, std::tm* parts) {
  const std::time_t time = seconds;
  std::tm result{};
  tzset();  // the application may have changed the zone
  if (!localtime_r(&time, &result)) return false;
  *parts = result;
  return true;
}

bool ToUtcTime(i64 seconds, std::tm* parts) {
  const std::time_t time = seconds;
  std::tm result{};
  if (!gmtime_r(&time, &result)) return false;
  *parts = result;
  return true;
}

i64 FromLocalTime(const std::tm& parts) {
  std::tm normalised = parts;
  return std::mktime(&normalised);
}

UINT BeginTimerPeriod(UINT milliseconds) { return CheckPeriod(milliseconds); }

UINT EndTimerPeriod(UINT milliseconds) { return CheckPeriod(milliseconds); }

}  // namespace kxw
