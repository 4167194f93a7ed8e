#include "kxwcmn/compositing/voffpixelmask.h"
#include "kxwcmn/compositing/voffpixelmixer.h"
#include "kxwcmn/core/exception.h"
#include "kxwcmn/offscreen/voffscreen.h"

void KXVOffscreen::FillLineRowForPolygon(int x1, int x2, KXVOffPixelMixer* mixer,
                                         KXVOffPixelMask* mask, const BYTE* pattern) {
  if (!mixer) kxThrowError(kxw::kFailureBadArgument);
  MoveCursorX(x1);
  for (i64 x = x1; x <= x2; ++x) {
    const bool drawn =
        (!pattern || pattern[x & 3]) && (!mask || mask->IsMaskFreeX(this, cursor_.x));
    if (drawn) {
      if (mixer->GetSrcOffscreen()) {
        mixer->DoSrc();
      } else {
        mixer->Do();
      }
    }
    // Skipped pixels are stepped over too: a pattern never shifts the image.
    NextCursorX();
    mixer->NextSrcCursorX();
  }
}
