#include <algorithm>
#include <cstring>

#include "kxwcmn/classic/rows_internal.h"
#include "kxwcmn/core/exception.h"
#include "kxwcmn/core/geometry.h"

namespace {

KXRect BoundsOf(const KXOffscreen& image) {
  return KXRect(0, 0, image.GetWidth(), image.GetHeight());
}

/// The block of a copy, cut to the images that it lies in. The first is the one that is written;
/// pixels of that one that are to be read as well are set aside, so that all of them are read as
/// they were before.
template <int kImages>
class CopyBlock {
 public:
  /// An image with the place of the block's corner in it.
  struct Part {
    KXOffscreen* image;
    tagPOINT at;
  };

  CopyBlock(const Part (&parts)[kImages], int width, int height) : width_(width), height_(height) {
    tagRECT rects[kImages];
    tagPOINT origins[kImages];
    for (int i = 0; i < kImages; ++i) {
      rects[i] = BoundsOf(*parts[i].image);
      origins[i] = parts[i].at;
    }
    KXOffscreen::CalcSafetyArea(rects, origins, kImages, width_, height_);
    for (int i = 0; i < kImages; ++i) {
      parts_[i] = {parts[i].image, origins[i]};
      if (i > 0) SetAside(i);
    }
  }
  CopyBlock(const CopyBlock&) = delete;
  CopyBlock& operator=(const CopyBlock&) = delete;

  bool IsEmpty() const { return width_ <= 0 || height_ <= 0; }
  int Width() const { return width_; }
  int Height() const { return height_; }
  /// A row of an image, and the block's first column in it.
  BYTE* Row(int i, int y) const {
    return kxw::ClassicRow(*parts_[i].image, static_cast<int>(parts_[i].at.y) + y);
  }
  int X(int i) const { return parts_[i].at.x; }

 private:
  void SetAside(int i) {
    Part& part = parts_[i];
    const KXRect written(parts_[0].at, KXSize(width_, height_));
    const KXRect read(part.at, KXSize(width_, height_));
    if (part.image != parts_[0].image || IsEmpty() || !written.IsIntersectRect(read)) return;
    KXOffscreen& aside = aside_[i - 1];
    aside.Create(width_, height_, part.image->GetBitCount(), 0, 0);
    aside.Lock();
    aside.Copy(0, 0, width_, height_, part.image, part.at.x, part.at.y, 0);
    part = {&aside, {0, 0}};
  }

  Part parts_[kImages];
  KXOffscreen aside_[kImages - 1];
  int width_, height_;
};

bool IsInside(const KXOffscreen& image, i64 x, i64 y, i64 width, i64 height) {
  return x >= 0 && y >= 0 && x + width <= image.GetWidth() && y + height <= image.GetHeight();
}

/// A block of whole bytes in two images of one depth, for the copies that do not cut.
struct ByteBlock {
  ByteBlock(const KXOffscreen& image, const KXOffscreen& source, int x, int y, int width,
            int height, int sourceX, int sourceY) {
    if (!IsInside(image, x, y, width, height) || !IsInside(source, sourceX, sourceY, width, height))
      kxThrowError(kxw::kFailureBadArgument);
    const bool isBits = image.GetBitCount() == 1;
    unit = image.GetPixelSize();
    const auto bytesOf = [&](int column) {
      return isBits ? std::ptrdiff_t{column / 8} : std::ptrdiff_t{column} * unit;
    };
    bytes = static_cast<std::size_t>(bytesOf(isBits ? width + 7 : width));
    to = kxw::ClassicRow(image, y) + bytesOf(x);
    from = kxw::ClassicRow(source, sourceY) + bytesOf(sourceX);
  }

  BYTE* to;
  const BYTE* from;
  std::size_t bytes;  // of a row
  int unit;           // bytes of what is moved at a time
};

/// Moves `unit` bytes at a time, from the front or from the back, which differ in an overlap.
void MoveUnits(BYTE* to, const BYTE* from, std::size_t bytes, int unit, bool forward) {
  // Where nothing is written before it is read, the two are the same.
  if (forward ? to <= from || to >= from + bytes : to >= from || to + bytes <= from) {
    std::memmove(to, from, bytes);
    return;
  }
  const auto step = static_cast<std::size_t>(unit);
  for (std::size_t i = 0; i < bytes; i += step) {
    const std::size_t at = forward ? i : bytes - step - i;
    std::memmove(to + at, from + at, step);
  }
}

/// Whether the rows of all pixels of an image follow each other without a gap, and those of a block
/// of this width and depth are such rows.
bool IsWithoutGaps(const KXOffscreen& image, int width, int bitCount) {
  return image.GetWidth() == width && image.GetBitCount() == bitCount &&
         i64{image.GetRowBytes()} * 8 == i64{width} * bitCount;
}

}  // namespace

void KXOffscreen::Copy(int x, int y, int width, int height, KXOffscreen* source, int sourceX,
                       int sourceY, int mode) {
  if (!IsLocked() || !source || !source->IsLocked()) return;
  const CopyBlock<2> block({{this, {x, y}}, {source, {sourceX, sourceY}}}, width, height);
  if (block.IsEmpty()) return;
  if (mode != 1 && IsWithoutGaps(*this, block.Width(), source->GetBitCount()) &&
      IsWithoutGaps(*source, block.Width(), GetBitCount()) && source != this) {
    std::memcpy(block.Row(0, 0), block.Row(1, 0),
                static_cast<std::size_t>(GetRowBytes()) * static_cast<std::size_t>(block.Height()));
    return;
  }
  const auto copyRow = mode == 1 ? kxw::FindClassicMinimumRow(GetBitCount(), source->GetBitCount())
                                 : kxw::FindClassicCopyRow(GetBitCount(), source->GetBitCount());
  for (int row = 0; row < block.Height(); ++row) {
    copyRow(block.Row(0, row), block.X(0), block.Row(1, row), block.X(1), block.Width());
  }
}

