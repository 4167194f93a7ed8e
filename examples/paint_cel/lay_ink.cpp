#include "paint_cel/cel.h"

namespace paintcel {

void HardenInk(int margin, KXVOffscreen& ink) {
  KXVOffscreenAutoLock lock(&ink, 1);
  KXBlockGetter blocks(&ink, ink.GetRect(), 1);
  for (KXRect part; blocks.GetNextBlock(part);) {
    if (!ink.GetBlockExist(part.left, part.top)) continue;
    for (int y = part.top; y < part.bottom; ++y) {
      ink.MoveCursor(part.left, y);
      BYTE* row = ink.GetCurrentAddress();
      for (int x = 0; row && x < part.Width(); ++x) {
        const int density = row[x] * 255 / margin;
        row[x] = static_cast<BYTE>(density < 255 ? density : 255);
      }
    }
  }
}

void LayInkOverPaint(int margin, Cel& cel) {
  HardenInk(margin, *cel.ink);
  KXPixelMixerBlend blend;
  KXVOffPixelMixer mixer;
  mixer.SetDstOffscreen(cel.paint.get());
  mixer.SetNode(&blend);
  KXVOffscreenAutoLock lock(cel.ink.get(), 0);
  // Where there is no ink there is nothing to lay; a walk by its blocks passes over that.
  KXAbort abort;
  KXBlockGetter blocks(cel.ink.get(), cel.ink->GetRect(), 1);
  KXProgressBar progress(cel.ink->GetBlockCount(nullptr, nullptr), "Laying the ink");
  for (KXRect part; blocks.GetNextBlock(part); progress.Step()) {
    abort.CheckAbort();
    if (!cel.ink->GetBlockExist(part.left, part.top)) continue;
    mixer.SetSrcOffscreen(cel.ink.get(), KXPoint(part.left, part.top));
    cel.paint->RectFill(part, &mixer, nullptr, nullptr, nullptr);
  }
}

}  // namespace paintcel
