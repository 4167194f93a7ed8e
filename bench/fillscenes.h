#pragma once

// The pictures that fills are measured on, with OpenCV's help.
#ifdef KXWCMN_WITH_OPENCV

#ifdef KXWCMN_WITH_PNG
#include <png.h>
#endif

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "bench/pictures.h"
#include "kxwcmn/core/geometry.h"

namespace kxw::bench {

inline constexpr int kSide = 4000;
inline constexpr BYTE kPaper = 255, kInk = 0;

/// A grey picture and a point in each region that is to be filled.
struct Scene {
  std::vector<BYTE> grey = std::vector<BYTE>(std::size_t{kSide} * kSide, kPaper);
  std::vector<KXPoint> seeds;
  int grain = 0;  // how far a channel may be off the grey picture, as in a scan

  BYTE& At(int x, int y) { return grey[static_cast<std::size_t>(y) * kSide + x]; }
  BYTE At(int x, int y) const { return grey[static_cast<std::size_t>(y) * kSide + x]; }

  /// At 8 bits densities, at 24 and 32 bits opaque colours.
  Bytes Picture(int bits) const {
    std::mt19937_64 random = kxw::bench::Random(4);
    return kxw::bench::MakePicture(bits, kSide, kSide, [&](int x, int y) {
      const DWORD value = At(x, y);
      if (grain == 0) return bits == 8 ? (255 - value) << 24 : 0xFF000000 | value * 0x010101;
      DWORD color = 0xFF;
      for (u64 c = 0, word = random(); c < 3; ++c, word >>= 16) {
        const int speck = static_cast<int>(word % static_cast<u64>(2 * grain + 1)) - grain;
        color =
            color << 8 | static_cast<DWORD>(std::clamp(static_cast<int>(value) + speck, 0, 255));
      }
      return bits == 8 ? ~color << 24 : color;
    });
  }
};

inline const Scene& Blank() {
  static const Scene scene = [] {
    Scene blank;
    blank.seeds = {KXPoint(kSide / 2, kSide / 2)};
    return blank;
  }();
  return scene;
}

/// The scene as a scanner sees it: no two pixels of the paper are further apart than 16.
inline Scene Scanned(const Scene& scene) {
  Scene scan = scene;
  scan.grain = 8;
  for (BYTE& value : scan.grey) value = static_cast<BYTE>(value * 240 / 255);
  return scan;
}
inline const Scene& Grain() {
  static const Scene scene = Scanned(Blank());
  return scene;
}

/// Inked discs on paper, which is filled around them, and so is each of them.
inline const Scene& Cels() {
  static const Scene scene = [] {
    Scene cels;
    const Bytes ink = kxw::bench::LineArt(8, kSide, kSide);
    for (std::size_t i = 0; i < ink.size(); ++i)
      cels.grey[i] = static_cast<BYTE>((255 - ink[i]) | 1);
    cels.seeds = {KXPoint(0, 0)};
    for (int y = 256; y < kSide; y += 512) {
      for (int x = 256; x < kSide; x += 512) cels.seeds.emplace_back(x, y);
    }
    return cels;
  }();
  return scene;
}
inline const Scene& ScannedCels() {
  static const Scene scene = Scanned(Cels());
  return scene;
}

/// Walls at random on a third of the pixels.
inline const Scene& Specks() {
  static const Scene scene = [] {
    Scene specks;
    const Bytes noise = kxw::bench::Noise(specks.grey.size(), 7);
    for (std::size_t i = 0; i < noise.size(); ++i) specks.grey[i] = noise[i] < 85 ? kInk : kPaper;
    specks.seeds = {KXPoint(kSide / 2, kSide / 2)};
    specks.At(kSide / 2, kSide / 2) = kPaper;
    return specks;
  }();
  return scene;
}

#ifdef KXWCMN_WITH_PNG
/// The example's ink drawing at twice its size, with one seed for each of its regions.
inline const Scene& Drawing() {
  static const Scene scene = [] {
    png_image png{};
    png.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_file(&png, KXWCMN_BENCH_DATA "/explorer.png")) std::abort();
    png.format = PNG_FORMAT_GRAY;
    std::vector<BYTE> pixels(PNG_IMAGE_SIZE(png));
    if (!png_image_finish_read(&png, nullptr, pixels.data(), 0, nullptr)) std::abort();
    Scene drawing;
    // Odd values are left to the colours that are filled with.
    for (int y = 0; y < kSide; ++y) {
      for (int x = 0; x < kSide; ++x) {
        drawing.At(x, y) = pixels[static_cast<std::size_t>(y / 2) * png.width + x / 2] | 1;
      }
    }
    std::ifstream file(KXWCMN_BENCH_DATA "/explorer.seeds");
    cv::Mat once(kSide, kSide, CV_8UC1, drawing.grey.data());
    once = once.clone();
    for (std::string line; std::getline(file, line);) {
      int x, y;
      if (!(std::istringstream(line) >> x >> y)) continue;
      x *= 2;
      y *= 2;
      if (x >= kSide || y >= kSide || once.at<BYTE>(y, x) != kPaper) continue;
      cv::floodFill(once, cv::Point(x, y), cv::Scalar(100));
      drawing.seeds.emplace_back(x, y);
    }
    return drawing;
  }();
  return scene;
}

#endif

/// A maze without loops whose ways and walls are `unit` pixels wide.
inline Scene Maze(int unit) {
  Scene maze;
  const int cells = (kSide / unit - 1) / 2;
  std::fill(maze.grey.begin(), maze.grey.end(), kInk);
  const auto dig = [&](int column, int row) {
    for (int y = 0; y < unit; ++y) {
      for (int x = 0; x < unit; ++x) maze.At(column * unit + x, row * unit + y) = kPaper;
    }
  };
  std::mt19937_64 random = kxw::bench::Random(3);
  std::vector<bool> seen(static_cast<std::size_t>(cells) * cells);
  std::vector<std::pair<int, int>> way = {{0, 0}};
  seen[0] = true;
  dig(1, 1);
  while (!way.empty()) {
    const auto [x, y] = way.back();
    std::vector<std::pair<int, int>> next;
    for (const auto& [dx, dy] : {std::pair(1, 0), {-1, 0}, {0, 1}, {0, -1}}) {
      const int nx = x + dx, ny = y + dy;
      if (nx < 0 || ny < 0 || nx >= cells || ny >= cells) continue;
      if (!seen[static_cast<std::size_t>(ny) * cells + nx]) next.emplace_back(nx, ny);
    }
    if (next.empty()) {
      way.pop_back();
      continue;
    }
    const auto [nx, ny] = next[random() % next.size()];
    seen[static_cast<std::size_t>(ny) * cells + nx] = true;
    dig(x + nx + 1, y + ny + 1);
    dig(2 * nx + 1, 2 * ny + 1);
    way.emplace_back(nx, ny);
  }
  maze.seeds = {KXPoint(unit, unit)};
  return maze;
}
inline const Scene& NarrowMaze() {
  static const Scene scene = Maze(1);
  return scene;
}
inline const Scene& WideMaze() {
  static const Scene scene = Maze(8);
  return scene;
}

}  // namespace kxw::bench

#endif
