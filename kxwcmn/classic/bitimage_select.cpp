#include <algorithm>

#include "kxwcmn/classic/bitimage.h"
#include "kxwcmn/classic/detail/bitdepths.h"
#include "kxwcmn/core/geometry.h"

void KXBitImage::DrawSelectArea(KXBitImage* mask, tagRECT rect, int x, int y, int phase) {
  if (!IsValid() || bitCount_ != 32 || !mask || mask->bitCount_ != 1) return;
  // What of the mask lies in the rectangle, and comes to lie in this image.
  const i64 offsetX = i64{x} - rect.left, offsetY = i64{y} - rect.top;
  const auto cut = [](i64 value, int limit) {
    return static_cast<int>(std::clamp<i64>(value, 0, limit));
  };
  const int left = cut(std::max<i64>(rect.left, -offsetX), mask->width_);
  const int right = cut(std::min<i64>(rect.right, width_ - offsetX), mask->width_);
  const int top = cut(std::max<i64>(rect.top, -offsetY), mask->height_);
  const int bottom = cut(std::min<i64>(rect.bottom, height_ - offsetY), mask->height_);
  if (left >= right) return;
  for (int row = top; row < bottom; ++row) {
    const BYTE* const bits = mask->bits_ + std::ptrdiff_t{row} * mask->rowBytes_;
    BYTE* const to = bits_ + static_cast<std::ptrdiff_t>(row + offsetY) * rowBytes_;
    for (int column = left; column < right; ++column) {
      if (bits[column >> 3] == 0) {
        column |= 7;  // nothing in this byte
      } else if (kxw::Bit1::Load(bits, column)) {
        const DWORD step =
            static_cast<DWORD>(column) + static_cast<DWORD>(row) + static_cast<DWORD>(phase);
        kxw::Bit32::Store(to, static_cast<std::ptrdiff_t>(column + offsetX),
                          step & 4 ? 0xFFFFFFFF : 0xFF000000);
      }
    }
  }
}

void KXBitImage::DigSelectArea(tagRECT rect) {
  if (!IsValid() || bitCount_ != 1) return;
  const KXBitImage old(*this);
  Clear();
  const auto cutSize = [](i64 size, int limit) {
    return static_cast<int>(std::clamp<i64>(size, 0, limit));
  };
  const int right = cutSize(i64{rect.right} - rect.left, width_ - 1);
  const int bottom = cutSize(i64{rect.bottom} - rect.top, height_ - 1);
  if (right < 1) return;
  // Eight pixels at a time. What lies beside the image, in a row's last byte too, is clear.
  const int bytes = (width_ + 7) / 8;
  const auto byteAt = [&](int y, int i) {
    if (i < 0 || i >= bytes || y >= height_) return 0;
    const int tail = i == bytes - 1 ? 8 * bytes - width_ : 0;
    return old.bits_[std::ptrdiff_t{y} * rowBytes_ + i] >> tail << tail;
  };
  for (int y = 1; y <= bottom; ++y) {
    BYTE* const to = bits_ + std::ptrdiff_t{y} * rowBytes_;
    for (int i = 0; i <= right >> 3; ++i) {
      const int set = byteAt(y, i);
      if (set == 0) continue;
      const int beside = (set >> 1 | byteAt(y, i - 1) << 7) & (set << 1 | byteAt(y, i + 1) >> 7);
      const int inside = beside & byteAt(y - 1, i) & byteAt(y + 1, i);
      int columns = i == 0 ? 0x7F : 0xFF;
      if (i == right >> 3) columns &= 0xFF00 >> ((right & 7) + 1);
      to[i] = static_cast<BYTE>(set & ~inside & columns);
    }
  }
}
