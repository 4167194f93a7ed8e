#include "kxwcmn/compositing/voffpixelmixer.h"

#include "kxwcmn/compositing/mixrow_internal.h"
#include "kxwcmn/compositing/mixrules_internal.h"
#include "kxwcmn/compositing/pixelmixer.h"
#include "kxwcmn/core/exception.h"
#include "kxwcmn/core/geometry.h"
#include "kxwcmn/offscreen/voffscreen.h"

void KXVOffPixelMixer::SetDstOffscreen(int depth, KXVOffscreen* offscreen) {
  dst_ = offscreen;
  depth_ = depth;
  switch (offscreen ? depth : 0) {
    case 1:
    case 2:
    case 8:
      doFunc_ = Do8Bit;
      break;
    case 16:
    case 24:
      doFunc_ = Do24Bit;
      break;
    case 32:
      doFunc_ = Do32Bit;
      break;
    case 48:
      doFunc_ = Do48Bit;
      break;
    case 64:
      doFunc_ = Do64Bit;
      break;
    default:
      doFunc_ = nullptr;
  }
}

void KXVOffPixelMixer::SetDstOffscreen(KXVOffscreen* offscreen) {
  SetDstOffscreen(offscreen ? offscreen->GetBitCount() : 0, offscreen);
}

void KXVOffPixelMixer::SetSrcOffscreen(KXVOffscreen* offscreen, tagPOINT origin) {
  src_ = offscreen;
  srcOrigin_ = origin;
}

KXPixelMixer* KXVOffPixelMixer::SetNode(KXPixelMixer* mixer) {
  KXPixelMixer* former = node_;
  node_ = mixer;
  return former;
}

KXPixelMixer* KXVOffPixelMixer::PushNode(KXPixelMixer* mixer) {
  KXPixelMixer* tail = nullptr;
  int length = 0;
  for (KXPixelMixer* node = node_; node; node = node->GetNext()) {
    if (node == mixer || ++length > kxw::kLongestChain) kxThrowError(kxw::kFailureBadArgument);
    tail = node;
  }
  if (tail) {
    tail->SetNext(mixer);
  } else {
    node_ = mixer;
  }
  return tail;
}

void KXVOffPixelMixer::DoSrc() {
  if (!src_) return;
  if (!src_->GetCurrentAddress()) {
    kxw::CheckBroughtIn(*src_);
    Do(KXComplexColor::cErase);
  } else {
    Do(KXComplexColor(src_->GetBitCount(), src_->Get64BitColor()));
  }
}

void KXVOffPixelMixer::RelativeSrcCursor(int x, int y) {
  if (!src_) return;
  const KXPoint point = KXPoint(x, y) + srcOrigin_;
  src_->MoveCursor(point.x, point.y);
}

void KXVOffPixelMixer::RelativeSrcCursorX(int x) {
  if (src_) src_->MoveCursorX(kxw::IntGeometry::Add(x, srcOrigin_.x));
}

void KXVOffPixelMixer::RelativeSrcCursorY(int y) {
  if (src_) src_->MoveCursorY(kxw::IntGeometry::Add(y, srcOrigin_.y));
}

void KXVOffPixelMixer::NextSrcCursorX() {
  if (src_) src_->NextCursorX();
}

void KXVOffPixelMixer::NextSrcCursorY() {
  if (src_) src_->NextCursorY();
}

void KXVOffPixelMixer::Do1Bit(KXVOffPixelMixer& mixer, const KXComplexColor& color) {
  if (mixer.node_) mixer.node_->Do1Bit(mixer.dst_, color.value8);
}

void KXVOffPixelMixer::Do2Bit(KXVOffPixelMixer& mixer, const KXComplexColor& color) {
  if (mixer.node_) mixer.node_->Do2Bit(mixer.dst_, color.value8);
}

void KXVOffPixelMixer::Do8Bit(KXVOffPixelMixer& mixer, const KXComplexColor& color) {
  if (mixer.node_) mixer.node_->Do8Bit(mixer.dst_, color.value8);
}

void KXVOffPixelMixer::Do24Bit(KXVOffPixelMixer& mixer, const KXComplexColor& color) {
  if (mixer.node_) mixer.node_->Do24Bit(mixer.dst_, color.color32);
}

void KXVOffPixelMixer::Do32Bit(KXVOffPixelMixer& mixer, const KXComplexColor& color) {
  if (mixer.node_) mixer.node_->Do32Bit(mixer.dst_, color.color32, mixer.GetAlpha());
}

void KXVOffPixelMixer::Do48Bit(KXVOffPixelMixer& mixer, const KXComplexColor& color) {
  if (mixer.node_) mixer.node_->Do48Bit(mixer.dst_, color.color64, mixer.GetAlpha64());
}

void KXVOffPixelMixer::Do64Bit(KXVOffPixelMixer& mixer, const KXComplexColor& color) {
  if (mixer.node_) mixer.node_->Do64Bit(mixer.dst_, color.color64, mixer.GetAlpha64());
}
