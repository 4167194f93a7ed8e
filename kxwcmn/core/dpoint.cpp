#include "kxwcmn/core/dpoint.h"

#include "kxwcmn/platform/number.h"

KXDPoint::KXDPoint() {
  points_.SetCount(kCapacity);
  shadows_.SetCount(kCapacity);
}

KXDPoint::KXDPoint(const KXDPoint* other) : KXDPoint() {
  if (other) *this = *other;
}

KXDPoint::~KXDPoint() = default;

KXDPoint KXDPoint::operator=(const KXDPoint& other) {
  points_ = other.points_;
  shadows_ = other.shadows_;
  count_ = other.count_;
  angle_ = other.angle_;
  opacity_ = other.opacity_;
  color_ = other.color_;
  resolution_ = other.resolution_;
  return *this;
}

void KXDPoint::GetPoint(tagPOINTD& point, int index) const {
  if (IsEntry(index)) point = points_[index];
}

void KXDPoint::GetPoint(tagPOINT& point, int index) const {
  if (IsEntry(index)) point = shadows_[index];
}

void KXDPoint::SetPoint(const tagPOINTD& point, int index) {
  if (!IsEntry(index)) return;
  points_[index] = point;
  shadows_[index] = {kxw::Truncate(point.x * resolution_), kxw::Truncate(point.y * resolution_)};
}

void KXDPoint::SetPoint(const tagPOINT& point, int index) {
  if (IsEntry(index)) shadows_[index] = point;
}

void KXDPoint::AddPoint(const tagPOINTD& point) {
  if (count_ < kCapacity) SetPoint(point, count_++);
}

void KXDPoint::AddPoint(const tagPOINT& point) {
  if (count_ < kCapacity) SetPoint(point, count_++);
}

void KXDPoint::RemovePoint(int index) {
  if (count_ == 0 || index < kAll) return;
  if (index == kAll) {
    count_ = 0;
    return;
  }
  for (int i = index; i < kCapacity - 1; ++i) {
    points_[i] = points_[i + 1];
    shadows_[i] = shadows_[i + 1];
  }
  --count_;
}

void KXDPoint::Offset(const tagPOINTD& by, int index) {
  if (index == kAll) {
    for (int i = 0; i < count_; ++i) Offset(by, i);
  } else if (IsEntry(index)) {
    SetPoint(KXPointD(points_[index]) + by, index);
  }
}

void KXDPoint::Offset(const tagPOINT& by, int index) {
  if (index == kAll) {
    for (int i = 0; i < count_; ++i) Offset(by, i);
  } else if (IsEntry(index)) {
    SetPoint(KXPoint(shadows_[index]) + by, index);
  }
}
