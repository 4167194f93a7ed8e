#include "common/png_io.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <csetjmp>
#include <cstring>
#include <memory>

namespace examples {

namespace {

constexpr std::size_t kMostPixels = 1 << 30;  // of a drawing
constexpr double kMetresPerInch = 0.0254;

struct PngImage : png_image {
  PngImage() : png_image{} { version = PNG_IMAGE_VERSION; }
  ~PngImage() { png_image_free(this); }
};

std::FILE* OpenFile(const std::string& path, const char* mode, const std::string& name) {
  std::FILE* file = std::fopen(path.c_str(), mode);
  if (!file) throw FileError(name, std::strerror(errno));
  return file;
}

/// Pixels an inch; the whole number that a file stores in the same way comes first.
double ToInches(double pixelsPerMetre) {
  const double exact = pixelsPerMetre * kMetresPerInch, whole = std::round(exact);
  return std::round(whole / kMetresPerInch) == pixelsPerMetre ? whole : exact;
}

}  // namespace

Drawing ReadDrawing(const std::string& path) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(OpenFile(path, "rb", path),
                                                             std::fclose);
  PngImage image;
  const auto fail = [&] {
    throw FileError(path, std::string("not a readable PNG: ") + image.message);
  };
  if (!png_image_begin_read_from_stdio(&image, file.get())) fail();
  const std::size_t pixels = static_cast<std::size_t>(image.width) * image.height;
  if (pixels > kMostPixels) throw FileError(path, "more pixels than can be read");
  image.format = PNG_FORMAT_GA;
  std::vector<std::uint8_t> greyAlpha(2 * pixels);
  if (!png_image_finish_read(&image, nullptr, greyAlpha.data(), 0, nullptr)) fail();

  Drawing drawing{static_cast<int>(image.width), static_cast<int>(image.height), {}};
  drawing.density.resize(pixels);
  for (std::size_t i = 0; i < pixels; ++i) {
    const unsigned ink = 255u - greyAlpha[2 * i];
    drawing.density[i] = static_cast<std::uint8_t>((ink * greyAlpha[2 * i + 1] + 127) / 255);
  }
  return drawing;
}

// --- Reading rows --------------------------------------------------------------------------------

void PngReader::OnError(png_structp png, png_const_charp message) {
  static_cast<PngReader*>(png_get_error_ptr(png))->message_ = message;
  png_longjmp(png, 1);
}

void PngReader::Fail() { throw FileError(path_, "not a readable PNG: " + message_); }

// From the end of the first constructor on, a failure runs the destructor.
PngReader::PngReader(const std::string& path, bool wide) : PngReader(path) {
  file_ = OpenFile(path, "rb", path);
  png_ = png_create_read_struct(PNG_LIBPNG_VER_STRING, this, OnError, OnWarning);
  info_ = png_ ? png_create_info_struct(png_) : nullptr;
  message_ = "not enough memory";
  if (!info_ || setjmp(png_jmpbuf(png_))) Fail();
  png_init_io(png_, file_);
  png_set_user_limits(png_, PNG_UINT_31_MAX, PNG_UINT_31_MAX);
  png_read_info(png_, info_);
  width_ = static_cast<int>(png_get_image_width(png_, info_));
  height_ = static_cast<int>(png_get_image_height(png_, info_));
  if (const png_uint_32 pixelsPerMetre = png_get_pixels_per_meter(png_, info_)) {
    resolution_ = ToInches(pixelsPerMetre);
  }
  png_set_expand(png_);
  if (wide) {
    png_set_expand_16(png_);
    png_set_swap(png_);
  } else {
    png_set_scale_16(png_);
  }
  png_set_gray_to_rgb(png_);
  png_set_add_alpha(png_, wide ? 0xFFFF : 0xFF, PNG_FILLER_AFTER);
  png_start_read_image(png_);
  FindPasses();
}

PngReader::~PngReader() {
  png_destroy_read_struct(&png_, &info_, nullptr);
  if (file_) std::fclose(file_);
}

void PngReader::FindPasses() {
  if (png_get_interlace_type(png_, info_) == PNG_INTERLACE_NONE) {
    passes_.push_back({0, 0, 1, 1, width_, height_});
  } else {
    for (int pass = 0; pass < PNG_INTERLACE_ADAM7_PASSES; ++pass) {
      const Pass found = {static_cast<int>(PNG_PASS_START_COL(pass)),
                          static_cast<int>(PNG_PASS_START_ROW(pass)),
                          1 << PNG_PASS_COL_SHIFT(pass),
                          1 << PNG_PASS_ROW_SHIFT(pass),
                          static_cast<int>(PNG_PASS_COLS(png_uint_32(width_), pass)),
                          static_cast<int>(PNG_PASS_ROWS(png_uint_32(height_), pass))};
      if (found.columns > 0 && found.rows > 0) passes_.push_back(found);
    }
  }
  for (const Pass& pass : passes_) rowsLeft_ += pass.rows;
}

