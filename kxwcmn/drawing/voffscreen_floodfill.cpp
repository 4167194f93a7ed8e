#include <algorithm>
#include <limits>

#include "kxwcmn/drawing/detail/floodrun.h"
#include "kxwcmn/drawing/detail/floodvariants.h"
#include "kxwcmn/drawing/floodfill_internal.h"
#include "kxwcmn/offscreen/voffscreen.h"
#include "kxwcmn/offscreen/voffscreen_depths.h"

namespace {

using kxw::flood::Outcome;
using kxw::flood::Request;

/// Runs the fill of one variant. A null image has nothing to fill.
template <class Variant, class Color>
int Fill(KXVOffscreen* paint, KXRect& result, const KXPoint& seed, Color color,
         KXVOffscreen* reference, KXVOffscreen* second, const KXPoint& origin, const KXRect& clip,
         int margin, int* count, int abortable) {
  if (!paint || !reference) return 0;
  const Request request(*paint, *reference, second, seed, origin, clip, margin, abortable);
  if (!request.IsSeedInside()) return 0;
  Outcome outcome;
  if (!kxw::flood::Run<Variant>(request, Variant::FillValue(color), outcome)) return 0;
  result = outcome.box;
  constexpr i64 kMost = std::numeric_limits<int>::max();
  if (count) *count = static_cast<int>(std::min(outcome.count, kMost));
  return 1;
}

}  // namespace

int KXVOffscreen::FloodFill(KXRect& result, const KXPoint& seed, DWORD color,
                            KXVOffscreen* reference, KXVOffscreen* second, const KXPoint& origin,
                            const KXRect& clip, int margin, int* count, int abortable) {
  if (!reference) {
    reference = second;
    second = nullptr;
  }
  if (!reference) return 0;
  switch (reference->GetBitCount()) {
    case 1:
      return FloodFillFrom1Bit(this, result, seed, color, reference, second, origin, clip, count,
                               abortable);
    case 2:
      return FloodFillFrom2Bit(this, result, seed, color, reference, origin, clip, count,
                               abortable);
    case 8:
      if (margin == 0) {
        return FloodFillFrom8BitNoMargin(this, result, seed, color, reference, origin, clip, count,
                                         abortable);
      }
      return FloodFillFrom8Bit(this, result, seed, color, reference, origin, clip, margin, count,
                               abortable);
    case 16:
      if (margin == 0) {
        return FloodFillFrom16BitNoMargin(this, result, seed, color, reference, origin, clip, count,
                                          abortable);
      }
      return FloodFillFrom16Bit(this, result, seed, color, reference, origin, clip, margin, count,
                                abortable);
    case 32:
      if (margin == 0) {
        return FloodFillFrom32BitNoMargin(this, result, seed, color, reference, origin, clip, count,
                                          abortable);
      }
      return FloodFillFrom32Bit(this, result, seed, color, reference, origin, clip, margin, count,
                                abortable);
    default:
      return FloodFillFromGeneric(this, result, seed, color, reference, second, origin, margin,
                                  count, abortable);
  }
}

int KXVOffscreen::FloodFill64(KXRect& result, const KXPoint& seed, u64 color,
                              KXVOffscreen* reference, KXVOffscreen* second, const KXPoint& origin,
                              const KXRect& clip, int margin, int* count, int abortable) {
  return FloodFill(result, seed, QMCOLORREF64to32(color), reference, second, origin, clip, margin,
                   count, abortable);
}

int KXVOffscreen64Bit::FloodFill64(KXRect& result, const KXPoint& seed, u64 color,
                                   KXVOffscreen* reference, KXVOffscreen* second,
                                   const KXPoint& origin, const KXRect& clip, int margin,
                                   int* count, int abortable) {
  KXVOffscreen* const judged = reference ? reference : second;
  if (!judged || judged->GetBitCount() != 64) {
    return FloodFill(result, seed, QMCOLORREF64to32(color), reference, second, origin, clip, margin,
                     count, abortable);
  }
  if (margin == 0) {
    return FloodFillFrom64BitNoMargin(this, result, seed, color, judged, origin, clip, count,
                                      abortable);
  }
  return FloodFillFrom64Bit(this, result, seed, color, judged, origin, clip, margin, count,
                            abortable);
}

int KXVOffscreen::FloodFill(const KXPoint& seed, DWORD color, int margin, KXRect* result,
                            int* count) {
  if (bitCount_ == 64) return FloodFill64(seed, QMCOLORREF32to64(color), margin, result, count);
  KXRect box;
  const int done =
      FloodFill(box, seed, color, this, nullptr, KXPoint(0, 0), GetRect(), margin, count, 0);
  if (done && result) *result = box;
  return done;
}

int KXVOffscreen::FloodFill64(const KXPoint& seed, u64 color, int margin, KXRect* result,
                              int* count) {
  KXRect box;
  const int done =
      FloodFill64(box, seed, color, this, nullptr, KXPoint(0, 0), GetRect(), margin, count, 0);
  if (done && result) *result = box;
  return done;
}

