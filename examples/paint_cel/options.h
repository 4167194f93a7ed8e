#pragma once

#include <stdexcept>
#include <string>

namespace paintcel {

/// A wish that cannot be met as it is told; `what()` is one line for the user.
class UserError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// What the command line says.
struct Options {
  bool help = false;
  std::string drawing;     ///< The line drawing, a PNG.
  std::string seeds;       ///< The colours of its regions; empty to find the regions.
  std::string swapFolder;  ///< Empty for a private folder among the host's temporary ones.
  std::string out = "painted_cel.png";
  int size = 16384;   ///< Pixels of the images' longer side.
  int budget = 64;    ///< MiB of memory for the pixels of the images.
  int margin = 128;   ///< Ink of up to this density has paint under it.
  int width = 2048;   ///< The picture is at most so many pixels wide.
  bool full = false;  ///< The picture has every pixel of the images.
  bool quiet = false;
};

/// Reads the command line. Raises UserError.
Options ParseOptions(int argc, char** argv);

/// The text of --help.
extern const char* const kHelp;

}  // namespace paintcel
