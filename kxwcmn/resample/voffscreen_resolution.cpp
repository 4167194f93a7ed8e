#include <algorithm>
#include <cstdlib>

#include "kxwcmn/core/exception.h"
#include "kxwcmn/offscreen/voffscreen_depths.h"
#include "kxwcmn/resample/detail/areafilter.h"

namespace {

/// Cuts `size` positions from `start` on to those of [0, limit); false if none is left.
bool CutSpan(int& start, int& size, int limit) {
  const i64 end = std::min<i64>(static_cast<i64>(start) + size, limit);
  start = std::max(start, 0);
  size = static_cast<int>(std::max<i64>(end - start, 0));
  return size > 0;
}

/// What a change of resolution works on: each rectangle cut to its own image.
struct Job {
  int x, y, w, h;
  KXVOffscreen* src;
  int sx, sy, sw, sh;

  bool Cut(const KXVOffscreen& dst) {
    if (!src) return false;
    if (src == &dst) kxThrowError(kxw::kFailureBadArgument);
    return CutSpan(x, w, dst.GetWidth()) && CutSpan(y, h, dst.GetHeight()) &&
           CutSpan(sx, sw, src->GetWidth()) && CutSpan(sy, sh, src->GetHeight());
  }
  bool IsCopy() const { return w == sw && h == sh; }
  /// Whether the source has exactly `n` times the columns and rows.
  bool IsOneOf(int n) const {
    return static_cast<i64>(w) * n == sw && static_cast<i64>(h) * n == sh;
  }
};

/// Whether `whole` is `part` * `n`, or misses it by less than `tolerance`.
bool IsNear(int part, int n, int whole, int tolerance) {
  return std::abs(static_cast<i64>(part) * n - whole) < tolerance;
}

/// All but the copies behind, and the sources that a depth refuses.
void Resample(KXVOffscreen& dst, const Job& job, int mode, int behind, int skipTransparent) {
  const auto& [x, y, w, h, src, sx, sy, sw, sh] = job;
  if (mode == KXVOffscreen::kResolutionFast) {
    dst.ChangeResolutionLow(x, y, w, h, src, sx, sy, sw, sh, behind, skipTransparent);
  } else if (mode != KXVOffscreen::kResolutionArea) {
    return;
  } else if (job.IsOneOf(2)) {
    dst.ChangeResolutionHalf(x, y, w, h, src, sx, sy, behind);
  } else if (job.IsOneOf(4)) {
    dst.ChangeResolutionQuarter(x, y, w, h, src, sx, sy, behind);
  } else if ((dst.GetBitCount() == 64) == (src->GetBitCount() == 64)) {
    kxw::ApplyAreaFilter(dst, KXRect(x, y, x + w, y + h), *src, KXRect(sx, sy, sx + sw, sy + sh),
                         behind != 0);
  }
}

}  // namespace

void KXVOffscreen::ChangeResolution(int x, int y, int w, int h, KXVOffscreen* src, int sx, int sy,
                                    int sw, int sh, CHANGE_RESOLUTION_MODE mode, int behind,
                                    int skipTransparent) {
  Job job{x, y, w, h, src, sx, sy, sw, sh};
  if (!job.Cut(*this)) return;
  if (!job.IsCopy()) {
    Resample(*this, job, mode, behind, skipTransparent);
  } else if (behind) {
    CommonCopy(job.x, job.y, job.w, job.h, src, job.sx, job.sy, 1, behind);
  } else {
    Copy(job.x, job.y, job.w, job.h, src, job.sx, job.sy, 1);
  }
}

void KXVOffscreen64Bit::ChangeResolution(int x, int y, int w, int h, KXVOffscreen* src, int sx,
                                         int sy, int sw, int sh, CHANGE_RESOLUTION_MODE mode,
                                         int behind, int skipTransparent) {
  Job job{x, y, w, h, src, sx, sy, sw, sh};
  if (!job.Cut(*this) || src->GetBitCount() != 64) return;
  if (job.IsCopy()) {
    Copy64(job.x, job.y, job.w, job.h, src, job.sx, job.sy, 1, behind);
  } else {
    Resample(*this, job, mode, behind, skipTransparent);
  }
}

void KXVOffscreen::ChangeResolution2(int x, int y, int w, int h, KXVOffscreen* src, int sx, int sy,
                                     int sw, int sh, CHANGE_RESOLUTION_MODE mode, int behind) {
  Job job{x, y, w, h, src, sx, sy, sw, sh};
  if (!job.Cut(*this)) return;
  const auto isNear = [](int part, int n, int whole, int part2, int whole2) {
    const int tolerance = n == 4 ? 5 : 3;
    return IsNear(part, n, whole, tolerance) && IsNear(part2, n, whole2, tolerance);
  };
  if (isNear(job.sw, 4, job.w, job.sh, job.h)) {
    ChangeResolutionFourfold(job.x, job.y, job.w, job.h, src, job.sx, job.sy, behind);
  } else if (isNear(job.sw, 2, job.w, job.sh, job.h)) {
    ChangeResolutionDouble(job.x, job.y, job.w, job.h, src, job.sx, job.sy, behind);
  } else if (isNear(job.w, 2, job.sw, job.h, job.sh)) {
    ChangeResolutionHalf(job.x, job.y, job.w, job.h, src, job.sx, job.sy, behind);
  } else if (isNear(job.w, 4, job.sw, job.h, job.sh)) {
    ChangeResolutionQuarter(job.x, job.y, job.w, job.h, src, job.sx, job.sy, behind);
  } else {
    ChangeResolution(job.x, job.y, job.w, job.h, src, job.sx, job.sy, job.sw, job.sh, mode, behind,
                     0);
  }
}
