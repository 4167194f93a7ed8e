#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "kxwcmn/compositing/detail/blockwalk.h"
#include "kxwcmn/compositing/detail/rows.h"
#include "kxwcmn/core/abort.h"
#include "kxwcmn/core/exception.h"
#include "kxwcmn/core/outofmemory_internal.h"
#include "kxwcmn/memory/virtualmemory.h"
#include "kxwcmn/offscreen/autolock.h"
#include "kxwcmn/offscreen/detail/fillrun.h"
#include "kxwcmn/offscreen/voffscreen_depths.h"
#include "kxwcmn/platform/number.h"
#include "kxwcmn/resample/detail/bilinear.h"

// A turn by any angle. The result is painted tile by tile; the pixels of the source that a tile
// needs are copied to one plain array first, where holes, edges, depths and the seams of blocks are
// settled, so that the loops over the tile's pixels know none of them.

namespace {

constexpr int kTile = kxw::kMostMixed;  // its window of the source fits the nearer caches

std::size_t Index(i64 i) { return static_cast<std::size_t>(i); }

/// Pixels of the source in one array. `Word` is a colour of 32 or 64 bits as it stands in memory.
template <class Word>
class Window {
 public:
  /// `read` makes words of the source's rows, `hole` stands for a pixel without memory and
  /// `outside` for one beyond the edge.
  Window(KXVOffscreen& src, kxw::RowFunc read, Word hole, Word outside)
      : src_(src), read_(read), hole_(hole), outside_(outside) {}

  void Load(const KXRect& rect) {
    rect_ = rect;
    const std::size_t count = Index(i64{rect.Width()} * rect.Height());
    if ((rect & src_.GetRect()) == rect) {
      words_.resize(count);  // and all of them are set below
    } else {
      words_.assign(count, outside_);
    }
    KXBlockGetter blocks(&src_, rect, 1);
    for (KXRect part; blocks.GetNextBlock(part);) {
      const BYTE* const from = kxw::EnterForRead(src_, part.left, part.top);
      for (int y = part.top; y < part.bottom; ++y) {
        Word* const to = &words_[Index(i64{y - rect.top} * rect.Width() + part.left - rect.left)];
        if (from) {
          read_(reinterpret_cast<BYTE*>(to), 0, kxw::RowOf(from, y, src_.GetBlockRowBytes()),
                part.left & KXVOffscreen::kBlockMask, part.Width());
        } else {
          std::fill_n(to, part.Width(), hole_);
        }
      }
    }
  }
  const Word* Row(int y) const { return &words_[Index(i64{y - rect_.top} * rect_.Width())]; }
  const KXRect& Rect() const { return rect_; }

 private:
  KXVOffscreen& src_;
  const kxw::RowFunc read_;
  const Word hole_, outside_;
  KXRect rect_;
  std::vector<Word> words_;
};

/// The way of the result's rows into the image: words are stored as the depth stores them.
template <class Word>
class Target {
 public:
  explicit Target(KXVOffscreen& dst) : dst_(dst) {
    write_ = kxw::FindCopyRow(dst.GetBitCount(), 8 * static_cast<int>(sizeof(Word)));
  }
  void Store(const KXRect& tile, int x, int y, const Word* words, int count) {
    BYTE* const base = kxw::EnterForWrite(dst_, tile.left, tile.top);
    write_(kxw::RowOf(base, y, dst_.GetBlockRowBytes()), x & KXVOffscreen::kBlockMask,
           reinterpret_cast<const BYTE*>(words), 0, count);
  }

 private:
  KXVOffscreen& dst_;
  kxw::RowFunc write_;
};

template <class Op>
void ForEachTile(KXVOffscreen& dst, Op op) {
  KXAbort abort;
  KXBlockGetter blocks(&dst, dst.GetRect(), 1);
  for (KXRect part; blocks.GetNextBlock(part);) {
    for (int y = part.top; y < part.bottom; y += kTile) {
      for (int x = part.left; x < part.right; x += kTile) {
        abort.CheckAbort();
        op(KXRect(x, y, std::min(x + kTile, part.right), std::min(y + kTile, part.bottom)));
      }
    }
  }
}

struct Turn {
  double cosine, sine;
  explicit Turn(int degrees) {
    const double angle = degrees * 0.017453292519943295;
    cosine = std::cos(angle);
    sine = std::sin(angle);
  }
};

/// Creates the image that a turn fills; destroys it again unless the turn is finished.
class NewImage {
 public:
  NewImage(KXVOffscreen& image, i64 width, i64 height, double resolution) : image_(image) {
    constexpr i64 kMost = KXVOffscreen::kMaxSize;
    if (width > kMost || height > kMost) kxThrowError(kxw::kFailureBadArgument);
    image.Create(kxGetVirtualMemory(), static_cast<int>(width), static_cast<int>(height),
                 resolution);
  }
  ~NewImage() {
    if (!isFinished_) image_.Destroy();
  }
  NewImage(const NewImage&) = delete;
  NewImage& operator=(const NewImage&) = delete;
  void Finish() { isFinished_ = true; }

