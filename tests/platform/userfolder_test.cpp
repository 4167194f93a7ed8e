#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "kxwcmn/platform/error.h"
#include "kxwcmn/platform/filesystem.h"
#include "tests/support/variable.h"
#include "tests/testfolder.h"

namespace {

std::string FolderOf(int number, DWORD flags = 0) {
  char path[260];
  const int code = kxwSHGetFolderPath(nullptr, number, nullptr, flags, path);
  return code == 0 ? path : "code " + std::to_string(code) + path;
}

TEST(UserFolder, FollowsTheUsersChoices) {
  const TestFolder folder;
  const ScopedVariable home("HOME", folder.Host().string());
  const ScopedVariable settings("XDG_CONFIG_HOME", (folder.Host() / "settings").string());
  EXPECT_EQ(FolderOf(5), folder.Path("Documents"));
  EXPECT_FALSE(folder.Has("Documents"));
  std::filesystem::create_directory(folder.Host() / "settings");
  folder.WriteFile("settings/user-dirs.dirs",
                   "# XDG_MUSIC_DIR=\"/no\"\nXDG_MUSIC_DIR=\"$HOME/My \\\"Songs\\\"/\"\n"
                   "XDG_DOCUMENTS_DIR=\"/papers\"\nXDG_VIDEOS_DIR=\"films\"\n");
  EXPECT_EQ(FolderOf(13), folder.Path("My \"Songs\""));
  EXPECT_EQ(FolderOf(13, 1), folder.Path("Music"));
  EXPECT_EQ(FolderOf(5), "\\papers");
  EXPECT_EQ(FolderOf(14), folder.Path("Videos"));
  EXPECT_EQ(FolderOf(14 | 0x8000), folder.Path("Videos"));
  EXPECT_TRUE(folder.Has("Videos"));
  EXPECT_EQ(FolderOf(14 | 0x8000), folder.Path("Videos"));
  EXPECT_EQ(FolderOf(40), folder.Path());
  EXPECT_EQ(FolderOf(99), "code " + std::to_string(kxw::kErrorInvalidParameter));
  const ScopedVariable deep("HOME", "/" + std::string(260, 'h'));
  EXPECT_EQ(FolderOf(40), "code " + std::to_string(kxw::kErrorNameTooLong));
}

}  // namespace
