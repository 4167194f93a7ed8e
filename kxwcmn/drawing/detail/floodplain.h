#pragma once

#include <algorithm>

#include "kxwcmn/core/abort.h"
#include "kxwcmn/drawing/floodfill_internal.h"
#include "kxwcmn/offscreen/autolock.h"

namespace kxw::flood {

/// A reference as the plain form sees it: an image whose cursor goes with that of the painted one.
///
/// An image has one cursor. Where a reference is the painted image itself, it is judged as it
/// stands at that moment, and the cursor goes there for each look and comes back; where the second
/// reference is the first, it is read under the first one's cursor.
class Follower {
 public:
  Follower(const Request& request, KXVOffscreen& image, bool isLed)
      : request_(request), image_(image), isPaint_(&image == &request.paint), isLed_(isLed) {
    const KXPoint at = request.InReference(request.seed.x, request.seed.y);
    if (HasOwnCursor()) lock_.Lock(&image, at.x, at.y, 0);
  }

  void MoveTo(int x, int y) {
    const KXPoint at = request_.InReference(x, y);
    if (HasOwnCursor()) image_.MoveCursor(at.x, at.y);
  }
  void Next() {
    if (HasOwnCursor()) image_.NextCursorX();
  }
  void Prev() {
    if (HasOwnCursor()) image_.PrevCursorX();
  }

  template <class Terms>
  typename Terms::Value Get() {
    if (!isPaint_) return Terms::Get(image_);
    int x, y;
    image_.GetCursorPos(x, y);
    const KXPoint at = request_.InReference(x, y);
    image_.MoveCursor(at.x, at.y);
    const auto value = Terms::Get(image_);
    image_.MoveCursor(x, y);
    return value;
  }

 private:
  bool HasOwnCursor() const { return !isPaint_ && !isLed_; }

  const Request& request_;
  KXVOffscreen& image_;
  bool isPaint_, isLed_;
  KXVOffscreenAutoLock lock_;
};

/// The fill pixel by pixel, over the images' cursors and virtual reads and writes. It defines what
/// a fill does; any faster form has to agree with it.
template <class Variant>
class PlainFill {
 public:
  using Value = typename Variant::Value;

  PlainFill(const Request& request, Value fill)
      : request_(request),
        paint_(request.paint),
        fill_(fill),
        paintLock_(&request.paint, 1),
        reference_(request, request.reference, false),
        second_(request, request.second ? *request.second : request.reference,
                !request.second || request.second == &request.reference) {
    paint_.MoveCursor(request.seed.x, request.seed.y);
  }

  /// Returns false, with `outcome` left alone, if the seed holds the fill value already.
  bool Run(Outcome& outcome);

 private:
  bool HasSecond() const { return Variant::kHasSecond && request_.second; }

  /// Whether the pixel holds the fill value, going left or right. A pixel that this fill has
  /// painted counts as holding it whatever it reads as, so that every fill ends.
  template <class Terms>
  bool IsFilled(int x, int y) {
    return Terms::Get(paint_) == fill_ || painted_.Contains(x, y);
  }

  bool Matches() {
    if (!Variant::Match(base_, reference_.template Get<typename Variant::Ref>(), request_.margin)) {
      return false;
    }
    return MatchesSecond();
  }
  bool MatchesInSkip() {
    if (!Variant::MatchSkip(base_, reference_.template Get<typename Variant::Ref>(),
                            request_.margin)) {
      return false;
    }
    return MatchesSecond();
  }
  bool MatchesSecond() {
    if constexpr (Variant::kHasSecond) {
      return !HasSecond() ||
             Variant::MatchSecond(baseSecond_, second_.template Get<typename Variant::Second>(),
                                  request_.margin);
    }
    return true;
  }

  /// Paints the pixel at (x, y), where the cursor stands. Returns false if it is not to be painted:
  /// also where the block cannot be brought in, for a pixel without memory would never be full.
  template <class Terms>
  bool Paint(int x, int y) {
    if (!paint_.GetCurrentAddress() || IsFilled<Terms>(x, y) || !Matches()) return false;
    Variant::Write::Set(paint_, fill_);
    if (Variant::ReadLeft::Get(paint_) != fill_ || Variant::ReadRight::Get(paint_) != fill_) {
      painted_.Add(x, y);
    }
    ++count_;
    return true;
  }

