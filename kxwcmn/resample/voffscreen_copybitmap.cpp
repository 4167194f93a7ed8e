#include <algorithm>
#include <cstring>

#include "kxwcmn/compositing/detail/blockwalk.h"
#include "kxwcmn/compositing/detail/rows.h"
#include "kxwcmn/core/exception.h"
#include "kxwcmn/core/outofmemory_internal.h"
#include "kxwcmn/memory/virtualmemory.h"
#include "kxwcmn/offscreen/autolock.h"
#include "kxwcmn/offscreen/voffscreen_depths.h"
#include "kxwcmn/platform/error.h"

namespace {

/// A plain array from its first pixel on; `bit` is that pixel's place in its byte at 1 bit.
struct PlainRows {
  const BYTE* at;
  std::ptrdiff_t rowBytes;
  int bitCount, bit;
  int red, green, blue, alpha;

  /// Whether its pixels stand as those of an image of its depth do.
  bool IsAsStored() const {
    return bitCount == 8 || (blue == 0 && green == 1 && red == 2 && (bitCount == 24 || alpha == 3));
  }
};

template <class Depth>
void WriteRow(BYTE* row, int column, int count, const PlainRows& plain, const BYTE* from, int first,
              const kxw::ClearColors& clear) {
  if (plain.bitCount == Depth::kBits && Depth::kBits >= 8 && plain.IsAsStored()) {
    constexpr int kBytes = Depth::kBits / 8;
    std::memcpy(row + column * kBytes, from + static_cast<std::ptrdiff_t>(first) * kBytes,
                static_cast<std::size_t>(count * kBytes));
    return;
  }
  kxw::RowWriter<Depth> target(row, column, count);
  switch (plain.bitCount) {
    case 1:
      for (int i = 0; i < count; ++i) {
        const i64 at = i64{first} + i + plain.bit;
        const bool isDrawn = (from[at >> 3] & 0x80 >> (at & 7)) != 0;
        target.Set(i, Depth::From1(isDrawn, clear));
      }
      break;
    case 8:
      for (int i = 0; i < count; ++i) target.Set(i, Depth::From8(from[first + i]));
      break;
    case 24:
      from += static_cast<std::ptrdiff_t>(first) * 3;
      for (int i = 0; i < count; ++i, from += 3) {
        target.Set(i, Depth::From24(
                          kxw::MakeColor(from[plain.red], from[plain.green], from[plain.blue], 0)));
      }
      break;
    default:
      from += static_cast<std::ptrdiff_t>(first) * 4;
      for (int i = 0; i < count; ++i, from += 4) {
        target.Set(i, Depth::From32(kxw::MakeColor(from[plain.red], from[plain.green],
                                                   from[plain.blue], from[plain.alpha])));
      }
  }
  target.Finish();
}

/// Writes `height` rows of `width` pixels from (0, 0) on, each but the first one line above its
/// number; the second then stands where the first did.
void WriteRows(KXVOffscreen& target, const PlainRows& plain, int width, int height) {
  const int lifted = height > 1 ? 1 : 0;
  const KXRect area(0, 0, std::min(width, target.GetWidth()),
                    std::min(height - lifted, target.GetHeight()));
  if (area.IsRectEmpty()) return;
  kxw::ClearColors clear{};
  target.GetClearColor(&clear.byte);
  target.GetClearColor(&clear.color);
  if (target.GetBitCount() == 64) {
    clear.color64 = static_cast<KXVOffscreen64Bit&>(target).GetClearQMCOLORREF64();
  }
  KXVOffscreenAutoLock lock(&target, 1);
  kxw::WithDepth(target.GetBitCount(), [&](auto depth) {
    const int rowBytes = target.GetBlockRowBytes();
    kxw::ForEachTarget(target, area, true, [&](const KXRect& piece, BYTE* base) {
      for (int y = piece.top; y < piece.bottom; ++y) {
        WriteRow<decltype(depth)>(kxw::RowOf(base, y, rowBytes), 0, piece.Width(), plain,
                                  plain.at + (y + lifted) * plain.rowBytes, piece.left, clear);
      }
    });
  });
}

bool IsPlainDepth(int bitCount) {
  return bitCount == 1 || bitCount == 8 || bitCount == 24 || bitCount == 32;
}

}  // namespace

void KXVOffscreen::CopyBitmap(int dstX, int dstY, int dstWidth, int dstHeight, BYTE* bits,
                              int bitCount, int rowBytes, int offsetR, int offsetG, int offsetB,
                              int offsetA, int srcX, int srcY, int srcWidth, int srcHeight,
                              CHANGE_RESOLUTION_MODE mode) {
  if (!bits) return;
  i64 height = srcHeight, firstRow = srcY;
  std::ptrdiff_t step = rowBytes;
  if (height < 0) {
    height = -height;
    firstRow += height - 1;
    step = -step;
  }
  if (dstWidth <= 0 || dstHeight <= 0 || srcWidth <= 0 || height == 0) return;
  const auto isInPixel = [bitCount](int offset) { return offset >= 0 && offset < bitCount / 8; };
  if (srcX < 0 || srcY < 0 || height > kMaxSize ||
      (bitCount >= 24 && IsPlainDepth(bitCount) &&
       !(isInPixel(offsetR) && isInPixel(offsetG) && isInPixel(offsetB) &&
         (bitCount == 24 || isInPixel(offsetA))))) {
    kxThrowError(kxw::kFailureBadArgument);
  }
  const PlainRows plain{bits + static_cast<std::ptrdiff_t>(rowBytes) * firstRow +
                            static_cast<i64>(srcX) * bitCount / 8,
                        step,
                        bitCount,
                        srcX & 7,
                        offsetR,
                        offsetG,
                        offsetB,
                        offsetA};
  if (dstWidth == srcWidth && dstHeight == height) {
    if (IsPlainDepth(bitCount)) WriteRows(*this, plain, srcWidth, dstHeight);
    return;
  }
  const KXVOffscreenPtr scaled(
      kxw::RaiseWithoutMemory([bitCount] { return CreateOffscreen(bitCount); }));
  if (!scaled) kxThrowError(kxw::kFailureBadArgument);
  KXVirtualMemory* const memory = kxGetVirtualMemory();
  if (!memory) kxThrowError(static_cast<int>(qmGetLastError()));
  scaled->Create(memory, dstWidth, dstHeight, GetResolution());
  // Of rows beyond the height that is given, only the one behind it comes to be seen. Bottom-up
  // from row 0 it would lie in front of the array.
  const bool hasRowBehind = srcHeight > 0 || srcY > 0;
  const int rows = static_cast<int>(std::min<i64>(dstHeight, height + hasRowBehind));
  if (IsPlainDepth(bitCount)) WriteRows(*scaled, plain, srcWidth, rows);
  ChangeResolution(dstX, dstY, dstWidth, dstHeight, scaled.get(), 0, 0, srcWidth,
                   static_cast<int>(height), mode, 0, 0);
}
