#include "common/png_io.h"

#include <cerrno>
#include <csetjmp>
#include <cstring>
#include <memory>

namespace examples {

namespace {

constexpr std::size_t kMostPixels = 1 << 30;

struct PngImage : png_image {
  PngImage() : png_image{} { version = PNG_IMAGE_VERSION; }
  ~PngImage() { png_image_free(this); }
};

}  // namespace

Drawing ReadDrawing(const std::string& path) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rb"),
                                                             std::fclose);
  if (!file) throw PngError(path, std::strerror(errno));
  PngImage image;
  const auto fail = [&] {
    throw PngError(path, std::string("not a readable PNG: ") + image.message);
  };
  if (!png_image_begin_read_from_stdio(&image, file.get())) fail();
  const std::size_t pixels = static_cast<std::size_t>(image.width) * image.height;
  if (pixels > kMostPixels) throw PngError(path, "more pixels than can be read");
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

void PngWriter::OnError(png_structp png, png_const_charp message) {
  static_cast<PngWriter*>(png_get_error_ptr(png))->message_ = message;
  png_longjmp(png, 1);
}

void PngWriter::Fail() { throw PngError(path_, message_); }

PngWriter::PngWriter(const std::string& path) : path_(path), partPath_(path + ".part") {}

// From the end of the first constructor on, a failure runs the destructor.
PngWriter::PngWriter(const std::string& path, int width, int height) : PngWriter(path) {
  file_ = std::fopen(partPath_.c_str(), "wb");
  if (!file_) throw PngError(path_, std::strerror(errno));
  png_ = png_create_write_struct(PNG_LIBPNG_VER_STRING, this, OnError, OnWarning);
  info_ = png_ ? png_create_info_struct(png_) : nullptr;
  message_ = "not enough memory";
  if (!info_ || setjmp(png_jmpbuf(png_))) Fail();
  png_init_io(png_, file_);
  png_set_IHDR(png_, info_, static_cast<png_uint_32>(width), static_cast<png_uint_32>(height), 8,
               PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
               PNG_FILTER_TYPE_DEFAULT);
  png_write_info(png_, info_);
}

PngWriter::~PngWriter() {
  png_destroy_write_struct(&png_, &info_);
  if (file_) {
    std::fclose(file_);
    std::remove(partPath_.c_str());
  }
}

void PngWriter::WriteRow(const std::uint8_t* rgb) {
  if (setjmp(png_jmpbuf(png_))) Fail();
  png_write_row(png_, rgb);
}

void PngWriter::Finish() {
  if (setjmp(png_jmpbuf(png_))) Fail();
  png_write_end(png_, info_);
  std::FILE* file = file_;
  file_ = nullptr;
  if (std::fclose(file) != 0 || std::rename(partPath_.c_str(), path_.c_str()) != 0) {
    const char* reason = std::strerror(errno);
    std::remove(partPath_.c_str());
    throw PngError(path_, reason);
  }
}

}  // namespace examples
