#pragma once

#include <cstring>
#include <type_traits>

#include "kxwcmn/drawing/detail/floodrows.h"
#include "kxwcmn/drawing/detail/floodvariants.h"
#include "kxwcmn/offscreen/detail/depths.h"

/// The questions of a fill about pixels of one depth.
///
/// Where a question comes to bounds of the channels in memory, it is put to the bytes of 64 pixels
/// at once. Some know a stretch of pixels as good by a simpler look.
namespace kxw::flood {

/// The lowest and the highest value of each channel.
template <class Depth>
class ChannelBounds {
 public:
  /// Both are inclusive, and `low` is nowhere above `high`.
  void Set(typename Depth::Pixel low, typename Depth::Pixel high) {
    BYTE lows[kLength * sizeof(Channel)], highs[kLength * sizeof(Channel)];
    for (int i = 0; i < kLength * kChannelBytes / kBytes; ++i) {
      Depth::Store(lows + i * kBytes, 0, low);
      Depth::Store(highs + i * kBytes, 0, high);
    }
    std::memcpy(low_, lows, sizeof low_);
    std::memcpy(width_, highs, sizeof width_);
    for (int i = 0; i < kLength; ++i) width_[i] = static_cast<Channel>(width_[i] - low_[i]);
  }

  /// A bit for each of the 64 pixels at `at`, the first highest: whether it is in the bounds.
  u64 AskWord(const BYTE* at) const {
    constexpr int kChannels = kWordBits * kBytes / kChannelBytes;
    Channel channels[kLength], outside[kChannels];
    for (int first = 0; first < kChannels; first += kLength) {
      std::memcpy(channels, at + first * kChannelBytes, sizeof channels);
      for (int i = 0; i < kLength; ++i) {
        const auto above = static_cast<Channel>(channels[i] - low_[i]);
        outside[first + i] = static_cast<Channel>(above > width_[i] ? 1 : 0);
      }
    }
    BYTE answers[kWordBits];
    const auto* const bytes = reinterpret_cast<const BYTE*>(outside);
    for (int i = 0; i < kWordBits; ++i) {
      if constexpr (kBytes == 3) {
        const BYTE* const pixel = bytes + i * kBytes;
        answers[i] = (pixel[0] | pixel[1] | pixel[2]) == 0;
      } else {
        using Word = std::conditional_t<
            kBytes == 8, u64,
            std::conditional_t<kBytes == 4, DWORD, std::conditional_t<kBytes == 2, WORD, BYTE>>>;
        answers[i] = LoadRaw<Word>(bytes + i * kBytes) == 0;
      }
    }
    return PackAnswers(answers);
  }

 private:
  using Channel = std::conditional_t<Depth::kBits == 64, WORD, BYTE>;
  static constexpr int kBytes = Depth::kBits / 8;
  static constexpr int kChannelBytes = static_cast<int>(sizeof(Channel));
  /// Whole pixels, and whole vectors, of channels.
  static constexpr int kLength = kBytes == 3 ? 48 : 16;

