// Changes of size and turns of classic images beside OpenCV and pixman, on one thread. The results
// of ours are looked at once, outside the clock: beside OpenCV's, which differ by their rounding.
#if defined(KXWCMN_WITH_OPENCV) && defined(KXWCMN_WITH_PIXMAN)

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <cstring>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <string>
#include <vector>

#include "bench/pictures.h"
#include "bench/pixmanturn.h"
#include "bench/table.h"
#include "kxwcmn/classic/offscreen.h"

namespace {

using benchmark::State;

constexpr int kSide = 4096;

/// A matrix over the pixels of a locked image; its rows are the image's.
cv::Mat MatOf(const KXOffscreen& image) {
  const int type = image.GetBitCount() == 8    ? CV_8UC1
                   : image.GetBitCount() == 24 ? CV_8UC3
                                               : CV_8UC4;
  return cv::Mat(image.GetHeight(), image.GetWidth(), type, image.GetBaseAddress(),
                 static_cast<std::size_t>(image.GetRowBytes()));
}

void MakeLocked(KXOffscreen& image, int bits, int side) {
  image.Create(side, side, bits, 0, 0);
  image.Lock();
}

/// A photograph, opaque, whose alpha comes first at 32 bits.
void MakePhotograph(KXOffscreen& image, int bits, int side) {
  MakeLocked(image, bits, side);
  const kxw::bench::Bytes rows = kxw::bench::Photograph(bits, side, side);
  for (std::size_t i = 0; i < rows.size(); ++i) {
    // The picture has alpha last; its channels may stand in any order.
    const std::size_t at = bits == 32 ? (i & ~std::size_t{3}) | ((i + 1) & 3) : i;
    image.GetBaseAddress()[at] = rows[i];
  }
}

bool AddSize(const std::string& name, int bits, int to, int level, int peer, double tolerance) {
  kxw::bench::Add(
      "classic ChangeResolution 4096² to " + std::to_string(to) + "², " + name + ", " +
          std::to_string(bits) + " bits",
      1,
      [=](State& state) {
        KXOffscreen image, source;
        MakeLocked(image, bits, to);
        MakePhotograph(source, bits, kSide);
        const auto change = [&] {
          image.ChangeResolution(0, 0, to, to, &source, 0, 0, kSide, kSide, level);
        };
        change();
        cv::Mat expected;
        cv::resize(MatOf(source), expected, cv::Size(to, to), 0, 0, peer);
        // Densities lose up to one in each change into a colour and back.
        if (cv::norm(MatOf(image), expected, cv::NORM_INF) > tolerance + (bits == 8)) {
          state.SkipWithError("the pixels are wrong");
        }
        for (auto _ : state) {
          change();
          benchmark::ClobberMemory();
        }
      },
      peer == cv::INTER_AREA ? "OpenCV INTER_AREA" : "OpenCV INTER_NEAREST",
      [=](State& state) {
        cv::setNumThreads(1);
        KXOffscreen source;
        MakePhotograph(source, bits, kSide);
        cv::Mat result;
        for (auto _ : state) {
          cv::resize(MatOf(source), result, cv::Size(to, to), 0, 0, peer);
          benchmark::ClobberMemory();
        }
      });
  return true;
}

bool AddLevels(int bits) {
  return AddSize("high level", bits, 1500, KXOffscreen::cnHighLevelRes, cv::INTER_AREA, 1) &&
         AddSize("half", bits, 2048, KXOffscreen::cnHighLevelRes, cv::INTER_AREA, 1) &&
         // Boxes of whole pixels lie beside those of OpenCV, by no more than the grain of both ends
         // and the slope of the picture there.
         AddSize("low level", bits, 1500, KXOffscreen::cnLowLevelRes, cv::INTER_AREA, 16) &&
         AddSize("most low level", bits, 1500, KXOffscreen::cnMostLowLevelRes, cv::INTER_NEAREST,
                 0);
}

constexpr int kTurned = 2048, kDegrees = 30;

void RotateWithPixman(State& state) {
  KXOffscreen source;
  MakePhotograph(source, 32, kTurned);
  kxw::bench::TurnWithPixman(state, reinterpret_cast<uint32_t*>(source.GetBaseAddress()), kTurned,
                             source.GetRowBytes(), kDegrees, PIXMAN_FILTER_BILINEAR);
}

bool AddRotation(int bits, int mode, bool isFlat, double wanted) {
  const std::string name = "classic CreateRotationImage by 30 degrees of 2048², mode " +
                           std::to_string(mode) + ", " + std::to_string(bits) + " bits" +
                           (isFlat ? ", flat" : "");
  kxw::bench::Add(
      name, wanted,
      [=](State& state) {
        KXOffscreen source;
        if (isFlat) {
          MakeLocked(source, bits, kTurned);
        } else {
          MakePhotograph(source, bits, kTurned);
        }
        KXOffscreen turned;
        for (auto _ : state) {
          turned.Destroy();
          source.CreateRotationImage(turned, kDegrees, mode);
        }
        // The middle stays where it is, but for the grain.
        turned.Lock();
        const DWORD before = source.Get24BitPixel(kTurned / 2, kTurned / 2);
        const DWORD after = turned.Get24BitPixel(turned.GetWidth() / 2, turned.GetHeight() / 2);
        for (int shift = 0; shift < 24; shift += 8) {
          if (std::abs(int(before >> shift & 255) - int(after >> shift & 255)) > 13) {
            state.SkipWithError("the pixels are wrong");
          }
        }
      },
      "pixman bilinear", RotateWithPixman);
  return true;
}

const bool kAdded = AddLevels(32) && AddLevels(24) && AddLevels(8) &&
                    AddRotation(32, 0, false, 1) && AddRotation(32, 1, false, 1) &&
                    AddRotation(24, 0, false, 1) && AddRotation(32, 0, true, 1);

}  // namespace

#endif
