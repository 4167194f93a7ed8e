#pragma once

#include "kxwcmn/platform/export.h"

/// The polling of long operations for the user's wish to stop. Used on the thread that does the
/// work, which in an application with windows is the one that owns them.
class KX_EXPORT KXAbort {
 public:
  /// Asked at every check: 0 to go on, 1 to stop, 2 while nothing is decided yet.
  using Callback = int (*)();

  /// With `raiseOnAbort` a wish to stop is raised as KXException with code 0x20010004.
  KXAbort(int raiseOnAbort = 1) : raiseOnAbort_(raiseOnAbort) {}

  /// Asks the callback, or the host where there is none. While the answer is 2, waiting paint
  /// messages are dispatched and it asks again, so that the screen stays alive. Returns 1 to stop,
  /// 0 to go on.
  int CheckAbort();

  /// Sets the process's callback: once, at start-up. Null removes it.
  static void SetCallback(Callback callback);

 protected:
  /// The answer to one question: the callback's as it stands, or 1 for any wish of the host to
  /// stop.
  int InternalAbort();

 private:
  static Callback s_pAbort;

  int raiseOnAbort_;
};
