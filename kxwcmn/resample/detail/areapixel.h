#pragma once

#include "kxwcmn/offscreen/detail/depths.h"

/// What the area filter sums of a depth's pixels: their samples in the order of memory, one for
/// each channel. `Split` takes a pixel apart and `Join` makes the value of a result; `kHole` are
/// the samples of a pixel without memory. Results are multiplied by `kSpread` and cut to `kLimit`.
namespace kxw {

template <class Depth>
struct AreaPixel;

/// Depths whose samples are bytes.
template <int kCount>
struct AreaBytes {
  using Sample = BYTE;
  using Value = DWORD;
  static constexpr int kChannels = kCount;
  static constexpr int kLimit = 255;
  static constexpr double kSpread = 1.0;
  static constexpr Sample kHole = 0;
};

template <>
struct AreaPixel<Depth1> : AreaBytes<1> {
  static constexpr double kSpread = 255.0;
  static void Split(Depth1::Pixel p, Sample* s) { s[0] = p; }
  static Value Join(const Sample* s) { return MakeGrey(s[0], 0); }
};

/// Black counts as colour 1 and white as 0, both with an alpha of 1.
template <>
struct AreaPixel<Depth2> : AreaBytes<2> {
  static constexpr double kSpread = 255.0;
  static void Split(Depth2::Pixel p, Sample* s) {
    s[0] = p == 3;
    s[1] = p >= 2;
  }
  static Value Join(const Sample* s) { return MakeGrey(s[0], s[1]); }
};

template <>
struct AreaPixel<Depth8> : AreaBytes<1> {
  static void Split(Depth8::Pixel p, Sample* s) { s[0] = p; }
  static Value Join(const Sample* s) { return MakeGrey(s[0], 0); }
};

template <>
struct AreaPixel<Depth16> : AreaBytes<2> {
  static void Split(Depth16::Pixel p, Sample* s) {
    s[0] = p.alpha;
    s[1] = p.grey;
  }
  static Value Join(const Sample* s) { return MakeGrey(s[1], s[0]); }
};

template <>
struct AreaPixel<Depth24> : AreaBytes<3> {
  static constexpr Sample kHole = 255;  // white
  static void Split(Depth24::Pixel p, Sample* s) {
    s[0] = Blue(p);
    s[1] = Green(p);
    s[2] = Red(p);
  }
  static Value Join(const Sample* s) { return MakeColor(s[2], s[1], s[0], 0); }
};

template <>
struct AreaPixel<Depth32> : AreaBytes<4> {
  static void Split(Depth32::Pixel p, Sample* s) {
    s[0] = Blue(p);
    s[1] = Green(p);
    s[2] = Red(p);
    s[3] = Alpha(p);
  }
  static Value Join(const Sample* s) { return MakeColor(s[2], s[1], s[0], s[3]); }
};

template <>
struct AreaPixel<Depth64> {
  using Sample = WORD;
  using Value = u64;
  static constexpr int kChannels = 4;
  static constexpr int kLimit = 65535;
  static constexpr double kSpread = 1.0;
  static constexpr Sample kHole = 0;
  static void Split(Depth64::Pixel p, Sample* s) {
    s[0] = Blue64(p);
    s[1] = Green64(p);
    s[2] = Red64(p);
    s[3] = Alpha64(p);
  }
  static Value Join(const Sample* s) { return MakeColor64(s[2], s[1], s[0], s[3]); }
};

}  // namespace kxw
