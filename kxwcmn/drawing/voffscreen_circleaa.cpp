#include <algorithm>
#include <cmath>

#include "kxwcmn/compositing/voffpixelmask.h"
#include "kxwcmn/compositing/voffpixelmixer.h"
#include "kxwcmn/core/exception.h"
#include "kxwcmn/drawing/shape_internal.h"
#include "kxwcmn/offscreen/autolock.h"
#include "kxwcmn/platform/number.h"

namespace {

/// How much of a pixel a circle covers, by its corners and by 3 by 3 samples.
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

  /// The samples of pixel (x, y) in the circle, of `kSamples`; `kNone` if a pixel of a circle that
  /// is not small has every corner outside. Pixels of a small one are never left out.
  int Of(int x, int y) const {
    if (hasCorners_) {
      const int corners = CornersInside(x, y);
      if (corners == 4) return kSamples;
      if (corners == 0) return kNone;
    }
    return SamplesInside(x, y);
  }

 private:
  static constexpr double kGrid = 32;

  int CornersInside(int x, int y) const {
    const double left = kGrid * x - cornerX_, top = kGrid * y - cornerY_;
    int inside = 0;
    for (const double dy : {top, top + kGrid}) {
      for (const double dx : {left, left + kGrid}) inside += dx * dx + dy * dy <= cornerSquare_;
    }
    return inside;
  }
  int SamplesInside(int x, int y) const {
    int inside = 0;
    for (int j = 0; j <= 2; ++j) {
      const double dy = 2.0 * y - sampleY_ + j;
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
  if (!(radius > 0) || !std::isfinite(radius) || !std::isfinite(cx) || !std::isfinite(cy)) return;
  const int left = kxw::Truncate(cx - radius), right = kxw::Truncate(cx + radius);
  const int top = kxw::Truncate(cy - radius), bottom = kxw::Truncate(cy + radius);
  const KXRect bounds = kxw::CutToImage(clip, *this);
  const int firstX = std::max(left, bounds.left), lastX = std::min(right, bounds.right - 1);
  const int firstY = std::max(top, bounds.top), lastY = std::min(bottom, bounds.bottom - 1);
  if (firstX > lastX || firstY > lastY) return;

  const Coverage coverage(cx, cy, radius);
  KXVOffscreenAutoLock lock(this, 1);
  const ColorOfMixer color(*mixer);
  for (int y = firstY; y <= lastY; ++y) {
    cursor_.y = y;
    if (mask) mask->MoveCursorY(this, y);
    // Neighbours of one coverage are laid as one run.
    for (int x = firstX, next; x <= lastX; x = next) {
      const int samples = coverage.Of(x, y);
      for (next = x + 1; next <= lastX && coverage.Of(next, y) == samples;) ++next;
      if (samples == Coverage::kNone) continue;
      color.SetWeight(samples);
      mixer->RelativeSrcCursor(kxw::IntGeometry::Sub(x, left), kxw::IntGeometry::Sub(y, top));
      FillLineRowForPolygon(x, next - 1, mixer, mask, nullptr);
    }
  }
}
