#include "view_image/options.h"

#include <algorithm>
#include <charconv>
#include <string_view>

namespace viewimage {
namespace {

constexpr int kMostSide = 0x7FFFFF00, kMostWindow = 16384;
constexpr int kMostDrawn = 32767;  // pixels of a side that a drawing context takes

/// Takes a number of `low` to `high` from the front of a text.
template <class Number>
bool TakeNumber(std::string_view& text, Number low, Number high, Number& value) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || !(value >= low && value <= high)) return false;
  text.remove_prefix(static_cast<std::size_t>(end - text.data()));
  return true;
}

bool Take(std::string_view& text, char sign) {
  if (text.empty() || text.front() != sign) return false;
  text.remove_prefix(1);
  return true;
}

/// "X,Y,ZOOM", where the zoom is a number or a fraction.
void ParseView(std::string_view text, Options& options) {
  const std::string word(text);
  double over = 1;
  const bool isGood = TakeNumber(text, 0, kMostSide, options.middle.x) && Take(text, ',') &&
                      TakeNumber(text, 0, kMostSide, options.middle.y) && Take(text, ',') &&
                      TakeNumber(text, 1e-6, 32.0, options.scale) &&
                      (!Take(text, '/') || TakeNumber(text, 1.0, 1e6, over)) && text.empty();
  if (!isGood) {
    throw examples::UserError(
        "--view takes X,Y,ZOOM with a zoom of up to 32, such as 800,600,1/3, "
        "not \"" +
        word + "\"");
  }
  options.scale /= over;
}

void ParseSize(std::string_view text, Options& options) {
  const std::string word(text);
  int width = 0, height = 0;
  if (!TakeNumber(text, 64, kMostWindow, width) || !Take(text, 'x') ||
      !TakeNumber(text, 64, kMostWindow, height) || !text.empty()) {
    throw examples::UserError("--size takes WIDTHxHEIGHT from 64x64 to 16384x16384, not \"" + word +
                              "\"");
  }
  options.size = KXSize(width, height);
}

}  // namespace

const char* const kHelp =
    R"(usage: view_image [OPTION...] [FILE]

Shows a picture of any size in a window. Drag it to move it; the wheel zooms about the pointer.

  FILE               a stored image or a PNG; without it the built-in drawing is painted
  --paint N          pixels of the longer side of the painted drawing (16384)
  --view X,Y,ZOOM    shows a pixel of the picture in the middle at first, at a zoom of up to 32:
                     800,600,1/3; without it the whole picture is shown
  --size WxH         size of the window (1280x800)
  --dpi N            dots an inch, to which texts and margins are scaled (those of the display)
  --screenshot FILE  writes what the window would show as a PNG, without a display
  --budget N         memory for the pixels, in MiB (64)
  --swap FOLDER      where the swap file goes (a private temporary folder); swap files of earlier
                     runs, all files there with SWP in their names, are deleted
  --help             this text

Keys: 0 whole picture, 1 its own size, + and - zoom, arrows move, H and V flip it, F1 lists them, Q
closes. The exit status is 0 when the window is closed or the PNG written, 2 when something is wrong
with a file, an option or the display, 1 or 2 when the display goes away meanwhile, and 130 when the user
stopped with Ctrl-C.
)";

Options ParseOptions(int argc, char** argv) {
  Options options;
  for (examples::Arguments arguments(argc, argv); arguments.Next();) {
    const std::string_view word = arguments.Word();
    if (word == "--help") {
      options.help = true;
    } else if (word == "--paint") {
      options.paint = arguments.Number(64, 262144);
    } else if (word == "--view") {
      ParseView(arguments.Value(), options);
    } else if (word == "--size") {
      ParseSize(arguments.Value(), options);
    } else if (word == "--dpi") {
      options.dpi = arguments.Number(48, 768);
    } else if (word == "--screenshot") {
      options.screenshot = arguments.Value();
    } else if (!options.memory.Take(arguments)) {
      arguments.TakeName("picture", options.file);
    }
  }
  if (std::max(options.size.cx, options.size.cy) * std::max(options.dpi, 96) / 96 >= kMostDrawn) {
    throw examples::UserError("--size and --dpi ask for a window of " + std::to_string(kMostDrawn) +
                              " pixels or more");
  }
  return options;
}

}  // namespace viewimage