void KXOffscreen::CopyMask(int x, int y, int width, int height, KXOffscreen* source, int sourceX,
                           int sourceY, KXOffscreen* mask, int maskX, int maskY) {
  if (!IsLocked() || !source || !source->IsLocked() || !mask || !mask->IsLocked()) return;
  const CopyBlock<3> block({{this, {x, y}}, {source, {sourceX, sourceY}}, {mask, {maskX, maskY}}},
                           width, height);
  if (block.IsEmpty()) return;
  const auto copyRow =
      kxw::FindClassicMaskRow(GetBitCount(), source->GetBitCount(), mask->GetBitCount());
  for (int row = 0; row < block.Height(); ++row) {
    copyRow(block.Row(0, row), block.X(0), block.Row(1, row), block.X(1), block.Row(2, row),
            block.X(2), block.Width());
  }
}

void KXOffscreen::CopyMaskColor(int x, int y, int width, int height, KXOffscreen* source,
                                int sourceX, int sourceY, DWORD key) {
  CopyByColor(x, y, width, height, source, sourceX, sourceY, key, true);
}

void KXOffscreen::CopyMaskColorEx(int x, int y, int width, int height, KXOffscreen* source,
                                  int sourceX, int sourceY, DWORD key) {
  CopyByColor(x, y, width, height, source, sourceX, sourceY, key, false);
}

void KXOffscreen::CopyByColor(int x, int y, int width, int height, KXOffscreen* source, int sourceX,
                              int sourceY, DWORD key, bool copiesEqual) {
  if (!IsLocked() || !source || !source->IsLocked()) return;
  const CopyBlock<2> block({{this, {x, y}}, {source, {sourceX, sourceY}}}, width, height);
  if (block.IsEmpty()) return;
  const auto copyRow = kxw::FindClassicKeyRow(GetBitCount(), source->GetBitCount());
  for (int row = 0; row < block.Height(); ++row) {
    copyRow(block.Row(0, row), block.X(0), block.Row(1, row), block.X(1), block.Width(), key,
            copiesEqual);
  }
}

void KXOffscreen::CopyEx(int x, int y, int width, int height, KXOffscreen* source, int sourceX,
                         int sourceY, int forwardX, int forwardY) {
  if (!IsLocked() || !source || !source->IsLocked()) return;
  if (GetBitCount() != source->GetBitCount() || width <= 0 || height <= 0) return;
  const ByteBlock block(*this, *source, x, y, width, height, sourceX, sourceY);
  for (int i = 0; i < height; ++i) {
    const std::ptrdiff_t row = forwardY ? i : height - 1 - i;
    MoveUnits(block.to + row * GetRowBytes(), block.from + row * source->GetRowBytes(), block.bytes,
              block.unit, forwardX != 0);
  }
}

void KXOffscreen::CopyAlign8Bit(int x, int y, int width, int height, KXOffscreen* source,
                                int sourceX, int sourceY) {
  CopyEx(x, y, width, height, source, sourceX, sourceY, 1, 1);
}

void KXOffscreen::CopyScamp(int x, int y, int width, int height, KXOffscreen* source) {
  if (!IsLocked() || !source || !source->IsLocked()) return;
  if (GetBitCount() != source->GetBitCount() || GetRowBytes() != source->GetRowBytes()) return;
  const int group = GetBitCount() == 1 ? 32 : GetBitCount() == 8 ? 4 : 1;
  const int left = std::max(x, 0) / group * group, top = std::max(y, 0);
  const i64 last = std::min<i64>(i64{x} + width, std::min(GetWidth(), source->GetWidth()));
  if (height <= 0 || last <= std::max(x, 0)) return;
  const int right = (static_cast<int>(last) + group - 1) / group * group;
  if (i64{top} + height > std::min(GetHeight(), source->GetHeight())) {
    kxThrowError(kxw::kFailureBadArgument);
  }
  if (source == this) return;
  const auto bytesOf = [this](int column) {
    return GetBitCount() == 1 ? std::ptrdiff_t{column / 8}
                              : std::ptrdiff_t{column} * GetPixelSize();
  };
  for (int row = top; row < top + height; ++row) {
    std::memcpy(kxw::ClassicRow(*this, row) + bytesOf(left),
                kxw::ClassicRow(*source, row) + bytesOf(left),
                static_cast<std::size_t>(bytesOf(right - left)));
  }
}

void KXOffscreen::Reverse() {
  if (!IsLocked() || GetBitCount() > 8) return;
  const int bytes = GetBitCount() == 1 ? (GetWidth() + 7) / 8 : GetRowBytes();
  if (bytes == 0) return;  // there may be any number of rows
  for (int y = 0; y < GetHeight(); ++y) {
    BYTE* const row = kxw::ClassicRow(*this, y);
    for (int i = 0; i < bytes; ++i) row[i] = static_cast<BYTE>(~row[i]);
  }
}
