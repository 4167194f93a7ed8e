#pragma once

#include <png.h>

#include <cstdint>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <vector>

namespace examples {

/// A file that cannot be read or written as PNG. `what()` is one line that names the file.
class PngError : public std::runtime_error {
 public:
  PngError(const std::string& path, const std::string& reason)
      : std::runtime_error(path + ": " + reason) {}
};

/// A line drawing as densities, row by row: 0 is paper, 255 is solid ink.
struct Drawing {
  int width = 0;
  int height = 0;
  std::vector<std::uint8_t> density;

  std::uint8_t At(int x, int y) const {
    return density[static_cast<std::size_t>(y) * static_cast<std::size_t>(width) +
                   static_cast<std::size_t>(x)];
  }
};

/// Reads a PNG of any kind as a drawing: colours by their luminance, transparent pixels as paper.
/// Raises PngError.
Drawing ReadDrawing(const std::string& path);

/// Writes an RGB picture row by row, so that it may be larger than memory. The file takes its name
/// when it is complete: whatever stood there before stays until then.
class PngWriter {
 public:
  /// Raises PngError, as the other members do.
  PngWriter(const std::string& path, int width, int height);
  PngWriter(const PngWriter&) = delete;
  PngWriter& operator=(const PngWriter&) = delete;
  /// Removes an unfinished file.
  ~PngWriter();

  /// Takes the next row: three bytes a pixel, red first.
  void WriteRow(const std::uint8_t* rgb);
  /// Ends the file; all rows have been written.
  void Finish();

 private:
  explicit PngWriter(const std::string& path);
  [[noreturn]] static void OnError(png_structp png, png_const_charp message);
  static void OnWarning(png_structp, png_const_charp) {}
  [[noreturn]] void Fail();

  std::string path_;
  std::string partPath_;
  std::string message_;  // of libpng's last error
  std::FILE* file_ = nullptr;
  png_structp png_ = nullptr;
  png_infop info_ = nullptr;
};

}  // namespace examples
