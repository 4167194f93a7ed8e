#include "kxwcmn/resample/detail/bilinear.h"

#include "kxwcmn/offscreen/detail/depths.h"
#include "kxwcmn/platform/vectorize_internal.h"

// The loops run over pixels, and so several of one channel are mixed at a time. Each goes through
// the defined order of operations, and no result depends on its neighbours.

namespace kxw {
namespace {

void FindPlaces(const TurnedPlaces& turned, int x, int y, int count, const KXRect& window,
                MixPlaces& places) {
  const TurnedPlaces turn = turned;
  const auto isInside = [&turn, x, y](int i) {
    const double sx = turn.U(x + i, y), sy = turn.V(x + i, y);
    return sx > -1 && sy > -1 && sx < turn.srcWidth && sy < turn.srcHeight;
  };
  // Both ways go steadily along a row, even as they are rounded.
  int first = 0, end = count;
  while (first < end && !isInside(first)) ++first;
  while (first < end && !isInside(end - 1)) --end;
  places.first = first;
  places.end = end;
  const int left = window.left, top = window.top, stride = window.Width();
  for (int i = first; i < end; ++i) {
    const double sx = turn.U(x + i, y), sy = turn.V(x + i, y);
    const int u = static_cast<int>(sx), v = static_cast<int>(sy);  // towards zero
    places.at[i] = (v - top) * stride + (u - left);
    places.fx[i] = sx - u;
    places.fy[i] = sy - v;
  }
}

template <class Word>
struct Neighbours {
  Word c00[kMostMixed], c10[kMostMixed], c01[kMostMixed], c11[kMostMixed];
};

template <class Word>
inline void Mix(const Word* window, int stride, const MixPlaces& places, Word* mixed,
                BYTE* isStored) {
  constexpr int kChannels = sizeof(Word) == 4 ? 4 : 3, kChannelBits = sizeof(Word) * 2;
  constexpr Word kCounted = kChannels == 4 ? ~Word{0} : kMixOutside<Word>;
  constexpr int kFull = (1 << kChannelBits) - 1;
  Neighbours<Word> near;
  Word left[kMostMixed];
  const int first = places.first, end = places.end;
  for (int i = first; i < end; ++i) {
    const Word* const at = window + places.at[i];
    near.c00[i] = at[0];
    near.c10[i] = at[1];
    near.c01[i] = at[stride];
    near.c11[i] = at[stride + 1];
  }
  for (int i = first; i < end; ++i) {
    const Word c00 = near.c00[i], c10 = near.c10[i], c01 = near.c01[i], c11 = near.c11[i];
    const double fx = places.fx[i], fy = places.fy[i];
    Word color = 0;
    for (int c = 0; c < kChannels; ++c) {
      const auto channel = [c](Word pixel) {
        return static_cast<double>(static_cast<int>(pixel >> (c * kChannelBits)) & kFull);
      };
      const double value =
          MixOfFour(channel(c00), channel(c10), channel(c01), channel(c11), fx, fy);
      color |= static_cast<Word>(static_cast<int>(value) & kFull) << (c * kChannelBits);
    }
    const bool isFlat = (((c00 ^ c10) | (c00 ^ c01) | (c00 ^ c11)) & kCounted) == 0;
    const Word flat = 0 - static_cast<Word>(isFlat);
    mixed[i] = color ^ ((color ^ c00) & flat);
    left[i] = flat & static_cast<Word>(c00 == 0x00FFFFFF);
  }
  for (int i = first; i < end; ++i) isStored[i] = left[i] == 0;
}

void MixOpaque64(const u64* window, int stride, const MixPlaces& places, u64* mixed,
                 BYTE* isStored) {
  Mix<u64>(window, stride, places, mixed, isStored);
  for (int i = places.first; i < places.end; ++i) {
    mixed[i] = Depth64::SwapRedBlue(mixed[i] | 0xFFFF000000000000);
  }
}

}  // namespace

void FindMixPlaces(const TurnedPlaces& turned, int x, int y, int count, const KXRect& window,
                   MixPlaces& places) {
  InVectors<FindPlaces>(turned, x, y, count, window, places);
}

template <>
void MixRow<DWORD>(const DWORD* window, int stride, const MixPlaces& places, DWORD* mixed,
                   BYTE* isStored) {
  InVectors<Mix<DWORD>>(window, stride, places, mixed, isStored);
}

template <>
void MixRow<u64>(const u64* window, int stride, const MixPlaces& places, u64* mixed,
                 BYTE* isStored) {
  InVectors<MixOpaque64>(window, stride, places, mixed, isStored);
}

}  // namespace kxw
