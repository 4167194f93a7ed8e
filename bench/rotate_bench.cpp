// Turns, mirrors, rotation and copies of other sizes beside OpenCV and pixman, on one thread.
#if defined(KXWCMN_WITH_OPENCV) && defined(KXWCMN_WITH_PIXMAN)

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <string>
#include <vector>

#include "bench/pictures.h"
#include "bench/pixmanturn.h"
#include "bench/table.h"
#include "kxwcmn/offscreen/voffscreen.h"

namespace {

using benchmark::State;
using kxw::bench::Bytes;

Bytes Noise(int bits, int side) {
  const auto length = static_cast<std::size_t>(side);
  return kxw::bench::Noise(length * length * static_cast<std::size_t>(bits) / 8);
}

KXVOffscreenPtr MakeImage(int bits, int side) { return kxw::bench::MakeImage(bits, side, side); }

KXVOffscreenPtr MakeImage(int bits, int side, const Bytes& rows) {
  KXVOffscreenPtr image = MakeImage(bits, side);
  kxw::bench::Write(*image, rows);
  return image;
}

int TypeOf(int bits) { return bits == 8 ? CV_8UC1 : bits == 24 ? CV_8UC3 : CV_8UC4; }

cv::Mat MatOf(int bits, int side, Bytes rows) {
  cv::setNumThreads(1);
  return cv::Mat(side, side, TypeOf(bits), rows.data()).clone();
}

void Check(State& state, KXVOffscreen& image, const cv::Mat& expected, double tolerance) {
  const cv::Mat mat = MatOf(image.GetBitCount(), image.GetWidth(), kxw::bench::Read(image));
  if (cv::norm(mat, expected, cv::NORM_INF) > tolerance) {
    state.SkipWithError("the pixels are wrong");
  }
}

// --- Other sizes --------------------------------------------------------------------------------

bool AddSize(const std::string& name, int bits, int srcBits, int from, int to, bool isLow,
             double wanted) {
  const int filter = isLow ? cv::INTER_AREA : cv::INTER_NEAREST;
  kxw::bench::Add(
      name, wanted,
      [=](State& state) {
        const Bytes rows = kxw::bench::Photograph(srcBits, from, from);
        const KXVOffscreenPtr src = MakeImage(srcBits, from, rows), dst = MakeImage(bits, to);
        const auto change = [&] {
          if (isLow) {
            dst->ChangeResolutionLow(0, 0, to, to, src.get(), 0, 0, from, from, 0, 0);
          } else {
            dst->StretchCopy(0, 0, to, to, src.get(), 0, 0, from, from);
          }
        };
        change();  // which makes the blocks
        for (auto _ : state) change();
        // Between images of 8 bits the low quality gives sums that wrap, which have no peer.
        if (isLow && bits == 8) return;
        cv::Mat expected;
        cv::resize(MatOf(srcBits, from, rows), expected, cv::Size(to, to), 0, 0, filter);
        if (bits != srcBits) cv::cvtColor(expected, expected, cv::COLOR_BGR2BGRA);
        // Boxes of whole pixels lie beside those of OpenCV, by no more than the grain of both ends
        // and the slope of the picture there.
        Check(state, *dst, expected, isLow ? 16 : 0);
      },
      isLow ? "OpenCV INTER_AREA" : "OpenCV INTER_NEAREST",
      [=](State& state) {
        const cv::Mat src = MatOf(srcBits, from, kxw::bench::Photograph(srcBits, from, from));
        cv::Mat dst;
        for (auto _ : state) cv::resize(src, dst, cv::Size(to, to), 0, 0, filter);
      });
  return true;
}

// --- Quarter turns and mirrors ------------------------------------------------------------------

constexpr int kTurned = 4096;

/// Mirrors pixels of one bit, or turns them to the right.
void TurnBits(Bytes& to, const Bytes& from, bool isMirror) {
  std::fill(to.begin(), to.end(), BYTE{0});
  for (int y = 0; y < kTurned; ++y) {
    for (int x = 0; x < kTurned; ++x) {
      const int u = kTurned - 1 - (isMirror ? x : y), v = isMirror ? y : x;
      const auto at = static_cast<std::size_t>(v * kTurned + u);
      const auto bit = from[static_cast<std::size_t>(y * kTurned + x) / 8] >> (7 - x % 8) & 1;
      to[at / 8] = static_cast<BYTE>(to[at / 8] | bit << (7 - at % 8));
    }
  }
}

void Turn(const cv::Mat& from, cv::Mat& to, bool isMirror) {
  isMirror ? cv::flip(from, to, 1) : cv::rotate(from, to, cv::ROTATE_90_CLOCKWISE);
}

bool AddTurn(int bits, bool isMirror) {
  const std::string name = std::string(isMirror ? "mirror" : "quarter turn") + " 4096^2, " +
                           std::to_string(bits) + " bits";
  kxw::bench::Add(
      name, bits == 1 ? 4 : 0.8,
      [=](State& state) {
        const Bytes rows = Noise(bits, kTurned);
        const KXVOffscreenPtr src = MakeImage(bits, kTurned, rows);
        const auto turn = [&] {
          return KXVOffscreenPtr(isMirror ? src->CreateAndReverseHorz()
                                          : src->CreateAndRotate90R());
        };
        for (auto _ : state) turn();
        const KXVOffscreenPtr turned = turn();
        if (bits == 1) {
          Bytes expected(rows.size());
          TurnBits(expected, rows, isMirror);
          if (kxw::bench::Read(*turned) != expected) state.SkipWithError("the pixels are wrong");
        } else {
          cv::Mat expected;
          Turn(MatOf(bits, kTurned, rows), expected, isMirror);
          Check(state, *turned, expected, 0);
        }
      },
      bits == 1  ? "plain loop over bits"
      : isMirror ? "OpenCV flip"
                 : "OpenCV rotate",
      [=](State& state) {
        const Bytes rows = Noise(bits, kTurned);
        if (bits == 1) {
          Bytes to(rows.size());
          for (auto _ : state) {
            TurnBits(to, rows, isMirror);
            benchmark::DoNotOptimize(to.data());
          }
          return;
        }
        const cv::Mat src = MatOf(bits, kTurned, rows);
        for (auto _ : state) {
          cv::Mat dst;  // a new one, as ours is
          Turn(src, dst, isMirror);
        }
      });
  return true;
}

// --- Any angle ----------------------------------------------------------------------------------

bool AddRotation(int smooth, double wanted) {
  constexpr int kSide = 2048, kDegrees = 30;
  kxw::bench::Add(
      std::string("rotation by 30 degrees of 2048^2, ") + (smooth ? "smooth" : "fast"), wanted,
      [=](State& state) {
        const Bytes photograph = kxw::bench::Photograph(32, kSide, kSide);
        const KXVOffscreenPtr src = MakeImage(32, kSide, photograph);
        const auto turn = [&] {
          KXVOffscreenPtr dst(KXVOffscreen::CreateOffscreen(32));
          dst->CreateRotationImage(*src, kDegrees, smooth);
          return dst;
        };
        for (auto _ : state) turn();
        // The middle stays where it is, but for the grain.
        const KXVOffscreenPtr turned = turn();
        const auto middle = [](KXVOffscreen& image) {
          const int x = image.GetWidth() / 2, y = image.GetHeight() / 2;
          return kxw::bench::Read(image, KXRect(x, y, x + 1, y + 1));
        };
        const Bytes before = middle(*src), after = middle(*turned);
        for (std::size_t c = 0; c < 4; ++c) {
          if (std::abs(after[c] - before[c]) > 13) state.SkipWithError("the pixels are wrong");
        }
      },
      smooth ? "pixman bilinear" : "pixman nearest",
      [=](State& state) {
        const Bytes photograph = kxw::bench::Photograph(32, kSide, kSide);
        std::vector<DWORD> from(photograph.size() / 4);
        std::memcpy(from.data(), photograph.data(), photograph.size());
        kxw::bench::TurnWithPixman(state, from.data(), kSide, kSide * 4, kDegrees,
                                   smooth ? PIXMAN_FILTER_BILINEAR : PIXMAN_FILTER_NEAREST);
      });
  return true;
}

const bool kAdded =
    AddSize("ChangeResolutionLow 4096^2 to 1500^2, 32 bits", 32, 32, 4096, 1500, true, 3) &&
    AddSize("ChangeResolutionLow 4096^2 to 1500^2, 24 bits", 24, 24, 4096, 1500, true, 1) &&
    AddSize("ChangeResolutionLow 4096^2 to 1500^2, 24 to 32 bits", 32, 24, 4096, 1500, true, 1) &&
    AddSize("ChangeResolutionLow 4096^2 to 1500^2, 8 bits", 8, 8, 4096, 1500, true, 1) &&
    AddSize("StretchCopy 2048^2 to 6144^2, 8 bits", 8, 8, 2048, 6144, false, 2) &&
    AddSize("StretchCopy 2048^2 to 6144^2, 24 bits", 24, 24, 2048, 6144, false, 2) &&
    AddSize("StretchCopy 4096^2 to 1500^2, 32 bits", 32, 32, 4096, 1500, false, 2) &&
    AddTurn(8, false) && AddTurn(32, false) && AddTurn(1, false) && AddTurn(8, true) &&
    AddTurn(32, true) && AddTurn(1, true) && AddRotation(0, 1.5) && AddRotation(1, 1);

}  // namespace

#endif
