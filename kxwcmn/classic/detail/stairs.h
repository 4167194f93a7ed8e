#pragma once

#include <cstddef>
#include <cstdlib>

#include "kxwcmn/classic/detail/depths.h"
#include "kxwcmn/core/color.h"

/// The smoothing of stairs: what one pass does with a run of pixels.
///
/// A pass goes along the rows or the columns. A line is cut into runs of like colour; where a run
/// of a line next to it begins or ends inside a run, there is a step, and the pixels along it get a
/// ramp between the colours of the two areas: half as long as the step from each of its ends. The
/// picture stays as it is; the ramps go to two scratch pictures, which are merged into it at last.
///
/// How runs are found is for `Lines` to say and what keeps the ramps for `Scratch`, so that a plain
/// and a fast form share every rule of this file.
namespace kxw::stairs {

/// Sums of differences of red, green and blue: pixels further apart are of different runs, and runs
/// further apart of different colour.
inline constexpr int kBorder = 42, kJoin = 64;
/// A difference of alphas above this is a border too.
inline constexpr int kAlphaBorder = 200;
/// What says in a scratch picture that a pixel has no ramp: white with alpha 0.
inline constexpr QMCOLORREF kUntouched = 0x00FFFFFF;

/// Whether two pixels differ by more than `threshold`. What is not wholly opaque counts as white,
/// whatever its colour.
constexpr bool IsBorder(QMCOLORREF a, QMCOLORREF b, int threshold) {
  const int alphaA = Alpha(a), alphaB = Alpha(b);
  a |= alphaA == 255 ? 0 : 0x00FFFFFF;
  b |= alphaB == 255 ? 0 : 0x00FFFFFF;
  const auto distance = [](int x, int y) { return x > y ? x - y : y - x; };
  const int apart =
      distance(Red(a), Red(b)) + distance(Green(a), Green(b)) + distance(Blue(a), Blue(b));
  return (apart > threshold) | (distance(alphaA, alphaB) > kAlphaBorder);
}

/// The mean of each channel, truncated.
constexpr QMCOLORREF Mean(QMCOLORREF a, QMCOLORREF b) {
  return (a & b) + (((a ^ b) & 0xFEFEFEFE) >> 1);
}

inline tagQMRGBCOLOR ChannelsOf(QMCOLORREF c) { return {Alpha(c), Red(c), Green(c), Blue(c)}; }

/// a * (total - t) + b * t, each channel truncated; an alpha of 0 becomes 1.
template <class ToInt>
tagQMRGBCOLOR Ramp(const tagQMRGBCOLOR& a, const tagQMRGBCOLOR& b, double t, double total,
                   ToInt toInt) {
  const auto mix = [=](LONG from, LONG to) -> LONG { return toInt(from * (total - t) + to * t); };
  const LONG alpha = mix(a.alpha, b.alpha);
  return {alpha == 0 ? 1 : alpha, mix(a.red, b.red), mix(a.green, b.green), mix(a.blue, b.blue)};
}

/// The pixels of a 32-bit image in the order of a pass. Along the rows, a line is a row and a
/// position in it a column. Along the columns, a line is a column, and positions count from the
/// bottom.
class Picture {
 public:
  Picture(BYTE* base, int rowBytes, int height, bool isColumns)
      : origin_(base + (isColumns ? std::ptrdiff_t{height - 1} * rowBytes : 0)),
        lineStep_(isColumns ? 4 : rowBytes),
        step_(isColumns ? -rowBytes : 4),
        height_(height),
        isColumns_(isColumns) {}

  QMCOLORREF At(int line, int p) const { return Classic32::Load(Address(line, p), 0); }
  bool IsColumns() const { return isColumns_; }
  int X(int line, int p) const { return isColumns_ ? line : p; }
  int Y(int line, int p) const { return isColumns_ ? height_ - 1 - p : line; }

 private:
  const BYTE* Address(int line, int p) const { return origin_ + line * lineStep_ + p * step_; }

  const BYTE* origin_;
  std::ptrdiff_t lineStep_, step_;
  int height_;
  bool isColumns_;
};

/// Like pixels of a line, from `start` up to `end`.
struct Run {
  int start, end;
};

/// The part of a picture that a pass works on; the ends are exclusive.
struct Bounds {
  int start, firstLine, end, lastLine;
};

/// `Lines` has, for the lines from one before to one behind that of the present run:
/// - `Holding(line, p)`: the run that holds a position;
/// - `ColorOf(line, run)`: the mean of its two end pixels.
/// `Scratch` has `First(x, y)` and `Second(x, y)`, and `SetFirst` and `SetSecond`.
template <class Lines, class Scratch>
class Pass {
 public:
  Pass(const Picture& picture, const Bounds& bounds, const Lines& lines, Scratch& scratch)
      : picture_(picture), bounds_(bounds), lines_(lines), scratch_(scratch) {}

