#pragma once

#include <algorithm>
#include <functional>
#include <memory>

#include "kxwcmn/platform/types.h"

namespace kxw {

/// A text laid out in one line, as the host shapes it. Line breaks are blanks in that line, tabs
/// lead to its next stop, and '&' is itself. What is malformed in the code page shows as U+FFFD,
/// and a character that the font lacks comes from another font. An object belongs to one thread.
///
/// Glyphs are hinted and without anti-aliasing, so that each pixel is either ink or not.
class TextLine {
 public:
  /// Neither the widths of the host's text calls nor the time they take are bound otherwise.
  static constexpr int kMaxBytes = 0x10000;
  static constexpr int kMaxWidth = 0x100000;

  /// `font` null stands for the system's font. Raises std::bad_alloc.
  TextLine(const char* text, HFONT font);
  ~TextLine();

  /// 50 without Pango, and then the line is empty; 0 otherwise.
  int Code() const;

  /// In pixels.
  i64 Width() const { return width_; }
  int Height() const { return height_; }
  /// Whether the text passes `kMaxBytes`, or fewer for a font above 16 pixels, or `kMaxWidth`. It
  /// was measured as far as that, and cannot be drawn.
  bool IsTooLong() const { return isTooLong_; }

  /// Where the ink of a line that is not too long lies, from its top left on; it may have room to
  /// spare, and is empty without ink.
  tagRECT Ink() const;

  /// Calls `run(x, y, count)` for the runs of ink within `part` of the line, whose origin is its
  /// top left; ink may lie outside of the line's size. Returns 0, 6 if the host cannot draw the
  /// text, 8 if there is no memory, or 50 without Pango. What `run` raises goes through.
  using Run = std::function<void(int x, int y, int count)>;
  int ForEachInk(const tagRECT& part, const Run& run) const;

 private:
  struct Layout;
  std::unique_ptr<Layout> layout_;
  i64 width_ = 0;
  int height_ = 0;
  bool isTooLong_ = false;
};

/// What is seen of a line's columns, or rows, from `from` up to `to`, where the line starts at
/// `start` of an image: those that lie in `low` up to `high` of it.
struct SeenOfLine {
  SeenOfLine(i64 start, i64 from, i64 to, i64 low, i64 high)
      : first(static_cast<int>(std::clamp(low - start, from, to))),
        end(static_cast<int>(std::clamp<i64>(high - start, first, to))) {}
  int first, end;
};

}  // namespace kxw
