#pragma once

#include <png.h>

#include <cmath>
#include <string>
#include <vector>

/// A picture read without the examples' own reader.
struct Picture {
  int width = 0, height = 0;
  std::vector<unsigned char> rgb;

  explicit Picture(const std::string& path) {
    png_image image = {};
    image.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_file(&image, path.c_str())) return;
    image.format = PNG_FORMAT_RGB;
    rgb.resize(PNG_IMAGE_SIZE(image));
    if (!png_image_finish_read(&image, nullptr, rgb.data(), 0, nullptr)) return;
    width = static_cast<int>(image.width);
    height = static_cast<int>(image.height);
  }
  unsigned At(int x, int y) const {
    const unsigned char* p = &rgb[3 * static_cast<std::size_t>(y * width + x)];
    return static_cast<unsigned>(p[0] << 16 | p[1] << 8 | p[2]);
  }
};

/// Writes bytes of a format of libpng's, row by row.
inline bool WritePicture(const std::string& path, png_uint_32 format, int width, int height,
                         const std::vector<unsigned char>& bytes) {
  png_image image = {};
  image.version = PNG_IMAGE_VERSION;
  image.width = static_cast<png_uint_32>(width);
  image.height = static_cast<png_uint_32>(height);
  image.format = format;
  return png_image_write_to_file(&image, path.c_str(), 0, bytes.data(), 0, nullptr) != 0;
}

/// Writes a line drawing of 90 by 90 pixels: two rings of ink about the middle, of radius 15
/// and 35.
inline bool WriteRings(const std::string& path) {
  std::vector<unsigned char> grey;
  for (int y = 0; y < 90; ++y) {
    for (int x = 0; x < 90; ++x) {
      const double r = std::hypot(x - 45, y - 45);
      grey.push_back(std::fabs(r - 15) < 2 || std::fabs(r - 35) < 2 ? 0 : 255);
    }
  }
  return WritePicture(path, PNG_FORMAT_GRAY, 90, 90, grey);
}
