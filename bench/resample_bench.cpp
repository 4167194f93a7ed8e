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
#include "kxwcmn/memory/virtualmemory.h"
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

constexpr int kSparseSide = 32768, kSparseBlocks = 327;     // 2 % of 128 by 128
constexpr int kFullSide = 18 * 256, kFullBlocks = 18 * 18;  // about as many

/// An image with `count` flat blocks in memory.
KXVOffscreenPtr MakeSparse(int bits, int side, int count) {
  KXVOffscreenPtr image = MakeImage(bits, side, side);
  KXVOffscreenAutoLock lock(image.get(), 1);
  std::mt19937_64 random = kxw::bench::Random(4);
  const int columns = side / 256, blocks = columns * columns;
  for (int i = 0, left = count; i < blocks && left > 0; ++i) {
    if (static_cast<int>(random() % static_cast<u64>(blocks - i)) >= left) continue;
    --left;
    image->MoveCursor(i % columns * 256, i / columns * 256);
    std::memset(image->GetBaseAddress(), i | 1, std::size_t{8192} * static_cast<unsigned>(bits));
  }
  return image;
}

/// Measures `change` from a sparse image; `place` tells where a pixel comes to stand. The middles
/// of the flat blocks tell of all their pixels.
template <class Change, class Place>
void Sparse(State& state, int bits, int side, int count, Change change, Place place) {
  const KXVOffscreenPtr src = MakeSparse(bits, side, count);
  KXVOffscreenPtr dst = MakeImage(bits, side / 2, side / 2);
  change(dst, *src);
  const auto at = [](KXVOffscreen& image, const KXPoint& p) {
    return kxw::bench::Read(image, KXRect(p.x, p.y, p.x + 1, p.y + 1));
  };
  for (int y = 128; y < side; y += 256) {
    for (int x = 128; x < side; x += 256) {
      if (!src->GetBlockExist(x, y)) continue;
      if (at(*dst, place(KXPoint(x, y), side)) == at(*src, KXPoint(x, y))) continue;
      state.SkipWithError("the pixels are wrong");
      return;
    }
  }
  for (auto _ : state) {
    change(dst, *src);
    benchmark::ClobberMemory();
  }
}

template <class Change, class Place>
void AddSparse(const std::string& name, int bits, Change change, Place place) {
  kxw::bench::Add(
      name + " of 32768, 2 % with memory, " + std::to_string(bits) + " bits", 0.8,
      [=](State& s) { Sparse(s, bits, kSparseSide, kSparseBlocks, change, place); },
      "a full image of as many blocks",
      [=](State& s) { Sparse(s, bits, kFullSide, kFullBlocks, change, place); });
}

// --- Larger than the budget ----------------------------------------------------------------------

constexpr int kHugeSide = 16384, kThumbnail = 256;

/// Calls `run` with an image of 1 GiB of which the pool holds 64 MiB.
template <class Run>
void WithHuge(State& state, Run run) {
  KXVirtualMemory memory;
  memory.Create(64u << 20);
  const KXVOffscreenPtr image = KXVOffscreen::Make(32, kHugeSide, kHugeSide, 72, &memory);
  image->RectFill(image->GetRect(), 0, 0xFF336699);
  run(*image);
  for (auto _ : state) run(*image);
}

void ThumbnailOfHuge(State& state) {
  const KXVOffscreenPtr dst = MakeImage(32, kThumbnail, kThumbnail);
  WithHuge(state, [&](KXVOffscreen& src) {
    dst->ChangeResolutionLow(0, 0, kThumbnail, kThumbnail, &src, 0, 0, kHugeSide, kHugeSide, 0, 0);
  });
  const Bytes pixels = kxw::bench::Read(*dst);
  const BYTE expected[] = {0x33, 0x66, 0x99, 0xFF};
  for (std::size_t i = 0; i < pixels.size(); i += 4) {
    if (std::memcmp(&pixels[i], expected, 4) == 0) continue;
    state.SkipWithError("the pixels are wrong");
    return;
  }
}

void ReadBlocksOfHuge(State& state) {
  WithHuge(state, [&](KXVOffscreen& src) {
    KXVOffscreenAutoLock lock(&src, 0);
    for (int y = 0; y < kHugeSide; y += 256) {
      for (int x = 0; x < kHugeSide; x += 256) {
        src.MoveCursor(x, y);
        benchmark::DoNotOptimize(src.GetBaseAddress());
      }
    }
  });
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
  AddSparse(
      "Half", 8, [](KXVOffscreenPtr& d, KXVOffscreen& s) { d->ChangeResolutionHalfAll(&s); },
      [](KXPoint p, int) { return KXPoint(p.x / 2, p.y / 2); });
  AddSparse(
      "Quarter turn", 8,
      [](KXVOffscreenPtr& d, KXVOffscreen& s) { d.reset(s.CreateAndRotate90R()); },
      [](KXPoint p, int side) { return KXPoint(side - 1 - p.y, p.x); });
  AddSparse(
      "ChangeResolutionLow", 32,
      [](KXVOffscreenPtr& d, KXVOffscreen& s) {
        d->ChangeResolutionLow(0, 0, d->GetWidth(), d->GetHeight(), &s, 0, 0, s.GetWidth(),
                               s.GetHeight(), 0, 0);
      },
      [](KXPoint p, int) { return KXPoint(p.x / 2, p.y / 2); });
  kxw::bench::AddReal("Thumbnail of 16384, 1 GiB in 64 MiB, 32 bits", 0.7, ThumbnailOfHuge,
                      "a read of its blocks", ReadBlocksOfHuge);
  return true;
}();

}  // namespace

#endif  // KXWCMN_WITH_OPENCV
