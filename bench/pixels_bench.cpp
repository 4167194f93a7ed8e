// Pixels in bulk: between an image's blocks and rows of the caller's, beside memcpy of as many
// bytes, plain loops over arrays, and OpenCV's conversions.
#include <benchmark/benchmark.h>

#include <cstring>
#include <string>

#include "bench/pictures.h"
#include "bench/table.h"
#include "kxwcmn/offscreen/voffscreen.h"

#ifdef KXWCMN_WITH_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#endif

namespace {

using benchmark::State;
using kxw::bench::Bytes;
using kxw::bench::Noise;

constexpr int kSide = 4096;
constexpr std::size_t kPixels = std::size_t{kSide} * kSide;
constexpr KXRect kAll(0, 0, kSide, kSide);

KXVOffscreenPtr MakeImage(int bits) { return kxw::bench::MakeImage(bits, kSide, kSide); }

Bytes NativeNoise(int bits) { return Noise(kPixels * static_cast<std::size_t>(bits) / 8); }

void Check(State& state, const Bytes& actual, const Bytes& expected) {
  if (actual != expected) state.SkipWithError("the pixels are wrong");
}

void Read(State& state, int bits, KXPixelFormat format, const Bytes& pixels,
          const Bytes& expected) {
  const KXVOffscreenPtr image = MakeImage(bits);
  image->WritePixels(kAll, KXPixelFormat::kNative, pixels.data());
  Bytes rows(expected.size());
  for (auto _ : state) {
    image->ReadPixels(kAll, format, rows.data());
    benchmark::ClobberMemory();
  }
  Check(state, rows, expected);
}

void Write(State& state, int bits, KXPixelFormat format, const Bytes& rows, const Bytes& expected) {
  const KXVOffscreenPtr image = MakeImage(bits);
  image->WritePixels(kAll, format, rows.data());
  for (auto _ : state) {
    image->WritePixels(kAll, format, rows.data());
    benchmark::ClobberMemory();
  }
  Check(state, kxw::bench::Read(*image), expected);
}

void Memcpy(State& state, int bits) {
  const Bytes from = NativeNoise(bits);
  Bytes to(from.size());
  for (auto _ : state) {
    std::memcpy(to.data(), from.data(), from.size());
    benchmark::ClobberMemory();
  }
}

// --- RGBA at 8 bits ------------------------------------------------------------------------------

/// Turns pixels of `kFrom` bytes into pixels of `kTo` bytes, one by one.
template <int kTo, int kFrom, class Rule>
void Convert(Bytes& to, const Bytes& from, Rule rule) {
  BYTE* at = to.data();
  const BYTE* pixel = from.data();
  for (std::size_t i = 0; i < kPixels; ++i, at += kTo, pixel += kFrom) rule(at, pixel);
}

template <int kTo, int kFrom, class Rule>
Bytes Converted(const Bytes& from, Rule rule) {
  Bytes to(kPixels * kTo);
  Convert<kTo, kFrom>(to, from, rule);
  return to;
}

template <int kTo, int kFrom, class Rule>
void PlainLoop(State& state, Rule rule) {
  const Bytes from = Noise(kPixels * kFrom);
  Bytes to(kPixels * kTo);
  for (auto _ : state) {
    Convert<kTo, kFrom>(to, from, rule);
    benchmark::ClobberMemory();
  }
}

#ifdef KXWCMN_WITH_OPENCV
/// `convert(from, to)` on arrays of these types.
template <class Run>
void OpenCv(State& state, int fromType, int toType, Run convert) {
  cv::setNumThreads(1);
  Bytes noise = Noise(kPixels * CV_ELEM_SIZE(fromType));
  const cv::Mat from(kSide, kSide, fromType, noise.data());
  cv::Mat to(kSide, kSide, toType);
  for (auto _ : state) {
    convert(from, to);
    benchmark::ClobberMemory();
  }
}

auto Reorder(int code) {
  return [code](const cv::Mat& from, cv::Mat& to) { cv::cvtColor(from, to, code); };
}
#endif

/// Both directions at one depth, beside the same by a plain loop.
template <int kBytes, class Out, class In>
void AddDepth(Out out, In in) {
  constexpr int kBits = 8 * kBytes;
  const std::string depth = ", " + std::to_string(kBits) + " bits";
  kxw::bench::Add(
      "ReadPixels, RGBA8" + depth, 1,
      [=](State& state) {
        const Bytes pixels = NativeNoise(kBits);
        Read(state, kBits, KXPixelFormat::kRgba8, pixels, Converted<4, kBytes>(pixels, out));
      },
      "plain loop", [=](State& state) { PlainLoop<4, kBytes>(state, out); });
  kxw::bench::Add(
      "WritePixels, RGBA8" + depth, 1,
      [=](State& state) {
        const Bytes rows = NativeNoise(32);
        Write(state, kBits, KXPixelFormat::kRgba8, rows, Converted<kBytes, 4>(rows, in));
      },
      "plain loop", [=](State& state) { PlainLoop<kBytes, 4>(state, in); });
}

const bool kAdded = [] {
  for (const int bits : {8, 24, 32, 64}) {
    const std::string depth = ", own bytes, " + std::to_string(bits) + " bits";
    const auto native = KXPixelFormat::kNative;
    kxw::bench::Add(
        "ReadPixels" + depth, 0.8,
        [=](State& state) { Read(state, bits, native, NativeNoise(bits), NativeNoise(bits)); },
        "memcpy", [=](State& state) { Memcpy(state, bits); });
    kxw::bench::Add(
        "WritePixels" + depth, 0.8,
        [=](State& state) { Write(state, bits, native, NativeNoise(bits), NativeNoise(bits)); },
        "memcpy", [=](State& state) { Memcpy(state, bits); });
  }

  AddDepth<1>(
      [](BYTE* to, const BYTE* from) {
        to[0] = to[1] = to[2] = 0;
        to[3] = *from;
      },
      [](BYTE* to, const BYTE* from) {
        const int density = 255 - (from[0] + 4 * from[1] + 2 * from[2]) / 7;
        *to = static_cast<BYTE>(density * (from[3] + 1) >> 8);
      });
  AddDepth<3>(
      [](BYTE* to, const BYTE* from) {
        for (int c = 0; c < 3; ++c) to[c] = from[2 - c];
        to[3] = 255;
      },
      [](BYTE* to, const BYTE* from) {
        for (int c = 0; c < 3; ++c) to[c] = from[2 - c];
      });
  const auto swap = [](BYTE* to, const BYTE* from) {
    for (int c = 0; c < 3; ++c) to[c] = from[2 - c];
    to[3] = from[3];
  };
  AddDepth<4>(swap, swap);
  AddDepth<8>(
      [](BYTE* to, const BYTE* from) {
        for (int c = 0; c < 3; ++c) to[c] = from[5 - 2 * c];
        to[3] = from[7];
      },
      [](BYTE* to, const BYTE* from) {
        for (int c = 0; c < 3; ++c) to[2 * c] = to[2 * c + 1] = from[2 - c];
        to[6] = to[7] = from[3];
      });

#ifdef KXWCMN_WITH_OPENCV
  using kxw::bench::AddSide;
  const std::string peer = "OpenCV cvtColor";
  AddSide("ReadPixels, RGBA8, 8 bits", peer,
          [](State& s) { OpenCv(s, CV_8UC1, CV_8UC4, Reorder(cv::COLOR_GRAY2RGBA)); });
  AddSide("WritePixels, RGBA8, 8 bits", peer,
          [](State& s) { OpenCv(s, CV_8UC4, CV_8UC1, Reorder(cv::COLOR_RGBA2GRAY)); });
  AddSide("ReadPixels, RGBA8, 24 bits", peer,
          [](State& s) { OpenCv(s, CV_8UC3, CV_8UC4, Reorder(cv::COLOR_BGR2RGBA)); });
  AddSide("WritePixels, RGBA8, 24 bits", peer,
          [](State& s) { OpenCv(s, CV_8UC4, CV_8UC3, Reorder(cv::COLOR_RGBA2BGR)); });
  AddSide("ReadPixels, RGBA8, 32 bits", peer,
          [](State& s) { OpenCv(s, CV_8UC4, CV_8UC4, Reorder(cv::COLOR_BGRA2RGBA)); });
  AddSide("WritePixels, RGBA8, 32 bits", peer,
          [](State& s) { OpenCv(s, CV_8UC4, CV_8UC4, Reorder(cv::COLOR_RGBA2BGRA)); });
  // It takes two steps between words and bytes there.
  AddSide("ReadPixels, RGBA8, 64 bits", "OpenCV convertTo, cvtColor", [](State& s) {
    OpenCv(s, CV_16UC4, CV_8UC4, [bytes = cv::Mat()](const cv::Mat& from, cv::Mat& to) mutable {
      from.convertTo(bytes, CV_8U, 1 / 257.0);
      cv::cvtColor(bytes, to, cv::COLOR_BGRA2RGBA);
    });
  });
  AddSide("WritePixels, RGBA8, 64 bits", "OpenCV cvtColor, convertTo", [](State& s) {
    OpenCv(s, CV_8UC4, CV_16UC4, [bytes = cv::Mat()](const cv::Mat& from, cv::Mat& to) mutable {
      cv::cvtColor(from, bytes, cv::COLOR_RGBA2BGRA);
      bytes.convertTo(to, CV_16U, 257);
    });
  });
#endif
  return true;
}();

}  // namespace
