#include <algorithm>
#include <cmath>
#include <utility>

#include "kxwcmn/compositing/voffpixelmask.h"
#include "kxwcmn/compositing/voffpixelmixer.h"
#include "kxwcmn/core/exception.h"
#include "kxwcmn/drawing/shape_internal.h"
#include "kxwcmn/offscreen/autolock.h"
#include "kxwcmn/offscreen/voffscreen_depths.h"
#include "kxwcmn/platform/number.h"

namespace {

using kxw::IntGeometry;

/// A circle given by the square around it.
struct CircleRows {
  int left, top;
  int diameter;
  /// Circles up to this diameter are taken from a table.
  int greatestInTable;

  int RowCount() const { return std::max(diameter, 1); }

  /// The first and last column of a row counted from the top.
  std::pair<i64, i64> Row(int row) const {
    if (diameter > greatestInTable) return RowByRadius(row);
    static constexpr int kRows[4][4][2] = {
        {{0, 0}},
        {{0, 1}, {0, 1}},
        {{1, 1}, {0, 2}, {1, 1}},
        {{1, 2}, {0, 3}, {0, 3}, {1, 2}},
    };
    const auto& [first, last] = kRows[RowCount() - 1][row];
    return {static_cast<i64>(left) + first, static_cast<i64>(left) + last};
  }

 private:
  std::pair<i64, i64> RowByRadius(int row) const {
    const double radius = diameter * 0.5;
    const double centre = left + radius;
    const double t = radius - 0.5 - row;
    const i64 first = kxw::Truncate(centre - std::sqrt(radius * radius - t * t));
    const i64 mirrored = 2 * static_cast<i64>(kxw::Truncate(centre)) - first;
    return {first, diameter % 2 ? mirrored : mirrored - 1};
  }
};

/// Calls `paint(y, first, last)` for the rows of a circle that lie in the rows of `bounds` and of
/// the image and touch the columns of `bounds`, cut to them. `enter(y)` is called before the first
/// row and then behind each.
template <class Enter, class Paint>
void ForEachRow(const CircleRows& circle, const KXRect& bounds, const KXVOffscreen& image,
                Enter enter, Paint paint) {
  const i64 top = std::max({circle.top, bounds.top, 0});
  const i64 bottom = std::min<i64>(
      {static_cast<i64>(circle.top) + circle.RowCount(), bounds.bottom, image.GetHeight()});
  for (i64 row = top; row < bottom; ++row) {
    const int y = static_cast<int>(row);
    if (row == top) enter(y);
    auto [first, last] = circle.Row(static_cast<int>(row - circle.top));
    first = std::max<i64>(first, bounds.left);
    last = std::min<i64>(last, static_cast<i64>(bounds.right) - 1);
    if (first <= last) paint(y, static_cast<int>(first), static_cast<int>(last));
    enter(y + 1);
  }
}

// The greatest circles of the table are not the same in the two forms.
constexpr int kInTableOfColor = 3, kInTableOfMixer = 4;

}  // namespace

void KXVOffscreen::CircleFill(int left, int top, int diameter, const DWORD& color, int fillMode,
                              KXVOffscreen* clip1Bit, const tagPOINT& clipOffset,
                              const tagRECT* clip, BYTE* pattern) {
  KXVOffscreenAutoLock lock(this, 1);
  ForEachRow(
      {left, top, diameter, kInTableOfColor}, clip ? KXRect(*clip) : GetRect(), *this,
      [&](int y) {
        cursor_.y = y;
        if (!clip1Bit) return;
        clip1Bit->MoveCursorY(ConvertPointY(clip1Bit, IntGeometry::Add(clipOffset.y, y)));
      },
      [&](int y, int first, int last) {
        FillLineRowForPolygon(first, last, color, fillMode, clip1Bit, clipOffset.x,
                              kxw::StippleRow(pattern, y));
      });
}

void KXVOffscreen64Bit::CircleFill64(int left, int top, int diameter, const u64& color,
                                     int fillMode, KXVOffscreen* clip1Bit,
                                     const tagPOINT& clipOffset, const tagRECT* clip,
                                     BYTE* pattern) {
  KXVOffscreenAutoLock lock(this, 1);
  ForEachRow(
      {left, top, diameter, kInTableOfColor}, clip ? KXRect(*clip) : GetRect(), *this,
      [&](int y) {
        cursor_.y = y;
        if (!clip1Bit) return;
        clip1Bit->MoveCursorY(ConvertPointY(clip1Bit, IntGeometry::Add(clipOffset.y, y)));
      },
      [&](int y, int first, int last) {
        FillLineRowForPolygon64(first, last, color, fillMode, clip1Bit, clipOffset.x,
                                kxw::StippleRow(pattern, y));
      });
}

void KXVOffscreen::CircleFill(int left, int top, int diameter, KXVOffPixelMixer* mixer,
                              KXVOffPixelMask* mask, const tagRECT* clip, BYTE* pattern) {
  if (!mixer) kxThrowError(kxw::kFailureBadArgument);
  KXVOffscreenAutoLock lock(this, 1);
  ForEachRow(
      {left, top, diameter, kInTableOfMixer}, kxw::CutToImage(clip, *this), *this,
      [&](int y) {
        cursor_.y = y;
        if (mask) mask->MoveCursorY(this, y);
      },
      [&](int y, int first, int last) {
        mixer->RelativeSrcCursor(IntGeometry::Sub(first, left), IntGeometry::Sub(y, top));
        FillLineRowForPolygon(first, last, mixer, mask, kxw::StippleRow(pattern, y));
      });
}