int KXVOffscreen::FloodFillFrom1Bit(KXVOffscreen* paint, KXRect& result, const KXPoint& seed,
                                    DWORD color, KXVOffscreen* reference, KXVOffscreen* second,
                                    const KXPoint& origin, const KXRect& clip, int* count,
                                    int abortable) {
  return Fill<kxw::flood::From1>(paint, result, seed, color, reference, second, origin, clip, 0,
                                 count, abortable);
}

int KXVOffscreen::FloodFillFrom2Bit(KXVOffscreen* paint, KXRect& result, const KXPoint& seed,
                                    DWORD color, KXVOffscreen* reference, const KXPoint& origin,
                                    const KXRect& clip, int* count, int abortable) {
  return Fill<kxw::flood::From2>(paint, result, seed, color, reference, nullptr, origin, clip, 0,
                                 count, abortable);
}

int KXVOffscreen::FloodFillFrom8Bit(KXVOffscreen* paint, KXRect& result, const KXPoint& seed,
                                    DWORD color, KXVOffscreen* reference, const KXPoint& origin,
                                    const KXRect& clip, int margin, int* count, int abortable) {
  return Fill<kxw::flood::From8>(paint, result, seed, color, reference, nullptr, origin, clip,
                                 margin, count, abortable);
}

int KXVOffscreen::FloodFillFrom16Bit(KXVOffscreen* paint, KXRect& result, const KXPoint& seed,
                                     DWORD color, KXVOffscreen* reference, const KXPoint& origin,
                                     const KXRect& clip, int margin, int* count, int abortable) {
  return Fill<kxw::flood::From16>(paint, result, seed, color, reference, nullptr, origin, clip,
                                  margin, count, abortable);
}

int KXVOffscreen::FloodFillFrom32Bit(KXVOffscreen* paint, KXRect& result, const KXPoint& seed,
                                     DWORD color, KXVOffscreen* reference, const KXPoint& origin,
                                     const KXRect& clip, int margin, int* count, int abortable) {
  return Fill<kxw::flood::From32>(paint, result, seed, color, reference, nullptr, origin, clip,
                                  margin, count, abortable);
}

int KXVOffscreen::FloodFillFrom64Bit(KXVOffscreen* paint, KXRect& result, const KXPoint& seed,
                                     u64 color, KXVOffscreen* reference, const KXPoint& origin,
                                     const KXRect& clip, int margin, int* count, int abortable) {
  return Fill<kxw::flood::From64>(paint, result, seed, color, reference, nullptr, origin, clip,
                                  margin, count, abortable);
}

int KXVOffscreen::FloodFillFrom8BitNoMargin(KXVOffscreen* paint, KXRect& result,
                                            const KXPoint& seed, DWORD color,
                                            KXVOffscreen* reference, const KXPoint& origin,
                                            const KXRect& clip, int* count, int abortable) {
  return Fill<kxw::flood::From8Exact>(paint, result, seed, color, reference, nullptr, origin, clip,
                                      0, count, abortable);
}

int KXVOffscreen::FloodFillFrom16BitNoMargin(KXVOffscreen* paint, KXRect& result,
                                             const KXPoint& seed, DWORD color,
                                             KXVOffscreen* reference, const KXPoint& origin,
                                             const KXRect& clip, int* count, int abortable) {
  return Fill<kxw::flood::From16Exact>(paint, result, seed, color, reference, nullptr, origin, clip,
                                       0, count, abortable);
}

int KXVOffscreen::FloodFillFrom32BitNoMargin(KXVOffscreen* paint, KXRect& result,
                                             const KXPoint& seed, DWORD color,
                                             KXVOffscreen* reference, const KXPoint& origin,
                                             const KXRect& clip, int* count, int abortable) {
  return Fill<kxw::flood::From32Exact>(paint, result, seed, color, reference, nullptr, origin, clip,
                                       0, count, abortable);
}

int KXVOffscreen::FloodFillFrom64BitNoMargin(KXVOffscreen* paint, KXRect& result,
                                             const KXPoint& seed, u64 color,
                                             KXVOffscreen* reference, const KXPoint& origin,
                                             const KXRect& clip, int* count, int abortable) {
  return Fill<kxw::flood::From64Exact>(paint, result, seed, color, reference, nullptr, origin, clip,
                                       0, count, abortable);
}

int KXVOffscreen::FloodFillFromGeneric(KXVOffscreen* paint, KXRect& result, const KXPoint& seed,
                                       DWORD color, KXVOffscreen* reference, KXVOffscreen* second,
                                       const KXPoint& origin, int margin, int* count,
                                       int abortable) {
  if (!paint) return 0;
  return Fill<kxw::flood::FromGeneric>(paint, result, seed, color, reference, second, origin,
                                       paint->GetRect(), margin, count, abortable);
}