void PngReader::ReadRow(std::uint8_t* pixels) {
  if (setjmp(png_jmpbuf(png_))) Fail();
  png_read_row(png_, pixels, nullptr);
  if (--rowsLeft_ == 0) png_read_end(png_, nullptr);
}

// --- Writing -------------------------------------------------------------------------------------

void PngWriter::OnError(png_structp png, png_const_charp message) {
  static_cast<PngWriter*>(png_get_error_ptr(png))->message_ = message;
  png_longjmp(png, 1);
}

// What libpng says of a failed write is less than what the host says.
void PngWriter::Fail() {
  throw FileError(newFile_.Path(),
                  file_ && std::ferror(file_) && errno ? std::strerror(errno) : message_);
}

PngWriter::PngWriter(const std::string& path, int width, int height, int bits, double resolution)
    : PngWriter(path) {
  file_ = OpenFile(newFile_.PartPath(), "wb", path);
  png_ = png_create_write_struct(PNG_LIBPNG_VER_STRING, this, OnError, OnWarning);
  info_ = png_ ? png_create_info_struct(png_) : nullptr;
  message_ = "not enough memory";
  if (!info_ || setjmp(png_jmpbuf(png_))) Fail();
  Begin(width, height, bits, resolution);
}

void PngWriter::Begin(int width, int height, int bits, double resolution) {
  int channelBits = 8, type = PNG_COLOR_TYPE_GRAY;
  if (bits == 1 || bits == 2) channelBits = bits;
  if (bits == 64) channelBits = 16;
  if (bits == 2) type = PNG_COLOR_TYPE_PALETTE;
  if (bits == 16) type = PNG_COLOR_TYPE_GRAY_ALPHA;
  if (bits == 24) type = PNG_COLOR_TYPE_RGB;
  if (bits >= 32) type = PNG_COLOR_TYPE_RGB_ALPHA;

  png_init_io(png_, file_);
  png_set_user_limits(png_, PNG_UINT_31_MAX, PNG_UINT_31_MAX);
  png_set_IHDR(png_, info_, static_cast<png_uint_32>(width), static_cast<png_uint_32>(height),
               channelBits, type, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
               PNG_FILTER_TYPE_DEFAULT);
  if (bits == 2) {
    // Nothing, undefined, white and black.
    const png_color colors[] = {{255, 255, 255}, {255, 255, 255}, {255, 255, 255}, {0, 0, 0}};
    const png_byte alphas[] = {0, 0, 255, 255};
    png_set_PLTE(png_, info_, colors, 4);
    png_set_tRNS(png_, info_, alphas, 4, nullptr);
  }
  const double pixelsPerMetre = std::round(resolution / kMetresPerInch);
  if (pixelsPerMetre >= 1 && pixelsPerMetre <= PNG_UINT_31_MAX) {
    const auto stored = static_cast<png_uint_32>(pixelsPerMetre);
    png_set_pHYs(png_, info_, stored, stored, PNG_RESOLUTION_METER);
  }
  png_write_info(png_, info_);

  // What turns the bytes of an image's memory into those of the file.
  if (bits == 1 || bits == 8) png_set_invert_mono(png_);  // densities into greys
  if (bits == 16) png_set_swap_alpha(png_);
  if (bits >= 24) png_set_bgr(png_);
  if (bits == 64) png_set_swap(png_);
}

PngWriter::~PngWriter() {
  png_destroy_write_struct(&png_, &info_);
  if (file_) std::fclose(file_);
}

void PngWriter::WriteRow(const std::uint8_t* pixels) {
  if (setjmp(png_jmpbuf(png_))) Fail();
  png_write_row(png_, pixels);
}

void PngWriter::Finish() {
  if (setjmp(png_jmpbuf(png_))) Fail();
  png_write_end(png_, info_);
  std::FILE* file = file_;
  file_ = nullptr;
  if (std::fclose(file) != 0) throw FileError(newFile_.Path(), std::strerror(errno));
  newFile_.Keep();
}

}  // namespace examples