 private:
  KXVOffscreen& image_;
  bool isFinished_ = false;
};

// --- The nearest pixel --------------------------------------------------------------------------

/// The way from the result to the source, with 12 fractional bits.
class FixedTurn {
 public:
  static constexpr int kShift = 12;

  FixedTurn(const Turn& turn, int width, int height)
      : cosine_(static_cast<i64>(turn.cosine * 4096.0)),
        sine_(static_cast<i64>(turn.sine * 4096.0)) {
    const double w = width, h = height;
    const i64 x[4] = {0, static_cast<i64>(w * turn.cosine),
                      static_cast<i64>(h * turn.sine + w * turn.cosine),
                      static_cast<i64>(h * turn.sine)};
    const i64 y[4] = {0, static_cast<i64>(-w * turn.sine),
                      static_cast<i64>(h * turn.cosine - w * turn.sine),
                      static_cast<i64>(h * turn.cosine)};
    width_ = *std::max_element(x, x + 4) - *std::min_element(x, x + 4);
    height_ = *std::max_element(y, y + 4) - *std::min_element(y, y + 4);
    const i64 cx = width_ / 2, cy = height_ / 2;
    startU_ = cy * sine_ - cx * cosine_ + i64{width / 2} * 4096;
    startV_ = i64{height / 2} * 4096 - cy * cosine_ - cx * sine_;
  }
  i64 Width() const { return width_; }
  i64 Height() const { return height_; }
  i64 U(i64 x, i64 y) const { return x * cosine_ + startU_ - y * sine_; }
  i64 V(i64 x, i64 y) const { return x * sine_ + startV_ + y * cosine_; }
  int StepU() const { return static_cast<int>(cosine_); }
  int StepV() const { return static_cast<int>(sine_); }

  /// The source's pixels that a rectangle of the result shows; they may lie outside of it.
  void Bounds(const KXRect& rect, i64 (&bounds)[4]) const {
    const i64 right = rect.right - 1, bottom = rect.bottom - 1;
    const i64 u[4] = {U(rect.left, rect.top), U(right, rect.top), U(rect.left, bottom),
                      U(right, bottom)};
    const i64 v[4] = {V(rect.left, rect.top), V(right, rect.top), V(rect.left, bottom),
                      V(right, bottom)};
    bounds[0] = *std::min_element(u, u + 4) >> kShift;
    bounds[1] = *std::min_element(v, v + 4) >> kShift;
    bounds[2] = (*std::max_element(u, u + 4) >> kShift) + 1;
    bounds[3] = (*std::max_element(v, v + 4) >> kShift) + 1;
  }

