#pragma once

#include "kxwcmn/platform/export.h"
#include "kxwcmn/platform/types.h"

/// Holds a drawing context: one of the application's, or one that it owns. It belongs to one thread
/// at a time.
class KX_EXPORT KXGdi {
 public:
  KXGdi() = default;
  /// As by `Attach`.
  explicit KXGdi(HDC context, int own = 0) { Attach(context, own); }
  KXGdi(const KXGdi&) = delete;
  KXGdi& operator=(const KXGdi&) = delete;
  virtual ~KXGdi() { Destroy(); }

  /// Gives up what is held, and takes `context`: owned if `own` is set, otherwise it must outlive
  /// its use here. The context that is held already stays, and stays owned if it was.
  void Attach(HDC context, int own = 0);
  /// Hands the context out, which is the caller's if it was owned here.
  HDC Detach();
  /// Frees an owned context, and leaves this without one.
  void Destroy();

  int IsValid() const { return context_ != nullptr; }
  HDC GetHandle() const { return context_; }
  operator HDC() const { return context_; }

 private:
  HDC context_ = nullptr;
  bool isOwned_ = false;
};
