#include "kxwcmn/platform/filereplacement.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <set>
#include <string>

#include "kxwcmn/platform/detail/faults.h"
#include "kxwcmn/platform/error.h"
#include "kxwcmn/platform/file.h"
#include "tests/testfolder.h"

namespace {

namespace fs = std::filesystem;
using kxw::FileReplacement;
using kxw::detail::FaultPoint;
using kxw::detail::ScopedFaults;

/// Writes through the platform, so that the points of failure are passed.
int Write(const char* path, const std::string& text) {
  kxw::FileHandle file;
  int code = qmOpenFile(path, 0, 0, kxw::kFileWrite, 0, kxw::kCreateAlways, 0, &file);
  if (code != 0) return code;
  code = qmWriteFile(file, text.data(), static_cast<DWORD>(text.size()), nullptr);
  const int closed = qmCloseFile(file);
  return code != 0 ? code : closed;
}

int Save(const TestFolder& folder, const std::string& name, const std::string& text) {
  FileReplacement save;
  int code = save.Begin(folder.Path(name).c_str(), "new");
  if (code == 0) code = Write(save.Path(), text);
  return code != 0 ? code : save.Commit();
}

int CountIn(const TestFolder& folder) {
  return static_cast<int>(std::distance(fs::directory_iterator(folder.Host()), {}));
}

fs::perms RightsOf(const TestFolder& folder, const std::string& name) {
  return fs::status(folder.Host() / name).permissions();
}

TEST(FileReplacement, ReplacesFilesAndWhatLinksLeadTo) {
  const TestFolder folder;
  const mode_t mask = umask(027);
  EXPECT_EQ(Save(folder, "f", "new file"), 0);
  umask(mask);
  EXPECT_EQ(RightsOf(folder, "f"), fs::perms(0640));  // as any new file has
  fs::permissions(folder.Host() / "f", fs::perms(0604));
  EXPECT_EQ(Save(folder, "f", "old one"), 0);
  EXPECT_EQ(RightsOf(folder, "f"), fs::perms(0604));
  EXPECT_EQ(folder.ReadFile("f"), "old one");
  // Links of two steps, absolute and relative, to a file and to nothing.
  fs::create_directory(folder.Host() / "d");
  fs::create_symlink(folder.Host() / "d/second", folder.Host() / "first");
  fs::create_symlink("../f", folder.Host() / "d/second");
  fs::create_symlink("d/none", folder.Host() / "dangling");
  // What is written, and no more, decides: reading the old file is no part of it.
  folder.WriteFile("d/w", "old");
  fs::permissions(folder.Host() / "d/w", fs::perms(0200));
  EXPECT_EQ(Save(folder, "d\\w", "new"), 0);
  EXPECT_EQ(RightsOf(folder, "d/w"), fs::perms(0200));
  EXPECT_EQ(Save(folder, "first", "through"), 0);
  EXPECT_EQ(Save(folder, "dangling", "made"), 0);
  EXPECT_EQ(folder.ReadFile("f") + folder.ReadFile("d/none"), "throughmade");
  EXPECT_TRUE(fs::is_symlink(folder.Host() / "first") &&
              fs::is_symlink(folder.Host() / "d/second"));
  EXPECT_EQ(CountIn(folder), 4);
}

TEST(FileReplacement, RefusesWhatItMustNotReplace) {
  const TestFolder folder;
  fs::create_directory(folder.Host() / "d");
  fs::create_symlink("loop", folder.Host() / "loop");
  mkfifo((folder.Host() / "pipe").c_str(), 0600);
  FileReplacement save;
  const std::pair<std::string, int> cases[] = {{"d", kxw::kErrorAccessDenied},
                                               {"pipe", kxw::kErrorNotSupported},
                                               {"loop", kxw::kErrorCannotResolveName},
                                               {"none\\f", kxw::kErrorPathNotFound},
                                               {"pipe\\f", kxw::kErrorPathNotFound},
                                               {"..", kxw::kErrorAccessDenied},
                                               {std::string(300, 'x'), kxw::kErrorNameTooLong}};
  for (const auto& [name, code] : cases) {
    EXPECT_EQ(Save(folder, name, ""), code) << name;
    EXPECT_EQ(qmGetLastError(), code);
  }
  EXPECT_EQ(save.Begin(nullptr, "a"), kxw::kErrorPathNotFound);
  EXPECT_EQ(save.Begin(folder.Path("f").c_str(), "a\\b"), kxw::kErrorInvalidName);
  EXPECT_EQ(save.Commit(), kxw::kErrorInvalidHandle);
  EXPECT_EQ(CountIn(folder), 3);
  // Read-only counts when the new file is complete, which may stay.
  folder.WriteFile("f", "old");
  fs::permissions(folder.Host() / "f", fs::perms(0444));
  EXPECT_EQ(Save(folder, "f", "new"), kxw::kErrorAccessDenied);
  EXPECT_EQ(CountIn(folder), 4);
  {
    FileReplacement kept;
    ASSERT_EQ(kept.Begin(folder.Path("f").c_str(), "kept"), 0);
    kept.KeepTemporary();
    ASSERT_EQ(Write(kept.Path(), "new"), 0);
    EXPECT_EQ(kept.Commit(), kxw::kErrorAccessDenied);
  }
  EXPECT_EQ(CountIn(folder), 5);
  EXPECT_EQ(folder.ReadFile("f"), "old");
}

TEST(FileReplacement, TakesNobodysFile) {
  const TestFolder folder;
  std::set<std::string> names;
  for (int i = 0; i < 50; ++i) {
    FileReplacement save;
    ASSERT_EQ(save.Begin(folder.Path("f").c_str(), "t"), 0);
    save.KeepTemporary();
    EXPECT_TRUE(names.insert(save.Path()).second);
  }
  EXPECT_EQ(CountIn(folder), 50);
}

// A failure of any step leaves the old file, and of the new one nothing; only when the last sync
// fails has the new one come.
TEST(FileReplacement, FailsWithoutATrace) {
  const TestFolder folder;
  for (const FaultPoint point :
       {FaultPoint::kOpen, FaultPoint::kWrite, FaultPoint::kRename, FaultPoint::kSync}) {
    const int steps = point == FaultPoint::kSync ? 3 : 1;
    for (int nth = 1; nth <= steps + 1; ++nth) {
      folder.WriteFile("f", "old");
      ScopedFaults faults;
      faults.Fail(point, nth, kxw::kErrorIoDevice, 1, 2);
      const int code = Save(folder, "f", "new");
      EXPECT_EQ(code, nth > steps ? 0 : int{kxw::kErrorIoDevice});
      EXPECT_EQ(folder.ReadFile("f"), code == 0 || nth == 3 ? "new" : "old");
      EXPECT_EQ(CountIn(folder), 1);
    }
  }
}

}  // namespace
