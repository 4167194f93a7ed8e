#pragma once

#include <memory>
#include <random>
#include <vector>

#include "kxwcmn/classic/offscreen.h"
#include "kxwcmn/classic/offscreencursor.h"
#include "kxwcmn/classic/stlockoff.h"

namespace classic_test {

inline constexpr int kDepths[] = {1, 8, 24, 32};

/// A random number generator with the few draws that pictures need.
class Random {
 public:
  explicit Random(unsigned seed) : engine_(seed) {}
  int Int(int low, int high) { return std::uniform_int_distribution<int>(low, high)(engine_); }
  DWORD Bits() { return static_cast<DWORD>(engine_()); }
  bool OneIn(int n) { return Int(1, n) == 1; }

 private:
  std::mt19937 engine_;
};

/// Makes an image, locked, of random bytes. Half of the pictures have a few values only, so that
/// equal pixels and the ends of the ranges turn up.
inline std::unique_ptr<KXOffscreen> MakeNoise(int bits, int width, int height, Random& random) {
  auto image = std::make_unique<KXOffscreen>();
  image->Create(width, height, bits, 0, 0);
  image->Lock();
  const bool isCoarse = random.OneIn(2);
  for (i64 i = 0; i < image->GetBufferSize(); ++i) {
    const BYTE byte = static_cast<BYTE>(random.Bits());
    image->GetBaseAddress()[i] = isCoarse ? (byte & 1 ? 255 : 0) : byte;
  }
  return image;
}

inline std::vector<BYTE> BytesOf(const KXOffscreen& image) {
  const BYTE* const base = image.GetBaseAddress();
  return {base, base + image.GetBufferSize()};
}

/// A colour taken apart, and the pixel rules of the classic images written down once more, value by
/// value, after the table that defines them.
struct Model {
  static int R(DWORD c) { return static_cast<int>(c & 255); }
  static int G(DWORD c) { return static_cast<int>(c >> 8 & 255); }
  static int B(DWORD c) { return static_cast<int>(c >> 16 & 255); }
  static int Sum(DWORD c) { return R(c) + G(c) + B(c); }
  static BYTE Density(DWORD c) { return static_cast<BYTE>(255.0 - Sum(c) * 0.333); }
  static DWORD Grey(int v) { return static_cast<DWORD>(v) * 65793; }

  /// The pixel at (x, y) in the terms of `terms` bits.
  static DWORD Get(const KXOffscreen& image, int terms, int x, int y) {
    const BYTE* const row = image.GetBaseAddress() + y * image.GetRowBytes();
    switch (image.GetBitCount()) {
      case 1: {
        const bool set = (row[x / 8] >> (7 - x % 8) & 1) != 0;
        if (terms == 1) return set;
        if (terms == 8) return set ? 255 : 0;
        if (terms == 24) return set ? 0 : 0xFFFFFF;
        return set ? 0xFF000000 : 0xFFFFFFFF;
      }
      case 8: {
        const BYTE v = row[x];
        if (terms == 1) return v >= 128;
        if (terms == 8) return v;
        return Grey(255 - v) + (terms == 24 ? 0 : 0xFF000000);
      }
      default: {
        const bool hasAlpha = image.GetBitCount() == 32;
        const BYTE* at = row + x * (hasAlpha ? 4 : 3);
        const DWORD alpha = hasAlpha ? *at++ : 255u;
        const DWORD c = at[0] | static_cast<DWORD>(at[1]) << 8 | static_cast<DWORD>(at[2]) << 16;
        if (terms == 1) return Sum(c) < 382;
        if (terms == 8) return Density(c);
        return terms == 24 ? c : c | alpha << 24;
      }
    }
  }

  static void Set(KXOffscreen& image, int terms, DWORD v, int x, int y) {
    BYTE* const row = image.GetBaseAddress() + y * image.GetRowBytes();
    switch (image.GetBitCount()) {
      case 1: {
        const bool set = terms == 1 ? v == 1 : terms == 8 ? v >= 128 : (v & 0xFFFFFF) < 382;
        const int bit = 1 << (7 - x % 8);
        row[x / 8] = static_cast<BYTE>(set ? row[x / 8] | bit : row[x / 8] & ~bit);
        return;
      }
      case 8:
        row[x] = terms == 1 ? (v == 1 ? 255 : 0) : terms == 8 ? static_cast<BYTE>(v) : Density(v);
        return;
      default: {
        DWORD c = v;  // alpha at the top
        if (terms == 1) c = v == 1 ? 0 : 0xFFFFFFFF;
        if (terms == 8) c = Grey(static_cast<int>(255 - v)) | (255 - v) << 24;
        if (terms == 24) c = v | 0xFF000000;
        const bool hasAlpha = image.GetBitCount() == 32;
        BYTE* at = row + x * (hasAlpha ? 4 : 3);
        if (hasAlpha) *at++ = static_cast<BYTE>(c >> 24);
        at[0] = static_cast<BYTE>(c);
        at[1] = static_cast<BYTE>(c >> 8);
        at[2] = static_cast<BYTE>(c >> 16);
      }
    }
  }
};

}  // namespace classic_test
