#include <array>
#include <cstring>

#include "kxwcmn/classic/resize_internal.h"
#include "kxwcmn/core/exception.h"
#include "kxwcmn/platform/vectorize_internal.h"
#include "kxwcmn/resample/detail/ratiorows.h"

namespace {

using kxw::Resizing;

constexpr int kHalved = KXVOffscreen::kBlockSize;  // pixels that are halved at a time

/// The values of single pixels of a row, whose columns do not go back; `last` is that of the row's
/// last pixel.
template <class Depth>
void PickValues(kxw::ClassicValue<Depth>* values, const BYTE* row, const int* columns, int count,
                int last) {
  const auto take = [=](int i) {
    // All channels of a grey are alike.
    values[i] =
        static_cast<kxw::ClassicValue<Depth>>(Depth::To24(kxw::LoadPixel<Depth>(row, columns[i])));
  };
  if constexpr (Depth::kBits == 24) {
    // A pixel is read together with the byte behind it, but for the last one.
    while (count > 0 && columns[count - 1] == last) take(--count);
    for (int i = 0; i < count; ++i) {
      DWORD word;
      std::memcpy(&word, row + kxw::PixelByte<Depth>(columns[i]), sizeof word);
      values[i] = Depth::From32(word);
    }
  } else {
    int i = 0;
    if constexpr (kxw::kClassicChannels<Depth> == 1) {
      for (; i + 4 <= count; i += 4) {  // stored together
        DWORD four = 0;
        for (int k = 0; k < 4; ++k) {
          four |= DWORD{kxw::Red(Depth::To24(kxw::LoadPixel<Depth>(row, columns[i + k])))} << 8 * k;
        }
        std::memcpy(values + i, &four, sizeof four);
      }
    }
    for (; i < count; ++i) take(i);
  }
}

template <class Depth>
void ResizeByPicking(const Resizing& job) {
  const kxw::Stretch columns = job.columns.Shown(), rows = job.rows.Shown();
  const auto write = kxw::FindWriteValues<Depth>(job.image.GetBitCount());
  std::array<int, kxw::kStrip> from;
  std::array<kxw::ClassicValue<Depth>, kxw::kStrip> values;
  for (int left = columns.begin, count; left < columns.end; left += count) {
    count = std::min(kxw::kStrip, columns.end - left);
    for (int i = 0; i < count; ++i) {
      from[static_cast<std::size_t>(i)] =
          static_cast<int>(job.columns.from + job.columns.Begin(left + i));
    }
    int picked = -1;
    for (int y = rows.begin; y < rows.end; ++y) {
      const int row = static_cast<int>(job.rows.from + job.rows.Begin(y));
      if (row != picked) {
        PickValues<Depth>(values.data(), kxw::ClassicRow(job.source, row), from.data(), count,
                          job.source.GetWidth() - 1);
        picked = row;
      }
      write(kxw::ClassicRow(job.image, job.rows.at + y), job.columns.at + left, values.data(),
            count);
    }
  }
}

/// The means of the squares of four pixels of three bytes that begin at any of `count` bytes.
void AverageSquares3(BYTE* means, const BYTE* above, const BYTE* below, int count) {
  for (int i = 0; i < count; ++i) {
    means[i] = static_cast<BYTE>((above[i] + above[i + 3] + below[i] + below[i + 3]) >> 2);
  }
}

/// The means of squares of four pixels, of which two rows are given from column `x` on.
template <class Depth>
void HalveRow(kxw::ClassicValue<Depth>* means, const BYTE* above, const BYTE* below, int x,
              int count) {
  const BYTE* rows[] = {above + kxw::PixelByte<Depth>(x), below + kxw::PixelByte<Depth>(x)};
  if constexpr (kxw::kClassicChannels<Depth> == 1) {
    BYTE greys[2][2 * kHalved];
    kxw::FindClassicReadGreys(Depth::kBits)(greys[0], above, x, 2 * count);
    kxw::FindClassicReadGreys(Depth::kBits)(greys[1], below, x, 2 * count);
    const BYTE* const pairs[] = {greys[0], greys[1]};
    kxw::AverageRows<BYTE, 2>(means, pairs, count);
  } else if constexpr (kxw::kClassicChannels<Depth> == 3) {
    BYTE squares[6 * kHalved];
    kxw::InVectors<AverageSquares3>(squares, rows[0], rows[1], 6 * count - 3);
    for (int i = 0; i < count; ++i) {  // with a byte behind each, too
      std::memcpy(means + i, squares + 6 * i, sizeof *means);
      means[i] &= 0x00FFFFFF;
    }
  } else {
    // As they stand in memory, alpha lowest.
    kxw::AverageRows<DWORD, 2>(reinterpret_cast<BYTE*>(means), rows, count);
    for (int i = 0; i < count; ++i) means[i] >>= 8;
  }
}

/// Means of squares of four pixels: those from (2 x, 2 y) on come to (`shift` + x, y), for x from 0
/// to `width` and y from `shift` to `height`, as far as all these pixels are there.
template <class Depth>
void Halve(KXOffscreen& image, const KXOffscreen& source, int shift, int width, int height) {
  const int end = std::min({width, source.GetWidth() / 2,
                            static_cast<int>(std::max<i64>(0, i64{image.GetWidth()} - shift))});
  const int bottom = std::min({height, source.GetHeight() / 2, image.GetHeight()});
  if (end <= 0) return;
  const auto write = kxw::FindWriteValues<Depth>(image.GetBitCount());
  kxw::ClassicValue<Depth> means[kHalved];
  // A shift below 0 would take rows of the source above its first.
  for (int y = std::max(shift, 0); y < bottom; ++y) {
    for (i64 x = std::max<i64>(0, -i64{shift}); x < end; x += kHalved) {
      const int count = std::min(kHalved, end - static_cast<int>(x));
      HalveRow<Depth>(means, kxw::ClassicRow(source, 2 * y), kxw::ClassicRow(source, 2 * y + 1),
                      2 * static_cast<int>(x), count);
      write(kxw::ClassicRow(image, y), shift + static_cast<int>(x), means, count);
    }
  }
}

}  // namespace

