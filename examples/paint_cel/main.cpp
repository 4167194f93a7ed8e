// Paints a line drawing in images that are larger than the memory they are given.
//
// The drawing is scaled up into an 8-bit image of ink; its regions are flood-filled in a 32-bit
// image of paint under it; and both are read once more, row by row, for the picture. The images
// live in the library's virtual memory, which keeps within its budget and swaps the rest.

#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <new>
#include <vector>

#include "common/png_io.h"
#include "kxwcmn/kxwcmn.h"
#include "paint_cel/cel.h"
#include "paint_cel/console.h"
#include "paint_cel/options.h"

namespace {

using paintcel::Cel;
using paintcel::Options;
using paintcel::PaintCount;

constexpr int kExitError = 2;
constexpr int kExitStopped = 130;
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

void PrintReport(const Options& options, const Cel& cel, const PaintCount& count,
                 const Steps& steps) {
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
              used / kMiB / options.budget);
  std::printf("  %-22s%9d MiB   %d blocks at most in the pool\n", "memory budget", options.budget,
              vm.peakBlocksOnMemory);
  std::printf("  %-22s%9.1f MiB\n", "peak resident memory", PeakResidentMiB());
  std::printf("  %-22s%9.1f MiB   %llu blocks\n", "written to swap file",
              static_cast<double>(vm.bytesWritten) / kMiB, vm.blocksWritten);
  std::printf("  %-22s%9.1f MiB   %llu blocks\n\n", "read from swap file",
              static_cast<double>(vm.bytesRead) / kMiB, vm.blocksRead);
}

void Run(const Options& options) {
  Steps steps;
  const examples::Drawing drawing = examples::ReadDrawing(options.drawing);
  std::vector<paintcel::Seed> seeds;
  if (!options.seeds.empty()) seeds = paintcel::ReadSeeds(options.seeds, drawing);
  steps.End("read");

  KXVirtualMemory* memory = kxGetVirtualMemory();
  KXFilePath swapFolder(options.swapFolder.c_str());
  memory->Create(static_cast<unsigned>(options.budget) << 20,
                 options.swapFolder.empty() ? nullptr : &swapFolder);
  Cel cel(memory, drawing, options.size);
  const int reduction = options.full ? 1 : (cel.Width() + options.width - 1) / options.width;
  // Made before the work, which would be in vain if the file could not be.
  examples::PngWriter writer(options.out, paintcel::ReducedSize(cel.Width(), reduction),
                             paintcel::ReducedSize(cel.Height(), reduction));

  paintcel::ScaleInk(drawing, cel);
  steps.End("scale");

  const PaintCount count = options.seeds.empty() ? paintcel::PaintAllRegions(options.margin, cel)
                                                 : paintcel::PaintSeeds(seeds, options.margin, cel);
  steps.End("paint");

  cel.ink->Optimize();
  cel.paint->Optimize();
  steps.End("optimise");

  paintcel::WriteCel(cel, options.margin, reduction, writer);
  steps.End("write");

  if (options.quiet) return;
  PrintReport(options, cel, count, steps);
  std::printf("The picture is at %s\n", options.out.c_str());
}

/// Says in one line what went wrong, and returns the exit status.
int Complain(const std::string& what) {
  std::fprintf(stderr, "paint_cel: %s\n", what.c_str());
  return kExitError;
}

int ComplainOf(KXException& failure, const Options& options) {
  std::string folder = "the temporary folder";
  if (!options.swapFolder.empty()) {
    const u64 free = KXFilePath::GetDiskFreeSpaceA(options.swapFolder.c_str()) >> 20;
    folder = options.swapFolder + " (" + std::to_string(free) + " MiB free)";
  }
  switch (failure.GetErrorCode()) {
    case kxw::kFailureAborted:
      std::fprintf(stderr, "paint_cel: stopped\n");
      return kExitStopped;
    case kxw::kFailureNoSwapName:
      return Complain("no file can be made in " + folder);
    case kxw::kFailureNoSwapSpace:
      return Complain("no swap file of " + std::to_string(options.budget) + " MiB can be made in " +
                      folder);
    case kxw::kErrorNotEnoughMemory:  // also when nothing more can be swapped out
      return Complain("no room for the images, in memory or in " + folder);
    default:
      KXString words;
      failure.GetAlert().GetAlertMessage(words);
      return Complain(words.IsEmpty() ? "an unknown failure" : static_cast<const char*>(words));
  }
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  try {
    options = paintcel::ParseOptions(argc, argv);
    if (options.help) {
      std::fputs(paintcel::kHelp, stdout);
      return 0;
    }
    paintcel::ConnectConsole(options.quiet);
    Run(options);
    return 0;
  } catch (KXException& failure) {
    return ComplainOf(failure, options);
  } catch (const std::bad_alloc&) {
    return Complain("not enough memory");
  } catch (const std::exception& failure) {
    return Complain(failure.what());
  }
}
