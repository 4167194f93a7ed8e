// Labels on a picture beside the host's renderer alone, which draws them on a picture of its own.
#ifdef KXWCMN_WITH_TEXT
#include <pango/pangocairo.h>

#include <string>
#include <vector>

#include "bench/pictures.h"
#include "bench/table.h"
#include "kxwcmn/classic/bitimage.h"
#include "kxwcmn/core/font.h"
#include "kxwcmn/offscreen/voffscreen.h"

namespace {

using benchmark::State;

constexpr int kCount = 1000, kColumns = 10, kWidth = 128, kHeight = 24;
constexpr int kPictureWidth = kColumns * kWidth, kPictureHeight = kCount / kColumns * kHeight;
constexpr int kFontHeight = 14;

std::string Label(int i) { return "Cut " + std::to_string(i) + " / key"; }

tagRECT PlaceOf(int i) {
  const int x = i % kColumns * kWidth, y = i / kColumns * kHeight;
  return {x, y, x + kWidth, y + kHeight};
}

int CountInk(const BYTE* pixels, std::size_t count, int step) {
  int ink = 0;
  for (std::size_t i = 0; i < count; ++i) ink += pixels[i * static_cast<std::size_t>(step)] != 0;
  return ink;
}

class HostLabels {
 public:
  HostLabels()
      : surface_(cairo_image_surface_create(CAIRO_FORMAT_A8, kPictureWidth, kPictureHeight)) {
    cairo_ = cairo_create(surface_);
    cairo_font_options_t* const options = cairo_font_options_create();
    cairo_font_options_set_antialias(options, CAIRO_ANTIALIAS_NONE);
    cairo_font_options_set_hint_style(options, CAIRO_HINT_STYLE_FULL);
    cairo_font_options_set_hint_metrics(options, CAIRO_HINT_METRICS_ON);
    context_ = pango_font_map_create_context(pango_cairo_font_map_get_default());
    pango_cairo_context_set_font_options(context_, options);
    cairo_font_options_destroy(options);
    font_ = pango_font_description_from_string("Sans");
    pango_font_description_set_absolute_size(font_, kFontHeight * PANGO_SCALE);
  }
  ~HostLabels() {
    pango_font_description_free(font_);
    g_object_unref(context_);
    cairo_destroy(cairo_);
    cairo_surface_destroy(surface_);
  }
  HostLabels(const HostLabels&) = delete;

  void Draw() {
    for (int i = 0; i < kCount; ++i) {
      PangoLayout* const layout = pango_layout_new(context_);
      pango_layout_set_font_description(layout, font_);
      pango_layout_set_text(layout, Label(i).c_str(), -1);
      const tagRECT place = PlaceOf(i);
      cairo_move_to(cairo_, place.left, place.top);
      pango_cairo_show_layout(cairo_, layout);
      g_object_unref(layout);
    }
    cairo_surface_flush(surface_);
  }

  int Ink() const {
    return CountInk(cairo_image_surface_get_data(surface_),
                    static_cast<std::size_t>(kPictureWidth) * kPictureHeight, 1);
  }

 private:
  cairo_surface_t* surface_;
  cairo_t* cairo_;
  PangoContext* context_;
  PangoFontDescription* font_;
};

/// What the host draws, which ours must draw too.
int ExpectedInk() {
  static const int ink = [] {
    HostLabels labels;
    labels.Draw();
    return labels.Ink();
  }();
  return ink;
}

void Ours(State& state) {
  KXFont font("Sans", kFontHeight);
  const KXVOffscreenPtr image = kxw::bench::MakeImage(8, kPictureWidth, kPictureHeight);
  const auto draw = [&] {
    for (int i = 0; i < kCount; ++i) {
      image->DrawString(Label(i).c_str(), PlaceOf(i), font, 0xFF000000, 0, 3);
    }
  };
  draw();
  std::vector<BYTE> pixels(static_cast<std::size_t>(kPictureWidth) * kPictureHeight);
  image->ReadPixels(image->GetRect(), KXPixelFormat::kDensity8, pixels.data());
  if (CountInk(pixels.data(), pixels.size(), 1) != ExpectedInk()) {
    state.SkipWithError("the ink differs");
    return;
  }
  for (auto _ : state) draw();
}

void OursOnBitImage(State& state) {
  KXBitImage image;
  image.Create(kPictureWidth, kPictureHeight, 32);
  image.Clear();
  for (auto _ : state) {
    for (int i = 0; i < kCount; ++i) {
      const tagRECT place = PlaceOf(i);
      image.DrawString(Label(i).c_str(), place.left, place.top, 0xFF000000, 0, 0, 0);
    }
  }
  if (CountInk(image.GetBaseAddress() + 3, static_cast<std::size_t>(kPictureWidth) * kPictureHeight,
               4) == 0) {
    state.SkipWithError("no ink");
  }
}

void Host(State& state) {
  HostLabels labels;
  for (auto _ : state) labels.Draw();
}

const bool kAdded =
    kxw::bench::Add("text: 1000 labels on a tiled image", 0.7, Ours, "Pango", Host) &&
    kxw::bench::Add("text: 1000 labels on a bit image", 0.7, OursOnBitImage, "Pango", Host);

}  // namespace
#endif
