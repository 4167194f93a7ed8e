// Turns, mirrors, rotation and copies of other sizes beside OpenCV and pixman, on one thread.
#if defined(KXWCMN_WITH_OPENCV) && defined(KXWCMN_WITH_PIXMAN)

#include <benchmark/benchmark.h>
#include <pixman.h>

#include <cmath>
#include <cstdlib>
#include <memory>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <string>
#include <vector>

#include "bench/table.h"
#include "kxwcmn/memory/virtualmemory.h"
#include "kxwcmn/offscreen/autolock.h"
#include "kxwcmn/offscreen/voffscreen.h"

namespace {

using benchmark::State;

struct DeleteImage {
  void operator()(KXVOffscreen* image) const { KXVOffscreen::DeleteOffscreen(image); }
};
using ImagePtr = std::unique_ptr<KXVOffscreen, DeleteImage>;

KXVirtualMemory* Manager() {
  // That of the process, from which turned images come.
  static KXVirtualMemory* const manager = [] {
    kxGetVirtualMemory()->Create(1u << 30, nullptr);
    return kxGetVirtualMemory();
  }();
  return manager;
}

/// Noise in which each pixel tells its place.
DWORD PixelAt(int x, int y) {
  return (static_cast<DWORD>(x) * 2654435761u ^ static_cast<DWORD>(y) * 40503u) | 0xFF000000;
}

ImagePtr MakeImage(int bits, int side, bool painted = true) {
  ImagePtr image(KXVOffscreen::CreateOffscreen(bits));
  image->Create(Manager(), side, side, 72);
  if (!painted) return image;
  KXVOffscreenAutoLock lock(image.get(), 1);
  for (int y = 0; y < side; ++y) {
    image->MoveCursor(0, y);
    for (int x = 0; x < side; ++x, image->NextCursorX()) image->SetColor(PixelAt(x, y));
  }
  return image;
}

int TypeOf(int bits) { return bits == 8 ? CV_8UC1 : bits == 24 ? CV_8UC3 : CV_8UC4; }

cv::Mat MakeMat(int bits, int side) {
  cv::setNumThreads(1);
  cv::Mat mat(side, side, TypeOf(bits));
  cv::randu(mat, cv::Scalar::all(0), cv::Scalar::all(256));
  return mat;
}

// --- Other sizes --------------------------------------------------------------------------------

bool AddSize(const std::string& name, int bits, int srcBits, int from, int to, bool isLow,
             double wanted) {
  kxw::bench::Add(
      name, wanted,
      [=](State& state) {
        const ImagePtr src = MakeImage(srcBits, from), dst = MakeImage(bits, to, false);
        const auto change = [&] {
          if (isLow) {
            dst->ChangeResolutionLow(0, 0, to, to, src.get(), 0, 0, from, from, 0, 0);
          } else {
            dst->StretchCopy(0, 0, to, to, src.get(), 0, 0, from, from);
          }
        };
        change();  // which makes the blocks
        for (auto _ : state) change();
        if (dst->GetUsedMemory(0) == 0) std::abort();
      },
      isLow ? "OpenCV INTER_AREA" : "OpenCV INTER_NEAREST",
      [=](State& state) {
        const cv::Mat src = MakeMat(srcBits, from);
        cv::Mat dst;
        for (auto _ : state) {
          cv::resize(src, dst, cv::Size(to, to), 0, 0, isLow ? cv::INTER_AREA : cv::INTER_NEAREST);
        }
      });
  return true;
}

// --- Quarter turns and mirrors ------------------------------------------------------------------

bool AddTurn(int bits, bool isMirror) {
  const std::string name = std::string(isMirror ? "mirror" : "quarter turn") + " 4096^2, " +
                           std::to_string(bits) + " bits";
  kxw::bench::Add(
      name, bits == 1 ? 4 : 0.8,
      [=](State& state) {
        const ImagePtr src = MakeImage(bits, 4096);
        for (auto _ : state) {
          const ImagePtr turned(isMirror ? src->CreateAndReverseHorz() : src->CreateAndRotate90R());
        }
      },
      bits == 1  ? "plain loop over bits"
      : isMirror ? "OpenCV flip"
                 : "OpenCV rotate",
      [=](State& state) {
        constexpr int kSide = 4096;
        if (bits == 1) {
          std::vector<BYTE> from(kSide * kSide / 8, 0x5A), to(kSide * kSide / 8);
          for (auto _ : state) {
            std::fill(to.begin(), to.end(), BYTE{0});
            for (int y = 0; y < kSide; ++y) {
              for (int x = 0; x < kSide; ++x) {
                const int u = kSide - 1 - (isMirror ? x : y), v = isMirror ? y : x;
                const auto at = static_cast<std::size_t>(v * kSide + u);
                const auto bit =
                    from[static_cast<std::size_t>(y * kSide + x) / 8] >> (7 - x % 8) & 1;
                to[at / 8] = static_cast<BYTE>(to[at / 8] | bit << (7 - at % 8));
              }
            }
            benchmark::DoNotOptimize(to.data());
          }
          return;
        }
        const cv::Mat src = MakeMat(bits, kSide);
        for (auto _ : state) {
          cv::Mat dst;  // a new one, as ours is
          isMirror ? cv::flip(src, dst, 1) : cv::rotate(src, dst, cv::ROTATE_90_CLOCKWISE);
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
        const ImagePtr src = MakeImage(32, kSide);
        for (auto _ : state) {
          const ImagePtr dst(KXVOffscreen::CreateOffscreen(32));
          dst->CreateRotationImage(*src, kDegrees, smooth);
        }
      },
      smooth ? "pixman bilinear" : "pixman nearest",
      [=](State& state) {
        std::vector<DWORD> from(static_cast<std::size_t>(kSide) * kSide);
        for (std::size_t i = 0; i < from.size(); ++i) {
          from[i] = PixelAt(static_cast<int>(i % kSide), static_cast<int>(i / kSide));
        }
        const double angle = kDegrees * 0.017453292519943295;
        const int side = static_cast<int>(kSide * (std::cos(angle) + std::sin(angle)));
        pixman_image_t* const src =
            pixman_image_create_bits(PIXMAN_a8r8g8b8, kSide, kSide, from.data(), kSide * 4);
        pixman_transform_t turn;
        pixman_transform_init_translate(&turn, pixman_int_to_fixed(kSide / 2),
                                        pixman_int_to_fixed(kSide / 2));
        pixman_transform_t part;
        pixman_transform_init_rotate(&part, pixman_double_to_fixed(std::cos(angle)),
                                     pixman_double_to_fixed(std::sin(angle)));
        pixman_transform_multiply(&turn, &turn, &part);
        pixman_transform_init_translate(&part, pixman_int_to_fixed(-side / 2),
                                        pixman_int_to_fixed(-side / 2));
        pixman_transform_multiply(&turn, &turn, &part);
        pixman_image_set_transform(src, &turn);
        pixman_image_set_filter(src, smooth ? PIXMAN_FILTER_BILINEAR : PIXMAN_FILTER_NEAREST,
                                nullptr, 0);
        for (auto _ : state) {
          pixman_image_t* const dst =
              pixman_image_create_bits(PIXMAN_a8r8g8b8, side, side, nullptr, 0);
          pixman_image_composite32(PIXMAN_OP_SRC, src, nullptr, dst, 0, 0, 0, 0, 0, 0, side, side);
          pixman_image_unref(dst);
        }
        pixman_image_unref(src);
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
