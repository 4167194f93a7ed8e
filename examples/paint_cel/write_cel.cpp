#include <algorithm>
#include <array>

#include "paint_cel/cel.h"

namespace paintcel {
namespace {

constexpr unsigned kPaper = 255;  // of each channel

/// Makes rows of the picture, each from `reduction` rows of a cel.
class RowReducer {
 public:
  RowReducer(Cel& cel, int margin, int reduction)
      : cel_(cel), reduction_(reduction), sums_(3 * Index(ReducedSize(cel.Width(), reduction))) {
    for (int density = 0; density < 256; ++density) {
      coverage_[Index(density)] = static_cast<unsigned>(std::min(255, density * 255 / margin));
    }
  }

  /// The row, blue, green and red, that the cel's rows from `top` on give.
  const std::vector<BYTE>& Reduce(int top) {
    std::fill(sums_.begin(), sums_.end(), 0);
    const int bottom = std::min(top + reduction_, cel_.Height());
    // A block of the image is 256 pixels high, so that the rows may lie in more than one.
    KXBlockGetter blocks(cel_.ink.get(), KXRect(0, top, cel_.Width(), bottom), 1);
    for (KXRect part; blocks.GetNextBlock(part);) Add(part);

    row_.resize(sums_.size());
    for (int x = 0; x < cel_.Width(); x += reduction_) {
      const int columns = std::min(reduction_, cel_.Width() - x);
      const std::uint64_t whole = 255ull * static_cast<unsigned>(columns * (bottom - top));
      for (std::size_t i = 3 * Index(x / reduction_), end = i + 3; i < end; ++i) {
        row_[i] = static_cast<BYTE>((sums_[i] + whole / 2) / whole);
      }
    }
    return row_;
  }

 private:
  static std::size_t Index(int i) { return static_cast<std::size_t>(i); }

  /// Adds the pixels of `part`, which lies in one block, to the sums.
  void Add(const KXRect& part) {
    KXVOffscreenAutoLock inkLock(cel_.ink.get(), part.left, part.top, 0);
    KXVOffscreenAutoLock paintLock(cel_.paint.get(), part.left, part.top, 0);
    const BYTE* ink = examples::PixelsUnderCursor(*cel_.ink);
    const BYTE* paint = examples::PixelsUnderCursor(*cel_.paint);
    for (int y = part.top; y < part.bottom; ++y) {
      AddRow(part, ink, paint);
      if (ink) ink += cel_.ink->GetBlockRowBytes();
      if (paint) paint += cel_.paint->GetBlockRowBytes();
    }
  }

  void AddRow(const KXRect& part, const BYTE* ink, const BYTE* paint) {
    std::uint64_t* sum = &sums_[3 * Index(part.left / reduction_)];
    int left = reduction_ - part.left % reduction_;
    for (int x = 0; x < part.Width(); ++x) {
      const unsigned shown = 255 - (ink ? coverage_[ink[x]] : 0);
      const BYTE* pixel = paint ? paint + 4 * x : nullptr;  // blue, green, red, alpha
      const bool painted = pixel && pixel[3] != 0;
      for (int channel = 0; channel < 3; ++channel) {
        sum[channel] += shown * (painted ? pixel[channel] : kPaper);
      }
      if (--left == 0) {
        left = reduction_;
        sum += 3;
      }
    }
  }

  Cel& cel_;
  int reduction_;
  std::array<unsigned, 256> coverage_;  // of the ink, by its density
  std::vector<std::uint64_t> sums_;     // three for each pixel of the picture's row, times 255
  std::vector<BYTE> row_;
};

}  // namespace

void WriteCel(Cel& cel, int margin, int reduction, examples::PngWriter& writer) {
  RowReducer reducer(cel, margin, reduction);
  const int height = ReducedSize(cel.Height(), reduction);
  KXAbort abort;
  KXProgressBar progress(height, "Writing the picture");
  for (int y = 0; y < height; ++y, progress.Step()) {
    abort.CheckAbort();
    writer.WriteRow(reducer.Reduce(y * reduction).data());
  }
  writer.Finish();
}

}  // namespace paintcel
