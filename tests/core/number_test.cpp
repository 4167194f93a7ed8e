#include "kxwcmn/core/number.h"

#include <gtest/gtest.h>

#include <string>

#include "kxwcmn/core/string.h"

namespace {

std::string Read(const char* text) {
  _QMNUMBER read{-1, {'x', 'x', 'x', 'x'}};
  const int valid = KXNumber::GetNumberFromString(read, text);
  EXPECT_EQ(KXNumber::IsValid(text), valid);
  return std::to_string(valid) + " " + std::to_string(read.number) + read.suffix;
}

TEST(Number, IsReadFromDigitsAndLetters) {
  EXPECT_EQ(Read("12") + Read("12az") + Read("9999ABC") + Read("007b"), "1 121 12AZ1 9999ABC1 7B");
  for (const char* text : {"0", "0A", "10000", "99999999999999999999", "12ABCD", "A12", "12A3",
                           "12 ", "-1", "", "12A-", "12@", "12[", "12`", "12{"}) {
    EXPECT_EQ(Read(text), "0 0") << text;
  }
  EXPECT_EQ(Read(nullptr), "0 0");
  KXNumber number(5);
  number.SetNumber("0");
  EXPECT_TRUE(number == 5);
}

// Of ZZ plus 2 both letters pass Z: the first begins anew, with its overflow as the third letter.
TEST(Number, SuffixesCountOn) {
  const struct {
    const char* from;
    int n;
    const char* to;
  } cases[] = {{"A", 1, "B"},   {"Z", 1, "AA"},   {"Y", 26, "AY"},   {"Z", 26, "AZ"},
               {"AZ", 1, "BA"}, {"AB", 26, "BB"}, {"ZZ", 1, "AAA"},  {"ZZ", 2, "ABA"},
               {"ZA", 3, "ZD"}, {"", 1, ""},      {"ABC", 1, "ABC"}, {"AY", 1, "AZ"},
               {"YZ", 1, "ZA"}};
  for (const auto& c : cases) {
    KXString suffix(c.from);
    KXNumber::IncrementSuffix(suffix, c.n);
    EXPECT_STREQ(suffix.GetStr(), c.to) << c.from << " + " << c.n;
    KXNumber number;
    number.SetNumber(3, c.from);
    number.IncrementSuffix(c.n);
    KXString text;
    number.GetNumber(text, "%03d");
    EXPECT_EQ(std::string(text.GetStr()), std::string("003") + c.to);
  }
  KXString wild("A");
  for (int n : {2147483647, -2147483647 - 1}) KXNumber::IncrementSuffix(wild, n);
}

TEST(Number, ComparesByNumberThenSuffix) {
  const auto make = [](int n, const char* suffix) {
    KXNumber number;
    number.SetNumber(n, suffix);
    return number;
  };
  EXPECT_TRUE(make(12, "") < make(12, "A") && make(12, "AZ") < make(12, "B"));
  EXPECT_TRUE(make(12, "Z") < make(13, "") && make(12, "\xC0") > make(12, "a"));
  EXPECT_TRUE(make(12, "") == 12 && make(12, "A") != 12 && make(12, "A") > 12 &&
              make(11, "A") < 12);
  EXPECT_TRUE(make(12, "ABCD") == make(12, "ABC") && make(12, "ABC") < make(12, "ABD"));
  EXPECT_TRUE(make(12, "A") + 3 == make(15, "A") && make(12, "A") - 13 == make(-1, "A"));
  EXPECT_TRUE(KXNumber(2147483647) + 1 == -2147483647 - 1);
  EXPECT_TRUE(KXNumber().IsEmpty() && !make(0, "A").IsEmpty() && !KXNumber(1).IsEmpty());
}

}  // namespace
