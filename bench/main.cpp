#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "bench/table.h"

// Runs the benchmarks and prints, below the usual report, one line for each operation with what it
// stands beside: a physical limit, or the library that a user would take instead.

namespace {

struct Side {
  std::string name;
  std::vector<double> times;  // nanoseconds an iteration, one for each repetition

  double Median() const {
    std::vector<double> sorted = times;
    std::sort(sorted.begin(), sorted.end());
    return sorted.empty() ? 0 : sorted[sorted.size() / 2];
  }
};

class TableReporter : public benchmark::ConsoleReporter {
 public:
  TableReporter() : ConsoleReporter(OO_Tabular) {}

  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
      if (run.run_type != Run::RT_Iteration || run.error_occurred) continue;
      const std::string name = run.run_name.function_name;
      const std::size_t bar = name.find('|');
      if (bar == std::string::npos) continue;
      // Time of the processor, which other programs on the machine do not lengthen; where waiting
      // for the disk is the matter, a benchmark asks for real time.
      const bool isReal = run.run_name.time_type.find("real_time") != std::string::npos;
      const double time = isReal ? run.real_accumulated_time : run.cpu_accumulated_time;
      Add(name.substr(0, bar), name.substr(bar + 1),
          time / static_cast<double>(run.iterations) * 1e9);
    }
  }

  void Finalize() override {
    std::printf("\n%-52s %-30s %12s %12s %7s %7s\n", "operation", "beside", "ours", "other",
                "ratio", "wanted");
    for (const std::string& operation : order_) {
      const std::vector<Side>& sides = groups_[operation];
      const auto ours = std::find_if(sides.begin(), sides.end(),
                                     [](const Side& side) { return side.name == "ours"; });
      if (ours == sides.end()) continue;
      const auto wanted = kxw::bench::Wanted().find(operation);
      for (const Side& side : sides) {
        if (side.name == "ours") continue;
        std::printf("%-52s %-30s %9.3f us %9.3f us %7.2f", operation.c_str(), side.name.c_str(),
                    ours->Median() / 1e3, side.Median() / 1e3, side.Median() / ours->Median());
        if (wanted != kxw::bench::Wanted().end()) std::printf(" %7.2f", wanted->second);
        std::printf("\n");
      }
      if (sides.size() == 1) {
        std::printf("%-52s %-30s %9.3f us\n", operation.c_str(), "", ours->Median() / 1e3);
      }
    }
    constexpr const char* kMissing = KXWCMN_BENCH_MISSING;
    if (*kMissing) {
      std::printf("\nLeft out, for their packages are not there: %s\n", kMissing);
    }
    ConsoleReporter::Finalize();
  }

 private:
  void Add(const std::string& operation, const std::string& side, double time) {
    auto [it, isNew] = groups_.try_emplace(operation);
    if (isNew) order_.push_back(operation);
    for (Side& known : it->second) {
      if (known.name == side) {
        known.times.push_back(time);
        return;
      }
    }
    it->second.push_back({side, {time}});
  }

  std::vector<std::string> order_;
  std::map<std::string, std::vector<Side>> groups_;
};

}  // namespace

std::map<std::string, double>& kxw::bench::Wanted() {
  static std::map<std::string, double> wanted;
  return wanted;
}

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  TableReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  return 0;
}
