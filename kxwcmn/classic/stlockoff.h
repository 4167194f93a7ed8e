#pragma once

#include "kxwcmn/platform/export.h"

class KXOffscreen;

/// Holds a lock of a classic image for a scope.
///
/// The end of its life takes a lock back even after an explicit `Unlock`: both together take two.
class KX_EXPORT KXStLockOff {
 public:
  KXStLockOff() = default;
  explicit KXStLockOff(KXOffscreen* offscreen) { Lock(offscreen); }
  KXStLockOff(const KXStLockOff&) = delete;
  KXStLockOff& operator=(const KXStLockOff&) = delete;
  virtual ~KXStLockOff();

  /// Takes the lock; one that was held before is not released. Null holds nothing.
  void Lock(KXOffscreen* offscreen);
  /// Takes the lock back and keeps the image in mind.
  void Unlock();

 private:
  KXOffscreen* offscreen_ = nullptr;  // not owned
};
