#pragma once

#include <string>

#include "common/program.h"
#include "kxwcmn/kxwcmn.h"

namespace viewimage {

/// What the command line says.
struct Options {
  bool help = false;
  examples::MemoryOptions memory;
  std::string file;                 ///< A stored image or a PNG; empty for the painted cel.
  int paint = 16384;                ///< Pixels of the painted cel's longer side.
  std::string screenshot;           ///< A PNG of the window, written without one.
  KXSize size = KXSize(1280, 800);  ///< Of the window, in pixels at 96 dots an inch.
  int dpi = 0;                      ///< Dots an inch; 0 for those of the display.
  double scale = 0;                 ///< What is shown first; 0 for the whole picture.
  KXPoint middle;                   ///< Of the picture, where `scale` is set.
};

/// Reads the command line. Raises examples::UserError.
Options ParseOptions(int argc, char** argv);

/// The text of --help.
extern const char* const kHelp;

}  // namespace viewimage
