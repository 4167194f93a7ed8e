// Draws the example's line drawing, and the table of seeds that colours it.
//
//   draw_explorer DRAWING.png SEEDS [PREVIEW.png]

#include <cairo.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <map>
#include <vector>

#include "picture.h"

namespace {

using ink::Colour;
using ink::Sheet;

/// Paper is what is lighter than this; the rest is line.
constexpr int kPaper = 128;
/// Darker than this is solid ink.
constexpr int kInk = 32;
/// Smaller regions are pinholes between lines; the clean-up fills them with ink.
constexpr int kSmallestRegion = 28;

struct Region {
  int x, y;  // the pixel farthest from any line
  Colour colour;
};

int Lightness(const Sheet& sheet, int x, int y) {
  return sheet.Drawing()[y * sheet.DrawingStride() + x];
}

/// Each pixel's distance to the nearest line, or the border, in thirds of a pixel: two sweeps with
/// weights 3 and 4.
std::vector<int> Distances(const Sheet& sheet) {
  const int w = sheet.width(), h = sheet.height();
  std::vector<int> d(static_cast<std::size_t>(w * h));
  const auto at = [&](int x, int y) -> int& { return d[static_cast<std::size_t>(y * w + x)]; };
  const auto reached = [&](int x, int y, int by) {
    return x < 0 || y < 0 || x >= w || y >= h ? by : at(x, y) + by;
  };
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      at(x, y) = Lightness(sheet, x, y) <= kPaper
                     ? 0
                     : std::min({reached(x - 1, y, 3), reached(x, y - 1, 3),
                                 reached(x - 1, y - 1, 4), reached(x + 1, y - 1, 4)});
    }
  }
  for (int y = h - 1; y >= 0; --y) {
    for (int x = w - 1; x >= 0; --x) {
      at(x, y) = std::min({at(x, y), reached(x + 1, y, 3), reached(x, y + 1, 3),
                           reached(x + 1, y + 1, 4), reached(x - 1, y + 1, 4)});
    }
  }
  return d;
}

/// The connected regions of pixels lighter than `threshold`, in the order in which a reader meets
/// them. A pixel is its place in the rows of the sheet: y * width + x.
std::vector<std::vector<int>> Components(const Sheet& sheet, int threshold) {
  const int w = sheet.width(), h = sheet.height();
  std::vector<bool> seen(static_cast<std::size_t>(w * h));
  std::vector<std::vector<int>> components;
  for (int start = 0; start < w * h; ++start) {
    std::vector<int> members;
    const auto visit = [&](int i) {
      const auto mark = seen[static_cast<std::size_t>(i)];
      if (mark || Lightness(sheet, i % w, i / w) <= threshold) return;
      seen[static_cast<std::size_t>(i)] = true;
      members.push_back(i);
    };
    visit(start);
    for (std::size_t next = 0; next < members.size(); ++next) {
      const int i = members[next], x = i % w, y = i / w;
      if (x > 0) visit(i - 1);
      if (x + 1 < w) visit(i + 1);
      if (y > 0) visit(i - w);
      if (y + 1 < h) visit(i + w);
    }
    if (!members.empty()) components.push_back(std::move(members));
  }
  return components;
}

/// Inks one pixel of each pair that would join two regions across a corner, so that a fill that
/// takes such steps and one that does not find the same regions.
void SealCorners(Sheet& sheet) {
  for (int y = 0; y + 1 < sheet.height(); ++y) {
    for (int x = 0; x + 1 < sheet.width(); ++x) {
      const auto paper = [&](int dx, int dy) { return Lightness(sheet, x + dx, y + dy) > kPaper; };
      const bool falling = paper(0, 0) && paper(1, 1) && !paper(1, 0) && !paper(0, 1);
      const bool rising = !paper(0, 0) && !paper(1, 1) && paper(1, 0) && paper(0, 1);
      if (falling) sheet.Ink(x, y);
      if (rising) sheet.Ink(x + 1, y);
    }
  }
}

/// Fills the pinholes between lines, then the grey smudges within them.
void FillPinholes(Sheet& sheet) {
  const int w = sheet.width();
  for (const int threshold : {kPaper, kInk}) {
    for (const std::vector<int>& members : Components(sheet, threshold)) {
      const auto paper = std::count_if(members.begin(), members.end(), [&](int i) {
        return Lightness(sheet, i % w, i / w) > kPaper;
      });
      if (paper >= kSmallestRegion) continue;
      for (const int i : members) sheet.Ink(i % w, i / w);
    }
  }
}

