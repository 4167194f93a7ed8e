#include <algorithm>
#include <cmath>

#include "paint_cel/cel.h"

namespace paintcel {
namespace {

using examples::Drawing;

/// How each pixel of one axis of the image is mixed from pixels of the drawing: `taps` of them from
/// `first[i]` on, with weights that sum to 1.
struct Filter {
  int taps;
  std::vector<int> first;
  std::vector<float> weights;
};

/// The cubic of Catmull and Rom: smooth, and exact at the drawing's own pixels.
double Cubic(double x) {
  x = std::fabs(x);
  if (x < 1) return (1.5 * x - 2.5) * x * x + 1;
  if (x < 2) return ((-0.5 * x + 2.5) * x - 4) * x + 2;
  return 0;
}

Filter MakeFilter(int size, double scale) {
  const double stretch = std::max(1.0, 1 / scale);  // a smaller image averages what it leaves out
  Filter filter;
  filter.taps = static_cast<int>(std::ceil(4 * stretch)) + 1;
  for (int i = 0; i < size; ++i) {
    const double center = (i + 0.5) / scale - 0.5;
    const int first = static_cast<int>(std::ceil(center - 2 * stretch));
    double sum = 0;
    for (int tap = 0; tap < filter.taps; ++tap) sum += Cubic((first + tap - center) / stretch);
    filter.first.push_back(first);
    for (int tap = 0; tap < filter.taps; ++tap) {
      filter.weights.push_back(static_cast<float>(Cubic((first + tap - center) / stretch) / sum));
    }
  }
  return filter;
}

/// Computes blocks of the ink from the drawing. Its edge pixels go on for ever outside it.
class InkScaler {
 public:
  InkScaler(const Drawing& drawing, const Cel& cel)
      : drawing_(drawing),
        across_(MakeFilter(cel.Width(), cel.scale)),
        down_(MakeFilter(cel.Height(), cel.scale)) {}

  /// Whether the drawing has any ink where `block` takes its pixels from.
  bool HasInk(const KXRect& block) const {
    const int right = LastColumn(block), bottom = LastRow(block);
    for (int y = FirstRow(block); y <= bottom; ++y) {
      for (int x = across_.first[Index(block.left)]; x <= right; ++x) {
        if (At(x, y) != 0) return true;
      }
    }
    return false;
  }

  /// Computes the pixels of `block` into rows that begin at `out` and lie `rowBytes` apart.
  void Scale(const KXRect& block, BYTE* out, int rowBytes) {
    const std::size_t width = Index(block.Width());
    const int firstRow = FirstRow(block);
    const int rows = LastRow(block) - firstRow + 1;
    across.resize(Index(rows) * width);
    for (int y = 0; y < rows; ++y) ScaleRow(block, firstRow + y, &across[Index(y) * width]);
    sums.resize(width);
    for (int y = block.top; y < block.bottom; ++y, out += rowBytes) {
      std::fill(sums.begin(), sums.end(), 0.5f);
      for (int tap = 0; tap < down_.taps; ++tap) {
        const float weight = down_.weights[Index(y) * Index(down_.taps) + Index(tap)];
        const float* row = &across[Index(down_.first[Index(y)] + tap - firstRow) * width];
        for (std::size_t x = 0; x < width; ++x) sums[x] += weight * row[x];
      }
      for (std::size_t x = 0; x < width; ++x) {
        out[x] = static_cast<BYTE>(std::clamp(sums[x], 0.0f, 255.0f));
      }
    }
  }

 private:
  static std::size_t Index(int i) { return static_cast<std::size_t>(i); }
  int FirstRow(const KXRect& block) const { return down_.first[Index(block.top)]; }
  int LastRow(const KXRect& block) const {
    return down_.first[Index(block.bottom - 1)] + down_.taps - 1;
  }
  int LastColumn(const KXRect& block) const {
    return across_.first[Index(block.right - 1)] + across_.taps - 1;
  }
  int At(int x, int y) const {
    return drawing_.At(std::clamp(x, 0, drawing_.width - 1), std::clamp(y, 0, drawing_.height - 1));
  }

  void ScaleRow(const KXRect& block, int y, float* out) const {
    for (int x = block.left; x < block.right; ++x) {
      const float* weights = &across_.weights[Index(x) * Index(across_.taps)];
      float sum = 0;
      for (int tap = 0; tap < across_.taps; ++tap) {
        sum += weights[tap] * static_cast<float>(At(across_.first[Index(x)] + tap, y));
      }
      *out++ = sum;
    }
  }

  const Drawing& drawing_;
  const Filter across_, down_;
  std::vector<float> across, sums;
};

}  // namespace

Cel::Cel(KXVirtualMemory* memory, const Drawing& drawing, int size)
    : scale(static_cast<double>(size) / std::max(drawing.width, drawing.height)),
      ink(KXVOffscreen::CreateOffscreen(8)),
      paint(KXVOffscreen::CreateOffscreen(32)),
      paper(KXVOffscreen::CreateOffscreen(24)) {
  const int width = std::max(1, static_cast<int>(std::lround(drawing.width * scale)));
  const int height = std::max(1, static_cast<int>(std::lround(drawing.height * scale)));
  for (KXVOffscreen* image : {ink.get(), paint.get(), paper.get()}) {
    image->Create(memory, width, height, scale);
  }
}

void ScaleInk(const Drawing& drawing, Cel& cel) {
  InkScaler scaler(drawing, cel);
  KXAbort abort;
  KXProgressBar progress(cel.ink->GetBlockCount(nullptr, nullptr), "Scaling the ink");
  KXBlockGetter blocks(cel.ink.get(), cel.ink->GetRect(), 1);
  for (KXRect block; blocks.GetNextBlock(block); progress.Step()) {
    abort.CheckAbort();
    if (!scaler.HasInk(block)) continue;
    {
      // The lock holds this one block in memory, and makes it if it is not there.
      KXVOffscreenAutoLock lock(cel.ink.get(), block.left, block.top, 1);
      scaler.Scale(block, cel.ink->GetCurrentAddress(), cel.ink->GetBlockRowBytes());
    }
    cel.ink->OptimizeBlock(
        block);  // here, where the block is at hand, and not in a pass of its own
  }
}

}  // namespace paintcel
