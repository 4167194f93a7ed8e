#pragma once

#include <string>
#include <vector>

#include "common/program.h"
#include "store_image/reshape.h"

namespace storeimage {

/// What the command line says.
struct Options {
  bool help = false;
  std::string command;
  std::vector<std::string> files;
  examples::MemoryOptions memory;
  int depth = 32;  ///< Bits a pixel of what is imported.
  int level = 6;   ///< Of compression, 1 to 9; 0 stores the blocks raw.
  Shape shape;     ///< Of what is exported.
  bool quiet = false;
};

/// Reads the command line. Raises examples::UserError.
Options ParseOptions(int argc, char** argv);

/// The text of --help.
extern const char* const kHelp;

}  // namespace storeimage
