#include <algorithm>
#include <array>

#include "kxwcmn/classic/resize_internal.h"

namespace {

/// The bytes of a pixel, which may stand anywhere.
template <int kBytes>
struct KX_MAY_ALIAS PixelBytes {
  BYTE bytes[kBytes];
};

template <int kBytes>
void ReversePixels(BYTE* row, int count) {
  auto* const pixels = reinterpret_cast<PixelBytes<kBytes>*>(row);
  std::reverse(pixels, pixels + count);
}

/// A byte with its bits in the opposite order.
constexpr std::array<BYTE, 256> kTurnedBits = [] {
  std::array<BYTE, 256> table{};
  for (unsigned value = 0; value < 256; ++value) {
    for (int bit = 0; bit < 8; ++bit) {
      if (value >> bit & 1) table[value] |= static_cast<BYTE>(0x80 >> bit);
    }
  }
  return table;
}();

/// Turns a row of bits round, by whole bytes: what fills up the last one comes to stand first, and
/// then moves out to the left.
void ReverseBits(BYTE* row, int count) {
  const int bytes = (count + 7) / 8, fill = 8 * bytes - count;
  const BYTE kept = static_cast<BYTE>(row[bytes - 1] & ((1 << fill) - 1));
  std::reverse(row, row + bytes);
  for (int i = 0; i < bytes; ++i) row[i] = kTurnedBits[row[i]];
  if (fill == 0) return;
  for (int i = 0; i < bytes; ++i) {
    const int next = i + 1 < bytes ? row[i + 1] : 0;
    row[i] = static_cast<BYTE>((row[i] << 8 | next) >> (8 - fill));
  }
  row[bytes - 1] = static_cast<BYTE>((row[bytes - 1] & ~((1 << fill) - 1)) | kept);
}

void ReverseRow(BYTE* row, int count, int bits) {
  switch (bits) {
    case 1:
      return ReverseBits(row, count);
    case 8:
      return ReversePixels<1>(row, count);
    case 24:
      return ReversePixels<3>(row, count);
    default:
      return ReversePixels<4>(row, count);
  }
}

}  // namespace

void KXOffscreen::CreateFlipImage(int vertical) {
  if (!IsLocked() || GetWidth() == 0) return;
  if (!vertical) {
    for (int y = 0; y < GetHeight(); ++y) {
      ReverseRow(kxw::ClassicRow(*this, y), GetWidth(), GetBitCount());
    }
    return;
  }
  const i64 bytes = (i64{GetWidth()} * GetBitCount() + 7) / 8;
  for (int y = 0; y < GetHeight() / 2; ++y) {
    BYTE* const row = kxw::ClassicRow(*this, y);
    std::swap_ranges(row, row + bytes, kxw::ClassicRow(*this, GetHeight() - 1 - y));
  }
}

void KXOffscreen::FlipImage(KXOffscreen& source, int vertical, int x, int y, int width,
                            int height) {
  if (!IsLocked() || !source.IsLocked() || GetBitCount() < 24) return;
  // Pixel (u, v) of the source comes to (edgeX - 1 - u, v) or (u, edgeY - 1 - v).
  const int edgeX = GetWidth() & ~1, edgeY = GetHeight() & ~1;
  const auto low = [](int at, int limit, int edge, bool isMirrored) {
    return std::max({i64{at}, i64{0}, isMirrored ? i64{edge} - limit : 0});
  };
  const auto high = [](int at, int size, int fromLimit, int edge, int limit, bool isMirrored) {
    return std::min<i64>({i64{at} + size, fromLimit, isMirrored ? edge : limit});
  };
  const i64 left = low(x, GetWidth(), edgeX, !vertical);
  const i64 top = low(y, GetHeight(), edgeY, vertical != 0);
  const i64 right = high(x, width, source.GetWidth(), edgeX, GetWidth(), !vertical);
  const i64 bottom = high(y, height, source.GetHeight(), edgeY, GetHeight(), vertical != 0);
  if (left >= right || top >= bottom) return;
  const kxw::ReadApart from(source, *this);
  const int columns = static_cast<int>(right - left);
  const auto copy = kxw::FindClassicCopyRow(GetBitCount(), source.GetBitCount());
  for (int v = static_cast<int>(top); v < bottom; ++v) {
    BYTE* const to = kxw::ClassicRow(*this, vertical ? edgeY - 1 - v : v);
    const int column = vertical ? static_cast<int>(left) : static_cast<int>(edgeX - right);
    copy(to, column, kxw::ClassicRow(from.Image(), v), static_cast<int>(left), columns);
    if (!vertical) {
      ReverseRow(to + std::ptrdiff_t{column} * GetPixelSize(), columns, GetBitCount());
    }
  }
}
