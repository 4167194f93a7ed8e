#pragma once

#include <benchmark/benchmark.h>

#include <cmath>
#include <numbers>
#include <random>
#include <vector>

#include "bench/pictures.h"
#include "kxwcmn/core/geometry.h"

#ifdef KXWCMN_WITH_OPENCV
#include <opencv2/imgproc.hpp>
#endif

/// Polygons to measure with, and how OpenCV fills them.
namespace kxw::bench {

inline constexpr int kStarSide = 4000;

inline std::vector<KXPoint> Star() {
  std::vector<KXPoint> points;
  for (int i = 0; i < 1000; ++i) {
    const double angle = 2 * std::numbers::pi * i / 1000;
    const double radius = i % 2 ? 1990 : 700;
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

inline void OpenCvStar(benchmark::State& state) {
  cv::setNumThreads(1);
  cv::Mat image(kStarSide, kStarSide, CV_8UC1, cv::Scalar(0));
  const std::vector<std::vector<cv::Point>> star{Convert(Star())};
  for (auto _ : state) {
    cv::fillPoly(image, star, cv::Scalar(128));
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

}  // namespace kxw::bench
