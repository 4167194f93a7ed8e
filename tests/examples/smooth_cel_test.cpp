// Runs smooth_cel as a user does, and looks at its pictures.
#include <set>

#include "picture.h"
#include "program_test.h"

namespace {

class SmoothCel : public ProgramTest {
 protected:
  SmoothCel() : ProgramTest(KXWCMN_SMOOTH_CEL) {}
};

// The lower edge of the red goes down by a pixel every ten columns.
TEST_F(SmoothCel, SoftensTheStairsOfAPaintedCel) {
  const int width = 400, height = 300;
  const unsigned red = 0xC02010, green = 0x20A040;
  const auto hard = [=](int x, int y) { return y < 130 + x / 10 ? red : green; };
  std::vector<unsigned char> rgb;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      for (int shift = 16; shift >= 0; shift -= 8) {
        rgb.push_back(static_cast<unsigned char>(hard(x, y) >> shift));
      }
    }
  }
  ASSERT_TRUE(WritePicture(Path("stairs.png"), PNG_FORMAT_RGB, width, height, rgb));
  ASSERT_EQ(Run(Path("stairs.png") + " --out " + Path("sheet.png") + " --cel " + Path("cel.png")),
            0);
  EXPECT_EQ(output_, Path("sheet.png") + "\n" + Path("cel.png") + "\n");

  const Picture cel(Path("cel.png"));
  ASSERT_EQ(cel.width, width);
  ASSERT_EQ(cel.height, height);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      if (hard(x, y - 1) != hard(x, y + 1)) continue;
      ASSERT_EQ(cel.At(x, y), hard(x, y)) << x << ", " << y;
    }
  }
  // Rightwards along the first green row of a step, away from the red one: less and less red.
  for (int x = 206; x < 210; ++x) {
    EXPECT_LT(cel.At(x, 150) >> 16, cel.At(x + 1, 150) >> 16) << x;
  }

  // In the sheet the cel before has its two colours alone, pixel for pixel and enlarged by 7; the
  // cel after has more.
  const Picture sheet(Path("sheet.png"));
  ASSERT_EQ(sheet.width, 1180);
  ASSERT_EQ(sheet.height, 596);
  const auto colors = [&](int left, int top) {
    std::set<unsigned> found;
    for (int y = 0; y < 280; ++y) {
      for (int x = 0; x < 280; ++x) found.insert(sheet.At(left + x, top + y));
    }
    return found;
  };
  for (const int left : {596, 888}) {
    EXPECT_EQ(colors(left, 12), (std::set<unsigned>{red, green})) << left;
    EXPECT_GT(colors(left, 304).size(), 6u) << left;
  }
  for (int x = 0; x < 40; ++x) {  // the middles of a row of the 40 x 40 pixels from (180, 130) on
    ASSERT_EQ(sheet.At(888 + 7 * x + 3, 304 + 7 * 20 + 3), cel.At(180 + x, 150)) << x;
  }
}

TEST_F(SmoothCel, PaintsTheRegionsOfADrawing) {
  ASSERT_TRUE(WriteRings(Path("rings.png")));
  const std::string files =
      Path("rings.png") + " --out " + Path("sheet.png") + " --cel " + Path("cel.png");
  ASSERT_EQ(
      Run(files + " --seeds " + Write("seeds", "45 45 #336699\n45 10 #00FF00\n45 20 #FFCC00\n")),
      0);
  EXPECT_EQ(output_.find("1 of the seeds lie on ink and painted nothing\n"), 0u) << output_;
  const Picture seeded(Path("cel.png"));
  ASSERT_EQ(seeded.width, 90);
  EXPECT_EQ(seeded.At(45, 45), 0x336699u);
  EXPECT_EQ(seeded.At(45, 70), 0xFFCC00u);
  EXPECT_EQ(seeded.At(45, 10), 0u) << "ink";
  EXPECT_EQ(seeded.At(5, 5), 0xFFFFFFu) << "paper";

  ASSERT_EQ(Run(files), 0);
  const Picture found(Path("cel.png"));
  const std::set<unsigned> colors = {0u, 0xFFFFFFu, found.At(45, 45), found.At(45, 20),
                                     found.At(5, 5)};
  EXPECT_EQ(colors.size(), 5u);
  EXPECT_EQ(found.At(45, 70), found.At(45, 20));
}

TEST_F(SmoothCel, ComplainsInOneLine) {
  ExpectComplaint(Path("none.png"), "No such file");
  ExpectComplaint(Write("text.png", "no picture at all"), "not a readable PNG");
  ExpectComplaint("--seeds " + Path("none.seeds"), "cannot be read");
  ExpectComplaint("--cel smooth_cel.png", "name the same file");
  ExpectComplaint("--at 5", "--at needs a value");
  ExpectComplaint("--at 5 x", "--at takes a number");
  ExpectComplaint("--colour", "--help tells more");
}

}  // namespace
