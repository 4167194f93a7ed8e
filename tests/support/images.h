#pragma once

#include <random>

#include "kxwcmn/memory/virtualmemory.h"
#include "kxwcmn/offscreen/voffscreen.h"

namespace testing_kxw {

inline constexpr int kAllDepths[] = {1, 2, 8, 16, 24, 32, 64};

/// A manager of a few blocks' budget with a real swap file, made once a program.
inline KXVirtualMemory* SmallManager() {
  static KXVirtualMemory* const manager = [] {
    static KXVirtualMemory instance;
    instance.Create(2 << 20, nullptr);
    return &instance;
  }();
  return manager;
}

/// A manager in which a few images fit whole.
inline KXVirtualMemory* RoomyManager() {
  static KXVirtualMemory* const manager = [] {
    static KXVirtualMemory instance;
    instance.Create(64 << 20, nullptr);
    return &instance;
  }();
  return manager;
}

using ImagePtr = KXVOffscreenPtr;

inline ImagePtr MakeImage(int bits, int width, int height, double resolution = 72,
                          KXVirtualMemory* manager = SmallManager()) {
  return KXVOffscreen::Make(bits, width, height, resolution, manager);
}

class Random {
 public:
  explicit Random(unsigned seed) : engine_(seed) {}
  /// A number of [low, high].
  int Int(int low, int high) { return std::uniform_int_distribution<int>(low, high)(engine_); }
  bool OneIn(int n) { return Int(1, n) == 1; }
  u64 Bits() { return engine_(); }
  /// A coordinate of [low, high], half of the time near a seam of blocks or an end of the range.
  int Edge(int low, int high) {
    if (OneIn(2)) return Int(low, high);
    const int near[] = {low, high, 255, 256, 257, 511, 512, 513};
    const int value = near[Int(0, 7)] + Int(-1, 1);
    return value < low ? low : value > high ? high : value;
  }

 private:
  std::mt19937_64 engine_;
};

}  // namespace testing_kxw
