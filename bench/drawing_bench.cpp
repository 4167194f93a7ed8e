// Shapes beside a plain fill of the same bytes, and beside the shapes of OpenCV and Cairo.
#include <benchmark/benchmark.h>

#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "bench/pictures.h"
#include "bench/polygons.h"
#include "bench/table.h"
#include "kxwcmn/compositing/pixelmixer.h"
#include "kxwcmn/compositing/voffpixelmixer.h"
#include "kxwcmn/offscreen/voffscreen.h"
#include "kxwcmn/platform/memory.h"

#ifdef KXWCMN_WITH_OPENCV
#include <opencv2/imgproc.hpp>
#endif

namespace {

using benchmark::State;
using kxw::bench::Bytes;
using kxw::bench::kStarSide;
using kxw::bench::kTriangles;
using kxw::bench::kTriangleSide;
using kxw::bench::Star;
using kxw::bench::Triangles;

/// An image whose blocks all have their memory.
KXVOffscreenPtr Picture(int bits, int width, int height) {
  KXVOffscreenPtr image = kxw::bench::MakeImage(bits, width, height);
  image->RectFill(image->GetRect(), 0, 0xFFFFFFFF);
  return image;
}

/// Pixel (x, y) as alpha, blue, green and red from the highest byte down.
DWORD ColorAt(KXVOffscreen& image, int x, int y) {
  DWORD color = 0;
  image.ReadPixels(KXRect(x, y, x + 1, y + 1), KXPixelFormat::kRgba8, &color);
  return color;
}

// --- Rectangles ----------------------------------------------------------------------------------

constexpr int kSide = 4096;

template <int kBits>
void RectFill(State& state) {
  const KXVOffscreenPtr image = Picture(kBits, kSide, kSide);
  DWORD color = 0xFF405060;
  for (auto _ : state) {
    image->RectFill(KXRect(0, 0, kSide, kSide), 0, color++);
    benchmark::ClobberMemory();
  }
  // Every pixel is as the first; an 8-bit image takes how dark the colour is.
  const Bytes rows = kxw::bench::Read(*image);
  const DWORD painted = color - 1;
  const DWORD light = ((painted & 255) + 4 * (painted >> 8 & 255) + 2 * (painted >> 16 & 255)) / 7;
  const DWORD expected = kBits == 8 ? (255 - light) << 24 : painted;
  if (ColorAt(*image, 0, 0) != expected ||
      std::memcmp(rows.data(), &rows[kBits / 8], rows.size() - kBits / 8) != 0) {
    state.SkipWithError("the pixels are wrong");
  }
  state.SetBytesProcessed(state.iterations() * kSide * kSide / 8 * kBits);
}

/// Of memory that comes from the host as the image's own does, in huge pages.
template <int kBits>
void Memset(State& state) {
  constexpr DWORD kBytes = kSide / 8 * kSide * kBits;
  const std::unique_ptr<void, void (*)(void*)> bytes(
      qmAllocPtr(kBytes, kxw::kAllocUninitialized, nullptr), qmFreePtr);
  int value = 0;
  for (auto _ : state) {
    std::memset(bytes.get(), ++value & 0xFF, kBytes);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * kBytes);
}

// --- Polygons ------------------------------------------------------------------------------------

template <int kBits>
void FillStar(State& state) {
  const KXVOffscreenPtr image = Picture(kBits, kStarSide, kStarSide);
  const std::vector<KXPoint> star = Star();
  for (auto _ : state) {
    image->FillPolygon(star.data(), 1000, nullptr, 0xFF000000, 1);
    benchmark::ClobberMemory();
  }
  if (ColorAt(*image, 2000, 2000) != 0xFF000000) {
    state.SkipWithError("the middle was not filled");
  }
}

void FillTriangles(State& state) {
  const KXVOffscreenPtr image = Picture(32, kTriangleSide, kTriangleSide);
  const std::vector<KXPoint> points = Triangles();
  for (auto _ : state) {
    for (int i = 0; i < kTriangles; ++i) {
      image->FillPolygon(&points[static_cast<std::size_t>(i) * 3], 3, nullptr,
                         0xFF000000u + static_cast<DWORD>(i), 1);
    }
    benchmark::ClobberMemory();
  }
  // The last one lies on top.
  const KXPoint* last = &points[(kTriangles - 1) * 3];
  const int x = (last[0].x + last[1].x + last[2].x) / 3,
            y = (last[0].y + last[1].y + last[2].y) / 3;
  if (ColorAt(*image, x, y) != 0xFF000000u + kTriangles - 1) {
    state.SkipWithError("the last triangle was not filled");
  }
  state.SetItemsProcessed(state.iterations() * kTriangles);
}

// --- Circles -------------------------------------------------------------------------------------

constexpr int kCircles = 1000, kCircleSide = 2048, kDiameter = 200, kRadius = 30;

/// Calls `op(x, y)` for the top left corners of circles of `size` pixels.
template <class Op>
void ForEachCircle(int size, Op op) {
  std::mt19937_64 random = kxw::bench::Random(6);
  const unsigned range = static_cast<unsigned>(kCircleSide - size);
  for (int i = 0; i < kCircles; ++i) {
    const int x = static_cast<int>(random() % range), y = static_cast<int>(random() % range);
    op(x, y);
  }
}

template <bool kAntiAliased>
void FillCircles(State& state) {
  const KXVOffscreenPtr image = Picture(32, kCircleSide, kCircleSide);
  constexpr int kSize = kAntiAliased ? 2 * kRadius : kDiameter;
  KXPixelMixerBlend blend;
  KXVOffPixelMixer mixer;
  mixer.SetDstOffscreen(image.get());
  mixer.SetNode(&blend);
  mixer.SetColor(KXComplexColor(32, DWORD{0x80405060}));
  for (auto _ : state) {
    ForEachCircle(kSize, [&](int x, int y) {
      if (kAntiAliased) {
        image->CircleFillAA(x + kRadius + 0.3, y + kRadius + 0.6, kRadius, &mixer, nullptr,
                            nullptr);
      } else {
        image->CircleFill(x, y, kDiameter, &mixer, nullptr, nullptr, nullptr);
      }
    });
    benchmark::ClobberMemory();
  }
  ForEachCircle(kSize, [&](int x, int y) {
    if (ColorAt(*image, x + kSize / 2, y + kSize / 2) == 0xFFFFFFFF) {
      state.SkipWithError("the middle of a circle was not filled");
    }
  });
  state.SetItemsProcessed(state.iterations() * kCircles);
}

#ifdef KXWCMN_WITH_OPENCV
/// OpenCV paints its circles over, opaque.
template <bool kAntiAliased>
void OpenCvCircles(State& state) {
  cv::setNumThreads(1);
  cv::Mat image(kCircleSide, kCircleSide, CV_8UC4, cv::Scalar(0));
  const int radius = kAntiAliased ? kRadius : kDiameter / 2;
  for (auto _ : state) {
    ForEachCircle(2 * radius, [&](int x, int y) {
      cv::circle(image, cv::Point(x + radius, y + radius), radius, cv::Scalar(64, 80, 96, 255),
                 cv::FILLED, kAntiAliased ? cv::LINE_AA : cv::LINE_8);
    });
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * kCircles);
}
#endif

const bool kAdded = [] {
  using kxw::bench::Add;
  Add("RectFill, 4096 x 4096, 8 bits", 0.9, RectFill<8>, "memset", Memset<8>);
  Add("RectFill, 4096 x 4096, 24 bits", 0.9, RectFill<24>, "memset", Memset<24>);
  Add("RectFill, 4096 x 4096, 32 bits", 0.9, RectFill<32>, "memset", Memset<32>);
  Add("RectFill, 4096 x 4096, 64 bits", 0.9, RectFill<64>, "memset", Memset<64>);
  const std::string star = "FillPolygon, star of 1000 points, ";
  kxw::bench::AddOurs(star + "8 bits", 2, FillStar<8>);
  kxw::bench::AddStarPeers<8>(star + "8 bits");
  kxw::bench::AddOurs(star + "32 bits", 2, FillStar<32>);
  kxw::bench::AddStarPeers<32>(star + "32 bits");
  const std::string triangles = "FillPolygon, 10,000 triangles, 32 bits";
  kxw::bench::AddOurs(triangles, 2, FillTriangles);
  kxw::bench::AddTrianglePeers(triangles);
  const std::string plain = "CircleFill, blend, 1000 of diameter 200, 32 bits";
  const std::string smooth = "CircleFillAA, blend, 1000 of radius 30, 32 bits";
  kxw::bench::AddOurs(plain, 0, FillCircles<false>);
  kxw::bench::AddOurs(smooth, 0, FillCircles<true>);
#ifdef KXWCMN_WITH_OPENCV
  kxw::bench::AddSide(plain, "OpenCV circle, opaque", OpenCvCircles<false>);
  kxw::bench::AddSide(smooth, "OpenCV circle, opaque", OpenCvCircles<true>);
#endif
  return true;
}();

}  // namespace
