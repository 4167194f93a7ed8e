// The seed-scan fill of classic images beside OpenCV's, 4-connected, on one thread. The picture is
// put back before each pass, outside the clock; what was painted is compared once, to the byte.
#ifdef KXWCMN_WITH_OPENCV

#include <benchmark/benchmark.h>

#include <cstring>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <string>

#include "bench/fillscenes.h"
#include "bench/table.h"
#include "kxwcmn/classic/offscreen.h"

namespace {

using benchmark::State;
using namespace kxw::bench;

/// No scene holds it. A fore colour is stored at 8 bits as a density, here that of the grey.
constexpr BYTE kGrey = 0x40;

/// The grey picture as it is, at 24 bits in all three channels.
cv::Mat MatOf(const Scene& scene, int bits) {
  const cv::Mat grey(kSide, kSide, CV_8UC1, const_cast<BYTE*>(scene.grey.data()));
  cv::Mat picture;
  if (bits == 8) {
    grey.copyTo(picture);
  } else {
    cv::cvtColor(grey, picture, cv::COLOR_GRAY2BGR);
  }
  return picture;
}

void Fill(cv::Mat& image, const Scene& scene) {
  for (const KXPoint& seed : scene.seeds) {
    cv::floodFill(image, cv::Point(seed.x, seed.y), cv::Scalar::all(kGrey), nullptr, cv::Scalar(),
                  cv::Scalar(), 4);
  }
}

void OpenCv(State& state, const Scene& (*scene)(), int bits) {
  cv::setNumThreads(1);
  const cv::Mat picture = MatOf(scene(), bits);
  cv::Mat image = picture.clone();
  for (auto _ : state) {
    state.PauseTiming();
    picture.copyTo(image);
    state.ResumeTiming();
    Fill(image, scene());
  }
}

void Ours(State& state, const Scene& (*scene)(), int bits) {
  cv::Mat expected = MatOf(scene(), bits);
  // Sides of 4000 pixels leave no gaps between rows at either depth.
  const std::size_t bytes = expected.total() * expected.elemSize();
  const std::vector<BYTE> picture(expected.data, expected.data + bytes);
  Fill(expected, scene());
  KXOffscreen image;
  image.Create(kSide, kSide, bits, 0, 0);
  image.SetForeColor(bits == 8 ? DWORD{255 - kGrey} * 0x010101 : DWORD{kGrey} * 0x010101);
  image.Lock();
  tagRECT bounds;
  for (auto _ : state) {
    state.PauseTiming();
    std::memcpy(image.GetBaseAddress(), picture.data(), bytes);
    state.ResumeTiming();
    for (const KXPoint& seed : scene().seeds) image.SeedScanFill(seed, &bounds);
  }
  if (std::memcmp(image.GetBaseAddress(), expected.data, bytes) != 0) {
    state.SkipWithError("the pixels are wrong");
  }
}

void Add(const std::string& name, const Scene& (*scene)(), int bits) {
  kxw::bench::Add(
      "classic SeedScanFill 4000², " + name, 2, [=](State& state) { Ours(state, scene, bits); },
      "OpenCV floodFill", [=](State& state) { OpenCv(state, scene, bits); });
}

const bool kAdded = [] {
  Add("blank, 8 bits", Blank, 8);
  Add("blank, 24 bits", Blank, 24);
  Add("maze of 1 pixel, 8 bits", NarrowMaze, 8);
  Add("maze of 8 pixels, 8 bits", WideMaze, 8);
#ifdef KXWCMN_WITH_PNG
  Add("drawing, 8 bits", Drawing, 8);
#endif
  return true;
}();

}  // namespace

#endif
