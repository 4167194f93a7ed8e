#include <algorithm>
#include <cmath>
#include <limits>

#include "kxwcmn/classic/rows_internal.h"
#include "kxwcmn/classic/spanpainter_internal.h"
#include "kxwcmn/core/geometry.h"
#include "kxwcmn/drawing/filledarc_internal.h"
#include "kxwcmn/drawing/stampline_internal.h"
#include "kxwcmn/platform/number.h"

namespace {

using kxw::Classic32;

/// Weighs each pixel's opacity against that of `color`, and adds up their alphas.
void LayOver(BYTE* at, const BYTE* end, DWORD color) {
  constexpr double kOne = 0.00392156862745098;  // 1 / 255
  const int alpha = kxw::Alpha(color);
  const BYTE channels[] = {kxw::Red(color), kxw::Green(color), kxw::Blue(color)};
  const double a = alpha * kOne, b = 1 - a;
  for (; at != end; at += 4) {
    if (at[0] == 0) {
      Classic32::Store(at, 0, color);
      continue;
    }
    const double t = at[0] * kOne, w = (1 - t) * b + a, v = b * t;
    for (int i = 0; i < 3; ++i) at[i + 1] = static_cast<BYTE>(channels[i] * w + at[i + 1] * v);
    at[0] = static_cast<BYTE>(std::min(at[0] + alpha, 255));
  }
}

/// Mixes `color` by its alpha into opaque pixels.
void MixIn(BYTE* at, const BYTE* end, DWORD color) {
  const int a = kxw::Alpha(color) == 255 ? 256 : kxw::Alpha(color), b = 256 - a;
  const auto mixed = [=](int c, int f) { return static_cast<BYTE>((c * b + f * a) >> 8); };
  for (; at != end; at += 4) {
    at[0] = 255;
    at[1] = mixed(at[1], kxw::Red(color));
    at[2] = mixed(at[2], kxw::Green(color));
    at[3] = mixed(at[3], kxw::Blue(color));
  }
}

}  // namespace

void KXOffscreen::TransrateFillLineRow(int left, int right, int y, int mode) {
  if (!IsLocked() || GetBitCount() != 32 || y < 0 || y >= GetHeight()) return;
  left = std::max(left, 0);
  right = std::min(right, GetWidth() - 1);
  if (left > right) return;
  BYTE* const row = kxw::ClassicRow(*this, y);
  (mode ? LayOver : MixIn)(row + kxw::PixelByte<Classic32>(left),
                           row + kxw::PixelByte<Classic32>(right + 1), foreColor_);
}

void KXOffscreen::TransparentPlot(int x, int y) { TransrateFillLineRow(x, x, y, 0); }

void KXOffscreen::Line(int x1, int y1, int x2, int y2, int width) {
  if (!IsLocked()) return;
  tagRECT image;
  GetRect(image);
  const kxw::StampLine line({x1, y1, x2, y2}, {width, -(width / 2)}, image);
  kxw::WithClassicDepth(GetBitCount(), [&](auto depth) {
    using Depth = decltype(depth);
    const auto fill = Depth::FillOf(Depth::From24(foreColor_));
    line.ForEachRow([&](int y, int left, int right, const kxw::Stamps& squares) {
      // A row of a square ends with its first pixel outside, be it the first one of all.
      if (std::max(line.LeftOf(squares.first), line.LeftOf(squares.end - 1)) < 0) return;
      kxw::FillPixels<Depth>(kxw::ClassicRow(*this, y), left, right - left, fill);
    });
  });
}

void KXOffscreen::RectFrame(const tagRECT& rect, int width) {
  // The last column and row. Before the least number there is none; that is as far outside.
  const auto before = [](int end) {
    return std::max(end, std::numeric_limits<int>::min() + 1) - 1;
  };
  const int right = before(rect.right), bottom = before(rect.bottom);
  Line(rect.left, rect.top, right, rect.top, width);
  Line(right, rect.top, right, bottom, width);
  Line(right, bottom, rect.left, bottom, width);
  Line(rect.left, bottom, rect.left, rect.top, width);
}

void KXOffscreen::ArcFill(int left, int top, int right, int bottom) {
  const KXRect rect(left, top, right, bottom), image(0, 0, GetWidth(), GetHeight());
  if (!IsLocked() || !rect.IsIntersectRect(image)) return;
  kxw::ForEachFilledArcRow(rect, image,
                           [&](int first, int last, int y) { FillLineRow(first, last, y); });
}

void KXOffscreen::TrueArcFill(int left, int top, int right, int bottom) {
  if (!IsLocked() || left < 0 || top < 0 || right > GetWidth() || bottom > GetHeight()) return;
  if (left > right || top > bottom) return;
  const kxw::SpanPainter painter(*this);
  const KXRect& area = painter.Area();
  const double radius = (right - left) * 0.5;
  const double centre = static_cast<double>((i64{left} + right) / 2);
  const int middle = top + (bottom - top) / 2;
  const int last = std::min(bottom, area.bottom - 1);
  for (int y = std::max(top, area.top); y <= last; ++y) {
    const double distance = middle - y;
    const double square = radius * radius - distance * distance;
    if (square < 0) continue;  // above or below the circle
    const double half = std::sqrt(square);
    painter.Paint(y, kxw::Truncate(centre - half + 0.5), kxw::Truncate(centre + half + 0.5));
  }
}
