// Runs keep_cel as a user does, and looks at the bytes of what it leaves.
#include "program_test.h"

namespace {

using namespace std::string_literals;
namespace fs = std::filesystem;

class KeepCel : public ProgramTest {
 protected:
  KeepCel() : ProgramTest(KXWCMN_KEEP_CEL) {}

  int RunInFolder() { return Run(Quoted(folder_.string())); }
  bool Says(const std::string& words) const { return output_.find(words) != std::string::npos; }
};

// A double of -0.5 is BFE0..., of 1 3FF0...: the pegs are at (1, -0.5), (5, -0.5) and (9, -0.5).
TEST_F(KeepCel, KeepsADocumentInEveryForm) {
  ASSERT_EQ(RunInFolder(), 0) << output_;
  const std::string own = Read(Path("12A.cel")), little = Read(Path("12A_little.cel")),
                    old = Read(Path("12A_old.cel")), later = Read(Path("12A_later.cel")),
                    foreign = Read(Path("12A_foreign.cel"));
  const std::string numbers = "\0\0\0\x0C"s + "A\0\0\0"s + "\0\0\0\7"s + "\0\0\0\0"s;
  EXPECT_EQ(own.substr(0, 22), "CEL \1\2" + numbers);
  EXPECT_EQ(little.substr(0, 22), " LEC\2\1\x0C\0\0\0A\0\0\0\7\0\0\0\0\0\0\0"s);
  const std::size_t image = old.size() - 22;
  const auto afterImage = [&](std::size_t at, std::size_t size) {
    return own.substr(22 + image + at, size);
  };
  EXPECT_EQ(old, "CEL \1\0"s + numbers + own.substr(22, image));
  EXPECT_EQ(afterImage(0, 20), "\0\0\0\3\x3F\xF0\0\0\0\0\0\0\xBF\xE0\0\0\0\0\0\0"s);
  // Three points, the angle, opacity and colour in a section, a width of 1024 pixels, the matrix.
  EXPECT_EQ(afterImage(4 + 48, 16), "\0\0\0\5\0\0\0\10\0\0\0\x64\0\x96\x96\x96"s);
  EXPECT_EQ(afterImage(68, 12), "\x40\x90\0\0\0\0\0\0\0\0\0\0"s);
  EXPECT_EQ(own.size(), 22 + image + 68 + 20 + 72);
  EXPECT_EQ(own.substr(own.size() - 8), "\x3F\xF0\0\0\0\0\0\0"s);
  EXPECT_EQ(little.size(), own.size());
  EXPECT_EQ(later, "CEL \1\3" + own.substr(6) + "\0\21blinks in frame 9"s);
  EXPECT_EQ(foreign, "CEL \2\0"s + own.substr(6));
  EXPECT_TRUE(Says("12A.cel          version 1.2, big-endian: all came back\n") &&
              Says("12A_little.cel   version 1.2, little-endian: all came back\n") &&
              Says("12A_old.cel      version 1.0, big-endian: numbers and image came back;") &&
              Says("12A_later.cel    version 1.3, big-endian: all came back; what it adds") &&
              Says("12A_foreign.cel  refused: Wrong file version"))
      << output_;
}

TEST_F(KeepCel, GoesOnFromItsSettingsAndLosesNothing) {
  const std::string another = "\0\5other\0\1x"s;
  Write("settings.pff", another);
  ASSERT_EQ(RunInFolder(), 0) << output_;
  EXPECT_TRUE(Says("run 1; the next cel is 12B\n  a window of 1280 x 800 pixels")) << output_;
  EXPECT_TRUE(Read(Path("settings.pff")).ends_with(another));
  EXPECT_TRUE(fs::exists(Path("keys/keep_cel/window/?pref.pff")));
  // A document that may not be replaced stays, with the complete new one beside it.
  const std::string old = Write("12B.cel", "old");
  fs::permissions(old, fs::perms(0444));
  EXPECT_EQ(RunInFolder(), 2);
  EXPECT_TRUE(Says("12B.cel: ")) << output_;
  EXPECT_EQ(Read(old), "old");
  int complete = 0;
  for (const auto& entry : fs::directory_iterator(folder_)) {
    if (entry.path().extension() != ".tmp") continue;
    complete += fs::file_size(entry) == fs::file_size(Path("12A.cel"));
  }
  EXPECT_EQ(complete, 1);
  fs::permissions(old, fs::perms(0644));
  ASSERT_EQ(RunInFolder(), 0) << output_;
  EXPECT_TRUE(Says("run 2; the next cel is 12C\n") && Says("The cel is at " + old + "\n"));
  ExpectComplaint(Quoted(old), "12B.cel");
  ExpectComplaint("--paint", "one folder at most");
}

}  // namespace
