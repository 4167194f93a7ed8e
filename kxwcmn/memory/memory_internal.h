#pragma once

#include <atomic>

namespace kxw {

/// Pieces of memory that the pools of the process hold: plus one for each that comes from qmAlloc,
/// minus one for each that goes back. A diagnostic.
extern std::atomic<int> liveAllocations;

/// Names of swap files begin with it.
inline constexpr char kSwapPrefix[] = "SWP";

}  // namespace kxw
