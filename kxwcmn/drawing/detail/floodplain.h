#pragma once

#include <cstddef>
#include <memory>
#include <unordered_map>

#include "kxwcmn/drawing/floodfill_internal.h"
#include "kxwcmn/offscreen/autolock.h"

namespace kxw::flood {

/// The painted pixels of a fill whose paint does not read back as the fill value: a page of bits
/// for each block, made when the first pixel of the block is painted.
class PaintedPixels {
 public:
  bool Contains(int x, int y) const;
  /// Raises std::bad_alloc.
  void Add(int x, int y);

 private:
  static constexpr std::size_t kPageWords = 256 * 256 / 64;

  static u64 KeyOf(int x, int y) {
    return static_cast<u64>(static_cast<DWORD>(y >> 8)) << 32 | static_cast<DWORD>(x >> 8);
  }
  static std::size_t WordOf(int x, int y) {
    return static_cast<std::size_t>((y & 255) << 2 | (x >> 6 & 3));
  }
  static u64 BitOf(int x) { return u64{1} << (x & 63); }

  std::unordered_map<u64, std::unique_ptr<u64[]>> pages_;
};

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
    if (!isPaint_) {
      CheckBlock(image_);
      return Terms::Get(image_);
    }
    int x, y;
    image_.GetCursorPos(x, y);
    const KXPoint at = request_.InReference(x, y);
    image_.MoveCursor(at.x, at.y);
    CheckBlock(image_);
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
class PlainAccess {
 public:
  using Value = typename Variant::Value;

  PlainAccess(const Request& request, Value fill)
      : request_(request),
        paint_(request.paint),
        fill_(fill),
        paintLock_(&request.paint, 1),
        reference_(request, request.reference, false),
        second_(request, request.second ? *request.second : request.reference,
                !request.second || request.second == &request.reference) {}

  bool IsSeedFilled() {
    const KXPoint seed = request_.seed;
    MoveTo(seed.x, seed.y);
    CheckBlock(paint_);
    if (Variant::ReadLeft::Get(paint_) == fill_) return true;
    base_ = reference_.template Get<typename Variant::Ref>();
    if constexpr (Variant::kHasSecond) {
      if (request_.second) baseOfSecond_ = second_.template Get<typename Variant::Second>();
    }
    return false;
  }

  bool GoesOn() const { return true; }

  bool Enter(int x, int y, int) {
    paint_.MoveCursor(x, y);
    CheckBlock(paint_);
    return paint_.GetBaseAddress() != nullptr;
  }

  Look PaintShort(const Span&, int, ShortRun&) { return kFar; }

  void PaintAround(int x, int y, int& start, int& end) {
    MoveTo(x, y);
    int left = x;
    while (left >= request_.left && Paint<typename Variant::ReadLeft>(left, y)) {
      --left;
      Prev();
    }
    start = left < x ? left + 1 : x;
    end = left < x ? PaintRight(x + 1, y) : x;
  }

  int PaintRight(int x, int y) {
    MoveTo(x, y);
    while (x <= request_.right && Paint<typename Variant::ReadRight>(x, y)) {
      ++x;
      Next();
    }
    return x;
  }

  bool Reaches(int, int, int) { return true; }

  int Skip(int x, int last, int y) {
    MoveTo(x, y);
    while (x <= last && !MatchesInSkip()) {
      ++x;
      Next();
    }
    return x;
  }

 private:
  /// Paints the pixel at (x, y), where the cursor stands. Returns false if it is not to be painted.
  template <class Terms>
  bool Paint(int x, int y) {
    CheckBlock(paint_);
    // What this fill has painted counts as full whatever it reads as, or the fill might not end.
    if (Terms::Get(paint_) == fill_ || painted_.Contains(x, y)) return false;
    if (!Matches()) return false;
    Variant::Write::Set(paint_, fill_);
    if (Variant::ReadLeft::Get(paint_) != fill_ || Variant::ReadRight::Get(paint_) != fill_) {
      painted_.Add(x, y);
    }
    return true;
  }

  bool Matches() {
    const auto pixel = reference_.template Get<typename Variant::Ref>();
    return Variant::Match(base_, pixel, request_.margin) && MatchesSecond();
  }
  bool MatchesInSkip() {
    const auto pixel = reference_.template Get<typename Variant::Ref>();
    return Variant::MatchSkip(base_, pixel, request_.margin) && MatchesSecond();
  }
  bool MatchesSecond() {
    if constexpr (Variant::kHasSecond) {
      if (!request_.second) return true;
      const BYTE pixel = second_.template Get<typename Variant::Second>();
      return Variant::MatchSecond(baseOfSecond_, pixel, request_.margin);
    }
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

  const Request& request_;
  KXVOffscreen& paint_;
  const Value fill_;
  Value base_{};
  BYTE baseOfSecond_ = 0;
  KXVOffscreenAutoLock paintLock_;
  Follower reference_, second_;
  PaintedPixels painted_;
};

}  // namespace kxw::flood
