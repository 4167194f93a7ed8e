// Paints a line drawing in images that are larger than the memory they are given.
//
// The drawing is scaled up into an 8-bit image of ink; its regions are flood-filled in a 32-bit
// image of paint under it; and both are read once more, row by row, for the picture. The images
// live in the library's virtual memory, which keeps within its budget and swaps the rest. On demand
// the paint is stored in a file as well, and read back into another image to see that it is whole.

#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <vector>

#include "common/console.h"
#include "common/png_io.h"
#include "common/stored_image.h"
#include "kxwcmn/kxwcmn.h"
#include "paint_cel/cel.h"
#include "paint_cel/options.h"

namespace {

using paintcel::Cel;
using paintcel::Options;
using paintcel::PaintCount;

constexpr int kStoreLevel = 1;  // of compression: fast, and flat paint becomes small all the same
constexpr double kMiB = 1 << 20;

/// The steps of the work and the time that each took.
class Steps {
 public:
  struct Step {
    const char* name;
    double seconds;
  };

  /// Ends the present step under that name and begins the next one.
  void End(const char* name) {
    const auto now = std::chrono::steady_clock::now();
    steps_.push_back({name, std::chrono::duration<double>(now - begin_).count()});
    begin_ = now;
  }

  const std::vector<Step>& All() const { return steps_; }

 private:
  std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();
  std::vector<Step> steps_;
};

double PeakResidentMiB() {
  rusage usage = {};
  getrusage(RUSAGE_SELF, &usage);
  return static_cast<double>(usage.ru_maxrss) / 1024;  // told in KiB
}

/// The painted image in its file.
struct Stored {
  double bytes = 0;  ///< Of the file.
  int blocks = 0;    ///< That were compared with those of the image read back.
};

/// Stores the paint, and proves that what is read back is the same. Raises std::runtime_error if it
/// is not.
Stored StorePaint(const Options& options, Cel& cel, examples::StoredImageWriter& writer,
                  Steps& steps) {
  writer.Write(*cel.paint, kStoreLevel);
  steps.End("store the paint");
  const examples::Offscreen back = examples::ReadStoredImage(options.store);
  steps.End("read it back");
  Stored stored;
  stored.blocks = examples::CompareImages(*cel.paint, *back);
  steps.End("compare");
  stored.bytes = static_cast<double>(std::filesystem::file_size(options.store));
  return stored;
}

void PrintReport(const Options& options, const Cel& cel, const PaintCount& count,
                 const Stored& stored, const Steps& steps) {
  const KXVMStatistics vm = kxGetVirtualMemory()->GetStatistics();
  const double used = static_cast<double>(cel.ink->GetUsedMemory(0) + cel.paint->GetUsedMemory(0));

  std::printf("%d regions, %.1f million pixels painted in images of %d x %d pixels\n",
              count.regions, static_cast<double>(count.pixels) / 1e6, cel.Width(), cel.Height());
  if (count.seedsOnInk)
    std::printf("%d of the seeds lie on ink and painted nothing\n", count.seedsOnInk);
  std::printf("\n");
  double total = 0;
  for (const Steps::Step& step : steps.All()) {
    std::printf("  %-22s%9.2f s", step.name, step.seconds);
    if (step.name == std::string("paint")) {
      std::printf("   %.1f million pixels a second",
                  static_cast<double>(count.pixels) / 1e6 / step.seconds);
    }
    std::printf("\n");
    total += step.seconds;
  }
  std::printf("  %-22s%9.2f s\n\n", "all", total);
  std::printf("  %-22s%9.1f MiB   %.1f times the budget\n", "blocks of the images", used / kMiB,
              used / kMiB / options.memory.budget);
  std::printf("  %-22s%9d MiB   %d blocks at most in the pool\n", "memory budget",
              options.memory.budget, vm.peakBlocksOnMemory);
  std::printf("  %-22s%9.1f MiB\n", "peak resident memory", PeakResidentMiB());
  std::printf("  %-22s%9.1f MiB   %llu blocks\n", "written to swap file",
              static_cast<double>(vm.bytesWritten) / kMiB, vm.blocksWritten);
  std::printf("  %-22s%9.1f MiB   %llu blocks\n", "read from swap file",
              static_cast<double>(vm.bytesRead) / kMiB, vm.blocksRead);
  if (!options.store.empty()) {
    std::printf("  %-22s%9.1f MiB   %.1f %% of its blocks; all %d came back equal\n",
                "stored paint", stored.bytes / kMiB,
                100 * stored.bytes / static_cast<double>(cel.paint->GetUsedMemory(0)),
                stored.blocks);
  }
  std::printf("\n");
}

void Run(const Options& options) {
  Steps steps;
  const examples::Drawing drawing = examples::ReadDrawing(options.drawing);
  std::vector<paintcel::Seed> seeds;
  if (!options.seeds.empty()) seeds = paintcel::ReadSeeds(options.seeds, drawing);
  steps.End("read");

  options.memory.CreateManager();
  Cel cel(kxGetVirtualMemory(), drawing, options.size);
  const int reduction = options.full ? 1 : (cel.Width() + options.width - 1) / options.width;
  // Made before the work, which would be in vain if the files could not be.
  examples::PngWriter writer(options.out, paintcel::ReducedSize(cel.Width(), reduction),
                             paintcel::ReducedSize(cel.Height(), reduction), 24);
  std::optional<examples::StoredImageWriter> store;
  if (!options.store.empty()) store.emplace(options.store);

  paintcel::ScaleInk(drawing, cel);
  steps.End("scale");

  const PaintCount count = options.seeds.empty() ? paintcel::PaintAllRegions(options.margin, cel)
                                                 : paintcel::PaintSeeds(seeds, options.margin, cel);
  steps.End("paint");

  paintcel::WriteCel(cel, options.margin, reduction, writer);
  steps.End("write the picture");

  Stored stored;
  if (store) stored = StorePaint(options, cel, *store, steps);

  if (options.quiet) return;
  PrintReport(options, cel, count, stored, steps);
  std::printf("The picture is at %s\n", options.out.c_str());
  if (store) std::printf("The painted image is at %s\n", options.store.c_str());
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  return examples::RunProgram("paint_cel", options.memory, [&] {
    options = paintcel::ParseOptions(argc, argv);
    if (options.help) {
      std::fputs(paintcel::kHelp, stdout);
      return;
    }
    examples::ConnectConsole(options.quiet);
    Run(options);
  });
}
