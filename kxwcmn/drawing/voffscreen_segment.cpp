#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "kxwcmn/drawing/channels_internal.h"
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

/// The line along which a brush is stamped: each stamp is one step along the greater axis from the
/// one before, with a step along the other where Bresenham's rule has it.
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

  /// Calls `stamp(part)` for each stamp that touches the image, cut to it. Of stamps in a row that
  /// come to the same part no more are made than `mostRepeats`.
  template <class Op>
  void ForEach(i64 mostRepeats, Op stamp) const {
    if (size_ < 1) return;
    const auto [first, end] = StampsInReach();
    KXRect last;
    i64 repeats = 0;
    for (i64 n = first; n < end; ++n) {
      const KXRect part = PartOf(n);
      repeats = part == last ? repeats + 1 : 1;
      last = part;
      if (part.IsRectEmpty() || repeats > mostRepeats) {
        n = LastLike(part, n, end);
      } else {
        stamp(part);
      }
    }
  }

 private:
  /// The first stamp, and the one behind the last, that reach the image along the greater axis.
  std::pair<i64, i64> StampsInReach() const {
    const i64 start = alongX_ ? x_ : y_;
    const i64 extent = alongX_ ? image_.right : image_.bottom;
    const bool forward = (alongX_ ? stepX_ : stepY_) > 0;
    const i64 first = forward ? 1 - size_ - start : start - extent + 1;
    const i64 end = forward ? extent - start : start + size_;
    return {std::max<i64>(first, 0), std::min(end, major_ + 1)};
  }
  /// The part of the image under the n-th stamp. Beside the image each side stays at an edge of it.
  KXRect PartOf(i64 n) const {
    const i64 left = x_ + stepX_ * (alongX_ ? n : MinorSteps(n));
    const i64 top = y_ + stepY_ * (alongX_ ? MinorSteps(n) : n);
    const auto cut = [](i64 v, int extent) {
      return static_cast<int>(std::clamp<i64>(v, 0, extent));
    };
    return KXRect(cut(left, image_.right), cut(top, image_.bottom), cut(left + size_, image_.right),
                  cut(top + size_, image_.bottom));
  }
  /// The steps along the lesser axis that the rule has made with the n-th along the greater one:
  /// n * minor / major, rounded, halves up. The product fits 64 unsigned bits, twice it would not.
  i64 MinorSteps(i64 n) const {
    if (major_ == 0) return 0;
    const u64 product = static_cast<u64>(n) * static_cast<u64>(minor_);
    const u64 divisor = static_cast<u64>(major_), rest = product % divisor;
    return static_cast<i64>(product / divisor + (2 * rest >= divisor));
  }
  /// The last of the stamps from `n` up to but not `end` that come to the same part: the sides only
  /// ever move one way, so they stand together.
  i64 LastLike(const KXRect& part, i64 n, i64 end) const {
    while (end - n > 1) {
      const i64 middle = n + (end - n) / 2;
      (PartOf(middle) == part ? n : end) = middle;
    }
    return n;
  }

  KXRect image_;
  i64 x_, y_;
  i64 size_;
  int stepX_, stepY_;
  bool alongX_;
  i64 major_, minor_;
};

/// Draws a segment with the means of a depth: `fill` fills an outline of six points, `over` and
/// `under` make a stamp, `under` to an effect that ends after `mostUnder` times.
template <class Fill, class Over, class Under>
void DrawWith(const KXRect& image, const Segment& s, const Brush& brush, int behind, i64 mostUnder,
              Fill fill, Over over, Under under) {
  if (!behind && brush.size >= 2) {
    KXPoint points[6];
    OutlineOf(s, brush.size, points);
    fill(points);
  } else if (behind == 1) {
    StampLine(s, brush, image).ForEach(mostUnder, under);
  } else {
    StampLine(s, brush, image).ForEach(1, over);
  }
}

void Draw(KXVOffscreen& image, const Segment& s, const Brush& brush, DWORD color, int behind) {
  KXVOffscreenAutoLock lock(&image, 1);
  const DWORD native = image.MakeNativeColor(color);
  // What lies behind grows more opaque with each stamp, at most as often as there are alphas.
  DrawWith(
      image.GetRect(), s, brush, behind, kxw::Channels8::kFull,
      [&](const KXPoint* points) { image.FillPolygon(points, 6, nullptr, color, 1); },
      [&](const KXRect& part) {
        for (int y = part.top; y < part.bottom; ++y) {
          for (int x = part.left; x < part.right; ++x) {
            image.MoveCursorFast(x, y);
            image.SetColor(native);
          }
        }
      },
      [&](const KXRect& part) { image.RectFill(part, 0, color, 1); });
}

void Draw(KXVOffscreen64Bit& image, const Segment& s, const Brush& brush, u64 color, int behind) {
  KXVOffscreenAutoLock lock(&image, 1);
  DrawWith(
      image.GetRect(), s, brush, behind, kxw::Channels16::kFull,
      [&](const KXPoint* points) { image.FillPolygon64(points, 6, nullptr, color, 1); },
      [&](const KXRect& part) { image.RectFill64(part, 0, color); },
      [&](const KXRect& part) { image.RectFill64(part, 0, color, 1); });
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
