// The flood fill beside OpenCV's, on one thread: 4-connected, on pictures of 4000 by 4000 pixels.
//
// Ours judges a reference image of its own ("onto a layer") or the painted one ("in place"); OpenCV
// knows the second alone. Every pass fills the same regions with another colour than the pass
// before, so that nothing has to be put back.
#ifdef KXWCMN_WITH_OPENCV

#include <benchmark/benchmark.h>
#ifdef KXWCMN_WITH_PNG
#include <png.h>
#endif

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <memory>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <random>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "bench/table.h"
#include "kxwcmn/memory/virtualmemory.h"
#include "kxwcmn/offscreen/autolock.h"
#include "kxwcmn/offscreen/voffscreen.h"

namespace {

using benchmark::State;

constexpr int kSide = 4000;
constexpr BYTE kPaper = 255, kInk = 0;

/// A grey picture and a point in each region that is to be filled.
struct Scene {
  std::vector<BYTE> grey = std::vector<BYTE>(std::size_t{kSide} * kSide, kPaper);
  std::vector<KXPoint> seeds;
  int noise = 0;  // how far the channels of a colour may lie beside the grey

  BYTE& At(int x, int y) { return grey[static_cast<std::size_t>(y) * kSide + x]; }
  BYTE At(int x, int y) const { return grey[static_cast<std::size_t>(y) * kSide + x]; }
};

const Scene& Blank() {
  static const Scene scene = [] {
    Scene blank;
    blank.seeds = {KXPoint(kSide / 2, kSide / 2)};
    return blank;
  }();
  return scene;
}

/// Paper of 248 with grain.
const Scene& Grain() {
  static const Scene scene = [] {
    Scene grain = Blank();
    grain.noise = 6;
    std::fill(grain.grey.begin(), grain.grey.end(), BYTE{248});
    return grain;
  }();
  return scene;
}

#ifdef KXWCMN_WITH_PNG
/// The example's ink drawing at twice its size, with one seed for each of its regions.
const Scene& Drawing() {
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
Scene Maze(int unit) {
  Scene maze;
  const int cells = (kSide / unit - 1) / 2;
  std::fill(maze.grey.begin(), maze.grey.end(), kInk);
  const auto dig = [&](int column, int row) {
    for (int y = 0; y < unit; ++y) {
      for (int x = 0; x < unit; ++x) maze.At(column * unit + x, row * unit + y) = kPaper;
    }
  };
  std::mt19937 random(1);
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
const Scene& NarrowMaze() {
  static const Scene scene = Maze(1);
  return scene;
}
const Scene& WideMaze() {
  static const Scene scene = Maze(8);
  return scene;
}

/// Calls `set(x, y, red, green, blue)` for the pixels of a scene.
template <class Set>
void ForEachPixel(const Scene& scene, Set set) {
  std::mt19937 random(2);
  const auto channel = [&](BYTE grey) {
    if (scene.noise == 0) return grey;
    return static_cast<BYTE>(grey + static_cast<int>(random() % (2u * scene.noise + 1)) -
                             scene.noise);
  };
  for (int y = 0; y < kSide; ++y) {
    for (int x = 0; x < kSide; ++x) {
      const BYTE grey = scene.At(x, y);
      const BYTE red = channel(grey), green = channel(grey), blue = channel(grey);
      set(x, y, red, green, blue);
    }
  }
}

// --- Ours ---------------------------------------------------------------------------------------

struct DeleteImage {
  void operator()(KXVOffscreen* image) const { KXVOffscreen::DeleteOffscreen(image); }
};
using ImagePtr = std::unique_ptr<KXVOffscreen, DeleteImage>;

ImagePtr MakeImage(int bits) {
  static KXVirtualMemory* const manager = [] {
    auto* made = new KXVirtualMemory;
    made->Create(512u << 20, nullptr);
    return made;
  }();
  ImagePtr image(KXVOffscreen::CreateOffscreen(bits));
  image->Create(manager, kSide, kSide, 72);
  return image;
}

ImagePtr MakeImage(int bits, const Scene& scene) {
  ImagePtr image = MakeImage(bits);
  KXVOffscreenAutoLock lock(image.get(), 1);
  ForEachPixel(scene, [&](int x, int y, BYTE red, BYTE green, BYTE blue) {
    image->MoveCursor(x, y);
    image->Set32BitColor(255, red, green, blue);
  });
  return image;
}

/// Colours that no scene holds, within no margin of its own or of each other.
constexpr DWORD kColors[] = {0xFF0000C0, 0xFFC00000};
/// The same for densities.
constexpr DWORD kDensities[] = {0x41000000, 0x81000000};

void Ours(State& state, const Scene& (*scene)(), int bits, int margin, bool inPlace) {
  const ImagePtr drawing = MakeImage(bits, scene());
  const ImagePtr layer = inPlace ? nullptr : MakeImage(bits);
  KXVOffscreen* const paint = inPlace ? drawing.get() : layer.get();
  const DWORD* const colors = bits == 8 ? kDensities : kColors;
  i64 pixels = 0;
  int pass = 0;
  const auto fill = [&] {
    pixels = 0;
    for (const KXPoint& seed : scene().seeds) {
      KXRect box;
      int count = 0;
      paint->FloodFill(box, seed, colors[pass & 1], drawing.get(), nullptr, KXPoint(0, 0),
                       paint->GetRect(), margin, &count, 0);
      pixels += count;
    }
    ++pass;
  };
  fill();
  for (auto _ : state) fill();
  state.counters["pixels"] = static_cast<double>(pixels);
}

// --- OpenCV -------------------------------------------------------------------------------------

/// `type` is CV_8UC1, CV_8UC3 or, for 32 bits judged as a whole, CV_32SC1.
void OpenCv(State& state, const Scene& (*scene)(), int type, int margin) {
  cv::setNumThreads(1);
  cv::Mat image(kSide, kSide, type);
  ForEachPixel(scene(), [&](int x, int y, BYTE red, BYTE green, BYTE blue) {
    if (type == CV_8UC1) image.at<BYTE>(y, x) = static_cast<BYTE>(255 - red);
    if (type == CV_8UC3) image.at<cv::Vec3b>(y, x) = {blue, green, red};
    if (type == CV_32SC1) image.at<int>(y, x) = red | green << 8 | blue << 16;
  });
  const cv::Scalar colors[] = {type == CV_8UC3 ? cv::Scalar(0, 0, 0xC0) : cv::Scalar(0x41),
                               type == CV_8UC3 ? cv::Scalar(0xC0, 0, 0) : cv::Scalar(0x81)};
  const cv::Scalar range = cv::Scalar::all(margin);
  i64 pixels = 0;
  int pass = 0;
  const auto fill = [&] {
    pixels = 0;
    for (const KXPoint& seed : scene().seeds) {
      cv::Rect box;
      pixels += cv::floodFill(image, cv::Point(seed.x, seed.y), colors[pass & 1], &box, range,
                              range, 4 | cv::FLOODFILL_FIXED_RANGE);
    }
    ++pass;
  };
  fill();
  for (auto _ : state) fill();
  state.counters["pixels"] = static_cast<double>(pixels);
}

bool Add(const std::string& name, const Scene& (*scene)(), int bits, int margin, int type) {
  for (const bool inPlace : {true, false}) {
    kxw::bench::Add(
        "flood fill: " + name + (inPlace ? ", in place" : ", onto a layer"), 2,
        [=](State& state) { Ours(state, scene, bits, margin, inPlace); }, "OpenCV floodFill",
        [=](State& state) { OpenCv(state, scene, type, margin); });
  }
  return true;
}

const bool kAdded = [] {
  Add("blank, 8 bits", Blank, 8, 0, CV_8UC1);
  Add("maze of 1 pixel, 8 bits", NarrowMaze, 8, 0, CV_8UC1);
  Add("maze of 8 pixels, 8 bits", WideMaze, 8, 0, CV_8UC1);
  Add("blank, 32 bits", Blank, 32, 0, CV_32SC1);
  Add("maze of 1 pixel, 32 bits", NarrowMaze, 32, 0, CV_32SC1);
  Add("blank, 32 bits, margin 16", Blank, 32, 16, CV_8UC3);
  Add("grain, 32 bits, margin 16", Grain, 32, 16, CV_8UC3);
#ifdef KXWCMN_WITH_PNG
  Add("drawing, 8 bits", Drawing, 8, 0, CV_8UC1);
  Add("drawing, 32 bits", Drawing, 32, 0, CV_32SC1);
  Add("drawing, 32 bits, margin 16", Drawing, 32, 16, CV_8UC3);
#endif
  return true;
}();

}  // namespace

#endif
