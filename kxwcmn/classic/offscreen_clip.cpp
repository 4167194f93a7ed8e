#include <algorithm>
#include <limits>

#include "kxwcmn/classic/offscreen.h"
#include "kxwcmn/core/exception.h"
#include "kxwcmn/core/geometry.h"

namespace {

int Saturated(i64 value) {
  return static_cast<int>(
      std::clamp<i64>(value, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
}

}  // namespace

void KXOffscreen::SetClipRect(const tagRECT& rect) {
  ResetClip();
  if (KXRect(rect).IsRectNull()) return;
  clipMode_ = 1;
  clipRect_ = rect;
}

void KXOffscreen::SetClipMask(KXOffscreen* mask, int x, int y, int scale) {
  if (mask && scale == 0) kxThrowError(kxw::kFailureBadArgument);
  ResetClip();
  if (!mask) return;
  clipMode_ = 2;
  clipMask_ = mask;
  clipX_ = x;
  clipY_ = y;
  clipScale_ = scale;
}

void KXOffscreen::ResetClip() {
  clipMode_ = 0;
  clipRect_ = {};
  clipMask_ = nullptr;
  clipX_ = 0;
  clipY_ = 0;
  clipScale_ = 1;
}

int KXOffscreen::GetPaintArea(tagRECT& area) const {
  KXRect bounds(0, 0, GetWidth(), GetHeight());
  if (clipMode_ == 1) {
    if (!bounds.IntersectRect(clipRect_)) return 0;
  } else if (clipMode_ == 2) {
    const tagRECT rects[] = {bounds,
                             {0, 0, ClipMaskToOffscreen(clipMask_->GetWidth()),
                              ClipMaskToOffscreen(clipMask_->GetHeight())}};
    tagPOINT origins[] = {{clipX_, clipY_}, {0, 0}};
    int width = rects[1].right, height = rects[1].bottom;
    if (!CalcSafetyArea(rects, origins, 2, width, height)) return 0;
    bounds = KXRect(origins[0].x, origins[0].y, origins[0].x + width, origins[0].y + height);
  }
  if (bounds.IsRectEmpty()) return 0;
  area = bounds;
  return 1;
}

int KXOffscreen::CalcSafetyArea(const tagRECT* rects, tagPOINT* origins, int count, int& width,
                                int& height) {
  if (count > 0 && (!rects || !origins)) kxThrowError(kxw::kFailureBadArgument);
  for (int i = 0; i < count; ++i) {
    const tagRECT& rect = rects[i];
    const tagPOINT at = origins[i];
    const i64 left = std::max(at.x, rect.left), top = std::max(at.y, rect.top);
    const i64 right = std::min<i64>(i64{at.x} + width, rect.right);
    const i64 bottom = std::min<i64>(i64{at.y} + height, rect.bottom);
    if (left >= right || top >= bottom) {
      width = height = 0;
      return 0;
    }
    // An origin that would leave 32 bits belongs to a block that is going to be empty.
    for (int k = 0; k < count; ++k) {
      origins[k].x = Saturated(origins[k].x + left - at.x);
      origins[k].y = Saturated(origins[k].y + top - at.y);
    }
    width = static_cast<int>(right - left);
    height = static_cast<int>(bottom - top);
  }
  return 1;
}
