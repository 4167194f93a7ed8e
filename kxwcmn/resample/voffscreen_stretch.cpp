#include <algorithm>
#include <cstring>
#include <vector>

#include "kxwcmn/compositing/detail/blockwalk.h"
#include "kxwcmn/compositing/detail/rows.h"
#include "kxwcmn/core/abort.h"
#include "kxwcmn/core/exception.h"
#include "kxwcmn/core/outofmemory_internal.h"
#include "kxwcmn/offscreen/autolock.h"
#include "kxwcmn/offscreen/detail/fillrun.h"
#include "kxwcmn/offscreen/detail/streamrow.h"
#include "kxwcmn/offscreen/voffscreen.h"
#include "kxwcmn/resample/detail/scale.h"

// Copies of other sizes, a source pixel for each of theirs.

namespace {

constexpr int kSize = KXVOffscreen::kBlockSize;
constexpr int kMask = KXVOffscreen::kBlockMask;

/// Brings the pixels at `columns` of a source's row to `count` pixels of a row.
using PickFunc = void (*)(BYTE* to, int toColumn, const BYTE* from, const BYTE* columns, int count);
/// Fills a stretch with what the source's depth reads where no memory is.
using BlankFunc = void (*)(BYTE* to, int toColumn, int count);

/// The native value of a depth, and at 64 bits, which has none, the colour.
template <class From>
auto NativeOf(typename From::Pixel p) {
  if constexpr (From::kBits == 64) {
    return From::To64(p);
  } else {
    return From::Native(p);
  }
}
template <class To, class From, class Value>
typename To::Pixel PixelOf(Value value) {
  if constexpr (From::kBits == 64) {
    return To::From64(value);
  } else {
    return To::FromNative(value, {});  // which the clear colours have no part in
  }
}

template <class To, class From>
void Pick(BYTE* to, int toColumn, const BYTE* from, const BYTE* columns, int count) {
  const int first = columns[0];
  const kxw::RowReader<From> source(from, first, columns[count - 1] - first + 1);
  kxw::RowWriter<To> target(to, toColumn, count);
  for (int i = 0; i < count; ++i) {
    target.Set(i, PixelOf<To, From>(NativeOf<From>(source[columns[i] - first])));
  }
  target.Finish();
}

/// A pixel of three bytes moves as four: the byte too many is written over by the next one.
template <>
void Pick<kxw::Depth24, kxw::Depth24>(BYTE* to, int toColumn, const BYTE* from, const BYTE* columns,
                                      int count) {
  to += 3 * toColumn;
  int i = 0;
  // The last column of a block's last row has no fourth byte behind it.
  for (; i < count - 1 && columns[i] < kMask; ++i, to += 3)
    std::memcpy(to, from + 3 * columns[i], 4);
  for (; i < count; ++i, to += 3) std::memcpy(to, from + 3 * columns[i], 3);
}

template <class To, class From>
void Blank(BYTE* to, int toColumn, int count) {
  typename To::Pixel pixel;
  if constexpr (From::kBits == 64) {
    pixel = To::From64(0);
  } else {
    pixel = PixelOf<To, From>(From::kNativeDefault);
  }
  kxw::FillRun<To>(to, toColumn, count, To::FillOf(pixel));
}

/// Copies a stretch of a row to the same place of another as it stands.
using RepeatFunc = void (*)(BYTE* to, const BYTE* from, int column, int count);

struct PairFuncs {
  PickFunc pick = nullptr;
  BlankFunc blank = nullptr;
  RepeatFunc repeat = nullptr;
};

/// Nothing for a pair without a rule: 64 bits have no native values to take.
PairFuncs FindPair(int toBits, int fromBits) {
  return kxw::WithDepth(toBits, [=](auto to) {
    return kxw::WithDepth(fromBits, [](auto from) {
      using To = decltype(to);
      using From = decltype(from);
      if constexpr (To::kBits == 64 && From::kBits != 64) {
        return PairFuncs{};
      } else {
        return PairFuncs{Pick<To, From>, Blank<To, From>, kxw::CopyAlignedRow<To>};
      }
    });
  });
}

/// The source's pixels in one direction for those of a destination's block. Where they lie in one
/// block of the source, or none, they are a run.
class Picks {
 public:
  struct Run {
    int begin, end;  // in the destination
    int source;      // the first pixel of the source; -1 outside of it
  };

