#pragma once

#include <concepts>
#include <ctime>
#include <utility>

#include "kxwcmn/core/string.h"
#include "kxwcmn/platform/export.h"
#include "kxwcmn/platform/time.h"
#include "kxwcmn/platform/types.h"

class KXArchive;

/// A calendar time: seconds since the beginning of 1970, UTC, in 32 signed bits, with their local
/// and their UTC expansion beside them. -1 second means an invalid time, whose expansions are zero.
///
/// Where no time results, or one that 32 bits do not hold, KXException with code 0x20010009 is
/// raised and the object is cleared.
class KX_EXPORT KXTime {
 public:
  KXTime() = default;
  KXTime(const KXTime& other) { *this = other; }
  virtual ~KXTime();

  /// Copies and assignments expand anew, in the zone that is set now.
  KXTime& operator=(const KXTime& other);
  KXTime& operator=(const long& seconds);
  /// From a local time; the second form leaves summer time to the host.
  KXTime& operator=(const std::tm& local) {
    MakeTime(local);
    return *this;
  }
  KXTime& operator=(const _SYSTEMTIME& local);

  /// These compare the seconds.
  bool operator==(const KXTime& other) const { return seconds_ == other.seconds_; }
  template <std::integral Seconds>
  bool operator==(const Seconds& seconds) const {
    return std::cmp_equal(seconds_, seconds);
  }

  operator long() const { return seconds_; }
  /// The local time.
  operator std::tm() const { return local_; }
  operator _SYSTEMTIME() const;

  bool IsValid() const { return seconds_ != kInvalid; }
  void Clear();

  /// Takes the current time.
  void GetTime();
  /// Takes a local time, whose parts may lie outside their ranges.
  void MakeTime(const std::tm& local);
  void GetUTCTime(std::tm& utc) const { utc = utc_; }

  /// Print the local time, or `time`, into a buffer of `size` bytes. By number: 0 the time of day,
  /// 1 "yy/mm/dd", 2 "yyyy/mm/dd", 3 and 4 these with the time of day. Return the length in bytes;
  /// 0 for another number, or with an empty text where it does not fit.
  int FormatTime(char* out, int size, int format) const;
  int FormatTime(char* out, int size, const std::tm& time, int format) const;

  /// The parts of the local time; any pointer may be null.
  static void GetTimeElements(KXTime& time, unsigned short* year, unsigned short* month,
                              unsigned short* dayOfWeek, unsigned short* day, unsigned short* hour,
                              unsigned short* minute, unsigned short* second);
  /// Date and time of day for display, in local time.
  static void GetTimeFormatedString(KXTime& time, KXString& text);

  /// A stopwatch in milliseconds: the start to keep, and the time since then, right for 49 days.
  static unsigned int StartElapsedTime();
  static unsigned int GetElapsedTime(unsigned int start);
  static int IsZeroElapsedTime(unsigned int time) { return time == 0; }
  /// Stores the low 32 bits.
  static void SetElapsedTime(unsigned int& out, u64 time) { out = static_cast<unsigned int>(time); }
  /// Ask for a timer resolution in milliseconds, and give it up; 0 on success.
  static unsigned int BeginTimePeriod(unsigned int milliseconds);
  static unsigned int EndTimePeriod(unsigned int milliseconds);

 protected:
  /// Refill an expansion from the seconds. Return 0, with the expansion as it was, for an invalid
  /// time or one that the host cannot expand.
  int GetUTCTime2();
  int GetLocalTime();

 private:
  static constexpr LONG kInvalid = -1;

  friend KXArchive& operator>>(KXArchive& archive, KXTime& time);

  void SetSeconds(i64 seconds);

  LONG seconds_ = kInvalid;
  std::tm local_{};
  std::tm utc_{};
};

/// Store and restore the seconds alone, in 4 bytes; the expansions are made anew. Written in room
/// persist.
KX_EXPORT KXArchive& operator<<(KXArchive& archive, const KXTime& time);
KX_EXPORT KXArchive& operator>>(KXArchive& archive, KXTime& time);
