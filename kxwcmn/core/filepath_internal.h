#pragma once

#include <string>

#include "kxwcmn/core/filepath.h"

namespace kxw {

/// Hands a result out in a buffer of 260 bytes: raises 206 for a longer text, 0x20010008 for no
/// buffer.
void CopyToBuffer(const std::string& text, char* buffer);

/// The text without the backslashes at its end.
std::string WithoutBackDelimiters(const char* path);

/// Raises the code of a failed operation.
void RaiseIfFailed(int code);

}  // namespace kxw
