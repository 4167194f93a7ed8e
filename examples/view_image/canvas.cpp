#include "view_image/canvas.h"

namespace viewimage {

Canvas::Canvas(void* pixels, KXSize size, int rowBytes)
    : surface_(cairo_image_surface_create_for_data(
          static_cast<unsigned char*>(pixels), CAIRO_FORMAT_RGB24, size.cx, size.cy, rowBytes)) {
  // A target in an error state says so when the context is made.
  cairo_t* const cairo = cairo_create(surface_);
  gdi_.Attach(kxwCreateContext(cairo), 1);
  cairo_destroy(cairo);
  if (gdi_.IsValid()) return;
  cairo_surface_destroy(surface_);
  kxThrowError(kxw::kErrorNotEnoughMemory);
}

Canvas::~Canvas() {
  gdi_.Destroy();
  cairo_surface_finish(surface_);  // the pixels are gone from here on, whoever holds a reference
  cairo_surface_destroy(surface_);
}

void Canvas::Show(const KXBitImage& image) {
  Show(image, KXRect(0, 0, image.GetWidth(), image.GetHeight()));
}

void Canvas::Show(const KXBitImage& image, const KXRect& part) {
  image.DrawGDI(&gdi_, part.left, part.top, part.Width(), part.Height(), part.left, part.top,
                part.Width(), part.Height());
  cairo_surface_flush(surface_);
}

}  // namespace viewimage
