#pragma once

#include <algorithm>
#include <bit>
#include <type_traits>

#include "kxwcmn/drawing/detail/floodrows.h"
#include "kxwcmn/drawing/detail/floodvariants.h"
#include "kxwcmn/offscreen/detail/depths.h"

/// The questions of a fill about pixels of one depth.
///
/// Where a question comes to bounds of the channels in memory, it is put to the bytes of 64 pixels
/// at once.
namespace kxw::flood {

/// The pixels of a depth that match a base within a margin, as bounds of their channels, alpha left
/// free where it does not count while painting: for references of the variant's own depth.
template <class Variant, class Depth>
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
/// Of four channels, those from number `kFirst` up to `kEnd` within the margin, the others free.
template <class Pixel, int kFirst, int kEnd>
struct PixelBounds {
  static constexpr bool kKnown = true;
  static bool Get(Pixel base, int margin, Pixel& low, Pixel& high) {
    constexpr int kBits = sizeof(Pixel) * 2, kFull = (1 << kBits) - 1;
    low = high = 0;
    for (int i = 0; i < 4; ++i) {
      const int channel = static_cast<int>(base >> i * kBits & kFull);
      const bool counts = i >= kFirst && i < kEnd;
      const int least = counts && channel > margin ? channel - margin : 0;
      const int most = counts && kFull - channel > margin ? channel + margin : kFull;
      low |= static_cast<Pixel>(counts ? least : 0) << i * kBits;
      high |= static_cast<Pixel>(counts ? most : kFull) << i * kBits;
    }
    return true;
  }
};
/// What is compared exactly lies between itself and itself.
template <class Pixel>
struct ExactBounds {
  static constexpr bool kKnown = true;
  static bool Get(Pixel base, int, Pixel& low, Pixel& high) {
    low = high = base;
    return true;
  }
};
template <>
struct MatchBounds<From8, Depth8> : ByteBounds {};
template <>
struct MatchBounds<From8Exact, Depth8> : ExactBounds<BYTE> {};
template <>
struct MatchBounds<From16, Depth16> {
  static constexpr bool kKnown = true;
  static bool Get(DWORD base, int margin, Depth16::Pixel& low, Depth16::Pixel& high) {
    ByteBounds::Get(Alpha(base), margin, low.alpha, high.alpha);
    ByteBounds::Get(Blue(base), margin, low.grey, high.grey);
    // Else pixels without alpha could match, some of them judged as white.
    return low.alpha > 0;
  }
};
template <>
struct MatchBounds<From16Exact, Depth16> {
  static constexpr bool kKnown = true;
  static bool Get(DWORD base, int, Depth16::Pixel& low, Depth16::Pixel& high) {
    return MatchBounds<From16, Depth16>::Get(base, 0, low, high);
  }
};
template <>
struct MatchBounds<From32, Depth32> : PixelBounds<DWORD, 0, 3> {};
template <>
struct MatchBounds<From32Exact, Depth32> : ExactBounds<DWORD> {};
template <>
struct MatchBounds<FromGeneric, Depth24> : PixelBounds<DWORD, 0, 3> {};
template <>
struct MatchBounds<From64, Depth64> : PixelBounds<u64, 0, 3> {};
template <>
struct MatchBounds<From64Exact, Depth64> : ExactBounds<u64> {};

/// Bounds of a depth, where there are any.
template <class Depth, bool kHas>
class BoundsIf {};
template <class Depth>
class BoundsIf<Depth, true> : public ChannelBounds<Depth> {};

/// Whether pixels of a depth that read alike in these terms are alike.
template <class Terms, class Depth>
inline constexpr bool kReadsPixels =
    (std::is_same_v<Terms, Terms1> && std::is_same_v<Depth, Depth1>) ||
    (std::is_same_v<Terms, Terms8> && std::is_same_v<Depth, Depth8>) ||
    (std::is_same_v<Terms, Terms24> && std::is_same_v<Depth, Depth24>) ||
    (std::is_same_v<Terms, Terms32> && std::is_same_v<Depth, Depth32>) ||
    (std::is_same_v<Terms, Terms64> && std::is_same_v<Depth, Depth64>);

/// Whether a pixel of the reference matches the base: first, while painting; second, while the next
/// run is looked for.
template <class Variant, class Depth>
class MatchTests {
  using Bounds = MatchBounds<Variant, Depth>;

