#include <algorithm>
#include <cstring>

#include "kxwcmn/classic/offscreencursor.h"
#include "kxwcmn/classic/rows_internal.h"
#include "kxwcmn/core/geometry.h"
#include "kxwcmn/drawing/detail/streamrun.h"

void KXOffscreen::FillRowLineBuffer() {
  if (!isRowBufferDirty_ || !rowBufferBytes_ || GetHeight() == 0) return;
  kxw::WithClassicDepth(GetBitCount(), [&](auto depth) {
    using Depth = decltype(depth);
    if constexpr (Depth::kBits <= 8) {
      // Unlike the 1-bit fore colour, nothing but pure black is black in a fill.
      const bool isBlack = (foreColor_ & 0x00FFFFFF) == 0;
      const int value = Depth::kBits == 1 ? Depth::FillOf(isBlack) : foreColor8_;
      std::memset(rowBufferBytes_, value, static_cast<std::size_t>(GetRowBytes()));
    } else {
      kxw::FillPixels<Depth>(rowBufferBytes_, 0, GetWidth(), Depth::From32(foreColor_));
    }
  });
  isRowBufferDirty_ = false;
}

void KXOffscreen::Fill() {
  tagRECT rect;
  GetRect(rect);
  RectFill(rect);
}

void KXOffscreen::RectFill(const tagRECT& rect) {
  if (!IsLocked()) return;
  KXRect area(0, 0, GetWidth(), GetHeight());
  if (area == KXRect(rect)) {
    RectFillScamp(rect);
    return;
  }
  if (!area.IntersectRect(rect)) return;
  FillArea(area);
}

void KXOffscreen::FillLineRow(int length, const KXOffscreenCursor& cursor) {
  FillRow(cursor.GetX(), i64{cursor.GetX()} + length, cursor.GetY());
}

void KXOffscreen::FillLineRow(int left, int right, int y) { FillRow(left, i64{right} + 1, y); }

void KXOffscreen::FillRow(i64 left, i64 end, int y) {
  if (!IsLocked() || y < 0 || y >= GetHeight()) return;
  left = std::max<i64>(left, 0);
  end = std::min<i64>(end, GetWidth());
  if (left < end) FillArea({static_cast<int>(left), y, static_cast<int>(end), y + 1});
}

void KXOffscreen::FillArea(const tagRECT& area) {
  FillRowLineBuffer();
  if (GetBitCount() > 1) {
    FillRows(area);
    return;
  }
  for (int y = area.top; y < area.bottom; ++y) {
    kxw::FillPixels<kxw::Classic1>(kxw::ClassicRow(*this, y), area.left, area.right - area.left,
                                   rowBufferBytes_[0]);
  }
}

void KXOffscreen::RectFillScamp(const tagRECT& rect) {
  KXRect area(0, 0, GetWidth(), GetHeight());
  if (!IsLocked() || !area.IntersectRect(rect)) return;
  FillRowLineBuffer();
  // The rows are aligned, so these columns exist.
  const int group = GetBitCount() == 1 ? 32 : GetBitCount() == 8 ? 4 : 1;
  area.left = area.left / group * group;
  area.right = (area.right + group - 1) / group * group;
  FillRows(area);
}

void KXOffscreen::FillRows(const tagRECT& area) {
  const auto bytesOf = [this](int x) {
    return GetBitCount() == 1 ? std::ptrdiff_t{x / 8} : std::ptrdiff_t{x} * GetPixelSize();
  };
  const auto bytes = static_cast<std::size_t>(bytesOf(area.right - area.left));
  BYTE* row = kxw::ClassicRow(*this, area.top) + bytesOf(area.left);
  // Streams write whole groups of 16 bytes.
  const bool isStreamed = bytes % 16 == 0 && GetRowBytes() % 16 == 0 &&
                          static_cast<i64>(bytes) * (area.bottom - area.top) >= kxw::kStreamedBytes;
  if (!isStreamed) {
    for (int y = area.top; y < area.bottom; ++y, row += GetRowBytes()) {
      std::memcpy(row, rowBufferBytes_, bytes);
    }
    return;
  }
  kxw::WithClassicDepth(GetBitCount(), [&](auto depth) {
    using Depth = decltype(depth);
    const auto fill = Depth::FillOf(Depth::Load(rowBufferBytes_, 0x80));
    for (int y = area.top; y < area.bottom; ++y, row += GetRowBytes()) {
      kxw::StreamRun<Depth>(row, static_cast<int>(bytes * 8 / Depth::kBits), fill);
    }
  });
  kxw::EndStream();
}
