#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <set>
#include <string>
#include <utility>

#include "kxwcmn/core/exception.h"
#include "kxwcmn/core/file.h"
#include "kxwcmn/core/filepath.h"
#include "kxwcmn/core/time.h"
#include "kxwcmn/platform/detail/faults.h"
#include "kxwcmn/platform/error.h"
#include "kxwcmn/platform/file.h"
#include "tests/support/failure.h"
#include "tests/testfolder.h"

namespace {

namespace fs = std::filesystem;
using kxw::detail::FaultPoint;
using kxw::detail::ScopedFaults;

/// A folder with the paths of its files as the library has them.
struct Folder : TestFolder {
  KXFilePath At(const std::string& name = "") const { return Path(name).c_str(); }
  void Make(const std::string& name) const { fs::create_directories(Host() / name); }

  int Copy(const char* target, const char* source, int failIfExists) const {
    return CodeOf([&] { KXFilePath::CopyFileA(At(target), At(source), failIfExists); });
  }
  int Move(const char* target, const char* source, int keepExisting) const {
    return CodeOf([&] { KXFilePath::MoveFileA(At(target), At(source), keepExisting); });
  }
  int CopyInto(const char* target, const char* source, int failIfExists = 0) const {
    return CodeOf([&] { KXFilePath::CopyFolder(At(target), At(source), failIfExists); });
  }
  int MoveInto(const char* target, const char* source, int failIfExists = 0) const {
    return CodeOf([&] { KXFilePath::MoveFolder(At(target), At(source), failIfExists); });
  }

  /// A place for this folder on another disk; empty where there is none.
  fs::path OnOtherDisk() const {
    struct stat here, there;
    const fs::path other = "/dev/shm";
    const bool isThere = stat(Host().c_str(), &here) == 0 && stat(other.c_str(), &there) == 0 &&
                         here.st_dev != there.st_dev;
    return isThere ? other / Host().filename() : fs::path();
  }