 private:
  i64 cosine_, sine_, startU_, startV_;
  i64 width_, height_;
};

/// Keeps of the steps from `begin` to `end` those at which `start` plus step times `step` lies in
/// [0, limit).
void KeepInside(i64 start, int step, i64 limit, int& begin, int& end) {
  if (step == 0) {
    if (start < 0 || start >= limit) end = begin;
    return;
  }
  const i64 low = step > 0 ? -start : start - limit + 1;  // both over the step's size, upwards
  const i64 high = step > 0 ? limit - start : start + 1;
  const i64 size = step > 0 ? step : -step;
  const auto up = [size](i64 value) {
    return value > 0 ? (value + size - 1) / size : value / size;
  };
  begin = static_cast<int>(std::max<i64>(begin, std::min<i64>(up(low), end)));
  end = static_cast<int>(std::min<i64>(end, std::max<i64>(up(high), begin)));
}

template <class Word>
void PickRow(const Word* window, int stride, int u, int stepU, int v, int stepV, int count,
             Word* words) {
  for (int i = 0; i < count; ++i, u += stepU, v += stepV) {
    words[i] = window[(v >> FixedTurn::kShift) * stride + (u >> FixedTurn::kShift)];
  }
}

template <class Word>
void TurnFast(KXVOffscreen& dst, KXVOffscreen& src, const FixedTurn& turn) {
  const kxw::RowFunc read = kxw::FindCopyRow(8 * static_cast<int>(sizeof(Word)), src.GetBitCount());
  Window<Word> window(src, read, 0, 0);
  Target<Word> target(dst);
  KXVOffscreenAutoLock dstLock(&dst, 1), srcLock(&src, 0);
  ForEachTile(dst, [&](const KXRect& tile) {
    i64 bounds[4];
    turn.Bounds(tile, bounds);
    const KXRect rect(static_cast<int>(std::clamp<i64>(bounds[0], 0, src.GetWidth())),
                      static_cast<int>(std::clamp<i64>(bounds[1], 0, src.GetHeight())),
                      static_cast<int>(std::clamp<i64>(bounds[2], 0, src.GetWidth())),
                      static_cast<int>(std::clamp<i64>(bounds[3], 0, src.GetHeight())));
    if (rect.IsRectEmpty()) return;
    window.Load(rect);
    const i64 originU = i64{rect.left} << FixedTurn::kShift;
    const i64 originV = i64{rect.top} << FixedTurn::kShift;
    for (int y = tile.top; y < tile.bottom; ++y) {
      const i64 u = turn.U(tile.left, y) - originU, v = turn.V(tile.left, y) - originV;
      int begin = 0, end = tile.Width();
      KeepInside(u, turn.StepU(), i64{rect.Width()} << FixedTurn::kShift, begin, end);
      KeepInside(v, turn.StepV(), i64{rect.Height()} << FixedTurn::kShift, begin, end);
      if (begin >= end) continue;
      Word words[kTile];
      PickRow(window.Row(rect.top), rect.Width(), static_cast<int>(u + i64{begin} * turn.StepU()),
              turn.StepU(), static_cast<int>(v + i64{begin} * turn.StepV()), turn.StepV(),
              end - begin, words);
      target.Store(tile, tile.left + begin, y, words, end - begin);
    }
  });
}

// --- Four pixels --------------------------------------------------------------------------------

/// A smooth turn and the size of its result.
class SmoothTurn {
 public:
  SmoothTurn(const Turn& turn, int degrees, int width, int height) {
    const double right = width - 1.0, bottom = height - 1.0;
    const double centre[2] = {right * 0.5, bottom * 0.5};
    double corners[4][2] = {{0, 0}, {right, 0}, {right, bottom}, {0, bottom}};
    for (auto& corner : corners) qmRotatePointD(corner, degrees, centre);
    double low[2] = {corners[0][0], corners[0][1]}, high[2] = {low[0], low[1]};
    for (const auto& corner : corners) {
      for (int k = 0; k < 2; ++k) {
        low[k] = std::min(low[k], corner[k]);
        high[k] = std::max(high[k], corner[k]);
      }
    }
    width_ = high[0] - low[0];
    height_ = high[1] - low[1];
    places_ = {turn.cosine, turn.sine, width_ * 0.5, height_ * 0.5,
               centre[0],   centre[1], width,        height};
  }
  i64 Width() const { return static_cast<i64>(width_); }
  i64 Height() const { return static_cast<i64>(height_); }
  const kxw::TurnedPlaces& Places() const { return places_; }

  /// The source's pixels that a rectangle of the result needs, with room for rounding; those to the
  /// right and below may lie outside. Empty if the rectangle shows none.
  KXRect WindowOf(const KXRect& rect) const {
    const auto& p = places_;
    const double us[4] = {p.U(rect.left, rect.top), p.U(rect.right, rect.top),
                          p.U(rect.left, rect.bottom), p.U(rect.right, rect.bottom)};
    const double vs[4] = {p.V(rect.left, rect.top), p.V(rect.right, rect.top),
                          p.V(rect.left, rect.bottom), p.V(rect.right, rect.bottom)};
    const auto low = [](const double* at) {
      return std::max(kxw::Truncate(*std::min_element(at, at + 4)) - 1, 0);
    };
    const auto high = [](const double* at, int limit) {
      return kxw::Truncate(std::min(*std::max_element(at, at + 4), limit - 1.0)) + 3;
    };
    const KXRect window(low(us), low(vs), high(us, p.srcWidth), high(vs, p.srcHeight));
    const bool isOutside = window.left >= p.srcWidth || window.top >= p.srcHeight;
    return isOutside ? KXRect() : window;
  }

