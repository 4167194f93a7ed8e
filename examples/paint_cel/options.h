#pragma once

#include <string>

#include "common/program.h"

namespace paintcel {

/// What the command line says.
struct Options {
  bool help = false;
  examples::MemoryOptions memory;
  std::string drawing;  ///< The line drawing, a PNG.
  std::string seeds;    ///< The colours of its regions; empty to find the regions.
  std::string out = "painted_cel.png";
  std::string store;  ///< Where the painted image is stored; empty to do without.
  int size = 16384;   ///< Pixels of the images' longer side.
  int margin = 128;   ///< Ink of up to this density has paint under it.
  int width = 2048;   ///< The picture is at most so many pixels wide.
  bool full = false;  ///< The picture has every pixel of the images.
  bool quiet = false;
};

/// Reads the command line. Raises examples::UserError.
Options ParseOptions(int argc, char** argv);

/// The text of --help.
extern const char* const kHelp;

}  // namespace paintcel
