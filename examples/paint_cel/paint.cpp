#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iterator>

#include "common/program.h"
#include "paint_cel/cel.h"

namespace paintcel {

using examples::UserError;

namespace {

constexpr QMCOLORREF kPalette[] = {0xFFE3F2FB, 0xFF4A7CE0, 0xFF8FB56B, 0xFFC9A45F,
                                   0xFF5FC4E9, 0xFF7A6FB8, 0xFFB7D7C9, 0xFF5B8BD1,
                                   0xFFA87F4F, 0xFF9CC8F2, 0xFF6E9E3F, 0xFFCBB8E0};

/// The image's pixel at the middle of a pixel of the drawing.
KXPoint ToImage(int x, int y, const Cel& cel) {
  return KXPoint(std::min(static_cast<int>((x + 0.5) * cel.scale), cel.Width() - 1),
                 std::min(static_cast<int>((y + 0.5) * cel.scale), cel.Height() - 1));
}

BYTE InkAt(const KXPoint& point, Cel& cel) {
  KXVOffscreenAutoLock lock(cel.ink.get(), point.x, point.y, 0);
  return cel.ink->Get8BitColor();
}

bool IsPainted(const KXPoint& point, Cel& cel) {
  KXVOffscreenAutoLock lock(cel.paint.get(), point.x, point.y, 0);
  return cel.paint->Get32BitColor() >> 24 != 0;
}

/// Fills the region around `point`, whose ink is `density`, up to ink denser than `margin`.
void Fill(const KXPoint& point, QMCOLORREF color, int density, int margin, Cel& cel,
          PaintCount& count) {
  KXRect filled;
  int pixels = 0;
  if (cel.paint->FloodFill(filled, point, color, cel.paper.get(), cel.ink.get(), KXPoint(0, 0),
                           cel.paint->GetRect(), margin - density, &pixels, 1)) {
    ++count.regions;
    count.pixels += pixels;
  }
}

}  // namespace

QMCOLORREF PaletteColor(std::size_t region) { return kPalette[region % std::size(kPalette)]; }

std::vector<Seed> ReadSeeds(const std::string& path, const examples::Drawing& drawing) {
  std::ifstream file(path);
  if (!file) throw UserError(path + ": cannot be read");
  std::vector<Seed> seeds;
  std::string line;
  for (int number = 1; std::getline(file, line); ++number) {
    if (line.empty() || line == "#" || line.starts_with("# ")) continue;
    const std::string place = path + ":" + std::to_string(number) + ": ";
    int x = 0, y = 0, end = 0;
    unsigned red = 0, green = 0, blue = 0;
    if (std::sscanf(line.c_str(), "%d %d #%2x%2x%2x %n", &x, &y, &red, &green, &blue, &end) != 5 ||
        static_cast<std::size_t>(end) != line.size()) {
      throw UserError(place + "not of the form \"x y #RRGGBB\"");
    }
    if (x < 0 || y < 0 || x >= drawing.width || y >= drawing.height) {
      throw UserError(place + "outside the drawing of " + std::to_string(drawing.width) + " by " +
                      std::to_string(drawing.height) + " pixels");
    }
    const QMCOLORREF color = blue << 16 | green << 8 | red;
    seeds.push_back({x, y, 0xFF000000 | (color ? color : 0x010101)});
  }
  return seeds;
}

PaintCount PaintSeeds(const std::vector<Seed>& seeds, int margin, Cel& cel) {
  PaintCount count;
  KXProgressBar progress(static_cast<int>(seeds.size()), "Painting");
  for (const Seed& seed : seeds) {
    const KXPoint point = ToImage(seed.x, seed.y, cel);
    const int density = InkAt(point, cel);
    if (density <= margin / 2) {
      Fill(point, seed.color, density, margin, cel, count);
    } else {
      ++count.seedsOnInk;
    }
    progress.Step();
  }
  return count;
}

PaintCount PaintAllRegions(int margin, Cel& cel) {
  PaintCount count;
  KXAbort abort;
  const int step = std::max(1, static_cast<int>(cel.scale));
  KXProgressBar progress(cel.paint->GetBlockCount(nullptr, nullptr), "Finding and painting");
  KXBlockGetter blocks(cel.paint.get(), cel.paint->GetRect(), 1);
  for (KXRect block; blocks.GetNextBlock(block); progress.Step()) {
    abort.CheckAbort();
    for (int y = block.top + step / 2; y < block.bottom; y += step) {
      for (int x = block.left + step / 2; x < block.right; x += step) {
        const KXPoint point(x, y);
        const int density = InkAt(point, cel);
        if (density > margin / 2 || IsPainted(point, cel)) continue;
        Fill(point, PaletteColor(static_cast<std::size_t>(count.regions)), density, margin, cel,
             count);
      }
    }
  }
  return count;
}

}  // namespace paintcel
