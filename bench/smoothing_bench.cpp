// The smoothing of stairs in classic images beside one pass of a median over the same picture, on
// one thread. The picture is put back before each pass, outside the clock.
#ifdef KXWCMN_WITH_OPENCV

#include <benchmark/benchmark.h>

#include <cstring>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <string>

#include "bench/pictures.h"
#include "bench/table.h"
#include "kxwcmn/classic/offscreen.h"

namespace {

using benchmark::State;
using kxw::bench::Bytes;

/// A painted cel with hard edges on white, in the order of a classic image: alpha, red, green,
/// blue.
Bytes HardCel(int side) {
  Bytes cel = kxw::bench::LineArt(32, side, side);
  for (std::size_t i = 0; i < cel.size(); i += 4) {
    const bool isPainted = cel[i + 3] >= 128;
    const BYTE pixel[] = {255, cel[i + 2], cel[i + 1], cel[i]};
    std::memset(&cel[i], 255, 4);
    if (isPainted) std::memcpy(&cel[i], pixel, sizeof pixel);
  }
  return cel;
}

void Ours(State& state, int side) {
  const Bytes cel = HardCel(side);
  KXOffscreen image;
  image.Create(side, side, 32, 0, 0);
  image.Lock();
  for (auto _ : state) {
    state.PauseTiming();
    std::memcpy(image.GetBaseAddress(), cel.data(), cel.size());
    image.Lock();  // smoothing takes a lock from its caller
    state.ResumeTiming();
    image.DoSmoothing(nullptr, nullptr, nullptr, nullptr, nullptr);
  }
  std::size_t changed = 0;
  for (std::size_t i = 0; i < cel.size(); i += 4) {
    changed += std::memcmp(&cel[i], image.GetBaseAddress() + i, 4) != 0;
  }
  // A ring's stairs are some hundred, those of all rings no twentieth of the picture.
  if (changed == 0 || changed > cel.size() / 80) state.SkipWithError("the pixels are wrong");
}

void Median(State& state, int side) {
  cv::setNumThreads(1);
  Bytes cel = HardCel(side);
  const cv::Mat picture(side, side, CV_8UC4, cel.data());
  cv::Mat result;
  for (auto _ : state) cv::medianBlur(picture, result, 3);
}

const bool kAdded = [] {
  for (const int side : {2048, 4096}) {
    kxw::bench::Add(
        "classic DoSmoothing " + std::to_string(side), 1, [=](State& state) { Ours(state, side); },
        "OpenCV medianBlur 3x3", [=](State& state) { Median(state, side); });
  }
  return true;
}();

}  // namespace

#endif
