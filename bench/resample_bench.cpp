// Changes of resolution beside OpenCV's, on one thread. The results of both are looked at once
// outside the clock: ours beside OpenCV's, which rounds otherwise and may differ by one or two.
#ifdef KXWCMN_WITH_OPENCV

#include <benchmark/benchmark.h>

#include <cstring>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <random>
#include <string>

#include "bench/pictures.h"
#include "bench/table.h"
#include "kxwcmn/offscreen/autolock.h"
#include "kxwcmn/offscreen/voffscreen.h"

namespace {

using benchmark::State;
using kxw::bench::Bytes;
using kxw::bench::MakeImage;

int TypeOf(int bits) {
  return bits == 8 ? CV_8UC1 : bits == 24 ? CV_8UC3 : bits == 32 ? CV_8UC4 : CV_16UC4;
}

cv::Mat Photograph(int bits, int side) {
  Bytes rows = kxw::bench::Photograph(bits, side, side);
  return cv::Mat(side, side, TypeOf(bits), rows.data()).clone();
}

void Check(State& state, KXVOffscreen& image, const cv::Mat& expected, double tolerance) {
  Bytes rows = kxw::bench::Read(image);
  const cv::Mat mat(expected.rows, expected.cols, expected.type(), rows.data());
  if (cv::norm(mat, expected, cv::NORM_INF) > tolerance) {
    state.SkipWithError("the pixels are wrong");
  }
}

using Change = void (*)(KXVOffscreen& dst, KXVOffscreen& src);

void AddChange(const std::string& name, double wanted, int bits, int from, int to, Change change,
               int interpolation, const char* peer, double tolerance) {
  kxw::bench::Add(
      name, wanted,
      [=](State& state) {
        const cv::Mat source = Photograph(bits, from);
        const KXVOffscreenPtr src = MakeImage(bits, from, from), dst = MakeImage(bits, to, to);
        src->WritePixels(src->GetRect(), KXPixelFormat::kNative, source.data);
        change(*dst, *src);
        cv::Mat expected;
        cv::resize(source, expected, cv::Size(to, to), 0, 0, interpolation);
        if (tolerance >= 0) Check(state, *dst, expected, tolerance);
        for (auto _ : state) {
          change(*dst, *src);
          benchmark::ClobberMemory();
        }
      },
      peer,
      [=](State& state) {
        cv::setNumThreads(1);
        const cv::Mat source = Photograph(bits, from);
        cv::Mat result(to, to, source.type());
        for (auto _ : state) {
          cv::resize(source, result, cv::Size(to, to), 0, 0, interpolation);
          benchmark::ClobberMemory();
        }
      });
}

void Area(KXVOffscreen& dst, KXVOffscreen& src) {
  dst.ChangeResolution(0, 0, dst.GetWidth(), dst.GetHeight(), &src, 0, 0, src.GetWidth(),
                       src.GetHeight(), KXVOffscreen::kResolutionArea, 0, 0);
}

void CopyPlain(State& state, int bits) {
  constexpr int kSide = 4096;
  const cv::Mat source = Photograph(bits, kSide);
  const KXVOffscreenPtr dst = MakeImage(bits, kSide, kSide);
  const auto copy = [&] {
    dst->CopyBitmap(0, 0, kSide, kSide, source.data, bits, static_cast<int>(source.step), 2, 1, 0,
                    3, 0, 0, kSide, kSide, KXVOffscreen::kResolutionFast);
  };
  copy();
  // The rows land one line above their number.
  const Bytes rows = kxw::bench::Read(*dst, KXRect(0, 0, kSide, kSide - 1));
  if (std::memcmp(rows.data(), source.ptr(1), rows.size()) != 0) {
    state.SkipWithError("the pixels are wrong");
  }
  for (auto _ : state) {
    copy();
    benchmark::ClobberMemory();
  }
}

constexpr int kSparseSide = 32768, kSparseBlocks = 327;  // 2 % of 128 by 128

/// Half of an image of `side` by `side` pixels with `count` blocks in memory.
void HalfOf(State& state, int side, int count) {
  const KXVOffscreenPtr src = MakeImage(8, side, side), dst = MakeImage(8, side / 2, side / 2);
  {
    KXVOffscreenAutoLock lock(src.get(), 1);
    std::mt19937_64 random = kxw::bench::Random(4);
    const int blocks = side / 256 * (side / 256);
    for (int i = 0, left = count; i < blocks && left > 0; ++i) {
      if (static_cast<int>(random() % static_cast<u64>(blocks - i)) >= left) continue;
      --left;
      src->MoveCursor(i % (side / 256) * 256, i / (side / 256) * 256);
      std::memset(src->GetBaseAddress(), i | 1, 65536);
    }
  }
  dst->ChangeResolutionHalfAll(src.get());
  // The blocks of the source are flat: the pixels at their corners tell of all.
  for (int y = 0; y < side / 256; ++y) {
    for (int x = 0; x < side / 256; ++x) {
      const auto at = [](KXVOffscreen& image, int px, int py) {
        return kxw::bench::Read(image, KXRect(px, py, px + 1, py + 1));
      };
      if (at(*dst, x * 128 + 127, y * 128 + 127) == at(*src, x * 256, y * 256)) continue;
      state.SkipWithError("the pixels are wrong");
      return;
    }
  }
  for (auto _ : state) {
    dst->ChangeResolutionHalfAll(src.get());
    benchmark::ClobberMemory();
  }
}

const bool kAdded = [] {
  for (const int bits : {32, 8, 24, 64}) {
    AddChange("Area filter, 4096 to 1500, " + std::to_string(bits) + " bits", bits == 32 ? 2 : 1,
              bits, 4096, 1500, Area, cv::INTER_AREA, "OpenCV INTER_AREA", 1);
  }
  AddChange("Area filter, 4096 to 3000, 32 bits", 1, 32, 4096, 3000, Area, cv::INTER_AREA,
            "OpenCV INTER_AREA", 1);
  AddChange("Area filter, 1500 to 4096, 32 bits", 0, 32, 1500, 4096, Area, cv::INTER_LINEAR,
            "OpenCV INTER_LINEAR", -1);
  AddChange(
      "Half of 4096, 32 bits", 1, 32, 4096, 2048,
      [](KXVOffscreen& dst, KXVOffscreen& src) { dst.ChangeResolutionHalfAll(&src); },
      cv::INTER_AREA, "OpenCV INTER_AREA", 1);
  AddChange(
      "Quarter of 4096, 32 bits", 1, 32, 4096, 1024,
      [](KXVOffscreen& dst, KXVOffscreen& src) { dst.ChangeResolutionQuarterAll(&src); },
      cv::INTER_AREA, "OpenCV INTER_AREA", 1);
  AddChange(
      "Double to 4096, 32 bits", 2, 32, 2048, 4096,
      [](KXVOffscreen& dst, KXVOffscreen& src) { dst.ChangeResolutionDoubleAll(&src); },
      cv::INTER_NEAREST, "OpenCV INTER_NEAREST", 0);
  AddChange(
      "Fourfold to 4096, 32 bits", 2, 32, 1024, 4096,
      [](KXVOffscreen& dst, KXVOffscreen& src) { dst.ChangeResolutionFourfoldAll(&src); },
      cv::INTER_NEAREST, "OpenCV INTER_NEAREST", 0);
  for (const int bits : {24, 32}) {
    kxw::bench::Add(
        "CopyBitmap 4096, " + std::to_string(bits) + " bits", 0.5,
        [=](State& s) { CopyPlain(s, bits); }, "memcpy",
        [=](State& state) {
          const cv::Mat source = Photograph(bits, 4096);
          cv::Mat copy = source.clone();
          for (auto _ : state) {
            std::memcpy(copy.data, source.data, source.total() * source.elemSize());
            benchmark::ClobberMemory();
          }
        });
  }
  // 18 by 18 blocks are about as many as 2 % of 128 by 128.
  kxw::bench::Add(
      "Half of 32768, 2 % with memory, 8 bits", 0.8,
      [](State& s) { HalfOf(s, kSparseSide, kSparseBlocks); }, "a full image of as many blocks",
      [](State& s) { HalfOf(s, 18 * 256, 18 * 18); });
  return true;
}();

}  // namespace

#endif  // KXWCMN_WITH_OPENCV
