#include "smooth_cel/hard_cel.h"

#include <algorithm>
#include <cstddef>
#include <vector>

#include "common/png_io.h"
#include "paint_cel/cel.h"

namespace smoothcel {
namespace {

constexpr int kEnough = 1024;  // pixels of a painted drawing's longer side
constexpr int kInk = 128;      // the density from which on a pixel is ink
constexpr QMCOLORREF kOpaque = 0xFF000000, kWhite = 0xFFFFFF;

/// Reads the pixels as they stand; false for a picture without colours.
bool ReadColors(const std::string& path, KXOffscreen& cel) {
  examples::PngReader png(path, false);
  cel.Create(png.Width(), png.Height(), 32, 0, 0);
  const KXStLockOff lock(&cel);
  std::vector<BYTE> row(static_cast<std::size_t>(png.Width()) * 4);
  bool isColored = false;
  for (const auto& pass : png.Passes()) {
    for (int i = 0; i < pass.rows; ++i) {
      png.ReadRow(row.data());
      const i64 y = pass.y + i64{i} * pass.stepY;
      BYTE* to = cel.GetBaseAddress() + y * cel.GetRowBytes() + i64{pass.x} * 4;
      const BYTE* from = row.data();
      for (int column = 0; column < pass.columns; ++column, from += 4, to += i64{pass.stepX} * 4) {
        to[0] = from[3];
        std::copy(from, from + 3, to + 1);
        isColored |= from[3] != 0 && (from[0] != from[1] || from[1] != from[2]);
      }
    }
  }
  return isColored;
}

/// White paper with black ink.
void DrawInk(const examples::Drawing& drawing, KXOffscreen& cel) {
  cel.Create(drawing.width, drawing.height, 32, kOpaque | kWhite, 1);
  const KXStLockOff lock(&cel);
  for (int y = 0; y < drawing.height; ++y) {
    for (int x = 0; x < drawing.width; ++x) {
      if (drawing.At(x, y) >= kInk) cel.Set32BitPixel(kOpaque, x, y);
    }
  }
}

void Paint(KXOffscreen& cel, int x, int y, QMCOLORREF color) {
  cel.SetForeColor(color);
  cel.SeedScanFill({x, y}, nullptr);
}

/// Returns how many of the seeds lie on ink. No paint is as black as that.
int PaintRegions(KXOffscreen& cel, const std::vector<paintcel::Seed>& seeds) {
  const KXStLockOff lock(&cel);
  int onInk = 0;
  for (const paintcel::Seed& seed : seeds) {
    if (cel.Get24BitPixel(seed.x, seed.y) == 0) {
      ++onInk;
    } else {
      Paint(cel, seed.x, seed.y, seed.color & kWhite);
    }
  }
  return onInk;
}

void PaintAllRegions(KXOffscreen& cel) {
  const KXStLockOff lock(&cel);
  std::size_t regions = 0;
  for (int y = 0; y < cel.GetHeight(); ++y) {
    for (int x = 0; x < cel.GetWidth(); ++x) {
      if (cel.Get24BitPixel(x, y) != kWhite) continue;
      Paint(cel, x, y, paintcel::PaletteColor(regions++) & kWhite);
    }
  }
}

/// Leaves of each square of pixels the one at its middle, so that edges stay hard.
void Reduce(KXOffscreen& cel, int side) {
  KXOffscreen small;
  small.Create(cel.GetWidth() / side, cel.GetHeight() / side, 32, 0, 0);
  {
    const KXStLockOff lock(&cel), smallLock(&small);
    for (int y = 0; y < small.GetHeight(); ++y) {
      for (int x = 0; x < small.GetWidth(); ++x) {
        small.Set32BitPixel(cel.Get32BitPixel(x * side + side / 2, y * side + side / 2), x, y);
      }
    }
  }
  cel = small;
}

}  // namespace

int ReadHardCel(const std::string& path, const std::string& seeds, KXOffscreen& cel) {
  if (seeds.empty() && ReadColors(path, cel)) return 0;
  const examples::Drawing drawing = examples::ReadDrawing(path);
  DrawInk(drawing, cel);
  int onInk = 0;
  if (seeds.empty()) {
    PaintAllRegions(cel);
  } else {
    onInk = PaintRegions(cel, paintcel::ReadSeeds(seeds, drawing));
  }
  const int side = std::max(drawing.width, drawing.height) / kEnough;
  if (side > 1 && std::min(drawing.width, drawing.height) >= side) Reduce(cel, side);
  return onInk;
}

}  // namespace smoothcel
