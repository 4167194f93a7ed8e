#pragma once

#include <benchmark/benchmark.h>
#include <pixman.h>

#include <cmath>
#include <numbers>

/// What pixman does beside a rotation.
namespace kxw::bench {

/// Measures the turn of a square 32-bit picture about its middle, into a new one that just holds
/// it.
inline void TurnWithPixman(benchmark::State& state, uint32_t* pixels, int side, int rowBytes,
                           double degrees, pixman_filter_t filter) {
  const double angle = degrees * std::numbers::pi / 180;
  const int turnedSide = static_cast<int>(side * (std::cos(angle) + std::sin(angle)));
  pixman_transform_t turn, part;
  pixman_transform_init_translate(&turn, pixman_int_to_fixed(side / 2),
                                  pixman_int_to_fixed(side / 2));
  pixman_transform_init_rotate(&part, pixman_double_to_fixed(std::cos(angle)),
                               pixman_double_to_fixed(std::sin(angle)));
  pixman_transform_multiply(&turn, &turn, &part);
  pixman_transform_init_translate(&part, pixman_int_to_fixed(-turnedSide / 2),
                                  pixman_int_to_fixed(-turnedSide / 2));
  pixman_transform_multiply(&turn, &turn, &part);
  pixman_image_t* const src =
      pixman_image_create_bits(PIXMAN_a8r8g8b8, side, side, pixels, rowBytes);
  pixman_image_set_transform(src, &turn);
  pixman_image_set_filter(src, filter, nullptr, 0);
  for (auto _ : state) {
    pixman_image_t* const dst =
        pixman_image_create_bits(PIXMAN_a8r8g8b8, turnedSide, turnedSide, nullptr, 0);
    pixman_image_composite32(PIXMAN_OP_SRC, src, nullptr, dst, 0, 0, 0, 0, 0, 0, turnedSide,
                             turnedSide);
    pixman_image_unref(dst);
  }
  pixman_image_unref(src);
}

}  // namespace kxw::bench
