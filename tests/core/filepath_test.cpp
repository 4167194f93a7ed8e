#include "kxwcmn/core/filepath.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

#include "kxwcmn/core/exception.h"
#include "kxwcmn/core/findfile.h"
#include "kxwcmn/platform/detail/faults.h"
#include "kxwcmn/platform/error.h"
#include "tests/support/codepage.h"
#include "tests/support/variable.h"
#include "tests/testfolder.h"

namespace {

TEST(FilePath, DelimitersAreRemovedAndJoined) {
  const ScopedCodePage japanese(kxw::kCodePageJapanese);
  struct Case {
    const char *path, *withoutBack, *withoutFront;
  };
  for (const Case& c : {Case{"", "", ""}, Case{"\\", "", ""}, Case{"a\\\\", "a", "a\\\\"},
                        Case{"\\\\a\\b", "\\\\a\\b", "a\\b"}, Case{PAIR, PAIR, PAIR},
                        Case{PAIR "\\\\", PAIR, PAIR "\\\\"}, Case{"a/", "a/", "a/"}}) {
    char text[32];
    std::strcpy(text, c.path);
    EXPECT_EQ(KXFilePath::DeleteBackDelimiter(text),
              static_cast<int>(std::strlen(c.path) - std::strlen(c.withoutBack)));
    EXPECT_STREQ(text, c.withoutBack);
    std::strcpy(text, c.path);
    EXPECT_EQ(KXFilePath::DeleteFrontDelimiter(text),
              static_cast<int>(std::strlen(c.path) - std::strlen(c.withoutFront)));
    EXPECT_STREQ(text, c.withoutFront);
  }
  for (const char* subPath : {"b", "\\b", "\\\\b\\", "b\\\\"}) {
    KXFilePath path("\\a\\");
    path += subPath;
    EXPECT_STREQ(path, "\\a\\b");
  }
  KXFilePath path;
  path += "\\b\\";
  EXPECT_STREQ(path, "\\b\\");  // an empty path takes the text as it stands
  path += "";
  EXPECT_STREQ(path, "\\b\\");
}

TEST(FilePath, SplitsIntoFolderAndName) {
  const ScopedCodePage japanese(kxw::kCodePageJapanese);
  struct Case {
    const char *path, *folder, *name;
  };
  for (const Case& c :
       {Case{"", "", ""}, Case{"a", "", "a"}, Case{"\\a", "\\", "a"}, Case{"\\", "", ""},
        Case{"\\a\\b.c\\\\", "\\a", "b.c"}, Case{"/tmp/x", "/tmp", "x"},
        Case{"d\\" PAIR "x", "d", PAIR "x"}, Case{PAIR "\\x", PAIR, "x"}}) {
    SCOPED_TRACE(c.path);
    const KXFilePath path(c.path);
    char text[260];
    path.GetFolderPath(text);
    EXPECT_STREQ(text, c.folder);
    path.GetFileName(text);
    EXPECT_STREQ(text, c.name);
  }
  char text[260];
  EXPECT_THROW(KXFilePath(std::string(260, 'x').c_str()).GetFileName(text), KXException);
}

TEST(FilePath, EqualWithoutCaseAndBackDelimiters) {
  const ScopedCodePage japanese(kxw::kCodePageJapanese);
  EXPECT_TRUE(KXFilePath("\\Tmp\\A.TGA\\") == KXFilePath("\\tmp\\a.tga"));
  EXPECT_TRUE(KXFilePath("a") != KXFilePath("ab"));
  EXPECT_TRUE(KXFilePath("\x83\x41") != "\x83\x61");  // pairs that differ as letters do
}

TEST(FilePath, TemporaryNamesAreUniqueAndPrivate) {
  const TestFolder folder;
  const ScopedVariable host("TMPDIR", folder.Host().string());
  KXFilePath path;
  ASSERT_EQ(path.MakeTempPath("SWP", 0), 1);
  KXFilePath parent;
  path.GetFolderPath(parent);
  EXPECT_TRUE(path.IsExistence());
  char name[260];
  path.GetFileName(name);
  EXPECT_EQ(std::string(name).substr(0, 3), "SWP");
  EXPECT_EQ(std::string(name).substr(std::strlen(name) - 4), ".tmp");
  parent.GetFileName(name);
  struct stat status;
  ASSERT_EQ(stat((folder.Host() / name).c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0700u);

  KXFilePath beside = folder.Path("dummy.tmp").c_str();
  ASSERT_EQ(beside.MakeTempPath("SWP", 1), 1);
  KXFilePath besideFolder;
  beside.GetFolderPath(besideFolder);
  EXPECT_TRUE(besideFolder == folder.Path().c_str());
  KXFilePath other = folder.Path("dummy.tmp").c_str();
  ASSERT_EQ(other.MakeTempPath("SWP", 1), 1);
  EXPECT_TRUE(other != beside);

  // A link where the private folder should be is not trusted.
  const auto place = folder.Host() / name;
  std::filesystem::remove_all(place);
  std::filesystem::create_directory(folder.Host() / "elsewhere");
  std::filesystem::create_symlink(folder.Host() / "elsewhere", place);
  EXPECT_EQ(path.MakeTempPath("SWP", 0), 0);
  EXPECT_EQ(qmGetLastError(), kxw::kErrorAccessDenied);
  KXFilePath missing = folder.Path("missing\\x").c_str();
  EXPECT_EQ(missing.MakeTempPath("SWP", 1), 0);
  EXPECT_STREQ(missing, folder.Path("missing\\x").c_str());
}

TEST(FilePath, DeletesTreesAndNothingBehindLinks) {
  const TestFolder folder;
  std::filesystem::create_directories(folder.Host() / "tree/deep/er");
  std::filesystem::create_directory(folder.Host() / "outside");
  folder.WriteFile("tree/deep/er/f", "f");
  folder.WriteFile("tree/back\\slash", "f");
  folder.WriteFile("outside/f", "f");
  std::filesystem::create_symlink(folder.Host() / "outside", folder.Host() / "tree/link");
  std::filesystem::create_symlink(folder.Host() / "outside", folder.Host() / "link");
  KXFilePath(folder.Path("tree\\").c_str()).Delete(0);
  KXFilePath(folder.Path("link").c_str()).Delete(0);
  EXPECT_FALSE(folder.Has("tree"));
  EXPECT_FALSE(folder.Has("link"));
  EXPECT_TRUE(folder.Has("outside/f"));
  // Deeper than a process can have open folders.
  std::filesystem::path abyss = folder.Host() / "abyss";
  for (int depth = 0; depth < 100; ++depth) abyss /= "d";
  std::filesystem::create_directories(abyss);
  rlimit before;
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
  const rlimit few{64, before.rlim_max};
  setrlimit(RLIMIT_NOFILE, &few);
  KXFilePath(folder.Path("abyss").c_str()).Delete(0);
  EXPECT_EQ(qmGetLastError(), 0);
  setrlimit(RLIMIT_NOFILE, &before);
  EXPECT_FALSE(folder.Has("abyss"));
  KXFilePath(folder.Path("outside\\.").c_str()).Delete(0);
  KXFilePath(folder.Path("outside\\missing").c_str()).Delete(0);
  KXFilePath("").Delete(0);
  EXPECT_TRUE(folder.Has("outside/f"));
}

TEST(FilePath, TheTrashKeepsWhatWasDeletedAndWhereItWas) {
  const TestFolder folder;
  const ScopedVariable data("XDG_DATA_HOME", (folder.Host() / "data").string());
  for (const char* text : {"first", "second"}) {
    folder.WriteFile("a b", text);
    KXFilePath(folder.Path("a b").c_str()).Delete(1);
    EXPECT_FALSE(folder.Has("a b"));
  }
  EXPECT_EQ(folder.ReadFile("data/Trash/files/a b"), "first");
  EXPECT_EQ(folder.ReadFile("data/Trash/files/a b.2"), "second");
  const std::string info = folder.ReadFile("data/Trash/info/a b.2.trashinfo");
  EXPECT_EQ(info.find("[Trash Info]\nPath=/"), 0u);
  EXPECT_NE(info.find("/a%20b\nDeletionDate=2"), std::string::npos);
  std::string longName;  // 249 bytes: there is no room behind it
  for (int i = 0; i < 83; ++i) longName += "\xE3\x82\xBD";
  folder.WriteFile(longName, "third");
  KXFilePath(folder.Path(longName).c_str()).Delete(1);
  EXPECT_FALSE(folder.Has(longName));
  EXPECT_EQ(folder.ReadFile("data/Trash/files/" + longName.substr(0, 234)), "third");
  // A folder that holds the trash cannot go there, and is not deleted instead.
  KXFilePath(folder.Path().c_str()).Delete(1);
  EXPECT_TRUE(folder.Has("data/Trash/files/a b"));
}

TEST(FilePath, TellsTheDisksFacts) {
  const TestFolder folder;
  const KXFilePath path(folder.Path("not\\there").c_str());
  const auto space = std::filesystem::space(folder.Host());
  EXPECT_EQ(KXFilePath::GetDiskSpace(path), space.capacity);
  const DWORD sector = KXFilePath::GetDiskSectorSize(path);
  EXPECT_TRUE(sector == 512 || sector == 4096);
  EXPECT_EQ(KXFilePath::GetDiskClusterSize(path) % sector, 0u);
  kxw::detail::ScopedFaults faults;
  faults.LimitDiskFree(1000);
  EXPECT_EQ(KXFilePath::GetDiskFreeSpaceA(path), 1000u);
  faults.LimitDiskFree(0);
  EXPECT_EQ(KXFilePath::GetDiskFreeSpaceA(path), 0u);
  EXPECT_EQ(qmGetLastError(), kxw::kErrorDiskFull);
  faults.Fail(kxw::detail::FaultPoint::kDiskFree, 1, kxw::kErrorNotSupported, 2);
  EXPECT_EQ(KXFilePath::GetDiskSectorSize(path), 512u);
  EXPECT_EQ(KXFilePath::GetDiskClusterSize(path), 32768u);
  faults.Fail(kxw::detail::FaultPoint::kDiskFree, 1, kxw::kErrorAccessDenied, 2);
  EXPECT_EQ(KXFilePath::GetDiskSectorSize(path), 0u);
  EXPECT_EQ(KXFilePath::GetDiskSpace(path), 0u);
  EXPECT_EQ(qmGetLastError(), kxw::kErrorAccessDenied);
}

TEST(FindFile, WalksAFolderAndOutlivesChanges) {
  const TestFolder folder;
  for (const char* name : {"b", "a", ".hidden", "back\\slash", "gone"}) folder.WriteFile(name, "");
  std::filesystem::create_directory(folder.Host() / "d");
  std::filesystem::permissions(folder.Host() / "b", std::filesystem::perms::owner_read);
  KXFindFile find;
  std::string seen;
  for (int found = find.First(folder.Path().c_str()); found; found = find.Next()) {
    seen += find.GetName();
    seen += find.IsFolder() ? "/" : find.IsReadOnly() ? "!" : find.IsHidden() ? "?" : "";
    seen += find.IsParentFolder() ? "^ " : " ";
    std::filesystem::remove(folder.Host() / "gone");
    KXFilePath path;
    find.GetFilePath(path);
    EXPECT_TRUE(path.IsExistence());
  }
  EXPECT_EQ(seen, "./^ ../^ .hidden? a b! d/ ");
  EXPECT_EQ(qmGetLastError(), kxw::kErrorNoMoreFiles);
  EXPECT_EQ(find.First(folder.Path("missing").c_str()), 0);
  EXPECT_EQ(qmGetLastError(), kxw::kErrorPathNotFound);
  tagFindInfo info;
  EXPECT_EQ(KXFindFile::GetFileInfo(folder.Path("a").c_str(), info), 1);
  EXPECT_EQ(info.name, "a");
}

TEST(FindFile, NamesComeInTheCodePage) {
  const TestFolder folder;
  folder.WriteFile("\xE3\x82\xBD", "so");  // in UTF-8 on the disk
  folder.WriteFile("\xE2\x82\xAC", "a character that 932 lacks");
  const ScopedCodePage japanese(kxw::kCodePageJapanese);
  KXFindFile find;
  ASSERT_TRUE(find.First(folder.Path().c_str()) && find.Next() && find.Next());
  EXPECT_STREQ(find.GetName(), PAIR);
  KXFilePath path;
  find.GetFilePath(path);
  EXPECT_TRUE(path.IsExistence());
  EXPECT_FALSE(find.Next());
}

}  // namespace
