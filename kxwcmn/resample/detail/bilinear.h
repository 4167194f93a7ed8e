#pragma once

#include "kxwcmn/offscreen/detail/depths.h"
#include "kxwcmn/platform/types.h"

/// Four neighbouring pixels mixed by where a place lies between them: `fx` and `fy` from the first
/// one, to the right and down. They may be negative, down to -1: what then leaves a channel's range
/// wraps. The order of the arithmetic, in doubles, defines the result.
namespace kxw {

template <class Word, int kChannels, int kChannelBits>
inline u64 MixChannels(Word c00, Word c10, Word c01, Word c11, double fx, double fy) {
  constexpr u64 kFull = (1u << kChannelBits) - 1;
  const double gx = 1 - fx, gy = 1 - fy;
  double mixed[kChannels];
  for (int i = 0; i < kChannels; ++i) {
    const auto channel = [i](Word c) {
      return static_cast<double>(static_cast<int>(c >> (i * kChannelBits) & kFull));
    };
    mixed[i] =
        (channel(c01) * gx + channel(c11) * fx) * fy + (channel(c00) * gx + channel(c10) * fx) * gy;
  }
  u64 result = 0;
  for (int i = 0; i < kChannels; ++i) {
    const auto value = static_cast<u64>(static_cast<i64>(mixed[i]));  // towards zero
    result |= (value & kFull) << (i * kChannelBits);
  }
  return result;
}

/// Pixels of 32 bits as they stand in memory. Transparent white is what lies beyond the edge, and
/// four of it leave the result as it is.
struct Mix32 {
  using Word = DWORD;
  static constexpr Word kOutside = 0x00FFFFFF;

  /// Returns false where nothing is to be stored.
  static bool Of(Word c00, Word c10, Word c01, Word c11, double fx, double fy, Word& result) {
    if (c00 == c10 && c00 == c01 && c00 == c11) {
      result = c00;
      return c00 != kOutside;
    }
    result = static_cast<Word>(MixChannels<Word, 4, 8>(c00, c10, c01, c11, fx, fy));
    return true;
  }
};

/// Colours of 48 bits, which become opaque pixels in memory. The value that leaves the result as it
/// is has 32 bits here too, and so four pixels of white are stored: this is meant.
struct Mix48 {
  using Word = u64;
  static constexpr Word kOutside = 0x0000FFFFFFFFFFFF;

  static bool Of(Word c00, Word c10, Word c01, Word c11, double fx, double fy, Word& result) {
    Word color = c00;
    if (c00 == c10 && c00 == c01 && c00 == c11) {
      if (c00 == 0x00FFFFFF) return false;
    } else {
      color = MixChannels<Word, 3, 16>(c00, c10, c01, c11, fx, fy);
    }
    result = Depth64::SwapRedBlue(color | 0xFFFF000000000000);
    return true;
  }
};

}  // namespace kxw
