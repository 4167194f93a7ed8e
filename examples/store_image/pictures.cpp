#include "store_image/pictures.h"

#include <algorithm>
#include <bit>
#include <vector>

#include "common/png_io.h"

namespace storeimage {
namespace {

using examples::Offscreen;
using examples::PngReader;

constexpr std::size_t kMostBytes = 16 << 20;  // of rows that are held at a time

std::size_t Index(int i) { return static_cast<std::size_t>(i); }

/// How many rows go through the image's blocks at a time: a power of two, and so never more than
/// lie in one row of blocks, when the first one is a multiple of it. With one at a time, an image
/// whose row of blocks does not fit the budget would come from the swap file 256 times.
int RowsAtATime(std::size_t rowBytes) {
  const std::size_t rows = std::clamp<std::size_t>(kMostBytes / std::max<std::size_t>(rowBytes, 1),
                                                   1, KXVOffscreen::kBlockSize);
  return static_cast<int>(std::bit_floor(rows));
}

/// Lays pixels over white, which makes all of them opaque.
void LayOverWhite(BYTE* rgba, int count) {
  for (BYTE* const end = rgba + 4 * Index(count); rgba != end; rgba += 4) {
    const unsigned alpha = rgba[3];
    for (int i = 0; i < 3; ++i) {
      rgba[i] = static_cast<BYTE>((rgba[i] * alpha + 255 * (255 - alpha) + 127) / 255);
    }
    rgba[3] = 255;
  }
}

u64 Word(const BYTE* at) { return static_cast<u64>(at[0] | at[1] << 8); }

/// Brings the rows of a picture into an image.
class Importer {
 public:
  Importer(PngReader& reader, KXVOffscreen& image)
      : reader_(reader),
        image_(image),
        hasAlpha_(image.GetBitCount() != 24),
        pixelBytes_(image.GetBitCount() == 64 ? 8 : 4),
        rowBytes_(pixelBytes_ * Index(image.GetWidth())) {}

  void Run() {
    int rows = 0;
    for (const Pass& pass : reader_.Passes()) rows += pass.rows;
    const int most = RowsAtATime(rowBytes_);
    pixels_.resize(rowBytes_ * Index(std::min(most, image_.GetHeight())));
    KXAbort abort;
    KXProgressBar progress(rows, "Reading the picture");
    for (const Pass& pass : reader_.Passes()) {
      for (int first = 0, end; first < pass.rows; first = end) {
        end = std::min(first + most, pass.rows);
        for (int row = first; row < end; ++row, progress.Step()) {
          abort.CheckAbort();
          BYTE* const at = &pixels_[rowBytes_ * Index(row - first)];
          reader_.ReadRow(at);
          if (!hasAlpha_) LayOverWhite(at, pass.columns);
        }
        Put(pass, first, end);
      }
    }
    if (reader_.Passes().size() > 1 && hasAlpha_) image_.Optimize();
  }

 private:
  using Pass = PngReader::Pass;

  /// Gives back the block that `part` is the last of, if it holds nothing.
  void FreeIfEmpty(const KXRect& part) {
    constexpr int kMask = ~KXVOffscreen::kBlockMask;
    if (hasAlpha_)
      image_.OptimizeBlock(KXRect(part.left, part.top & kMask, part.right, part.bottom));
  }

  /// Writes the rows of a pass from `first` to `end`, which are those that `pixels_` holds.
  void Put(const Pass& pass, int first, int end) {
    const KXRect rows(0, pass.y + first * pass.stepY, image_.GetWidth(),
                      pass.y + (end - 1) * pass.stepY + 1);
    KXBlockGetter blocks(&image_, rows, 1);
    for (KXRect part; blocks.GetNextBlock(part);) {
      PutPart(pass, first, part);
      // The last pass, whose pixels alone lie side by side, is done with this block.
      if (pass.stepX == 1 &&
          (part.bottom % KXVOffscreen::kBlockSize == 0 || part.bottom == image_.GetHeight())) {
        FreeIfEmpty(part);
      }
    }
  }

  void PutPart(const Pass& pass, int first, const KXRect& part) {
    // The first pixel of the pass that is not in front of `at`.
    const auto find = [](int at, int start, int step) {
      return (std::max(at - start, 0) + step - 1) / step;
    };
    const int left = find(part.left, pass.x, pass.stepX), top = find(part.top, pass.y, pass.stepY);
    const int count = find(part.right, pass.x, pass.stepX) - left;
    const int bottom = find(part.bottom, pass.y, pass.stepY);
    if (count <= 0) return;
    const auto run = [&](int row) {
      return &pixels_[rowBytes_ * Index(row - first) + pixelBytes_ * Index(left)];
    };
    // White needs no block at 24 bits, and none is given back there for being empty.
    if (!hasAlpha_ && !image_.GetBlockExist(part.left, part.top)) {
      const auto isWhite = [&](int row) {
        return std::all_of(run(row), run(row) + 4 * count, [](BYTE c) { return c == 255; });
      };
      int row = top;
      while (row < bottom && isWhite(row)) ++row;
      if (row == bottom) return;
    }
    KXVOffscreenAutoLock lock(&image_, part.left, part.top, 1);
    examples::PixelsUnderCursor(image_);  // raises for a block that cannot be brought in
    for (int row = top; row < bottom; ++row) {
      image_.MoveCursor(pass.x + left * pass.stepX, pass.y + row * pass.stepY);
      PutRun(run(row), count, pass.stepX);
    }
  }

  void PutRun(const BYTE* run, int count, int step) {
    for (int i = 0; i < count; ++i, run += pixelBytes_) {
      for (int steps = i > 0 ? step : 0; steps > 0; --steps) image_.NextCursorX();
      if (pixelBytes_ == 8) {
        image_.Set64BitColor(
            kxw::MakeColor64(Word(run), Word(run + 2), Word(run + 4), Word(run + 6)));
      } else {
        image_.Set32BitColor(kxw::MakeColor(run[0], run[1], run[2], run[3]));
      }
    }
  }

  PngReader& reader_;
  KXVOffscreen& image_;
  bool hasAlpha_;
  std::size_t pixelBytes_, rowBytes_;
  std::vector<BYTE> pixels_;
};

}  // namespace

Offscreen ImportPicture(const std::string& path, int bits) {
  PngReader reader(path, bits == 64);
  Offscreen image(KXVOffscreen::CreateOffscreen(bits));
  image->Create(kxGetVirtualMemory(), reader.Width(), reader.Height(), reader.Resolution());
  Importer(reader, *image).Run();
  return image;
}

void ExportPicture(KXVOffscreen& image, const std::string& path) {
  const int width = image.GetWidth(), height = image.GetHeight(), bits = image.GetBitCount();
  examples::PngWriter writer(path, width, height, bits, image.GetResolution());
  const std::size_t rowBytes = (Index(width) * Index(bits) + 7) / 8;
  const int most = RowsAtATime(rowBytes);
  std::vector<BYTE> pixels(rowBytes * Index(std::min(most, height)));
  KXAbort abort;
  KXProgressBar progress(height, "Writing the picture");
  for (int first = 0, end; first < height; first = end) {
    end = std::min(first + most, height);
    image.ReadPixels(KXRect(0, first, width, end), KXPixelFormat::kNative, pixels.data());
    for (int y = first; y < end; ++y, progress.Step()) {
      abort.CheckAbort();
      writer.WriteRow(&pixels[rowBytes * Index(y - first)]);
    }
  }
  writer.Finish();
}

}  // namespace storeimage
