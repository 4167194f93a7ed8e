#include "smooth_cel/views.h"

#include <algorithm>

#include "common/png_io.h"

namespace smoothcel {
namespace {

constexpr int kPanel = 280;  // pixels of a side
constexpr int kGap = 12;     // around each panel
constexpr int kColumns = 4;
constexpr int kEnlarged = 7;
constexpr QMCOLORREF kGround = 0xFFF5F5F5;

int Place(int panel) { return kGap + panel * (kPanel + kGap); }

}  // namespace

void ToBitImage(KXOffscreen& cel, KXBitImage& image) {
  image.Create(cel.GetWidth(), cel.GetHeight(), 32);
  const KXStLockOff lock(&cel);
  for (i64 y = 0; y < cel.GetHeight(); ++y) {
    const BYTE* from = cel.GetBaseAddress() + y * cel.GetRowBytes();
    BYTE* to = image.GetBaseAddress() + y * image.GetRowBytes();
    for (int x = 0; x < cel.GetWidth(); ++x, from += 4, to += 4) {
      std::reverse_copy(from, from + 4, to);  // alpha, red, green, blue; there alpha is last
    }
  }
}

void WriteBitImage(const KXBitImage& image, const std::string& path) {
  KXBitImage rows(image);
  examples::PngWriter png(path, rows.GetWidth(), rows.GetHeight(), rows.GetBitCount());
  for (i64 y = 0; y < rows.GetHeight(); ++y) {
    png.WriteRow(rows.GetBaseAddress() + y * rows.GetRowBytes());
  }
  png.Finish();
}

Views::Views(int cels) {
  sheet_.Create(Place(kColumns), Place(cels), 32);
  sheet_.RectFill(KXRect(0, 0, sheet_.GetWidth(), sheet_.GetHeight()), kGround, 0);
}

void Views::Add(const KXBitImage& cel, const KXPoint& middle) {
  const int width = cel.GetWidth(), height = cel.GetHeight(), longer = std::max(width, height);
  const auto fitted = [&](int size) {
    if (longer <= kPanel) return size;
    return std::max(1, static_cast<int>(i64{size} * kPanel / longer));
  };
  const int w = fitted(width), h = fitted(height);
  const int left = (kPanel - w) / 2, top = Place(row_) + (kPanel - h) / 2;
  cel.StretchCopy(&sheet_, Place(0) + left, top, w, h, 0, 0, width, height);
  if (w < width && h < height) {
    cel.AntiAliasCopy32(&sheet_, Place(1) + left, top, w, h, 0, 0, width, height);
  } else {
    cel.StretchCopy(&sheet_, Place(1) + left, top, w, h, 0, 0, width, height);
  }
  AddPart(cel, middle, 1, 2);
  AddPart(cel, middle, kEnlarged, 3);
  ++row_;
}

void Views::AddPart(const KXBitImage& cel, const KXPoint& middle, int zoom, int column) {
  const auto first = [&](int at, int shown, int size) {
    return std::clamp(at - shown / 2, 0, size - shown);
  };
  const int w = std::min(kPanel / zoom, cel.GetWidth());
  const int h = std::min(kPanel / zoom, cel.GetHeight());
  cel.StretchCopy(&sheet_, Place(column) + (kPanel - w * zoom) / 2,
                  Place(row_) + (kPanel - h * zoom) / 2, w * zoom, h * zoom,
                  first(middle.x, w, cel.GetWidth()), first(middle.y, h, cel.GetHeight()), w, h);
}

}  // namespace smoothcel
