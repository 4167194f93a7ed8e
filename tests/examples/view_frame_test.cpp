// What the viewer's window shows of a picture, pixel by pixel.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "view_image/frame.h"

namespace {

using viewimage::View;
using viewimage::Zoom;

KXVirtualMemory& Memory() {
  static KXVirtualMemory memory;
  static const bool isCreated = (memory.Create(24 << 20), true);
  EXPECT_TRUE(isCreated);
  return memory;
}

/// A pixel that tells its place; some are transparent.
DWORD Pixel(int x, int y, bool isOpaque) {
  const DWORD mixed = static_cast<DWORD>(x) * 2654435761u ^ static_cast<DWORD>(y) * 40503u * 65537u;
  return isOpaque ? mixed | 0xFF000000 : mixed;
}

/// A picture of such pixels, blue first, without anything in its second column of blocks.
KXVOffscreenPtr MakePicture(int width, int height, bool isOpaque) {
  KXVOffscreenPtr image = KXVOffscreen::Make(32, width, height, 72, &Memory());
  std::vector<DWORD> row(static_cast<std::size_t>(width));
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      row[static_cast<std::size_t>(x)] = x / 256 == 1 ? 0 : Pixel(x, y, isOpaque);
    }
    image->WritePixels(KXRect(0, y, width, y + 1), KXPixelFormat::kBgra8, row.data());
  }
  return image;
}

class Screen {
 public:
  explicit Screen(const View& view) {
    image_.Create(view.Window().cx + 3, view.Window().cy + 2, 32);  // larger than the window
  }
  void Draw(viewimage::Pyramid& pyramid, const View& view) {
    DrawFrame(pyramid, view, ground_, image_);
  }
  DWORD At(int x, int y) const {
    return reinterpret_cast<const DWORD*>(image_.GetBaseAddress() + y * image_.GetRowBytes())[x];
  }
  /// A pixel over the checkerboard, or what lies beside the picture.
  DWORD Expected(DWORD pixel, int x, int y, int left, int top) const {
    const int side = ground_.board.side;
    const bool isDark = ((x - left) / side + (y - top) / side) % 2 != 0;
    const DWORD board = isDark ? ground_.board.dark : ground_.board.light, alpha = pixel >> 24;
    DWORD result = 0xFF;
    for (int shift = 16; shift >= 0; shift -= 8) {
      const DWORD c = pixel >> shift & 255, b = board >> shift & 255;
      result = result << 8 | (c * alpha + b * (255 - alpha) + 127) / 255;
    }
    return result;
  }
  DWORD Beside() const {
    const DWORD c = ground_.beside;
    return (c & 0xFF00FF00) | (c & 255) << 16 | (c >> 16 & 255);
  }

 private:
  KXBitImage image_;
  viewimage::Ground ground_;
};

// Screen pixel s of the picture is drawn from its pixel s over the zoom, whatever was moved. The
// block of 256 pixels takes 351 at a zoom of 1.37.
TEST(ViewFrame, EnlargesEachPixelToItsOwnSquare) {
  const KXVOffscreenPtr image = MakePicture(700, 300, false);
  viewimage::Pyramid pyramid(*image);
  const struct {
    double scale;
    int side;
    int x, y;
  } kCases[] = {{1, 256, 350, 150},  {1.37, 351, 350, 150}, {5, 1280, 256, 256},
                {32, 8192, 512, 17}, {1, 256, 0, 0},        {5, 1280, 699, 299}};
  for (const auto& c : kCases) {
    for (int flips = 0; flips < 4; ++flips) {
      SCOPED_TRACE(testing::Message() << c.scale << " at " << c.x << ", " << c.y << " " << flips);
      View view(KXSize(700, 300), KXSize(301, 200));
      view.Show(KXPoint(c.x, c.y), c.scale);
      if (flips & 1) view.FlipHorz();
      if (flips & 2) view.FlipVert();
      ASSERT_EQ(view.Zoom().side, c.side);
      Screen screen(view);
      screen.Draw(pyramid, view);
      const int left = static_cast<int>(view.Left()), top = static_cast<int>(view.Top());
      for (int y = 0; y < 200; ++y) {
        for (int x = 0; x < 301; ++x) {
          const int ux = flips & 1 ? 300 - x : x, uy = flips & 2 ? 199 - y : y;
          const int column = (ux - left) * 256 / c.side, row = (uy - top) * 256 / c.side;
          KXPoint pixel;
          DWORD expected = screen.Beside();
          if (ux >= left && uy >= top && column < 700 && row < 300) {
            const DWORD color = column / 256 == 1 ? 0 : Pixel(column, row, false);
            expected = screen.Expected(color, ux, uy, left, top);
            ASSERT_TRUE(view.PixelAt(KXPoint(x, y), pixel));
            ASSERT_EQ(pixel, KXPoint(column, row));
          } else {
            ASSERT_FALSE(view.PixelAt(KXPoint(x, y), pixel));
          }
          ASSERT_EQ(screen.At(x, y), expected) << x << ", " << y;
        }
      }
    }
  }
}

