// Softens the hard edges of a painted cel, and shows it before and after at three zooms.
//
// The cel is a classic image, whole in memory: ink drawn pixel by pixel, regions painted by seed
// fills, stairs smoothed at last. A bit image takes it to each zoom, as it would to a screen.

#include <cstdio>
#include <string>

#include "common/console.h"
#include "common/program.h"
#include "kxwcmn/kxwcmn.h"
#include "smooth_cel/hard_cel.h"
#include "smooth_cel/views.h"

namespace {

constexpr char kBuiltIn[] = KXWCMN_EXAMPLE_DRAWING;  // without its extension

constexpr char kHelp[] =
    R"(usage: smooth_cel [OPTION...] [PICTURE.png]

Smooths the stairs of a painted cel with hard edges, and writes it before (above) and after (below):
whole, by single pixels and by averages; a part, pixel for pixel; and a detail, seven times enlarged.

  PICTURE.png   a painted cel; or a line drawing, which has no colours: it is painted first, and
                a large one brought down to half its size or less, but not below 1024 pixels;
                the built-in drawing if none is named
  --seeds FILE  it is a drawing, and these are its colours, a line each: x y #RRGGBB, in pixels of
                the drawing
  --at X Y      the middle of the part and of the detail, in pixels of the cel (the cel's middle)
  --out FILE    the pictures (smooth_cel.png)
  --cel FILE    writes the smooth cel too, with every pixel
  --help        this text
)";

struct Options {
  std::string picture, seeds, out = "smooth_cel.png", cel;
  bool hasMiddle = false;
  KXPoint middle;
};

void Run(const Options& options) {
  KXOffscreen cel;
  const int onInk = smoothcel::ReadHardCel(options.picture, options.seeds, cel);
  if (onInk) std::printf("%d of the seeds lie on ink and painted nothing\n", onInk);
  const KXPoint middle =
      options.hasMiddle ? options.middle : KXPoint(cel.GetWidth() / 2, cel.GetHeight() / 2);

  smoothcel::Views views(2);
  KXBitImage shown;
  smoothcel::ToBitImage(cel, shown);
  views.Add(shown, middle);
  cel.DoSmoothing(nullptr, nullptr, nullptr, nullptr, nullptr);
  smoothcel::ToBitImage(cel, shown);
  views.Add(shown, middle);

  smoothcel::WriteBitImage(views.Image(), options.out);
  std::printf("%s\n", options.out.c_str());
  if (options.cel.empty()) return;
  smoothcel::WriteBitImage(shown, options.cel);
  std::printf("%s\n", options.cel.c_str());
}

}  // namespace

int main(int argc, char** argv) {
  return examples::RunProgram("smooth_cel", {}, [&] {
    Options options;
    for (examples::Arguments arguments(argc, argv); arguments.Next();) {
      const std::string word(arguments.Word());
      if (word == "--help") {
        std::fputs(kHelp, stdout);
        return;
      }
      if (word == "--seeds") {
        options.seeds = arguments.Value();
      } else if (word == "--out") {
        options.out = arguments.Value();
      } else if (word == "--cel") {
        options.cel = arguments.Value();
      } else if (word == "--at") {
        options.hasMiddle = true;
        options.middle.x = arguments.Number(0, 1 << 30);
        options.middle.y = arguments.Number(0, 1 << 30);
      } else if (word.starts_with("-") || !options.picture.empty()) {
        throw examples::UserError("one picture at most can be named; --help tells more");
      } else {
        options.picture = word;
      }
    }
    if (options.cel == options.out) {
      throw examples::UserError("--out and --cel name the same file");
    }
    if (options.picture.empty()) {
      options.picture = std::string(kBuiltIn) + ".png";
      if (options.seeds.empty()) options.seeds = std::string(kBuiltIn) + ".seeds";
      // The lashes of the built-in figure.
      if (!options.hasMiddle) options.middle = KXPoint(560, 345);
      options.hasMiddle = true;
    }
    examples::ConnectConsole(false);
    Run(options);
  });
}
