#pragma once

// What the host's renderer makes of a text, for tests that are built with it.
#if defined(KXWCMN_WITH_TEXT)

#include <pango/pangocairo.h>

#include <string>
#include <vector>

/// The ink of a line of text, with room around it for what leaves the line.
struct HostText {
  static constexpr int kMargin = 40;

  HostText(const std::string& utf8, const char* family, int size, int weight = 400,
           bool isItalic = false, const char* language = nullptr) {
    cairo_font_options_t* const options = cairo_font_options_create();
    cairo_font_options_set_antialias(options, CAIRO_ANTIALIAS_NONE);
    cairo_font_options_set_hint_style(options, CAIRO_HINT_STYLE_FULL);
    cairo_font_options_set_hint_metrics(options, CAIRO_HINT_METRICS_ON);
    PangoFontMap* const fonts = pango_cairo_font_map_get_default();
    PangoContext* const context = pango_font_map_create_context(fonts);
    pango_cairo_context_set_font_options(context, options);
    if (language) pango_context_set_language(context, pango_language_from_string(language));
    PangoLayout* const layout = pango_layout_new(context);
    PangoFontDescription* const font = pango_font_description_from_string(family);
    pango_font_description_set_absolute_size(font, size * PANGO_SCALE);
    pango_font_description_set_weight(font, static_cast<PangoWeight>(weight));
    pango_font_description_set_style(font, isItalic ? PANGO_STYLE_ITALIC : PANGO_STYLE_NORMAL);
    pango_layout_set_font_description(layout, font);
    pango_layout_set_single_paragraph_mode(layout, TRUE);
    pango_layout_set_text(layout, utf8.data(), static_cast<int>(utf8.size()));
    pango_layout_get_pixel_size(layout, &width, &height);

    columns = width + 2 * kMargin;
    rows = height + 2 * kMargin;
    cairo_surface_t* const surface = cairo_image_surface_create(CAIRO_FORMAT_A8, columns, rows);
    cairo_t* const cairo = cairo_create(surface);
    cairo_set_antialias(cairo, CAIRO_ANTIALIAS_NONE);
    cairo_move_to(cairo, kMargin, kMargin);
    pango_cairo_show_layout(cairo, layout);
    cairo_surface_flush(surface);
    const unsigned char* row = cairo_image_surface_get_data(surface);
    for (int y = 0; y < rows; ++y, row += cairo_image_surface_get_stride(surface)) {
      ink.insert(ink.end(), row, row + columns);
    }
    cairo_destroy(cairo);
    cairo_surface_destroy(surface);
    pango_font_description_free(font);
    g_object_unref(layout);
    g_object_unref(context);
    cairo_font_options_destroy(options);
  }

  /// Counted from the line's top left corner.
  bool IsInk(int x, int y) const {
    x += kMargin, y += kMargin;
    return x >= 0 && x < columns && y >= 0 && y < rows &&
           ink[static_cast<std::size_t>(y * columns + x)] == 255;
  }

  int width = 0, height = 0;  // the line's
  int columns = 0, rows = 0;
  std::vector<unsigned char> ink;
};

#endif
