#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <memory>
#include <vector>

#include "kxwcmn/classic/detail/stairs.h"
#include "kxwcmn/classic/offscreen.h"
#include "kxwcmn/classic/rows_internal.h"

/// The fast form of the smoothing: borders between pixels are worked out once, as bits, from which
/// runs of both passes are found in words; runs along which no step can lie are passed over; and
/// the scratch pictures have memory only where there are ramps.
namespace kxw::stairs {

/// Lines of bits, in words of 64 with the first position lowest. The memory is not cleared.
class BitPlane {
 public:
  /// Each line has room for `positions` bits and one more. Raises std::bad_alloc.
  BitPlane(int lines, int positions)
      : words_(positions / 64 + 1),
        memory_(new u64[static_cast<std::size_t>(lines) * static_cast<std::size_t>(words_)]) {}

  int Words() const { return words_; }
  u64* Line(int line) { return memory_.get() + std::ptrdiff_t{line} * words_; }
  const u64* Line(int line) const { return memory_.get() + std::ptrdiff_t{line} * words_; }

 private:
  int words_;
  std::unique_ptr<u64[]> memory_;
};

/// The borders that a pass meets, by its lines and positions.
struct Borders {
  Borders(int lines, int positions) : along(lines, positions), across(lines + 1, positions) {}
  /// Those between a position and the one before it. A line's begin and its end count as borders.
  BitPlane along;
  /// Those between a line and the one before it. None lies before the first line, and none behind
  /// the last, which the line behind that one stands for.
  BitPlane across;
};

/// The borders along the rows of an area of `width` by `height` pixels, from its first pixel on.
Borders FindBorders(const BYTE* base, int rowBytes, int width, int height);
/// The same borders as a pass along the columns meets them.
Borders TurnBorders(const Borders& rows, int width, int height);

/// The runs between borders, and the colours of the picture.
class BitLines {
 public:
  BitLines(const Picture& picture, const Borders& borders) : picture_(picture), borders_(borders) {}

  Run Holding(int line, int p) const { return {StartOf(line, p), EndOf(line, p)}; }
  int StartOf(int line, int p) const {
    const u64* const words = borders_.along.Line(line);
    int i = p / 64;
    u64 word = words[i] & ~u64{0} >> (63 - p % 64);
    while (!word) word = words[--i];
    return i * 64 + 63 - std::countl_zero(word);
  }
  int EndOf(int line, int p) const {
    const u64* const words = borders_.along.Line(line);
    int i = (p + 1) / 64;
    u64 word = words[i] & ~u64{0} << (p + 1) % 64;
    while (!word) word = words[++i];
    return i * 64 + std::countr_zero(word);
  }
  bool Differ(int line, int beside, int p) const {
    return borders_.across.Line(std::max(line, beside))[p / 64] >> p % 64 & 1;
  }
  bool MayBegin(int line, int first, int last) const {
    return HasBit(borders_.along.Line(line), first, last, 0);
  }
  /// A cap is a part of one run, too.
  bool MayCap(int line, int beside, const Run& run) const {
    return !HasBit(borders_.across.Line(std::max(line, beside)), run.start, run.end - 1, ~u64{0}) &&
           !MayBegin(beside, run.start + 1, run.end - 1);
  }
  QMCOLORREF ColorOf(int line, const Run& run) const {
    return Mean(picture_.At(line, run.start), picture_.At(line, run.end - 1));
  }

 private:
  /// Whether a bit from `first` to `last` is set, once those of `turned` are turned over.
  static bool HasBit(const u64* words, int first, int last, u64 turned) {
    for (int i = first / 64; i <= last / 64; ++i) {
      u64 word = words[i] ^ turned;
      if (i == first / 64) word &= ~u64{0} << first % 64;
      if (i == last / 64) word &= ~u64{0} >> (63 - last % 64);
      if (word) return true;
    }
    return false;
  }

  const Picture& picture_;
  const Borders& borders_;
};

/// Two scratch pictures of one size in one, in tiles that are made when they are written to.
class SparseScratch {
 public:
  SparseScratch(int width, int height)
      : columns_((width + kSide - 1) / kSide),
        tiles_(static_cast<std::size_t>(columns_) *
               static_cast<std::size_t>((height + kSide - 1) / kSide)) {}

  QMCOLORREF First(int x, int y) const { return Get(x, y, 0); }
  QMCOLORREF Second(int x, int y) const { return Get(x, y, 1); }
  /// These raise std::bad_alloc.
  void SetFirst(int x, int y, QMCOLORREF color) { Make(x, y)[0] = color; }
  void SetSecond(int x, int y, QMCOLORREF color) { Make(x, y)[1] = color; }

  /// Calls `op(x, y, first, second)` for each pixel that was written to.
  template <class Op>
  void ForEach(Op op) const {
    for (std::size_t i = 0; i < tiles_.size(); ++i) {
      const Tile* const tile = tiles_[i];
      if (!tile) continue;
      const int left = static_cast<int>(i) % columns_ * kSide;
      const int top = static_cast<int>(i) / columns_ * kSide;
      for (u64 set = tile->set; set; set &= set - 1) {
        const int bit = std::countr_zero(set);
        const QMCOLORREF* const pixel = tile->pixels[bit];
        op(left + bit % kSide, top + bit / kSide, pixel[0], pixel[1]);
      }
    }
  }

