#include "paint_cel/options.h"

#include <string_view>

namespace paintcel {
namespace {

// Where the built-in drawing lies, without its extension; the build says it.
constexpr char kBuiltIn[] = KXWCMN_EXAMPLE_DRAWING;

}  // namespace

const char* const kHelp =
    R"(usage: paint_cel [OPTION...] [DRAWING.png]

Paints the closed regions of a line drawing: scales it up into images that are larger than the
memory they may use, fills the regions there, and writes the painted cel as a PNG.

  DRAWING.png      the line drawing, a PNG of any kind; the built-in one if none is named
  --seeds FILE     colours of the regions, a line each: x y #RRGGBB, in pixels of the drawing;
                   without it every region is found and painted from a palette
  --size N         pixels of the longer side of the images (16384)
  --budget N       memory for the pixels of the images, in MiB (64)
  --swap FOLDER    where the swap file goes (a private temporary folder); swap files of earlier
                   runs, all files there with SWP in their names, are deleted
  --margin N       paint goes under ink of up to this density, from 1 to 254 (128)
  --out FILE       the picture (painted_cel.png)
  --width N        the picture is averaged down to at most N pixels of width (2048)
  --full           the picture has every pixel instead
  --store FILE     stores the painted image too, reads it back and compares the two
  --quiet          no progress and no figures
  --help           this text

Ctrl-C stops at any time and leaves no files. The exit status is 0 when the picture is written, 2
when something is wrong with a file or an option, and 130 when the user stopped.
)";

Options ParseOptions(int argc, char** argv) {
  Options options;
  for (examples::Arguments arguments(argc, argv); arguments.Next();) {
    const std::string_view word = arguments.Word();
    if (word == "--help") {
      options.help = true;
    } else if (word == "--quiet") {
      options.quiet = true;
    } else if (word == "--full") {
      options.full = true;
    } else if (word == "--seeds") {
      options.seeds = arguments.Value();
    } else if (word == "--out") {
      options.out = arguments.Value();
    } else if (word == "--store") {
      options.store = arguments.Value();
    } else if (word == "--size") {
      options.size = arguments.Number(1, 262144);
    } else if (word == "--margin") {
      options.margin = arguments.Number(1, 254);
    } else if (word == "--width") {
      options.width = arguments.Number(1, 262144);
    } else if (!options.memory.Take(arguments)) {
      arguments.TakeName("drawing", options.drawing);
    }
  }
  if (options.drawing.empty()) {
    options.drawing = std::string(kBuiltIn) + ".png";
    if (options.seeds.empty()) options.seeds = std::string(kBuiltIn) + ".seeds";
  }
  if (options.store == options.out) {
    throw examples::UserError("--out and --store name the same file");
  }
  return options;
}

}  // namespace paintcel
