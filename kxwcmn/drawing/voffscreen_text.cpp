#include <algorithm>

#include "kxwcmn/compositing/mixrow_internal.h"
#include "kxwcmn/core/font.h"
#include "kxwcmn/core/outofmemory_internal.h"
#include "kxwcmn/offscreen/autolock.h"
#include "kxwcmn/offscreen/voffscreen.h"
#include "kxwcmn/platform/textline_internal.h"

namespace {

enum HorizontalAlign { kRight = 1, kCentre = 2 };
enum VerticalAlign { kMiddle = 2, kTop = 3 };

constexpr int kByteLimit = 0x3200000;
constexpr int kLeastRows = 100;  // of a work area that the limit shrinks
constexpr i64 kPixelBytes = 3;   // of the work area

/// The area that a text is placed in, in 64 bits: sizes and shifted edges may pass 32.
struct WorkArea {
  explicit WorkArea(const tagRECT& rect)
      : left(rect.left), top(rect.top), right(rect.right), bottom(rect.bottom) {}

  i64 Width() const { return right - left; }
  i64 Height() const { return bottom - top; }

  /// Shrinks an area of more than `byteLimit` bytes to the rows that the limit allows, on the side
  /// that the text stands on. In the middle they are counted from 0 and not from `top`, which is
  /// kept so.
  void Shrink(int vAlign, int byteLimit) {
    const i64 h = Height(), rowBytes = Width() * kPixelBytes;
    // Rounded up, for the product may pass 64 bits.
    if (byteLimit <= 0 || h < (byteLimit + rowBytes - 1) / rowBytes) return;
    const i64 rows = byteLimit / rowBytes;
    if (rows < kLeastRows) return;
    if (vAlign == kTop) {
      bottom = top + rows;
    } else if (vAlign == kMiddle) {
      top = h / 2 - rows / 2;
      bottom = rows / 2 + h / 2;
    } else {
      top = bottom - rows;
    }
  }

  i64 XOf(i64 width, int hAlign) const {
    if (hAlign == kRight) return right - width;
    return hAlign == kCentre ? (Width() - width) / 2 + left : left;
  }
  i64 YOf(i64 height, int vAlign) const {
    if (vAlign == kTop) return top;
    return vAlign == kMiddle ? (Height() - height) / 2 + top : bottom - height;
  }

  i64 left, top, right, bottom;
};

}  // namespace

void KXVOffscreen::DrawString(const char* text, tagRECT rect, KXFont& font, DWORD color, int hAlign,
                              int vAlign) {
  DrawString2(text, rect, font, color, hAlign, vAlign, kByteLimit);
}

void KXVOffscreen::DrawString2(const char* text, tagRECT rect, KXFont& font, DWORD color,
                               int hAlign, int vAlign, int byteLimit) {
  if (!text) kxThrowError(kxw::kFailureBadArgument);
  WorkArea area(rect);
  if (area.Width() <= 0 || area.Height() <= 0) return;
  area.Shrink(vAlign, byteLimit);

  kxw::RaiseWithoutMemory([&] {
    const kxw::TextLine line(text, font);
    if (line.Code()) kxThrowError(line.Code());
    const i64 width = line.Width(), height = line.Height();
    if (width > area.Width() || height > area.Height()) return;
    if (line.IsTooLong()) kxThrowError(kxw::kFailureBadArgument);

    const i64 x = area.XOf(width, hAlign), y = area.YOf(height, vAlign);
    const kxw::SeenOfLine columns(x, 0, width, 0, GetWidth());
    // One row more than the text's height is looked at, where the area has it, which is kept so.
    const kxw::SeenOfLine rows(y, 0, std::min(height + 1, area.Height()), 0, GetHeight());
    if (columns.first == columns.end || rows.first == rows.end) return;
    KXVOffscreenAutoLock lock(this, 1);
    const DWORD native = MakeNativeColor(color);
    const int code = line.ForEachInk(
        {columns.first, rows.first, columns.end, rows.end}, [&](int column, int row, int count) {
          MoveCursor(static_cast<int>(x + column), static_cast<int>(y + row));
          for (; count > 0; --count) {
            kxw::CheckBroughtIn(*this);
            SetColor(native);
            if (count > 1) NextCursorX();
          }
        });
    if (code) kxThrowError(code);
  });
}
