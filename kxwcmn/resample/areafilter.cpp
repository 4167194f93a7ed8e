#include "kxwcmn/resample/detail/areafilter.h"

#include <new>
#include <vector>

#include "kxwcmn/compositing/detail/behind.h"
#include "kxwcmn/core/exception.h"
#include "kxwcmn/offscreen/autolock.h"

namespace kxw {
namespace {

using Table = KXVOffscreen::_KXRESOLUTIONTABLE;

void StorePixel(KXVOffscreen& dst, DWORD value, bool behind) {
  if (dst.GetBitCount() <= 8) {
    if (!behind || static_cast<BYTE>(value) != 0) dst.Set8BitColor(static_cast<BYTE>(value));
  } else if (!behind) {
    dst.Set32BitColor(value);
  } else if (Alpha(value) != 0) {
    dst.SetColor(ColorBehind(dst.Get32BitColor(), value));
  }
}

void StorePixel64(KXVOffscreen& dst, u64 value, bool behind) {
  if (behind) {
    if (Alpha64(value) == 0) return;
    // The words are moved together by 8 bits each, as if they were bytes. It is meant.
    const u64 laid = Color64Behind(dst.Get64BitColor(), value);
    value = static_cast<DWORD>(Alpha64(laid)) << 24 | static_cast<DWORD>(Blue64(laid)) << 16 |
            static_cast<DWORD>(Green64(laid)) << 8 | static_cast<DWORD>(Red64(laid));
  }
  dst.Set64BitColor(value);
}

}  // namespace

void ApplyAreaFilter(KXVOffscreen& dst, const KXRect& to, KXVOffscreen& src, const KXRect& from,
                     bool behind) {
  const double ratioX = static_cast<double>(from.Width()) / to.Width();
  const double ratioY = static_cast<double>(from.Height()) / to.Height();
  const double scale = 1.0 / (ratioY * ratioX);
  std::vector<Table> columns;
  try {
    columns.resize(static_cast<std::size_t>(to.Width()));
  } catch (const std::bad_alloc&) {
    kxThrowError(kErrorNotEnoughMemory);
  }
  double at = 0.0;
  for (Table& column : columns) {
    const double end = at + ratioX;
    KXVOffscreen::SetResolutionTable(&column, at, end);
    at = end;
  }
  KXVOffscreenAutoLock dstLock(&dst, 1), srcLock(&src, 0);
  at = 0.0;
  for (int y = to.top; y < to.bottom; ++y) {
    Table row;
    const double end = at + ratioY;
    KXVOffscreen::SetResolutionTable(&row, at, end);
    at = end;
    for (int x = to.left; x < to.right; ++x) {
      Table* column = &columns[static_cast<std::size_t>(x - to.left)];
      dst.MoveCursor(x, y);
      if (dst.GetBitCount() == 64) {
        u64 value = 0;
        src.CalcPixelValue64(column, &row, from.left, from.top, scale, value);
        StorePixel64(dst, value, behind);
      } else {
        DWORD value = 0;
        src.CalcPixelValue(column, &row, from.left, from.top, scale, value);
        StorePixel(dst, value, behind);
      }
    }
  }
}

}  // namespace kxw
