#include "kxwcmn/compositing/mixrow_internal.h"
#include "kxwcmn/core/exception.h"
#include "kxwcmn/offscreen/voffscreen.h"

void KXVOffscreen::FillLineRowForPolygon(int x1, int x2, KXVOffPixelMixer* mixer,
                                         KXVOffPixelMask* mask, const BYTE* pattern) {
  if (!mixer) kxThrowError(kxw::kFailureBadArgument);
  if (!kxw::MixRowByKernel(*this, x1, x2, *mixer, mask, pattern)) {
    kxw::MixRowPlain(*this, x1, x2, *mixer, mask, pattern);
  }
}
