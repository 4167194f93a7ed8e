#include <algorithm>

#include "kxwcmn/classic/bitink_internal.h"
#include "kxwcmn/classic/rows_internal.h"
#include "kxwcmn/core/font.h"
#include "kxwcmn/core/outofmemory_internal.h"
#include "kxwcmn/platform/textline_internal.h"

namespace {

/// Lays `text` out, and calls `draw(line)`.
template <class Draw>
void WithTextLine(const char* text, HFONT font, Draw draw) {
  kxw::RaiseWithoutMemory([&] {
    const kxw::TextLine line(text, font);
    if (line.Code()) kxThrowError(line.Code());
    if (line.IsTooLong()) kxThrowError(kxw::kFailureBadArgument);
    if (const int code = draw(line)) kxThrowError(code);
  });
}

}  // namespace

void KXBitImage::DrawString(const char* text, int x, int y, QMCOLORREF color, int centre,
                            int /*align*/, int mode) {
  if (!text) kxThrowError(kxw::kFailureBadArgument);
  kxw::DrawBits(*this, color, mode, [&](auto paint) {
    WithTextLine(text, nullptr, [&](const kxw::TextLine& line) {
      const i64 left = x - (centre == 1 ? line.Width() / 2 : 0);
      const i64 top = i64{y} - (centre == 1 ? line.Height() / 2 : 0);
      const kxw::SeenOfLine columns(left, 0, line.Width(), 0, GetWidth());
      const kxw::SeenOfLine rows(top, 0, line.Height(), 0, GetHeight());
      return line.ForEachInk(
          {columns.first, rows.first, columns.end, rows.end}, [&](int column, int row, int count) {
            paint(static_cast<int>(top + row), static_cast<int>(left + column), count, kxw::kOnce);
          });
    });
  });
}

void KXOffscreen::DrawString(const char* text, tagRECT rect, KXFont& font, int mode) {
  if (!text) kxThrowError(kxw::kFailureBadArgument);
  if (!IsLocked() || rect.left >= rect.right || rect.top >= rect.bottom) return;
  WithTextLine(text, font, [&](const kxw::TextLine& line) {
    const i64 spare = i64{rect.right} - rect.left - line.Width();
    const i64 left = rect.left + (mode == 1 ? spare : mode == 2 ? spare / 2 : 0);
    const i64 top = rect.top;
    // The rectangle alone cuts ink off, not the line's size, which a slanted letter may leave.
    const tagRECT ink = line.Ink();
    const kxw::SeenOfLine columns(left, ink.left, ink.right, std::max(rect.left, 0),
                                  std::min(rect.right, GetWidth()));
    const kxw::SeenOfLine rows(top, ink.top, ink.bottom, std::max(rect.top, 0),
                               std::min(rect.bottom, GetHeight()));
    int code = 0;
    kxw::WithClassicDepth(GetBitCount(), [&](auto depth) {
      using Depth = decltype(depth);
      const auto fill = Depth::FillOf(Depth::From24(foreColor_));
      code = line.ForEachInk(
          {columns.first, rows.first, columns.end, rows.end}, [&](int column, int row, int count) {
            kxw::FillPixels<Depth>(kxw::ClassicRow(*this, static_cast<int>(top + row)),
                                   static_cast<int>(left + column), count, fill);
          });
    });
    return code;
  });
}
