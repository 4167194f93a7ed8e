#pragma once

#include <png.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "common/new_file.h"

namespace examples {

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
/// Raises FileError.
Drawing ReadDrawing(const std::string& path);

/// Reads a PNG of any kind row by row, so that it may be larger than memory. Pixels come as red,
/// green, blue and alpha.
class PngReader {
 public:
  /// Rows of equal steps in both directions. A picture is one such pass, or, interlaced, seven.
  struct Pass {
    int x, y;          ///< Of the first pixel.
    int stepX, stepY;  ///< Pixels of the picture from one to the next.
    int columns, rows;
  };

  /// Channels have 16 bits, low byte first, if `wide` is set, else 8. Raises FileError, as
  /// `ReadRow` does.
  PngReader(const std::string& path, bool wide);
  PngReader(const PngReader&) = delete;
  PngReader& operator=(const PngReader&) = delete;
  ~PngReader();

  int Width() const { return width_; }
  int Height() const { return height_; }
  /// Pixels an inch; 72 where the file does not say.
  double Resolution() const { return resolution_; }
  /// Those that have pixels.
  const std::vector<Pass>& Passes() const { return passes_; }

  /// Reads the next row, pass by pass, into room for a whole row of the picture. Behind the last
  /// one the file's end is looked at.
  void ReadRow(std::uint8_t* pixels);

 private:
  explicit PngReader(const std::string& path) : path_(path) {}
  [[noreturn]] static void OnError(png_structp png, png_const_charp message);
  static void OnWarning(png_structp, png_const_charp) {}
  [[noreturn]] void Fail();
  void FindPasses();

  std::string path_;
  std::string message_;  // of libpng's last error
  std::FILE* file_ = nullptr;
  png_structp png_ = nullptr;
  png_infop info_ = nullptr;
  int width_ = 0, height_ = 0;
  double resolution_ = 72;
  std::vector<Pass> passes_;
  long long rowsLeft_ = 0;
};

/// Writes a picture row by row, so that it may be larger than memory. The file takes its name when
/// it is complete: whatever stood there before stays until then.
class PngWriter {
 public:
  /// Rows are those of an image of `bits` bits a pixel, one of the seven depths, as its memory has
  /// them. Depths without alpha become greys or colours on white. `resolution` is in pixels an
  /// inch, 0 if it means nothing. Raises FileError, as the other members do.
  PngWriter(const std::string& path, int width, int height, int bits, double resolution = 0);
  PngWriter(const PngWriter&) = delete;
  PngWriter& operator=(const PngWriter&) = delete;
  /// Removes an unfinished file.
  ~PngWriter();

  void WriteRow(const std::uint8_t* pixels);
  /// Ends the file; all rows have been written.
  void Finish();

 private:
  explicit PngWriter(const std::string& path) : newFile_(path) {}
  [[noreturn]] static void OnError(png_structp png, png_const_charp message);
  static void OnWarning(png_structp, png_const_charp) {}
  [[noreturn]] void Fail();
  void Begin(int width, int height, int bits, double resolution);

  NewFile newFile_;
  std::string message_;  // of libpng's last error
  std::FILE* file_ = nullptr;
  png_structp png_ = nullptr;
  png_infop info_ = nullptr;
};

}  // namespace examples
