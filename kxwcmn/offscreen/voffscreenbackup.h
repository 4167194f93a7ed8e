#pragma once

#include "kxwcmn/core/array.h"
#include "kxwcmn/core/geometry.h"
#include "kxwcmn/platform/export.h"
#include "kxwcmn/platform/types.h"

class KXVirtualMemory;
class KXVOffscreen;

/// What a block of a backup holds. All values but 0 are the application's.
enum BACKUP_STATE : DWORD {
  kBackupNone = 0,  ///< No backup.
};

/// An image that keeps an earlier state of changed blocks, with a state for each of its blocks. A
/// block whose state goes back to `kBackupNone` loses its memory at once.
///
/// Made and deleted through KXVOffscreen. Without an image there are no blocks.
class KX_EXPORT KXVOffscreenBackup {
 public:
  KXVOffscreenBackup() = default;
  KXVOffscreenBackup(const KXVOffscreenBackup&) = delete;
  KXVOffscreenBackup& operator=(const KXVOffscreenBackup&) = delete;
  virtual ~KXVOffscreenBackup();

  /// Creates the image, with the state 0 for each of its blocks. On a failure the image is deleted,
  /// and the exception passes on. Raises 0x20010008 if there is no image.
  virtual void Create(KXVirtualMemory* memory, int width, int height, double resolution);
  /// Drops the states, and all that the image holds.
  virtual void Destroy();

  /// The image, owned.
  KXVOffscreen* GetThisOffscreen() const { return offscreen_; }
  /// Replaces the image, which is now owned; the old one is the caller's.
  void SetThisOffscreen(KXVOffscreen* offscreen) { offscreen_ = offscreen; }

  /// The state of the block of a pixel; 0 outside the image.
  BACKUP_STATE GetState(int x, int y) const;
  /// Sets the state of the blocks that `rect` touches (all for null), or of those under the top
  /// left corners of `rects`.
  void SetState(const KXRect* rect, BACKUP_STATE state);
  void SetState(const KXTArray<tagRECT, 0>& rects, BACKUP_STATE state);

 private:
  void SetState(int index, BACKUP_STATE state);

  KXVOffscreen* offscreen_ = nullptr;
  KXTArray<BACKUP_STATE> states_;
};
