#include "kxwcmn/classic/stlockoff.h"

#include "kxwcmn/classic/offscreen.h"

KXStLockOff::~KXStLockOff() { Unlock(); }

void KXStLockOff::Lock(KXOffscreen* offscreen) {
  offscreen_ = offscreen;
  if (offscreen_) offscreen_->Lock();
}

void KXStLockOff::Unlock() {
  if (offscreen_) offscreen_->Unlock();
}