 public:
  using Terms = typename Variant::Ref;
  using Value = typename Terms::Value;
  static constexpr bool kIsOne = Variant::kSkipsAsItPaints;
  static constexpr bool kAsksWords = Bounds::kKnown;

  MatchTests(Value base, int margin) : base_(base), margin_(margin) {
    if constexpr (kAsksWords) {
      typename Depth::Pixel low, high;
      isBounded_ = margin >= 0 && Bounds::Get(base, margin, low, high);
      if (!isBounded_) return;
      bounds_.Set(low, high);
      if constexpr (!kIsOne) {
        constexpr Value kColors = static_cast<Value>(~Value{0}) >> Depth::kBits / 4;
        PixelBounds<Value, 3, 4>::Get(base, margin, low, high);
        alpha_.Set(low, high);
        // A base without alpha matches all pixels without alpha.
        isClear_ = base <= kColors;
        clear_.Set(0, kColors);
      }
    }
  }

  bool First(typename Depth::Pixel p) const { return Matches(Terms::template To<Depth>(p)); }
  bool Second(typename Depth::Pixel p) const { return Skips(Terms::template To<Depth>(p)); }
  bool FirstOfMissing() const { return Matches(Terms::template kMissing<Depth>); }
  bool SecondOfMissing() const { return Skips(Terms::template kMissing<Depth>); }

  bool CanAskWord() const { return isBounded_; }
  Answers AskWord(const BYTE* at) const {
    Answers answers;
    answers.first = answers.second = bounds_.AskWord(at);
    if constexpr (!kIsOne) {
      if (!alpha_.AreAllInside(at)) answers.second &= alpha_.AskWord(at);
      if (isClear_) answers.second |= clear_.AskWord(at);
    }
    return answers;
  }

 private:
  bool Matches(Value value) const { return Variant::Match(base_, value, margin_); }
  bool Skips(Value value) const { return Variant::MatchSkip(base_, value, margin_); }

  Value base_;
  int margin_;
  bool isBounded_ = false, isClear_ = false;
  [[no_unique_address]] BoundsIf<Depth, kAsksWords> bounds_;
  // Where alpha counts for the second question alone.
  [[no_unique_address]] BoundsIf<Depth, kAsksWords && !kIsOne> alpha_;
  [[no_unique_address]] BoundsIf<Depth, kAsksWords && !kIsOne> clear_;
};

/// Whether a pixel of the second reference matches its base.
template <class Variant, class Depth>
class SecondTests {
 public:
  using Terms = typename Variant::Second;
  static constexpr bool kIsOne = true;
  // At 8 bits a second reference is judged as a first one is.
  static constexpr bool kAsksWords =
      std::is_same_v<Variant, FromGeneric> && std::is_same_v<Depth, Depth8>;

  SecondTests(BYTE base, int margin) : base_(base), margin_(margin) {
    if constexpr (kAsksWords) {
      BYTE low, high;
      isBounded_ = margin >= 0 && ByteBounds::Get(base, margin, low, high);
      if (isBounded_) bounds_.Set(low, high);
    }
  }

  bool First(typename Depth::Pixel p) const { return Matches(Terms::template To<Depth>(p)); }
  bool Second(typename Depth::Pixel p) const { return First(p); }
  bool FirstOfMissing() const { return Matches(Terms::template kMissing<Depth>); }
  bool SecondOfMissing() const { return FirstOfMissing(); }

  bool CanAskWord() const { return isBounded_; }
  Answers AskWord(const BYTE* at) const {
    const u64 word = bounds_.AskWord(at);
    return {word, word};
  }

 private:
  bool Matches(BYTE value) const { return Variant::MatchSecond(base_, value, margin_); }

