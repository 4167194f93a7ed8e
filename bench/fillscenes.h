#pragma once

// The pictures that fills are measured on, with OpenCV's help.
#ifdef KXWCMN_WITH_OPENCV

#ifdef KXWCMN_WITH_PNG
#include <png.h>
#endif

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
  bool isGrain = false;  // a scan of paper instead of the grey picture

  BYTE& At(int x, int y) { return grey[static_cast<std::size_t>(y) * kSide + x]; }
  BYTE At(int x, int y) const { return grey[static_cast<std::size_t>(y) * kSide + x]; }

  /// At 8 bits densities, at 24 and 32 bits opaque colours.
  Bytes Picture(int bits) const {
    // No two pixels of a channel are further apart than 14, so that a margin of 16 meets them all.
    if (isGrain) return kxw::bench::Photograph(bits, kSide, kSide, 248, 3, 4);
    return kxw::bench::MakePicture(bits, kSide, kSide, [&](int x, int y) {
      const DWORD value = At(x, y);
      return bits == 8 ? (255 - value) << 24 : 0xFF000000 | value * 0x010101;
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

/// Paper as a scanner sees it.
inline const Scene& Grain() {
  static const Scene scene = [] {
    Scene grain = Blank();
    grain.isGrain = true;
    return grain;
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
