#include "kxwcmn/platform/textline_internal.h"

#include "kxwcmn/platform/error.h"

#if defined(KXWCMN_WITH_TEXT)
#include <pango/pangocairo.h>

#include <algorithm>
#include <cstring>
#include <new>
#include <string>
#include <string_view>
#include <utility>

#include "kxwcmn/platform/font_internal.h"
#include "kxwcmn/platform/posix/cairo_internal.h"
#include "kxwcmn/platform/text.h"
#endif

namespace kxw {

#if defined(KXWCMN_WITH_TEXT)

namespace {

// A part of a line that is drawn at a time: 1 MiB.
constexpr int kTileWidth = 2048;
constexpr int kTileHeight = 128;

using LayoutOwner = std::unique_ptr<PangoLayout, Freer<g_object_unref>>;

bool IsAscii(const std::string& text) {
  return std::all_of(text.begin(), text.end(),
                     [](char byte) { return static_cast<unsigned char>(byte) < 0x80; });
}

std::string Utf8Of(const std::string& text) { return IsAscii(text) ? text : ToUtf8Lossy(text); }

/// Pango has a sign for what ends a paragraph, which is another in each font.
std::string WithBlanksForBreaks(std::string utf8) {
  constexpr std::string_view kParagraphEnd = "\xE2\x80\xA9";
  std::replace(utf8.begin(), utf8.end(), '\r', ' ');
  std::replace(utf8.begin(), utf8.end(), '\n', ' ');
  std::string result;
  std::size_t from = 0;
  for (std::size_t at; (at = utf8.find(kParagraphEnd, from)) != utf8.npos;
       from = at + kParagraphEnd.size()) {
    result.append(utf8, from, at - from) += ' ';
  }
  return result.append(utf8, from);
}

/// What a thread keeps from one text to the next.
class Shaper {
 public:
  static Shaper& OfThread() {
    thread_local Shaper shaper;
    return shaper;
  }

  LayoutOwner NewLayout(const HFONT__& font) {
    SelectLanguage();
    Select(font);
    LayoutOwner layout(pango_layout_new(context_));
    pango_layout_set_single_paragraph_mode(layout.get(), TRUE);
    pango_layout_set_font_description(layout.get(), description_);
    return layout;
  }

 private:
  Shaper() : context_(pango_font_map_create_context(pango_cairo_font_map_get_default())) {
    cairo_font_options_t* const options = cairo_font_options_create();
    cairo_font_options_set_antialias(options, CAIRO_ANTIALIAS_NONE);
    cairo_font_options_set_hint_style(options, CAIRO_HINT_STYLE_FULL);
    cairo_font_options_set_hint_metrics(options, CAIRO_HINT_METRICS_ON);
    pango_cairo_context_set_font_options(context_, options);
    cairo_font_options_destroy(options);
  }
  ~Shaper() {
    pango_font_description_free(description_);
    g_object_unref(context_);
  }
  Shaper(const Shaper&) = delete;

  void Select(const HFONT__& font) {
    if (description_ && font == font_) return;
    // What raises comes first, so that the two below stay in step.
    HFONT__ selected = font;
    const std::string family = font.family.empty() ? "Sans" : Utf8Of(font.family);
    pango_font_description_free(description_);
    description_ = pango_font_description_new();
    pango_font_description_set_family(description_, family.c_str());
    pango_font_description_set_absolute_size(description_, double{PANGO_SCALE} * font.height);
    pango_font_description_set_weight(description_, static_cast<PangoWeight>(font.weight));
    pango_font_description_set_style(description_,
                                     font.isItalic ? PANGO_STYLE_ITALIC : PANGO_STYLE_NORMAL);
    font_ = std::move(selected);
  }

  // The same characters look different in Chinese and Japanese: a Japanese document says which.
  void SelectLanguage() {
    if (codePage_ == GetCodePage()) return;
    codePage_ = GetCodePage();
    pango_context_set_language(context_, codePage_ == kCodePageJapanese
                                             ? pango_language_from_string("ja")
                                             : pango_language_get_default());
    // The same bytes name another family.
    pango_font_description_free(description_);
    description_ = nullptr;
  }