void KXOffscreen::ChangeResolution(int destX, int destY, int destW, int destH, KXOffscreen* source,
                                   int srcX, int srcY, int srcW, int srcH, int level) {
  if (!IsLocked() || !source || !source->IsLocked()) return;
  if (destW < 1 || destH < 1 || srcW < 1 || srcH < 1) return;
  if (destW == srcW && destH == srcH) {
    Copy(destX, destY, destW, destH, source, srcX, srcY, 0);
  } else if (level == cnLowLevelRes) {
    ChangeResolutionLow(destX, destY, destW, destH, source, srcX, srcY, srcW, srcH);
  } else if (level == cnMostLowLevelRes) {
    ChangeResolutionMostLow(destX, destY, destW, destH, source, srcX, srcY, srcW, srcH);
  } else {
    const kxw::ReadApart from(*source, *this);
    if (i64{destW} * 2 == srcW && i64{destH} * 2 == srcH) {
      kxw::WithClassicDepth(source->GetBitCount(), [&](auto depth) {
        Halve<decltype(depth)>(*this, from.Image(), destY, destW, destH);
      });
      return;
    }
    kxw::ResizeByArea({*this, destX, destY, destW, destH, from.Image(), srcX, srcY, srcW, srcH});
  }
}

void KXOffscreen::ChangeResolutionMostLow(int destX, int destY, int destW, int destH,
                                          KXOffscreen* source, int srcX, int srcY, int srcW,
                                          int srcH) {
  if (!IsLocked() || !source || !source->IsLocked()) return;
  if (destW < 1 || destH < 1 || srcW < 1 || srcH < 1) return;
  const kxw::ReadApart from(*source, *this);
  const Resizing job(*this, destX, destY, destW, destH, from.Image(), srcX, srcY, srcW, srcH);
  kxw::WithClassicDepth(source->GetBitCount(),
                        [&](auto depth) { ResizeByPicking<decltype(depth)>(job); });
}

void KXOffscreen::CalcPixValueHalf(int x, int y, DWORD& out) {
  if (!IsLocked()) return;
  if (x < 0 || y < 0 || x >= GetWidth() - 1 || y >= GetHeight() - 1) {
    kxThrowError(kxw::kFailureBadArgument);
  }
  DWORD sums[3] = {};
  for (const DWORD c : {Get24BitPixel(x, y), Get24BitPixel(x + 1, y), Get24BitPixel(x, y + 1),
                        Get24BitPixel(x + 1, y + 1)}) {
    sums[0] += kxw::Red(c);
    sums[1] += kxw::Green(c);
    sums[2] += kxw::Blue(c);
  }
  out = kxw::MakeColor(sums[0] >> 2, sums[1] >> 2, sums[2] >> 2, 0);
}
