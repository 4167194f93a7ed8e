#include "kxwcmn/core/file.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <filesystem>
#include <string>

#include "kxwcmn/core/time.h"
#include "kxwcmn/platform/detail/faults.h"
#include "kxwcmn/platform/error.h"
#include "tests/support/failure.h"
#include "tests/testfolder.h"

namespace {

using namespace std::chrono_literals;

constexpr int kReadWrite = static_cast<int>(0xC0000000);
constexpr int kRead = static_cast<int>(0x80000000);

TEST(KXFile, WritesSeeksAndReadsBack) {
  const TestFolder folder;
  KXFile file;
  file.Create(folder.Path("f").c_str(), 0, 0x53574150, kReadWrite, 0, kxw::kCreateAlways, 0);
  DWORD done = 0;
  file.Write("0123456789", 10, &done);
  EXPECT_EQ(done, 10u);
  file.Seek(-4, kxw::kFromEnd);
  EXPECT_EQ(file.GetPosition(), 6);
  char text[11] = {};
  file.Read(text, 10, &done);
  EXPECT_EQ(done, 4u);
  EXPECT_STREQ(text, "6789");
  file.Seek(i64{1} << 33, kxw::kFromBegin);
  file.SetEOF();
  EXPECT_EQ(file.GetLength(), i64{1} << 33);
  file.Seek(2, kxw::kFromBegin);
  file.SetEOF();
  // Opening again closes, and may be given the file's own path.
  file.Open(file.GetPath(), kRead, 1, kxw::kOpenExisting, 0);
  EXPECT_EQ(file.GetLength(), 2);
  std::filesystem::last_write_time(
      folder.Host() / "f", std::chrono::file_clock::from_sys(std::chrono::sys_seconds(1234567s)));
  KXTime written;
  file.GetTime(written);
  EXPECT_EQ(written, 1234567);
  file.Close();
  EXPECT_FALSE(file.IsOpen());
  EXPECT_TRUE(file.GetPath().IsEmpty());
}

TEST(KXFile, RaisesThePlatformsCode) {
  const TestFolder folder;
  const std::string path = folder.Path("f");
  KXFile file;
  const auto open = [&](int disposition) {
    return CodeOf([&] { file.Open(path.c_str(), kReadWrite, 0, disposition, 0); });
  };
  EXPECT_EQ(open(kxw::kOpenExisting), kxw::kErrorFileNotFound);
  EXPECT_EQ(open(kxw::kCreateNew), 0x20010008);
  EXPECT_EQ(open(kxw::kCreateAlways), 0x20010008);
  EXPECT_FALSE(folder.Has("f"));
  EXPECT_EQ(CodeOf([&] { file.GetLength(); }), kxw::kErrorInvalidHandle);
  KXTime time;
  EXPECT_EQ(CodeOf([&] { file.GetTime(time); }), kxw::kErrorInvalidHandle);
  EXPECT_EQ(CodeOf([&] { file.Close(); }), 0);

  EXPECT_EQ(open(kxw::kOpenAlways), 0);
  kxw::detail::ScopedFaults faults;
  faults.Fail(kxw::detail::FaultPoint::kWrite, 1, kxw::kErrorDiskFull);
  EXPECT_EQ(CodeOf([&] { file.Write("x", 1, nullptr); }), kxw::kErrorDiskFull);
}

TEST(KXFile, APipeIsRefusedAndNotWaitedFor) {
  const TestFolder folder;
  mkfifo((folder.Host() / "pipe").c_str(), 0600);
  for (const int access : {kRead, kReadWrite}) {
    KXFile file;
    EXPECT_EQ(
        CodeOf([&] { file.Open(folder.Path("pipe").c_str(), access, 0, kxw::kOpenExisting, 0); }),
        kxw::kErrorNotSupported);
  }
}

}  // namespace
