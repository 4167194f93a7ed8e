#include <algorithm>
#include <cstddef>

#include "kxwcmn/compositing/detail/blockwalk.h"
#include "kxwcmn/compositing/detail/rows.h"
#include "kxwcmn/core/abort.h"
#include "kxwcmn/core/exception.h"
#include "kxwcmn/offscreen/autolock.h"
#include "kxwcmn/offscreen/voffscreen.h"
#include "kxwcmn/resample/detail/scale.h"

namespace {

/// How a picture holds the channels red, green, blue and alpha, as bytes of a pixel. A matte has
/// alpha alone, and a picture without alpha is opaque.
template <int kBytes, int kStep, bool kHasColors, bool kHasAlpha>
struct Format {
  static constexpr int kPixelBytes = kBytes;
  static DWORD Channel(const BYTE* pixel, int c) {
    if (c < 3) return kHasColors ? pixel[c * kStep + kStep - 1] : 0;
    if (!kHasAlpha) return 255;
    return pixel[kBytes - 1];
  }
};
using Matte = Format<1, 1, false, true>;
using Colors24 = Format<3, 1, true, false>;
using Colors32 = Format<4, 1, true, true>;
using Colors64 = Format<8, 2, true, true>;  // the high bytes of its words

/// The pixels of a picture in one direction that one of the thumbnail stands for. They end with the
/// size, which counts from 0 wherever the part begins: this is meant.
struct Span {
  i64 begin, end;
  Span(const kxw::Axis& axis, i64 at)
      : begin(axis.ToSource(at)),
        end(std::min<i64>(std::max(axis.ToSource(at + 1), begin + 1), axis.fromSize)) {}
  u64 Length() const { return end > begin ? static_cast<u64>(end - begin) : 0; }
};

struct Picture {
  const BYTE* bits;
  int rowBytes;
};

/// Averages the boxes of a row, four channels each, and makes `bytes` of them.
using RowSampler = void (*)(const Picture& picture, const kxw::Axis& x, const Span& rows,
                            const KXRect& part, BYTE* bytes);

template <class Form>
void SampleRow(const Picture& picture, const kxw::Axis& x, const Span& rows, const KXRect& part,
               BYTE* bytes) {
  for (int column = part.left; column < part.right; ++column, bytes += 4) {
    const Span columns(x, column);
    u64 sums[4] = {};
    for (i64 row = rows.begin; row < rows.end; ++row) {
      const BYTE* pixel = picture.bits + row * picture.rowBytes + columns.begin * Form::kPixelBytes;
      // No longer than 32 bits of a sum will do.
      for (i64 left = columns.end - columns.begin, n; left > 0; left -= n) {
        n = std::min<i64>(left, 1 << 16);
        DWORD run[4] = {};
        for (i64 i = 0; i < n; ++i, pixel += Form::kPixelBytes) {
          for (int c = 0; c < 4; ++c) run[c] += Form::Channel(pixel, c);
        }
        for (int c = 0; c < 4; ++c) sums[c] += run[c];
      }
    }
    const u64 number = std::max<u64>(columns.Length() * rows.Length(), 1);
    for (int c = 0; c < 4; ++c) bytes[c] = static_cast<BYTE>(sums[c] / number);
  }
}

void SampleNothing(const Picture&, const kxw::Axis&, const Span&, const KXRect& part, BYTE* bytes) {
  std::fill_n(bytes, 4 * part.Width(), BYTE{0});
}

RowSampler SamplerOf(int depth) {
  switch (depth) {
    case 8:
      return SampleRow<Matte>;
    case 24:
      return SampleRow<Colors24>;
    case 32:
      return SampleRow<Colors32>;
    case 64:
      return SampleRow<Colors64>;
    default:
      return SampleNothing;
  }
}

}  // namespace

void KXVOffscreen::CreateThumbnail(int x, int y, int w, int h, BYTE* bits, int sx, int sy, int sw,
                                   int sh, int depth, int rowBytes) {
  if (!bits || sx < 0 || sy < 0) kxThrowError(kxw::kFailureBadArgument);
  if (w < 1 || h < 1 || sw < 1 || sh < 1) return;
  const KXRect rect = kxw::CutToImage(*this, x, y, w, h);
  if (rect.IsRectEmpty()) return;
  const bool keepsOrder = bitCount_ == 32;
  if (keepsOrder && (rect.right > kBlockSize || rect.bottom > kBlockSize)) {
    kxThrowError(kxw::kFailureBadArgument);
  }

  const RowSampler sample = SamplerOf(depth);
  const kxw::RowFunc store = kxw::FindCopyRow(bitCount_, 32);
  if (!store) return;
  const kxw::Axis axisX{x, w, sx, sw}, axisY{y, h, sy, sh};
  KXAbort abort;
  KXVOffscreenAutoLock lock(this, 1);
  KXBlockGetter blocks(this, rect, 1);
  for (KXRect part; blocks.GetNextBlock(part);) {
    for (int row = part.top; row < part.bottom; ++row) {
      abort.CheckAbort();
      BYTE bytes[kxw::kRowBytes<kxw::Depth32>];
      sample({bits, rowBytes}, axisX, Span(axisY, row), part, bytes);
      if (!keepsOrder) {
        // A row of 32 bits begins with blue.
        for (int i = 0; i < 4 * part.Width(); i += 4) std::swap(bytes[i], bytes[i + 2]);
      }
      BYTE* const base = kxw::EnterForWrite(*this, part.left, part.top);
      store(kxw::RowOf(base, row, blockRowBytes_), part.left & kBlockMask, bytes, 0, part.Width());
    }
  }
}
