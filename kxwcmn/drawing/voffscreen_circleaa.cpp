#include <algorithm>
#include <cmath>

#include "kxwcmn/compositing/voffpixelmask.h"
#include "kxwcmn/compositing/voffpixelmixer.h"
#include "kxwcmn/core/exception.h"
#include "kxwcmn/drawing/shape_internal.h"
#include "kxwcmn/offscreen/autolock.h"
#include "kxwcmn/platform/number.h"

namespace {

/// Columns from `first` to `last`, none if they are the other way round.
struct Columns {
  int first, last;
  bool Has(int x) const { return x >= first && x <= last; }
};

/// How much of a pixel a circle covers, by its corners and by 3 by 3 samples. Goes row by row.
///
/// All of it is whole numbers, held in doubles so that no circle is too large to square: exact up
/// to sizes of a million pixels.
class Coverage {
 public:
  static constexpr int kNone = -1;  // the pixel is left out
  static constexpr int kSamples = 9;

  Coverage(double cx, double cy, double radius)
      : hasCorners_(radius >= 3),
        cornerX_(std::trunc(kGrid * cx)),
        cornerY_(std::trunc(kGrid * cy)),
        sampleX_(std::trunc(2 * cx)),
        sampleY_(std::trunc(2 * cy)),
        sampleSquare_(std::trunc(2 * radius * (2 * radius))) {
    const double r = std::trunc(kGrid * radius);
    cornerSquare_ = r * r;
  }

  /// Enters row `y`.
  void SetRow(int y) {
    sampleTop_ = 2.0 * y - sampleY_;
    // A small circle has only samples, and leaves no pixel out.
    full_ = {1, 0};
    touched_ = {0, KXVOffscreen::kMaxSize};
    if (!hasCorners_) return;
    const Columns above = CornersOfRow(y), below = CornersOfRow(y + 1);
    full_ = {std::max(above.first, below.first), std::min(above.last, below.last) - 1};
    // Of the corners above and below one row holds all columns of the other.
    const Columns& wider = above.last - above.first > below.last - below.first ? above : below;
    touched_ = wider.first <= wider.last ? Columns{wider.first - 1, wider.last} : Columns{1, 0};
  }
  /// The pixels of the row that have all corners in the circle.
  const Columns& Full() const { return full_; }
  /// The samples of pixel `x` in the circle, of `kSamples`; `kNone` if a pixel of a circle that is
  /// not small has every corner outside.
  int Of(int x) const {
    if (full_.Has(x)) return kSamples;
    return touched_.Has(x) ? SamplesInside(x) : kNone;
  }

 private:
  static constexpr double kGrid = 32;

  bool IsCornerInside(double x, double dy) const {
    const double dx = kGrid * x - cornerX_;
    return dx * dx + dy * dy <= cornerSquare_;
  }
  /// The corners in the circle at the top of row `y`; of those beside every image, one at most.
  Columns CornersOfRow(int y) const {
    const double dy = kGrid * y - cornerY_, rest = cornerSquare_ - dy * dy;
    if (!(rest >= 0)) return {1, 0};
    const double reach = std::sqrt(rest);
    constexpr int kLeast = -1, kMost = KXVOffscreen::kMaxSize + 1;
    int first = std::clamp(kxw::Truncate((cornerX_ - reach) / kGrid), kLeast, kMost);
    int last = std::clamp(kxw::Truncate((cornerX_ + reach) / kGrid), kLeast, kMost);
    // The quotients are a column off at most.
    while (first > kLeast && IsCornerInside(first - 1, dy)) --first;
    while (first <= last && !IsCornerInside(first, dy)) ++first;
    while (last < kMost && IsCornerInside(last + 1, dy)) ++last;
    while (first <= last && !IsCornerInside(last, dy)) --last;
    return {first, last};
  }
  int SamplesInside(int x) const {
    int inside = 0;
    for (int j = 0; j <= 2; ++j) {
      const double dy = sampleTop_ + j;
      for (int i = 0; i <= 2; ++i) {
        const double dx = 2.0 * x - sampleX_ + i;
        inside += dx * dx + dy * dy <= sampleSquare_;
      }
    }
    return inside;
  }

  bool hasCorners_;
  double cornerX_, cornerY_, cornerSquare_;
  double sampleX_, sampleY_, sampleSquare_;
  double sampleTop_ = 0;
  Columns full_{1, 0}, touched_{1, 0};
};

/// Lends a mixer's colour for a scope.
class ColorOfMixer {
 public:
  explicit ColorOfMixer(KXVOffPixelMixer& mixer) : mixer_(mixer) { mixer.GetColor(color_); }
  ColorOfMixer(const ColorOfMixer&) = delete;
  ColorOfMixer& operator=(const ColorOfMixer&) = delete;
  ~ColorOfMixer() { mixer_.SetColor(color_); }

  /// The colour with its alpha weighed by `samples`.
  void SetWeight(int samples) const {
    constexpr u64 kAlpha = 0xFFFF000000000000;
    const u64 alpha =
        color_.channels16[0] * static_cast<u64>(samples * 255 / Coverage::kSamples) / 255;
    KXComplexColor weighed;
    weighed.Normalize(color_.depth, (color_.color64 & ~kAlpha) | alpha << 48);
    mixer_.SetColor(weighed);
  }

 private:
  KXVOffPixelMixer& mixer_;
  KXComplexColor color_;
};

}  // namespace

void KXVOffscreen::CircleFillAA(double cx, double cy, double radius, KXVOffPixelMixer* mixer,
                                KXVOffPixelMask* mask, const tagRECT* clip) {
  if (!mixer) kxThrowError(kxw::kFailureBadArgument);
  // NaN fails each of these tests.
  constexpr double kFarthest = 2147483648.0;
  if (!(radius > 0 && radius <= kFarthest)) return;
  if (!(std::abs(cx) <= kFarthest && std::abs(cy) <= kFarthest)) return;
  const int left = kxw::Truncate(cx - radius), right = kxw::Truncate(cx + radius);
  const int top = kxw::Truncate(cy - radius), bottom = kxw::Truncate(cy + radius);
  const KXRect bounds = kxw::CutToImage(clip, *this);
  const int firstX = std::max(left, bounds.left), lastX = std::min(right, bounds.right - 1);
  const int firstY = std::max(top, bounds.top), lastY = std::min(bottom, bounds.bottom - 1);
  if (firstX > lastX || firstY > lastY) return;

  Coverage coverage(cx, cy, radius);
  KXVOffscreenAutoLock lock(this, 1);
  const ColorOfMixer color(*mixer);
  for (int y = firstY; y <= lastY; ++y) {
    cursor_.y = y;
    if (mask) mask->MoveCursorY(this, y);
    coverage.SetRow(y);
    // Neighbours of one coverage are laid as one run.
    for (int x = firstX, next, samples, following = coverage.Of(x); x <= lastX; x = next) {
      samples = following;
      next = coverage.Full().Has(x) ? std::min(coverage.Full().last, lastX) + 1 : x + 1;
      for (; next <= lastX; ++next) {
        following = coverage.Of(next);
        if (following != samples) break;
      }
      if (samples == Coverage::kNone) continue;
      color.SetWeight(samples);
      mixer->RelativeSrcCursor(kxw::IntGeometry::Sub(x, left), kxw::IntGeometry::Sub(y, top));
      FillLineRowForPolygon(x, next - 1, mixer, mask, nullptr);
    }
  }
}
