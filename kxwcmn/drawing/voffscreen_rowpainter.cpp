#include <algorithm>
#include <limits>

#include "kxwcmn/core/geometry.h"
#include "kxwcmn/drawing/fillrules_internal.h"
#include "kxwcmn/drawing/rowgate_internal.h"
#include "kxwcmn/offscreen/voffscreen_depths.h"

// The painters of one row, on the row of the cursor. A row is cut to the image and at the seams of
// the blocks, and what is left is plain memory. The cursor ends where stepping would have left it.

namespace {

constexpr int kMask = KXVOffscreen::kBlockMask;

/// Calls `op(x, count)` for each run of the columns of a part that `gate` lets through.
template <class Op>
void ForEachOpenRun(const kxw::RowGate& gate, int x, int count, Op op) {
  bool open[KXVOffscreen::kBlockSize];
  gate.Read(x, count, open);
  for (int from = 0, to; from < count; from = to) {
    for (to = from + 1; to < count && open[to] == open[from];) ++to;
    if (open[from]) op(x + from, to - from);
  }
}

}  // namespace

namespace kxw {

// --- Rows of polygons ---------------------------------------------------------------------------

/// Calls `op(row, column, count)` for what may be painted of a row, and ends behind it.
template <class Depth>
template <class Op>
void DepthOffscreen<Depth>::PaintRow(int x1, int x2, const RowGate& gate, Op op) {
  const int y = cursor_.y;
  if (y >= 0 && y < height_) {
    const auto paint = [&](int x, int count) {
      if (BYTE* const row = EnterRow(x, y)) op(row, x & kMask, count);
    };
    ForEachPart(x1, x2, width_, [&](int x, int count) {
      // The gate of a part is read before its block is entered: it moves another image's cursor.
      if (gate.IsOpen()) {
        paint(x, count);
      } else {
        ForEachOpenRun(gate, x, count, paint);
      }
      return true;
    });
  }
  EndRow(x1, x2);
}

/// Moves the cursor behind a row of pixels, of which there may be none.
template <class Depth>
void DepthOffscreen<Depth>::EndRow(int x1, int x2) {
  MoveCursorBehindRow(x1 <= x2 ? x2 : IntGeometry::Sub(x1, 1));
}

template <class Depth>
template <class Color>
void DepthOffscreen<Depth>::PaintRowInMode(int x1, int x2, Color color, int fillMode,
                                           KXVOffscreen* clip1Bit, int clipOffset,
                                           const BYTE* pattern) {
  if (!PaintsInMode<Depth>(fillMode)) {
    EndRow(x1, x2);
    return;
  }
  const int firstOffset = kFirstPixelHasNoClipOffset<Depth> ? 0 : clipOffset;
  const RowGate gate(*this, clip1Bit, clipOffset, x1, firstOffset, pattern);
  const FillRule<Depth> rule(color);
  PaintRow(x1, x2, gate, [&rule, fillMode](BYTE* row, int column, int count) {
    PaintRun<Depth>(rule, fillMode, row, column, count);
  });
}

template <class Depth>
void NarrowDepthOffscreen<Depth>::FillLineRowForPolygon(int x1, int x2, DWORD color, int fillMode,
                                                        KXVOffscreen* clip1Bit, int clipOffset,
                                                        const BYTE* pattern) {
  this->PaintRowInMode(x1, x2, color, fillMode, clip1Bit, clipOffset, pattern);
}

// --- Simple rows --------------------------------------------------------------------------------

template <class Depth>
template <class Fill>
void DepthOffscreen<Depth>::FillClippedRow(int x1, int x2, int y, Fill fill, const tagRECT* clip) {
  const KXRect bounds = clip ? KXRect(*clip) : GetRect();
  if (y < bounds.top || y >= bounds.bottom) return;
  x1 = std::max(x1, bounds.left);
  // A clip that ends at the lowest coordinate has no columns, and no number for the last one.
  if (bounds.right == std::numeric_limits<int>::min()) return;
  x2 = std::min(x2, bounds.right - 1);
  cursor_.y = y;
  PaintRow(x1, x2, RowGate(*this, nullptr, 0, 0, 0, nullptr),
           [fill](BYTE* row, int column, int count) { FillRun<Depth>(row, column, count, fill); });
}

template <class Depth>
void DepthOffscreen<Depth>::FillLineRow(int x1, int x2, int y, DWORD color, const tagRECT* clip) {
  FillClippedRow(x1, x2, y, Depth::FillOf(RowPixel<Depth>(color)), clip);
}

// --- Searches -----------------------------------------------------------------------------------

template <class Depth>
int DepthOffscreen<Depth>::SearchLineRowForPolygon(int x1, int x2) {
  using Rule = SearchRule<Depth>;
  const int y = cursor_.y;
  const bool isAway = y < 0 || y >= height_ || x1 < 0 || x2 >= width_;
  int strongest = x1 <= x2 && isAway ? Rule::kAway : 0;
  int found = x2;  // the last column looked at
  if (y >= 0 && y < height_) {
    ForEachPart(x1, x2, width_, [&](int x, int count) {
      // Nothing is made where there is no block.
      const BYTE* const row = GetBlockExist(x, y) ? EnterRow(x, y) : nullptr;
      if (!row) {
        strongest = std::max(strongest, Rule::kAway);
        return true;
      }
      for (int i = 0; i < count; ++i) {
        const int column = (x & kMask) + i;
        const int strength = Rule::Strength(
            Depth::Load(row + ByteOfColumn<Depth>(column), MaskOfColumn<Depth>(column)));
        strongest = std::max(strongest, strength);
        if (Rule::kEndsAtFirst && strength) {
          found = x + i - 1;
          return false;
        }
      }
      return true;
    });
  }
  EndRow(x1, found);
  return strongest;
}

template void NarrowDepthOffscreen<Depth1>::FillLineRowForPolygon(int, int, DWORD, int,
                                                                  KXVOffscreen*, int, const BYTE*);
template void NarrowDepthOffscreen<Depth2>::FillLineRowForPolygon(int, int, DWORD, int,
                                                                  KXVOffscreen*, int, const BYTE*);
template void NarrowDepthOffscreen<Depth8>::FillLineRowForPolygon(int, int, DWORD, int,
                                                                  KXVOffscreen*, int, const BYTE*);
template void NarrowDepthOffscreen<Depth16>::FillLineRowForPolygon(int, int, DWORD, int,
                                                                   KXVOffscreen*, int, const BYTE*);
template void NarrowDepthOffscreen<Depth24>::FillLineRowForPolygon(int, int, DWORD, int,
                                                                   KXVOffscreen*, int, const BYTE*);
template void NarrowDepthOffscreen<Depth32>::FillLineRowForPolygon(int, int, DWORD, int,
                                                                   KXVOffscreen*, int, const BYTE*);
template void DepthOffscreen<Depth1>::FillLineRow(int, int, int, DWORD, const tagRECT*);
template void DepthOffscreen<Depth2>::FillLineRow(int, int, int, DWORD, const tagRECT*);
template void DepthOffscreen<Depth8>::FillLineRow(int, int, int, DWORD, const tagRECT*);
template void DepthOffscreen<Depth16>::FillLineRow(int, int, int, DWORD, const tagRECT*);
template void DepthOffscreen<Depth24>::FillLineRow(int, int, int, DWORD, const tagRECT*);
template void DepthOffscreen<Depth32>::FillLineRow(int, int, int, DWORD, const tagRECT*);
template void DepthOffscreen<Depth64>::FillLineRow(int, int, int, DWORD, const tagRECT*);
template int DepthOffscreen<Depth1>::SearchLineRowForPolygon(int, int);
template int DepthOffscreen<Depth2>::SearchLineRowForPolygon(int, int);
template int DepthOffscreen<Depth8>::SearchLineRowForPolygon(int, int);
template int DepthOffscreen<Depth16>::SearchLineRowForPolygon(int, int);
template int DepthOffscreen<Depth24>::SearchLineRowForPolygon(int, int);
template int DepthOffscreen<Depth32>::SearchLineRowForPolygon(int, int);
template int DepthOffscreen<Depth64>::SearchLineRowForPolygon(int, int);

}  // namespace kxw

