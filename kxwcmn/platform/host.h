#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "kxwcmn/platform/export.h"
#include "kxwcmn/platform/types.h"

struct HRSRC__;

/// The look of a class of windows, as the application's procedures make it.
using HTHEME = struct HTHEME__*;

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
  /// Sends a message and returns the window's answer.
  std::function<std::intptr_t(HWND window, UINT message, std::uintptr_t first,
                              std::intptr_t second)>
      send;
  /// All windows inside a window, those inside others included.
  std::function<std::vector<HWND>(HWND window)> childrenOf;
  /// The name of the class that a window was made of, "BUTTON" for one; its case does not count.
  std::function<std::string(HWND window)> className;
  std::function<DWORD(HWND window)> style;
  /// Moves a child and changes its size. `place` is within its parent's client area.
  std::function<void(HWND window, const tagRECT& place)> setPlace;
};

enum PositionFlag : UINT { kKeepSize = 1, kKeepOrder = 4, kNotActivated = 16 };

/// What the library asks of the application's screen.
struct DisplayProcedures {
  /// The screen's dots per inch, across and down. Missing: 96 each way.
  std::function<tagSIZE()> dotsPerInch;
  /// A measure of the desktop by its number, as `SystemMetric`. Missing: 0.
  std::function<int(int index)> metric;
};

/// The measures of the desktop, in pixels, that dense screens change.
enum SystemMetric : int {
  kMetricScrollBarWidth = 2,
  kMetricScrollBarHeight = 3,
  kMetricIconWidth = 11,
  kMetricIconHeight = 12,
  kMetricSmallIconWidth = 49,
  kMetricSmallIconHeight = 50,
};

/// What handles a dialog's messages: the window, the message and its two values.
using DialogProcedure = std::intptr_t (*)(HWND dialog, UINT message, std::uintptr_t first,
                                          std::intptr_t second);

/// A dialog that is to come up.
struct DialogRequest {
  HINSTANCE module;
  /// The template's name, as the caller has given it: also a number in the place of an address.
  const char* name;
  /// The template to take instead of the one of that name, until the call returns; null for none.
  const void* bytes;
  std::size_t size;
  HWND parent;
  DialogProcedure procedure;
  long parameter;
};

struct DialogProcedures {
  /// The bytes of a module's dialog template; null if it has none of that name.
  std::function<HRSRC__*(HINSTANCE module, const char* name)> findTemplate;
  /// Shows a dialog, and returns with its result when it has ended; -1 if it could not be shown.
  std::function<std::intptr_t(const DialogRequest& request)> runModal;
  /// Makes a dialog that stays beside the others.
  std::function<HWND(const DialogRequest& request)> createModeless;
};

/// What draws parts of windows in the desktop's own look. Codes are the platform's: 0 for success,
/// negative for a failure.
struct ThemeProcedures {
  /// Whether frames of windows are composed, and may be seen through.
  std::function<bool()> isComposed;
  /// Has a window's frame drawn plainly; whether that was done.
  std::function<bool(HWND window)> drawFramePlain;
  /// The look of the first of some classes, in UTF-16 with semicolons between them; null if none.
  std::function<HTHEME(HWND window, const unsigned short* classes)> open;
  std::function<int(HTHEME theme)> close;
  std::function<int(HTHEME theme, HDC context, int part, int state, const tagRECT* rect,
                    const tagRECT* clip)>
      drawBackground;
  std::function<int(HTHEME theme, int part, int state, int property, QMCOLORREF* color)> color;
  /// The version of the desktop's common controls, such as "6.10".
  std::function<std::string()> controlsVersion;
};

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

  /// A picture of a module by its number, which the caller deletes; null if there is none.
  /// Missing: there are none.
  std::function<HBITMAP(HINSTANCE module, int id)> loadPicture;

  WindowProcedures windows;
  DisplayProcedures display;
  DialogProcedures dialogs;
  ThemeProcedures theme;
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

/// The answer to `kMessageHitTest`, whose second value is a point on the screen with x in its low
/// 16 bits, for a point in the client area.
inline constexpr std::intptr_t kHitClient = 1;

/// The kinds of message that the library sends or has dispatched.
enum HostMessage : UINT {
  kMessagePaint = 15,
  kMessageEraseBackground = 20,
  kMessageSetFont = 48,
  kMessageHitTest = 132,
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