// Each copy halves the one before, truncating; at a zoom between two copies boxes of theirs are
// averaged, so that a flat picture stays flat.
TEST(ViewFrame, AveragesWhatIsReduced) {
  const int width = 1500, height = 1201;
  const KXVOffscreenPtr image = MakePicture(width, height, true);
  viewimage::Pyramid pyramid(*image);
  while (pyramid.MakeOne()) continue;
  View view(KXSize(width, height), KXSize(400, 320));
  view.Show(KXPoint(width / 2, height / 2), 0.25);
  Screen screen(view);
  screen.Draw(pyramid, view);
  const auto halved = [](DWORD a, DWORD b, DWORD c, DWORD d) {
    DWORD result = 0;
    for (int shift = 0; shift < 32; shift += 8) {
      const auto of = [shift](DWORD p) { return p >> shift & 255; };
      result |= (of(a) + of(b) + of(c) + of(d)) / 4 << shift;
    }
    return result;
  };
  const auto half = [&](int x, int y) {
    const int below = std::min(y + 1, height - 1);
    return halved(Pixel(x, y, true), Pixel(x + 1, y, true), Pixel(x, below, true),
                  Pixel(x + 1, below, true));
  };
  const int left = static_cast<int>(view.Left()), top = static_cast<int>(view.Top());
  for (int row = 0; row < 300; ++row) {
    for (int column = 0; column < 375; ++column) {
      const int x = 4 * column, y = 4 * row;
      if (x / 256 == 1) continue;
      ASSERT_EQ(screen.At(left + column, top + row),
                halved(half(x, y), half(x + 2, y), half(x, y + 2), half(x + 2, y + 2)))
          << column << ", " << row;
    }
  }
}

TEST(ViewFrame, KeepsTheColorOfWhatIsHalfCovered) {
  const KXVOffscreenPtr image = KXVOffscreen::Make(32, 1024, 1024, 72, &Memory());
  for (int y = 0; y < 1024; y += 2) image->RectFill(KXRect(0, y, 1024, y + 1), 0, 0xFF0000FF);
  viewimage::Pyramid pyramid(*image);
  for (const double scale : {0.5, 0.25, 0.4}) {
    View view(KXSize(1024, 1024), KXSize(64, 64));
    view.Show(KXPoint(512, 512), scale);
    while (pyramid.MakeOne(view.Zoom().level, VisibleBlocks(view))) continue;
    Screen screen(view);
    screen.Draw(pyramid, view);
    const int left = static_cast<int>(view.Left()), top = static_cast<int>(view.Top());
    for (int x = 0; x < 64; ++x) {
      const DWORD expected = screen.Expected(0x7FFF0000, x, 20, left, top);
      EXPECT_EQ(screen.At(x, 20), expected) << scale << ": " << x;
    }
  }
}

TEST(ViewFrame, ShowsEveryDepthAsItIsRead) {
  for (const int bits : {1, 2, 8, 16, 24, 32, 64}) {
    const KXVOffscreenPtr image = KXVOffscreen::Make(bits, 500, 90, 72, &Memory());
    for (int x = 0; x < 200; x += 3) {
      image->RectFill(KXRect(x, 10, x + 2, 80), 0, 0x80402010 + static_cast<DWORD>(x));
    }
    View view(KXSize(500, 90), KXSize(500, 90));
    view.Show(KXPoint(250, 45), 1);
    viewimage::Pyramid pyramid(*image);
    Screen screen(view);
    screen.Draw(pyramid, view);
    std::vector<DWORD> pixels(500 * 90);
    image->ReadPixels(image->GetRect(), KXPixelFormat::kBgra8, pixels.data());
    for (int y = 0; y < 90; ++y) {
      for (int x = 0; x < 500; ++x) {
        DWORD pixel = pixels[static_cast<std::size_t>(y * 500 + x)];
        if (bits == 24 && x >= 256) pixel = 0xFFFFFFFF;  // paper, where nothing was painted
        ASSERT_EQ(screen.At(x, y), screen.Expected(pixel, x, y, 0, 0)) << bits << ": " << x;
      }
    }
  }
}

