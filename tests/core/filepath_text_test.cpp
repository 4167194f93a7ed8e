#include <gtest/gtest.h>

#include <random>
#include <string>

#include "kxwcmn/core/exception.h"
#include "kxwcmn/core/filepath.h"
#include "kxwcmn/platform/error.h"
#include "kxwcmn/platform/filesystem.h"
#include "kxwcmn/platform/path.h"
#include "tests/support/codepage.h"
#include "tests/support/failure.h"
#include "tests/support/variable.h"
#include "tests/testfolder.h"

namespace {

TEST(FilePathText, SplitsAndJoinsNamesAndExtensions) {
  const ScopedCodePage japanese(kxw::kCodePageJapanese);
  struct Case {
    const char *path, *name, *extension;
  };
  for (const Case& c :
       {Case{"", "", ""}, Case{"d.e\\a", "a", ""}, Case{"d\\a.b.TGA\\", "a.b", "TGA"},
        Case{"d\\.a", ".a", ""}, Case{"d\\a.", "a.", ""}, Case{"d\\" PAIR ".x", PAIR, "x"},
        Case{"d/..", "..", ""}}) {
    SCOPED_TRACE(c.path);
    KXFilePath path(c.path);
    KXString name, extension;
    path.GetNameAndExtension(name, extension);
    EXPECT_STREQ(name, c.name);
    EXPECT_STREQ(extension, c.extension);
    char buffer[260];
    path.GetNameAndExtension(nullptr, buffer);
    EXPECT_STREQ(buffer, c.extension);
    if (!path.IsEmpty()) path.SetNameAndExtension(name, extension);
    EXPECT_TRUE(path == c.path || std::string(c.path) == "d/..");
  }
  KXFilePath path("d\\a.tga");
  EXPECT_TRUE(path.IsExtensionFile("TGA") && !path.IsExtensionFile("tg") &&
              KXFilePath("a").IsExtensionFile(""));
  path.ChangeName("b.c");
  path.ChangeExtension("png");
  EXPECT_STREQ(path, "d\\b.c.png");
  path.ChangeExtension("");
  path.SetFileName("\\e\\");
  EXPECT_STREQ(path, "d\\e");
  char buffer[260];
  EXPECT_EQ(qmGetFileNameDelExt("a.b", buffer) + qmCopyExtension("a.b", buffer + 10) +
                qmGetFolderfromFullPath("C:\\x", buffer + 20) +
                qmGetFileNamefromFullPath("C:\\x", buffer + 30),
            4);
  EXPECT_EQ(std::string(buffer) + (buffer + 10) + (buffer + 20) + (buffer + 30), "abC:\\x");
  EXPECT_EQ(qmCopyExtension(("a." + std::string(260, 'x')).c_str(), buffer), 0);
  EXPECT_EQ(qmGetLastError(), kxw::kErrorNameTooLong);
}

TEST(FilePathText, RootsAndForeignDelimiters) {
  const ScopedCodePage japanese(kxw::kCodePageJapanese);
  for (const auto& [path, root] : {std::pair{"\\a\\b", "\\"},
                                   {"C:\\a", "C:\\"},
                                   {"a\\b", ""},
                                   {"C:a", ""},
                                   {"\\\\srv\\share\\a", "\\\\srv\\share"},
                                   {"\\\\srv", "\\\\srv"},
                                   {"\\\\srv\\\\a", "\\\\srv"},
                                   {"\\\\\\a", "\\"},
                                   {"", ""}}) {
    KXString found("x");
    EXPECT_EQ(KXFilePath(path).GetRootPath(found), root[0] != 0);
    EXPECT_STREQ(found, root);
  }
  KXString text(":a::" PAIR ":\\b");
  KXFilePath::ConvertMacToWinSubPath(text);
  EXPECT_STREQ(text, "\\a\\\\" PAIR "\\\\b");
  KXFilePath::ConvertWinToMacSubPath(text);
  EXPECT_STREQ(text, ":a::" PAIR "::b");
  text = "c::d:e";  // the colon at 1 stays if another follows
  KXFilePath::ConvertMacToWinSubPath(text);
  EXPECT_STREQ(text, "c:\\d\\e");
  text = "c:d";
  KXFilePath::ConvertMacToWinSubPath(text);
  EXPECT_STREQ(text, "c\\d");
  KXFilePath path("\\top");
  path.CatSubPathForMac(":a:b");
  path.CatSubPathForWin("c:d\\");
  EXPECT_STREQ(path, "\\top\\a\\b\\c:d");
  EXPECT_EQ(
      KXFilePath::DeleteBackDelimiter(text = "a\\\\") + KXFilePath::DeleteFrontDelimiter(text), 2);
}

TEST(FilePathText, NativePathsAreTheHosts) {
  KXFilePath path;
  path.SetNativePath("/a/b c\xFF");
  EXPECT_STREQ(path, "\\a\\b c\xFF");  // bytes that are no text pass through
  KXString native;
  path.GetNativePath(native);
  EXPECT_STREQ(native, "/a/b c\xFF");
  EXPECT_EQ(CodeOf([&] { path.SetNativePath("/a\\b"); }), kxw::kErrorInvalidName);
  const ScopedCodePage japanese(kxw::kCodePageJapanese);
  path.SetNativePath("/\xE3\x82\xBD");
  EXPECT_STREQ(path, "\\" PAIR);
  EXPECT_EQ(CodeOf([&] { path.SetNativePath("/\xC2\xA5"); }), kxw::kErrorInvalidName);  // the yen
  EXPECT_EQ(kxw::HostPath("a\x83/b"), "");  // the slash of a pair would be a delimiter there
  const TestFolder folder;
  const ScopedVariable home("HOME", folder.Host().string());
  const ScopedVariable settings("XDG_CONFIG_HOME", folder.Host().string());
  path.SetDefaultPath();
  EXPECT_STREQ(path, folder.Path("Documents").c_str());
}

TEST(FilePathText, RelativePaths) {
  const ScopedCodePage japanese(kxw::kCodePageJapanese);
  struct Case {
    const char *base, *target, *relative;
  };
  for (const Case& c :
       {Case{"C:\\a", "C:\\a\\", ""}, Case{"C:\\a", "C:\\A\\b\\c", "b\\c"},
        Case{"C:\\a\\bc\\d\\", "C:\\a\\bx\\e", "..\\..\\bx\\e"}, Case{"C:\\a\\b", "C:\\a", "..\\"},
        Case{"C:\\a\\b", "C:\\a\\bc", "..\\bc"}, Case{"C:\\a\\bc", "C:\\a\\b", "..\\b"},
        Case{"C:\\", "C:\\a", "a"}, Case{"C:\\a\\b", "C:\\", "..\\..\\"},
        Case{"C:\\a", "D:\\a\\", "D:\\a\\"}, Case{"\\:\\a", "\\:\\bc", "..\\bc"},
        Case{"\\ab", "\\xb\\c", "..\\xb\\c"}, Case{"\\\\Srv\\s\\a", "\\\\srv\\S\\b", "..\\b"},
        Case{"\\\\srv\\s", "\\\\srv\\t", "..\\t"},  // from one share to another
        Case{"\\\\srv\\a", "\\\\srw\\a", "\\\\srw\\a"}, Case{"\\\\srv\\a", "\\a", "\\a"},
        Case{"C:\\" PAIR, "C:\\" PAIR "\\x", "x"},
        Case{"C:\\" PAIR "a",
             "C:\\\x83\x7C"
             "a",
             "..\\\x83\x7C"
             "a"},  // pairs have no case
        Case{"C:\\" PAIR PAIR, "C:\\x", "..\\x"}}) {
    SCOPED_TRACE(c.base);
    KXString relative;
    KXFilePath::MakeRelativePath(relative, c.base, c.target);
    EXPECT_STREQ(relative, c.relative);
    KXFilePath remade;
    remade.RemakePath(relative, c.base);
    EXPECT_TRUE(remade == c.target);
  }
}

TEST(FilePathText, RelativePathsLeadBack) {
  std::mt19937 random(7);
  for (int i = 0; i < 2000; ++i) {
    const auto path = [&] {
      KXFilePath made(random() % 2 ? "C:\\" : "\\");
      for (auto depth = random() % 5; depth > 0; --depth) {
        made += std::string(1 + random() % 2, static_cast<char>('a' + random() % 2)).c_str();
      }
      return made;
    };
    const KXFilePath base = path(), target = path();
    char relative[260];
    KXFilePath::MakeRelativePath(relative, base, target);
    KXFilePath remade;
    remade.RemakePath(relative, base);
    ASSERT_TRUE(remade == target) << base << " " << target << " " << relative;
  }
}

TEST(FilePathText, NumberedSeriesFillTheirFirstHole) {
  const auto next = [](std::initializer_list<const char*> names, int digits, const char* extension,
                       const char* prefix) {
    const TestFolder folder;
    for (const char* name : names) folder.WriteFile(name, "");
    std::filesystem::create_directory(folder.Host() / "A3.tga");
    KXFilePath path;
    path.GetSequencialFilePath(folder.Path().c_str(), digits, extension, prefix);
    KXString name;
    path.GetFileName(name);
    return std::string(name.GetCStrPtr());
  };
  EXPECT_EQ(next({}, 4, "tga", nullptr), "0001.tga");
  EXPECT_EQ(next({"1.tga", "x2y9.TGA", "4.tga"}, 1, "tga", ""), "3.tga");
  EXPECT_EQ(next({"5.tga", "6.tga"}, 4, "tga", nullptr), "0007.tga");
  EXPECT_EQ(next({"5.tga", "5b.tga", "6.png", ".6.tga", "none.tga"}, 0, "tga", nullptr), "6.tga");
  EXPECT_EQ(next({"a2.tga"}, 2, nullptr, "A"), "A04");  // the folder counts too
  EXPECT_EQ(next({"b7.tga", "A.tga"}, 2, "tga", "a"), "a01.tga");
  EXPECT_EQ(next({"99999999999.tga"}, 2, "tga", nullptr), "2147483648.tga");
}

}  // namespace
