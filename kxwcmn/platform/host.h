#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "kxwcmn/platform/export.h"
#include "kxwcmn/platform/types.h"

namespace kxw {

/// What the library asks of an application's windows, and does without where it is missing.
/// Rectangles are in pixels of the screen.
struct WindowProcedures {
  /// The windows of the thread that `window` belongs to, children of others excepted.
  std::function<std::vector<HWND>(HWND window)> windowsOfThread;
  /// The window that a child lies in or that another window belongs to; null if there is none.
  std::function<HWND(HWND window)> parent;
  std::function<bool(HWND window)> isChild;
  /// Whether it is shown and not minimised.
  std::function<bool(HWND window)> isOpen;
  std::function<void(HWND window, bool enabled)> enable;
  std::function<tagRECT(HWND window)> frame;
  /// The area inside the frame.
  std::function<tagRECT(HWND window)> clientArea;
  /// What the monitor of a window has free for windows; of a null window, the first monitor.
  std::function<tagRECT(HWND window)> workArea;
  /// Moves a window: a child within its parent's client area, others on the screen. `flags` are
  /// `PositionFlag` bits.
  std::function<void(HWND window, int x, int y, UINT flags)> setPosition;
  std::function<void(HWND window, int index, std::intptr_t value)> setLong;
  std::function<void(HWND window, UINT message, std::uintptr_t first, std::intptr_t second)> send;
};

enum PositionFlag : UINT { kKeepSize = 1, kKeepOrder = 4, kNotActivated = 16 };

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

  /// Shows a message in a box of a `MessageStyle` over `owner`, which may be null, and returns the
  /// `MessageButton` pressed. Texts are in the process's code page. Missing: the message goes to
  /// standard error, and the first button is the answer.
  std::function<int(HWND owner, const char* text, const char* title, UINT style)> messageBox;

  WindowProcedures windows;
};

/// The style of a message box: one of the buttons and one of the icons.
enum MessageStyle : UINT {
  kButtonsOk = 0,
  kButtonsOkCancel = 1,
  kButtonsYesNoCancel = 3,
  kButtonsYesNo = 4,
  kIconStop = 16,
  kIconQuestion = 32,
  kIconExclamation = 48,
  kIconInformation = 64,
};

/// The buttons of a message box.
enum MessageButton : int { kButtonOk = 1, kButtonCancel = 2, kButtonYes = 6, kButtonNo = 7 };

/// The kinds of message that the library sends or has dispatched.
enum HostMessage : UINT {
  kMessagePaint = 15,
  kMessageEraseBackground = 20,
  kMessageFrameActivate = 134,
};

/// Sets the procedures of the process: once at start-up, before any work. Default-made procedures
/// make the library headless again.
KX_EXPORT void SetHostProcedures(const HostProcedures& procedures);

KX_EXPORT const HostProcedures& GetHostProcedures();

/// Shows a message as told at `HostProcedures::messageBox`.
int ShowMessage(HWND owner, const char* text, const char* title, UINT style);

}  // namespace kxw

/// Asks the host whether the running operation is to stop; non-zero for stop.
KX_EXPORT int qmAbort();

/// The application's main window, and the window in it that holds its child windows. Set once at
/// start-up; null until then.
KX_EXPORT void kxwSetMainWnd(HWND main, HWND client);
KX_EXPORT HWND kxwGetMainWnd();
KX_EXPORT HWND kxwGetClientWnd();
/// Whether `window` lies in the window of the child windows.
KX_EXPORT int kxwIsMDIChildWnd(HWND window);
