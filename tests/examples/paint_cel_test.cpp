// Runs paint_cel as a user does, and looks at its pictures, its words and its exit status.
#include <vector>

#include "common/png_io.h"
#include "picture.h"
#include "program_test.h"

namespace {

namespace fs = std::filesystem;

using namespace std::string_literals;

const std::string kDrawing = KXWCMN_EXAMPLE_DRAWING;

class PaintCel : public ProgramTest {
 protected:
  PaintCel() : ProgramTest(KXWCMN_PAINT_CEL) {}
};

// The pool is a fifth of the images, so that every block has been out in the swap file.
TEST_F(PaintCel, GivesEveryRegionItsColor) {
  ASSERT_EQ(
      Run("--size 2048 --budget 4 --out " + Path("cel.png") + " --store " + Path("cel.stored")), 0)
      << output_;
  for (const std::string& words :
       {Path("cel.png"), Path("cel.stored"), "all 64 came back equal"s}) {
    EXPECT_NE(output_.find(words), std::string::npos) << words << ": " << output_;
  }
  const Picture picture(Path("cel.png"));
  ASSERT_EQ(picture.width, 2048);
  ASSERT_EQ(picture.height, 2048);
  const examples::Drawing drawing = examples::ReadDrawing(kDrawing + ".png");
  std::ifstream seeds(kDrawing + ".seeds");
  int count = 0;
  for (std::string line; std::getline(seeds, line);) {
    int x, y;
    unsigned color;
    if (std::sscanf(line.c_str(), "%d %d #%x", &x, &y, &color) != 3) continue;
    if (drawing.At(x, y) != 0) continue;  // a little ink lies over the paint
    EXPECT_EQ(picture.At(x, y), color) << line;
    ++count;
  }
  EXPECT_GT(count, 500);
}

TEST_F(PaintCel, FindsTheRegionsOfADrawingWithoutSeeds) {
  // Three regions, none of the colour of another.
  ASSERT_TRUE(WriteRings(Path("rings.png")));
  ASSERT_EQ(Run(Path("rings.png") + " --size 700 --width 350 --out " + Path("cel.png")), 0);
  EXPECT_EQ(output_.rfind("3 regions", 0), 0u) << output_;
  const Picture picture(Path("cel.png"));
  ASSERT_EQ(picture.width, 350);
  const unsigned outer = picture.At(5, 5), between = picture.At(175, 75),
                 inner = picture.At(175, 175);
  EXPECT_NE(outer, between);
  EXPECT_NE(between, inner);
  EXPECT_EQ(picture.At(345, 345), outer);
  EXPECT_EQ(picture.At(175, 275), between);
  EXPECT_EQ(picture.At(175, 38), 0u) << "ink";
}

TEST_F(PaintCel, ComplainsInOneLine) {
  ExpectComplaint(Path("none.png"), "No such file");
  ExpectComplaint(Write("text.png", "no picture at all"), "not a readable PNG");
  std::ifstream drawing(kDrawing + ".png", std::ios::binary);
  std::string bytes(100000, '\0');
  drawing.read(bytes.data(), 100000);
  ExpectComplaint(Write("cut.png", bytes), "not a readable PNG");
  ExpectComplaint("--seeds " + Path("none.seeds"), "cannot be read");
  ExpectComplaint("--seeds " + Write("a.seeds", "# colours\n5 5 red\n"),
                  "a.seeds:2: not of the form");
  ExpectComplaint("--seeds " + Write("b.seeds", "2048 5 #112233\n"),
                  "b.seeds:1: outside the drawing");
  ExpectComplaint("--swap " + Path("nowhere"), "no file can be made");
  ExpectComplaint("--size 64 --out " + Path("nowhere/cel.png"), "No such file");
  ExpectComplaint("--size 64 --store " + Path("nowhere/cel"), "No such file");
  ExpectComplaint("--size 64 --store /dev/full", "not a file");
  ExpectComplaint("--store painted_cel.png", "name the same file");
  ExpectComplaint("--size 0", "--size takes a number");
  ExpectComplaint("--colour", "unknown option");
  EXPECT_FALSE(fs::exists("painted_cel.png"));
}

TEST_F(PaintCel, StopsCleanlyOnInterrupt) {
  fs::create_directory(Path("swap"));
  // It is at work when its swap file is there.
  const std::string command = program_ + " --swap " + Path("swap") + " --out " + Path("cel.png");
  EXPECT_EQ(Shell(command + " & while [ -z \"$(ls " + Path("swap") +
                  ")\" ]; do sleep 0.01; done; " + "kill -INT $!; wait $!"),
            130);
  EXPECT_EQ(output_, "paint_cel: stopped\n");
  EXPECT_TRUE(fs::is_empty(Path("swap")));
  EXPECT_FALSE(fs::exists(Path("cel.png")));
  EXPECT_EQ(std::distance(fs::directory_iterator(Path("")), {}), 1);  // the swap folder
}

// Every kind of file gives the same drawing: a dark and a light square on paper, where the paper of
// a kind with transparency is transparent black.
TEST_F(PaintCel, ReadsEveryKindOfPng) {
  struct Kind {
    png_uint_32 format;
    int bytes;
  };
  for (const Kind& kind :
       {Kind{PNG_FORMAT_GRAY, 1}, Kind{PNG_FORMAT_GA, 2}, Kind{PNG_FORMAT_RGB, 3},
        Kind{PNG_FORMAT_RGBA, 4}, Kind{PNG_FORMAT_RGB_COLORMAP, 1}, Kind{PNG_FORMAT_LINEAR_Y, 2}}) {
    png_image image = {};
    image.version = PNG_IMAGE_VERSION;
    image.width = 3;
    image.height = 1;
    image.format = kind.format;
    const bool alpha = kind.format & PNG_FORMAT_FLAG_ALPHA;
    std::vector<unsigned char> row;
    const unsigned char colormap[] = {0, 0, 0, 255, 255, 255};
    for (const bool ink : {true, false, true}) {
      if (kind.format & PNG_FORMAT_FLAG_COLORMAP) {
        image.colormap_entries = 2;
        row.push_back(ink ? 0 : 1);
        continue;
      }
      for (int i = 0; i < kind.bytes; ++i) {
        const bool isAlpha = alpha && i == kind.bytes - 1;
        row.push_back(isAlpha ? (ink ? 255 : 0) : ink || alpha ? 0 : 255);
      }
    }
    ASSERT_TRUE(
        png_image_write_to_file(&image, Path("kind.png").c_str(), 0, row.data(), 0, colormap))
        << image.message;
    const examples::Drawing drawing = examples::ReadDrawing(Path("kind.png"));
    EXPECT_EQ(drawing.density, (std::vector<std::uint8_t>{255, 0, 255})) << kind.format;
  }
}

}  // namespace
