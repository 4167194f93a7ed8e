#include "kxwcmn/classic/bitkernels.h"

#include <cassert>
#include <cstddef>

#include "kxwcmn/classic/bitkernels_internal.h"
#include "kxwcmn/classic/detail/bitdepths.h"
#include "kxwcmn/classic/rows_internal.h"
#include "kxwcmn/compositing/detail/rows.h"
#include "kxwcmn/platform/vectorize_internal.h"

// Each kernel is one of three walks, copy, reduction or enlargement, over a pair of depths. The
// last two differ only in the steps of their axes.

namespace kxw {
namespace {

/// Pixels to be written and read; of the source the first row and column count.
struct Target {
  BYTE* base;
  int x, y, width, height, rowBytes;
  BYTE* Row(int row) const { return base + (std::ptrdiff_t{y} + row) * rowBytes; }
};
struct Source {
  const BYTE* base;
  int x, y, rowBytes;
  const BYTE* Row(int row) const { return base + std::ptrdiff_t{row} * rowBytes; }
};

/// Whether `width` columns from `x` on exist in a row.
template <class Depth>
[[maybe_unused]] bool IsInRow(i64 x, i64 width, int rowBytes) {
  return x >= 0 && (x + width) * Depth::kBits <= i64{rowBytes} * 8;
}

template <class To, class From>
typename To::Pixel Convert(typename From::Pixel p) {
  return To::From(FromBits<From::kBits>{}, p);
}

// --- Equal size ----------------------------------------------------------------------------------

template <class To, class From>
void CopyRow(BYTE* to, int toX, const BYTE* from, int fromX, int count) {
  if constexpr (To::kBits == 1) {
    FindClassicCopyRow(1, 1)(to, toX, from, fromX, count);
  } else if constexpr (From::kBits == 1) {
    constexpr int kPiece = KXVOffscreen::kBlockSize;
    for (int done = 0; done < count; done += kPiece) {
      const int pixels = std::min(kPiece, count - done), x = fromX + done;
      const RowReader<Depth1> reader(from + (x >> 3), x & 7, pixels);
      for (int i = 0; i < pixels; ++i) To::Store(to, toX + done + i, Convert<To, From>(reader[i]));
    }
  } else if constexpr (To::kBits == From::kBits) {
    constexpr std::size_t kBytes = To::kBits / 8;
    std::memcpy(to + static_cast<std::size_t>(toX) * kBytes,
                from + static_cast<std::size_t>(fromX) * kBytes,
                static_cast<std::size_t>(count) * kBytes);
  } else {
    for (int i = 0; i < count; ++i) {
      To::Store(to, toX + i, Convert<To, From>(From::Load(from, fromX + i)));
    }
  }
}

template <class To, class From>
void Copy(const Target& to, const Source& from) {
  if (to.width <= 0) return;
  assert(to.height <= 0 || (to.base && from.base && to.y >= 0 && from.y >= 0));
  assert(IsInRow<To>(to.x, to.width, to.rowBytes) &&
         IsInRow<From>(from.x, to.width, from.rowBytes));
  for (int i = 0; i < to.height; ++i) {
    CopyRow<To, From>(to.Row(i), to.x, from.Row(from.y + i), from.x, to.width);
  }
}

template <class From>
void CopyOverlaid(const Target& to, const Source& from, const Source& overlay) {
  if (to.width <= 0) return;
  assert(to.height <= 0 || (to.base && from.base && to.y >= 0 && from.y >= 0));
  assert(to.height <= 0 || (overlay.base && overlay.y >= 0));
  assert(IsInRow<Bit24>(to.x, to.width, to.rowBytes));
  assert(IsInRow<From>(from.x, to.width, from.rowBytes));
  assert(IsInRow<Bit32>(overlay.x, to.width, overlay.rowBytes));
  for (int y = 0; y < to.height; ++y) {
    BYTE* const row = to.Row(y);
    const BYTE *const under = from.Row(from.y + y), *const over = overlay.Row(overlay.y + y);
    for (int x = 0; x < to.width; ++x) {
      const DWORD ink = Bit32::Load(over, overlay.x + x);
      const DWORD color = ink >> 24 == 255 ? Convert<Bit24, Bit32>(ink)
                                           : Convert<Bit24, From>(From::Load(under, from.x + x));
      Bit24::Store(row, to.x + x, color);
    }
  }
}

// --- Other sizes ---------------------------------------------------------------------------------

/// Columns are found out for so many pixels at once, and then used by all rows.
constexpr int kStrip = 4096;

/// Brings the pixels of `columns`, which never fall, of a source's row to `count` pixels of a row.
template <class To, class From>
void PickRow(BYTE* to, int toX, const BYTE* from, const int* columns, int count) {
  int i = 0;
  if constexpr (From::kBits == 24 || To::kBits == 24) {
    // Pixels of three bytes move as four: what is written too much is written over by the next
    // one. Neither may be done at the last one, behind which the row may end.
    BYTE* at = to + std::ptrdiff_t{toX} * (To::kBits / 8);
    for (const int last = columns[count - 1]; i < count - 1 && columns[i] < last; ++i) {
      DWORD pixel;
      if constexpr (From::kBits == 24) {
        std::memcpy(&pixel, from + std::ptrdiff_t{columns[i]} * 3, 4);
        pixel = To::From(FromBits<24>{}, pixel);
      } else {
        pixel = Convert<To, From>(From::Load(from, columns[i]));
      }
      std::memcpy(at, &pixel, 4);
      at += To::kBits / 8;
    }
  }
  for (; i < count; ++i) {
    To::Store(to, toX + i, Convert<To, From>(From::Load(from, columns[i])));
  }
}

/// The rows of a reduction lie too far apart for the machine to foresee them.
void PrefetchRow(const BYTE* begin, const BYTE* end) {
  for (; begin < end; begin += 64) KXW_PREFETCH(begin);
}

/// Copies `count` pixels of a row to the same columns of another.
template <class Depth>
void RepeatRow(BYTE* to, const BYTE* from, int x, int count) {
  if constexpr (Depth::kBits == 1) {
    CopyBits(to + (x >> 3), from + (x >> 3), x & 7, (x & 7) + count);
  } else {
    constexpr std::size_t kBytes = Depth::kBits / 8;
    const std::size_t first = static_cast<std::size_t>(x) * kBytes;
    std::memcpy(to + first, from + first, static_cast<std::size_t>(count) * kBytes);
  }
}

template <class To, class From>
void Stretch(const Target& to, const Source& from, const BitSteps& stepsX, const BitSteps& stepsY) {
  if (to.width <= 0 || to.height <= 0) return;
  assert(to.base && from.base && to.y >= 0 && from.y >= 0);
  assert(IsInRow<To>(to.x, to.width, to.rowBytes));
  assert(IsInRow<From>(from.x, stepsX.After(to.width - 1) + 1, from.rowBytes));
  BitWalk column(stepsX, from.x);
  int columns[kStrip];
  for (int done = 0, count; done < to.width; done += count) {
    count = std::min(kStrip, to.width - done);
    const int x = to.x + done;
    for (int i = 0; i < count; ++i, column.Next()) columns[i] = column.At();
    BitWalk row(stepsY, from.y);
    for (int i = 0, last = -1; i < to.height; ++i, row.Next()) {
      if (row.At() == last) {
        RepeatRow<To>(to.Row(i), to.Row(i - 1), x, count);
      } else {
        last = row.At();
        if (stepsY.step > 0 && i + 1 < to.height) {
          const BYTE* const next = from.Row(last + stepsY.step);
          PrefetchRow(next + i64{columns[0]} * From::kBits / 8,
                      next + i64{columns[count - 1]} * From::kBits / 8);
        }
        PickRow<To, From>(to.Row(i), x, from.Row(last), columns, count);
      }
    }
  }
}

// --- In the shape of the exported functions ------------------------------------------------------

template <class To, class From>
void CopyKernel(BYTE* dest, int x, int y, int width, int height, int rowBytes, const BYTE* source,
                int sourceX, int sourceY, int sourceRowBytes) {
  Copy<To, From>({dest, x, y, width, height, rowBytes}, {source, sourceX, sourceY, sourceRowBytes});
}

template <class To, class From>
void MinimizeKernel(BYTE* dest, int x, int y, int width, int height, int rowBytes,
                    const BYTE* source, int sourceX, int sourceY, int sourceWidth, int sourceHeight,
                    int sourceRowBytes) {
  if (width <= 0 || height <= 0) return;
  assert(sourceWidth >= width && sourceHeight >= height);
  Stretch<To, From>({dest, x, y, width, height, rowBytes},
                    {source, sourceX, sourceY, sourceRowBytes},
                    BitSteps::Reduce(sourceWidth, width), BitSteps::Reduce(sourceHeight, height));
}

template <class To, class From>
void MinimizeKernelDDA(BYTE* dest, int x, int y, int width, int height, int rowBytes,
                       const BYTE* source, int sourceX, int sourceY, int sourceRowBytes,
                       int fullWidth, int fullHeight, int errorX, int errorY, int stepX, int restX,
                       int stepY, int restY) {
  assert(errorX >= 0 && errorX <= fullWidth && errorY >= 0 && errorY <= fullHeight);
  assert(stepX > 0 && restX >= 0 && restX < fullWidth);
  assert(stepY > 0 && restY >= 0 && restY < fullHeight);
  Stretch<To, From>({dest, x, y, width, height, rowBytes},
                    {source, sourceX, sourceY, sourceRowBytes}, {fullWidth, stepX, restX, errorX},
                    {fullHeight, stepY, restY, errorY});
}

template <class To, class From>
void MaximizeKernel(BYTE* dest, int x, int y, int width, int height, int rowBytes,
                    const BYTE* source, int sourceX, int sourceY, int sourceWidth, int sourceHeight,
                    int sourceRowBytes) {
  assert(width <= 0 || height <= 0 || (sourceWidth > 0 && sourceWidth <= width));
  assert(width <= 0 || height <= 0 || (sourceHeight > 0 && sourceHeight <= height));
  Stretch<To, From>({dest, x, y, width, height, rowBytes},
                    {source, sourceX, sourceY, sourceRowBytes},
                    BitSteps::Enlarge(sourceWidth, width, width),
                    BitSteps::Enlarge(sourceHeight, height, height));
}

template <class To, class From>
void MaximizeKernelDDA(BYTE* dest, int x, int y, int width, int height, int rowBytes,
                       const BYTE* source, int sourceX, int sourceY, int sourceWidth,
                       int sourceHeight, int sourceRowBytes, int fullWidth, int fullHeight,
                       int errorX, int errorY) {
  assert(errorX >= 0 && errorX <= fullWidth && errorY >= 0 && errorY <= fullHeight);
  assert(sourceWidth > 0 && sourceHeight > 0);
  Stretch<To, From>({dest, x, y, width, height, rowBytes},
                    {source, sourceX, sourceY, sourceRowBytes},
                    BitSteps::Enlarge(sourceWidth, fullWidth, errorX),
                    EnlargeBitRows(To::kBits, sourceHeight, fullHeight, errorY));
}

}  // namespace

BitKernels FindBitKernels(int toBits, int fromBits) {
  return WithBitDepth(toBits, [=](auto to) {
    return WithBitDepth(fromBits, [](auto from) {
      using To = decltype(to);
      using From = decltype(from);
      BitKernels kernels;
      if constexpr (kHasBitPair<To, From>) {
        kernels.copy = CopyKernel<To, From>;
        if constexpr (From::kBits < 64) {
          kernels.minimize = MinimizeKernel<To, From>;
          kernels.maximize = MaximizeKernelDDA<To, From>;
        }
      }
      return kernels;
    });
  });
}

}  // namespace kxw

