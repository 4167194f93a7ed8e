#pragma once

#include "kxwcmn/platform/export.h"

class KXVOffscreen;

/// Holds an image's lock for a scope.
///
/// At the end of its life it puts an enclosing lock's edit mode and cursor back as they were. An
/// explicit `Unlock` does not: the enclosing cursor stays where the inner code left it.
///
/// Copying copies the hold, for containers that move the value: only one of the copies may unlock.
class KX_EXPORT KXVOffscreenAutoLock {
 public:
  KXVOffscreenAutoLock() = default;
  /// Locks with the cursor off the image and no block held.
  KXVOffscreenAutoLock(KXVOffscreen* offscreen, int edit) { Lock(offscreen, edit); }
  KXVOffscreenAutoLock(KXVOffscreen* offscreen, int x, int y, int edit) {
    Lock(offscreen, x, y, edit);
  }
  KXVOffscreenAutoLock(const KXVOffscreenAutoLock&) = default;
  KXVOffscreenAutoLock& operator=(const KXVOffscreenAutoLock&) = default;
  virtual ~KXVOffscreenAutoLock();

  /// Takes the lock. An earlier one is not released. Null holds nothing.
  void Lock(KXVOffscreen* offscreen, int edit) { Lock(offscreen, -1, -1, edit); }
  void Lock(KXVOffscreen* offscreen, int x, int y, int edit);
  void Unlock();

 protected:
  void Initialize();

 private:
  KXVOffscreen* offscreen_ = nullptr;  // not owned
  int wasLocked_ = 0;
  int savedX_ = 0;
  int savedY_ = 0;
  int savedEditMode_ = 0;
};