TEST(ViewFrame, TouchesOnlyWhatIsSeenAndCopiesNoEmptiness) {
  const KXVOffscreenPtr image = KXVOffscreen::Make(32, 100000, 100000, 72, &Memory());
  image->RectFill(KXRect(51200, 51200, 51200 + 1024, 51200 + 1024), 0, 0xFF336699);
  const unsigned before = Memory().GetUsedBlockCount();
  viewimage::Pyramid pyramid(*image);
  View view(KXSize(100000, 100000), KXSize(200, 200));
  view.Show(KXPoint(51200 + 300, 51200 + 300), 1);
  image->UnloadAllBlock();
  Screen screen(view);
  screen.Draw(pyramid, view);
  int onMemory = 0;
  for (int i = 0; i < 16; ++i) {
    const int x = 51200 + 256 * (i % 4), y = 51200 + 256 * (i / 4);
    onMemory += image->IsBlockOnMemory(x, y) != 0;
  }
  EXPECT_EQ(onMemory, 4);
  EXPECT_EQ(Memory().GetUsedBlockCount(), before);

  while (pyramid.MakeOne()) continue;
  ASSERT_EQ(pyramid.Levels(), 17);  // one pixel
  // 16 blocks become 4, and then 1 in every copy, or parts of up to 4; and 4 to make them from.
  EXPECT_LE(Memory().GetUsedBlockCount(), before + 4 + 7 * 4 + 8 + 4);
  view.Fit();
  ASSERT_TRUE(IsComplete(pyramid, view));
}

// Pixels that are in memory stand for blocks that are not made; the others are one tone, and stay
// where they are. A zoom of 1/16 takes blocks of the fourth copy, of which those of the picture
// take 16 pixels. The picture has no blocks in its second column.
TEST(ViewFrame, PicksWhatIsNotMadeYetFromMemory) {
  const KXVOffscreenPtr image = MakePicture(1100, 1100, true);
  viewimage::Pyramid pyramid(*image);
  View view(KXSize(1100, 1100), KXSize(60, 60));
  view.Show(KXPoint(550, 550), 1.0 / 16);
  ASSERT_EQ(view.Zoom(), (Zoom{4, 256}));
  const int left = static_cast<int>(view.Left()), top = static_cast<int>(view.Top());
  EXPECT_FALSE(IsComplete(pyramid, view));
  image->UnloadAllBlock();
  DWORD pixel;
  image->ReadPixels(KXRect(512, 512, 513, 513), KXPixelFormat::kBgra8, &pixel);
  Screen screen(view);
  screen.Draw(pyramid, view);
  const DWORD unmade = screen.At(5, 5);
  for (int y = 0; y < 60; ++y) {
    for (int x = 0; x < 60; ++x) {
      const int column = (x - left) * 16, row = (y - top) * 16;
      DWORD expected = unmade;
      if (column / 256 == 1) expected = screen.Expected(0, x, y, left, top);
      if (column / 256 == 2 && row / 256 == 2) {
        expected = screen.Expected(Pixel(column, row, true), x, y, left, top);
      }
      ASSERT_EQ(screen.At(x, y), expected) << x << ", " << y;
    }
  }
  EXPECT_FALSE(image->IsBlockOnMemory(0, 0));
  // Parts of 15 and of 16 pixels are alike.
  View narrow(KXSize(1100, 1100), KXSize(30, 30));
  narrow.Show(KXPoint(550, 550), 1.0 / 33);
  ASSERT_EQ(narrow.Zoom(), (Zoom{5, 248}));
  screen.Draw(pyramid, narrow);
  for (int x = 0; x < 30; ++x) ASSERT_EQ(screen.At(x, 15), unmade) << x;
}

TEST(ViewFrame, MakesWhatIsSeen) {
  const KXVOffscreenPtr image = MakePicture(1100, 1100, true);
  viewimage::Pyramid pyramid(*image);
  View view(KXSize(1100, 1100), KXSize(120, 120));
  EXPECT_FALSE(IsComplete(pyramid, view));
  int made = 0;
  while (pyramid.MakeOne(view.Zoom().level, VisibleBlocks(view))) ++made;
  EXPECT_EQ(made, 9 + 4 + 1);
  EXPECT_TRUE(IsComplete(pyramid, view));
  while (pyramid.MakeOne()) ++made;
  EXPECT_EQ(made, 9 + 4 + 1 + 8);  // down to one pixel
}

