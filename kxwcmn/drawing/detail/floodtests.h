#pragma once

#include <cstring>
#include <type_traits>

#include "kxwcmn/drawing/detail/floodvariants.h"
#include "kxwcmn/offscreen/detail/depths.h"

/// The questions of a fill about pixels of one depth.
///
/// Some know a stretch of pixels as good by a simpler look, which the compiler turns into vector
/// code; a stretch that fails it is asked pixel by pixel.
namespace kxw::flood {

/// The lowest and the highest value of each channel, for a stretch of pixels in memory.
template <class Depth>
class ChannelBounds {
 public:
  static constexpr int kStretch = 16;

  /// Both are inclusive, and `low` is nowhere above `high`.
  void Set(typename Depth::Pixel low, typename Depth::Pixel high) {
    constexpr int kBytes = Depth::kBits / 8;
    BYTE lows[kStretch * kBytes], highs[kStretch * kBytes];
    for (int i = 0; i < kStretch; ++i) {
      Depth::Store(lows + i * kBytes, 0, low);
      Depth::Store(highs + i * kBytes, 0, high);
    }
    std::memcpy(low_, lows, sizeof low_);
    std::memcpy(width_, highs, sizeof width_);
    for (int i = 0; i < kChannels; ++i) width_[i] = static_cast<Channel>(width_[i] - low_[i]);
  }

  bool Hold(const BYTE* at) const {
    Channel channels[kChannels];
    std::memcpy(channels, at, sizeof channels);
    Channel over = 0;
    for (int i = 0; i < kChannels; ++i) {
      const auto above = static_cast<Channel>(channels[i] - low_[i]);
      over |= static_cast<Channel>(above > width_[i] ? 1 : 0);
    }
    return over == 0;
  }

 private:
  using Channel = std::conditional_t<Depth::kBits == 64, WORD, BYTE>;
  static constexpr int kChannels = kStretch * Depth::kBits / 8 / static_cast<int>(sizeof(Channel));

  Channel low_[kChannels] = {}, width_[kChannels] = {};
};

/// The pixels of a depth that surely match a base within a margin, as bounds of their channels: for
/// references of the variant's own depth.
template <class Variant, class Depth>
struct MatchBounds {
  static constexpr bool kKnown = false;
};

constexpr int Lower(int channel, int margin) { return channel > margin ? channel - margin : 0; }
constexpr int Upper(int channel, int margin, int most) {
  return most - channel > margin ? channel + margin : most;
}

// `Get` gives both ends; it returns false where bounds do not tell. `margin` is not negative.
template <>
struct MatchBounds<From8, Depth8> {
  static constexpr bool kKnown = true;
  static bool Get(BYTE base, int margin, BYTE& low, BYTE& high) {
    low = static_cast<BYTE>(Lower(base, margin));
    high = static_cast<BYTE>(Upper(base, margin, 255));
    return true;
  }
};
template <>
struct MatchBounds<From16, Depth16> {
  static constexpr bool kKnown = true;
  static bool Get(DWORD base, int margin, Depth16::Pixel& low, Depth16::Pixel& high) {
    MatchBounds<From8, Depth8>::Get(Alpha(base), margin, low.alpha, high.alpha);
    MatchBounds<From8, Depth8>::Get(Blue(base), margin, low.grey, high.grey);
    // A pixel of two zeros is judged as white.
    return low.alpha > 0 || low.grey > 0;
  }
};
template <>
struct MatchBounds<From32, Depth32> {
  static constexpr bool kKnown = true;
  static bool Get(DWORD base, int margin, DWORD& low, DWORD& high) {
    const auto lower = [=](BYTE c) { return static_cast<unsigned>(Lower(c, margin)); };
    const auto upper = [=](BYTE c) { return static_cast<unsigned>(Upper(c, margin, 255)); };
    low = MakeColor(lower(Red(base)), lower(Green(base)), lower(Blue(base)), 0);
    high = MakeColor(upper(Red(base)), upper(Green(base)), upper(Blue(base)), 255);
    return true;
  }
};
template <>
struct MatchBounds<FromGeneric, Depth24> : MatchBounds<From32, Depth32> {};
template <>
struct MatchBounds<From64, Depth64> {
  static constexpr bool kKnown = true;
  static bool Get(u64 base, int margin, u64& low, u64& high) {
    const auto lower = [=](WORD c) { return static_cast<u64>(Lower(c, margin)); };
    const auto upper = [=](WORD c) { return static_cast<u64>(Upper(c, margin, 65535)); };
    low = MakeColor64(lower(Red64(base)), lower(Green64(base)), lower(Blue64(base)), 0);
    high = MakeColor64(upper(Red64(base)), upper(Green64(base)), upper(Blue64(base)), 65535);
    return true;
  }
};

/// Whether pixels of a depth that read alike in these terms are alike.
template <class Terms, class Depth>
inline constexpr bool kReadsPixels =
    (std::is_same_v<Terms, Terms1> && std::is_same_v<Depth, Depth1>) ||
    (std::is_same_v<Terms, Terms8> && std::is_same_v<Depth, Depth8>) ||
    (std::is_same_v<Terms, Terms24> && std::is_same_v<Depth, Depth24>) ||
    (std::is_same_v<Terms, Terms32> && std::is_same_v<Depth, Depth32>) ||
    (std::is_same_v<Terms, Terms64> && std::is_same_v<Depth, Depth64>);

/// Whether a pixel of the reference matches the base.
template <class Variant, class Depth>
class MatchTest {
 public:
  using Terms = typename Variant::Ref;
  using Value = typename Terms::Value;
  using Bounds = MatchBounds<Variant, Depth>;
  static constexpr bool kKnowsStretches = Bounds::kKnown;
  static constexpr int kStretch = 16;