// --- The exported names --------------------------------------------------------------------------

#define KXW_DEST BYTE *dest, int x, int y, int width, int height, int rowBytes
#define KXW_SOURCE const BYTE *source, int sourceX, int sourceY
#define KXW_SIZE int sourceWidth, int sourceHeight
#define KXW_ERRORS int fullWidth, int fullHeight, int errorX, int errorY

#define KXW_COPY(from, to)                                                                     \
  void Copy##from##x##to(KXW_DEST, KXW_SOURCE, int sourceRowBytes) {                           \
    kxw::CopyKernel<kxw::Bit##to, kxw::Bit##from>(dest, x, y, width, height, rowBytes, source, \
                                                  sourceX, sourceY, sourceRowBytes);           \
  }
#define KXW_STRETCH(walk, from, to)                                                              \
  void walk##Copy##from##x##to(KXW_DEST, KXW_SOURCE, KXW_SIZE, int sourceRowBytes) {             \
    kxw::walk##Kernel<kxw::Bit##to, kxw::Bit##from>(dest, x, y, width, height, rowBytes, source, \
                                                    sourceX, sourceY, sourceWidth, sourceHeight, \
                                                    sourceRowBytes);                             \
  }
#define KXW_MINIMIZE_DDA(from, to)                                                                \
  void MinimizeCopyDDA##from##x##to(KXW_DEST, KXW_SOURCE, int sourceRowBytes, KXW_ERRORS,         \
                                    int stepX, int restX, int stepY, int restY) {                 \
    kxw::MinimizeKernelDDA<kxw::Bit##to, kxw::Bit##from>(                                         \
        dest, x, y, width, height, rowBytes, source, sourceX, sourceY, sourceRowBytes, fullWidth, \
        fullHeight, errorX, errorY, stepX, restX, stepY, restY);                                  \
  }
