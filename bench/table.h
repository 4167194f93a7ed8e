#pragma once

#include <benchmark/benchmark.h>

#include <functional>
#include <map>
#include <string>
#include <utility>

/// Benchmarks that stand in the table of ratios are named "operation|side", where the side is
/// "ours" or what ours is measured beside: a limit ("memcpy") or a peer ("OpenCV floodFill"). The
/// ratio printed is the other side's time over ours: above 1, ours is the faster one.
namespace kxw::bench {

/// The ratio that an operation should reach.
std::map<std::string, double>& Wanted();

/// Registers our side of an operation, whose other sides are added where their libraries are there.
template <class Ours>
bool AddOurs(const std::string& operation, double wanted, Ours ours) {
  if (wanted > 0) Wanted()[operation] = wanted;
  benchmark::RegisterBenchmark((operation + "|ours").c_str(), ours);
  return true;
}

/// Registers both sides of an operation, to run one after the other. Call it from a namespace-scope
/// initialiser: `const bool kAdded = kxw::bench::Add("…", 0.9, Ours, "memcpy", Limit);`
/// The time compared is the processor's.
template <class Ours, class Other>
bool Add(const std::string& operation, double wanted, Ours ours, const std::string& beside,
         Other other) {
  AddOurs(operation, wanted, ours);
  benchmark::RegisterBenchmark((operation + "|" + beside).c_str(), other);
  return true;
}

/// The same where waiting counts, as for a disk: real time is compared.
template <class Ours, class Other>
bool AddReal(const std::string& operation, double wanted, Ours ours, const std::string& beside,
             Other other) {
  if (wanted > 0) Wanted()[operation] = wanted;
  benchmark::RegisterBenchmark((operation + "|ours").c_str(), ours)->UseRealTime();
  benchmark::RegisterBenchmark((operation + "|" + beside).c_str(), other)->UseRealTime();
  return true;
}

/// Registers one more side of an operation that `Add` has named.
template <class Other>
bool AddSide(const std::string& operation, const std::string& beside, Other other) {
  benchmark::RegisterBenchmark((operation + "|" + beside).c_str(), other);
  return true;
}

}  // namespace kxw::bench
