#pragma once

#include <algorithm>
#include <cstddef>
#include <optional>
#include <type_traits>
#include <vector>

#include "kxwcmn/classic/rows_internal.h"

/// What the changes of size of classic images share. They go through the result in strips of
/// columns, so that what is kept of a strip's columns stays small, and in each row by row.
namespace kxw {

/// Columns of a strip, of the result and about as many of the source.
inline constexpr int kStrip = 4096;

/// Some of the columns or rows of a rectangle, counted from its side; empty unless begin < end.
struct Stretch {
  int begin, end;
  bool IsEmpty() const { return begin >= end; }
};

/// One axis of a change of size: the `size` pixels from `at` on, of an image of `limit` pixels,
/// show the `fromSize` pixels from `from` on, of a source of `fromLimit`. Sizes are above 0.
struct ResizeAxis {
  int at, size, limit;
  int from, fromSize, fromLimit;

  double Ratio() const { return static_cast<double>(fromSize) / size; }
  /// Those that lie in the image.
  Stretch Visible() const { return Cut(at, size, limit); }
  /// Where the pixels of number `i` begin in the source, counted from `from`.
  i64 Begin(i64 i) const { return i * fromSize / size; }
  /// Those in the image that begin at a pixel of the source.
  Stretch Shown() const {
    Stretch shown = Visible();
    const Stretch inside = Cut(from, fromSize, fromLimit);
    // The first that begin at `inside.begin` and `inside.end` or behind.
    const auto first = [this](int begin) {
      return static_cast<int>((i64{begin} * size + fromSize - 1) / fromSize);
    };
    if (inside.IsEmpty()) return {0, 0};
    shown.begin = std::max(shown.begin, first(inside.begin));
    shown.end = std::min(shown.end, first(inside.end));
    return shown;
  }

 private:
  static Stretch Cut(int at, int size, int limit) {
    return {static_cast<int>(std::clamp<i64>(-i64{at}, 0, size)),
            static_cast<int>(std::clamp<i64>(i64{limit} - at, 0, size))};
  }
};

struct Resizing {
  Resizing(KXOffscreen& to, int x, int y, int w, int h, const KXOffscreen& from, int fromX,
           int fromY, int fromW, int fromH)
      : image(to),
        source(from),
        columns{x, w, to.GetWidth(), fromX, fromW, from.GetWidth()},
        rows{y, h, to.GetHeight(), fromY, fromH, from.GetHeight()} {}

  KXOffscreen& image;
  const KXOffscreen& source;
  ResizeAxis columns, rows;
};

/// The mean of the exact area for each pixel, by `cnHighLevelRes`.
void ResizeByArea(const Resizing& job);

/// An image to be read while `written` is painted: a copy of it where both are the same.
class ReadApart {
 public:
  ReadApart(const KXOffscreen& image, const KXOffscreen& written) : image_(&image) {
    if (image_ != &written) return;
    image_ = &copy_.emplace(image);
    copy_->Lock();
  }
  ReadApart(const ReadApart&) = delete;
  ReadApart& operator=(const ReadApart&) = delete;
  const KXOffscreen& Image() const { return *image_; }

 private:
  std::optional<KXOffscreen> copy_;
  const KXOffscreen* image_;
};

/// Channels of a pixel as its depth has them, or the one of a grey.
template <class Depth>
inline constexpr int kClassicChannels = Depth::kBits < 24 ? 1 : Depth::kBits / 8;

/// What a source's pixel is taken for: its grey or its colour.
template <class Depth>
using ClassicValue = std::conditional_t<kClassicChannels<Depth> == 1, BYTE, DWORD>;

/// How values are written to the rows of an image.
template <class Depth>
auto FindWriteValues(int bits) {
  if constexpr (kClassicChannels<Depth> == 1) return FindClassicWriteGreys(bits);
  if constexpr (kClassicChannels<Depth> != 1) return FindClassicWriteColors(bits);
}

/// The value of a pixel's channels, which stand in the order of memory.
template <class Depth, class Channel>
inline ClassicValue<Depth> JoinChannels(const Channel* c) {
  if constexpr (kClassicChannels<Depth> == 1) return static_cast<BYTE>(c[0]);
  if constexpr (kClassicChannels<Depth> == 3) return MakeColor(c[0], c[1], c[2], 0);
  if constexpr (kClassicChannels<Depth> == 4) return MakeColor(c[1], c[2], c[3], 0);
}

/// The columns [left, right) of an image's rows as bytes, one for each channel: as they stand where
/// the depth has them so.
template <class Depth>
class ChannelRows {
 public:
  ChannelRows(const KXOffscreen& image, int left, int right)
      : image_(image), left_(left), width_(right - left) {}

  /// Bytes of a row.
  int Count() const { return width_ * kClassicChannels<Depth>; }
  /// From one row to the next.
  std::ptrdiff_t Stride() const { return kIsPlain ? image_.GetRowBytes() : width_; }
  /// `rows` rows from row `y` on, which stay until the next call.
  const BYTE* Take(int y, int rows) {
    if constexpr (kIsPlain) {
      return ClassicRow(image_, y) + PixelByte<Depth>(left_);
    } else {
      greys_.resize(static_cast<std::size_t>(rows) * static_cast<std::size_t>(width_));
      BYTE* to = greys_.data();
      for (int i = 0; i < rows; ++i, to += width_) {
        FindClassicReadGreys(Depth::kBits)(to, ClassicRow(image_, y + i), left_, width_);
      }
      return greys_.data();
    }
  }

 private:
  static constexpr bool kIsPlain = kClassicChannels<Depth> > 1;
  const KXOffscreen& image_;
  const int left_, width_;
  std::vector<BYTE> greys_;
};

}  // namespace kxw