  BYTE base_;
  int margin_;
  bool isBounded_ = false;
  [[no_unique_address]] BoundsIf<Depth, kAsksWords> bounds_;
};

/// Whether a pixel of the painted image is without the fill value: first, read in the terms `Left`;
/// second, in the terms `Right`.
template <class Left, class Right, class Depth>
class UnfilledTests {
  /// In these terms an opaque pixel reads as it stands, and any other one as opaque with its
  /// colours weighed by its alpha, none of them above that.
  template <class Terms>
  static constexpr bool kWeighs = (std::is_same_v<Terms, Terms24> && Depth::kBits == 32) ||
                                  (std::is_same_v<Terms, Terms48> && Depth::kBits == 64);
  template <class Terms>
  static constexpr bool kReadsWhole = kReadsPixels<Terms, Depth>&& Depth::kBits >= 8;
  static constexpr bool kHasWeighed = kWeighs<Left> || kWeighs<Right>;

 public:
  using Pixel = typename Depth::Pixel;
  using Value = typename Left::Value;
  static constexpr bool kIsOne = std::is_same_v<Left, Right>;
  static constexpr bool kAsksWords =
      (kReadsWhole<Left> || kWeighs<Left>)&&(kReadsWhole<Right> || kWeighs<Right>);

  /// Pixels that stand as the fill value are asked about with `isWholePossible` alone, those that
  /// read as it by their alpha with `isWeighedPossible`.
  UnfilledTests(Value fill, bool isWholePossible, bool isWeighedPossible) : fill_(fill) {
    if constexpr (kAsksWords) {
      BYTE bytes[8];
      Depth::Store(bytes, 0, static_cast<Pixel>(fill));
      const Pixel pixel = Depth::Load(bytes, 0);
      // A depth without alpha never reads as a value that has one.
      if (isWholePossible) wholeFills_ = {First(pixel) ? 0 : ~u64{0}, Second(pixel) ? 0 : ~u64{0}};
      whole_.Set(pixel, pixel);
    }
    if constexpr (kAsksWords && kHasWeighed) {
      constexpr int kBits = Depth::kBits / 4;
      constexpr Value kFull = (Value{1} << kBits) - 1, kColors = (Value{1} << 3 * kBits) - 1;
      const auto channel = [fill](int i) { return fill >> i * kBits & kFull; };
      const Value most = std::max({channel(0), channel(1), channel(2)});
      isWeighedPossible_ = isWeighedPossible && channel(3) == kFull && most < kFull;
      if (isWeighedPossible_) weighed_.Set(most << 3 * kBits, kColors | (kFull - 1) << 3 * kBits);
      opaque_.Set(kFull << 3 * kBits, ~Value{0});
    }
  }

  bool First(Pixel p) const { return Left::template To<Depth>(p) != fill_; }
  bool Second(Pixel p) const { return Right::template To<Depth>(p) != fill_; }
  bool FirstOfMissing() const { return false; }  // it cannot be painted
  bool SecondOfMissing() const { return false; }

  bool CanAskWord() const { return true; }
  Answers AskWord(const BYTE* at) const {
    const u64 whole = wholeFills_.first | wholeFills_.second ? whole_.AskWord(at) : 0;
    Answers answers{~(whole & wholeFills_.first), ~(whole & wholeFills_.second)};
    if constexpr (kHasWeighed) {
      if (!isWeighedPossible_ || opaque_.AreAllInside(at)) return answers;
      for (u64 left = weighed_.AskWord(at); left; left &= left - 1) {
        const int i = std::countr_zero(left);
        const Pixel pixel = Depth::Load(at + (kWordBits - 1 - i) * Depth::kBits / 8, 0);
        if (!First(pixel)) answers.first &= ~(u64{1} << i);
        if (!Second(pixel)) answers.second &= ~(u64{1} << i);
      }
    }
    return answers;
  }

  /// Whether any pixel can be filled already.
  bool IsPossible() const {
    return !kAsksWords || isWeighedPossible_ || wholeFills_.first | wholeFills_.second;
  }

 private:
  Value fill_;
  // All bits if a pixel that stands as the fill value reads as filled.
  Answers wholeFills_ = {};
  bool isWeighedPossible_ = false;  // that another does, by its alpha
  [[no_unique_address]] BoundsIf<Depth, kAsksWords> whole_;
  // Whose alpha is high enough to read as filled, and not full.
  [[no_unique_address]] BoundsIf<Depth, kAsksWords && kHasWeighed> weighed_;
  [[no_unique_address]] BoundsIf<Depth, kAsksWords && kHasWeighed> opaque_;
};

}  // namespace kxw::flood
