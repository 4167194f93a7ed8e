#pragma once

#include "kxwcmn/platform/export.h"
#include "kxwcmn/platform/host.h"
#include "kxwcmn/platform/types.h"

// Dialogs of the application, shown through its own procedures (`HostProcedures::dialogs`) in the
// right size on dense screens. For the thread of the user interface.

/// Shows a dialog, and returns its result when it has ended; -1 if it cannot be shown.
///
/// `name` names a template of `module` for the application's procedures, and is passed on to them
/// as it stands. On a plain screen that is all. On a dense one (`CHiDpiHelper`), where the system
/// scales the fonts of dialogs by itself, the template is found first, which gives -1 if there is
/// none, and a copy of it goes to the procedures, whose font has its points unscaled
/// (`ConvDialogFontPoint`). They stand behind the first word of 0 among 256 from the place on where
/// a template without menu and class has its title; a template without such a word keeps its font.
/// Raises 8 if there is no memory for the copy.
KX_EXPORT std::intptr_t kxwDoModalDialog(HINSTANCE module, const char* name, HWND parent,
                                         kxw::DialogProcedure procedure, long parameter);

/// The same for a dialog that stays beside others: returns its window; -1 as a handle where
/// `kxwDoModalDialog` returns -1.
KX_EXPORT HWND kxwCreateModelessDialog(HINSTANCE module, const char* name, HWND parent,
                                       kxw::DialogProcedure procedure, long parameter);

/// Sets what gives the font of dialogs on dense screens, which stays the application's; null for
/// none.
KX_EXPORT void kxwSetQueryHDDialogUIFontProc(HFONT (*procedure)());
/// That font; null if there is none.
KX_EXPORT HFONT kxwQueryHDDialogUIFont();

/// Gives all windows inside a dialog on a dense screen that font, if there is one. Check boxes and
/// radio buttons make room for their mark, which the system draws in the screen's density: each
/// grows to the right by as much as the mark of 13 pixels does, and about its middle up to the
/// mark's height.
KX_EXPORT void kxwDlgInitialize(HWND dialog);
