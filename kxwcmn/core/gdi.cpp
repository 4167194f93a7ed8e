#include "kxwcmn/core/gdi.h"

#include <utility>

#include "kxwcmn/platform/graphics.h"

void KXGdi::Attach(HDC context, int own) {
  if (context != context_) Destroy();
  context_ = context;
  isOwned_ = context && (isOwned_ || own);
}

HDC KXGdi::Detach() {
  isOwned_ = false;
  return std::exchange(context_, nullptr);
}

void KXGdi::Destroy() {
  if (isOwned_) kxwFreeContext(context_);
  Detach();
}