  void SmoothRun(int line, const Run& run) {
    const QMCOLORREF color = lines_.ColorOf(line, run);
    Beside previous(line - 1, line > bounds_.firstLine),
        next(line + 1, line < bounds_.lastLine - 1);
    const auto [s, e] = run;
    for (Beside* beside : {&previous, &next}) {
      if (beside->exists) FindMatches(*beside, run, color);
    }
    const QMCOLORREF before = picture_.At(line, s == bounds_.start ? s : s - 1);
    const QMCOLORREF behind = picture_.At(line, e == bounds_.end ? e - 1 : e);
    for (const Beside* beside : {&previous, &next}) {
      if (!beside->hasStart) continue;
      SmoothStep(line, s, 1, before, *beside, beside == &next, beside->startMatch.start - s);
    }
    for (const Beside* beside : {&previous, &next}) {
      if (!beside->hasEnd) continue;
      SmoothStep(line, e - 1, -1, behind, *beside, beside == &next, e - beside->endMatch.end);
    }
    if (e - s >= 2 && s > bounds_.start) SmoothBulge(line, run, before, behind, previous, next);
  }

 private:
  /// A line next to the present one, with the runs of the same colour that begin and end inside
  /// the present run.
  struct Beside {
    Beside(int lineBeside, bool isThere) : line(lineBeside), exists(isThere) {}
    int line;
    bool exists;
    bool hasStart = false, hasEnd = false;
    Run startMatch = {}, endMatch = {};
  };

  void FindMatches(Beside& beside, const Run& run, QMCOLORREF color) const {
    const auto [s, e] = run;
    Run other = lines_.Holding(beside.line, s == bounds_.start ? s : s - 1);
    while (other.start <= e) {
      const bool starts = other.start > s, ends = other.end >= s && other.end < e;
      if ((starts || ends) && !IsBorder(lines_.ColorOf(beside.line, other), color, kJoin)) {
        if (starts) {
          beside.hasStart = true;
          beside.startMatch = other;
        }
        if (ends) {
          beside.hasEnd = true;
          beside.endMatch = other;
        }
        if (beside.hasStart && beside.hasEnd) return;
      }
      if (other.end == bounds_.end) return;
      other = lines_.Holding(beside.line, other.end);
    }
  }

  /// The step at one end of a run: `length` pixels from `first` on, in the direction of `step`,
  /// with `outer` the pixel beyond that end.
  void SmoothStep(int line, int first, int step, QMCOLORREF outer, const Beside& beside,
                  bool isNext, int length) {
    // Along the columns, steps of one pixel have been dealt with.
    if (picture_.IsColumns() && length == 1) return;
    const int half = length / 2 + length % 2;
    QMCOLORREF last = outer;
    for (int i = 0, p = first; i < half; ++i, p += step) {
      const QMCOLORREF here = picture_.At(line, p), there = picture_.At(beside.line, p);
      if (!IsBorder(here, there, kBorder) || IsBorder(there, last, kJoin)) return;
      last = there;
    }
    const double d = 1.0 / length, h = d * 0.5;
    double w = h + 0.5;
    bool clear = Alpha(outer) == 0;
    for (int i = 0, p = first; i < half; ++i, p += step, w += d) {
      const QMCOLORREF here = picture_.At(line, p);
      if (Alpha(here) == 0) clear = true;
      const Place at = {line, p, outer, here, clear};
      if (length >= 2 && i == 0) {
        SmoothCorner(at, d, h, w);
      } else if (isNext && length == 1) {
        if (Second(at) == kUntouched) SetFirst(at, Ramped(at, 1 - h * 0.25, 1.0));
      } else {
        if (i == half - 1 && length % 2 == 1) w = 1 - h * 0.25;
        SetFirst(at, Ramped(at, w, 1.0));
      }
    }
  }

  /// A pixel of a ramp, and the pixel outside that the ramp comes from.
  struct Place {
    int line, p;
    QMCOLORREF outer, here;
    bool clear;  // whether transparency takes part in the ramp
  };

  /// The pixel at the end of a run, which a step along the rows and one along the columns share.
  void SmoothCorner(const Place& at, double d, double h, double w) {
    tagQMRGBCOLOR first = Ramped(at, h * 0.25, 0.25);
    const tagQMRGBCOLOR second = Ramped(at, d * 0.25 + h * 0.25, 0.25);
    if (!picture_.IsColumns()) {
      SetFirst(at, first);
      scratch_.SetSecond(X(at), Y(at), Ruled(at, second));
      return;
    }
    if (const QMCOLORREF old = Second(at); old == kUntouched) {
      first = Ramped(at, w, 1.0);
    } else {
      const tagQMRGBCOLOR oldFirst = ChannelsOf(scratch_.First(X(at), Y(at)));
      const tagQMRGBCOLOR oldSecond = ChannelsOf(old), here = ChannelsOf(at.here);
      const auto sum = [&](LONG tagQMRGBCOLOR::*channel) {
        const LONG mean = (first.*channel + oldFirst.*channel) / 2;
        const LONG all = second.*channel + mean + here.*channel / 4 + oldSecond.*channel;
        return all < 255 ? all : 255;
      };
      first = {sum(&tagQMRGBCOLOR::alpha), sum(&tagQMRGBCOLOR::red), sum(&tagQMRGBCOLOR::green),
               sum(&tagQMRGBCOLOR::blue)};
    }
    SetFirst(at, first);
    scratch_.SetSecond(X(at), Y(at), kUntouched);
  }

