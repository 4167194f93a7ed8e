#include "store_image/options.h"

#include <algorithm>
#include <string_view>

namespace storeimage {
namespace {

constexpr struct {
  std::string_view name;
  std::size_t leastFiles, mostFiles;
  std::string_view files;
} kCommands[] = {{"info", 1, 1000000, "the files to look at"},
                 {"import", 2, 2, "a PNG and the file to store it in"},
                 {"export", 2, 2, "a stored image and the PNG to write"},
                 {"thumb", 2, 2, "a stored image and the PNG to write"},
                 {"recompress", 1, 1000000, "the files to store anew"}};

void CheckFiles(const Options& options) {
  for (const auto& command : kCommands) {
    if (command.name != options.command) continue;
    const std::size_t count = options.files.size();
    if (count >= command.leastFiles && count <= command.mostFiles) return;
    throw examples::UserError(options.command + " takes " + std::string(command.files));
  }
  throw examples::UserError(
      (options.command.empty() ? "no command" : "unknown command " + options.command) +
      "; --help lists them");
}

/// Takes an option of the picture's shape; false for any other word.
bool TakeShape(examples::Arguments& arguments, const std::string& word, Shape& shape) {
  if (word == "--size") {
    shape.mostSide = arguments.Number(1, KXVOffscreen::kMaxSize);
  } else if (word == "--width") {
    shape.width = arguments.Number(1, KXVOffscreen::kMaxSize);
  } else if (word == "--rotate") {
    shape.degrees = arguments.Number(-360, 360);
  } else if (word == "--smooth") {
    shape.isSmooth = true;
  } else if (word == "--flip") {
    const std::string_view way = arguments.Value();
    if (way != "horizontal" && way != "vertical") {
      throw examples::UserError("--flip takes horizontal or vertical");
    }
    (way == "horizontal" ? shape.flipsColumns : shape.flipsRows) = true;
  } else if (word == "--quality") {
    const std::string_view quality = arguments.Value();
    if (quality != "area" && quality != "fast" && quality != "nearest") {
      throw examples::UserError("--quality takes area, fast or nearest");
    }
    shape.quality = quality == "area"   ? Quality::kArea
                    : quality == "fast" ? Quality::kFast
                                        : Quality::kNearest;
  } else {
    return false;
  }
  return true;
}

/// Refuses options of a shape that the command has no use for.
void CheckShape(const std::string& command, const std::vector<std::string>& options) {
  for (const std::string& option : options) {
    if (command != (option == "--size" ? "thumb" : "export")) {
      throw examples::UserError(command + " does not take " + option);
    }
  }
}

}  // namespace

const char* const kHelp =
    R"(usage: store_image info FILE...
       store_image import PICTURE.png FILE [--depth N] [--level N | --raw]
       store_image export FILE PICTURE.png [--flip horizontal|vertical] [--rotate DEGREES]
                          [--smooth] [--width N] [--quality area|fast|nearest]
       store_image thumb FILE PICTURE.png [--size N]
       store_image recompress FILE... [--level N | --raw]

Looks at stored images, and makes them from pictures and pictures from them. Images may be larger
than memory.

  info             depth, size, blocks and bytes of each file; reads no pixels
  import           stores a PNG of any kind
  export           writes a stored image as a PNG: depths 1 and 8 as greys, the others as they are
  thumb            writes a small picture of a stored image
  recompress       stores each image anew in its place

  --depth N        bits a pixel, one of 1, 2, 8, 16, 24, 32 and 64 (32)
  --level N        compression of the blocks, from 1, fast, to 9, small (6)
  --raw            no compression
  --flip WAY       mirrors the picture: horizontal, left becomes right, or vertical, top becomes
                   bottom; may be given for both
  --rotate N       turns it anticlockwise by -360 to 360 degrees, after --flip; quarter turns lose
                   nothing
  --smooth         other turns mix four pixels instead of taking the nearest one; 64 bits become
                   opaque
  --width N        columns of the picture, in the end; rows follow in proportion
  --quality WAY    pixels of another size are means of areas, weighted to the last bit (area, if
                   none is given), means of whole pixels (fast), or one pixel each (nearest); means
                   of depths 1 and 2 are greys
  --size N         the longer side of a small picture; it does not enlarge (256)
  --budget N       memory for the pixels of the images, in MiB (64); below 3 some work has no room
  --swap FOLDER    where the swap file goes (a private temporary folder); swap files of earlier
                   runs, all files there with SWP in their names, are deleted
  --quiet          no progress, and no words when all is well, save those of info
  --               what follows are files
  --help           this text

A file changes only when its new contents are complete. Ctrl-C stops at any time. The exit status is
0 when all is done, 2 when something is wrong with a file or an option, and 130 when the user
stopped.
)";

Options ParseOptions(int argc, char** argv) {
  Options options;
  bool onlyFiles = false;
  std::vector<std::string> shapeOptions;
  for (examples::Arguments arguments(argc, argv); arguments.Next();) {
    const std::string word(arguments.Word());
    if (onlyFiles || !word.starts_with("-")) {
      if (options.command.empty()) {
        options.command = word;
      } else {
        options.files.push_back(word);
      }
    } else if (word == "--") {
      onlyFiles = true;
    } else if (word == "--help") {
      options.help = true;
      return options;
    } else if (word == "--quiet") {
      options.quiet = true;
    } else if (word == "--raw") {
      options.level = 0;
    } else if (word == "--level") {
      options.level = arguments.Number(1, 9);
    } else if (word == "--depth") {
      options.depth = arguments.Number(1, 64);
      constexpr int kDepths[] = {1, 2, 8, 16, 24, 32, 64};
      if (std::find(std::begin(kDepths), std::end(kDepths), options.depth) == std::end(kDepths)) {
        throw examples::UserError("--depth takes one of 1, 2, 8, 16, 24, 32 and 64");
      }
    } else if (TakeShape(arguments, word, options.shape)) {
      shapeOptions.push_back(word);
    } else if (!options.memory.Take(arguments)) {
      throw examples::UserError("unknown option " + word + "; --help lists them");
    }
  }
  CheckFiles(options);
  CheckShape(options.command, shapeOptions);
  if (options.command == "thumb" && options.shape.mostSide == 0) options.shape.mostSide = 256;
  return options;
}

}  // namespace storeimage
