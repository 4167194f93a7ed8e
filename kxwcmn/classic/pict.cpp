#include "kxwcmn/classic/pict.h"

#include "kxwcmn/core/exception.h"
#include "kxwcmn/platform/bitmap_internal.h"
#include "kxwcmn/platform/error.h"
#include "kxwcmn/platform/module.h"

KXPict& KXPict::operator=(const KXPict& other) { return *this = other.picture_; }

KXPict& KXPict::operator=(HBITMAP picture) {
  if (picture != picture_) Attach(picture, 0);  // what is owned already stays so
  return *this;
}

int KXPict::Load(int id, HINSTANCE module) {
  Destroy();
  return Attach(qmLoadPictResource(id, module ? module : kxwGetInstanceHandle()), 1);
}

int KXPict::Attach(HBITMAP picture, int own) {
  if (picture != picture_) Destroy();
  tagRECT size = {};
  const int result = qmGetPictRect(picture, &size);
  picture_ = picture;
  isOwned_ = picture && own;
  width_ = size.right;
  height_ = size.bottom;
  return result;
}

HBITMAP KXPict::Detach() {
  HBITMAP const picture = picture_;
  Clear();
  return picture;
}

void KXPict::Destroy() {
  if (isOwned_) qmDeleteHPICT(picture_);
  Clear();
}

void KXPict::Clear() {
  picture_ = nullptr;
  isOwned_ = false;
  width_ = height_ = 0;
}

void KXPict::ReplaceColor(QMCOLORREF from, QMCOLORREF to) {
  if (picture_ && !kxw::ReplaceColor(picture_, from, to)) kxThrowError(kxw::kErrorNotEnoughMemory);
}
