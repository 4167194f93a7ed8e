#include "kxwcmn/persist/regkey.h"

#include <gtest/gtest.h>

#include <string>

#include "kxwcmn/core/exception.h"
#include "kxwcmn/core/string.h"
#include "kxwcmn/platform/error.h"
#include "tests/support/codepage.h"
#include "tests/support/failure.h"
#include "tests/testfolder.h"

namespace {

using namespace std::string_literals;
namespace fs = std::filesystem;

constexpr WORD kRead = 1, kWrite = 2;

struct Folder : TestFolder {
  KXFilePath Root() const { return Path().c_str(); }
  int CountAll() const {
    return static_cast<int>(std::distance(fs::recursive_directory_iterator(Host()), {}));
  }
};

TEST(RegKey, StoresEveryTypeAndReadsItBySizeAlone) {
  const Folder folder;
  KXRegKey key;
  ASSERT_EQ(key.Open(folder.Root(), "A\\B:C", kWrite), 1);
  key.SetValue(BYTE{7}, "by");
  key.SetValue(short{-2}, "s");
  key.SetValue(-2, "i");
  key.SetValue(-2L, "l");
  key.SetValue(i64{0x0102030405060708}, "q");
  key.SetValue(1.0f, "f");
  key.SetValue(-2.0, "d");
  key.SetValue(tagRECT{1, 2, 3, 0x3F800000}, "r");
  key.SetValue(tagPOINTF{1, 2}, "p");
  key.SetValue(tagSIZED{1, -2}, "z");
  key.SetValue("", "e");
  key.SetValue(KXFilePath("C:\\x"), "fp");
  key.SetValue("\0\1", 2, "b");
  key.Close();
  EXPECT_EQ(folder.ReadFile("A/B/C/?pref.pff"),
            "\0\2by\0\1\7"
            "\0\1s\0\2\xFF\xFE"
            "\0\1i\0\4\xFF\xFF\xFF\xFE"
            "\0\1l\0\4\xFF\xFF\xFF\xFE"
            "\0\1q\0\10\1\2\3\4\5\6\7\10"
            "\0\1f\0\4\x3F\x80\0\0"
            "\0\1d\0\10\xC0\0\0\0\0\0\0\0"
            "\0\1r\0\20\0\0\0\1\0\0\0\2\0\0\0\3\x3F\x80\0\0"
            "\0\1p\0\10\x3F\x80\0\0\x40\0\0\0"
            "\0\1z\0\20\x3F\xF0\0\0\0\0\0\0\xC0\0\0\0\0\0\0\0"
            "\0\1e\0\1 "
            "\0\2fp\0\4C:\\x"
            "\0\1b\0\2\0\1"s);

  KXRegKey parent;
  ASSERT_EQ(parent.Open(folder.Root(), "\\A:\\", kRead), 1);
  ASSERT_EQ(key.Open(parent, "B/C", kRead | kWrite), 1);
  const auto get = [&key](const char* name, auto value) {
    EXPECT_TRUE(key.GetValue(value, name)) << name;
    return value;
  };
  EXPECT_TRUE(get("by", BYTE{}) == 7 && get("l", 0L) == -2 && get("d", 0.0) == -2);
  EXPECT_TRUE(get("q", i64{}) == 0x0102030405060708 && get("r", tagRECTF{}).bottom == 1);
  EXPECT_TRUE(get("p", tagPOINTF{}).y == 2 && get("z", tagSIZED{}).cy == -2);
  EXPECT_TRUE(get("e", KXString("x")).IsEmpty() && get("fp", KXFilePath()) == "C:\\x");
  BYTE by = 0;
  double d = 0;
  EXPECT_FALSE(key.GetValue(d, "i") || key.GetValue(by, "none") || key.GetValue(by, nullptr));
  EXPECT_EQ(CodeOf([&] { key.SetValue(1, "i"); }), kxw::kFailureBadArgument);
}

TEST(RegKey, LengthsAreRawBytes) {
  const Folder folder;
  KXRegKey key;
  key.Open(folder.Root(), "", kWrite);
  key.SetValue(_QMLENGTH{2.5, 3, 300}, "len");
  key.Close();
  const double numbers[] = {2.5, 300};
  const LONG unit[] = {3, 0};
  const auto raw = [](const void* at, std::size_t size) {
    return std::string(static_cast<const char*>(at), size);
  };
  EXPECT_EQ(folder.ReadFile("?pref.pff"),
            "\0\3len\0\30"s + raw(&numbers[0], 8) + raw(unit, 8) + raw(&numbers[1], 8));
  key.Open(folder.Root(), nullptr, kRead);
  _QMLENGTH length{};
  EXPECT_TRUE(key.GetValue(length, "len"));
  EXPECT_TRUE(length.value == 2.5 && length.unit == 3 && length.resolution == 300);
}

// Its file is one of preferences, where the tests of merging and of failures are.
TEST(RegKey, MergesAndMakesNoFileForNothing) {
  const Folder folder;
  KXRegKey key;
  for (int i = 0; i < 3; ++i) {
    key.Open(folder.Root(), "k", kWrite);
    if (i < 2) key.SetValue(i, i == 0 ? "a" : "b");
    key.Close();
  }
  EXPECT_EQ(folder.ReadFile("k/?pref.pff"), "\0\1b\0\4\0\0\0\1\0\1a\0\4\0\0\0\0"s);
  EXPECT_EQ(key.Open(folder.Root(), "empty", kWrite), 1);
  key.Close();
  EXPECT_TRUE(folder.Has("empty") && !folder.Has("empty/?pref.pff"));
  // A close that fails can be tried again.
  key.Open(folder.Root(), "k", kWrite);
  key.SetValue(9, "a");
  KXFilePath file = folder.Path("k\\?pref.pff").c_str();
  file.SetReadOnly(1);
  EXPECT_EQ(CodeOf([&] { key.Close(); }), kxw::kErrorAccessDenied);
  file.SetReadOnly(0);
  key.Close();
  EXPECT_EQ(folder.ReadFile("k/?pref.pff").substr(0, 9), "\0\1a\0\4\0\0\0\11"s);
}

TEST(RegKey, StaysBelowItsRoot) {
  const Folder folder;
  KXRegKey key;
  EXPECT_EQ(key.Open(folder.Root(), "A\\B", kRead) + key.Open(folder.Root(), "A", kRead | kWrite),
            0);
  EXPECT_EQ(folder.CountAll(), 0);  // reading makes nothing
  fs::create_directory(folder.Host() / "r");
  for (const char* name : {"..", "r:..", "..\\x", "x\\..", "r/../..", ".", "r:.\\x"}) {
    EXPECT_EQ(key.Open(folder.Path("r").c_str(), name, kWrite), 0) << name;
  }
  EXPECT_EQ(key.Open(KXRegKey(), "x", kWrite), 0);  // below a key that is not open
  EXPECT_EQ(folder.CountAll(), 1);
  fs::remove_all(folder.Host() / "r");
  EXPECT_EQ(CodeOf([&] { key.Open(folder.Path("none\\r").c_str(), "k", kWrite); }),
            kxw::kErrorPathNotFound);
  folder.WriteFile("f", "");
  EXPECT_EQ(CodeOf([&] { key.Open(folder.Root(), "f", kWrite); }), kxw::kFailureExists);
  EXPECT_EQ(key.Open(folder.Root(), "f", kRead), 0);
  EXPECT_EQ(key.Open(folder.Root(), "C:\\...\\x", kWrite), 1);
  EXPECT_TRUE(folder.Has("C/.../x"));
  EXPECT_EQ(key.Open(folder.Root(), "no", 4), 0);
  // A pair whose second byte is a backslash is one name.
  const ScopedCodePage japanese(932);
  const int before = folder.CountAll();
  EXPECT_EQ(key.Open(folder.Root(), "a" PAIR "b", kWrite), 1);
  EXPECT_EQ(folder.CountAll(), before + 1);
  EXPECT_TRUE(
      folder.Has("a\xE3\x82\xBD"
                 "b"));
}

}  // namespace
