#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <random>
#include <vector>

#include "kxwcmn/memory/virtualmemory.h"
#include "kxwcmn/offscreen/voffscreen.h"

/// Pictures to measure with, of three kinds that programs meet: line art, noise, and a photograph.
/// All come from the seed of the run. A picture is its rows one after another, without gaps, in the
/// own bytes of the depths of 8, 24, 32 and 64 bits, as `KXPixelFormat::kNative` has them.
namespace kxw::bench {

using Bytes = std::vector<BYTE>;

/// What `--seed` gives, 1 without it. It is known when the first benchmark runs, not before.
unsigned& Seed();

inline std::size_t BytesOf(int pixels, int bits) {
  return static_cast<std::size_t>(pixels) * static_cast<std::size_t>(bits) / 8;
}

/// Random numbers of this run, others for each `salt`.
inline std::mt19937_64 Random(u64 salt) {
  std::seed_seq seeds{u64{Seed()}, salt & 0xFFFFFFFF, salt >> 32};
  return std::mt19937_64(seeds);
}

/// `count` bytes without a rule: in a picture, every channel and every alpha.
inline Bytes Noise(std::size_t count, u64 salt = 0) {
  Bytes bytes(count);
  std::mt19937_64 random = Random(salt);
  for (std::size_t i = 0; i < count; i += 8) {
    const u64 word = random();
    std::memcpy(&bytes[i], &word, std::min<std::size_t>(8, count - i));
  }
  return bytes;
}

/// The picture whose pixel at (x, y) is `at(x, y)`, as alpha, red, green and blue from the highest
/// byte down. At 8 bits the alpha is the density, and at 24 bits it is left out.
template <class At>
Bytes MakePicture(int bits, int width, int height, At at) {
  Bytes rows(BytesOf(width, bits) * static_cast<std::size_t>(height));
  BYTE* to = rows.data();
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const DWORD color = at(x, y);
      for (int c = bits == 8 ? 3 : 0; c < (bits == 24 ? 3 : 4); ++c) {
        const BYTE channel = static_cast<BYTE>(color >> 8 * c);
        *to++ = channel;
        if (bits == 64) *to++ = channel;
      }
    }
  }
  return rows;
}

/// A painted cel: discs of flat colours in outlines of ink, whose edges are three pixels wide.
/// About half of it is transparent.
inline Bytes LineArt(int bits, int width, int height) {
  constexpr int kCell = 512, kInk = 6;
  const int columns = (width + kCell - 1) / kCell;
  struct Disc {
    double radius;
    DWORD color;
  };
  std::vector<Disc> discs(static_cast<std::size_t>(columns * ((height + kCell - 1) / kCell)));
  std::mt19937_64 random = Random(1);
  for (Disc& disc : discs) {
    disc.radius = 180 + static_cast<double>(random() % 49);
    disc.color = static_cast<DWORD>(random() & 0xFFFFFF);
  }
  return MakePicture(bits, width, height, [&](int x, int y) -> DWORD {
    const Disc& disc = discs[static_cast<std::size_t>(y / kCell * columns + x / kCell)];
    const double dx = x % kCell - kCell / 2, dy = y % kCell - kCell / 2;
    const double outside = std::sqrt(dx * dx + dy * dy) - disc.radius;
    const auto alpha = static_cast<DWORD>(std::clamp(0.5 - outside / 3, 0.0, 1.0) * 255 + 0.5);
    if (alpha == 0) return 0x00FFFFFF;
    return alpha << 24 | (outside > -kInk ? 0 : disc.color);
  });
}

/// A slow change of colour with grain, opaque: the channels lie within `swing` and `grain` of
/// `middle`.
inline Bytes Photograph(int bits, int width, int height, int middle = 128, int swing = 100,
                        int grain = 6) {
  std::mt19937_64 random = Random(2);
  // Each channel is a wave along the columns and one along the rows, half of the swing each.
  const auto waves = [&](int length) {
    std::vector<int> wave(static_cast<std::size_t>(length) * 3);
    for (int c = 0; c < 3; ++c) {
      const double period = 700 + static_cast<double>(random() % 1500);
      const double phase = static_cast<double>(random() % 628) / 100;
      for (int i = 0; i < length; ++i) {
        wave[static_cast<std::size_t>(3 * i + c)] =
            static_cast<int>(swing / 2.0 * std::sin(i * 6.2832 / period + phase));
      }
    }
    return wave;
  };
  const std::vector<int> across = waves(width), down = waves(height);
  return MakePicture(bits, width, height, [&](int x, int y) {
    u64 word = random();
    DWORD color = 0;
    for (int c = 0; c < 3; ++c, word >>= 16) {
      const int speck = static_cast<int>((word & 0xFFFF) % static_cast<u64>(2 * grain + 1)) - grain;
      const int value = middle + speck + across[static_cast<std::size_t>(3 * x + c)] +
                        down[static_cast<std::size_t>(3 * y + c)];
      color |= static_cast<DWORD>(std::clamp(value, 0, 255)) << 8 * c;
    }
    // A density has no colours beside it: it takes one of them.
    return bits == 8 ? color << 24 : color | 0xFF000000;
  });
}

/// Noise whose alpha is a picture's: a third clear, a third opaque, a third between, in runs of
/// `run` pixels.
inline Bytes MixedAlpha(int bits, std::size_t pixels, std::size_t run, u64 salt) {
  const auto step = static_cast<std::size_t>(bits / 8);
  Bytes picture = Noise(pixels * step, salt);
  for (std::size_t i = 0; i < pixels; ++i) {
    const std::size_t kind = i / run % 3;
    // The alpha is the last byte of a pixel; a density is both alpha and colour.
    if (kind < 2) picture[i * step + step - 1] = kind == 0 ? 0 : 255;
  }
  return picture;
}

// --- Images --------------------------------------------------------------------------------------

/// The manager of the process, from which turned and stored images come too. It is made once, here,
/// and its budget holds what one line needs.
inline KXVirtualMemory* Manager() {
  static KXVirtualMemory* const manager = [] {
    kxGetVirtualMemory()->Create(1u << 30);
    return kxGetVirtualMemory();
  }();
  return manager;
}

/// An empty image in that manager.
inline KXVOffscreenPtr MakeImage(int bits, int width, int height) {
  return KXVOffscreen::Make(bits, width, height, 72, Manager());
}

inline void Write(KXVOffscreen& image, const Bytes& rows) {
  image.WritePixels(image.GetRect(), KXPixelFormat::kNative, rows.data());
}

inline Bytes Read(KXVOffscreen& image, const KXRect& rect) {
  Bytes rows(BytesOf(rect.Width(), image.GetBitCount()) * static_cast<std::size_t>(rect.Height()));
  image.ReadPixels(rect, KXPixelFormat::kNative, rows.data());
  return rows;
}

inline Bytes Read(KXVOffscreen& image) { return Read(image, image.GetRect()); }

}  // namespace kxw::bench
