#include "kxwcmn/persist/preferencefile.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <string>
#include <vector>

#include "kxwcmn/core/color.h"
#include "kxwcmn/core/exception.h"
#include "kxwcmn/core/number.h"
#include "kxwcmn/core/string.h"
#include "kxwcmn/platform/detail/faults.h"
#include "kxwcmn/platform/error.h"
#include "tests/support/failure.h"
#include "tests/testfolder.h"

namespace {

using namespace std::string_literals;
using kxw::detail::FaultPoint;
using kxw::detail::ScopedFaults;
namespace fs = std::filesystem;

struct Folder : TestFolder {
  KXFilePath File() const { return Path("f").c_str(); }

  /// Sets with `set(file)`, closes, and returns the file's bytes.
  template <class Set>
  std::string Save(Set set) const {
    KXPreferenceFile file;
    EXPECT_EQ(file.OpenPreferenceFile(1, File()), 1);
    set(file);
    file.ClosePreferenceFile();
    return ReadFile("f");
  }
  /// A value of 4 bytes; -1 if there is none.
  int Int(const char* label) const {
    KXPreferenceFile file;
    file.OpenPreferenceFile(0, File());
    int value = -1;
    file.GetPreferenceFile(label, value);
    return value;
  }
};

/// The bytes of a record, by hand.
std::string Record(const std::string& label, const std::string& value, int size = -1) {
  if (size < 0) size = static_cast<int>(value.size());
  const auto word = [](std::size_t n) {
    return std::string{static_cast<char>(n >> 8), static_cast<char>(n)};
  };
  return word(label.size()) + label + word(static_cast<std::size_t>(size)) + value;
}

TEST(PreferenceFile, StoresEveryTypeAsTold) {
  const Folder folder;
  const std::string bytes = folder.Save([](KXPreferenceFile& file) {
    file.SetPreferenceFile("s", short{-2});
    file.SetPreferenceFile("w", WORD{0xABCD});
    file.SetPreferenceFile("i", -2);
    file.SetPreferenceFile("u", 0x89ABCDEFu);
    file.SetPreferenceFile("l", -3L);
    file.SetPreferenceFile("t", "a\r\nbc");
    file.SetPreferenceFile("e", "");
    file.SetPreferenceFile("b", 3, "\0\r\n");
    file.SetPreferenceFile("n", _QMNUMBER{12, "A"});
    file.SetPreferenceFile("d", 1.25);
    file.SetPreferenceFile("f", -0.5, "%.3f");
    file.SetPreferenceFile("c", tagQMRGBCOLOR16{1, 2, 3, 0x405});
  });
  EXPECT_EQ(bytes,
            "\0\1s\0\2\xFF\xFE"
            "\0\1w\0\2\xAB\xCD"
            "\0\1i\0\4\xFF\xFF\xFF\xFE"
            "\0\1u\0\4\x89\xAB\xCD\xEF"
            "\0\1l\0\4\xFF\xFF\xFF\xFD"
            "\0\1t\0\4a\rbc"
            "\0\1e\0\1 "
            "\0\1b\0\3\0\r\n"
            "\0\1n\0\10\0\0\0\14A\0\0\0"
            "\0\1d\0\4 1.2"
            "\0\1f\0\6-0.500"
            "\0\3c_A\0\2\0\1\0\3c_R\0\2\0\2\0\3c_G\0\2\0\3\0\3c_B\0\2\4\5"s);

  KXPreferenceFile file;
  ASSERT_EQ(file.OpenPreferenceFile(0, folder.File()), 1);
  const auto get = [&file](const char* label, auto value) {
    EXPECT_TRUE(file.GetPreferenceFile(label, value)) << label;
    return value;
  };
  EXPECT_TRUE(get("s", short{}) == -2 && get("w", WORD{}) == 0xABCD && get("i", 0) == -2);
  EXPECT_TRUE(get("u", 0u) == 0x89ABCDEF && get("l", 0L) == -3 && get("d", 0.0) == 1.2);
  EXPECT_TRUE(get("t", KXString()) == "a\r\nbc" && get("e", KXString("x")) == "");
  const _QMNUMBER n = get("n", _QMNUMBER{});
  tagQMRGBCOLOR16 c = get("c", tagQMRGBCOLOR16{});
  EXPECT_TRUE(n.number == 12 && n.suffix == "A"s && c.alpha == 1 && c.blue == 0x405);
  char b[3], buffer[4] = {'x', 'x', 'x', 'x'};
  EXPECT_TRUE(file.GetPreferenceFile("b", 3, b) && std::string(b, 3) == "\0\r\n"s);
  EXPECT_TRUE(file.GetPreferenceFile("e", buffer, 4));
  EXPECT_EQ(std::string(buffer, 4), " \0xx"s);  // a blank stays one there
  EXPECT_TRUE(file.GetPreferenceFile("t", buffer, 3));
  EXPECT_EQ(std::string(buffer, 4), "a\r\nx");  // cut, without an end
  // Another size, another case, no such label, a colour without its blue.
  file.ClosePreferenceFile();
  folder.WriteFile("f", bytes.substr(0, bytes.size() - 9));
  ASSERT_EQ(file.OpenPreferenceFile(0, folder.File()), 1);
  EXPECT_FALSE(file.GetPreferenceFile("c", c));
  short s = -2;
  int i = 0;
  KXString t;
  EXPECT_FALSE(file.GetPreferenceFile("i", s) || file.GetPreferenceFile("I", i) ||
               file.GetPreferenceFile("b", 2, b) || file.GetPreferenceFile("c", i) ||
               file.GetPreferenceFile("x", t) || file.GetPreferenceFile("", t) ||
               file.GetPreferenceFile(nullptr, t) || file.GetPreferenceFile("t", nullptr, 3) ||
               file.GetPreferenceFile("b", 3, static_cast<void*>(nullptr)));
  EXPECT_EQ(s, -2);
  EXPECT_EQ(CodeOf([&] { file.SetPreferenceFile("a", 1); }), kxw::kFailureBadArgument);
}

TEST(PreferenceFile, RefusesWhatWouldHideOtherRecords) {
  const Folder folder;
  const std::string bytes = folder.Save([](KXPreferenceFile& file) {
    file.SetPreferenceFile("a", 1);
    const auto refuses = [&file](const char* label, auto... value) {
      EXPECT_EQ(CodeOf([&] { file.SetPreferenceFile(label, value...); }), kxw::kFailureBadArgument);
    };
    const std::string longText(32768, 'x'), longLabel(65536, 'x');
    for (const char* label : {"", "\r", longLabel.c_str(), static_cast<const char*>(nullptr)}) {
      refuses(label, 1);
    }
    refuses("b", longText.c_str());
    for (const int size : {-1, 0, 32768}) refuses("b", size, longText.data());
    refuses("b", 4, static_cast<void*>(nullptr));
    refuses("b", 1L << 40);
    ScopedFaults faults;
    faults.Fail(FaultPoint::kAlloc, 1, kxw::kErrorNotEnoughMemory);
    const std::string most(32767, 'y');
    for (int i = 0; i < 3; ++i) {  // one of them needs more memory
      CodeOf([&] { file.SetPreferenceFile("c", 32767, most.data()); });
    }
  });
  const std::string c = Record("c", std::string(32767, 'y'));
  EXPECT_EQ(bytes, Record("a", "\0\0\0\1"s) + c + c);
}

// The model is a list of labels and values.
TEST(PreferenceFile, MergesLikeLists) {
  const Folder folder;
  std::mt19937 random(1);
  std::vector<std::pair<std::string, std::string>> model;
  for (int round = 0; round < 60; ++round) {
    std::vector<std::pair<std::string, std::string>> added;
    std::string expected;
    const std::string bytes = folder.Save([&](KXPreferenceFile& file) {
      for (int i = static_cast<int>(random() % 6); i > 0; --i) {
        const std::string label(1 + random() % 2, static_cast<char>('a' + random() % 5));
        const std::string value(1 + random() % 9, static_cast<char>('0' + random() % 10));
        file.SetPreferenceFile(label.c_str(), static_cast<int>(value.size()), value.data());
        added.emplace_back(label, value);
      }
    });
    const auto isAdded = [&](const std::string& label) {
      for (const auto& [other, value] : added) {
        if (other == label) return true;
      }
      return false;
    };
    auto merged = added;
    for (const auto& old : model) {
      if (!isAdded(old.first)) merged.push_back(old);
    }
    model = merged;
    for (const auto& [label, value] : model) expected += Record(label, value);
    ASSERT_EQ(bytes, expected);
    KXPreferenceFile file;
    file.OpenPreferenceFile(0, folder.File());
    std::map<std::string, std::string> first;
    for (const auto& entry : model) first.insert(entry);
    for (const auto& [label, value] : first) {
      KXString text;
      ASSERT_TRUE(file.GetPreferenceFile(label.c_str(), text));
      ASSERT_EQ(text.GetStr(), value);
    }
  }
}

TEST(PreferenceFile, EndsAtWhatIsNoRecord) {
  const Folder folder;
  const std::string one = "\0\0\0\1"s, a = Record("a", one), z = Record("z", one);
  struct Case {
    std::string middle;
    bool isReadBeyond, isMergedBeyond;
  };
  const Case cases[] = {
      {Record("m", "v"), true, true},         {Record("m", ""), true, false},  // kept so
      {Record("", "v"), false, false},        {Record("m", "v", 0xFFFD), false, false},
      {Record("m", "v", 9999), false, false}, {Record("m\0n"s, "v"), true, true},
      {Record("a", one), true, true}};
  for (const Case& c : cases) {
    folder.WriteFile("f", a + c.middle + z);
    EXPECT_EQ(folder.Int("z"), c.isReadBeyond ? 1 : -1);
    EXPECT_EQ(folder.Int("a"), 1);
    const std::string kept = c.isMergedBeyond ? a + c.middle + z : a;
    EXPECT_EQ(folder.Save([](KXPreferenceFile& file) { file.SetPreferenceFile("n", "1"); }),
              Record("n", "1") + kept);
  }
  // Cut anywhere, the whole records in front count.
  const std::string all = a + Record("m", "text") + z;
  for (std::size_t size = 0; size <= all.size(); ++size) {
    folder.WriteFile("f", all.substr(0, size));
    EXPECT_EQ(folder.Int("a"), size >= a.size() ? 1 : -1);
    EXPECT_EQ(folder.Int("z"), size == all.size() ? 1 : -1);
    KXPreferenceFile file;
    file.OpenPreferenceFile(0, folder.File());
    KXString text = "old";
    EXPECT_EQ(file.GetPreferenceFile("m", text), size >= all.size() - z.size());
    EXPECT_EQ(text, size >= all.size() - z.size() ? "text" : "old");
  }
}

TEST(PreferenceFile, FailsClearlyAndLosesNothing) {
  const Folder folder;
  KXPreferenceFile file;
  EXPECT_EQ(file.OpenPreferenceFile(0, folder.File()), 0);
  EXPECT_EQ(file.OpenPreferenceFile(2, folder.File()), 0);  // 1 alone is for writing
  EXPECT_EQ(CodeOf([&] { file.SetPreferenceFile("a", 1); }), kxw::kFailureBadArgument);
  EXPECT_EQ(CodeOf([&] { file.OpenPreferenceFile(0, folder.Path().c_str()); }),
            kxw::kErrorAccessDenied);
  // What was made for a file that was not there goes with the failure.
  ASSERT_EQ(file.OpenPreferenceFile(1, folder.File()), 1);
  file.SetPreferenceFile("a", 1);
  {
    ScopedFaults faults;
    faults.Fail(FaultPoint::kWrite, 1, kxw::kErrorDiskFull);
    EXPECT_EQ(CodeOf([&] { file.ClosePreferenceFile(); }), kxw::kErrorDiskFull);
  }
  EXPECT_TRUE(fs::is_empty(folder.Host()));
  file.ClosePreferenceFile();
  folder.WriteFile("f", "");
  folder.Save([](KXPreferenceFile&) {});
  EXPECT_TRUE(folder.Has("f") && folder.ReadFile("f").empty());
  // What cannot be looked at is not overwritten as if it were not there.
  const std::string kept =
      folder.Save([](KXPreferenceFile& other) { other.SetPreferenceFile("a", 1); });
  ASSERT_EQ(file.OpenPreferenceFile(1, folder.File()), 1);
  file.SetPreferenceFile("b", 1);
  {
    ScopedFaults faults;
    faults.Fail(FaultPoint::kOpen, 1, kxw::kErrorIoDevice);
    EXPECT_EQ(CodeOf([&] { file.ClosePreferenceFile(); }), kxw::kErrorIoDevice);
  }
  EXPECT_EQ(folder.ReadFile("f"), kept);
  file.ClosePreferenceFile();
  EXPECT_EQ(folder.ReadFile("f").size(), 2 * kept.size());
  // A file that comes or goes between open and close.
  ASSERT_EQ(file.OpenPreferenceFile(1, folder.File()), 1);
  file.SetPreferenceFile("a", 1);
  fs::remove(folder.Host() / "f");
  file.ClosePreferenceFile();
  EXPECT_EQ(folder.Int("a"), 1);
  // A read-only file refuses when the new one is complete, and the close can be tried again.
  ASSERT_EQ(file.OpenPreferenceFile(1, folder.File()), 1);
  file.SetPreferenceFile("b", 2);
  KXFilePath(folder.File()).SetReadOnly(1);
  EXPECT_EQ(CodeOf([&] { file.ClosePreferenceFile(); }), kxw::kErrorAccessDenied);
  EXPECT_EQ(folder.Int("b"), -1);
  EXPECT_EQ(std::distance(fs::directory_iterator(folder.Host()), {}), 2);
  KXFilePath(folder.File()).SetReadOnly(0);
  file.ClosePreferenceFile();
  EXPECT_TRUE(folder.Int("a") == 1 && folder.Int("b") == 2);
  // Reading fails by 0, and can be tried again too.
  ASSERT_EQ(file.OpenPreferenceFile(0, folder.File()), 1);
  int value = 7;
  {
    ScopedFaults faults;
    faults.Fail(FaultPoint::kRead, 1, kxw::kErrorIoDevice);
    EXPECT_EQ(file.GetPreferenceFile("a", value), 0);
    faults.Fail(FaultPoint::kAlloc, 1, kxw::kErrorNotEnoughMemory);
    EXPECT_EQ(file.GetPreferenceFile("a", value), 0);
  }
  EXPECT_EQ(value, 7);
  EXPECT_TRUE(file.GetPreferenceFile("a", value) && value == 1);
}

}  // namespace