  void MoveTo(int x, int y) {
    paint_.MoveCursor(x, y);
    reference_.MoveTo(x, y);
    second_.MoveTo(x, y);
  }
  void Next() {
    paint_.NextCursorX();
    reference_.Next();
    second_.Next();
  }
  void Prev() {
    paint_.PrevCursorX();
    reference_.Prev();
    second_.Prev();
  }

  void Poll() {
    if (request_.abortable) abort_.CheckAbort();
  }
  void Push(int y, int left, int right, int dy) {
    if (request_.IsRowInClip(y + dy)) stack_.Push(y, left, right, dy);
  }
  void FillRow(const Span& parent);

  const Request& request_;
  KXVOffscreen& paint_;
  const Value fill_;
  Value base_{};
  BYTE baseSecond_ = 0;
  KXVOffscreenAutoLock paintLock_;
  Follower reference_, second_;
  KXAbort abort_{1};
  SpanStack stack_;
  PaintedPixels painted_;
  KXRect box_;  // inclusive at its right and bottom
  i64 count_ = 0;
};

template <class Variant>
bool PlainFill<Variant>::Run(Outcome& outcome) {
  const KXPoint seed = request_.seed;
  if (Variant::ReadLeft::Get(paint_) == fill_) return false;
  base_ = reference_.template Get<typename Variant::Ref>();
  if constexpr (Variant::kHasSecond) {
    if (HasSecond()) baseSecond_ = second_.template Get<typename Variant::Second>();
  }
  box_ = KXRect(seed.x, seed.y, seed.x, seed.y);
  // Neither is tested against the clip: under a seed in its last row one row more may be painted.
  stack_.Push(seed.y, seed.x, seed.x, 1);
  stack_.Push(seed.y + 1, seed.x, seed.x, -1);
  while (!stack_.IsEmpty()) {
    Poll();
    FillRow(stack_.Pop());
  }
  outcome = {KXRect(box_.left, box_.top, box_.right + 1, box_.bottom + 1), count_};
  return true;
}

/// Paints what the run `parent` reaches in the row beside it, and pushes what is reached from
/// there.
template <class Variant>
void PlainFill<Variant>::FillRow(const Span& parent) {
  const auto [y0, l, r, dy] = parent;
  const int y = y0 + dy;
  // The box grows by the runs that were pushed: in a clip of a single row, where none is, it stays
  // at the seed.
  box_.left = std::min(box_.left, l);
  box_.right = std::max(box_.right, r);
  paint_.MoveCursor(l, y);
  if (!paint_.GetBaseAddress()) return;  // a row outside the image
  MoveTo(l, y);

  int x = l;
  while (x >= request_.left && Paint<typename Variant::ReadLeft>(x, y)) {
    --x;
    Prev();
  }
  const bool filledLeft = x < l;
  bool filled = filledLeft;
  int start = x + 1;
  if (filledLeft) {
    // What leaks out to the left of the parent may go on behind it.
    if (start < l) Push(y, start, l - 1, -dy);
    x = l + 1;
    MoveTo(x, y);
  }
  bool skip = !filledLeft;
  do {
    if (!skip) {
      Poll();
      while (x <= request_.right && Paint<typename Variant::ReadRight>(x, y)) {
        ++x;
        Next();
        filled = true;
      }
      // A run may be empty here, where a pixel matches that is filled already: it is pushed all the
      // same, and the pixel beyond it is looked at.
      Push(y, start, x - 1, dy);
      if (r + 1 < x) Push(y, r + 1, x - 1, -dy);
    }
    skip = false;
    ++x;
    Next();
    while (x <= r && !MatchesInSkip()) {
      ++x;
      Next();
    }
    start = x;
    if (filled) {
      if (y < box_.top) {
        box_.top = y;
      } else if (y > box_.bottom) {
        box_.bottom = y;
      }
    }
  } while (x <= r);
}

}  // namespace kxw::flood
