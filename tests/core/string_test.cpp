#include "kxwcmn/core/string.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>

#include "kxwcmn/core/exception.h"
#include "kxwcmn/core/stringarray.h"
#include "kxwcmn/platform/detail/faults.h"
#include "kxwcmn/platform/host.h"
#include "kxwcmn/platform/module.h"
#include "tests/support/codepage.h"
#include "tests/support/failure.h"

namespace {

using kxw::detail::FaultPoint;
using kxw::detail::ScopedFaults;

TEST(String, HoldsTerminatedTextBehindALengthByte) {
  const KXString empty;
  ASSERT_NE(empty.GetCStrPtr(), nullptr);
  EXPECT_TRUE(empty.IsEmpty());
  KXString text("abc");
  EXPECT_EQ(text.GetPStrPtr()[0], 0x2D);
  EXPECT_EQ(text.GetPStrPtr() + 1, text.GetCStrPtr());
  EXPECT_EQ(text.At(3), 0);
  EXPECT_EQ(CodeOf([&] { text.At(4); }), kxw::kFailureBadArgument);
  EXPECT_EQ(CodeOf([&] { text.At(-1); }), kxw::kFailureBadArgument);
  text.SetLength(2);  // one less: nothing changes
  EXPECT_STREQ(text, "abc");
  text.SetLength(1);
  EXPECT_STREQ(text, "a");
  text.SetLength(5);
  EXPECT_STREQ(text, "a");
  for (int i = 1; i < 5; ++i) text[i] = 'z';
  EXPECT_STREQ(text, "azzzz");
  EXPECT_EQ(CodeOf([&] { text[6] = 0; }), kxw::kFailureBadArgument);
  text = 'x';
  text.Empty();
  EXPECT_EQ(text.GetCount(), 0);
  char out[4] = "###";
  KXString("abcd").GetStr(out, 3);
  EXPECT_STREQ(out, "abc");
  KXString("a").GetStr(out, 3);
  EXPECT_STREQ(out, "a");
}

TEST(String, AssignsAndAppendsAsStdStringDoes) {
  std::mt19937 random(1);
  KXString text;
  std::string model;
  for (int i = 0; i < 2000; ++i) {
    const auto from = static_cast<int>(random() % (model.size() + 1));
    std::string piece(random() % 5, static_cast<char>('a' + i % 26));
    switch (random() % 7) {
      case 6:  // a write between two appends
        text += "yz", text[static_cast<int>(model.size())] = 0;
        text += '!', text.Replace('!', 0);
        break;
      case 0:
        text += piece.c_str(), model += piece;
        break;
      case 1:
        text += 'x', model += 'x';
        break;
      case 2:
        text = piece.c_str(), model = piece;
        break;
      case 3:  // parts of its own
        text = text.GetStr() + from, model = model.substr(static_cast<std::size_t>(from));
        break;
      case 4:
        if (model.size() < 100)
          text += text.Mid(from, 7), model += model.substr(static_cast<std::size_t>(from), 7);
        break;
      case 5:
        text = KXString(text), text += static_cast<const char*>(nullptr);
        break;
    }
    ASSERT_EQ(model, text.GetCStrPtr());
    ASSERT_EQ(text.GetLength(), static_cast<int>(model.size()));
  }
  ScopedFaults faults;
  faults.Fail(FaultPoint::kAlloc, 1, 8, 2);
  EXPECT_EQ(CodeOf([&] { text += "more"; }), 8);
  EXPECT_EQ(CodeOf([&] { text = "more and longer"; }), 8);
  EXPECT_EQ(model, text.GetCStrPtr());
}

TEST(String, AppendsInARowKeepRoomAhead) {
  KXString text;
  std::string model;
  int moves = 0;
  for (int i = 0; i < 100'000; ++i) {
    const char* before = text.GetCStrPtr();
    const auto c = static_cast<char>('a' + i % 26);
    text += c, model += c;
    moves += text.GetCStrPtr() != before;
    if (i % 20'000 == 7) {  // its own end
      text += text.GetCStrPtr() + model.size() - 6, model += model.substr(model.size() - 6);
    }
  }
  EXPECT_LT(moves, 50);
  EXPECT_EQ(model, text.GetCStrPtr());
  EXPECT_EQ(text.GetPStrPtr()[0], 0x2D);
}

TEST(String, FindsLettersOfAnyCaseInLongTexts) {
  std::mt19937 random(2);
  for (int run = 0; run < 300; ++run) {
    std::string model;
    for (int i = 0; i < 400; ++i) model += "abAB@`["[random() % 7];
    std::string word = model.substr(random() % 390, 1 + random() % 10);
    for (char& c : word) c = static_cast<char>(std::toupper(c));
    std::string upper = model;
    for (char& c : upper) c = static_cast<char>(std::toupper(c));
    const std::size_t start = random() % 400;
    ASSERT_EQ(KXString(model.c_str()).Find(word.c_str(), static_cast<int>(start), 1),
              static_cast<int>(upper.find(word, start)));
  }
}

TEST(String, ComparesAndFindsByBytes) {
  const ScopedCodePage japanese(kxw::kCodePageJapanese);
  const KXString text("ab\x83\x41zAB");
  EXPECT_TRUE(text == "ab\x83\x41zAB" && "b" > text && text <= KXString(text));
  EXPECT_TRUE(KXString("\x80") > "z");
  EXPECT_NE(text.Compare("AB\x83\x41zab"), 0);
  EXPECT_EQ(text.CompareNoCase("AB\x83\x61Zab"), 0);  // second bytes of pairs too
  EXPECT_EQ(text.Find("A"), 3);
  EXPECT_EQ(text.Find("Ab"), -1);
  EXPECT_EQ(text.Find("Ab", 1, 1), 5);
  EXPECT_EQ(text.Find("B", 6), 6);
  EXPECT_EQ(text.Find("B", 7), -1);
  EXPECT_EQ(text.ReverseFind("A"), 5);
  EXPECT_EQ(text.ReverseFind("a", 1), 5);
  EXPECT_EQ(text.ReverseFind("ab"), 0);
  EXPECT_EQ(text.Find("ab\x83\x41zABC"), -1);
  EXPECT_EQ(KXString().Find(""), -1);
  EXPECT_STREQ(KXString("abc").Mid(1, 9), "bc");
  EXPECT_STREQ(KXString("abc").Mid(1, 1), "b");
  EXPECT_STREQ(KXString("abc").Mid(4, 1), "");
}

TEST(String, ChangesOnlySingleBytes) {
  const ScopedCodePage japanese(kxw::kCodePageJapanese);
  KXString text("A\x83\x41z\x83\x61\xE0");  // the last byte lacks its second
  text.MakeLower();
  EXPECT_STREQ(text, "a\x83\x41z\x83\x61\xE0");
  text.MakeUpper();
  EXPECT_STREQ(text, "A\x83\x41Z\x83\x61\xE0");
  text.Replace('A', '\x83');
  EXPECT_STREQ(text, "\x83\x83\x41Z\x83\x61\xE0");
  std::string kinds;
  for (int i = -1; i < 8; ++i)
    kinds += static_cast<char>('0' + KXString("A\x83\x41Z\x83\x61\xE0").IsDoubleByte(i));
  EXPECT_EQ(kinds, "001201200");
}

TEST(String, NumbersUseTheFullStop) {
  KXString text;
  text.SetNumber(2.5, "%.3f");
  text.AddNumber(-7, " %03d ");
  text.AddNumber(7u);
  text.AddNumber(0.5f);
  EXPECT_STREQ(text, "2.500 -07 70.500000");
  EXPECT_EQ(text.GetINT32(), 2);
  EXPECT_EQ(text.GetFLOAT(), 2.5);
  EXPECT_EQ(KXString("0.1").GetFLOAT(), 0.1);  // not a float's
  EXPECT_EQ(KXString("-99999999999").GetINT32(), -2147483647 - 1);
  EXPECT_EQ(KXString().GetINT32(), 0);
  text = "abc";
  text.Format("%s-%d", text.GetCStrPtr(), 5);
  EXPECT_STREQ(text, "abc-5");
  text.SetNumber(1.0, "%400.1f");
  EXPECT_EQ(text.GetLength(), 255);
}

TEST(String, SizesForPeople) {
  struct Case {
    i64 size;
    const char* text;
  };
  for (const Case& c : {Case{0, "0 byte"}, Case{1023, "1023 byte"}, Case{1024, " 1.0 KB"},
                        Case{1048575, "1024.0 KB"}, Case{1572864, " 1.5 MB"},
                        Case{1073741823, " 1.0 GB"},  // as a float it is the next power
                        Case{i64{5} << 30, " 5.0 GB"}, Case{i64{1} << 40, " 1.0 TB"}}) {
    KXString text;
    text.ByteToString(c.size);
    EXPECT_STREQ(text, c.text);
  }
}

TEST(String, PascalForms) {
  KXString text("abc");
  EXPECT_EQ(std::memcmp(text.GetPascal(), "\3abc", 5), 0);
  char out[256];
  KXString(std::string(300, 'x').c_str()).GetPascal(out);
  EXPECT_EQ(out[0], 300 - 256);
  text.SetPascal("\2xyz");
  EXPECT_STREQ(text, "xy");
  text.SetPascal(("\x80" + std::string(128, 'x')).c_str());
  EXPECT_STREQ(text, "");
}

TEST(String, LoadsTextsOfModules) {
  KXString text;
  kxw::HostProcedures procedures;
  procedures.loadString = [](HINSTANCE module, UINT id, UINT second, std::string* found) {
    *found = module == kxwGetInstanceHandle() ? "own" : std::string(2000, 'x');
    return id == 5 && second == 1;
  };
  kxw::SetHostProcedures(procedures);
  EXPECT_EQ(text.LoadStringA(5, 1), 1);
  EXPECT_STREQ(text, "own");
  int other;
  EXPECT_EQ(text.LoadStringA(5, 1, reinterpret_cast<HINSTANCE>(&other)), 1);
  EXPECT_EQ(text.GetLength(), 1023);
  EXPECT_EQ(text.LoadStringA(6, 1), 0);
  EXPECT_STREQ(text, "");
  kxw::SetHostProcedures({});
  kxw::SetLanguage(kxw::kLanguageJapanese);
  EXPECT_EQ(text.LoadStringA(12, 0, kxw::LibraryModule()), 1);
  EXPECT_STREQ(text, "レイヤーが見つかりません!");
  {
    const ScopedCodePage japanese(kxw::kCodePageJapanese);
    text.LoadStringA(12, 0, kxw::LibraryModule());
    EXPECT_EQ(text.Find("\x83\x8C\x83\x43\x83\x84"), 0);
    const ScopedCodePage western(1252);
    text.LoadStringA(12, 0, kxw::LibraryModule());
    EXPECT_STREQ(text, "Layer not found!");
  }
  kxw::SetLanguage(kxw::kLanguageOfHost);
}

TEST(StringArray, OwnsItsStrings) {
  KXStringArray list;
  list.PushBack(new KXString("b"));
  list.InsertAt(0, new KXString("a"));
  list.InsertAt(2, new KXString("c"));
  const KXStringArray copy(list);
  list.RemoveAt(1);
  list.RemoveAt(5);
  EXPECT_EQ(CodeOf([&] { list.InsertAt(3, nullptr); }), kxw::kFailureBadArgument);
  std::string all;
  for (int i = 0; i < 4; ++i) {
    if (const KXString* string = copy.GetAt(i)) all += string->GetCStrPtr();
    if (const KXString* string = list.GetAt(i)) all += string->GetCStrPtr();
  }
  EXPECT_EQ(all, "aabcc");
  list.Clear();
  EXPECT_EQ(list.GetSize(), 0);
}

}  // namespace
