#pragma once

#include <algorithm>

#include "kxwcmn/core/abort.h"
#include "kxwcmn/core/array.h"
#include "kxwcmn/core/geometry.h"
#include "kxwcmn/offscreen/voffscreen.h"

namespace kxw::flood {

/// One call of a fill. The bounds of the area that may be painted are inclusive.
struct Request {
  KXVOffscreen& paint;
  KXVOffscreen& reference;
  KXVOffscreen* second;  // may be null
  KXPoint seed, origin;
  int margin;
  bool abortable;
  // A column outside the image can be neither painted nor judged, so these two are cut to it. Of
  // the rows those next to the image count, too: a run that goes on into one widens the box.
  int left, right;
  int top, bottom;

  Request(KXVOffscreen& paintImage, KXVOffscreen& referenceImage, KXVOffscreen* secondImage,
          const KXPoint& seedPoint, const KXPoint& originPoint, const KXRect& clip,
          int marginOfMatch, int abortableFlag);

  bool IsSeedInside() const { return paint.GetBlockIndex(seed.x, seed.y) >= 0; }
  bool IsRowInClip(int y) const { return top <= y && y <= bottom; }
  /// The pixel of the references at a place of the painted image. It wraps at 32 bits, which leaves
  /// what is outside outside, for no image is as wide as that.
  KXPoint InReference(int x, int y) const {
    return KXPoint(IntGeometry::Sub(x, origin.x), IntGeometry::Sub(y, origin.y));
  }
};

/// Raises 8 if the image's cursor stands in a block that exists and could not be brought in: taken
/// for one that was never written, it would let the fill run over what is drawn there.
void CheckBlock(const KXVOffscreen& image);

/// What a fill that ran has done.
struct Outcome {
  KXRect box;  // half-open
  i64 count;
};

/// A run of pixels of row `y` whose neighbours in row `y + dy` are to be looked at.
struct Span {
  LONG y, left, right, dy;
};

/// The memory of the runs that wait. Whoever works on it keeps the place behind the last run.
/// Capacity doubles, in the array's steps of 256, so that growth is cheap.
class SpanStack {
 public:
  Span* Begin() { return spans_.begin(); }
  /// Makes room for `count` runs more behind `top`; returns where that is now.
  Span* Reserve(Span* top, int count) { return spans_.end() - top < count ? Grow(top) : top; }

 private:
  Span* Grow(const Span* top);

  KXTArray<Span> spans_;
};

/// A run that was painted, and whether it has something beside it. Each answer may be 1 where there
/// is nothing, but not the other way round.
struct ShortRun {
  int start, end;      // half-open
  int leaksLeft;       // left of the parent, in the parent's row
  int goesAhead;       // in the next row
  int leaksRight;      // right of the parent, in the parent's row
  bool isMoreToRight;  // behind the run in its own row, up to the end of the parent
};

/// What became of a look for a short run: nothing that matches, a run painted, or a case that takes
/// more than a look.
enum Look { kNothing, kPainted, kFar };

/// The fill itself, by runs of an `Access`:
///
/// - `IsSeedFilled()`: whether the seed holds the fill value already; if not, takes the base.
/// - `GoesOn()`: whether to look at one more run; else the fill ends unfinished.
/// - `Enter(x, y, dy)`: whether the row lies in the image. The operations that follow are in
///   this row, which is left towards `y + dy`.
/// - `PaintShort(parent, x, run)`: looks for the next pixel that matches, from `x` on to the end of
///   the run `parent`, paints the run there (`x` at the parent's left end: also to the left) and
///   looks beside it. If it is `kFar`, nothing is done; else both rows beside are in the clip.
/// - `PaintAround(x, y, start, end)`: paints the pixel and, from there, both ways in the bounds of
///   the request, until a pixel is filled or does not match. `start` and `end` are what was
///   painted, half-open; both are `x` if the pixel itself was not.
/// - `PaintRight(x, y)`: the same to the right alone; returns the end.
/// - `Skip(x, last, y)`: the column of the first pixel from `x` on that matches; past `last`, if
///   there is none up to there.
/// - `Reaches(y, left, right)`: false only if a run has nothing to paint or to push in row `y`, now
///   and later. The run may be empty, with `right` one below `left`.
///
/// All of them raise 8 where a block finds no room or cannot be brought in.
template <class Access>
class Fill {
 public:
  Fill(const Request& request, Access& access) : request_(request), access_(access) {}

  /// Returns false, with `outcome` left alone, if the seed holds the fill value already or the fill
  /// does not go on.
  bool Run(Outcome& outcome);