TEST(ViewFrame, ShowsLinesAtTheEndsOfBlocksAtAnyScale) {
  const KXVOffscreenPtr image = KXVOffscreen::Make(32, 600, 600, 72, &Memory());
  image->RectFill(image->GetRect(), 0, 0xFFFFFFFF);
  for (const int at : {255, 511}) image->RectFill(KXRect(at, 0, at + 1, 600), 0, 0xFF000000);
  for (int side = 129; side < 256; ++side) {
    viewimage::Pyramid pyramid(*image);
    View view(KXSize(600, 600), KXSize(600, 40));
    view.Show(KXPoint(300, 300), side / 256.0);
    Screen screen(view);
    screen.Draw(pyramid, view);
    for (const int block : {1, 2}) {
      const int x = static_cast<int>(view.Left()) + block * side - 1;
      EXPECT_LT(screen.At(x, 20) & 0xFF, 200u) << side << ' ' << block;
    }
  }
}

TEST(ViewFrame, FitsWindowsOfAnySize) {
  const KXVOffscreenPtr image = MakePicture(1500, 700, true);
  for (const KXSize window : {KXSize(1, 1), KXSize(1280, 1), KXSize(3, 900), KXSize(64, 34)}) {
    viewimage::Pyramid pyramid(*image);
    View view(KXSize(1500, 700), window);
    for (const double scale : {0.0, 1e-9, 0.01, 32.0}) {
      Screen screen(view);
      if (scale > 0) view.Show(KXPoint(700, 300), scale);
      while (pyramid.MakeOne(view.Zoom().level, VisibleBlocks(view))) continue;
      EXPECT_TRUE(IsComplete(pyramid, view));
      screen.Draw(pyramid, view);
      EXPECT_NE(screen.At(window.cx / 2, window.cy / 2), 0u);
    }
  }
}

TEST(View, TakesTheNearestZoomOfWholeBlocks) {
  const struct {
    double scale;
    Zoom zoom;
  } kCases[] = {{1, {0, 256}},       {32, {0, 8192}},      {100, {0, 8192}}, {0.7, {0, 179}},
                {1.0 / 3, {1, 171}}, {0.125, {3, 256}},    {0.5, {1, 256}},  {0.5001, {1, 256}},
                {5, {0, 1280}},      {1.0 / 512, {9, 256}}};
  for (const auto& c : kCases) EXPECT_EQ(Zoom::Of(c.scale), c.zoom) << c.scale;
  for (const int size : {1, 200, 1000, 16384, 99999, 0x7FFFFF00}) {
    const Zoom zoom = Zoom::Fitting(KXSize(size, size / 2 + 1), KXSize(1000, 700));
    EXPECT_LE(zoom.Shown(size), 1000) << size;
    EXPECT_GE(zoom.Shown(size), std::min(size, 980)) << size;
  }
}

TEST(View, ZoomsAboutThePointer) {
  std::mt19937 random(7);
  for (int i = 0; i < 3000; ++i) {
    View view(KXSize(60000, 50000), KXSize(800, 600));
    view.Show(KXPoint(30000, 25000), std::exp2(static_cast<double>(random() % 20) / 4));
    if (i % 2) view.FlipHorz();
    if (i % 3 == 0) view.FlipVert();
    const KXPoint at(static_cast<int>(random() % 800), static_cast<int>(random() % 600));
    KXPoint before, after;
    ASSERT_TRUE(view.PixelAt(at, before));
    const double scale = view.Zoom().Scale();
    const int steps = static_cast<int>(random() % 9) - 4;
    if (scale * std::exp2(steps / 4.0) < 0.99 || steps == 0) continue;
    view.Step(steps, at);
    ASSERT_TRUE(view.PixelAt(at, after));
    EXPECT_EQ(after, before) << scale << ", " << steps;
    const double expected = std::min(scale * std::exp2(steps / 4.0), 32.0);
    EXPECT_NEAR(view.Zoom().Scale(), expected, expected / 100);
  }
}

TEST(View, KeepsThePictureInTheWindow) {
  View view(KXSize(3000, 200), KXSize(801, 600));
  view.Show(KXPoint(1500, 100), 1);
  EXPECT_EQ(view.Top(), 200);  // in the middle, for it fits
  view.Move(5000, 5000);
  EXPECT_EQ(view.Left(), 400);
  EXPECT_EQ(view.Top(), 200);
  view.Move(-9000, 0);
  EXPECT_EQ(view.Left(), 400 + 1 - 3000);
  view.Fit();
  EXPECT_EQ(view.Left(), (801 - view.Zoom().Shown(3000)) / 2);
  for (int i = 0; i < 40; ++i) view.Step(1, KXPoint(0, 0));
  EXPECT_EQ(view.Zoom().Scale(), 32);
  for (int i = 0; i < 60; ++i) view.Step(-1, KXPoint(0, 0));
  EXPECT_LE(view.Zoom().Shown(3000), 801);
  EXPECT_GE(view.Zoom().Shown(3000), 760);
  view.Resize(KXSize(400, 300));
  EXPECT_LE(view.Zoom().Shown(3000), 400);  // still whole
}

}  // namespace
