// Uses view_image as a person does: by mouse and keys, in a window of a display in memory, whose
// pixels are compared with what a screenshot of the same view has.
#include <algorithm>
#include <cstdlib>
#include <memory>
#include <vector>

#include "picture.h"
#include "program_test.h"
#include "x_display.h"

namespace {

namespace fs = std::filesystem;

constexpr int kWidth = 640, kHeight = 480, kBar = 30;
constexpr char kWindow[] = " --size 640x480 --dpi 96 ";

/// A picture whose pixels tell their place, with a transparent frame in its middle.
bool WritePlaces(const std::string& path, int width, int height) {
  std::vector<unsigned char> rgba;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const bool isHole = std::abs(x - width / 2) < 90 && std::abs(y - height / 2) < 90;
      rgba.insert(rgba.end(), {static_cast<unsigned char>(x * 7), static_cast<unsigned char>(y * 5),
                               static_cast<unsigned char>(x / 8 + y / 4),
                               static_cast<unsigned char>(isHole ? (x + y) % 256 : 255)});
    }
  }
  return WritePicture(path, PNG_FORMAT_RGBA, width, height, rgba);
}

class ViewImage : public ProgramTest {
 protected:
  ViewImage() : ProgramTest(KXWCMN_VIEW_IMAGE) {
    // Under the sanitizers, for what the desktop's libraries leave behind at the end.
    setenv("LSAN_OPTIONS", "suppressions=" KXWCMN_VIEW_SUPPRESSIONS ":print_suppressions=0", 1);
  }

  /// What a window of a view shows of the picture, from the top left on.
  std::vector<unsigned> Screenshot(const std::string& view) {
    const std::string path = Path("view.png");
    // No display is needed for it.
    EXPECT_EQ(Shell("env -u DISPLAY " + program_ + kWindow + "--screenshot " + path + " " + view +
                    " " + Path("places.png")),
              0)
        << output_;
    const Picture picture(path);
    EXPECT_EQ(picture.width, kWidth);
    EXPECT_EQ(picture.height, kHeight);
    std::vector<unsigned> pixels;
    for (int y = 0; y < kHeight - kBar; ++y) {
      for (int x = 0; x < kWidth; ++x) pixels.push_back(picture.At(x, y));
    }
    return pixels;
  }

  /// Opens a display and the program on it; false where something that it takes is not there.
  bool Open(const std::vector<std::string>& options) {
    if (Shell("command -v Xvfb && command -v xdotool") != 0) return false;
    display_ = std::make_unique<XDisplay>(Path(""));
    EXPECT_TRUE(display_->IsThere());
    if (!display_->IsThere()) return false;
    std::vector<std::string> words = {"env",
                                      std::string("DISPLAY=") + display_->Name(),
                                      "SDL_VIDEODRIVER=x11",
                                      program_,
                                      "--size",
                                      "640x480",
                                      "--dpi",
                                      "96"};
    words.insert(words.end(), options.begin(), options.end());
    process_ = std::make_unique<Process>(words, Path("output"));
    EXPECT_TRUE(WaitFor([&] {
      Do("search --onlyvisible --class view_image");
      window_ = output_.substr(0, output_.find('\n'));
      return process_->HasEnded() ||
             (!window_.empty() && window_.find_first_not_of("0123456789") == std::string::npos);
    })) << Read(Path("output"));
    Do("getwindowgeometry --shell " + window_);
    const auto number = [&](const std::string& name) {
      const std::size_t at = output_.find(name + "=");
      return at == std::string::npos ? -1 : std::atoi(output_.c_str() + at + name.size() + 1);
    };
    left_ = number("X");
    top_ = number("Y");
    EXPECT_EQ(number("WIDTH"), kWidth) << output_;
    Do("windowfocus --sync " + window_);
    return true;
  }

