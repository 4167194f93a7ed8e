#pragma once

#include "kxwcmn/platform/text.h"

/// The character of two bytes in code page 932 whose second byte is the backslash.
#define PAIR "\x83\x5C"

/// Selects a code page while it lives.
struct ScopedCodePage {
  explicit ScopedCodePage(int page) { kxw::SetCodePage(page); }
  ~ScopedCodePage() { kxw::SetCodePage(kxw::kCodePageUtf8); }
};
