#include "kxwcmn/core/time.h"

#include <limits>

#include "kxwcmn/core/exception.h"
#include "kxwcmn/core/time_internal.h"
#include "kxwcmn/platform/system.h"

namespace kxw {

bool PartsOf(const _SYSTEMTIME& time, std::tm* parts) {
  if (time.wMonth < 1 || time.wMonth > 12) return false;
  const int year = time.wYear;
  const bool isLeap = year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
  const int lengths[] = {31, isLeap ? 29 : 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  *parts = {};
  parts->tm_year = year - 1900;
  parts->tm_mon = time.wMonth - 1;
  parts->tm_mday = time.wDay;
  parts->tm_wday = time.wDayOfWeek;
  parts->tm_hour = time.wHour;
  parts->tm_min = time.wMinute;
  parts->tm_sec = time.wSecond;
  parts->tm_yday = time.wDay - 1;
  for (int month = 0; month < parts->tm_mon; ++month) parts->tm_yday += lengths[month];
  parts->tm_isdst = -1;
  return true;
}

}  // namespace kxw

KXTime::~KXTime() = default;

KXTime& KXTime::operator=(const KXTime& other) { return *this = static_cast<long>(other.seconds_); }

KXTime& KXTime::operator=(const long& seconds) {
  if (seconds == kInvalid) {
    Clear();
  } else {
    SetSeconds(seconds);
  }
  return *this;
}

KXTime& KXTime::operator=(const _SYSTEMTIME& local) {
  std::tm parts{};
  if (!kxw::PartsOf(local, &parts)) {
    Clear();
    kxThrowError(kxw::kFailureNoTime);
  }
  MakeTime(parts);
  return *this;
}

KXTime::operator _SYSTEMTIME() const {
  const auto word = [](int value) { return static_cast<WORD>(value); };
  return {word(local_.tm_year + 1900), word(local_.tm_mon + 1),
          word(local_.tm_wday),        word(local_.tm_mday),
          word(local_.tm_hour),        word(local_.tm_min),
          word(local_.tm_sec),         0};
}

/// Takes seconds and expands them; what is no time fails.
void KXTime::SetSeconds(i64 seconds) {
  const bool fits =
      seconds >= std::numeric_limits<LONG>::min() && seconds <= std::numeric_limits<LONG>::max();
  seconds_ = fits ? static_cast<LONG>(seconds) : kInvalid;
  if (GetUTCTime2() && GetLocalTime()) return;
  Clear();
  kxThrowError(kxw::kFailureNoTime);
}

void KXTime::Clear() {
  seconds_ = kInvalid;
  local_ = {};
  utc_ = {};
}

void KXTime::GetTime() { SetSeconds(kxw::CurrentTime()); }

void KXTime::MakeTime(const std::tm& local) { SetSeconds(kxw::FromLocalTime(local)); }

int KXTime::GetUTCTime2() { return IsValid() && kxw::ToUtcTime(seconds_, &utc_); }

int KXTime::GetLocalTime() { return IsValid() && kxw::ToLocalTime(seconds_, &local_); }

int KXTime::FormatTime(char* out, int size, int format) const {
  return FormatTime(out, size, local_, format);
}

int KXTime::FormatTime(char* out, int size, const std::tm& time, int format) const {
  static constexpr const char* kFormats[] = {"%X", "%y/%m/%d", "%Y/%m/%d", "%y/%m/%d %X",
                                             "%Y/%m/%d %X"};
  if (!out || size <= 0 || format < 0 || format > 4) return 0;
  const std::size_t length =
      std::strftime(out, static_cast<std::size_t>(size), kFormats[format], &time);
  if (length == 0) out[0] = 0;  // the runtime leaves anything there
  return static_cast<int>(length);
}

void KXTime::GetTimeElements(KXTime& time, unsigned short* year, unsigned short* month,
                             unsigned short* dayOfWeek, unsigned short* day, unsigned short* hour,
                             unsigned short* minute, unsigned short* second) {
  const _SYSTEMTIME parts = time;
  if (year) *year = parts.wYear;
  if (month) *month = parts.wMonth;
  if (dayOfWeek) *dayOfWeek = parts.wDayOfWeek;
  if (day) *day = parts.wDay;
  if (hour) *hour = parts.wHour;
  if (minute) *minute = parts.wMinute;
  if (second) *second = parts.wSecond;
}

void KXTime::GetTimeFormatedString(KXTime& time, KXString& text) {
  char buffer[256];
  text = time.FormatTime(buffer, sizeof buffer, 4) > 0 ? buffer : "";
}

unsigned int KXTime::StartElapsedTime() { return kxw::MillisecondClock(); }

unsigned int KXTime::GetElapsedTime(unsigned int start) { return kxw::MillisecondClock() - start; }

unsigned int KXTime::BeginTimePeriod(unsigned int milliseconds) {
  return kxw::BeginTimerPeriod(milliseconds);
}

unsigned int KXTime::EndTimePeriod(unsigned int milliseconds) {
  return kxw::EndTimerPeriod(milliseconds);
}
