#include "kxwcmn/core/time.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "kxwcmn/core/exception.h"
#include "kxwcmn/core/time_internal.h"
#include "tests/support/failure.h"
#include "tests/support/variable.h"

namespace {

std::string Formatted(const KXTime& time, int format) {
  char text[64] = "";
  return std::to_string(time.FormatTime(text, sizeof text, format)) + " " + text;
}

std::string Parts(const std::tm& time) {
  char text[64];
  std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S %w %j", &time);
  return text;
}

TEST(Time, ExpandsLocallyAndInUtc) {
  const ScopedVariable zone("TZ", "JST-9");
  KXTime time;
  EXPECT_FALSE(time.IsValid());
  time = 951782400;  // 2000-02-29
  std::tm utc;
  time.GetUTCTime(utc);
  EXPECT_EQ(Parts(utc), "2000-02-29 00:00:00 2 060");
  EXPECT_EQ(Parts(time), "2000-02-29 09:00:00 2 060");
  const _SYSTEMTIME parts = time;
  KXTime same;
  same = parts;
  EXPECT_TRUE(same == time && same == 951782400 && same != -1);
  unsigned short year = 0, hour = 0;
  KXTime::GetTimeElements(time, &year, nullptr, nullptr, nullptr, &hour, nullptr, nullptr);
  EXPECT_EQ(year * 100 + hour, 200009);
  {
    const ScopedVariable other("TZ", "XST8");
    EXPECT_EQ(Parts(KXTime(time)), "2000-02-28 16:00:00 1 059");  // expanded anew
  }
  EXPECT_EQ(Formatted(time, 0), "8 09:00:00");
  EXPECT_EQ(Formatted(time, 1), "8 00/02/29");
  EXPECT_EQ(Formatted(time, 4), "19 2000/02/29 09:00:00");
  EXPECT_EQ(Formatted(time, 5), "0 ");
  char small[8] = "old";
  EXPECT_EQ(time.FormatTime(small, sizeof small, 1) + small[0], 0);
  KXString text;
  KXTime::GetTimeFormatedString(time, text);
  EXPECT_STREQ(text, "2000/02/29 09:00:00");
}

TEST(Time, WhatIsNoTimeClears) {
  KXTime time;
  for (const long outside : {1L << 31, -(1L << 31) - 1}) {
    time = 5;
    EXPECT_EQ(CodeOf([&] { time = outside; }), kxw::kFailureNoTime);
    EXPECT_FALSE(time.IsValid());
  }
  time = -(1L << 31);  // 1901
  EXPECT_EQ(static_cast<_SYSTEMTIME>(time).wYear, 1901);
  std::tm late{};
  late.tm_year = 200;
  EXPECT_EQ(CodeOf([&] { time = late; }), kxw::kFailureNoTime);
  EXPECT_EQ(Parts(time), Parts(std::tm{}));
  EXPECT_FALSE(time.IsValid());
  time.GetTime();
  EXPECT_GT(static_cast<long>(time), 1700000000);
  time = KXTime();
  EXPECT_EQ(Parts(time), Parts(std::tm{}));
  EXPECT_EQ(CodeOf([&] { time = _SYSTEMTIME{2000, 13, 0, 1, 0, 0, 0, 0}; }), kxw::kFailureNoTime);
}

TEST(Time, LeapYearsCountInDaysOfTheYear) {
  const auto dayOfMarch = [](WORD year) {
    std::tm parts{};
    EXPECT_TRUE(kxw::PartsOf({year, 3, 0, 1, 0, 0, 0, 0}, &parts));
    return parts.tm_yday;
  };
  EXPECT_EQ(dayOfMarch(2000), 60);
  EXPECT_EQ(dayOfMarch(1900), 59);
  EXPECT_EQ(dayOfMarch(2024), 60);
  EXPECT_EQ(dayOfMarch(2023), 59);
}

TEST(Time, TheStopwatchWraps) {
  const unsigned int start = KXTime::StartElapsedTime();
  EXPECT_LT(KXTime::GetElapsedTime(start), 60000u);
  EXPECT_GT(KXTime::GetElapsedTime(start + 100000), 0xFFFE0000u);
  unsigned int stored = 0;
  KXTime::SetElapsedTime(stored, 0x500000007u);
  EXPECT_EQ(stored, 7u);
  EXPECT_TRUE(KXTime::IsZeroElapsedTime(0) && !KXTime::IsZeroElapsedTime(1));
  EXPECT_EQ(KXTime::BeginTimePeriod(1) + KXTime::EndTimePeriod(1), 0u);
  EXPECT_NE(KXTime::BeginTimePeriod(0), 0u);
}

}  // namespace
