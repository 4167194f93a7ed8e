// The flood fill beside OpenCV's, on one thread: 4-connected, on pictures of 4000 by 4000 pixels.
//
// Ours judges a reference image of its own ("onto a layer") or the painted one ("in place"); OpenCV
// knows the second alone, and so does the fill by a stack of spans over one array, as textbooks
// have it. Where the judged picture is painted it is put back before each pass, outside the clock.
// The pixels that ours paints are looked at once: they are those of OpenCV.
#ifdef KXWCMN_WITH_OPENCV

#include <benchmark/benchmark.h>

#include <cstring>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <string>
#include <vector>

#include "bench/fillscenes.h"
#include "bench/table.h"
#include "kxwcmn/offscreen/voffscreen.h"

namespace {

using benchmark::State;
using namespace kxw::bench;

/// What is filled with, two colours for passes that take turns. No scene holds them, within no
/// margin of its own or of each other. The lowest byte of a colour is red, in memory it is blue.
struct Colors {
  DWORD ours[2];
  DWORD memory;  // the first of them
  cv::Scalar theirs;
};
Colors ColorsOf(int type, int bits) {
  if (type == CV_8UC1) return {{0x41000000, 0x81000000}, 0x41, cv::Scalar(0x41)};
  // At 24 bits a pixel reads without an alpha, and is filled with such a colour.
  if (bits == 24) return {{0x00C00000, 0x000000C0}, 0xC0, cv::Scalar(0xC0, 0, 0)};
  const DWORD blue = 0xFF0000C0;
  return {{0xFFC00000, 0xFF0000C0},
          blue,
          type == CV_8UC3 ? cv::Scalar(0xC0, 0, 0) : cv::Scalar(static_cast<int>(blue))};
}

// --- OpenCV -------------------------------------------------------------------------------------

int BitsOf(int type) { return type == CV_8UC1 ? 8 : type == CV_8UC3 ? 24 : 32; }

/// `type` is CV_8UC1, CV_8UC3 or, for 32 bits judged as a whole, CV_32SC1.
cv::Mat MatOf(const Scene& scene, int type) {
  Bytes rows = scene.Picture(BitsOf(type));
  return cv::Mat(kSide, kSide, type, rows.data()).clone();
}

i64 Fill(cv::Mat& image, const Scene& scene, const cv::Scalar& color, int margin) {
  const cv::Scalar range = cv::Scalar::all(margin);
  constexpr int kFlags = 4 | cv::FLOODFILL_FIXED_RANGE;
  i64 pixels = 0;
  cv::Mat mask;  // one for all seeds: without, each call with a margin would make its own
  if (margin) mask = cv::Mat::zeros(kSide + 2, kSide + 2, CV_8UC1);
  for (const KXPoint& seed : scene.seeds) {
    const cv::Point at(seed.x, seed.y);
    cv::Rect box;
    pixels += margin ? cv::floodFill(image, mask, at, color, &box, range, range, kFlags)
                     : cv::floodFill(image, at, color, &box, range, range, kFlags);
  }
  return pixels;
}

void OpenCv(State& state, const Scene& (*scene)(), int type, int margin) {
  cv::setNumThreads(1);
  const cv::Mat picture = MatOf(scene(), type);
  cv::Mat image = picture.clone();
  i64 pixels = 0;
  for (auto _ : state) {
    state.PauseTiming();
    picture.copyTo(image);
    state.ResumeTiming();
    pixels = Fill(image, scene(), ColorsOf(type, BitsOf(type)).theirs, margin);
  }
  state.counters["pixels"] = static_cast<double>(pixels);
}

// --- A stack of spans ---------------------------------------------------------------------------

struct Span {
  int y, left, right, dy;
};

template <class Pixel>
i64 FillBySpans(std::vector<Pixel>& image, std::vector<Span>& stack, const KXPoint& seed,
                Pixel color) {
  const auto rowOf = [&image](int y) { return &image[static_cast<std::size_t>(y) * kSide]; };
  const auto push = [&stack](int y, int left, int right, int dy) {
    if (y + dy >= 0 && y + dy < kSide) stack.push_back({y, left, right, dy});
  };
  const Pixel base = rowOf(seed.y)[seed.x];
  i64 count = 0;
  push(seed.y, seed.x, seed.x, 1);
  push(seed.y + 1, seed.x, seed.x, -1);
  while (!stack.empty()) {
    const auto [from, left, right, dy] = stack.back();
    stack.pop_back();
    const int y = from + dy;
    Pixel* const row = rowOf(y);
    int x = left, start = left;
    while (start > 0 && row[left] == base && row[start - 1] == base) row[--start] = color;
    if (start < left) push(y, start, left - 1, -dy);
    count += left - start;
    while (x <= right) {
      const int first = x;
      while (x < kSide && row[x] == base) row[x++] = color;
      count += x - first;
      if (x > start) push(y, start, x - 1, dy);
      if (x > right + 1) push(y, right + 1, x - 1, -dy);
      do ++x;
      while (x <= right && row[x] != base);
      start = x;
    }
  }
  return count;
}

template <class Pixel>
void BySpans(State& state, const Scene& (*scene)()) {
  const Bytes bytes = scene().Picture(static_cast<int>(8 * sizeof(Pixel)));
  std::vector<Pixel> picture(bytes.size() / sizeof(Pixel)), image;
  std::memcpy(picture.data(), bytes.data(), bytes.size());
  std::vector<Span> stack;
  i64 pixels = 0;
  for (auto _ : state) {
    state.PauseTiming();
    image = picture;
    state.ResumeTiming();
    pixels = 0;
    for (const KXPoint& seed : scene().seeds)
      pixels += FillBySpans<Pixel>(image, stack, seed, 0x41);
  }
  state.counters["pixels"] = static_cast<double>(pixels);
}

// --- Ours ---------------------------------------------------------------------------------------

/// Whether ours has painted where OpenCV paints, and nowhere else.
bool IsRight(const Bytes& painted, const Scene& scene, int bits, int type, int margin) {
  const Colors colors = ColorsOf(type, bits);
  cv::Mat mat = MatOf(scene, type);
  Fill(mat, scene, colors.theirs, margin);
  const std::size_t step = static_cast<std::size_t>(bits / 8), theirs = mat.elemSize();
  const DWORD color = colors.memory;
  for (std::size_t i = 0; i < mat.total(); ++i) {
    const bool isPainted = std::memcmp(&painted[i * step], &color, step) == 0;
    if (isPainted != (std::memcmp(mat.data + i * theirs, &color, theirs) == 0)) return false;
  }
  return true;
}

void Ours(State& state, const Scene& (*scene)(), int bits, int margin, int type, bool inPlace) {
  const Bytes picture = scene().Picture(bits);
  const KXVOffscreenPtr drawing = MakeImage(bits, kSide, kSide);
  const KXVOffscreenPtr layer = inPlace ? nullptr : MakeImage(bits, kSide, kSide);
  KXVOffscreen* const paint = inPlace ? drawing.get() : layer.get();
  i64 pixels = 0;
  const auto fill = [&](DWORD color) {
    pixels = 0;
    for (const KXPoint& seed : scene().seeds) {
      KXRect box;
      int count = 0;
      paint->FloodFill(box, seed, color, drawing.get(), nullptr, KXPoint(0, 0), paint->GetRect(),
                       margin, &count, 0);
      pixels += count;
    }
  };
  const Colors colors = ColorsOf(type, bits);
  kxw::bench::Write(*drawing, picture);
  fill(colors.ours[0]);  // which also gives a layer its blocks
  if (!IsRight(kxw::bench::Read(*paint), scene(), bits, type, margin)) {
    state.SkipWithError("the pixels are wrong");
  }
  int pass = 0;  // a layer is painted with another colour each time
  for (auto _ : state) {
    state.PauseTiming();
    if (inPlace) kxw::bench::Write(*drawing, picture);
    state.ResumeTiming();
    fill(colors.ours[++pass & 1]);
  }
  state.counters["pixels"] = static_cast<double>(pixels);
}

/// What every fill of a whole picture has to move at least.
void Copy(State& state, const Scene& (*scene)(), int bits) {
  const Bytes picture = scene().Picture(bits);
  Bytes copy(picture.size());
  for (auto _ : state) {
    std::memcpy(copy.data(), picture.data(), picture.size());
    benchmark::DoNotOptimize(copy.data());
  }
}

/// A scene and the ratio that is wanted: of OpenCV or, in a maze, of both others.
struct Line {
  const char* name;
  const Scene& (*scene)();
  double wanted;
};

void Add(const Line& line, int bits, int margin) {
  const Scene& (*const scene)() = line.scene;
  const int type = bits == 8 ? CV_8UC1 : bits == 24 || margin ? CV_8UC3 : CV_32SC1;
  const std::string with = ", " + std::to_string(bits) + (margin ? " bits, margin 16" : " bits");
  for (const bool inPlace : {true, false}) {
    const std::string operation =
        "flood fill: " + (line.name + with) + (inPlace ? ", in place" : ", onto a layer");
    kxw::bench::Add(
        operation, line.wanted,
        [=](State& state) { Ours(state, scene, bits, margin, type, inPlace); }, "OpenCV floodFill",
        [=](State& state) { OpenCv(state, scene, type, margin); });
    if (margin == 0) {
      kxw::bench::AddSide(operation, "a stack of spans", [=](State& state) {
        bits == 8 ? BySpans<BYTE>(state, scene) : BySpans<DWORD>(state, scene);
      });
    }
    kxw::bench::AddSide(operation, "memcpy", [=](State& state) { Copy(state, scene, bits); });
  }
}

const bool kAdded = [] {
  const Line kExact[] = {
      {"blank", Blank, 2.5},
      {"discs", Cels, 2.5},
      {"specks", Specks, 2},
      {"maze of 1 pixel", NarrowMaze, 2},
      {"maze of 8 pixels", WideMaze, 2},
#ifdef KXWCMN_WITH_PNG
      {"drawing", Drawing, 2.5},
#endif
  };
  const Line kWithMargin[] = {
      {"blank", Blank, 2},
      {"grain", Grain, 2},
      {"discs with grain", ScannedCels, 2},
#ifdef KXWCMN_WITH_PNG
      {"drawing", Drawing, 2},
#endif
  };
  for (const int bits : {8, 32}) {
    for (const Line& line : kExact) Add(line, bits, 0);
  }
  for (const int bits : {24, 32}) {
    for (const Line& line : kWithMargin) Add(line, bits, 16);
  }
  return true;
}();

}  // namespace

#endif
