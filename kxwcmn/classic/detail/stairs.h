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

/// A channel between `a` and `b`, of which `t` out of `total` is b's; not yet truncated.
inline double Ramp(LONG a, LONG b, double t, double total) { return a * (total - t) + b * t; }
/// Where a ramp gives an alpha of 0, it becomes 1.
constexpr LONG RampAlpha(LONG alpha) { return alpha == 0 ? 1 : alpha; }

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
/// - `ColorOf(line, run)`: the mean of its two end pixels;
/// - `Differ(line, beside, p)`: whether there is a border between two lines next to each other;
/// - `MayBegin(line, first, last)`: false only if no run of a line begins from position `first` to
///   `last`;
/// - `MayCap(line, beside, run)`: false only if no one run of a line beside differs from a run all
///   along.
/// The last two save looks at pixels, and may always say true.
/// `Scratch` has `First(x, y)` and `Second(x, y)`, and `SetFirst` and `SetSecond`.
template <class Lines, class Scratch>
class Pass {
 public:
  Pass(const Picture& picture, const Bounds& bounds, const Lines& lines, Scratch& scratch)
      : picture_(picture), bounds_(bounds), lines_(lines), scratch_(scratch) {}

  void SmoothRun(int line, const Run& run) {
    const auto [s, e] = run;
    Beside previous(line - 1, line > bounds_.firstLine),
        next(line + 1, line < bounds_.lastLine - 1);
    for (Beside* beside : {&previous, &next}) {
      // A match begins behind the run's start and not behind its end.
      if (!beside->exists || !lines_.MayBegin(beside->line, s + 1, e)) continue;
      if (!CanStep(line, s, line, PlaceBefore(run), *beside)) continue;
      FindMatches(line, run, *beside);
      if (!beside->hasStart) continue;
      SmoothStep(line, s, 1, picture_.At(line, PlaceBefore(run)), *beside, beside == &next,
                 beside->startMatch.start - s);
    }
    for (Beside* beside : {&previous, &next}) {
      // And another one ends so, where the next run begins.
      if (!beside->exists || !lines_.MayBegin(beside->line, s, e - 1)) continue;
      if (!CanStep(line, e - 1, line, PlaceBehind(run), *beside)) continue;
      FindMatches(line, run, *beside);
      if (!beside->hasEnd) continue;
      SmoothStep(line, e - 1, -1, picture_.At(line, PlaceBehind(run)), *beside, beside == &next,
                 e - beside->endMatch.end);
    }
    if (e - s >= 2 && s > bounds_.start) SmoothBulge(line, run, previous, next);
  }

 private:
  /// A line next to the present one, with the runs of the same colour that begin and end inside
  /// the present run. They are looked for when they are needed, which is seldom.
  struct Beside {
    Beside(int lineBeside, bool isThere) : line(lineBeside), exists(isThere) {}
    int line;
    bool exists, isSearched = false;
    bool hasStart = false, hasEnd = false;
    Run startMatch = {}, endMatch = {};
  };

