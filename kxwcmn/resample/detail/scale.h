#pragma once

#include <algorithm>

#include "kxwcmn/core/geometry.h"
#include "kxwcmn/offscreen/voffscreen.h"
#include "kxwcmn/platform/types.h"

/// The way between the pixels of two images of which one shows a part of the other at another size.
namespace kxw {

/// The part of an image that a change of size writes; empty for a size below 1.
inline KXRect CutToImage(const KXVOffscreen& image, int x, int y, int w, int h) {
  const auto end = [](int at, int size, int limit) {
    return static_cast<int>(std::min<i64>(i64{at} + size, limit));
  };
  return KXRect(std::max(x, 0), std::max(y, 0), end(x, w, image.GetWidth()),
                end(y, h, image.GetHeight()));
}

/// One direction: the `size` pixels from `start` on stand for `fromSize` pixels from `from` on.
/// Both sizes are above 0. What comes out of `ToSource` may lie beyond 32 bits, as a rectangle may
/// end there.
struct Axis {
  int start, size, from, fromSize;

  i64 ToSource(i64 at) const { return (at - start) * fromSize / size + from; }
  i64 ToTarget(i64 at) const { return (at - from) * size / fromSize + start; }
};

/// The pixels of a stretch of `from` pixels that each one of `count` pixels stands for: at least
/// one, and a pixel of the stretch belongs to one of them only if there are enough.
class Spans {
 public:
  Spans(int from, int count) : from_(from), count_(count) {}
  int Begin(int i) const { return i * from_ / count_; }
  int End(int i) const { return std::max((i + 1) * from_ / count_, Begin(i) + 1); }

 private:
  int from_, count_;
};

}  // namespace kxw
