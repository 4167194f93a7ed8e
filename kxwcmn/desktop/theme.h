#pragma once

#include "kxwcmn/platform/export.h"
#include "kxwcmn/platform/host.h"
#include "kxwcmn/platform/types.h"

// The desktop's own look, through the application's procedures (`HostProcedures::theme`). An
// application whose desktop has none draws by itself.

/// Whether frames of windows are composed and may be seen through; 0 where nobody tells.
KX_EXPORT int kxwIsEnableAeroGlass();
/// Has a window's frame drawn plainly. Returns 1, or 0 where the desktop cannot.
KX_EXPORT int kxwDisableAeroGlass(HWND window);

/// Whether the four operations below have anything behind them.
KX_EXPORT int kxwIsEnableThemeAPI();

/// The look of the first known of some classes, whose names stand in UTF-16 with semicolons between
/// them; null if there is none. It is given back by `kxwCloseThemeData`.
KX_EXPORT HTHEME kxwOpenThemeData(HWND window, const unsigned short* classes);

// These return the platform's codes: 0 for success, negative for a failure; 0x80004001, as a
// negative number, where nobody supplies them.

KX_EXPORT int kxwCloseThemeData(HTHEME theme);
/// `clip` may be null.
KX_EXPORT int kxwDrawThemeBackground(HTHEME theme, HDC context, int part, int state,
                                     const tagRECT* rect, const tagRECT* clip);
KX_EXPORT int kxwGetThemeColor(HTHEME theme, int part, int state, int property, QMCOLORREF* color);

/// Whether the desktop's common controls are of version 6 or later; 0 where it has none.
KX_EXPORT int kxwIsUseCommCtlVersion60();