  /// What a line next to a run says of it.
  struct Side {
    bool isCapped = false;  // another area lies along the whole of the run
    bool isOpenLeft = false, isOpenRight = false;
    bool IsOpen() const { return isOpenLeft || isOpenRight; }
  };

  /// A run that bulges out from a straight edge: capped on one side, and going on on the other.
  void SmoothBulge(int line, const Run& run, QMCOLORREF before, QMCOLORREF behind,
                   const Beside& previous, const Beside& next) {
    const Side above = SideOf(line, run, before, behind, previous);
    const Side below = SideOf(line, run, before, behind, next);
    if (!(above.isCapped && below.IsOpen()) && !(below.isCapped && above.IsOpen())) return;
    const auto [s, e] = run;
    if (above.isOpenLeft || below.isOpenLeft) SmoothHalf(line, s, 1, before, (e - s) / 2);
    if ((above.isOpenRight || below.isOpenRight) && e < bounds_.end - 1) {
      SmoothHalf(line, e - 1, -1, behind, (e - s) / 2);
    }
  }

  Side SideOf(int line, const Run& run, QMCOLORREF before, QMCOLORREF behind,
              const Beside& beside) const {
    Side side;
    if (!beside.exists) return side;
    const auto [s, e] = run;
    QMCOLORREF last = before;
    int p = s;
    for (; p < e; ++p) {
      const QMCOLORREF here = picture_.At(line, p), there = picture_.At(beside.line, p);
      if (!IsBorder(here, there, kJoin) || IsBorder(there, last, kBorder)) break;
      last = there;
    }
    side.isCapped = p == e && !IsBorder(last, behind, kBorder);
    if (side.isCapped) return side;
    if (const Run held = lines_.Holding(beside.line, s); held.end >= e) {
      side.isOpenLeft = held.start < s;
      side.isOpenRight = held.end > e;
    } else {
      side.isOpenLeft = beside.hasEnd && beside.endMatch.start < s;
      side.isOpenRight = beside.hasStart && beside.startMatch.end > e;
    }
    return side;
  }

  void SmoothHalf(int line, int first, int step, QMCOLORREF outer, int half) {
    const double d = 0.5 / half, h = d * 0.25;
    double w = h + 0.5;
    bool clear = Alpha(outer) == 0;
    for (int i = 0, p = first; i < half; ++i, p += step, w += d) {
      const QMCOLORREF here = picture_.At(line, p);
      if (Alpha(here) == 0) clear = true;
      const Place at = {line, p, outer, here, clear};
      SetFirst(at, Ramped(at, w, 1.0));
      scratch_.SetSecond(X(at), Y(at), kUntouched);
    }
  }

  static tagQMRGBCOLOR Ramped(const Place& at, double t, double total) {
    return Ramp(ChannelsOf(at.outer), ChannelsOf(at.here), t, total,
                [](double v) { return static_cast<LONG>(v); });
  }

  /// What is kept of a ramp's colour. An alpha that is not 0 tells that transparency took part:
  /// then the colours are not mixed, but taken from whichever pixel has one.
  static QMCOLORREF Ruled(const Place& at, const tagQMRGBCOLOR& c) {
    if (at.clear) {
      const QMCOLORREF color = Alpha(at.here) != 0 ? at.here : at.outer;
      return (color & 0x00FFFFFF) | static_cast<DWORD>(c.alpha) << 24;
    }
    return MakeColor(static_cast<DWORD>(c.red), static_cast<DWORD>(c.green),
                     static_cast<DWORD>(c.blue), 0);
  }

  int X(const Place& at) const { return picture_.X(at.line, at.p); }
  int Y(const Place& at) const { return picture_.Y(at.line, at.p); }
  QMCOLORREF Second(const Place& at) const { return scratch_.Second(X(at), Y(at)); }
  void SetFirst(const Place& at, const tagQMRGBCOLOR& color) {
    scratch_.SetFirst(X(at), Y(at), Ruled(at, color));
  }

  const Picture picture_;
  const Bounds bounds_;
  const Lines& lines_;
  Scratch& scratch_;
};

/// A pixel of the image with its two ramps merged in. The sums of bytes wrap.
inline QMCOLORREF Merged(QMCOLORREF image, QMCOLORREF first, QMCOLORREF second) {
  if (first == kUntouched && second == kUntouched) return image;
  DWORD color = first & 0x00FFFFFF, alpha = 255;
  if (Alpha(first) != 0 || Alpha(second) != 0) {
    alpha = Alpha(first);
    if (Alpha(second) != 0) alpha += Alpha(image) / 2u + Alpha(second);
  } else if (first != kUntouched && second != kUntouched) {
    const auto sum = [](BYTE i, BYTE a, BYTE b) { return static_cast<BYTE>(i / 2 + a + b); };
    color = MakeColor(sum(Red(image), Red(first), Red(second)),
                      sum(Green(image), Green(first), Green(second)),
                      sum(Blue(image), Blue(first), Blue(second)), 0);
  }
  return color | alpha << 24;
}

}  // namespace kxw::stairs