 private:
  void Poll() {
    if (request_.abortable) abort_.CheckAbort();
  }
  // The box grows by the runs that go on: in a clip of a single row, where none does, it stays at
  // the seed.
  void Widen(int left, int right) {
    box_.left = std::min(box_.left, left);
    box_.right = std::max(box_.right, right);
  }
  // These push behind `top` and return the new top.
  Span* FillRow(Span parent, Span* top);
  Span* PushBeside(const Span& parent, const ShortRun& run, Span* top);
  Span* PushBeside(const Span& parent, int start, int end, Span* top);

  const Request& request_;
  Access& access_;
  KXAbort abort_{1};
  SpanStack stack_;
  KXRect box_;  // inclusive at its right and bottom
  i64 count_ = 0;
};

template <class Access>
bool Fill<Access>::Run(Outcome& outcome) {
  const KXPoint seed = request_.seed;
  if (access_.IsSeedFilled()) return false;
  box_ = KXRect(seed.x, seed.y, seed.x, seed.y);
  // Neither is tested against the clip: under a seed in its last row one row more may be painted.
  Span* top = stack_.Reserve(stack_.Begin(), 2);
  *top++ = {seed.y, seed.x, seed.x, 1};
  *top++ = {seed.y + 1, seed.x, seed.x, -1};
  while (top != stack_.Begin()) {
    if (!access_.GoesOn()) return false;
    Poll();
    --top;
    top = FillRow(*top, top);
  }
  outcome = {KXRect(box_.left, box_.top, box_.right + 1, box_.bottom + 1), count_};
  return true;
}

/// Paints what the run `parent` reaches in the row beside it, and pushes what goes on from there.
template <class Access>
inline Span* Fill<Access>::FillRow(Span parent, Span* top) {
  const auto [y0, l, r, dy] = parent;
  const int y = y0 + dy;
  if (!access_.Enter(l, y, dy)) return top;
  bool isFilled = false;
  int x = l;  // the next pixel to be looked at
  ShortRun run;
  Look look = access_.PaintShort(parent, x, run);
  while (look == kPainted) {
    isFilled = true;
    top = PushBeside(parent, run, top);
    if (!run.isMoreToRight) break;
    Poll();
    x = run.end + 1;
    look = access_.PaintShort(parent, x, run);
  }
  if (look == kFar) {
    int start, end;
    if (x == l) {
      access_.PaintAround(l, y, start, end);
      if (start < end) {
        isFilled = true;
        top = PushBeside(parent, start, end, top);
      }
      x = end + 1;
    }
    while (x <= r) {
      start = access_.Skip(x, r, y);
      if (start > r) break;
      Poll();
      end = access_.PaintRight(start, y);
      if (start < end) isFilled = true;
      // A run may be empty here, where a pixel matches that is filled already: it is pushed all the
      // same, and what lies beyond the pixel is looked at.
      top = PushBeside(parent, start, end, top);
      x = end + 1;
    }
  }
  if (!isFilled) return top;
  if (y < box_.top) {
    box_.top = y;
  } else if (y > box_.bottom) {
    box_.bottom = y;
  }
  return top;
}

template <class Access>
inline Span* Fill<Access>::PushBeside(const Span& parent, const ShortRun& run, Span* top) {
  const auto [y0, l, r, dy] = parent;
  const int y = y0 + dy;
  Widen(run.start, run.end - 1);
  count_ += run.end - run.start;
  // What a run has beside it is often a toss: all is written, and the end moves on or stays.
  top = stack_.Reserve(top, 3);
  *top = {y, run.start, l - 1, -dy};
  top += run.leaksLeft;
  *top = {y, run.start, run.end - 1, dy};
  top += run.goesAhead;
  *top = {y, r + 1, run.end - 1, -dy};
  return top + run.leaksRight;
}

template <class Access>
Span* Fill<Access>::PushBeside(const Span& parent, int start, int end, Span* top) {
  const auto [y0, l, r, dy] = parent;
  const int y = y0 + dy;
  count_ += end - start;
  top = stack_.Reserve(top, 3);
  const auto push = [&](int left, int right, int direction) {
    if (!request_.IsRowInClip(y + direction)) return;
    Widen(left, right);
    if (access_.Reaches(y + direction, left, right)) *top++ = {y, left, right, direction};
  };
  // What leaks out to the left or right of the parent may go on behind it.
  if (start < l) push(start, l - 1, -dy);
  push(start, end - 1, dy);
  if (r + 1 < end) push(r + 1, end - 1, -dy);
  return top;
}

}  // namespace kxw::flood