/// The regions of paper, each with the colour that most of its pixels have on the colour map.
/// `labels` receives the number of each pixel's region, -1 on a line.
std::vector<Region> FindRegions(const Sheet& sheet, std::vector<int>& labels) {
  const int w = sheet.width();
  const std::vector<int> distances = Distances(sheet);
  labels.assign(distances.size(), -1);
  std::vector<Region> regions;
  for (const std::vector<int>& members : Components(sheet, kPaper)) {
    std::map<Colour, int> votes;
    int deepest = members.front();
    for (const int i : members) {
      labels[static_cast<std::size_t>(i)] = static_cast<int>(regions.size());
      ++votes[sheet.ColourAt(i % w, i / w)];
      if (distances[static_cast<std::size_t>(i)] > distances[static_cast<std::size_t>(deepest)]) {
        deepest = i;
      }
    }
    const auto fewer = [](const auto& a, const auto& b) { return a.second < b.second; };
    const Colour colour = std::max_element(votes.begin(), votes.end(), fewer)->first;
    regions.push_back({deepest % w, deepest / w, colour});
  }
  return regions;
}

bool WriteSeeds(const std::vector<Region>& regions, const std::string& path) {
  std::ofstream out(path);
  out << "# The colours of explorer.png: x y #RRGGBB, the pixel a point inside the region.\n";
  for (const Region& region : regions) {
    char line[40];
    std::snprintf(line, sizeof line, "%d %d #%06X\n", region.x, region.y, region.colour);
    out << line;
  }
  return static_cast<bool>(out.flush());
}

/// The drawing with each region in its colour, the lines over it.
bool WritePreview(const Sheet& sheet, const std::vector<Region>& regions,
                  const std::vector<int>& labels, const std::string& path) {
  const int w = sheet.width(), h = sheet.height();
  // Below the lines each region grows by a few pixels, so that no white shows beside them.
  std::vector<int> grown = labels;
  for (int pass = 0; pass < 8; ++pass) {
    const std::vector<int> before = grown;
    for (int i = w; i < w * h - w; ++i) {
      const auto at = [&](int k) { return before[static_cast<std::size_t>(k)]; };
      if (at(i) < 0) {
        grown[static_cast<std::size_t>(i)] = std::max({at(i - 1), at(i + 1), at(i - w), at(i + w)});
      }
    }
  }
  cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_RGB24, w, h);
  unsigned char* data = cairo_image_surface_get_data(surface);
  for (int i = 0; i < w * h; ++i) {
    const int label = grown[static_cast<std::size_t>(i)];
    const Colour colour = label < 0 ? 0xFFFFFF : regions[static_cast<std::size_t>(label)].colour;
    const Colour light = static_cast<Colour>(Lightness(sheet, i % w, i / w));
    Colour pixel = 0;
    for (int shift : {16, 8, 0}) pixel |= (((colour >> shift) & 255u) * light / 255) << shift;
    reinterpret_cast<Colour*>(data + i / w * cairo_image_surface_get_stride(surface))[i % w] =
        pixel;
  }
  cairo_surface_mark_dirty(surface);
  const bool written = cairo_surface_write_to_png(surface, path.c_str()) == CAIRO_STATUS_SUCCESS;
  cairo_surface_destroy(surface);
  return written;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3 || argc > 4) {
    std::cerr << "usage: draw_explorer DRAWING.png SEEDS [PREVIEW.png]\n";
    return 2;
  }
  Sheet sheet(picture::kSize, picture::kSize, picture::palette::kPaper);
  picture::Draw(sheet);

  SealCorners(sheet);
  FillPinholes(sheet);
  std::vector<int> labels;
  const std::vector<Region> regions = FindRegions(sheet, labels);
  const bool written = sheet.Write(argv[1]) && WriteSeeds(regions, argv[2]) &&
                       (argc < 4 || WritePreview(sheet, regions, labels, argv[3]));
  if (!written) {
    std::cerr << "draw_explorer: cannot write the files\n";
    return 1;
  }
  std::cout << regions.size() << " regions\n";
}
