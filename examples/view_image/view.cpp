#include "view_image/view.h"

#include <algorithm>
#include <cmath>

namespace viewimage {
namespace {

constexpr i64 kBlock = KXVOffscreen::kBlockSize;
constexpr int kMostLevel = 24;  // an image of 2^31 pixels is 128 wide there
constexpr int kFitMargin = 12;
constexpr int kStepsToDouble = 4;
constexpr double kNearStep = 0.1;  // of a step; scales are rounded by less

}  // namespace

Zoom Zoom::Of(double scale) {
  scale = std::clamp(scale, std::ldexp(1, -kMostLevel), kMostScale);
  Zoom zoom;
  for (; scale <= 0.5; scale *= 2) ++zoom.level;
  zoom.side = static_cast<int>(std::lround(scale * kBlock));
  if (2 * zoom.side > kBlock) return zoom;
  return {zoom.level + 1, static_cast<int>(kBlock)};  // rounded down to a half
}

Zoom Zoom::Fitting(KXSize picture, KXSize window) {
  const auto ratio = [](int part, int whole) {
    return std::max(part, 1) / static_cast<double>(std::max(whole, 1));
  };
  Zoom zoom = Of(std::min({1.0, ratio(window.cx, picture.cx), ratio(window.cy, picture.cy)}));
  while (zoom.level < kMostLevel &&
         (zoom.Shown(picture.cx) > window.cx || zoom.Shown(picture.cy) > window.cy)) {
    if (2 * --zoom.side <= kBlock) zoom = {zoom.level + 1, static_cast<int>(kBlock)};
  }
  return zoom;
}

double Zoom::Scale() const { return std::ldexp(side / static_cast<double>(kBlock), -level); }

i64 Zoom::Shown(int size) const {
  const i64 reduced = (size + (i64{1} << level) - 1) >> level;
  return (reduced * side + kBlock - 1) / kBlock;
}

int Zoom::PixelAt(i64 shown) const { return static_cast<int>((shown * kBlock << level) / side); }

i64 Zoom::FirstShown(i64 pixel) const { return ((pixel >> level) * side + kBlock - 1) / kBlock; }

bool View::Axis::Find(int at, i64 shown, i64& found) const {
  found = first + at;
  if (found < 0 || found >= shown) return false;
  if (isFlipped) found = shown - 1 - found;
  return true;
}

void View::Axis::ZoomTo(const viewimage::Zoom& from, const viewimage::Zoom& to, int about,
                        int picture) {
  const i64 before = from.Shown(picture), after = to.Shown(picture);
  i64 at = first + about;
  if (isFlipped) at = before - 1 - at;
  i64 moved = static_cast<i64>(std::floor(static_cast<double>(at) / from.Scale() * to.Scale()));
  if (at >= 0 && at < before && to.level == 0) {
    const int pixel = from.PixelAt(at);
    moved = std::min(moved, to.FirstShown(i64{pixel} + 1) - 1);
    moved = std::max(moved, to.FirstShown(pixel));
  }
  if (isFlipped) moved = after - 1 - moved;
  first = moved - about;
}

void View::Axis::Confine(i64 shown, int window) {
  if (shown <= window) {
    // Flipped, the odd pixel is on the other side too.
    first = -((window - shown + (isFlipped ? 1 : 0)) / 2);
  } else {
    first = std::clamp<i64>(first, -(window / 2), shown - window / 2 - window % 2);
  }
}

bool View::PixelAt(KXPoint point, KXPoint& pixel) const {
  i64 x, y;
  if (!horz_.Find(point.x, zoom_.Shown(picture_.cx), x)) return false;
  if (!vert_.Find(point.y, zoom_.Shown(picture_.cy), y)) return false;
  pixel.x = std::min(zoom_.PixelAt(x), picture_.cx - 1);
  pixel.y = std::min(zoom_.PixelAt(y), picture_.cy - 1);
  return true;
}

void View::Resize(KXSize window) {
  horz_.first += window_.cx / 2 - window.cx / 2;
  vert_.first += window_.cy / 2 - window.cy / 2;
  window_ = window;
  if (isFitted_) {
    Fit();
  } else {
    Confine();
  }
}

void View::Fit() {
  zoom_ = Fitting();
  horz_.first = (zoom_.Shown(picture_.cx) - window_.cx) / 2;
  vert_.first = (zoom_.Shown(picture_.cy) - window_.cy) / 2;
  Confine();
  isFitted_ = true;
}

void View::Show(KXPoint pixel, double scale) {
  zoom_ = viewimage::Zoom::Of(std::max(scale, Fitting().Scale()));
  isFitted_ = false;
  const KXPoint middle = Middle();
  const auto bring = [&](Axis& axis, int at, int size, int to) {
    i64 shown = zoom_.FirstShown(std::clamp(at, 0, std::max(size - 1, 0)));
    if (axis.isFlipped) shown = zoom_.Shown(size) - 1 - shown;
    axis.first = shown - to;
  };
  bring(horz_, pixel.x, picture_.cx, middle.x);
  bring(vert_, pixel.y, picture_.cy, middle.y);
  Confine();
}

void View::ZoomTo(double scale, KXPoint about) {
  const viewimage::Zoom zoom = viewimage::Zoom::Of(std::max(scale, Fitting().Scale()));
  horz_.ZoomTo(zoom_, zoom, about.x, picture_.cx);
  vert_.ZoomTo(zoom_, zoom, about.y, picture_.cy);
  zoom_ = zoom;
  isFitted_ = false;
  Confine();
}

void View::Step(int steps, KXPoint about) {
  const double step = kStepsToDouble * std::log2(zoom_.Scale());
  const double base = steps > 0 ? std::floor(step + kNearStep) : std::ceil(step - kNearStep);
  const double scale = std::exp2((base + steps) / kStepsToDouble);
  if (scale <= Fitting().Scale() && zoom_.Scale() <= 1) return Fit();
  ZoomTo(scale, about);
}

void View::Move(int dx, int dy) {
  horz_.first -= dx;
  vert_.first -= dy;
  isFitted_ = false;
  Confine();
}

void View::FlipHorz() {
  horz_.isFlipped = !horz_.isFlipped;
  horz_.first = zoom_.Shown(picture_.cx) - window_.cx - horz_.first;
  Confine();
}

void View::FlipVert() {
  vert_.isFlipped = !vert_.isFlipped;
  vert_.first = zoom_.Shown(picture_.cy) - window_.cy - vert_.first;
  Confine();
}

void View::Confine() {
  horz_.Confine(zoom_.Shown(picture_.cx), window_.cx);
  vert_.Confine(zoom_.Shown(picture_.cy), window_.cy);
}

viewimage::Zoom View::Fitting() const {
  const auto room = [](int size) { return std::max(size - 2 * kFitMargin, 1); };
  return viewimage::Zoom::Fitting(picture_, KXSize(room(window_.cx), room(window_.cy)));
}

}  // namespace viewimage
