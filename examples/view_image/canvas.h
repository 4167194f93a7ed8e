#pragma once

#include <cairo.h>

#include "kxwcmn/kxwcmn.h"

namespace viewimage {

/// A drawing context of the library on rows of pixels that somebody else holds, a screen's or a
/// picture's: blue, green, red and a byte that means nothing.
class Canvas {
 public:
  /// Raises 8 if there is no memory.
  Canvas(void* pixels, KXSize size, int rowBytes);
  Canvas(const Canvas&) = delete;
  Canvas& operator=(const Canvas&) = delete;
  ~Canvas();

  /// Draws an image, or a part of it, in its own size and at its own place.
  void Show(const KXBitImage& image);
  void Show(const KXBitImage& image, const KXRect& part);

 private:
  cairo_surface_t* surface_;
  KXGdi gdi_;
};

}  // namespace viewimage
