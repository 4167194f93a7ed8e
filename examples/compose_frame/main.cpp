// Builds a frame out of a background, a shadow and a painted cel, and shows each step.
//
// Everything is laid through pixel mixers: glow and shadow by a Gaussian in front of a weight copy,
// the puffs of a cloud by the denser one, the paint by a blend that a mask holds back where the ink
// will be, the ink by a blend on top. The steps are written side by side as one contact sheet, and
// each as a picture of its own whose file is named after it. The finished frame is then made small
// and turned in each quality.

#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "common/console.h"
#include "common/png_io.h"
#include "common/program.h"
#include "compose_frame/qualities.h"
#include "compose_frame/sheet.h"
#include "kxwcmn/kxwcmn.h"
#include "paint_cel/cel.h"

namespace {

using paintcel::Cel;
using paintcel::Offscreen;

constexpr int kSize = 2048;              // pixels of a side
constexpr int kMargin = 128;             // ink of up to this density has paint under it
constexpr unsigned kBudget = 48u << 20;  // of the images' pixels, which are about twice as many

constexpr char kHelp[] =
    R"(usage: compose_frame [FILE.png]

Composes a frame from the built-in drawing and writes its steps as one contact sheet
(composed_frame.png), and each step as a picture of its own beside it. A second sheet
(composed_frame_qualities.png) shows the frame made small and turned in each quality, enlarged below.
)";

constexpr QMCOLORREF Rgb(unsigned r, unsigned g, unsigned b, unsigned a = 255) {
  return a << 24 | b << 16 | g << 8 | r;
}

Offscreen NewImage(int bits) {
  Offscreen image(KXVOffscreen::CreateOffscreen(bits));
  image->Create(kxGetVirtualMemory(), kSize, kSize, 72);
  return image;
}

/// A mixer chain of one rule bound to an image.
struct Brush {
  Brush(KXVOffscreen& image, KXPixelMixer& rule) {
    mixer.SetDstOffscreen(&image);
    mixer.SetNode(&rule);
  }
  KXVOffPixelMixer& With(QMCOLORREF color) {
    mixer.SetColor(KXComplexColor(32, color));
    return mixer;
  }
  KXVOffPixelMixer mixer;
};

/// A range of hills: a sine line closed along the image's bottom.
void PaintHills(KXVOffscreen& image, double height, double swing, double waves, double phase,
                QMCOLORREF color) {
  std::vector<KXPoint> outline;
  for (int x = 0; x <= kSize; x += 16) {
    const double t = x * 6.283185307179586 * waves / kSize + phase;
    const double y = kSize * (height + swing * (std::sin(t) + 0.4 * std::sin(2.3 * t + 1)));
    outline.emplace_back(x, static_cast<int>(y));
  }
  outline.emplace_back(kSize, kSize);
  outline.emplace_back(0, kSize);
  image.FillPolygon(outline.data(), static_cast<int>(outline.size()), nullptr, color, 1);
}

/// Lays `source` on the whole of `frame`; `mask` may be null.
void LayOver(KXVOffscreen& frame, KXVOffscreen& source, KXVOffPixelMask* mask) {
  KXPixelMixerBlend blend;
  Brush brush(frame, blend);
  KXVOffscreenAutoLock lock(&source, 0);
  brush.mixer.SetSrcOffscreen(&source, KXPoint(0, 0));
  frame.RectFill(frame.GetRect(), &brush.mixer, mask, nullptr, nullptr);
}

/// Tints the ellipse in `box`, softer and softer towards its edge. The middle gets 127 of `baseup`
/// parts of the colour.
void LaySoftly(KXVOffscreen& frame, const KXRect& box, QMCOLORREF color, BYTE baseup) {
  KXPixelMixerGaussian soft;
  KXPixelMixerWeightCopy copy;
  soft.CreateGaussTbl(96);
  soft.SetBaseup(baseup);
  soft.SetMapInfo(box.CenterPoint(), box.Width(), box.Height());
  Brush brush(frame, soft);
  brush.mixer.PushNode(&copy);
  frame.RectFill(box & frame.GetRect(), &brush.With(color), nullptr, nullptr, nullptr);
}

/// Thin clouds of puffs with a flat base. Of puffs that overlap the denser pixel counts, so that
/// each cloud is one shape.
Offscreen PaintClouds() {
  Offscreen image = NewImage(32);
  KXPixelMixerCompDark denser;
  Brush brush(*image, denser);
  const struct {
    double x, y, radius;
    int base;
  } kPuffs[] = {{210, 430, 70, 470},  {330, 390, 110, 470}, {470, 410, 95, 470},
                {580, 440, 60, 470},  {1110, 255, 55, 280}, {1200, 225, 80, 280},
                {1300, 250, 60, 280}, {1720, 845, 70, 880}, {1820, 805, 105, 880},
                {1940, 830, 85, 880}, {2030, 850, 60, 880}};
  for (const auto& puff : kPuffs) {
    image->CircleFillAA(puff.x, puff.y, puff.radius, &brush.With(Rgb(255, 240, 225, 165)), nullptr,
                        nullptr);
    const int left = static_cast<int>(puff.x - puff.radius) - 1;
    const int right = static_cast<int>(puff.x + puff.radius) + 2;
    image->RectFill(KXRect(left, puff.base, right, puff.base + 100), 1, 0);
  }
  return image;
}

