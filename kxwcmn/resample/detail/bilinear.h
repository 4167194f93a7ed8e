#pragma once

#include "kxwcmn/core/geometry.h"
#include "kxwcmn/platform/types.h"

/// Four neighbouring pixels mixed by where a place lies between them. The order of the arithmetic,
/// in doubles, defines the result.
namespace kxw {

/// A channel of four pixels, mixed for a place `fx` to the right of the first and `fy` below it.
inline double MixOfFour(double c00, double c10, double c01, double c11, double fx, double fy) {
  const double gx = 1 - fx, gy = 1 - fy;
  return (c00 * gx + c10 * fx) * gy + (c01 * gx + c11 * fx) * fy;
}

inline constexpr int kMostMixed = 128;

/// Where the pixels of a row of the result lie in a window of the source.
struct MixPlaces {
  /// Those in the source; up to a pixel left of or above it counts as its edge.
  int first, end;
  /// Of the pixel to the left and above: its index in the window, and the way from it to the right
  /// and down. The way may be negative, down to -1: what then leaves a channel's range wraps.
  int at[kMostMixed];
  double fx[kMostMixed], fy[kMostMixed];
};

/// The source's place of the pixel `x`, `y` of a turned result.
struct TurnedPlaces {
  double cosine, sine;
  double centreX, centreY;        // of the result
  double srcCentreX, srcCentreY;  // of the source
  int srcWidth, srcHeight;

  double U(double x, double y) const {
    return (x - centreX) * cosine - (y - centreY) * sine + srcCentreX;
  }
  double V(double x, double y) const {
    return (y - centreY) * cosine + (x - centreX) * sine + srcCentreY;
  }
};

/// The places of `count` pixels from (`x`, `y`) on, in an array of the pixels of `window`: it holds
/// those of all places that lie in the source, and a column and a row more.
void FindMixPlaces(const TurnedPlaces& turned, int x, int y, int count, const KXRect& window,
                   MixPlaces& places);

/// Mixes the pixels of a row; `isStored` is 0 for those that leave the result as it is.
///
/// Pixels of 32 bits stand as in memory. Four of transparent white, which is what lies beyond the
/// edge, leave the result as it is.
///
/// Those of 64 bits are colours of 48 bits as they are read, which become opaque pixels in memory:
/// what some depths have in the highest word takes no part. The value that leaves the result as it
/// is has 32 bits here too, and so four pixels of white are stored: this is meant. White of 1 bit
/// is read as that value.
template <class Word>
void MixRow(const Word* window, int stride, const MixPlaces& places, Word* mixed, BYTE* isStored);

/// What lies beyond the source's edge.
template <class Word>
inline constexpr Word kMixOutside = sizeof(Word) == 4 ? 0x00FFFFFF : 0x0000FFFFFFFFFFFF;

}  // namespace kxw
