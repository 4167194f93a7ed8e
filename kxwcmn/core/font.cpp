#include "kxwcmn/core/font.h"

#include <utility>

#include "kxwcmn/core/exception.h"
#include "kxwcmn/platform/error.h"
#include "kxwcmn/platform/graphics.h"

void KXFont::Create(const char* family, int height, int weight, int slant) {
  HFONT const font = kxwCreateFont(family, height, weight, slant);
  if (!font) {
    const int code = qmGetLastError();
    kxThrowError(code == kxw::kErrorInvalidParameter ? int{kxw::kFailureBadArgument} : code);
  }
  Attach(font, 1);
}

void KXFont::Attach(HFONT font, int own) {
  if (font != font_) Destroy();
  font_ = font;
  isOwned_ = font && (isOwned_ || own);
}

HFONT KXFont::Detach() {
  isOwned_ = false;
  return std::exchange(font_, nullptr);
}

void KXFont::Destroy() {
  if (isOwned_) kxwFreeFont(font_);
  Detach();
}