  /// For `start` to `end` of the destination; `limit` is the source's size.
  Picks(const kxw::Axis& axis, int start, int end, int limit) : start_(start) {
    const double ratio = static_cast<double>(axis.fromSize) / axis.size;
    i64 block = -2;
    for (int at = start; at < end; ++at) {
      const auto step = static_cast<double>(at - static_cast<i64>(axis.start));
      const i64 source = static_cast<i64>(step * ratio) + axis.from;
      const bool isInside = source >= 0 && source < limit;
      const i64 in = isInside ? source / kSize : -1;
      if (in != block) runs_.push_back({at, at, isInside ? static_cast<int>(source) : -1});
      block = in;
      runs_.back().end = at + 1;
      places_[at - start] = static_cast<BYTE>(source & kMask);
    }
  }
  const std::vector<Run>& Runs() const { return runs_; }
  /// The places in their block of the pixels from `at` on.
  const BYTE* Places(int at) const { return places_ + (at - start_); }

 private:
  int start_;
  BYTE places_[kSize];
  std::vector<Run> runs_;
};

void Stretch(KXVOffscreen& dst, KXVOffscreen& src, const kxw::Axis& x, const kxw::Axis& y,
             const KXRect& rect, const PairFuncs& pair) {
  const int rowBytes = dst.GetBlockRowBytes(), srcRowBytes = src.GetBlockRowBytes();
  KXAbort abort;
  KXVOffscreenAutoLock dstLock(&dst, 1), srcLock(&src, 0);
  KXBlockGetter blocks(&dst, rect, 1);
  for (KXRect target; blocks.GetNextBlock(target);) {
    const Picks columns(x, target.left, target.right, src.GetWidth());
    const Picks rows(y, target.top, target.bottom, src.GetHeight());
    for (const Picks::Run& down : rows.Runs()) {
      for (const Picks::Run& along : columns.Runs()) {
        abort.CheckAbort();
        const bool isInside = along.source >= 0 && down.source >= 0;
        const BYTE* const from =
            isInside ? kxw::EnterForRead(src, along.source, down.source) : nullptr;
        BYTE* to =
            kxw::RowOf(kxw::EnterForWrite(dst, target.left, target.top), down.begin, rowBytes);
        const int column = along.begin & kMask, count = along.end - along.begin;
        const BYTE* const places = rows.Places(down.begin);
        const int rowCount = down.end - down.begin;
        for (int j = 0; j < rowCount; ++j, to += rowBytes) {
          if (from && places[j] != places[std::min(j + 1, rowCount - 1)]) {
            kxw::PrefetchRow(from + places[std::min(j + 2, rowCount - 1)] * srcRowBytes,
                             srcRowBytes);
          }
          if (!from) {
            pair.blank(to, column, count);
          } else if (j > 0 && places[j] == places[j - 1]) {
            pair.repeat(to, to - rowBytes, column, count);
          } else {
            pair.pick(to, column, from + places[j] * srcRowBytes, columns.Places(along.begin),
                      count);
          }
        }
      }
    }
  }
}

}  // namespace

void KXVOffscreen::StretchCopy(int x, int y, int w, int h, KXVOffscreen* src, int sx, int sy,
                               int sw, int sh) {
  if (!src || !src->memory_ || w < 1 || h < 1 || sw < 1 || sh < 1) return;
  if (src == this) kxThrowError(kxw::kFailureBadArgument);
  const PairFuncs pair = FindPair(bitCount_, src->bitCount_);
  const KXRect rect = kxw::CutToImage(*this, x, y, w, h);
  if (!pair.pick || rect.IsRectEmpty()) return;
  kxw::RaiseWithoutMemory([&] {
    Stretch(*this, *src, {x, w, sx, sw}, {y, h, sy, sh}, rect, pair);
  });
}
