#pragma once

#include <bit>
#include <cstring>
#include <type_traits>

#include "kxwcmn/drawing/detail/floodvariants.h"
#include "kxwcmn/drawing/detail/floodwords.h"
#include "kxwcmn/offscreen/detail/depths.h"
#include "kxwcmn/offscreen/detail/fillrun.h"

/// Pixels of a row as bits, and bits as pixels: what a fill asks of the images' memory.
///
/// 256 pixels of a row are four words of bits, the leftmost pixel in the highest bit of the first.
namespace kxw::flood {

/// The bits of the `count` pixels from `at` on, which lie in one word.
constexpr u64 BitsOf(int at, int count) { return ~u64{0} << (kWordBits - count) >> (at & 63); }

inline void SetBits(u64* bits, int at, int count) {
  while (count > 0) {
    const int n = std::min(count, kWordBits - (at & 63));
    bits[at >> 6] |= BitsOf(at, n);
    at += n;
    count -= n;
  }
}

/// The answers to two questions.
struct Answers {
  u64 first, second;
};

/// Two questions about pixels, answered for a whole row at a time.
class RowTest {
 public:
  virtual ~RowTest() = default;
  /// Sets the bits, `at` and on, of those of the `count` pixels from `column` of a block's row that
  /// pass. A null `row` stands for pixels without memory.
  virtual void Ask(const BYTE* row, int column, int count, u64* first, u64* second,
                   int at) const = 0;
};

/// Writes a fill's pixel.
class RowPainter {
 public:
  virtual ~RowPainter() = default;
  /// Paints the pixels of a block's row whose bits are set.
  virtual void Paint(BYTE* row, const u64* bits) const = 0;
};

// --- Asking -------------------------------------------------------------------------------------

/// 64 bits of a row from bit `at` on, the leftmost highest; zeros behind the row.
template <class Depth>
inline u64 LoadBits(const BYTE* row, int at) {
  BYTE bytes[9] = {};
  const int first = at / 8;
  std::memcpy(bytes, row + first, static_cast<std::size_t>(std::min(9, kRowBytes<Depth> - first)));
  u64 word = 0;
  for (int i = 0; i < 8; ++i) word = word << 8 | bytes[i];
  const int shift = at & 7;
  return shift ? word << shift | bytes[8] >> (8 - shift) : word;
}

/// Every second bit, the highest and on, closed up in the low half.
constexpr u64 CloseUp(u64 bits) {
  bits = bits >> 1 & 0x5555555555555555;
  bits = (bits | bits >> 1) & 0x3333333333333333;
  bits = (bits | bits >> 2) & 0x0F0F0F0F0F0F0F0F;
  bits = (bits | bits >> 4) & 0x00FF00FF00FF00FF;
  bits = (bits | bits >> 8) & 0x0000FFFF0000FFFF;
  return (bits | bits >> 16) & 0xFFFFFFFF;
}

/// The answers for the 64 pixels from `column` on, of which those behind the row mean nothing.
template <class Depth, class Test>
inline u64 AskBits(const BYTE* row, int column, const Test& test) {
  u64 good = 0;
  if constexpr (Depth::kBits == 1) {
    const u64 word = LoadBits<Depth>(row, column);
    if (test(0)) good |= ~word;
    if (test(1)) good |= word;
  } else {
    for (const int half : {0, 1}) {
      if (column + half * 32 >= KXVOffscreen::kBlockSize) break;
      const u64 high = LoadBits<Depth>(row, (column + half * 32) * 2), low = high << 1;
      u64 pairs = 0;
      if (test(0)) pairs |= ~high & ~low;
      if (test(1)) pairs |= ~high & low;
      if (test(2)) pairs |= high & ~low;
      if (test(3)) pairs |= high & low;
      good |= CloseUp(pairs) << (half ? 0 : 32);
    }
  }
  return good;
}

/// `Tests` has two conditions on the pixels of `Depth`: `First` and `Second`, and what they are
/// `OfMissing` pixels, those without memory. With `kIsOne` the second is the first.
template <class Depth, class Tests>
class DepthRowTest final : public RowTest {
 public:
  explicit DepthRowTest(const Tests& tests) : tests_(tests) {}

  void Ask(const BYTE* row, int column, int count, u64* first, u64* second, int at) const override {
    if (!row || AreAlike(row, column, count)) {
      const auto pixel = [&] {
        return Depth::Load(row + ByteOfColumn<Depth>(column), MaskOfColumn<Depth>(column));
      };
      if (row ? tests_.First(pixel()) : tests_.FirstOfMissing()) SetBits(first, at, count);
      if (row ? tests_.Second(pixel()) : tests_.SecondOfMissing()) SetBits(second, at, count);
      return;
    }
    while (count > 0) {
      const int n = std::min(count, kWordBits - (at & 63));
      const Answers answers = AskPart(row, column, n);
      first[at >> 6] |= answers.first >> (at & 63);
      second[at >> 6] |= answers.second >> (at & 63);
      column += n;
      at += n;
      count -= n;
    }
  }

