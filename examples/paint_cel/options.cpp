#include "paint_cel/options.h"

#include <charconv>
#include <string_view>

namespace paintcel {
namespace {

// Where the built-in drawing lies, without its extension; the build says it.
constexpr char kBuiltIn[] = KXWCMN_EXAMPLE_DRAWING;

int ParseNumber(std::string_view option, std::string_view text, int low, int high) {
  int value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size() || value < low || value > high) {
    throw UserError(std::string(option) + " takes a number from " + std::to_string(low) + " to " +
                    std::to_string(high) + ", not \"" + std::string(text) + "\"");
  }
  return value;
}

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
  --quiet          no progress and no figures
  --help           this text

Ctrl-C stops at any time and leaves no files. The exit status is 0 when the picture is written, 2
when something is wrong with a file or an option, and 130 when the user stopped.
)";

Options ParseOptions(int argc, char** argv) {
  Options options;
  for (int i = 1; i < argc; ++i) {
    const std::string_view argument = argv[i];
    const auto value = [&]() -> std::string_view {
      if (++i >= argc) throw UserError(std::string(argument) + " needs a value");
      return argv[i];
    };
    if (argument == "--help") {
      options.help = true;
    } else if (argument == "--quiet") {
      options.quiet = true;
    } else if (argument == "--full") {
      options.full = true;
    } else if (argument == "--seeds") {
      options.seeds = value();
    } else if (argument == "--swap") {
      options.swapFolder = value();
    } else if (argument == "--out") {
      options.out = value();
    } else if (argument == "--size") {
      options.size = ParseNumber(argument, value(), 1, 262144);
    } else if (argument == "--budget") {
      options.budget = ParseNumber(argument, value(), 1, 4095);
    } else if (argument == "--margin") {
      options.margin = ParseNumber(argument, value(), 1, 254);
    } else if (argument == "--width") {
      options.width = ParseNumber(argument, value(), 1, 262144);
    } else if (argument.starts_with("-")) {
      throw UserError("unknown option " + std::string(argument) + "; --help lists them");
    } else if (!options.drawing.empty()) {
      throw UserError("more than one drawing: " + options.drawing + " and " +
                      std::string(argument));
    } else {
      options.drawing = argument;
    }
  }
  if (options.drawing.empty()) {
    options.drawing = std::string(kBuiltIn) + ".png";
    if (options.seeds.empty()) options.seeds = std::string(kBuiltIn) + ".seeds";
  }
  return options;
}

}  // namespace paintcel
