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

}  // namespace

const char* const kHelp =
    R"(usage: store_image info FILE...
       store_image import PICTURE.png FILE [--depth N] [--level N | --raw]
       store_image export FILE PICTURE.png
       store_image recompress FILE... [--level N | --raw]

Looks at stored images, and makes them from pictures and pictures from them. Images may be larger
than memory.

  info             depth, size, blocks and bytes of each file; reads no pixels
  import           stores a PNG of any kind
  export           writes a stored image as a PNG: depths 1 and 8 as greys, the others as they are
  recompress       stores each image anew in its place

  --depth N        bits a pixel, one of 1, 2, 8, 16, 24, 32 and 64 (32)
  --level N        compression of the blocks, from 1, fast, to 9, small (6)
  --raw            no compression
  --budget N       memory for the pixels of the image, in MiB (64)
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
    } else if (!options.memory.Take(arguments)) {
      throw examples::UserError("unknown option " + word + "; --help lists them");
    }
  }
  CheckFiles(options);
  return options;
}

}  // namespace storeimage