  void Do(const std::string& actions) {
    Shell(std::string("DISPLAY=") + display_->Name() + " timeout 60 xdotool " + actions);
  }
  std::string MoveTo(int x, int y) const {
    return " mousemove --window " + window_ + " " + std::to_string(x) + " " + std::to_string(y);
  }
  std::vector<unsigned> Seen() const {
    return display_->Pixels(left_, top_, kWidth, kHeight - kBar);
  }
  /// Whether the window shows that, now or soon.
  bool Shows(const std::vector<unsigned>& expected) {
    return WaitFor([&] { return process_->HasEnded() || Seen() == expected; }) &&
           Seen() == expected;
  }
  int InkInBar(int width = kWidth) const {
    const std::vector<unsigned> bar = display_->Pixels(left_, top_ + kHeight - kBar, width, kBar);
    return static_cast<int>(
        std::count_if(bar.begin(), bar.end(), [](unsigned c) { return (c & 255) < 96; }));
  }

  std::unique_ptr<XDisplay> display_;
  std::unique_ptr<Process> process_;
  std::string window_;
  int left_ = 0, top_ = 0;
};

std::vector<unsigned> Mirrored(std::vector<unsigned> pixels, bool isUpsideDown) {
  if (isUpsideDown) std::reverse(pixels.begin(), pixels.end());
  // All pixels backwards are both flips.
  for (auto row = pixels.begin(); row != pixels.end(); row += kWidth) {
    std::reverse(row, row + kWidth);
  }
  return pixels;
}

TEST_F(ViewImage, FollowsMouseAndKeys) {
  ASSERT_TRUE(WritePlaces(Path("places.png"), 1500, 1100));
  if (!Open({"--view", "700,500,1", Path("places.png")})) {
    GTEST_SKIP() << "takes Xvfb and xdotool";
  }
  // A window has 450 rows of picture, and pixel (320, 225) in their middle.
  EXPECT_TRUE(Shows(Screenshot("--view 700,500,1"))) << Read(Path("output"));
  // The pointer has been there since before the window, which tells its position.
  EXPECT_TRUE(WaitFor([&] { return InkInBar(150) > 50; }));
  const std::vector<unsigned> bar = display_->Pixels(left_, top_ + kHeight - kBar, 150, kBar);
  Do(MoveTo(20, 30));
  EXPECT_TRUE(
      WaitFor([&] { return display_->Pixels(left_, top_ + kHeight - kBar, 150, kBar) != bar; }));
  Do(MoveTo(320, 225) + " click 4 click 4 click 4 click 4");
  EXPECT_TRUE(Shows(Screenshot("--view 700,500,2")));
  EXPECT_GT(InkInBar(), 300);
  Do(MoveTo(320, 225) + " mousedown 1" + MoveTo(370, 200) + MoveTo(420, 185) + " mouseup 1");
  EXPECT_TRUE(Shows(Screenshot("--view 650,520,2")));
  Do(MoveTo(20, 30) + " key 0");
  const std::vector<unsigned> whole = Screenshot("");
  EXPECT_TRUE(Shows(whole));
  Do("key h");
  EXPECT_TRUE(Shows(Mirrored(whole, false)));
  Do("key v key h");
  EXPECT_TRUE(Shows(Mirrored(whole, true)));
  Do("key v key F1");
  EXPECT_TRUE(WaitFor([&] { return Seen() != whole && Seen() != Mirrored(whole, true); }));
  Do("key F1");
  EXPECT_TRUE(Shows(whole));
  Do("click --repeat 40 --delay 5 4 key minus key plus");
  EXPECT_TRUE(WaitFor([&] {
    // Squares of 32 pixels, none of the colour of its neighbour.
    const std::vector<unsigned> seen = Seen();
    if (seen.empty()) return false;
    const auto row = seen.begin() + 200 * kWidth;
    int edges = 0;
    for (int x = 1; x < kWidth; ++x) edges += row[x] != row[x - 1];
    return edges == kWidth / 32 - 1 || edges == kWidth / 32;
  }));
  Do("key q");
  EXPECT_TRUE(WaitFor([&] { return process_->HasEnded(); }));
  EXPECT_EQ(process_->ExitStatus(), 0);
  EXPECT_EQ(Read(Path("output")), "");
}

