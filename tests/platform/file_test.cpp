#include "kxwcmn/platform/file.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "kxwcmn/platform/detail/faults.h"
#include "kxwcmn/platform/error.h"
#include "kxwcmn/platform/filesystem.h"
#include "kxwcmn/platform/memory.h"
#include "tests/testfolder.h"

namespace {

using kxw::FileHandle;
using kxw::kNoFile;
using kxw::detail::FaultPoint;
using kxw::detail::ScopedFaults;

constexpr DWORD kReadWrite = kxw::kFileRead | kxw::kFileWrite;

int Open(const std::string& path, DWORD access, DWORD disposition, FileHandle* file,
         DWORD flags = 0) {
  return qmOpenFile(path.c_str(), 0, 0, access, 0, disposition, flags, file);
}

FileHandle Create(const std::string& path, DWORD flags = 0) {
  FileHandle file = kNoFile;
  EXPECT_EQ(Open(path, kReadWrite, kxw::kCreateAlways, &file, flags), 0);
  return file;
}

TEST(File, DispositionsSayWhatMustAndMustNotExist) {
  const TestFolder folder;
  struct Case {
    DWORD disposition;
    int codeIfMissing, codeIfThere;
    const char* leaves;  // of an existing file
  };
  const Case cases[] = {{kxw::kCreateNew, 0, kxw::kErrorFileExists, "old"},
                        {kxw::kCreateAlways, 0, 0, ""},
                        {kxw::kOpenExisting, kxw::kErrorFileNotFound, 0, "old"},
                        {kxw::kOpenAlways, 0, 0, "old"},
                        {kxw::kTruncateExisting, kxw::kErrorFileNotFound, 0, ""},
                        {9, kxw::kErrorInvalidParameter, kxw::kErrorInvalidParameter, "old"}};
  for (const Case& c : cases) {
    for (const bool exists : {false, true}) {
      SCOPED_TRACE(testing::Message() << c.disposition << exists);
      std::filesystem::remove(folder.Host() / "f");
      if (exists) folder.WriteFile("f", "old");
      FileHandle file = 7;
      const int code = Open(folder.Path("f"), kReadWrite, c.disposition, &file);
      EXPECT_EQ(code, exists ? c.codeIfThere : c.codeIfMissing);
      EXPECT_EQ(qmGetLastError(), code);
      if (code == 0) {
        EXPECT_EQ(qmCloseFile(file), 0);
      } else {
        EXPECT_EQ(file, kNoFile);
      }
      EXPECT_EQ(folder.ReadFile("f"), exists ? c.leaves : "");
    }
  }
  FileHandle file;
  EXPECT_EQ(Open(folder.Path(), kxw::kFileRead, kxw::kOpenExisting, &file), 5);
  EXPECT_EQ(Open(folder.Path("f\\below"), kxw::kFileRead, kxw::kOpenExisting, &file), 3);
  EXPECT_EQ(Open("", kxw::kFileRead, kxw::kOpenExisting, &file), 3);
}

// The model is a plain string with a position. Host calls of 700 bytes make every larger transfer
// go on where the one before was cut short.
TEST(File, EqualsAStringWithAPosition) {
  const TestFolder folder;
  for (const DWORD flags : {DWORD{0}, DWORD{kxw::kFileNoBuffering}}) {
    ScopedFaults faults;
    faults.LimitHostCalls(700);
    std::mt19937 random(flags ? 1 : 2);
    const FileHandle file = Create(folder.Path("f"), flags);
    std::string model;
    std::size_t at = 0;
    for (int step = 0; step < 500; ++step) {
      std::string data(random() % 3000, static_cast<char>('a' + step % 26));
      const auto size = static_cast<DWORD>(data.size());
      DWORD done = 99;
      switch (random() % 5) {
        case 0: {
          const auto origin = static_cast<DWORD>(random() % 3);
          const i64 base = origin == 0 ? 0 : static_cast<i64>(origin == 1 ? at : model.size());
          const i64 target = static_cast<i64>(random() % 40000);
          ASSERT_EQ(qmSeekFile(file, target - base, origin), 0);
          at = static_cast<std::size_t>(target);
          break;
        }
        case 1:
          ASSERT_EQ(qmReadFile(file, data.data(), size, &done), 0);
          ASSERT_EQ(data.substr(0, done), at < model.size() ? model.substr(at, size) : "");
          at += done;
          break;
        case 2:
          if (at > model.size() + 5000) break;
          ASSERT_EQ(qmSetEndOfFile(file), 0);
          model.resize(at);
          break;
        default:
          ASSERT_EQ(qmWriteFile(file, data.data(), size, &done), 0);
          ASSERT_EQ(done, size);
          if (size > 0 && model.size() < at + size) model.resize(at + size);
          model.replace(at, size, data);
          at += size;
      }
      ASSERT_EQ(qmGetFilePointer(file), static_cast<i64>(at));
      ASSERT_EQ(qmGetFileSize(file), static_cast<i64>(model.size()));
    }
    EXPECT_EQ(qmCloseFile(file), 0);
    EXPECT_EQ(folder.ReadFile("f"), model);
  }
}

TEST(File, BadRequestsFailWithTheirCode) {
  const TestFolder folder;
  folder.WriteFile("f", "text");
  FileHandle file = kNoFile;
  char byte = 0;
  EXPECT_EQ(qmReadFile(kNoFile, &byte, 1, nullptr), kxw::kErrorInvalidHandle);
  EXPECT_EQ(qmGetFileSize(kNoFile), -1);
  EXPECT_EQ(qmGetLastError(), kxw::kErrorInvalidHandle);
  ASSERT_EQ(Open(folder.Path("f"), kxw::kFileRead, kxw::kOpenExisting, &file), 0);
  EXPECT_EQ(qmWriteFile(file, "x", 1, nullptr), kxw::kErrorAccessDenied);
  EXPECT_EQ(qmSetEndOfFile(file), kxw::kErrorAccessDenied);
  EXPECT_EQ(qmSeekFile(file, -5, kxw::kFromEnd), kxw::kErrorNegativeSeek);
  ASSERT_EQ(qmSeekFile(file, 1, kxw::kFromBegin), 0);
  EXPECT_EQ(qmSeekFile(file, std::numeric_limits<i64>::max(), kxw::kFromCurrent),
            kxw::kErrorInvalidParameter);
  EXPECT_EQ(qmSeekFile(file, 0, 3), kxw::kErrorInvalidParameter);
  EXPECT_EQ(qmReadFile(file, nullptr, 1, nullptr), kxw::kErrorInvalidParameter);
  EXPECT_EQ(qmGetFilePointer(file), 1);
  EXPECT_EQ(qmGetLastError(), 0);
  EXPECT_EQ(qmCloseFile(file), 0);
}

TEST(File, DeletedOnCloseButNotSomebodyElsesFile) {
  const TestFolder folder;
  FileHandle file = Create(folder.Path("f"), kxw::kFileDeleteOnClose | kxw::kFileTemporary);
  EXPECT_TRUE(folder.Has("f"));
  EXPECT_EQ(std::filesystem::status(folder.Host() / "f").permissions(),
            std::filesystem::perms(0600));
  std::filesystem::create_symlink("f", folder.Host() / "link");
  FileHandle linked = kNoFile;
  EXPECT_NE(Open(folder.Path("link"), kReadWrite, kxw::kOpenAlways, &linked, kxw::kFileTemporary),
            0);
  qmCloseFile(file);
  EXPECT_FALSE(folder.Has("f"));

  file = Create(folder.Path("f"), kxw::kFileDeleteOnClose);
  EXPECT_EQ(qmDeleteFile(folder.Path("f").c_str()), 0);
  folder.WriteFile("f", "another");
  EXPECT_EQ(qmCloseFile(file), 0);
  EXPECT_TRUE(folder.Has("f"));
}

// Where nobody can tell whether a file is in use, it stays.
TEST(File, RemovesWhatIsUnused) {
  const TestFolder folder;
  const auto remove = [&](int codeOfLock) {
    ScopedFaults faults;
    if (codeOfLock) faults.Fail(FaultPoint::kLock, 1, codeOfLock);
    return kxw::RemoveUnused(folder.Path("f").c_str());
  };
  const FileHandle file = Create(folder.Path("f"), kxw::kFileDeleteOnClose);
  EXPECT_EQ(remove(0), kxw::kErrorSharingViolation);
  EXPECT_TRUE(folder.Has("f"));
  qmCloseFile(file);
  folder.WriteFile("f", "old");
  EXPECT_EQ(remove(kxw::kErrorIoDevice), kxw::kErrorSharingViolation);
  EXPECT_EQ(remove(kxw::kErrorNotSupported), 0);
  EXPECT_FALSE(folder.Has("f"));
  folder.WriteFile("f", "old");
  std::filesystem::permissions(folder.Host() / "f", std::filesystem::perms(0444));
  EXPECT_EQ(remove(0), 0);
  EXPECT_FALSE(folder.Has("f"));
}

TEST(File, NamesChangeWithoutReplacing) {
  const TestFolder folder;
  folder.WriteFile("a", "a");
  folder.WriteFile("b", "b");
  EXPECT_EQ(qmChangeFileName(folder.Path("a").c_str(), folder.Path("b").c_str()), 183);
  EXPECT_EQ(folder.ReadFile("b"), "b");
  EXPECT_EQ(qmChangeFileName(folder.Path("a").c_str(), folder.Path("c").c_str()), 0);
  EXPECT_EQ(folder.ReadFile("c"), "a");
  EXPECT_EQ(qmDeleteFile(folder.Path("a").c_str()), 2);
  EXPECT_EQ(qmCreateFolder(folder.Path("d").c_str()), 0);
  EXPECT_EQ(qmCreateFolder(folder.Path("d").c_str()), 183);
  EXPECT_EQ(qmCreateFolder(folder.Path("missing\\d").c_str()), 3);
}

TEST(Error, HasTheHostsWords) {
  EXPECT_EQ(kxw::ErrorMessage(kxw::kErrorFileNotFound), kxw::ErrorMessage(kxw::kErrorPathNotFound));
  EXPECT_NE(kxw::ErrorMessage(kxw::kErrorNotEnoughMemory), "");
  EXPECT_EQ(kxw::ErrorMessage(0x2001000B), "");
}

TEST(Faults, HitTheChosenOperationOnly) {
  const TestFolder folder;
  const FileHandle file = Create(folder.Path("f"));
  DWORD done = 0;
  char data[4] = {};
  ScopedFaults faults;
  faults.Fail(FaultPoint::kWrite, 2, kxw::kErrorDiskFull, 1, 3);
  EXPECT_EQ(qmWriteFile(file, "abcd", 4, &done), 0);
  EXPECT_EQ(qmWriteFile(file, "efgh", 4, &done), kxw::kErrorDiskFull);
  EXPECT_EQ(done, 3u);
  EXPECT_EQ(qmWriteFile(file, "x", 1, &done), 0);
  EXPECT_EQ(faults.Count(FaultPoint::kWrite), 3);
  {
    ScopedFaults inner;
    inner.Fail(FaultPoint::kSeek, 1, 1117);
    inner.EndReadEarly(1, 2);
    EXPECT_EQ(qmSeekFile(file, 0, kxw::kFromBegin), 1117);
    EXPECT_EQ(qmSeekFile(file, 0, kxw::kFromBegin), 0);
    EXPECT_EQ(qmReadFile(file, data, 4, &done), 0);
    EXPECT_EQ(done, 2u);
  }
  faults.Fail(FaultPoint::kSetEnd, 1, kxw::kErrorDiskFull);
  EXPECT_EQ(qmSetEndOfFile(file), kxw::kErrorDiskFull);
  faults.Fail(FaultPoint::kOpen, 1, kxw::kErrorAccessDenied);
  FileHandle other;
  EXPECT_EQ(Open(folder.Path("f"), kReadWrite, kxw::kOpenExisting, &other), 5);
  qmCloseFile(file);
  EXPECT_EQ(folder.ReadFile("f"), "abcdefgx");
}

}  // namespace
