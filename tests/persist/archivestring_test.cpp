#include <gtest/gtest.h>

#include <string>

#include "kxwcmn/core/string.h"
#include "kxwcmn/platform/detail/faults.h"
#include "tests/support/codepage.h"
#include "tests/support/failure.h"
#include "tests/support/streams.h"

namespace {

using namespace testing_kxw;

std::string Stored(const char* text) {
  StringArchive out(kStoreBig, 0);
  out << text;
  return out.bytes;
}

std::string ReadBack(const std::string& bytes, UINT cache = 100) {
  StringArchive in(kLoadBig, cache, bytes);
  KXString text("before");
  in >> text;
  return text.GetStr();
}

TEST(ArchiveStrings, KeepCrForALineEnd) {
  const struct {
    const char *text, *stored, *back;
  } table[] = {
      {"", "0000", ""},
      {"ab\r\ncd", "0005 61620D6364", "ab\r\ncd"},
      {"\r\n\r\nab", "0004 0D0D6162", "\r\n\r\nab"},
      {"ab\r\n", "0003 61620D", "ab\r\n"},
      {"ab\r\nc", "0004 61620D63", "ab\r\n"},  // the last character gives way
      {"\r\n\r\n", "0002 0D0D", "\r\n"},       // also where it is a CR
      {"a\rbcd", "0004 610D6364", "a\r\ncd"},  // any character behind a CR goes
      {"ab\r", "0002 6162", "ab"},             // a CR at the end loses its place
      {"\x83\rab\r\ncd", "0006 830D61620D63 64", "\x83\rab\r\ncd"},  // the first is half of a pair
  };
  for (const auto& [text, stored, back] : table) {
    const ScopedCodePage japanese(kxw::kCodePageJapanese);
    std::string expected = Hex(stored);
    expected[1] = static_cast<char>(expected.size() - 2);
    EXPECT_EQ(Stored(text), expected) << stored;
    EXPECT_EQ(ReadBack(expected), back) << stored;
  }
  EXPECT_EQ(Stored("\x83\rab"), Hex("0003 830D62"));
}

TEST(ArchiveStrings, HaveSixteenBitsOfLength) {
  EXPECT_EQ(Stored(nullptr), Hex("0000"));
  EXPECT_EQ(Stored(std::string(65536, 'a').c_str()), Hex("0000"));
  EXPECT_EQ(CodeOf([] { Stored(std::string(65537, 'a').c_str()); }), 0x20010008);
  const std::string longest = std::string(32767, '\r') + "a";
  EXPECT_EQ(ReadBack(Hex("8000") + longest).size(), 65534u);
  // What ends early is told by a cache alone, and leaves the text alone then.
  EXPECT_EQ(ReadBack(Hex("FFFF 6162"), 0), "ab");
  EXPECT_EQ(CodeOf([] { ReadBack(Hex("FFFF 6162")); }), 0x20010008);
  for (int nth : {1, 2}) {
    kxw::detail::ScopedFaults faults;
    const std::string text = Hex("0003 610D62");
    StringArchive in(kLoadBig, 0, text);
    KXString out("before");
    faults.Fail(kxw::detail::FaultPoint::kAlloc, nth, 8);
    EXPECT_EQ(CodeOf([&] { in >> out; }), 8);
    EXPECT_STREQ(out.GetStr(), "before");
  }
}

TEST(ArchiveStrings, OfOlderWritersHaveThreeLengths) {
  const struct {
    const char* stored;
    UINT length;
  } table[] = {{"00", 0},
               {"FE", 254},
               {"FF 0003", 3},
               {"FF FFFD", 65533},
               {"FF FFFE", 0},
               {"FF FFFF 00010000", 65536},
               {"FF FFFF FFFFFFFF", 0xFFFFFFFF}};
  for (const auto& [stored, length] : table) {
    StringArchive in(kLoadBig, 0, Hex(stored));
    EXPECT_EQ(in.ReadMKStringLength(), length) << stored;
    // Four gigabytes are not taken for a length alone.
    in.bytes += "a\r";
    in.Seek(0, 0);
    KXString text("before");
    in.ReadMKString(text);
    EXPECT_STREQ(text.GetStr(), length ? "a\r" : "");
  }
}

}  // namespace