  void FindMatches(int line, const Run& run, Beside& beside) const {
    if (beside.isSearched) return;
    beside.isSearched = true;
    const QMCOLORREF color = lines_.ColorOf(line, run);
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

  /// The pixels beyond the ends of a run; its own where the line ends with it.
  int PlaceBefore(const Run& run) const {
    return run.start == bounds_.start ? run.start : run.start - 1;
  }
  int PlaceBehind(const Run& run) const { return run.end == bounds_.end ? run.end - 1 : run.end; }

  /// Whether a line next to a run goes on with the pixel at `lastP` of `lastLine` at a position of
  /// the run, and is of another colour than the run there. A step needs this of all its positions,
  /// of the first one too.
  bool CanStep(int line, int p, int lastLine, int lastP, const Beside& beside) const {
    return lines_.Differ(line, beside.line, p) &&
           !IsBorder(picture_.At(beside.line, p), picture_.At(lastLine, lastP), kJoin);
  }

  /// The step at one end of a run: `length` pixels from `first` on, in the direction of `step`,
  /// with `outer` the pixel beyond that end. The first of them can be a step's.
  void SmoothStep(int line, int first, int step, QMCOLORREF outer, const Beside& beside,
                  bool isNext, int length) {
    // Along the columns, steps of one pixel have been dealt with.
    if (picture_.IsColumns() && length == 1) return;
    const int half = length / 2 + length % 2;
    for (int i = 1, p = first + step; i < half; ++i, p += step) {
      if (!CanStep(line, p, beside.line, p - step, beside)) return;
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
        if (Second(at) == kUntouched) SetFirst(at, Ruled(at, Ramped{1 - h * 0.25, 1.0}));
      } else {
        if (i == half - 1 && length % 2 == 1) w = 1 - h * 0.25;
        SetFirst(at, Ruled(at, Ramped{w, 1.0}));
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
    const Ramped first = {h * 0.25, 0.25}, second = {d * 0.25 + h * 0.25, 0.25};
    if (!picture_.IsColumns()) {
      SetFirst(at, Ruled(at, first));
      SetSecond(at, Ruled(at, second));
      return;
    }
    if (const QMCOLORREF oldSecond = Second(at); oldSecond == kUntouched) {
      SetFirst(at, Ruled(at, Ramped{w, 1.0}));
    } else {
      const QMCOLORREF oldFirst = scratch_.First(X(at), Y(at));
      SetFirst(at, Ruled(at, [&](const Place&, int shift) {
                 const LONG mean = (first(at, shift) + Channel(oldFirst, shift)) / 2;
                 const LONG all = second(at, shift) + mean + Channel(at.here, shift) / 4 +
                                  Channel(oldSecond, shift);
                 return all < 255 ? all : 255;
               }));
    }
    SetSecond(at, kUntouched);
  }

  /// A run that bulges out from a straight edge: capped on one side, and going on on the other.
  void SmoothBulge(int line, const Run& run, Beside& previous, Beside& next) {
    const bool mayBeAbove = MayBeCapped(line, run, previous);
    const bool mayBeBelow = MayBeCapped(line, run, next);
    if (!mayBeAbove && !mayBeBelow) return;
    const QMCOLORREF before = picture_.At(line, PlaceBefore(run));
    const QMCOLORREF behind = picture_.At(line, PlaceBehind(run));
    const bool isCappedAbove = mayBeAbove && IsCapped(line, run, before, behind, previous);
    const bool isCappedBelow = mayBeBelow && IsCapped(line, run, before, behind, next);
    // A capped side is not open, so that there is nothing to do with two of them.
    if (isCappedAbove == isCappedBelow) return;
    const auto [isOpenLeft, isOpenRight] = OpeningOf(line, run, isCappedAbove ? next : previous);
    const auto [s, e] = run;
    if (isOpenLeft) SmoothHalf(line, s, 1, before, (e - s) / 2);
    if (isOpenRight && e < bounds_.end - 1) SmoothHalf(line, e - 1, -1, behind, (e - s) / 2);
  }

  bool MayBeCapped(int line, const Run& run, const Beside& beside) const {
    return beside.exists && lines_.MayCap(line, beside.line, run);
  }
  /// Whether another area lies along the whole of a run and goes on on both of its sides.
  bool IsCapped(int line, const Run& run, QMCOLORREF before, QMCOLORREF behind,
                const Beside& beside) const {
    QMCOLORREF last = before;
    for (int p = run.start; p < run.end; ++p) {
      if (!lines_.Differ(line, beside.line, p)) return false;
      const QMCOLORREF here = picture_.At(line, p), there = picture_.At(beside.line, p);
      if (!IsBorder(here, there, kJoin) || IsBorder(there, last, kBorder)) return false;
      last = there;
    }
    return !IsBorder(last, behind, kBorder);
  }

  /// The sides on which the run's area goes on in a line next to it.
  struct Opening {
    bool isLeft, isRight;
  };

  Opening OpeningOf(int line, const Run& run, Beside& beside) const {
    if (!beside.exists) return {false, false};
    const auto [s, e] = run;
    if (const Run held = lines_.Holding(beside.line, s); held.end >= e) {
      return {held.start<s, held.end> e};
    }
    FindMatches(line, run, beside);
    return {beside.hasEnd && beside.endMatch.start < s,
            beside.hasStart && beside.startMatch.end > e};
  }

  void SmoothHalf(int line, int first, int step, QMCOLORREF outer, int half) {
    const double d = 0.5 / half, h = d * 0.25;
    double w = h + 0.5;
    bool clear = Alpha(outer) == 0;
    for (int i = 0, p = first; i < half; ++i, p += step, w += d) {
      const QMCOLORREF here = picture_.At(line, p);
      if (Alpha(here) == 0) clear = true;
      const Place at = {line, p, outer, here, clear};
      SetFirst(at, Ruled(at, Ramped{w, 1.0}));
      SetSecond(at, kUntouched);
    }
  }

  static constexpr int kAlphaShift = 24;
  static LONG Channel(QMCOLORREF color, int shift) { return color >> shift & 0xFF; }

  /// The channels of a ramp: `t` out of `total` is the pixel's own.
  struct Ramped {
    double t, total;
    LONG operator()(const Place& at, int shift) const {
      const double value = Ramp(Channel(at.outer, shift), Channel(at.here, shift), t, total);
      const LONG channel = static_cast<LONG>(value);
      return shift == kAlphaShift ? RampAlpha(channel) : channel;
    }
  };

  /// What is kept of a colour whose channels are `channelOf(at, shift)`, with only those worked
  /// out. An alpha that is not 0 tells that transparency took part: then the colours are not mixed,
  /// but taken from whichever pixel has one.
  template <class ChannelOf>
  static QMCOLORREF Ruled(const Place& at, ChannelOf channelOf) {
    if (at.clear) {
      const QMCOLORREF color = Alpha(at.here) != 0 ? at.here : at.outer;
      return (color & 0x00FFFFFF) | static_cast<DWORD>(channelOf(at, kAlphaShift)) << kAlphaShift;
    }
    DWORD color = 0;
    for (int shift = 0; shift < kAlphaShift; shift += 8) {
      color |= static_cast<DWORD>(channelOf(at, shift)) << shift;
    }
    return color;
  }

  int X(const Place& at) const { return picture_.X(at.line, at.p); }
  int Y(const Place& at) const { return picture_.Y(at.line, at.p); }
  QMCOLORREF Second(const Place& at) const { return scratch_.Second(X(at), Y(at)); }
  void SetFirst(const Place& at, QMCOLORREF color) { scratch_.SetFirst(X(at), Y(at), color); }
  void SetSecond(const Place& at, QMCOLORREF color) { scratch_.SetSecond(X(at), Y(at), color); }

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
