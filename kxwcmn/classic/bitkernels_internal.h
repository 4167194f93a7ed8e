#pragma once

#include <algorithm>

#include "kxwcmn/classic/bitkernels.h"

namespace kxw {

/// How the pixels of a source are spread over those of a destination on one axis, or left out: for
/// each pixel `step` source pixels forward, and one more whenever the error, from which `rest` goes
/// each time, falls below `least`; `size` is added to it then.
struct BitSteps {
  int size;
  int step, rest;
  int error;
  int least = 0;

  static BitSteps Reduce(int from, int to) { return {to, from / to, from % to, to}; }
  static BitSteps Enlarge(int from, int to, int error) { return {to, 0, from, error}; }

  /// How far from its start the walk is after so many pixels.
  i64 After(i64 pixels) const {
    const i64 missing = pixels * rest + least - error;
    const i64 more = missing > 0 ? (missing + size - 1) / size : 0;
    return pixels * step + std::min(pixels, more);  // the error is refilled once a pixel at most
  }
};

/// The source pixels of an axis, one after another.
class BitWalk {
 public:
  BitWalk(const BitSteps& steps, int start) : steps_(steps), at_(start), error_(steps.error) {}
  int At() const { return static_cast<int>(at_); }
  void Next() {
    error_ -= steps_.rest;
    at_ += steps_.step;
    if (error_ < steps_.least) {
      error_ += steps_.size;
      ++at_;
    }
  }

 private:
  BitSteps steps_;
  i64 at_;  // it may leave 32 bits behind the last pixel
  i64 error_;
};

/// The kernels that `StretchCopy` uses for a pair of depths; null where there is none.
struct BitKernels {
  KXBitCopy* copy = nullptr;
  KXBitStretch* minimize = nullptr;
  KXBitMaximizeDDA* maximize = nullptr;
};
BitKernels FindBitKernels(int toBits, int fromBits);

/// How the rows of a part that is enlarged walk, at the depth of the destination.
inline BitSteps EnlargeBitRows(int toBits, int fromSize, int toSize, int error) {
  BitSteps steps = BitSteps::Enlarge(fromSize, toSize, error);
  steps.least = toBits == 1;  // the walk of 1-bit rows goes on a pixel earlier; this is kept so
  return steps;
}

}  // namespace kxw
