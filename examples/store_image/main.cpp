// Looks at stored images, and turns pictures into them and them into pictures.
//
// The pixels go through images in the library's virtual memory, and pictures are read and written
// row by row, so that neither has to fit in memory. A file is replaced when what takes its place is
// complete: a failure at any time leaves it as it was.

#include <cstdio>
#include <filesystem>
#include <string>

#include "common/console.h"
#include "common/stored_image.h"
#include "store_image/inspect.h"
#include "store_image/options.h"
#include "store_image/pictures.h"
#include "store_image/reshape.h"

namespace {

using examples::Offscreen;
using storeimage::Options;

void PrintInfo(const std::string& path) {
  std::printf("%s\n%s", path.c_str(), storeimage::Describe(storeimage::Inspect(path)).c_str());
}

/// Refuses to put a file in the place of the one that it is made from.
void CheckApart(const std::string& from, const std::string& to) {
  std::error_code ignored;
  if (std::filesystem::equivalent(from, to, ignored)) {
    throw examples::FileError(to, "would take the place of what it is made from");
  }
}

void Import(const Options& options) {
  const std::string &from = options.files[0], &to = options.files[1];
  CheckApart(from, to);
  examples::StoredImageWriter writer(to);  // first, for without it the reading would be in vain
  const Offscreen image = storeimage::ImportPicture(from, options.depth);
  writer.Write(*image, options.level);
  if (!options.quiet) PrintInfo(to);
}

void Export(const Options& options) {
  const std::string &from = options.files[0], &to = options.files[1];
  CheckApart(from, to);
  const Offscreen image = storeimage::Reshape(examples::ReadStoredImage(from), options.shape);
  storeimage::ExportPicture(*image, to);
  if (!options.quiet) {
    std::printf("%s: %d x %d pixels, depth %d\n", to.c_str(), image->GetWidth(), image->GetHeight(),
                image->GetBitCount());
  }
}

void Recompress(const std::string& path, const Options& options) {
  const u64 before = storeimage::Inspect(path).fileBytes;
  const Offscreen image = examples::ReadStoredImage(path);
  examples::StoredImageWriter(path).Write(*image, options.level);
  if (options.quiet) return;
  std::printf("%s: %llu bytes, now %llu\n", path.c_str(), before,
              storeimage::Inspect(path).fileBytes);
}

void Run(const Options& options) {
  if (options.command == "info") {
    for (const std::string& path : options.files) PrintInfo(path);
    return;
  }
  options.memory.CreateManager();
  if (options.command == "import") {
    Import(options);
  } else if (options.command == "export" || options.command == "thumb") {
    Export(options);
  } else {
    for (const std::string& path : options.files) Recompress(path, options);
  }
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  return examples::RunProgram("store_image", options.memory, [&] {
    options = storeimage::ParseOptions(argc, argv);
    if (options.help) {
      std::fputs(storeimage::kHelp, stdout);
      return;
    }
    examples::ConnectConsole(options.quiet);
    Run(options);
  });
}
