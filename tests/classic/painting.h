#pragma once

#include <algorithm>
#include <memory>

#include "tests/classic/support.h"

namespace classic_test {

/// An image and its twin, which a model paints, with a fore colour, transparency, mode and clip
/// drawn by lot.
class PaintedTwins {
 public:
  static constexpr int kWidth = 131, kHeight = 90;

  explicit PaintedTwins(unsigned seed) : random(seed) {
    const int bits = kDepths[seed % 4];
    image = MakeNoise(bits, kWidth, kHeight, random);
    twin = std::make_unique<KXOffscreen>(*image);
    twin->Lock();
    image->SetForeColor(random.OneIn(4) ? DWORD{0xFF0000FF} : random.Bits());
    constexpr int kTransparencies[] = {0, 1, 126, 127, 200, 254};
    image->SetTransparency(random.OneIn(2) ? 255 : kTransparencies[random.Int(0, 5)]);
    image->SetMode(random.Int(0, 2));
    const int x = random.Int(-40, kWidth), y = random.Int(-40, kHeight);
    if (random.OneIn(3)) {
      left = std::max(x, 0), top = std::max(y, 0);
      right = std::min(x + random.Int(1, 150), kWidth);
      bottom = std::min(y + random.Int(1, 90), kHeight);
      image->SetClipRect({x, y, std::max(right, x), std::max(bottom, y)});
    } else if (random.OneIn(2)) {
      constexpr int kScales[] = {-5, -2, -1, 1, 2, 3};
      scale = kScales[random.Int(0, 5)];
      maskX = x, maskY = y;
      mask = MakeNoise(kDepths[random.Int(0, 3)], random.Int(1, 200), random.Int(1, 200), random);
      const auto covered = [&](int size) { return scale > 0 ? size / scale : size * -scale; };
      left = std::max(x, 0), top = std::max(y, 0);
      right = std::min(x + covered(mask->GetWidth()), kWidth);
      bottom = std::min(y + covered(mask->GetHeight()), kHeight);
      if (random.OneIn(2)) mask->Unlock();
      image->SetClipMask(mask.get(), x, y, scale);
    }
  }

  bool IsInvisible() const {
    return image->GetTransparency() == 0 ||
           (image->GetBitCount() == 1 && image->GetTransparency() < 127);
  }

  /// Paints a span of the twin, pixel by pixel, after the table of rules.
  void PaintSpan(i64 first, i64 last, int y) {
    if (y < top || y >= bottom) return;
    const int from = int(std::max<i64>(first, left)), to = int(std::min<i64>(last, right - 1));
    const KXStLockOff lock(mask.get());
    for (int x = from; x <= to; ++x) {
      if (mask && !Model::Get(*mask, 1, MaskColumn(from, x), Divided(y - maskY))) continue;
      PaintPixel(x, y);
    }
  }

  Random random;
  std::unique_ptr<KXOffscreen> image, twin, mask;
  // What may be painted.
  int left = 0, top = 0, right = kWidth, bottom = kHeight;
  int maskX = 0, maskY = 0, scale = 1;

 private:
  int Divided(int v) const { return scale > 0 ? v * scale : v / -scale; }
  int MaskColumn(int from, int x) const {
    return Divided(from - maskX) + (x - from) * (scale > 0 ? scale : 1 / -scale);
  }
  void PaintPixel(int x, int y) {
    const int bits = image->GetBitCount(), t = image->GetTransparency();
    const DWORD fore = image->GetForeColor();
    const int density = 255 - Model::Sum(fore) / 3, black = density > 127;
    const double o = t == 255 ? 1 : t == 0 ? 0 : t * 0.00392156862745098, m = t == 0 ? 1 : 1 - o;
    const bool isOpaque = t == 255, darkens = isOpaque && image->GetMode() == 1;
    if (bits == 1) {
      if (!darkens || black) Model::Set(*twin, 1, DWORD(black), x, y);
    } else if (bits == 8) {
      const int old = int(Model::Get(*twin, 8, x, y));
      const int mixed = int(old * m + density * o);
      Model::Set(*twin, 8,
                 DWORD(darkens    ? std::max(old, density)
                       : isOpaque ? density
                                  : mixed),
                 x, y);
    } else {
      const BYTE* const at = twin->GetBaseAddress() + y * twin->GetRowBytes() + x * bits / 8;
      const int channels[] = {Model::R(fore), Model::G(fore), Model::B(fore)};
      DWORD color = 0;
      for (int i = 0; i < 3; ++i) {
        const int mixed = int(at[i] * m + channels[i] * o);
        const int value = darkens    ? std::min<int>(at[i], channels[i])
                          : isOpaque ? channels[i]
                                     : mixed;
        color |= DWORD(value) << 8 * i;
      }
      Model::Set(*twin, 24, color, x, y);
    }
  }
};

}  // namespace classic_test
