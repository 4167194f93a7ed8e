#include "kxwcmn/platform/font_internal.h"

#include <cstring>
#include <new>

#include "kxwcmn/platform/error.h"
#include "kxwcmn/platform/graphics.h"

namespace {

constexpr int kMaxHeight = 4096;  // so that a glyph's pixels stay a few MiB
constexpr int kMaxWeight = 1000;
constexpr int kNormalWeight = 400;
constexpr std::size_t kMaxFamily = 1000;

}  // namespace

HFONT kxwCreateFont(const char* family, int height, int weight, int slant) {
  if (!family) family = "";
  const bool isValid = height >= 1 && height <= kMaxHeight && weight >= 0 && weight <= kMaxWeight &&
                       std::strlen(family) <= kMaxFamily;
  if (!isValid) {
    qmSetLastError(kxw::kErrorInvalidParameter);
    return nullptr;
  }
  try {
    HFONT const font =
        new HFONT__{family, height, weight == 0 ? kNormalWeight : weight, slant != 0};
    qmSetLastError(kxw::kErrorNone);
    return font;
  } catch (const std::bad_alloc&) {
    qmSetLastError(kxw::kErrorNotEnoughMemory);
    return nullptr;
  }
}

void kxwFreeFont(HFONT font) { delete font; }
