#include <algorithm>
#include <memory>
#include <new>

#include "kxwcmn/classic/rows_internal.h"
#include "kxwcmn/classic/testrow_internal.h"
#include "kxwcmn/core/exception.h"
#include "kxwcmn/core/geometry.h"
#include "kxwcmn/offscreen/uniformrun_internal.h"
#include "kxwcmn/platform/error.h"

namespace {

using ImagePtr = std::unique_ptr<KXOffscreen>;

constexpr DWORD kWhite = KXOffscreen::ccrWhite24Bit;
constexpr DWORD kPaper = 0xFFFFFFFF;

/// What is not white in a row.
template <class Depth>
struct Marks {
  static bool IsAt(const BYTE* row, int x) {
    return Depth::To24(kxw::LoadPixel<Depth>(row, x)) != kWhite;
  }
  /// The first column of one, or `end`.
  static int First(const BYTE* row, int end) {
    int x = 0;
    // Mostly there is none in all of them.
    for (int step : {end & ~63, 512, 64, 8}) {
      while (step > 0 && step <= end - x && IsBlank(row, x, step)) x += step;
    }
    while (x < end && !IsAt(row, x)) ++x;
    return x;
  }
  /// One past the column of the last one from `begin` on, or `begin`.
  static int Last(const BYTE* row, int begin, int end) {
    int x = end;
    while (x > begin && x % 8 != 0 && !IsAt(row, x - 1)) --x;
    if (x % 8 != 0) return x;
    for (int step : {(x - begin) & ~63, 512, 64, 8}) {
      while (step > 0 && x - step >= begin && IsBlank(row, x - step, step)) x -= step;
    }
    while (x > begin && !IsAt(row, x - 1)) --x;
    return x;
  }

  /// Whether there are none in `count` pixels, a multiple of 8, of 1 bit from a byte's first one
  /// on.
  static bool IsBlank(const BYTE* at, i64 count) {
    // Eight bytes of white; an alpha, which stands in the first byte of each pixel, does not count.
    constexpr u64 kWord = Depth::kBits <= 8 ? 0 : ~u64{0};
    constexpr u64 kUsed = Depth::kBits == 32 ? 0xFFFFFF00FFFFFF00 : ~u64{0};
    if (Depth::kBits == 1 && count == 8) return *at == 0;
    return kxw::IsUniformRun(at, static_cast<std::size_t>(count * Depth::kBits / 8), kWord, kUsed);
  }

 private:
  static bool IsBlank(const BYTE* row, int x, int count) {
    return IsBlank(row + kxw::PixelByte<Depth>(x), count);
  }
};

/// The rectangle around all marks; empty if there are none. The rows above and below it are found
/// first, and of those between only what is left and right of all marks before is looked at.
template <class Depth>
KXRect FindExtent(const KXOffscreen& image) {
  constexpr int kRows = 8;  // looked at together where no gap is between them
  const int width = image.GetWidth(), height = image.GetHeight();
  const bool hasGaps = i64{width} * Depth::kBits != i64{image.GetRowBytes()} * 8;
  const auto row = [&](int y) { return kxw::ClassicRow(image, y); };
  const auto isBlank = [&](int y) { return Marks<Depth>::First(row(y), width) == width; };
  const auto areBlank = [&](int y) {
    return !hasGaps && Marks<Depth>::IsBlank(row(y), i64{kRows} * width);
  };
  int top = 0, bottom = height, left = width, right = 0;
  while (height - top >= kRows && areBlank(top)) top += kRows;
  while (top < height && isBlank(top)) ++top;
  if (top == height) return {};
  while (bottom - top > kRows && areBlank(bottom - kRows)) bottom -= kRows;
  while (isBlank(bottom - 1)) --bottom;
  for (int y = top; y < bottom; ++y) {
    left = Marks<Depth>::First(row(y), left);
    right = Marks<Depth>::Last(row(y), right, width);
  }
  return {left, top, right, bottom};
}

ImagePtr NewImage() {
  ImagePtr image(new (std::nothrow) KXOffscreen);
  if (!image) kxThrowError(kxw::kErrorNotEnoughMemory);
  return image;
}

/// The bits of a pixel's value.
template <class Depth>
constexpr DWORD kAllBits = 0xFFFFFFFF >> (32 - Depth::kBits);

DWORD Narrowed(const tagQMRGBCOLOR16* color) {
  if (!color) kxThrowError(kxw::kFailureBadArgument);
  return KXColor(*color).GetColor();
}

/// A mask of the pixels that pass a test. What fills up its rows is 0, or 1 with `ink`.
KXOffscreen* MakeMask(const KXOffscreen& image, const kxw::PixelTest& test, bool ink) {
  ImagePtr mask = NewImage();
  kxw::CreateClassicImage(*mask, image.GetWidth(), image.GetHeight(), 1, kxw::kAllocUninitialized);
  mask->Lock();
  const kxw::TestRowFunc testRow = kxw::FindTestRow(image.GetBitCount());
  const int width = image.GetWidth(), rowBytes = mask->GetRowBytes();
  for (int y = 0; y < image.GetHeight(); ++y) {
    BYTE* const row = kxw::ClassicRow(*mask, y);
    std::fill(row + width / 8, row + rowBytes, ink ? BYTE{0xFF} : BYTE{0});
    testRow(row, kxw::ClassicRow(image, y), width, test);
  }
  mask->Unlock();
  return mask.release();
}

/// The test for the pixel value that reads as `color` at 32 bits. Not every depth has one.
template <class Depth>
kxw::PixelTest EqualTo(DWORD color) {
  DWORD pixel = color;
  if constexpr (Depth::kBits == 1) pixel = kxw::Blue(color) == 0;
  if constexpr (Depth::kBits == 8) pixel = 255u - kxw::Blue(color);
  if constexpr (Depth::kBits == 24) pixel = color & kWhite;
  const bool exists = Depth::To32(static_cast<typename Depth::Pixel>(pixel)) == color;
  return exists ? kxw::PixelTest{kAllBits<Depth>, pixel, true} : kxw::PixelTest{0, 1, true};
}

KXOffscreen* MakeMaskOfColor(const KXOffscreen& image, const tagQMRGBCOLOR16* color,
                             bool inverted) {
  const DWORD wanted = Narrowed(color);
  kxw::PixelTest test = kxw::WithClassicDepth(
      image.GetBitCount(), [=](auto depth) { return EqualTo<decltype(depth)>(wanted); });
  test.wantsEqual = !inverted;
  return MakeMask(image, test, inverted);
}

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
  ImagePtr image = NewImage();
  image->Create(GetWidth(), GetHeight(), GetBitCount(), kPaper, 1);
  image->Lock();
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
  return IsLocked() ? MakeMaskOfColor(*this, color, false) : nullptr;
}

KXOffscreen* KXOffscreen::ExtractionColorMaskEx(tagQMRGBCOLOR16* const color) const {
  return IsLocked() ? MakeMaskOfColor(*this, color, true) : nullptr;
}

KXOffscreen* KXOffscreen::CreateMask() const {
  if (!IsLocked()) return nullptr;
  const kxw::PixelTest isMark = kxw::WithClassicDepth(GetBitCount(), [](auto depth) {
    using Depth = decltype(depth);
    if constexpr (Depth::kBits == 32) return kxw::PixelTest{0xFF000000, 0, false};
    return kxw::PixelTest{kAllBits<Depth>, Depth::From24(kWhite), false};
  });
  return MakeMask(*this, isMark, false);
}
