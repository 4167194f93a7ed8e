#include "kxwcmn/core/widestring.h"

#include <gtest/gtest.h>

#include <string>

#include "kxwcmn/core/exception.h"
#include "tests/support/codepage.h"
#include "tests/support/failure.h"

namespace {

/// UTF-16 as the class takes it.
const unsigned short* W(const char16_t* text) {
  return reinterpret_cast<const unsigned short*>(text);
}

std::u16string Text(const KXWideString& text) {
  return text.GetStr() ? reinterpret_cast<const char16_t*>(text.GetStr()) : u"";
}

TEST(WideString, HoldsUnits) {
  KXWideString text;
  EXPECT_EQ(text.GetStr(), nullptr);
  EXPECT_TRUE(text.IsEmpty() && text == KXWideString("") && text.At(0) == 0);
  text += 'a';
  text += W(u"b\u30BD");
  text += KXString("c");
  text += static_cast<unsigned short>('d');
  text += text;
  text += text.GetStr() + 8;
  EXPECT_EQ(Text(text), u"ab\u30BDcdab\u30BDcdcd");
  text = text.GetStr() + 9;
  EXPECT_EQ(Text(text + "!"), u"dcd!");
  EXPECT_EQ(text.GetAt(3), 0);
  EXPECT_EQ(text.GetAt(9), 0);
  EXPECT_EQ(CodeOf([&] { text.At(4); }), kxw::kFailureBadArgument);
  text.SetAt('x', 1);
  text.SetAt('x', 3);
  EXPECT_EQ(Text(text), u"dxd");
  text.Empty();
  EXPECT_EQ(text.GetLength(), 0);
}

TEST(WideString, ComparesFindsAndChanges) {
  KXWideString text(W(u"abZ\uFF21AB"));
  EXPECT_TRUE(text < W(u"ab\uFF21") && text > KXWideString("aB") && text != W(u"ab"));
  EXPECT_EQ(text.CompareNoCase(W(u"ABz\uFF21ab")), 0);
  EXPECT_EQ(text.Find(W(u"AB")), 4);
  EXPECT_EQ(text.Find(W(u"AB"), 0, 1), 0);
  EXPECT_EQ(text.ReverseFind(W(u"ab")), 0);
  EXPECT_EQ(text.ReverseFind(W(u"ab"), 1), 4);
  EXPECT_EQ(text.Find(W(u"B"), 6), -1);
  EXPECT_EQ(Text(text.Mid(4)), u"AB");
  EXPECT_EQ(Text(text.Mid(2, 2)), u"Z\uFF21");
  EXPECT_EQ(Text(text.Mid(6, 2)), u"");
  text.MakeLower();
  EXPECT_EQ(Text(text), u"abz\uFF21ab");
  text.MakeUpper();
  text.Replace('A', 0x0102);
  text.SwapEndian();
  EXPECT_EQ(Text(text), u"\u0201\u4200\u5A00\u21FF\u0201\u4200");
}

TEST(WideString, ConvertsBetweenCodePages) {
  KXString narrow;
  KXWideString text(W(u"a\u3042\xD83D\xDE00"));
  EXPECT_EQ(text.ConvertWideToAnsi(narrow), 1);
  EXPECT_STREQ(narrow, "a\xE3\x81\x82\xF0\x9F\x98\x80");
  EXPECT_EQ(KXWideString(narrow), text);
  text.ConvertToUTF8(narrow);  // each half of a pair by itself
  EXPECT_STREQ(narrow, "a\xE3\x81\x82\xED\xA0\xBD\xED\xB8\x80");
  EXPECT_EQ(Text("a\xE3\x81z\xFF"), u"a\uFFFD\uFFFDz\uFFFD");
  EXPECT_EQ(KXWideString(W(u"\xD83D")).ConvertWideToAnsi(narrow), 0);

  const ScopedCodePage japanese(kxw::kCodePageJapanese);
  EXPECT_EQ(Text("\x83\x5C\\\xB1"), u"\u30BD\\\uFF71");
  unsigned short wide[3];
  EXPECT_EQ(KXWideString::ConvertAnsiToWide(wide, "\x83\x5C\\", 3), 1);
  EXPECT_EQ(KXWideString::ConvertAnsiToWide(wide, "\x83\x5C\\\\", 3), 0);
  EXPECT_EQ(wide[0], 0);
  EXPECT_EQ(KXWideString::ConvertAnsiToWide(wide, "", 1), 1);
  char bytes[4];
  EXPECT_EQ(KXWideString::ConvertWideToAnsi(bytes, W(u"\u30BDa"), 4), 1);
  EXPECT_STREQ(bytes,
               "\x83\x5C"
               "a");
  EXPECT_EQ(KXWideString::ConvertWideToAnsi(bytes, W(u"\u30BDa"), 3), 0);
  EXPECT_EQ(KXWideString::ConvertWideToAnsi(bytes, W(u"\u20AC"), 4), 0);
  EXPECT_EQ(KXWideString::ConvertWideToAnsi(bytes, W(u"\u00A5"), 4), 0);  // a yen is no backslash
}

TEST(WideString, FormatsAllKindsOfArguments) {
  KXWideString text;
  text.Format(W(u"%s|%-4s|%.1s|%hs|%S|%c|%5hc|%%|%\u3042|%"), W(u"\u3042"), W(u"ab"), W(u"xy"),
              "n\xE3\x81\x82", "m", 0x3042, 'c');
  EXPECT_EQ(Text(text), u"\u3042|ab  |x|n\u3042|m|\u3042|    c|%|%\u3042|%");
  text.Format(W(u"%05d|%*d|%-*d|%u|%hhx|%hd|%ld|%I64u|%zu|%.*f|%Lg|%e"), -42, 4, 7, -3, 7, -1,
              0x1FF, 65537, -5000000000L, ~0ULL, sizeof(int), 2, 1.005, 2.5L, 0.5);
  EXPECT_EQ(Text(text),
            u"-0042|   7|7  |4294967295|ff|1|-5000000000|18446744073709551615|4|1.00|2.5|"
            u"5.000000e-01");
  int untouched = 5;
  text.Format(W(u"%n%.1000000000d"), &untouched, 1);
  EXPECT_EQ(untouched, 5);
  EXPECT_EQ(text.GetLength(), 65535);
}

}  // namespace
