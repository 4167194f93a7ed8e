// Bit images at other sizes beside OpenCV's nearest pixels and averages, on one thread. What OpenCV
// does not have, it makes in two steps: the size first and then the depth.
#ifdef KXWCMN_WITH_OPENCV

#include <benchmark/benchmark.h>

#include <cstring>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <string>

#include "bench/pictures.h"
#include "bench/table.h"
#include "kxwcmn/classic/bitimage.h"

namespace {

using benchmark::State;

void MakeNoise(KXBitImage& image, int bits, int side) {
  image.Create(side, side, bits);
  const std::size_t size = kxw::bench::BytesOf(image.GetRowBytes() * side, 8);
  std::memcpy(image.GetBaseAddress(), kxw::bench::Noise(size).data(), size);
}

/// The pixels of a bit image for OpenCV; those of 1 bit as bytes of 255 and 0.
cv::Mat MatOf(const KXBitImage& image) {
  const int width = image.GetWidth(), height = image.GetHeight(), bits = image.GetBitCount();
  if (bits == 1) {
    KXBitImage bytes;
    bytes.Create(width, height, 8);
    image.StretchCopy(&bytes, 0, 0, width, height, 0, 0, width, height);
    return MatOf(bytes);
  }
  const int type = bits == 8 ? CV_8UC1 : bits == 24 ? CV_8UC3 : CV_8UC4;
  return cv::Mat(height, width, type, image.GetBaseAddress(),
                 static_cast<std::size_t>(image.GetRowBytes()))
      .clone();
}

// The nearest pixels of the two differ by one where a border falls between, so ours are looked at
// beside the pixels that its walk is told to take.
void Stretch(State& state, int fromBits, int toBits, int from, int to) {
  KXBitImage source, dest;
  MakeNoise(source, fromBits, from);
  MakeNoise(dest, toBits, to);
  for (auto _ : state) {
    source.StretchCopy(&dest, 0, 0, to, to, 0, 0, from, from);
    benchmark::ClobberMemory();
  }
  KXBitImage same;
  same.Create(from, from, toBits);
  source.StretchCopy(&same, 0, 0, from, from, 0, 0, from, from);
  const int bytes = toBits / 8;
  const auto at = [&](const KXBitImage& image, int x, int y) {
    return image.GetBaseAddress() + y * image.GetRowBytes() + x * bytes;
  };
  const auto nearest = [&](int v) {
    return v == 0 ? 0 : static_cast<int>((i64{v} * from - 1) / to);
  };
  for (int y = 0; y < to; y += 7) {
    for (int x = 0; x < to; ++x) {
      if (std::memcmp(at(dest, x, y), at(same, nearest(x), nearest(y)),
                      static_cast<std::size_t>(bytes)) != 0) {
        state.SkipWithError("the pixels are wrong");
        return;
      }
    }
  }
}

void ResizeNearest(State& state, int fromBits, int toBits, int from, int to) {
  KXBitImage image;
  MakeNoise(image, fromBits, from);
  const cv::Mat source = MatOf(image);
  cv::Mat sized(to, to, source.type()), dest(to, to, toBits == 24 ? CV_8UC3 : CV_8UC4);
  const bool converts = source.type() != dest.type();
  for (auto _ : state) {
    cv::resize(source, converts ? sized : dest, cv::Size(to, to), 0, 0, cv::INTER_NEAREST);
    if (converts) cv::cvtColor(sized, dest, cv::COLOR_GRAY2BGRA);
    benchmark::ClobberMemory();
  }
}

/// The limit: the same bytes of the destination written once.
void Memset(State& state, int bits, int side) {
  kxw::bench::Bytes bytes(kxw::bench::BytesOf(side * side, bits));
  for (auto _ : state) {
    std::memset(bytes.data(), 0x55, bytes.size());
    benchmark::ClobberMemory();
  }
}

// --- Averages ------------------------------------------------------------------------------------

constexpr int kLarge = 4096, kSmall = 1500;

/// A photograph, which is opaque, or a painted cel, which is transparent for a half.
using MakePicture = kxw::bench::Bytes (*)();

kxw::bench::Bytes Photograph() { return kxw::bench::Photograph(32, kLarge, kLarge); }
kxw::bench::Bytes Cel() { return kxw::bench::LineArt(32, kLarge, kLarge); }

void Average(State& state, MakePicture make) {
  kxw::bench::Bytes bytes = make();
  KXBitImage source, dest;
  source.SetReference(bytes.data(), kLarge, kLarge, 32);
  dest.Create(kSmall, kSmall, 32);
  for (auto _ : state) {
    source.AntiAliasCopy32(&dest, 0, 0, kSmall, kSmall, 0, 0, kLarge, kLarge);
    benchmark::ClobberMemory();
  }
  // The first box is two pixels wide and high.
  const BYTE* const at = bytes.data();
  for (int c = 0; c < 4; ++c) {
    const int sum = at[c] + at[4 + c] + at[4 * kLarge + c] + at[4 * kLarge + 4 + c];
    if (at[3] == 255 && dest.GetBaseAddress()[c] != sum / 4) {
      state.SkipWithError("the pixels are wrong");
    }
  }
}

void ResizeArea(State& state, MakePicture make) {
  kxw::bench::Bytes bytes = make();
  const cv::Mat source(kLarge, kLarge, CV_8UC4, bytes.data());
  cv::Mat dest(kSmall, kSmall, CV_8UC4);
  for (auto _ : state) {
    cv::resize(source, dest, dest.size(), 0, 0, cv::INTER_AREA);
    benchmark::ClobberMemory();
  }
}

const bool kAdded = [] {
  cv::setNumThreads(1);
  const struct {
    const char* name;
    MakePicture make;
  } kPictures[] = {{"photograph", Photograph}, {"cel", Cel}};
  for (const auto& picture : kPictures) {
    const MakePicture make = picture.make;
    kxw::bench::Add(
        std::string("bit AntiAliasCopy32 4096² to 1500², ") + picture.name, 1,
        [=](State& state) { Average(state, make); }, "OpenCV INTER_AREA",
        [=](State& state) { ResizeArea(state, make); });
  }
  const struct { int from, to; } kPairs[] = {{32, 32}, {24, 24}, {8, 32}, {1, 32}};
  for (const auto& pair : kPairs) {
    for (int from : {4096, 1500}) {
      const int to = 5596 - from, fromBits = pair.from, toBits = pair.to;
      const std::string name = "bit StretchCopy " + std::to_string(fromBits) + " to " +
                               std::to_string(toBits) + " bits, " + std::to_string(from) + "² to " +
                               std::to_string(to) + "²";
      kxw::bench::Add(
          name, 2, [=](State& state) { Stretch(state, fromBits, toBits, from, to); },
          fromBits == toBits ? "OpenCV INTER_NEAREST" : "OpenCV INTER_NEAREST, GRAY2BGRA",
          [=](State& state) { ResizeNearest(state, fromBits, toBits, from, to); });
      kxw::bench::AddSide(name, "memset", [=](State& state) { Memset(state, toBits, to); });
    }
  }
  return true;
}();

}  // namespace

#endif  // KXWCMN_WITH_OPENCV
