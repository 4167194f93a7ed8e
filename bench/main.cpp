#include <benchmark/benchmark.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "bench/pictures.h"
#include "bench/table.h"

// Runs the benchmarks and prints, below the usual report, one line for each operation with what it
// stands beside: a physical limit, or the library that a user would take instead. `--seed N` gives
// other pictures; all other arguments are those of Google Benchmark.

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
    // The table has the median of the repetitions; here each stands for itself.
    std::vector<Run> repetitions;
    for (const Run& run : runs) {
      if (run.run_type == Run::RT_Iteration) repetitions.push_back(run);
    }
    if (repetitions.empty()) return;
    ConsoleReporter::ReportRuns(repetitions);
    for (const Run& run : repetitions) {
      hasFailed_ |= run.error_occurred;
      if (run.error_occurred) continue;
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

  /// Whether a line had a wrong result.
  bool HasFailed() const { return hasFailed_; }

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

  bool hasFailed_ = false;
  std::vector<std::string> order_;
  std::map<std::string, std::vector<Side>> groups_;
};

}  // namespace

std::map<std::string, double>& kxw::bench::Wanted() {
  static std::map<std::string, double> wanted;
  return wanted;
}

unsigned& kxw::bench::Seed() {
  static unsigned seed = 1;
  return seed;
}

namespace {

/// Takes `--seed N` and `--seed=N` out of the arguments; false where N is no number.
bool TakeSeed(std::vector<char*>& arguments) {
  constexpr const char* kFlag = "--seed";
  const std::size_t length = std::strlen(kFlag);
  for (auto it = arguments.begin() + 1; it != arguments.end();) {
    const char* value = *it + length;
    if (std::strncmp(*it, kFlag, length) != 0 || (*value && *value != '=')) {
      ++it;
      continue;
    }
    if (*value) {
      ++value;
    } else {
      it = arguments.erase(it);
      if (it == arguments.end()) return false;
      value = *it;
    }
    const char* const end = value + std::strlen(value);
    const auto [stop, error] = std::from_chars(value, end, kxw::bench::Seed());
    if (error != std::errc() || stop != end) return false;
    it = arguments.erase(it);
  }
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<char*> arguments(argv, argv + argc);
  if (!TakeSeed(arguments)) {
    std::fprintf(stderr, "--seed takes a number from 0 to 4294967295\n");
    return 1;
  }
  // Every line runs for a while, and three times, so that a first run with cold memory or a busy
  // moment of the machine is no result. What the user says stands behind, and so is what counts.
  char repetitions[] = "--benchmark_repetitions=3", time[] = "--benchmark_min_time=0.2";
  arguments.insert(arguments.begin() + 1, {repetitions, time});
  int count = static_cast<int>(arguments.size());
  arguments.push_back(nullptr);
  benchmark::Initialize(&count, arguments.data());
  if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) return 1;
  std::printf("Pictures of seed %u\n", kxw::bench::Seed());
  TableReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  return reporter.HasFailed() ? 1 : 0;
}
