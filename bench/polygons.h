#pragma once

#include <benchmark/benchmark.h>

#include <cmath>
#include <numbers>
#include <random>
#include <string>
#include <vector>

#include "bench/pictures.h"
#include "bench/table.h"
#include "kxwcmn/core/geometry.h"

#ifdef KXWCMN_WITH_OPENCV
#include <opencv2/imgproc.hpp>
#endif
#ifdef KXWCMN_WITH_TEXT
#include <cairo.h>
#endif

/// Polygons to measure with, and how OpenCV and Cairo fill them.
namespace kxw::bench {

inline constexpr int kStarSide = 4000;

inline std::vector<KXPoint> Star() {
  std::mt19937_64 random = Random(4);
  std::vector<KXPoint> points;
  for (int i = 0; i < 1000; ++i) {
    const double angle = 2 * std::numbers::pi * i / 1000;
    const double radius = (i % 2 ? 1890 : 650) + static_cast<double>(random() % 101);
    points.emplace_back(static_cast<int>(2000 + radius * std::cos(angle)),
                        static_cast<int>(2000 + radius * std::sin(angle)));
  }
  return points;
}

inline constexpr int kTriangles = 10000, kTriangleSide = 1024;

inline std::vector<KXPoint> Triangles() {
  std::mt19937_64 random = Random(5);
  std::vector<KXPoint> points;
  for (int i = 0; i < kTriangles; ++i) {
    const int x = static_cast<int>(random() % (kTriangleSide - 40));
    const int y = static_cast<int>(random() % (kTriangleSide - 40));
    points.emplace_back(x, y + static_cast<int>(random() % 40));
    points.emplace_back(x + 40, y + static_cast<int>(random() % 20));
    points.emplace_back(x + static_cast<int>(random() % 40), y + 40);
  }
  return points;
}

#ifdef KXWCMN_WITH_OPENCV
inline std::vector<cv::Point> Convert(const std::vector<KXPoint>& points) {
  std::vector<cv::Point> result;
  for (const KXPoint& p : points) result.emplace_back(p.x, p.y);
  return result;
}

template <int kBits>
void OpenCvStar(benchmark::State& state) {
  cv::setNumThreads(1);
  cv::Mat image(kStarSide, kStarSide, CV_8UC(kBits / 8), cv::Scalar(0));
  const std::vector<std::vector<cv::Point>> star{Convert(Star())};
  for (auto _ : state) {
    cv::fillPoly(image, star, cv::Scalar(128, 64, 32, 255));
    benchmark::ClobberMemory();
  }
}

inline void OpenCvTriangles(benchmark::State& state) {
  cv::setNumThreads(1);
  cv::Mat image(kTriangleSide, kTriangleSide, CV_8UC4, cv::Scalar(0));
  const std::vector<cv::Point> points = Convert(Triangles());
  for (auto _ : state) {
    for (int i = 0; i < kTriangles; ++i) {
      cv::fillConvexPoly(image, &points[static_cast<std::size_t>(i) * 3], 3,
                         cv::Scalar(i & 255, i >> 8, 0, 255));
    }
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * kTriangles);
}
#endif

#ifdef KXWCMN_WITH_TEXT
/// Fills paths by their even-odd insides, without smoothing and opaque, its quickest way.
class CairoPainter {
 public:
  CairoPainter(int bits, int side)
      : surface_(cairo_image_surface_create(bits == 8 ? CAIRO_FORMAT_A8 : CAIRO_FORMAT_ARGB32, side,
                                            side)),
        cairo_(cairo_create(surface_)) {
    cairo_set_antialias(cairo_, CAIRO_ANTIALIAS_NONE);
    cairo_set_fill_rule(cairo_, CAIRO_FILL_RULE_EVEN_ODD);
  }
  ~CairoPainter() {
    cairo_destroy(cairo_);
    cairo_surface_destroy(surface_);
  }
  CairoPainter(const CairoPainter&) = delete;

  void Fill(const KXPoint* points, int count, int color) {
    cairo_set_source_rgb(cairo_, (color & 255) / 255.0, (color >> 8 & 255) / 255.0, 0);
    for (int i = 0; i < count; ++i) cairo_line_to(cairo_, points[i].x, points[i].y);
    cairo_fill(cairo_);  // which forgets the path
  }

 private:
  cairo_surface_t* const surface_;
  cairo_t* const cairo_;
};

template <int kBits>
void CairoStar(benchmark::State& state) {
  CairoPainter painter(kBits, kStarSide);
  const std::vector<KXPoint> star = Star();
  for (auto _ : state) {
    painter.Fill(star.data(), 1000, 0x1234);
    benchmark::ClobberMemory();
  }
}

inline void CairoTriangles(benchmark::State& state) {
  CairoPainter painter(32, kTriangleSide);
  const std::vector<KXPoint> points = Triangles();
  for (auto _ : state) {
    for (int i = 0; i < kTriangles; ++i) {
      painter.Fill(&points[static_cast<std::size_t>(i) * 3], 3, i);
    }
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * kTriangles);
}
#endif

/// Registers the peers that are there of an operation that fills the star, or the triangles.
template <int kBits>
void AddStarPeers(const std::string& operation) {
#ifdef KXWCMN_WITH_OPENCV
  AddSide(operation, "OpenCV fillPoly", OpenCvStar<kBits>);
#endif
#ifdef KXWCMN_WITH_TEXT
  AddSide(operation, "Cairo, not smoothed", CairoStar<kBits>);
#endif
  static_cast<void>(operation);
}

inline void AddTrianglePeers(const std::string& operation) {
#ifdef KXWCMN_WITH_OPENCV
  AddSide(operation, "OpenCV fillConvexPoly", OpenCvTriangles);
#endif
#ifdef KXWCMN_WITH_TEXT
  AddSide(operation, "Cairo, not smoothed", CairoTriangles);
#endif
  static_cast<void>(operation);
}

}  // namespace kxw::bench