  Channel low_[kLength] = {}, width_[kLength] = {};
};

/// The pixels of a depth that match a base within a margin, as bounds of their channels: for
/// references of the variant's own depth. `kSkips` asks while the next run is looked for.
template <class Variant, class Depth, bool kSkips = false>
struct MatchBounds {
  static constexpr bool kKnown = false;
};

// `Get` gives both ends; it returns false where bounds do not tell. `margin` is not negative.
struct ByteBounds {
  static constexpr bool kKnown = true;
  static bool Get(BYTE base, int margin, BYTE& low, BYTE& high) {
    low = static_cast<BYTE>(base > margin ? base - margin : 0);
    high = static_cast<BYTE>(255 - base > margin ? base + margin : 255);
    return true;
  }
};
/// The three colours, with any alpha or one within the margin.
template <bool kWithAlpha>
struct PixelBounds {
  static constexpr bool kKnown = true;
  static bool Get(DWORD base, int margin, DWORD& low, DWORD& high) {
    low = high = 0;
    for (int shift = 0; shift < 32; shift += 8) {
      BYTE least = 0, most = 255;
      if (kWithAlpha || shift < 24) {
        ByteBounds::Get(static_cast<BYTE>(base >> shift), margin, least, most);
      }
      low |= static_cast<DWORD>(least) << shift;
      high |= static_cast<DWORD>(most) << shift;
    }
    // A base without alpha matches all pixels without alpha.
    return !kWithAlpha || Alpha(base) > 0;
  }
};
template <bool kWithAlpha>
struct PixelBounds64 {
  static constexpr bool kKnown = true;
  static bool Get(u64 base, int margin, u64& low, u64& high) {
    low = high = 0;
    for (int shift = 0; shift < 64; shift += 16) {
      const auto channel = static_cast<WORD>(base >> shift);
      const bool counts = kWithAlpha || shift < 48;
      const int least = channel > margin ? channel - margin : 0;
      const int most = 65535 - channel > margin ? channel + margin : 65535;
      low |= static_cast<u64>(counts ? least : 0) << shift;
      high |= static_cast<u64>(counts ? most : 65535) << shift;
    }
    return !kWithAlpha || Alpha64(base) > 0;
  }
};
template <bool kSkips>
struct MatchBounds<From8, Depth8, kSkips> : ByteBounds {};
template <bool kSkips>
struct MatchBounds<From16, Depth16, kSkips> {
  static constexpr bool kKnown = true;
  static bool Get(DWORD base, int margin, Depth16::Pixel& low, Depth16::Pixel& high) {
    ByteBounds::Get(Alpha(base), margin, low.alpha, high.alpha);
    ByteBounds::Get(Blue(base), margin, low.grey, high.grey);
    // Else pixels without alpha could match, some of them judged as white.
    return low.alpha > 0;
  }
};
template <bool kSkips>
struct MatchBounds<From32, Depth32, kSkips> : PixelBounds<kSkips> {};
template <bool kSkips>
struct MatchBounds<FromGeneric, Depth24, kSkips> : PixelBounds<false> {};
template <bool kSkips>
struct MatchBounds<From64, Depth64, kSkips> : PixelBounds64<kSkips> {};

/// A test by bounds, if there are any.
template <class Bounds, class Depth>
class BoundedTest {
 public:
  static constexpr bool kHasBounds = Bounds::kKnown;
  static constexpr bool kKnowsStretches = false;

  bool IsBounded() const { return isBounded_; }
  u64 AskWord(const BYTE* at) const { return bounds_.AskWord(at); }

 protected:
  template <class Value>
  void SetBounds(Value base, int margin) {
    if constexpr (kHasBounds) {
      typename Depth::Pixel low, high;
      isBounded_ = margin >= 0 && Bounds::Get(base, margin, low, high);
      if (isBounded_) bounds_.Set(low, high);
    }
  }

 private:
  struct Nothing {};

  bool isBounded_ = false;
  [[no_unique_address]] std::conditional_t<kHasBounds, ChannelBounds<Depth>, Nothing> bounds_;
};

/// Whether pixels of a depth that read alike in these terms are alike.
template <class Terms, class Depth>
inline constexpr bool kReadsPixels =
    (std::is_same_v<Terms, Terms1> && std::is_same_v<Depth, Depth1>) ||
    (std::is_same_v<Terms, Terms8> && std::is_same_v<Depth, Depth8>) ||
    (std::is_same_v<Terms, Terms24> && std::is_same_v<Depth, Depth24>) ||
    (std::is_same_v<Terms, Terms32> && std::is_same_v<Depth, Depth32>) ||
    (std::is_same_v<Terms, Terms64> && std::is_same_v<Depth, Depth64>);

/// Whether a pixel of the reference matches the base: while painting, or while the next run is
/// looked for.
template <class Variant, class Depth, bool kSkips>
class MatchTest : public BoundedTest<MatchBounds<Variant, Depth, kSkips>, Depth> {
 public:
  using Terms = typename Variant::Ref;
  using Value = typename Terms::Value;

  MatchTest(Value base, int margin) : base_(base), margin_(margin) {
    this->SetBounds(base, margin);
  }

  bool operator()(typename Depth::Pixel p) const { return Judge(Terms::template To<Depth>(p)); }
  bool OfMissing() const { return Judge(Terms::template kMissing<Depth>); }

 private:
  bool Judge(Value value) const {
    return kSkips ? Variant::MatchSkip(base_, value, margin_)
                  : Variant::Match(base_, value, margin_);
  }

  Value base_;
  int margin_;
};

/// At 8 bits a second reference is judged as a first one is.
template <class Variant, class Depth>
struct SecondBounds {
  static constexpr bool kKnown = false;
};
template <>
struct SecondBounds<FromGeneric, Depth8> : ByteBounds {};

/// Whether a pixel of the second reference matches its base.
template <class Variant, class Depth>
class SecondTest : public BoundedTest<SecondBounds<Variant, Depth>, Depth> {
 public:
  using Terms = typename Variant::Second;

  SecondTest(BYTE base, int margin) : base_(base), margin_(margin) {
    this->SetBounds(base, margin);
  }

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
  static constexpr bool kHasBounds = false;
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
