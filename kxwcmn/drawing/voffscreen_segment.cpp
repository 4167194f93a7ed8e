#include <algorithm>
#include <cmath>
#include <limits>

#include "kxwcmn/compositing/mixrow_internal.h"
#include "kxwcmn/drawing/channels_internal.h"
#include "kxwcmn/drawing/fillrules_internal.h"
#include "kxwcmn/drawing/stampline_internal.h"
#include "kxwcmn/offscreen/autolock.h"
#include "kxwcmn/offscreen/voffscreen_depths.h"
#include "kxwcmn/platform/number.h"

// A thick segment is a square brush drawn from one end to the other: as a polygon where the brush
// paints over, and stamp by stamp where each stamp goes under what is there.

namespace {

using kxw::Brush;
using kxw::Segment;
using kxw::StampLine;
using kxw::Stamps;

constexpr double kDegrees = 57.29577951308232;  // in one radian

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
