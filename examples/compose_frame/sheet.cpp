#include "compose_frame/sheet.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "common/png_io.h"

namespace composeframe {
namespace {

constexpr int kGap = 12;  // pixels around each panel

std::size_t Index(int i) { return static_cast<std::size_t>(i); }

void WritePng(const std::string& path, int width, int height, const std::vector<BYTE>& pixels) {
  examples::PngWriter writer(path, width, height, 24);
  for (int y = 0; y < height; ++y) writer.WriteRow(&pixels[Index(y * width * 3)]);
  writer.Finish();
  std::printf("%s\n", path.c_str());
}

/// The image from `corner` on, on white, each square of `reduction` pixels averaged to one.
std::vector<BYTE> Reduce(KXVOffscreen& image, const KXPoint& corner, int panel, int reduction) {
  std::vector<BYTE> pixels(Index(panel * panel * 3));
  std::vector<unsigned> sums(Index(panel * 3));
  KXVOffscreenAutoLock lock(&image, 0);
  for (int y = 0; y < panel; ++y) {
    sums.assign(sums.size(), 0);
    for (int row = y * reduction; row < (y + 1) * reduction; ++row) {
      image.MoveCursor(corner.x, corner.y + row);
      for (int x = 0; x < panel * reduction; ++x, image.NextCursorX()) {
        const DWORD color = image.Get32BitColor();
        const unsigned alpha = color >> 24;
        for (int c = 0; c < 3; ++c) {
          const unsigned value = color >> (16 - 8 * c) & 255;  // blue first
          sums[Index(x / reduction * 3 + c)] += 255 - (255 - value) * alpha / 255;
        }
      }
    }
    const auto area = static_cast<unsigned>(reduction * reduction);
    for (std::size_t i = 0; i < sums.size(); ++i) {
      pixels[Index(y * panel * 3) + i] = static_cast<BYTE>((sums[i] + area / 2) / area);
    }
  }
  return pixels;
}

}  // namespace

Sheet::Sheet(std::string path, int columns, int rows, int size, int reduction)
    : path_(std::move(path)),
      columns_(columns),
      rows_(rows),
      panel_(size / reduction),
      reduction_(reduction),
      pixels_(Index((columns * (panel_ + kGap) + kGap) * (rows * (panel_ + kGap) + kGap) * 3),
              BYTE{245}) {}

void Sheet::Add(const std::string& label, KXVOffscreen& image) {
  AddPanel(label, Reduce(image, KXPoint(0, 0), panel_, reduction_));
}

void Sheet::AddDetail(const std::string& label, KXVOffscreen& image, const KXPoint& corner) {
  AddPanel(label, Reduce(image, corner, panel_, 1));
}

void Sheet::AddPanel(const std::string& label, const std::vector<BYTE>& panel) {
  const int width = columns_ * (panel_ + kGap) + kGap;
  const int left = kGap + count_ % columns_ * (panel_ + kGap);
  const int top = kGap + count_ / columns_ * (panel_ + kGap);
  for (int y = 0; y < panel_; ++y) {
    const auto from = panel.begin() + y * panel_ * 3;
    std::copy(from, from + panel_ * 3, pixels_.begin() + ((top + y) * width + left) * 3);
  }
  ++count_;
  const std::string stem = path_.substr(0, path_.rfind(".png"));
  WritePng(stem + "_" + std::to_string(count_) + "_" + label + ".png", panel_, panel_, panel);
}

void Sheet::Finish() {
  WritePng(path_, columns_ * (panel_ + kGap) + kGap, rows_ * (panel_ + kGap) + kGap, pixels_);
}

}  // namespace composeframe
