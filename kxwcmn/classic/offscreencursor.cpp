#include "kxwcmn/classic/offscreencursor.h"

#include "kxwcmn/classic/detail/depths.h"

KXOffscreenCursor::~KXOffscreenCursor() = default;

BYTE KXOffscreenCursor::Get1BitPixel() const {
  return kxw::WithClassicDepth(image_->GetBitCount(), [at = &At(0), mask = Mask()](auto depth) {
    return depth.To1(depth.Load(at, mask));
  });
}

BYTE KXOffscreenCursor::Get8BitPixel() const {
  return kxw::WithClassicDepth(image_->GetBitCount(), [at = &At(0), mask = Mask()](auto depth) {
    return depth.To8(depth.Load(at, mask));
  });
}

DWORD KXOffscreenCursor::Get24BitPixel() const {
  return kxw::WithClassicDepth(image_->GetBitCount(), [at = &At(0), mask = Mask()](auto depth) {
    return depth.To24(depth.Load(at, mask));
  });
}

DWORD KXOffscreenCursor::Get32BitPixel() const {
  return kxw::WithClassicDepth(image_->GetBitCount(), [at = &At(0), mask = Mask()](auto depth) {
    return depth.To32(depth.Load(at, mask));
  });
}

void KXOffscreenCursor::Set1BitPixel(const BYTE& value) {
  kxw::WithClassicDepth(image_->GetBitCount(), [&, at = &At(0)](auto depth) {
    depth.Store(at, Mask(), depth.From1(value));
  });
}

void KXOffscreenCursor::Set8BitPixel(const BYTE& value) {
  kxw::WithClassicDepth(image_->GetBitCount(), [&, at = &At(0)](auto depth) {
    depth.Store(at, Mask(), depth.From8(value));
  });
}

void KXOffscreenCursor::Set24BitPixel(const DWORD& color) {
  kxw::WithClassicDepth(image_->GetBitCount(), [&, at = &At(0)](auto depth) {
    depth.Store(at, Mask(), depth.From24(color));
  });
}

void KXOffscreenCursor::Set32BitPixel(const DWORD& color) {
  kxw::WithClassicDepth(image_->GetBitCount(), [&, at = &At(0)](auto depth) {
    depth.Store(at, Mask(), depth.From32(color));
  });
}

void KXOffscreenCursor::GetRGBAReference(BYTE*& r, BYTE*& g, BYTE*& b, BYTE*& a) {
  const int size = image_->GetPixelSize();
  if (size < 3) return;
  r = &GetRReference();
  g = &GetGReference();
  b = &GetBReference();
  if (size == 4) a = &GetAReference();
}

// --- Single pixels of an image -------------------------------------------------------------------

BYTE KXOffscreen::Get1BitPixel(int x, int y) {
  return KXOffscreenCursor(this, x, y).Get1BitPixel();
}

BYTE KXOffscreen::Get8BitPixel(int x, int y) {
  return KXOffscreenCursor(this, x, y).Get8BitPixel();
}

DWORD KXOffscreen::Get24BitPixel(int x, int y) {
  return KXOffscreenCursor(this, x, y).Get24BitPixel();
}

DWORD KXOffscreen::Get32BitPixel(int x, int y) {
  return KXOffscreenCursor(this, x, y).Get32BitPixel();
}

void KXOffscreen::Set1BitPixel(const BYTE& value, int x, int y) {
  KXOffscreenCursor(this, x, y).Set1BitPixel(value);
}

void KXOffscreen::Set8BitPixel(const BYTE& value, int x, int y) {
  KXOffscreenCursor(this, x, y).Set8BitPixel(value);
}

void KXOffscreen::Set24BitPixel(const DWORD& color, int x, int y) {
  KXOffscreenCursor(this, x, y).Set24BitPixel(color);
}

void KXOffscreen::Set32BitPixel(const DWORD& color, int x, int y) {
  KXOffscreenCursor(this, x, y).Set32BitPixel(color);
}