  /// Every path below `name`, files with their contents and links with where they lead.
  std::string Tree(const std::string& name) const {
    std::set<std::string> lines;
    for (const auto& entry : fs::recursive_directory_iterator(Host() / name)) {
      const std::string path =
          fs::relative(entry.path().parent_path(), Host() / name) / entry.path().filename();
      lines.insert(entry.is_symlink() ? path + ">" + fs::read_symlink(entry.path()).string()
                   : entry.is_directory()
                       ? path + "/"
                       : path + "=" + ReadFile(fs::relative(entry.path(), Host())));
    }
    std::string all;
    for (const std::string& line : lines) all += line + " ";
    return all;
  }
};

TEST(FilePathChange, FoldersNamesAndAttributes) {
  const Folder folder;
  KXFilePath path = folder.At("d");
  path.CreateFolder();
  path.CreateFolder();
  EXPECT_TRUE(path.IsFolder());
  folder.WriteFile("f", "");
  EXPECT_EQ(CodeOf([&] { folder.At("f").CreateFolder(); }), kxw::kFailureExists);
  EXPECT_EQ(CodeOf([&] { folder.At("x/y").CreateFolder(); }), kxw::kErrorPathNotFound);

  const std::string odd = "a 'b' \"c\" \xE3\x82\xBD \xFF";
  path.Rename(odd.c_str());
  EXPECT_TRUE(folder.Has(odd) && path == folder.At(odd));
  path.Rename(odd.c_str());
  for (const char* name : {"", "..", "../x", "x\\y"}) {
    EXPECT_EQ(CodeOf([&] { path.Rename(name); }), kxw::kErrorInvalidName);
  }
  EXPECT_EQ(CodeOf([&] { path.Rename("f"); }), kxw::kErrorAlreadyExists);
  EXPECT_TRUE(path == folder.At(odd));

  KXFilePath file = folder.At("f");
  file.SetReadOnly(1);
  EXPECT_TRUE(file.GetReadOnly());
  file.SetReadOnly(0);
  EXPECT_FALSE(file.GetReadOnly() || file.IsHidden() || file.IsFolder());
  EXPECT_EQ(CodeOf([&] { folder.At("missing").SetReadOnly(1); }), kxw::kErrorFileNotFound);
  const timespec times[2] = {{0, 0}, {951782400, 0}};
  utimensat(AT_FDCWD, (folder.Host() / "f").c_str(), times, 0);
  KXTime time, same;
  EXPECT_TRUE(file.GetTime(time) && time == 951782400);
  KXFile open;
  open.Open(file, static_cast<int>(kxw::kFileRead), 1, 3, 0);
  open.GetTime(same);
  EXPECT_TRUE(same == time);
  EXPECT_FALSE(folder.At("missing").GetTime(time) || time.IsValid());
}

TEST(FilePathChange, CopiesFilesWhole) {
  const Folder folder;
  folder.WriteFile("a", std::string(3000000, 'a'));
  folder.WriteFile("b", "b");
  fs::permissions(folder.Host() / "a", fs::perms::owner_read);
  EXPECT_EQ(folder.Copy("b", "a", 1), kxw::kFailureExists);
  EXPECT_EQ(folder.Copy("b", "missing", 0), kxw::kErrorFileNotFound);
  {
    ScopedFaults faults;
    faults.Fail(FaultPoint::kWrite, 2, kxw::kErrorDiskFull);
    EXPECT_EQ(folder.Copy("b", "a", 0), kxw::kErrorDiskFull);
  }
  EXPECT_EQ(folder.ReadFile("b"), "b");  // and nothing half-made is left
  EXPECT_EQ(std::distance(fs::directory_iterator(folder.Host()), {}), 2);
  EXPECT_EQ(folder.Copy("b", "a", 0), 0);
  EXPECT_EQ(folder.ReadFile("b"), folder.ReadFile("a"));
  EXPECT_TRUE(folder.At("b").GetReadOnly());
  EXPECT_EQ(fs::last_write_time(folder.Host() / "b"), fs::last_write_time(folder.Host() / "a"));
  folder.WriteFile("c", "c");
  EXPECT_EQ(folder.Copy("b", "c", 0), kxw::kErrorAccessDenied);  // read-only
  EXPECT_EQ(folder.Copy("c", "c", 0), kxw::kErrorSharingViolation);
  fs::create_symlink("a", folder.Host() / "link");
  EXPECT_EQ(folder.Copy("d", "link", 1), 0);
  EXPECT_EQ(folder.Copy("link", "c", 0), 0);  // the link is replaced, not what it leads to
  EXPECT_EQ(folder.ReadFile("link") + folder.ReadFile("a").substr(0, 2), "caa");
  mkfifo((folder.Host() / "pipe").c_str(), 0600);
  EXPECT_EQ(folder.Copy("e", "pipe", 0), kxw::kErrorNotSupported);
  EXPECT_EQ(CodeOf([&] { KXFilePath::CopyFileA(folder.At("e"), "icon?", 0); }), 0);
  EXPECT_FALSE(folder.Has("e"));
}

TEST(FilePathChange, MovesFilesOverOthers) {
  const Folder folder;
  folder.WriteFile("a", "a");
  folder.WriteFile("b", "b");
  folder.Make("d/in");
  EXPECT_EQ(folder.Move("b", "a", 1), kxw::kFailureExists);
  EXPECT_EQ(folder.Move("b", "missing", 0), kxw::kErrorFileNotFound);
  EXPECT_EQ(folder.ReadFile("b"), "b");  // it is still there
  EXPECT_EQ(folder.Move("b", "b", 0), 0);
  EXPECT_EQ(folder.Move("b", "a", 0), 0);
  EXPECT_EQ(folder.Move("d/in/c", "b", 1), 0);
  EXPECT_EQ(folder.Tree(""), "./d/ d/in/ d/in/c=a ");
  // Nothing goes into itself, or over what it lies in.
  for (const auto& [target, source] :
       {std::pair("d", "d/in"), {"d", "d/in/c"}, {"d/x", "d"}, {"d/in", "d"}, {"d/in/c", "d"}}) {
    EXPECT_EQ(folder.Move(target, source, 0), kxw::kErrorInvalidParameter) << target;
  }
  EXPECT_EQ(folder.Tree(""), "./d/ d/in/ d/in/c=a ");
  // Files and folders take each other's place.
  folder.WriteFile("f", "f");
  folder.Make("full/of");
  folder.WriteFile("full/of/things", "t");
  EXPECT_EQ(folder.Move("d", "full", 0), 0);
  EXPECT_EQ(folder.Tree(""), "./d/ ./f=f d/of/ d/of/things=t ");
  EXPECT_EQ(folder.Move("d", "f", 0), 0);
  EXPECT_EQ(folder.Tree(""), "./d=f ");
}

// A process that only looks must see the target at any moment.
TEST(FilePathChange, AMoveLeavesNoMomentWithoutTheTarget) {
  const Folder folder;
  fs::path other = folder.OnOtherDisk();
  if (other.empty()) other = folder.Host() / "other";
  fs::create_directories(other);
  const std::string target = folder.Host() / "t";
  folder.WriteFile("t", "old");
  const pid_t watcher = fork();
  if (watcher == 0) {
    while (access(target.c_str(), F_OK) == 0) continue;
    _exit(1);
  }
  for (int i = 0; i < 300; ++i) {
    // In turn files, folders, and files of another disk.
    const fs::path source = i % 4 == 2 ? other / "s" : folder.Host() / "s";
    if (i % 4 == 1) folder.Make("s/in");
    if (i % 4 != 1) std::ofstream(source) << i;
    KXFilePath native;
    native.SetNativePath(source.c_str());
    ASSERT_EQ(CodeOf([&] { KXFilePath::MoveFileA(folder.At("t"), native, 0); }), 0);
    ASSERT_FALSE(fs::exists(source));
    EXPECT_TRUE(i % 4 == 1 || folder.ReadFile("t") == std::to_string(i));
  }
  kill(watcher, SIGKILL);
  int status = 0;
  waitpid(watcher, &status, 0);
  EXPECT_TRUE(WIFSIGNALED(status)) << "there was no target";
  fs::remove_all(other);
}

TEST(FilePathChange, CopiesFoldersAndNothingBehindLinks) {
  const Folder folder;
  folder.Make("src/sub");
  folder.Make("out");
  folder.Make("dst");
  folder.WriteFile("src/f", "1");
  folder.WriteFile("src/sub/g", "2");
  folder.WriteFile("src/back\\slash", "3");
  folder.WriteFile("out/secret", "s");
  fs::create_symlink("../out", folder.Host() / "src/link");
  const std::string tree = "./back\\slash=3 ./f=1 ./link>../out ./sub/ sub/g=2 ";
  EXPECT_EQ(folder.CopyInto("dst\\", "src\\"), 0);
  EXPECT_EQ(folder.Tree("dst/src"), tree);
  EXPECT_EQ(folder.CopyInto("new/deep", "src"), 0);  // in the place of what is missing
  EXPECT_EQ(folder.Tree("new/deep"), tree);
  EXPECT_EQ(folder.CopyInto("dst", "src", 1), kxw::kFailureExists);
  folder.WriteFile("src/f", "changed");
  folder.WriteFile("dst/src/kept", "k");
  EXPECT_EQ(folder.CopyInto("dst", "src"), 0);
  EXPECT_EQ(folder.ReadFile("dst/src/f") + folder.ReadFile("dst/src/kept"), "changedk");
  // A link where a folder belongs is no way out.
  fs::remove_all(folder.Host() / "dst/src/sub");
  fs::create_symlink("../../out", folder.Host() / "dst/src/sub");
  EXPECT_EQ(folder.CopyInto("dst", "src"), kxw::kErrorAlreadyExists);
  EXPECT_EQ(folder.MoveInto("dst", "src"), kxw::kErrorAlreadyExists);
  EXPECT_EQ(folder.Tree("out"), "./secret=s ");
  for (const char* inside : {"src/sub", "src/new/deep"}) {
    EXPECT_EQ(folder.CopyInto(inside, "src"), kxw::kErrorInvalidParameter);
    EXPECT_EQ(folder.MoveInto(inside, "src"), kxw::kErrorInvalidParameter);
  }
  EXPECT_EQ(folder.CopyInto("x/y", "missing"), kxw::kErrorFileNotFound);
  fs::create_symlink("loop", folder.Host() / "loop");
  EXPECT_EQ(folder.CopyInto("x/y", "loop"), kxw::kErrorCannotResolveName);
  EXPECT_EQ(folder.CopyInto(std::string(5000, 'x').c_str(), "src"), kxw::kErrorNameTooLong);
  EXPECT_FALSE(folder.Has("src/new") || folder.Has("x"));  // nothing is made for nothing
}

TEST(FilePathChange, MovesAndMergesFolders) {
  const Folder folder;
  folder.Make("src/sub");
  folder.Make("dst/src/sub");
  folder.WriteFile("src/f", "new");
  folder.WriteFile("src/sub/g", "g");
  folder.WriteFile("dst/src/f", "old");
  folder.WriteFile("dst/src/sub/h", "h");
  EXPECT_EQ(folder.MoveInto("dst", "src", 1), kxw::kFailureExists);
  EXPECT_EQ(folder.MoveInto("", "src"), 0);  // to where it is
  EXPECT_EQ(folder.MoveInto("dst", "src"), 0);
  EXPECT_FALSE(folder.Has("src"));
  EXPECT_EQ(folder.Tree("dst/src"), "./f=new ./sub/ sub/g=g sub/h=h ");
  EXPECT_EQ(folder.MoveInto("moved", "dst/src"), 0);
  EXPECT_EQ(folder.Tree("moved"), "./f=new ./sub/ sub/g=g sub/h=h ");
  const fs::path place = folder.OnOtherDisk();
  if (place.empty()) return;
  fs::create_symlink("f", folder.Host() / "moved/link");
  EXPECT_EQ(CodeOf([&] {
              KXFilePath target;
              target.SetNativePath(place.c_str());
              KXFilePath::MoveFolder(target, folder.At("moved"), 0);
              KXFilePath::MoveFolder(folder.At("back"), target, 0);
            }),
            0);
  EXPECT_FALSE(folder.Has("moved") || fs::exists(place));
  EXPECT_EQ(folder.Tree("back"), "./f=new ./link>f ./sub/ sub/g=g sub/h=h ");
}

// A folder in which the user may not write keeps its contents: what holds it can neither be
// replaced nor go to another disk, and then nothing at all happens.
TEST(FilePathChange, MovesAllOrNothing) {
  const Folder folder;
  const fs::path elsewhere = folder.OnOtherDisk();
  for (const char* name : {"d/locked", "e"}) folder.Make(name);
  for (const char* name : {"d/f", "d/locked/g", "e/h"}) folder.WriteFile(name, "1");
  for (const char* name : {"", "d", "e"}) {
    fs::permissions(folder.Host() / name, fs::perms::all);
  }
  fs::permissions(folder.Host() / "d/locked", fs::perms(0555));
  if (!elsewhere.empty()) {
    fs::create_directories(elsewhere);
    fs::permissions(elsewhere, fs::perms::all);
  }
  const std::string before = folder.Tree("");
  const bool isRoot = geteuid() == 0;  // whom no right stops
  ASSERT_TRUE(!isRoot || seteuid(65534) == 0);
  EXPECT_EQ(folder.Move("d", "e", 0), kxw::kErrorAccessDenied);
  if (!elsewhere.empty()) {
    const KXFilePath target((elsewhere / "d").c_str());
    EXPECT_EQ(CodeOf([&] { KXFilePath::MoveFileA(target, folder.At("d"), 0); }),
              kxw::kErrorAccessDenied);
    EXPECT_TRUE(fs::is_empty(elsewhere));
  }
  EXPECT_EQ(folder.Move("d2", "d", 0), 0);  // which deletes nothing
  EXPECT_EQ(folder.Move("d", "d2", 0), 0);
  ASSERT_TRUE(!isRoot || seteuid(0) == 0);
  EXPECT_EQ(folder.Tree(""), before);
  fs::permissions(folder.Host() / "d/locked", fs::perms::owner_all);
  fs::remove_all(elsewhere);
}

// What fails at any step of a move to another disk leaves the old target and the source.
TEST(FilePathChange, FailedMovesChangeNothing) {
  const Folder folder;
  const fs::path elsewhere = folder.OnOtherDisk();
  if (elsewhere.empty()) return;
  folder.Make("s/in");
  folder.WriteFile("s/in/f", "new");
  fs::create_directories(elsewhere / "t");
  std::ofstream(elsewhere / "t/old") << "old";
  KXFilePath target;
  target.SetNativePath((elsewhere / "t").c_str());
  const auto move = [&] {
    return CodeOf([&] { KXFilePath::MoveFileA(target, folder.At("s"), 0); });
  };
  int failures = 0;
  for (const FaultPoint point : {FaultPoint::kWrite, FaultPoint::kRename, FaultPoint::kSync}) {
    const std::string before = folder.Tree("");
    for (int nth = 1;; ++nth, ++failures) {
      ScopedFaults faults;
      faults.Fail(point, nth, kxw::kErrorIoDevice);
      const bool isDone = move() == 0;
      const bool isLate = !isDone && fs::exists(elsewhere / "t/in");  // only the last sync failed
      ASSERT_TRUE(isDone || isLate || fs::exists(elsewhere / "t/old")) << nth;
      if (isDone || isLate) break;
      ASSERT_EQ(folder.Tree(""), before);
      ASSERT_EQ(std::distance(fs::directory_iterator(elsewhere), {}), 1);
    }
    fs::remove_all(elsewhere / "t");
    fs::create_directories(elsewhere / "t");
    std::ofstream(elsewhere / "t/old") << "old";
    folder.Make("s/in");
    folder.WriteFile("s/in/f", "new");
  }
  EXPECT_GE(failures, 6);
  fs::remove_all(elsewhere);
}

}  // namespace
