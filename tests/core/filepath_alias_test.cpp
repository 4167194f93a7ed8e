#include <gtest/gtest.h>

#include <filesystem>
#include <random>
#include <string>

#include "kxwcmn/core/filepath.h"
#include "kxwcmn/platform/error.h"
#include "kxwcmn/platform/shortcut.h"
#include "tests/support/codepage.h"
#include "tests/testfolder.h"

namespace {

namespace fs = std::filesystem;

/// Little-endian bytes.
std::string Number(u64 value, int size) {
  std::string bytes;
  for (int i = 0; i < size; ++i, value >>= 8) bytes += static_cast<char>(value & 0xFF);
  return bytes;
}

std::string Wide(const std::u16string& text) {
  std::string bytes;
  for (const char16_t unit : text) bytes += Number(unit, 2);
  return bytes;
}

/// A shortcut file of these pieces, as other desktops write them.
std::string Shortcut(unsigned flags, const std::string& rest) {
  return Number(76, 4) + std::string("\1\x14\2\0\0\0\0\0\xC0\0\0\0\0\0\0\x46", 16) +
         Number(flags, 4) + std::string(52, '\0') + rest;
}

/// The record of a local target's place.
std::string Place(const std::string& base, const std::string& suffix) {
  const auto baseAt = 28u, suffixAt = static_cast<unsigned>(baseAt + base.size() + 1);
  const std::string texts = base + '\0' + suffix + '\0';
  return Number(static_cast<unsigned>(28 + texts.size()), 4) + Number(28, 4) + Number(1, 4) +
         Number(0, 4) + Number(baseAt, 4) + Number(0, 4) + Number(suffixAt, 4) + texts;
}

std::string Counted(const std::u16string& text) {
  return Number(static_cast<unsigned>(text.size()), 2) + Wide(text);
}

TEST(Alias, ShortcutsLeadByTheWayThatExists) {
  const TestFolder folder;
  folder.WriteFile("t", "");
  fs::create_directory(folder.Host() / "d");
  const std::string items = Number(3, 2) + "xyz";
  const std::string there = Place(folder.Path(), "t");
  const std::string elsewhere = Place("C:\\a\\b", "");
  const auto resolved = [&](const std::string& bytes) {
    folder.WriteFile("d/a.LNK", bytes);
    KXFilePath path(folder.Path("d\\a.LNK").c_str());
    EXPECT_TRUE(path.IsAliasFile());
    return path.ResolveAliasFile() ? std::string(path.GetFullPath()) : "none";
  };
  EXPECT_EQ(resolved(Shortcut(3, items + there)), folder.Path("t"));
  const std::string name = Counted(u"name"), relative = Counted(u"..\\t");
  EXPECT_EQ(resolved(Shortcut(0x8F, items + elsewhere + name + relative)),
            folder.Path("d") + "\\..\\t");
  EXPECT_EQ(resolved(Shortcut(0x8B, items + there + relative)), folder.Path("t"));
  EXPECT_EQ(resolved(Shortcut(3, items + elsewhere)), "C:\\a\\b");
  EXPECT_EQ(resolved(Shortcut(0x88, relative)), folder.Path("d") + "\\..\\t");
  EXPECT_EQ(resolved(Shortcut(8, Number(2, 2) + "xy")), folder.Path("d") + "\\xy");
  EXPECT_EQ(resolved(Shortcut(0, "")), "none");
  EXPECT_EQ(resolved("no shortcut"), "none");
  // On a network, and with its texts in UTF-16 as well.
  const std::string network = Number(34, 4) + Number(0, 4) + Number(20, 4) + Number(0, 8) +
                              std::string("\\\\srv\\share\0", 12) + std::string(2, '\0');
  EXPECT_EQ(resolved(Shortcut(2, Number(64, 4) + Number(28, 4) + Number(2, 4) + Number(0, 8) +
                                     Number(28, 4) + Number(62, 4) + network + "f")),
            "\\\\srv\\share\\f");
  const std::string wide = Wide(u"C:\\\u30BD") + Number(0, 2);
  EXPECT_EQ(
      resolved(Shortcut(2, Number(60, 4) + Number(36, 4) + Number(1, 4) + Number(0, 4) +
                               Number(36, 4) + Number(0, 4) + Number(39, 4) + Number(40, 4) +
                               Number(50, 4) + std::string("C:?\0", 4) + wide + Number(0, 2))),
      "C:\\\xE3\x82\xBD");
}

TEST(Alias, LinksOfTheHostAreAliases) {
  const TestFolder folder;
  fs::create_directory(folder.Host() / "d");
  folder.WriteFile("x.lnk", Shortcut(2, Place(folder.Path("d"), "")));
  fs::create_symlink("d", folder.Host() / "one");
  fs::create_symlink("one", folder.Host() / "two");
  fs::create_symlink("loop", folder.Host() / "loop");
  fs::create_symlink(folder.Host() / "gone", folder.Host() / "dangling");
  const auto kind = [&](const char* name) {
    int isFolder = 5;
    const int isAlias = KXFilePath(folder.Path(name).c_str()).IsAliasFile(&isFolder);
    return isAlias * 10 + isFolder;
  };
  EXPECT_EQ(kind("d"), 0);
  EXPECT_EQ(kind("missing"), 0);
  EXPECT_EQ(kind("missing.lnk"), 10);
  EXPECT_EQ(kind("x.lnk"), 11);
  EXPECT_EQ(kind("two"), 11);
  EXPECT_EQ(kind("loop"), 10);
  EXPECT_EQ(kind("dangling"), 10);
  char target[260];
  EXPECT_EQ(qmwGetShortcutLink(folder.Path("two").c_str(), target), 1);
  EXPECT_STREQ(target, folder.Path("d").c_str());
  EXPECT_EQ(qmwGetShortcutLink(folder.Path("dangling").c_str(), target), 1);
  EXPECT_STREQ(target, folder.Path("gone").c_str());
  EXPECT_EQ(qmwGetShortcutLink(folder.Path("loop").c_str(), target), 0);
  EXPECT_EQ(qmGetLastError(), kxw::kErrorCannotResolveName);
}

/// A block of a version resource, padded to four bytes.
std::string Block(const std::u16string& key, unsigned valueLength, const std::string& rest) {
  const auto aligned = [](std::string bytes) {
    return bytes.append((4 - bytes.size() % 4) % 4, '\0');
  };
  std::string body = Number(valueLength, 2) + Number(1, 2) + Wide(key) + Number(0, 2);
  body = aligned("##" + body).substr(2) + rest;
  return aligned(Number(static_cast<unsigned>(body.size() + 2), 2) + body);
}

/// A program file with a version resource, 32-bit or 64-bit.
std::string Program(bool is64Bit, const std::u16string& company) {
  const std::string version = Block(
      u"VS_VERSION_INFO", 4,
      "info" +
          Block(u"StringFileInfo", 0,
                Block(u"040904b0", 0, Block(u"FileVersion", 2, Wide(u"9\0"))) +
                    Block(u"041104B0", 0,
                          Block(u"CompanyName", static_cast<unsigned>(company.size() + 1),
                                Wide(company) + Number(0, 2)) +
                              Block(u"FileVersion", 8, Wide(u"1.2.3.4\0")))) +
          Block(u"VarFileInfo", 0,
                Block(u"Translation", 8, Number(0x0411, 2) + Number(0x04B0, 2) + Number(0, 4))));
  const unsigned base = 0x3000;
  const auto floor = [](unsigned id, unsigned offset) {
    return std::string(12, '\0') + Number(0, 2) + Number(2, 2) + Number(id - 1, 4) + Number(7, 4) +
           Number(id, 4) + Number(offset, 4);
  };
  const auto single = [](unsigned offset) {
    return std::string(12, '\0') + Number(0, 2) + Number(1, 2) + Number(1, 4) + Number(offset, 4);
  };
  const std::string resources =
      floor(16, 0x80000020u) + single(0x80000038u) + single(0x50) + Number(base + 0x60, 4) +
      Number(static_cast<unsigned>(version.size()), 4) + Number(0, 8) + version;
  std::string optional = Number(is64Bit ? 0x20B : 0x10B, 2);
  optional.resize((is64Bit ? 112 : 96) + 16, '\0');
  optional += Number(base, 4) + Number(0, 4);
  std::string file = "MZ" + std::string(58, '\0') + Number(64, 4) + "PE" + Number(0, 2) +
                     Number(0, 2) + Number(2, 2) + Number(0, 12) +
                     Number(static_cast<unsigned>(optional.size()), 2) + Number(0, 2) + optional;
  const auto size = static_cast<unsigned>(resources.size());
  const auto at = static_cast<unsigned>(file.size() + 80);
  file += std::string(12, '\0') + Number(0x1000, 4) + Number(0x1000, 4) + Number(0, 20);
  file += std::string(12, '\0') + Number(base, 4) + Number(size, 4) + Number(at, 4) +
          std::string(16, '\0');
  return file + resources;
}

TEST(VersionInfo, ReadsTheFirstLanguageThatIsNamed) {
  const TestFolder folder;
  const KXFilePath path(folder.Path("p").c_str());
  for (const bool is64Bit : {false, true}) {
    folder.WriteFile("p", Program(is64Bit, u"\u30BD\u00A9"));
    KXString text;
    EXPECT_EQ(path.GetVersionInfo(text), 1);
    EXPECT_STREQ(text, "1.2.3.4");
    EXPECT_EQ(path.GetVersionInfo(text, "Comments"), 0);
    EXPECT_STREQ(text, "");
    const ScopedCodePage japanese(kxw::kCodePageJapanese);
    char buffer[260];
    EXPECT_EQ(path.GetVersionInfo(buffer, "companyname"), 1);
    EXPECT_STREQ(buffer, "\x83\x5C?");
  }
  folder.WriteFile("p", "MZ");
  KXString text;
  EXPECT_EQ(path.GetVersionInfo(text) + KXFilePath("missing").GetVersionInfo(text), 0);
}

// Damaged files of both kinds: nothing may be read outside of them. The sanitizing build tells.
TEST(Alias, DamagedFilesAreSurvived) {
  const TestFolder folder;
  std::mt19937 random(3);
  const std::string shortcut = Shortcut(
      0x8F, Number(3, 2) + "xyz" + Place("C:\\a", "b") + Counted(u"n") + Counted(u"..\\t"));
  const std::string program = Program(true, u"company");
  for (int i = 0; i < 1000; ++i) {
    std::string bytes = i % 2 ? shortcut : program;
    for (auto changes = random() % 4; changes > 0; --changes) {
      bytes[random() % bytes.size()] = static_cast<char>(random() % 3 ? 0xFF : random());
    }
    if (random() % 3 == 0) bytes.resize(random() % bytes.size());
    if (i % 2) {
      kxw::ShortcutTarget target;
      kxw::ParseShortcut(bytes.data(), bytes.size(), &target);
    } else {
      folder.WriteFile("p", bytes);
      KXString text;
      KXFilePath(folder.Path("p").c_str()).GetVersionInfo(text);
      EXPECT_LE(text.GetLength(), static_cast<int>(bytes.size()));
    }
  }
}

}  // namespace