  MatchTest(Value base, int margin) : base_(base), margin_(margin) {
    if constexpr (kKnowsStretches) {
      typename Depth::Pixel low, high;
      isBounded_ = margin >= 0 && Bounds::Get(base, margin, low, high);
      if (isBounded_) bounds_.Set(low, high);
    }
  }

  bool operator()(typename Depth::Pixel p) const {
    return Variant::Match(base_, Terms::template To<Depth>(p), margin_);
  }
  bool OfMissing() const { return Variant::Match(base_, Terms::template kMissing<Depth>, margin_); }
  bool IsGoodStretch(const BYTE* at) const { return isBounded_ && bounds_.Hold(at); }

 private:
  struct Nothing {};

  Value base_;
  int margin_;
  bool isBounded_ = false;
  [[no_unique_address]] std::conditional_t<kKnowsStretches, ChannelBounds<Depth>, Nothing> bounds_;
};

/// Whether a pixel of the reference matches the base while the next run is looked for.
template <class Variant, class Depth>
class SkipTest {
 public:
  using Terms = typename Variant::Ref;
  using Value = typename Terms::Value;
  static constexpr bool kKnowsStretches = false;

  SkipTest(Value base, int margin) : base_(base), margin_(margin) {}

  bool operator()(typename Depth::Pixel p) const {
    return Variant::MatchSkip(base_, Terms::template To<Depth>(p), margin_);
  }
  bool OfMissing() const {
    return Variant::MatchSkip(base_, Terms::template kMissing<Depth>, margin_);
  }

 private:
  Value base_;
  int margin_;
};

/// Whether a pixel of the second reference matches its base.
template <class Variant, class Depth>
class SecondTest {
 public:
  using Terms = typename Variant::Second;
  static constexpr bool kKnowsStretches = false;

  SecondTest(BYTE base, int margin) : base_(base), margin_(margin) {}

  bool operator()(typename Depth::Pixel p) const {
    return Variant::MatchSecond(base_, Terms::template To<Depth>(p), margin_);
  }
  bool OfMissing() const {
    return Variant::MatchSecond(base_, Terms::template kMissing<Depth>, margin_);
  }

 private:
  BYTE base_;
  int margin_;
};

/// Whether a pixel of the painted image, read in `Terms`, is without the fill value.
template <class Terms, class Depth>
class UnfilledTest {
 public:
  using Value = typename Terms::Value;
  // In these terms an opaque pixel reads as it stands.
  static constexpr bool kKnowsStretches =
      (std::is_same_v<Terms, Terms24> && std::is_same_v<Depth, Depth32>) ||
      (std::is_same_v<Terms, Terms48> && std::is_same_v<Depth, Depth64>);
  static constexpr int kStretch = 16;

  explicit UnfilledTest(Value fill) : fill_(fill) {}

  bool operator()(typename Depth::Pixel p) const { return Terms::template To<Depth>(p) != fill_; }
  bool OfMissing() const { return false; }  // it cannot be painted

  bool IsGoodStretch(const BYTE* at) const {
    // Alpha is the last channel in memory.
    constexpr Value kOpaque = Depth::kBits == 64 ? Value(~u64{0} << 48) : Value(~DWORD{0} << 24);
    Value bad = 0;
    for (int i = 0; i < kStretch; ++i) {
      const Value pixel = Depth::Load(at + i * Depth::kBits / 8, 0);
      bad |= static_cast<Value>(pixel == fill_ ? 1 : 0) | (~pixel & kOpaque);
    }
    return bad == 0;
  }

 private:
  Value fill_;
};

}  // namespace kxw::flood
