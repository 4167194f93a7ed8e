#pragma once

#include <functional>
#include <string>

#include "kxwcmn/platform/export.h"
#include "kxwcmn/platform/types.h"

namespace kxw {

/// What only an application with a desktop can supply. Each procedure may be missing; the library
/// then does without, as told beside it. They are called on the thread whose operation asks.
struct HostProcedures {
  /// Whether the user wants the running operation to stop; non-zero for stop. Missing: 0.
  std::function<int()> abort;

  /// Dispatches every waiting message of this kind. Missing: there are none.
  std::function<void(UINT message)> dispatchMessages;

  /// Text `id` of a module, in the process's code page; false if it has none. `second` is what the
  /// caller of `qmLoadString` passed. Missing: only the library itself has texts.
  std::function<bool(HINSTANCE module, UINT id, UINT second, std::string* text)> loadString;
};

/// The kinds of message that the library has dispatched.
enum HostMessage : UINT { kMessagePaint = 15, kMessageEraseBackground = 20 };

/// Sets the procedures of the process: once at start-up, before any work. Default-made procedures
/// make the library headless again.
KX_EXPORT void SetHostProcedures(const HostProcedures& procedures);

KX_EXPORT const HostProcedures& GetHostProcedures();

}  // namespace kxw

/// Asks the host whether the running operation is to stop; non-zero for stop.
KX_EXPORT int qmAbort();