 private:
  /// Whether pixels are known to be all alike, where that spares a slower look.
  bool AreAlike(const BYTE* row, int column, int count) const {
    if constexpr (Depth::kBits >= 8) {
      if constexpr (Tests::kAsksWords) {
        if (tests_.CanAskWord()) return false;
      }
      constexpr int kBytes = Depth::kBits / 8;
      const BYTE* first = row + ByteOfColumn<Depth>(column);
      return std::memcmp(first, first + kBytes, static_cast<std::size_t>((count - 1) * kBytes)) ==
             0;
    }
    return false;
  }

  /// The answers for `count` pixels, at most 64, highest first.
  Answers AskPart(const BYTE* row, int column, int count) const {
    const u64 wanted = BitsOf(0, count);
    if constexpr (Depth::kBits < 8) {
      const u64 first =
          AskBits<Depth>(row, column, [this](BYTE p) { return tests_.First(p); }) & wanted;
      if constexpr (Tests::kIsOne) return {first, first};
      const auto test = [this](BYTE p) { return tests_.Second(p); };
      return {first, AskBits<Depth>(row, column, test) & wanted};
    } else {
      // A whole word of the row, of which the pixels are a part.
      const int shift = std::max(column + kWordBits - KXVOffscreen::kBlockSize, 0);
      const Answers answers = AskWord(row + ByteOfColumn<Depth>(column - shift));
      return {answers.first << shift & wanted, answers.second << shift & wanted};
    }
  }

  Answers AskWord(const BYTE* at) const {
    constexpr int kBytes = Depth::kBits / 8;
    if constexpr (Tests::kAsksWords) {
      if (tests_.CanAskWord()) return tests_.AskWord(at);
    }
    BYTE answers[kWordBits];
    for (int i = 0; i < kWordBits; ++i) {
      answers[i] = tests_.First(Depth::Load(at + i * kBytes, 0)) ? 1 : 0;
    }
    const u64 first = PackAnswers(answers);
    if constexpr (Tests::kIsOne) return {first, first};
    for (int i = 0; i < kWordBits; ++i) {
      answers[i] = tests_.Second(Depth::Load(at + i * kBytes, 0)) ? 1 : 0;
    }
    return {first, PackAnswers(answers)};
  }

  const Tests tests_;
};

// --- Painting -----------------------------------------------------------------------------------

template <class Depth>
class DepthRowPainter final : public RowPainter {
 public:
  explicit DepthRowPainter(typename Depth::Pixel pixel) : fill_(Depth::FillOf(pixel)) {
    if constexpr (kMixes) {
      constexpr int kBytes = Depth::kBits / 8;
      BYTE pixels[8];
      for (int i = 0; i < 8; i += kBytes) Depth::Store(pixels + i, 0, pixel);
      word_ = LoadRaw<u64>(pixels);
      for (int bits = 0; bits < 1 << kInWord; ++bits) {
        BYTE mask[8] = {};
        for (int i = 0; i < kInWord; ++i) {
          if (bits >> (kInWord - 1 - i) & 1) std::memset(mask + i * kBytes, 0xFF, kBytes);
        }
        masks_[bits] = LoadRaw<u64>(mask);
      }
    }
  }

  void Paint(BYTE* row, const u64* bits) const override {
    for (int i = 0; i < 4; ++i) {
      if (~bits[i] == 0) {
        int count = kWordBits;
        const int first = i * kWordBits;
        while (i < 3 && ~bits[i + 1] == 0) {
          count += kWordBits;
          ++i;
        }
        FillRun<Depth>(row, first, count, fill_);
      } else if (bits[i]) {
        PaintWord(row, i * kWordBits, bits[i]);
      }
    }
  }

 private:
  // Where whole pixels make up words of eight bytes, these are mixed without a branch: runs of a
  // pixel or two cannot be foretold.
  static constexpr bool kMixes = Depth::kBits >= 8 && Depth::kBits != 24;
  static constexpr int kInWord = kMixes ? 64 / Depth::kBits : 0;

  void PaintWord(BYTE* row, int column, u64 bits) const {
    if constexpr (kMixes) {
      for (BYTE* at = row + ByteOfColumn<Depth>(column); bits; bits <<= kInWord, at += 8) {
        const u64 mask = masks_[bits >> (64 - kInWord)];
        const u64 mixed = (LoadRaw<u64>(at) & ~mask) | (word_ & mask);
        std::memcpy(at, &mixed, sizeof mixed);
      }
    } else {
      while (bits) {
        const int skipped = std::countl_zero(bits);
        const int count = std::countl_one(bits << skipped);
        FillRun<Depth>(row, column + skipped, count, fill_);
        bits &= ~BitsOf(skipped, count);
      }
    }
  }

  const typename Depth::Fill fill_;
  u64 word_ = 0;
  u64 masks_[1 << kInWord] = {};
};

}  // namespace kxw::flood