#define KXW_MAXIMIZE_DDA(from, to)                                                                \
  void MaximizeCopyDDA##from##x##to(KXW_DEST, KXW_SOURCE, KXW_SIZE, int sourceRowBytes,           \
                                    KXW_ERRORS) {                                                 \
    kxw::MaximizeKernelDDA<kxw::Bit##to, kxw::Bit##from>(                                         \
        dest, x, y, width, height, rowBytes, source, sourceX, sourceY, sourceWidth, sourceHeight, \
        sourceRowBytes, fullWidth, fullHeight, errorX, errorY);                                   \
  }

// What `StretchCopy` needs of a pair, and with it the plain enlargement.
#define KXW_SCALED(from, to) \
  KXW_COPY(from, to) KXW_STRETCH(Minimize, from, to) KXW_MAXIMIZE_DDA(from, to)
#define KXW_ALL(from, to) KXW_SCALED(from, to) KXW_STRETCH(Maximize, from, to)

KXW_ALL(1, 1)
KXW_ALL(1, 8)
KXW_SCALED(1, 16)
KXW_ALL(1, 24)
KXW_ALL(1, 32)
KXW_ALL(8, 8)
KXW_SCALED(8, 16)
KXW_ALL(8, 24)
KXW_ALL(8, 32)
KXW_ALL(16, 16)
KXW_ALL(16, 24)
KXW_ALL(16, 32)
KXW_ALL(24, 24)
KXW_ALL(24, 32)
KXW_ALL(32, 24)
KXW_ALL(32, 32)
KXW_COPY(64, 24)
KXW_COPY(64, 32)
KXW_MINIMIZE_DDA(1, 32)
KXW_MINIMIZE_DDA(16, 24)
KXW_MINIMIZE_DDA(32, 24)

void Copy16x24_2(KXW_DEST, KXW_SOURCE, int sourceRowBytes, const BYTE* overlay, int overlayX,
                 int overlayY, int overlayRowBytes) {
  kxw::CopyOverlaid<kxw::Bit16>({dest, x, y, width, height, rowBytes},
                                {source, sourceX, sourceY, sourceRowBytes},
                                {overlay, overlayX, overlayY, overlayRowBytes});
}
void Copy32x24_2(KXW_DEST, KXW_SOURCE, int sourceRowBytes, const BYTE* overlay, int overlayX,
                 int overlayY, int overlayRowBytes) {
  kxw::CopyOverlaid<kxw::Bit32>({dest, x, y, width, height, rowBytes},
                                {source, sourceX, sourceY, sourceRowBytes},
                                {overlay, overlayX, overlayY, overlayRowBytes});
}
