#pragma once

#include "kxwcmn/platform/export.h"
#include "kxwcmn/platform/types.h"

// The count of the modal dialogs that are up, and what the first and the last of them do to the
// application's other windows, through the procedures of `HostProcedures::windows`. For the thread
// of the user interface.

/// Tells that a modal dialog comes up. The first one disables the windows that belong to the main
/// window, `window` excepted. A `parameter` other than 0 is stored in the window's long at index 8.
/// The window, if there is one, is centred: a child in its parent, others over their owner, or in
/// the main window's monitor where the owner is not to be seen; never outside the monitor.
KX_EXPORT void kxwModalDlgInitialize(HWND window, long parameter);

/// Tells that one goes. The last one enables those windows again, `window` excepted.
KX_EXPORT void kxwModalDlgDestroy(HWND window);

KX_EXPORT int kxwIsModalDlgVisible();

/// Changes the count alone: up for anything but 0, down for 0.
KX_EXPORT void kxwIncrementShowDlgCount(int up);
