#include "kxwcmn/offscreen/autolock.h"

#include "kxwcmn/offscreen/voffscreen.h"

KXVOffscreenAutoLock::~KXVOffscreenAutoLock() {
  if (!offscreen_) return;
  KXVOffscreen* offscreen = offscreen_;
  offscreen->Unlock();
  // The image may have been destroyed meanwhile: then there is no outer lock to go back to.
  if (!wasLocked_ || offscreen->GetLockCount() == 0) return;
  offscreen->editMode_ = savedEditMode_;
  try {
    offscreen->MoveCursor(savedX_, savedY_);
  } catch (...) {
    // The outer block finds no room any more: the outer cursor stands off the image, where reads
    // give defaults and writes do nothing. Nothing may leave a destructor.
  }
}

void KXVOffscreenAutoLock::Initialize() {
  offscreen_ = nullptr;
  wasLocked_ = 0;
  savedX_ = 0;
  savedY_ = 0;
  savedEditMode_ = 0;
}

void KXVOffscreenAutoLock::Lock(KXVOffscreen* offscreen, int x, int y, int edit) {
  Initialize();
  if (!offscreen) return;
  if (offscreen->lockCount_ > 0) {
    wasLocked_ = 1;
    savedX_ = offscreen->cursor_.x;
    savedY_ = offscreen->cursor_.y;
    savedEditMode_ = offscreen->editMode_;
  }
  offscreen->Lock(x, y, edit);
  offscreen_ = offscreen;
}

void KXVOffscreenAutoLock::Unlock() {
  if (offscreen_) offscreen_->Unlock();
  offscreen_ = nullptr;
}
