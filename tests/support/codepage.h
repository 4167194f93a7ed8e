#pragma once

#include "kxwcmn/platform/text.h"

/// Selects a code page while it lives.
struct ScopedCodePage {
  explicit ScopedCodePage(int page) { kxw::SetCodePage(page); }
  ~ScopedCodePage() { kxw::SetCodePage(kxw::kCodePageUtf8); }
};