 private:
  double width_, height_;
  kxw::TurnedPlaces places_;
};

template <class Word>
void TurnSmooth(KXVOffscreen& dst, KXVOffscreen& src, const SmoothTurn& turn, Window<Word> window) {
  Target<Word> target(dst);
  KXVOffscreenAutoLock dstLock(&dst, 1), srcLock(&src, 0);
  kxw::MixPlaces places;
  ForEachTile(dst, [&](const KXRect& tile) {
    const KXRect rect = turn.WindowOf(tile);
    if (rect.IsRectEmpty()) return;
    window.Load(rect);
    for (int y = tile.top; y < tile.bottom; ++y) {
      Word words[kTile];
      BYTE isStored[kTile];
      kxw::FindMixPlaces(turn.Places(), tile.left, y, tile.Width(), rect, places);
      kxw::MixRow(window.Row(rect.top), rect.Width(), places, words, isStored);
      for (int first = places.first, end; first < places.end; first = end + 1) {
        end = first;
        while (end < places.end && isStored[end]) ++end;
        if (end > first) target.Store(tile, tile.left + first, y, words + first, end - first);
      }
    }
  });
}

/// Rows of colours of 48 bits, as they are read.
template <class Depth>
void Read48(BYTE* to, int, const BYTE* from, int fromColumn, int count) {
  const kxw::RowReader<Depth> pixels(from, fromColumn, count);
  for (int i = 0; i < count; ++i) {
    const u64 color = Depth::To48(pixels[i]);
    std::memcpy(to + 8 * i, &color, sizeof color);
  }
}

struct Source48 {
  kxw::RowFunc read = nullptr;
  u64 hole = 0;
};

Source48 Find48(int bits) {
  return kxw::WithDepth(bits, [](auto depth) {
    using Depth = decltype(depth);
    return Source48{Read48<Depth>, Depth::k48Default};
  });
}

/// The smooth turn in the words of a destination of up to 32 bits, and in those of 64 bits.
void TurnSmooth32(KXVOffscreen& dst, KXVOffscreen& src, const SmoothTurn& turn) {
  const kxw::RowFunc read = kxw::FindCopyRow(32, src.GetBitCount());
  TurnSmooth<DWORD>(dst, src, turn, {src, read, 0, kxw::kMixOutside<DWORD>});
}
void TurnSmooth64(KXVOffscreen& dst, KXVOffscreen& src, const SmoothTurn& turn) {
  const Source48 source = Find48(src.GetBitCount());
  TurnSmooth<u64>(dst, src, turn, {src, source.read, source.hole, kxw::kMixOutside<u64>});
}

using FastFunc = void (*)(KXVOffscreen& dst, KXVOffscreen& src, const FixedTurn& turn);
using SmoothFunc = void (*)(KXVOffscreen& dst, KXVOffscreen& src, const SmoothTurn& turn);

/// Creates `dst` and fills it.
void Rotate(KXVOffscreen& dst, KXVOffscreen& src, int degrees, bool smooth, FastFunc turnFast,
            SmoothFunc turnSmooth) {
  if (&src == &dst) kxThrowError(kxw::kFailureBadArgument);
  const Turn turn(degrees);
  const auto fill = [&](const auto& way, auto fillImage) {
    NewImage image(dst, way.Width(), way.Height(), src.GetResolution());
    fillImage(dst, src, way);
    image.Finish();
  };
  kxw::RaiseWithoutMemory([&] {
    if (smooth) {
      fill(SmoothTurn(turn, degrees, src.GetWidth(), src.GetHeight()), turnSmooth);
    } else {
      fill(FixedTurn(turn, src.GetWidth(), src.GetHeight()), turnFast);
    }
  });
}

}  // namespace

void KXVOffscreen::CreateRotationImage(KXVOffscreen& src, int degrees, int smooth) {
  Rotate(*this, src, degrees, smooth != 0, TurnFast<DWORD>, TurnSmooth32);
}

void KXVOffscreen64Bit::CreateRotationImage(KXVOffscreen& src, int degrees, int smooth) {
  Rotate(*this, src, degrees, smooth != 0, TurnFast<u64>, TurnSmooth64);
}
