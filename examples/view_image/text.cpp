#include "view_image/text.h"

#include <pango/pangocairo.h>

#include <memory>

namespace viewimage {
namespace {

template <auto kFree>
struct Freed {
  template <class T>
  void operator()(T* held) const {
    kFree(held);
  }
};
template <class T, auto kFree>
using Held = std::unique_ptr<T, Freed<kFree>>;

double Channel(QMCOLORREF color, int shift) { return (color >> shift & 255) / 255.0; }

}  // namespace

void DrawText(KXBitImage& image, const KXRect& rect, const std::string& text, int height,
              QMCOLORREF color, Align align) {
  const Held<cairo_surface_t, cairo_surface_destroy> surface(cairo_image_surface_create_for_data(
      image.GetBaseAddress(), CAIRO_FORMAT_RGB24, image.GetWidth(), image.GetHeight(),
      image.GetRowBytes()));
  const Held<cairo_t, cairo_destroy> cairo(cairo_create(surface.get()));
  const Held<cairo_font_options_t, cairo_font_options_destroy> options(cairo_font_options_create());
  cairo_font_options_set_antialias(options.get(), CAIRO_ANTIALIAS_NONE);
  cairo_font_options_set_hint_style(options.get(), CAIRO_HINT_STYLE_FULL);
  cairo_set_font_options(cairo.get(), options.get());

  const Held<PangoLayout, g_object_unref> layout(pango_cairo_create_layout(cairo.get()));
  const Held<PangoFontDescription, pango_font_description_free> font(
      pango_font_description_from_string("sans"));
  pango_font_description_set_absolute_size(font.get(), static_cast<double>(height) * PANGO_SCALE);
  pango_layout_set_font_description(layout.get(), font.get());
  pango_layout_set_text(layout.get(), text.c_str(), -1);
  int width = 0, lineHeight = 0;
  pango_layout_get_pixel_size(layout.get(), &width, &lineHeight);
  if (width > rect.Width() || lineHeight > rect.Height()) return;
  int x = rect.left;
  if (align == Align::kRight) x = rect.right - width;
  if (align == Align::kMiddle) x = rect.left + (rect.Width() - width) / 2;
  cairo_set_source_rgb(cairo.get(), Channel(color, 0), Channel(color, 8), Channel(color, 16));
  cairo_move_to(cairo.get(), x, rect.top + (rect.Height() - lineHeight) / 2);
  pango_cairo_show_layout(cairo.get(), layout.get());
  cairo_surface_flush(surface.get());
}

}  // namespace viewimage
