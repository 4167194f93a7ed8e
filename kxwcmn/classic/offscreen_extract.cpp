#include <algorithm>
#include <memory>
#include <new>

#include "kxwcmn/classic/rows_internal.h"
#include "kxwcmn/compositing/detail/rows.h"
#include "kxwcmn/core/exception.h"
#include "kxwcmn/core/geometry.h"
#include "kxwcmn/offscreen/uniformrun_internal.h"
#include "kxwcmn/platform/error.h"

namespace {

using ImagePtr = std::unique_ptr<KXOffscreen>;

constexpr DWORD kWhite = KXOffscreen::ccrWhite24Bit;

/// What is not white in a row.
template <class Depth>
struct Marks {
  static bool IsAt(const BYTE* row, int x) {
    return Depth::To24(kxw::LoadPixel<Depth>(row, x)) != kWhite;
  }
  /// Whether there are none in the `count` pixels from `x` on: whole words, and at 1 bit whole
  /// bytes.
  static bool IsBlank(const BYTE* row, int x, int count) {
    // Eight bytes of white; an alpha, which stands in the first byte of each pixel, does not count.
    constexpr u64 kWord = Depth::kBits <= 8 ? 0 : ~u64{0};
    constexpr u64 kUsed = Depth::kBits == 32 ? 0xFFFFFF00FFFFFF00 : ~u64{0};
    return kxw::IsUniformRun(row + kxw::PixelByte<Depth>(x),
                             static_cast<std::size_t>(kxw::PixelByte<Depth>(count)), kWord, kUsed);
  }
  /// The first column of one, or `end`.
  static int First(const BYTE* row, int end) {
    int x = 0;
    for (int step : kSteps) {
      while (x + step <= end && IsBlank(row, x, step)) x += step;
    }
    while (x < end && !IsAt(row, x)) ++x;
    return x;
  }
  /// One past the column of the last one from `begin` on, or `begin`.
  static int Last(const BYTE* row, int begin, int end) {
    int x = end;
    while (x > begin && x % 8 != 0 && !IsAt(row, x - 1)) --x;
    for (int step : kSteps) {
      while (x % 8 == 0 && x - step >= begin && IsBlank(row, x - step, step)) x -= step;
    }
    while (x > begin && !IsAt(row, x - 1)) --x;
    return x;
  }

 private:
  static constexpr int kSteps[] = {1024, 64};
};

/// The rectangle around all marks; empty if there are none.
template <class Depth>
KXRect FindExtent(const KXOffscreen& image) {
  const int width = image.GetWidth();
  const auto isBlank = [&](int y) {
    return Marks<Depth>::First(kxw::ClassicRow(image, y), width) == width;
  };
  int top = 0, bottom = image.GetHeight();
  while (top < bottom && isBlank(top)) ++top;
  if (top == bottom) return {};
  while (isBlank(bottom - 1)) --bottom;
  // Between them only what could widen the rectangle is looked at.
  int left = width, right = 0;
  for (int y = top; y < bottom; ++y) {
    const BYTE* const row = kxw::ClassicRow(image, y);
    left = Marks<Depth>::First(row, left);
    right = Marks<Depth>::Last(row, right, width);
  }
  return {left, top, right, bottom};
}

ImagePtr MakeImage(int width, int height, int bitCount, DWORD color) {
  ImagePtr image(new (std::nothrow) KXOffscreen);
  if (!image) kxThrowError(kxw::kErrorNotEnoughMemory);
  image->Create(width, height, bitCount, color, 1);
  image->Lock();
  return image;
}

DWORD Narrowed(const tagQMRGBCOLOR16* color) {
  if (!color) kxThrowError(kxw::kFailureBadArgument);
  return KXColor(*color).GetColor();
}

/// Stores 1 in the row of a mask where `isWanted(pixel)` says so.
template <class Depth, class Op>
void MaskRow(BYTE* to, const BYTE* from, int width, Op isWanted) {
  if constexpr (Depth::kBits == 1) {
    // Each of the two values becomes 0 or 1.
    const BYTE ones = isWanted(BYTE{1}) ? 0xFF : 0, zeros = isWanted(BYTE{0}) ? 0xFF : 0;
    const auto bitsAt = [=](int i) { return (from[i] & ones) | (~from[i] & zeros); };
    const int bytes = width / 8;
    for (int i = 0; i < bytes; ++i) to[i] = static_cast<BYTE>(bitsAt(i));
    if (const int mask = 0xFF00 >> (width & 7) & 0xFF) {
      to[bytes] = static_cast<BYTE>((to[bytes] & ~mask) | (bitsAt(bytes) & mask));
    }
  } else {
    constexpr int kPiece = KXVOffscreen::kBlockSize;
    for (int x = 0; x < width; x += kPiece) {
      const int count = std::min(kPiece, width - x);
      const kxw::RowReader<Depth> reader(from + kxw::PixelByte<Depth>(x), 0, count);
      kxw::RowWriter<kxw::Classic1> writer(to + x / 8, 0, count);
      for (int i = 0; i < count; ++i) writer.Set(i, isWanted(reader[i]));
      writer.Finish();
    }
  }
}

/// A mask with 1 where `isWanted(depth, pixel)` says so. What fills up its rows is that of `paper`.
template <class Op>
KXOffscreen* MakeMask(const KXOffscreen& image, DWORD paper, Op isWanted) {
  ImagePtr mask = MakeImage(image.GetWidth(), image.GetHeight(), 1, paper);
  kxw::WithClassicDepth(image.GetBitCount(), [&](auto depth) {
    using Depth = decltype(depth);
    for (int y = 0; y < image.GetHeight(); ++y) {
      MaskRow<Depth>(kxw::ClassicRow(*mask, y), kxw::ClassicRow(image, y), image.GetWidth(),
                     [=](typename Depth::Pixel pixel) { return isWanted(Depth{}, pixel); });
    }
  });
  mask->Unlock();
  return mask.release();
}

KXOffscreen* MakeMaskOfColor(const KXOffscreen& image, const tagQMRGBCOLOR16* color, DWORD paper,
                             bool wantsEqual) {
  return MakeMask(image, paper, [wanted = Narrowed(color), wantsEqual](auto depth, auto pixel) {
    return (decltype(depth)::To32(pixel) == wanted) == wantsEqual;
  });
}

constexpr DWORD kPaper = 0xFFFFFFFF, kInk = 0;

}  // namespace

