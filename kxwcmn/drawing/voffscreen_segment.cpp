#include <algorithm>
#include <cmath>
#include <limits>

#include "kxwcmn/compositing/mixrow_internal.h"
#include "kxwcmn/drawing/channels_internal.h"
#include "kxwcmn/drawing/fillrules_internal.h"
#include "kxwcmn/offscreen/autolock.h"
#include "kxwcmn/offscreen/voffscreen_depths.h"
#include "kxwcmn/platform/number.h"

// A thick segment is a square brush drawn from one end to the other: as a polygon where the brush
// paints over, and stamp by stamp where each stamp goes under what is there.

namespace {

constexpr double kDegrees = 57.29577951308232;  // in one radian

struct Segment {
  int x1, y1, x2, y2;
};

struct Brush {
  int size;    // the side of the square
  int offset;  // of the stamps, on both axes
};

int Saturate(i64 value) {
  return static_cast<int>(
      std::clamp<i64>(value, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
}

/// How thick the brush of a slanted segment is beside its width: a square is thickest across its
/// diagonal.
double Thinning(const Segment& s) {
  const double dx = static_cast<double>(s.x2) - s.x1, dy = static_cast<double>(s.y2) - s.y1;
  const double angle = std::atan2(-dy, dx);
  const double degrees = std::abs(angle * kDegrees);
  const bool isSteep = degrees >= 45 && degrees <= 135;
  return std::abs(isSteep ? std::sin(angle) : std::cos(angle));
}

int Limited(double size, int width) { return std::max(std::min(kxw::Truncate(size), width), 1); }

bool IsSlanted(const Segment& s) { return s.x1 != s.x2 && s.y1 != s.y2; }

/// The brush of `DrawSegment`, kept in the middle of the width.
Brush CentredBrush(const Segment& s, int width, bool adjusts) {
  Brush brush{width, 0};
  if (!adjusts) return brush;
  if (IsSlanted(s)) brush.size = Limited(Thinning(s) * width + 0.99, width);
  brush.offset = kxw::Truncate((static_cast<double>(width) - brush.size) * 0.5);
  const i64 least = static_cast<i64>(width) - 2 * static_cast<i64>(brush.offset);
  if (brush.size < least) brush.size = Saturate(least);
  return brush;
}

/// The brush of `DrawSegment2`, which rounds up by more and stays at the top left.
Brush CornerBrush(const Segment& s, int width, bool adjusts) {
  if (!adjusts || !IsSlanted(s)) return {width, 0};
  return {Limited(Thinning(s) * (width + 0.99), width), 0};
}

/// The hull of the squares at both ends, whose sides have `size` pixels.
void OutlineOf(Segment s, int size, KXPoint (&points)[6]) {
  if (s.x1 > s.x2) s = {s.x2, s.y2, s.x1, s.y1};
  const i64 last = static_cast<i64>(size) - 1;
  const int right1 = Saturate(s.x1 + last), bottom1 = Saturate(s.y1 + last);
  const int right2 = Saturate(s.x2 + last), bottom2 = Saturate(s.y2 + last);
  if (s.y1 <= s.y2) {
    points[0] = {s.x1, s.y1};
    points[1] = {right1, s.y1};
    points[2] = {right2, s.y2};
    points[3] = {right2, bottom2};
    points[4] = {s.x2, bottom2};
    points[5] = {s.x1, bottom1};
  } else {
    points[0] = {s.x1, s.y1};
    points[1] = {s.x2, s.y2};
    points[2] = {right2, s.y2};
    points[3] = {right2, bottom2};
    points[4] = {right1, bottom1};
    points[5] = {s.x1, bottom1};
  }
}

/// Stamps of a line, by number, from `first` up to but not `end`.
struct Stamps {
  i64 first, end;
};

/// The line along which a brush is stamped: each stamp is one step along the greater axis from the
/// one before, with a step along the other where Bresenham's rule has it.
///
/// The brush only ever moves one way on each axis, so the stamps that cover a row or a column stand
/// together: a pixel is visited once, however many stamps cover it.
class StampLine {
 public:
  StampLine(const Segment& s, const Brush& brush, const KXRect& image)
      : image_(image),
        x_(static_cast<i64>(s.x1) + brush.offset),
        y_(static_cast<i64>(s.y1) + brush.offset),
        size_(brush.size),
        stepX_(s.x2 < s.x1 ? -1 : 1),
        stepY_(s.y2 < s.y1 ? -1 : 1) {
    const i64 dx = std::abs(static_cast<i64>(s.x2) - s.x1);
    const i64 dy = std::abs(static_cast<i64>(s.y2) - s.y1);
    alongX_ = dx >= dy;
    major_ = std::max(dx, dy);
    minor_ = std::min(dx, dy);
  }

  /// Calls `op(y, left, right, stamps)` for the rows of the image that stamps cover, with the
  /// columns, half-open, and the stamps.
  template <class Op>
  void ForEachRow(Op op) const {
    if (size_ < 1) return;
    const auto [low, high] = std::minmax({TopOf(0), TopOf(major_)});
    const i64 end = std::min<i64>(high + size_, image_.bottom);
    for (i64 y = std::max<i64>(low, 0); y < end; ++y) {
      const Stamps stamps = Covering(y, y_, stepY_, !alongX_);
      const auto [from, to] = std::minmax({LeftOf(stamps.first), LeftOf(stamps.end - 1)});
      const i64 left = std::max<i64>(from, 0), right = std::min<i64>(to + size_, image_.right);
      if (left >= right) continue;
      op(static_cast<int>(y), static_cast<int>(left), static_cast<int>(right), stamps);
    }
  }

  /// How many of `stamps` cover column `x`.
  i64 CountAt(int x, const Stamps& stamps) const {
    const Stamps column = Covering(x, x_, stepX_, alongX_);
    return std::min(stamps.end, column.end) - std::max(stamps.first, column.first);
  }

 private:
  i64 LeftOf(i64 n) const { return x_ + stepX_ * (alongX_ ? n : MinorSteps(n)); }
  i64 TopOf(i64 n) const { return y_ + stepY_ * (alongX_ ? MinorSteps(n) : n); }
  /// The steps along the lesser axis that the rule has made with the n-th along the greater one:
  /// n * minor / major, rounded, halves up. The product fits 64 unsigned bits, twice it would not.
  i64 MinorSteps(i64 n) const {
    if (major_ == 0) return 0;
    const u64 product = static_cast<u64>(n) * static_cast<u64>(minor_);
    const u64 divisor = static_cast<u64>(major_), rest = product % divisor;
    return static_cast<i64>(product / divisor + (2 * rest >= divisor));
  }
  /// The first stamp that has made so many steps along an axis, or the one behind the last.
  i64 FirstAfter(i64 steps, bool isMajor) const {
    if (steps <= 0) return 0;
    if (steps > (isMajor ? major_ : minor_)) return major_ + 1;
    if (isMajor) return steps;
    // The least n with 2 * n * minor + major >= 2 * steps * major.
    const u64 major = static_cast<u64>(major_), minor = static_cast<u64>(minor_);
    const u64 least = static_cast<u64>(steps) * major - major / 2;
    return static_cast<i64>(least / minor + (least % minor != 0));
  }
  /// The stamps that cover the row or column `v`, of a line that starts at `start`.
  Stamps Covering(i64 v, i64 start, int step, bool isMajor) const {
    const i64 steps = step > 0 ? v - start - size_ + 1 : start - v;
    return {FirstAfter(steps, isMajor), FirstAfter(steps + size_, isMajor)};
  }

  KXRect image_;
  i64 x_, y_;
  i64 size_;
  int stepX_, stepY_;
  bool alongX_;
  i64 major_, minor_;
};

/// Lays a colour under the pixels that stamps cover, once for each stamp: `lay(pixel, times)` is
/// what a pixel becomes.
template <class Depth, class Lay>
void StampUnder(KXVOffscreen& image, const StampLine& line, Lay lay) {
  line.ForEachRow([&](int y, int left, int right, const Stamps& stamps) {
    for (int x = left, end; x < right; x = end) {
      end = std::min(right, (x | KXVOffscreen::kBlockMask) + 1);
      image.MoveCursorFast(x, y);
      kxw::CheckBroughtIn(image);
      BYTE* const base = image.GetBaseAddress();
      if (!base) continue;
      int at = x;
      kxw::ChangeRun<Depth>(
          base + (y & KXVOffscreen::kBlockMask) * kxw::kRowBytes<Depth>,
          x & KXVOffscreen::kBlockMask, end - x,
          [&](typename Depth::Pixel pixel) { return lay(pixel, line.CountAt(at++, stamps)); });
    }
  });
}

/// Stores a pixel wherever stamps cover the image; `store` does it under the cursor.
template <class Store>
void StampOver(KXVOffscreen& image, const StampLine& line, Store store) {
  line.ForEachRow([&](int y, int left, int right, const Stamps&) {
    for (int x = left; x < right; ++x) {
      image.MoveCursorFast(x, y);
      kxw::CheckBroughtIn(image);
      store();
    }
  });
}

/// The value of `behind` that lays each stamp under what is there.
constexpr int kUnder = 1;

/// Draws by one of three operations of the image's depth: `fill(points)` paints a hexagon,
/// `under(line)` and `over(line)` lay stamps.
template <class Fill, class Under, class Over>
void Draw(KXVOffscreen& image, const Segment& s, const Brush& brush, int behind, Fill fill,
          Under under, Over over) {
  KXVOffscreenAutoLock lock(&image, 1);
  if (!behind && brush.size >= 2) {
    KXPoint points[6];
    OutlineOf(s, brush.size, points);
    fill(points);
    return;
  }
  const StampLine line(s, brush, image.GetRect());
  behind == kUnder ? under(line) : over(line);
}

void Draw(KXVOffscreen& image, const Segment& s, const Brush& brush, DWORD color, int behind) {
  const auto under = [&](const StampLine& line) {
    kxw::WithDepth(image.GetBitCount(), [&](auto depth) {
      using Depth = decltype(depth);
      StampUnder<Depth>(image, line, [color](typename Depth::Pixel pixel, i64 times) {
        // Each time it goes through the depth's own form. A pixel grows more opaque, in 255 steps
        // at most, until nothing changes it.
        for (; times > 0; --times) {
          const DWORD before = Depth::To32(pixel);
          pixel = Depth::From32(kxw::LaidBehind<kxw::Channels8>(before, color));
          if (Depth::To32(pixel) == before) break;
        }
        return pixel;
      });
    });
  };
  Draw(
      image, s, brush, behind,
      [&](KXPoint* points) { image.FillPolygon(points, 6, nullptr, color, 1); }, under,
      [&](const StampLine& line) {
        const DWORD native = image.MakeNativeColor(color);
        StampOver(image, line, [&] { image.SetColor(native); });
      });
}

void Draw(KXVOffscreen64Bit& image, const Segment& s, const Brush& brush, u64 color, int behind) {
  const auto under = [&](const StampLine& line) {
    StampUnder<kxw::Depth64>(image, line, [color](u64 pixel, i64 times) {
      return kxw::LaidBehindOften<kxw::Channels16>(pixel, color, times);
    });
  };
  Draw(
      image, s, brush, behind,
      [&](KXPoint* points) { image.FillPolygon64(points, 6, nullptr, color, 1); }, under,
      [&](const StampLine& line) { StampOver(image, line, [&] { image.Set64BitColor(color); }); });
}

/// The value of `adjustWidth` that thins slanted segments.
constexpr int kAdjust = 1;

}  // namespace

void KXVOffscreen::DrawSegment(int x1, int y1, int x2, int y2, int width, DWORD color, int behind,
                               int adjustWidth) {
  const Segment s{x1, y1, x2, y2};
  Draw(*this, s, CentredBrush(s, width, adjustWidth == kAdjust), color, behind);
}

void KXVOffscreen::DrawSegment2(int x1, int y1, int x2, int y2, int width, DWORD color, int behind,
                                int adjustWidth) {
  const Segment s{x1, y1, x2, y2};
  Draw(*this, s, CornerBrush(s, width, adjustWidth == kAdjust), color, behind);
}

void KXVOffscreen64Bit::DrawSegment64(int x1, int y1, int x2, int y2, int width, u64 color,
                                      int behind, int adjustWidth) {
  const Segment s{x1, y1, x2, y2};
  Draw(*this, s, CentredBrush(s, width, adjustWidth == kAdjust), color, behind);
}

void KXVOffscreen64Bit::DrawSegment642(int x1, int y1, int x2, int y2, int width, u64 color,
                                       int behind, int adjustWidth) {
  const Segment s{x1, y1, x2, y2};
  Draw(*this, s, CornerBrush(s, width, adjustWidth == kAdjust), color, behind);
}