 private:
  static constexpr int kSide = 8;
  struct Tile {
    u64 set;  // a bit for each pixel that was written to, row by row
    QMCOLORREF pixels[kSide * kSide][2];
  };

  std::size_t IndexOf(int x, int y) const {
    return static_cast<std::size_t>(y / kSide) * static_cast<std::size_t>(columns_) +
           static_cast<std::size_t>(x / kSide);
  }
  static int BitOf(int x, int y) { return y % kSide * kSide + x % kSide; }
  QMCOLORREF Get(int x, int y, int which) const {
    const Tile* const tile = tiles_[IndexOf(x, y)];
    const int bit = BitOf(x, y);
    return tile && (tile->set >> bit & 1) ? tile->pixels[bit][which] : kUntouched;
  }
  QMCOLORREF* Make(int x, int y) {
    Tile*& tile = tiles_[IndexOf(x, y)];
    if (!tile) tile = MakeTile();
    const int bit = BitOf(x, y);
    QMCOLORREF* const pixel = tile->pixels[bit];
    if (!(tile->set >> bit & 1)) {
      tile->set |= u64{1} << bit;
      pixel[0] = pixel[1] = kUntouched;
    }
    return pixel;
  }
  Tile* MakeTile();

  static constexpr std::size_t kAtOnce = 128;

  const int columns_;
  std::vector<Tile*> tiles_;
  std::vector<std::unique_ptr<Tile[]>> memory_;
  std::size_t left_ = 0;  // tiles in the last piece of memory
};

/// The scratch pictures of a caller: 32-bit images, locked, seen from a place in them.
class ImageScratch {
 public:
  ImageScratch(const KXOffscreen& first, const KXOffscreen& second, int left, int top)
      : first_(first), second_(second), left_(left), top_(top) {}

  QMCOLORREF First(int x, int y) const { return Classic32::Load(At(first_, x, y), 0); }
  QMCOLORREF Second(int x, int y) const { return Classic32::Load(At(second_, x, y), 0); }
  void SetFirst(int x, int y, QMCOLORREF color) { Classic32::Store(At(first_, x, y), 0, color); }
  void SetSecond(int x, int y, QMCOLORREF color) { Classic32::Store(At(second_, x, y), 0, color); }

 private:
  BYTE* At(const KXOffscreen& image, int x, int y) const {
    return ClassicRow(image, top_ + y) + PixelByte<Classic32>(left_ + x);
  }

  const KXOffscreen &first_, &second_;
  const int left_, top_;
};

/// Calls `op(line, run)` for each run at whose begin or end a line next to it differs. Without that
/// there is neither a step nor a cap. A run changes nothing but its own pixels, so that any order
/// of them will do: here by squares of 64 lines and positions, which caches hold in both passes.
template <class Op>
void ForEachStep(const Borders& borders, const BitLines& lines, int lineCount, Op op) {
  constexpr int kLines = 64;
  const int words = borders.along.Words();
  for (int first = 0; first < lineCount; first += kLines) {
    const int last = std::min(first + kLines, lineCount);
    for (int i = 0; i < words; ++i) {
      for (int line = first; line < last; ++line) {
        const u64* const along = borders.along.Line(line);
        const u64* const above = borders.across.Line(line);
        const u64* const below = borders.across.Line(line + 1);
        const u64 differs = above[i] | below[i];
        if (!differs) continue;
        const u64 starts = along[i], ends = starts >> 1 | (i + 1 < words ? along[i + 1] << 63 : 0);
        for (u64 found = differs & (starts | ends); found; found &= found - 1) {
          const int bit = std::countr_zero(found), p = i * 64 + bit;
          const int start = starts >> bit & 1 ? p : lines.StartOf(line, p);
          // From the end of a run, only if its begin is not found as well.
          if (start != p && ((above[start / 64] | below[start / 64]) >> start % 64 & 1)) continue;
          op(line, Run{start, lines.EndOf(line, p)});
        }
      }
    }
  }
}

/// Both passes over an area of `width` by `height` pixels, the first of which is at `base`;
/// `scratch` is seen from there too. Raises std::bad_alloc.
template <class Scratch>
void SmoothBothWays(BYTE* base, int rowBytes, int width, int height, Scratch& scratch) {
  Borders borders = FindBorders(base, rowBytes, width, height);
  const auto smooth = [&](bool isColumns, int lineCount, int positions) {
    const Picture picture(base, rowBytes, height, isColumns);
    const BitLines lines(picture, borders);
    Pass<BitLines, Scratch> pass(picture, {0, 0, positions, lineCount}, lines, scratch);
    ForEachStep(borders, lines, lineCount,
                [&](int line, const Run& run) { pass.SmoothRun(line, run); });
  };
  smooth(false, height, width);
  borders = TurnBorders(borders, width, height);
  smooth(true, width, height);
}

}  // namespace kxw::stairs