TEST_F(ViewImage, IsClosedDuringItsWork) {
  fs::create_directory(Path("swap"));
  if (!Open({"--paint", "16384", "--swap", Path("swap")})) {
    GTEST_SKIP() << "takes Xvfb and xdotool";
  }
  Do("key q");
  EXPECT_TRUE(WaitFor([&] { return process_->HasEnded(); }));
  EXPECT_EQ(process_->ExitStatus(), 0);
  EXPECT_EQ(Read(Path("output")), "");
  EXPECT_TRUE(fs::is_empty(Path("swap")));
}

TEST_F(ViewImage, EndsWithItsDisplay) {
  fs::create_directory(Path("swap"));
  // A name of 85 bytes, which is cut behind the 60th or where a character ends in front of it.
  std::string name = "a";
  for (int i = 0; i < 40; ++i) name += "\u00E9";
  ASSERT_TRUE(WritePlaces(Path(name + ".png"), 900, 700));
  if (!Open({"--swap", Path("swap"), Path(name + ".png")})) {
    GTEST_SKIP() << "takes Xvfb and xdotool";
  }
  EXPECT_TRUE(WaitFor([&] {
    Do("getwindowname " + window_);
    return output_.find(name.substr(0, 59) + "... - 900 x 700") != std::string::npos;
  })) << output_;
  display_.reset();
  EXPECT_TRUE(WaitFor([&] { return process_->HasEnded(); }));
  EXPECT_EQ(process_->ExitStatus(), 1);
  EXPECT_NE(Read(Path("output")).find("broken"), std::string::npos) << Read(Path("output"));
  EXPECT_TRUE(fs::is_empty(Path("swap")));
}

TEST_F(ViewImage, ShowsThePixelsOfThePicture) {
  ASSERT_TRUE(WritePlaces(Path("places.png"), 900, 700));
  const std::vector<unsigned> pixels = Screenshot("--view 320,225,1");
  for (int y = 0; y < 225; y += 3) {
    for (int x = 0; x < 320; ++x) {
      const unsigned expected = (x * 7 % 256) << 16 | (y * 5 % 256) << 8 | (x / 8 + y / 4) % 256;
      ASSERT_EQ(pixels[static_cast<std::size_t>(y * kWidth + x)], expected) << x << ", " << y;
    }
  }
}

TEST_F(ViewImage, ComplainsInOneLine) {
  ASSERT_TRUE(WritePlaces(Path("places.png"), 90, 70));
  const std::string out = "--screenshot " + Path("out.png") + " ";
  ExpectComplaint(out + Path("none.stored"), "No such file");
  ExpectComplaint(out + Write("text", "no picture at all"), "Wrong file version");
  const std::string png = Read(Path("places.png"));
  ExpectComplaint(out + Write("cut.png", png.substr(0, png.size() / 2)), "not a readable PNG");
  ExpectComplaint(out + "--view 3,4 " + Path("places.png"), "--view takes");
  ExpectComplaint(out + "--view 3,4,33 " + Path("places.png"), "--view takes");
  ExpectComplaint(out + "--size 10x10 " + Path("places.png"), "--size takes");
  ExpectComplaint(out + "--size 16384x80 --dpi 240 " + Path("places.png"), "32767");
  ExpectComplaint("a.png b.png", "more than one picture");
  ExpectComplaint(Path("places.png"), "no display", "env -u DISPLAY SDL_VIDEODRIVER=x11 ");
  ExpectComplaint(Path("places.png"), "no display", "DISPLAY=:9999 SDL_VIDEODRIVER=x11 ");
  EXPECT_FALSE(fs::exists(Path("out.png")));
}

}  // namespace
