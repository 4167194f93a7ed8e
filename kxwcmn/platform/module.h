#pragma once

#include <string>

#include "kxwcmn/platform/export.h"
#include "kxwcmn/platform/types.h"

// Modules are the program and the libraries that carry texts and resources. A host without resource
// sections has the texts of the library in its own table, and asks the application for all others
// (`HostProcedures::loadString`).

/// Bytes that a module carries. The application makes these records and keeps them.
struct HRSRC__ {
  const void* data;
  DWORD size;
};
using HRSRC = HRSRC__*;

/// The application's instance: what it has set, and the program itself until then.
KX_EXPORT HINSTANCE kxwGetInstanceHandle();
/// Returns the one before.
KX_EXPORT HINSTANCE kxwSetInstanceHandle(HINSTANCE instance);

/// Loads text `id` of a module into a buffer of `size` bytes, cut to whole characters and
/// terminated. Returns its length in bytes; 0, with an empty text, if there is none. `second` means
/// what the module takes it for; the library's own texts have no use for it.
KX_EXPORT int qmLoadString(HINSTANCE module, UINT id, UINT second, char* buffer, int size);

namespace kxw {

/// The running program.
HINSTANCE ProcessModule();
/// This library, the module that has its texts.
KX_EXPORT HINSTANCE LibraryModule();

/// The path of the running program in the library's form; empty if the host does not tell it.
std::string ProgramPath();

enum Language : int {
  kLanguageOfHost = 0,
  kLanguageEnglish = 1033,
  kLanguageJapanese = 1041,
};

/// The language of the library's own texts; the host's user's unless the application selects one.
/// What the process's code page cannot show comes in English.
KX_EXPORT void SetLanguage(int language);
KX_EXPORT int GetLanguage();

/// What the host's user reads: one of the above, and English for all others.
Language LanguageOfHost();

/// Text `id` of the library, in UTF-8; null if there is none.
const char* LibraryText(UINT id, int language);

}  // namespace kxw
