#pragma once

#include <mutex>

#include "kxwcmn/platform/export.h"

/// A lock that its thread may enter again. Until `Initialize` there is no lock, and entering and
/// leaving do nothing. `Initialize` and `Delete` are called while no other thread uses the section.
class KX_EXPORT KXCriticalSection {
 public:
  KXCriticalSection() = default;
  KXCriticalSection(const KXCriticalSection&) = delete;
  KXCriticalSection& operator=(const KXCriticalSection&) = delete;
  virtual ~KXCriticalSection() { Delete(); }

  /// Makes the lock; one that is there already stays.
  void Initialize() { lock_ = &record_; }
  /// Takes the lock away. No thread may be inside.
  void Delete() { lock_ = nullptr; }

  void EnterSection() {
    if (lock_) lock_->lock();
  }
  void LeaveSection() {
    if (lock_) lock_->unlock();
  }

 private:
  std::recursive_mutex* lock_ = nullptr;  // null: absent
  std::recursive_mutex record_;
};

/// Leaves the section that it has entered at the end of its scope, exactly once.
class KX_EXPORT KXCriticalSectionAutoLeave {
 public:
  KXCriticalSectionAutoLeave() = default;
  /// Null does nothing.
  KXCriticalSectionAutoLeave(KXCriticalSection* section) { Enter(section); }
  KXCriticalSectionAutoLeave(const KXCriticalSectionAutoLeave&) = delete;
  KXCriticalSectionAutoLeave& operator=(const KXCriticalSectionAutoLeave&) = delete;
  virtual ~KXCriticalSectionAutoLeave() { Leave(); }

  /// Enters `section`, which must outlive its leaving; null does nothing. A section that is held
  /// already is left first.
  void Enter(KXCriticalSection* section) {
    if (!section) return;
    Leave();
    section->EnterSection();
    section_ = section;
  }

  void Leave() {
    if (section_) section_->LeaveSection();
    section_ = nullptr;
  }

 private:
  KXCriticalSection* section_ = nullptr;
};