  PangoContext* context_;
  PangoFontDescription* description_ = nullptr;
  HFONT__ font_{};
  int codePage_ = 0;
};

/// The sum of a line's advances. Pango's own may pass 32 bits, for it counts 1/1024 of a pixel.
i64 WidthOf(PangoLayoutLine* line) {
  i64 width = 0;
  for (const GSList* run = line ? line->runs : nullptr; run; run = run->next) {
    const PangoGlyphString* const glyphs = static_cast<PangoGlyphItem*>(run->data)->glyphs;
    for (int i = 0; i < glyphs->num_glyphs; ++i) width += glyphs->glyphs[i].geometry.width;
  }
  return (width + PANGO_SCALE - 1) / PANGO_SCALE;
}

}  // namespace

struct TextLine::Layout {
  LayoutOwner layout;
};

TextLine::TextLine(const char* text, HFONT font) : layout_(std::make_unique<Layout>()) {
  const HFONT__ system{{}, kSystemFontHeight, PANGO_WEIGHT_NORMAL, false};
  const HFONT__& used = font ? *font : system;
  // A byte stands for about an em at most.
  const auto limit =
      static_cast<std::size_t>(std::clamp(kMaxWidth / used.height, 256, int{kMaxBytes}));
  const std::size_t length = strnlen(text, limit + 1);
  isTooLong_ = length > limit;
  const std::string utf8 = WithBlanksForBreaks(Utf8Of({text, std::min(length, limit)}));
  layout_->layout = Shaper::OfThread().NewLayout(used);
  pango_layout_set_text(layout_->layout.get(), utf8.data(), static_cast<int>(utf8.size()));
  pango_layout_get_pixel_size(layout_->layout.get(), nullptr, &height_);
  width_ = WidthOf(pango_layout_get_line_readonly(layout_->layout.get(), 0));
  if (width_ > kMaxWidth) isTooLong_ = true;
}

int TextLine::Code() const { return kErrorNone; }

tagRECT TextLine::Ink() const {
  PangoRectangle ink;
  pango_layout_get_pixel_extents(layout_->layout.get(), &ink, nullptr);
  if (ink.width <= 0 || ink.height <= 0) return {};
  // A glyph that is drawn as a shape may round otherwise than its size.
  return {ink.x - 1, ink.y - 1, ink.x + ink.width + 1, ink.y + ink.height + 1};
}

int TextLine::ForEachInk(const tagRECT& part, const Run& run) const {
  if (isTooLong_ || part.left >= part.right || part.top >= part.bottom) return kErrorNone;
  const int width = std::min(part.right - part.left, kTileWidth);
  const int height = std::min(part.bottom - part.top, kTileHeight);
  const SurfaceOwner surface(cairo_image_surface_create(CAIRO_FORMAT_RGB24, width, height));
  const CairoOwner cairo(cairo_create(surface.get()));
  cairo_set_antialias(cairo.get(),
                      CAIRO_ANTIALIAS_NONE);  // of glyphs that are large enough to be shapes
  for (int top = part.top; top < part.bottom; top += height) {
    for (int left = part.left; left < part.right; left += width) {
      cairo_identity_matrix(cairo.get());
      cairo_set_source_rgb(cairo.get(), 1, 1, 1);
      cairo_paint(cairo.get());
      cairo_set_source_rgb(cairo.get(), 0, 0, 0);
      cairo_translate(cairo.get(), -left, -top);
      cairo_move_to(cairo.get(), 0, 0);
      pango_cairo_show_layout(cairo.get(), layout_->layout.get());
      cairo_surface_flush(surface.get());
      const cairo_status_t status = cairo_status(cairo.get());
      if (status == CAIRO_STATUS_NO_MEMORY) return kErrorNotEnoughMemory;
      if (status != CAIRO_STATUS_SUCCESS) return kErrorInvalidHandle;

      const BYTE* row = cairo_image_surface_get_data(surface.get());
      const int columns = std::min(part.right - left, width);
      for (int y = top; y < std::min(top + height, part.bottom); ++y) {
        const auto* const pixels = reinterpret_cast<const DWORD*>(row);
        const auto isInk = [&](int x) { return (pixels[x] & 0xFFFFFF) == 0; };
        for (int x = 0; x < columns; ++x) {
          if (!isInk(x)) continue;
          const int first = x;
          while (x < columns && isInk(x)) ++x;
          run(left + first, y, x - first);
        }
        row += cairo_image_surface_get_stride(surface.get());
      }
    }
  }
  return kErrorNone;
}

#else

struct TextLine::Layout {};

TextLine::TextLine(const char*, HFONT) {}

int TextLine::Code() const { return kErrorNotSupported; }

tagRECT TextLine::Ink() const { return {}; }

int TextLine::ForEachInk(const tagRECT&, const Run&) const { return kErrorNotSupported; }

#endif

TextLine::~TextLine() = default;

}  // namespace kxw
