#include "kxwcmn/offscreen/voffscreenbackup.h"

#include "kxwcmn/core/exception.h"
#include "kxwcmn/offscreen/voffscreen.h"

KXVOffscreenBackup* KXVOffscreen::CreateOffscreenBackup(int bitCount) {
  KXVOffscreenBackup* backup = nullptr;
  try {
    backup = new KXVOffscreenBackup;
    if (KXVOffscreen* offscreen = CreateOffscreen(bitCount)) {
      offscreen->AllowBreak(0);
      backup->SetThisOffscreen(offscreen);
      return backup;
    }
  } catch (...) {
    // Null tells it.
  }
  DeleteOffscreenBackup(backup);
  return nullptr;
}

void KXVOffscreen::DeleteOffscreenBackup(KXVOffscreenBackup* backup) { delete backup; }

KXVOffscreenBackup::~KXVOffscreenBackup() { KXVOffscreen::DeleteOffscreen(offscreen_); }

void KXVOffscreenBackup::Create(KXVirtualMemory* memory, int width, int height, double resolution) {
  if (!offscreen_) kxThrowError(kxw::kFailureBadArgument);
  try {
    offscreen_->Create(memory, width, height, resolution);
    states_.SetCount(0);  // elements that come back are 0
    states_.SetCount(offscreen_->GetBlockCount(nullptr, nullptr));
  } catch (...) {
    KXVOffscreen::DeleteOffscreen(offscreen_);
    offscreen_ = nullptr;
    throw;
  }
}

void KXVOffscreenBackup::Destroy() {
  states_.SetCount(0);
  if (offscreen_) offscreen_->Destroy();
}

BACKUP_STATE KXVOffscreenBackup::GetState(int x, int y) const {
  const int index = offscreen_ ? offscreen_->GetBlockIndex(x, y) : -1;
  return index >= 0 && index < states_.GetCount() ? states_[index] : kBackupNone;
}

void KXVOffscreenBackup::SetState(int index, BACKUP_STATE state) {
  if (index < 0 || index >= states_.GetCount()) return;
  states_[index] = state;
  if (state == kBackupNone) offscreen_->DestroyBlock(index);
}

void KXVOffscreenBackup::SetState(const KXTArray<tagRECT, 0>& rects, BACKUP_STATE state) {
  if (!offscreen_) return;
  for (const tagRECT& rect : rects) {
    SetState(offscreen_->GetBlockIndex(rect.left, rect.top), state);
  }
}

void KXVOffscreenBackup::SetState(const KXRect* rect, BACKUP_STATE state) {
  if (!offscreen_) return;
  if (rect) {
    KXTArray<tagRECT, 0> rects;
    offscreen_->GetBlockArea(*rect, rects, 1);
    SetState(rects, state);
    return;
  }
  for (int index = 0; index < states_.GetCount(); ++index) SetState(index, state);
}