int KXOffscreen::GetExtentRect(tagRECT& rect) {
  if (!IsValid()) return 0;
  if (!IsLocked()) Lock();
  const KXRect extent = kxw::WithClassicDepth(
      GetBitCount(), [&](auto depth) { return FindExtent<decltype(depth)>(*this); });
  // Also where the caller has it: this is kept so.
  if (lockCount_ == 1) Unlock();
  if (extent.IsRectEmpty()) return 0;
  rect = extent;
  return 1;
}

KXOffscreen* KXOffscreen::ExtractionColor(tagQMRGBCOLOR16* const from,
                                          tagQMRGBCOLOR16* const to) const {
  if (!IsLocked()) return nullptr;
  const DWORD wanted = Narrowed(from), color = Narrowed(to);
  ImagePtr image = MakeImage(GetWidth(), GetHeight(), GetBitCount(), kPaper);
  kxw::WithClassicDepth(GetBitCount(), [&](auto depth) {
    using Depth = decltype(depth);
    for (int y = 0; y < GetHeight(); ++y) {
      const BYTE* const row = kxw::ClassicRow(*this, y);
      BYTE* const toRow = kxw::ClassicRow(*image, y);
      for (int x = 0; x < GetWidth(); ++x) {
        if (Depth::To32(kxw::LoadPixel<Depth>(row, x)) != wanted) continue;
        kxw::StorePixel<Depth>(toRow, x, Depth::From32(color));
      }
    }
  });
  image->Unlock();
  return image.release();
}

KXOffscreen* KXOffscreen::ExtractionColorMask(tagQMRGBCOLOR16* const color) const {
  return IsLocked() ? MakeMaskOfColor(*this, color, kPaper, true) : nullptr;
}

KXOffscreen* KXOffscreen::ExtractionColorMaskEx(tagQMRGBCOLOR16* const color) const {
  return IsLocked() ? MakeMaskOfColor(*this, color, kInk, false) : nullptr;
}

KXOffscreen* KXOffscreen::CreateMask() const {
  if (!IsLocked()) return nullptr;
  return MakeMask(*this, kPaper, [](auto depth, auto pixel) {
    using Depth = decltype(depth);
    if constexpr (Depth::kBits == 32) return kxw::Alpha(pixel) != 0;
    return Depth::To24(pixel) != kWhite;
  });
}
