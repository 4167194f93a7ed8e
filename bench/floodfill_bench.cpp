// The flood fill beside OpenCV's, on one thread: 4-connected, on pictures of 4000 by 4000 pixels.
//
// Ours judges a reference image of its own ("onto a layer") or the painted one ("in place"); OpenCV
// knows the second alone. Where the judged picture is painted it is put back before each pass,
// outside the clock. The pixels that ours paints are looked at once: they are those of OpenCV.
#ifdef KXWCMN_WITH_OPENCV

#include <benchmark/benchmark.h>

#include <cstring>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <string>

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
Colors ColorsOf(int type) {
  if (type == CV_8UC1) return {{0x41000000, 0x81000000}, 0x41, cv::Scalar(0x41)};
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
  i64 pixels = 0;
  for (const KXPoint& seed : scene.seeds) {
    cv::Rect box;
    pixels += cv::floodFill(image, cv::Point(seed.x, seed.y), color, &box, range, range,
                            4 | cv::FLOODFILL_FIXED_RANGE);
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
    pixels = Fill(image, scene(), ColorsOf(type).theirs, margin);
  }
  state.counters["pixels"] = static_cast<double>(pixels);
}

// --- Ours ---------------------------------------------------------------------------------------

/// Whether ours has painted where OpenCV paints, and nowhere else.
bool IsRight(const Bytes& painted, const Scene& scene, int type, int margin) {
  const Colors colors = ColorsOf(type);
  cv::Mat mat = MatOf(scene, type);
  Fill(mat, scene, colors.theirs, margin);
  const std::size_t step = type == CV_8UC1 ? 1 : 4, theirs = mat.elemSize();
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
  const Colors colors = ColorsOf(type);
  kxw::bench::Write(*drawing, picture);
  fill(colors.ours[0]);  // which also gives a layer its blocks
  if (!IsRight(kxw::bench::Read(*paint), scene(), type, margin)) {
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

bool Add(const std::string& name, const Scene& (*scene)(), int bits, int margin, int type) {
  for (const bool inPlace : {true, false}) {
    kxw::bench::Add(
        "flood fill: " + name + (inPlace ? ", in place" : ", onto a layer"), 2,
        [=](State& state) { Ours(state, scene, bits, margin, type, inPlace); }, "OpenCV floodFill",
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