// --- What one depth alone has -------------------------------------------------------------------

void KXVOffscreen2Bit::FillLineRowForPolygonClipBlack(int x1, int x2, DWORD color, int fillMode,
                                                      KXVOffscreen* clip1Bit, int clipOffset,
                                                      const BYTE* pattern) {
  // Dark colours, and a mode in which a light one does nothing, are as in a plain row.
  if (QMCOLORREFtoBYTE2(color) != cbWhite2Bit || fillMode == kxw::kFillStronger) {
    FillLineRowForPolygon(x1, x2, color, fillMode, clip1Bit, clipOffset, pattern);
    return;
  }
  if (!kxw::PaintsInMode<kxw::Depth2>(fillMode)) {
    EndRow(x1, x2);
    return;
  }
  const kxw::RowGate gate(*this, clip1Bit, clipOffset, x1, clipOffset, pattern);
  PaintRow(x1, x2, gate, [](BYTE* row, int column, int count) {
    kxw::ChangeRun<kxw::Depth2>(row, column, count, kxw::FillRule<kxw::Depth2>::Lightened);
  });
}

void KXVOffscreen64Bit::FillLineRowForPolygon64(int x1, int x2, u64 color, int fillMode,
                                                KXVOffscreen* clip1Bit, int clipOffset,
                                                const BYTE* pattern) {
  PaintRowInMode(x1, x2, color, fillMode, clip1Bit, clipOffset, pattern);
}

void KXVOffscreen64Bit::FillLineRow64(int x1, int x2, int y, u64 color, const tagRECT* clip) {
  FillClippedRow(x1, x2, y, color, clip);
}