/// An evening sky with a sun, clouds and hills.
Offscreen PaintBackground() {
  Offscreen image = NewImage(32);
  for (int y = 0; y < kSize; ++y) {
    const double t = static_cast<double>(y) / kSize;
    const auto mix = [t](int top, int bottom) {
      return static_cast<unsigned>(top + (bottom - top) * t);
    };
    image->RectFill(KXRect(0, y, kSize, y + 1), 0, Rgb(mix(58, 255), mix(74, 196), mix(122, 142)));
  }
  KXPixelMixerBlend blend;
  Brush brush(*image, blend);
  LaySoftly(*image, KXRect(480, -440, 2480, 1560), Rgb(255, 214, 150), 150);
  image->CircleFillAA(1480.5, 560.5, 190, &brush.With(Rgb(255, 232, 176)), nullptr, nullptr);
  LayOver(*image, *PaintClouds(), nullptr);
  PaintHills(*image, 0.62, 0.05, 1.3, 0.4, Rgb(120, 112, 150));
  PaintHills(*image, 0.72, 0.04, 1.9, 2.0, Rgb(86, 104, 116));
  PaintHills(*image, 0.83, 0.03, 1.1, 4.1, Rgb(62, 88, 78));
  return image;
}

Offscreen Duplicate(KXVOffscreen& image) { return Offscreen(image.CreateAndCopyAll()); }

/// The frame as a line test: dithered to black and nothing, on white.
Offscreen LineTest(KXVOffscreen& frame) {
  Offscreen dots = NewImage(1);
  dots->Monochromic(0, 0, kSize, kSize, &frame, 0, 0, 0, 0);
  Offscreen shown = NewImage(32);
  shown->RectFill(shown->GetRect(), 0, Rgb(255, 255, 255));
  LayOver(*shown, *dots, nullptr);
  return shown;
}

void Compose(const std::string& out) {
  kxGetVirtualMemory()->Create(kBudget, nullptr);
  const std::string data = KXWCMN_EXAMPLE_DRAWING;
  const examples::Drawing drawing = examples::ReadDrawing(data + ".png");
  Cel cel(kxGetVirtualMemory(), drawing, kSize);
  paintcel::ScaleInk(drawing, cel);
  std::vector<paintcel::Seed> seeds = paintcel::ReadSeeds(data + ".seeds", drawing);
  seeds.erase(seeds.begin());  // the paper around the picture stays clear
  paintcel::PaintSeeds(seeds, kMargin, cel);
  paintcel::HardenInk(kMargin, *cel.ink);

  composeframe::Sheet sheet(out, 3, 2, kSize, 4);
  Offscreen frame = PaintBackground();
  sheet.Add("background", *frame);

  Offscreen alone = Duplicate(*cel.paint);
  alone->RenderBackground(alone->GetRect(), Rgb(255, 255, 255), Rgb(200, 200, 200), 1);
  LayOver(*alone, *cel.ink, nullptr);
  sheet.Add("cel_on_checkerboard", *alone);

  LaySoftly(*frame, KXRect(-100, 1760, 2148, 2200), Rgb(16, 14, 30), 140);
  sheet.Add("shadow", *frame);

  KXVOffPixelMask mask;
  KXVOffPixelMask::MaskInfo lines;
  lines.mode = 2;  // held back where the ink's alpha is full
  lines.offscreen = cel.ink.get();
  lines.color = Rgb(0, 0, 0);
  mask.SetMaskInfo(0, lines);
  {
    KXVOffscreenAutoLock lock(cel.ink.get(), 0);
    LayOver(*frame, *cel.paint, &mask);
  }
  sheet.Add("paint_held_back_by_lines", *frame);

  LayOver(*frame, *cel.ink, nullptr);
  sheet.Add("frame", *frame);

  sheet.AddDetail("line_test", *LineTest(*frame), KXPoint(560, 520));
  composeframe::ShowQualities(*frame, out.substr(0, out.rfind(".png")) + "_qualities.png");
  sheet.Finish();
}

}  // namespace

int main(int argc, char** argv) {
  return examples::RunProgram("compose_frame", {}, [&] {
    std::string out;
    for (examples::Arguments arguments(argc, argv); arguments.Next();) {
      const std::string word(arguments.Word());
      if (word == "--help") {
        std::fputs(kHelp, stdout);
        return;
      }
      if (word.starts_with("-") || !out.empty()) {
        throw examples::UserError("one file at most can be named; --help tells more");
      }
      out = word;
    }
    examples::ConnectConsole(false);
    Compose(out.empty() ? "composed_frame.png" : out);
  });
}
