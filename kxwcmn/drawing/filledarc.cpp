#include "kxwcmn/drawing/filledarc_internal.h"

#include <algorithm>
#include <cmath>

namespace kxw {

// The walk keeps an error, the radius at first. Before step x, when y has come down k times, it is
// what is left of the radius: radius + 2x - x^2 + 2k * radius - k^2 - k. A step takes 1 - 2x from
// it, and y comes down where it would fall below zero. So y has come down no more than it must:
// k is the least one with (x - 1)^2 <= 1 + radius + k * (2 * radius - 1 - k).

namespace {

i64 Room(i64 radius, i64 k) { return 1 + radius + k * (2 * radius - 1 - k); }

i64 SquareRoot(i64 value) {
  i64 root = static_cast<i64>(std::sqrt(static_cast<double>(value)));
  while (root * root > value) --root;
  while ((root + 1) * (root + 1) <= value) ++root;
  return root;
}

i64 DividedUp(i64 a, i64 b) { return (a + b - 1) / b; }

}  // namespace

FilledArc::FilledArc(i64 a, i64 b) : a_(a), b_(b), radius_(std::max(a, b)) {
  // The walk ends where y falls below x: near the diagonal.
  lastX_ = static_cast<i64>(static_cast<double>(radius_) * std::sqrt(0.5));
  while (lastX_ > 0 && YAt(lastX_) < lastX_) --lastX_;
  while (YAt(lastX_ + 1) > lastX_) ++lastX_;
  lastY_ = YAt(lastX_);
}

i64 FilledArc::LastXAt(i64 y) const {
  return std::min(1 + SquareRoot(Room(radius_, radius_ - y)), lastX_);
}

i64 FilledArc::YAt(i64 x) const {
  const i64 square = (x - 1) * (x - 1);
  // The circle itself is at most a little off; the whole numbers decide.
  const double r = static_cast<double>(radius_);
  const double height =
      std::sqrt(std::max(0.0, (r - static_cast<double>(x)) * (r + static_cast<double>(x))));
  i64 k = std::clamp<i64>(static_cast<i64>(r - height), 0, radius_);
  while (k > 0 && square <= Room(radius_, k - 1)) --k;
  while (k < radius_ && square > Room(radius_, k)) ++k;
  return radius_ - k;
}

i64 FilledArc::HalfWidth(i64 distance) const {
  i64 half = -1;
  if (a_ <= b_) {
    // A step gives the rows at x, as wide as y, and those at y, as wide as x.
    if (distance <= lastX_) half = YAt(distance) * a_ / radius_;
    if (distance >= lastY_ && distance <= radius_) {
      half = std::max(half, LastXAt(distance) * a_ / radius_);
    }
    return half;
  }
  // The rows at x and y scaled, as wide as y and x: of the x and y that come to this row the least
  // ones are the widest.
  const i64 least = DividedUp(distance * a_, b_ > 0 ? b_ : 1);
  const auto reaches = [&](i64 v) { return v * b_ / a_ == distance; };
  if (least <= lastX_ && reaches(least)) half = YAt(least);
  const i64 y = std::max(least, lastY_);
  if (y <= radius_ && reaches(y)) half = std::max(half, LastXAt(y));
  return half;
}

}  // namespace kxw
