#include <new>
#include <type_traits>

#include "kxwcmn/classic/rows_internal.h"
#include "kxwcmn/classic/seedfill_internal.h"
#include "kxwcmn/classic/stlockoff.h"
#include "kxwcmn/core/exception.h"
#include "kxwcmn/drawing/detail/floodtests.h"
#include "kxwcmn/platform/error.h"
#include "kxwcmn/platform/host.h"
#include "kxwcmn/platform/vectorize_internal.h"

namespace {

constexpr int kWord = 64;

/// The 64 pixels of 1 bit at `at`, the leftmost highest.
u64 LoadBits(const BYTE* at) {
  u64 word = 0;
  for (int i = 0; i < 8; ++i) word = word << 8 | at[i];
  return word;
}

/// The pixels that have the seed's colour and that `mask`, which may be null, does not mark yet.
template <class Depth>
class PixelsLikeSeed final : public kxw::OpenPixels {
 public:
  PixelsLikeSeed(const KXOffscreen& image, const tagPOINT& seed, const KXOffscreen* mask, BYTE mark)
      : OpenPixels(image.GetWidth(), image.GetHeight()),
        image_(image),
        seed_(kxw::LoadPixel<Depth>(kxw::ClassicRow(image, seed.y), seed.x)),
        mask_(mask),
        marked_(mark == 1 ? ~u64{0} : 0) {
    kxw::FillPixels<Depth>(allLike_, 0, kWord, Depth::FillOf(seed_));
    if constexpr (Depth::kBits == 32) {
      like_.Set(seed_ & 0x00FFFFFF, seed_ | 0xFF000000);  // with any alpha
    } else if constexpr (Depth::kBits > 1) {
      like_.Set(seed_, seed_);
    }
  }

  typename Depth::Pixel Seed() const { return seed_; }

 private:
  struct Nothing {};
  using Like = std::conditional_t<(Depth::kBits > 1), kxw::flood::ChannelBounds<Depth>, Nothing>;
  static constexpr int kWordBytes = kWord * Depth::kBits / 8;

  void Read(int y, u64* bits) const override {
    kxw::InVectors<AskRow>(*this, kxw::ClassicRow(image_, y), image_.GetWidth(), bits);
    if (mask_) AskMask(kxw::ClassicRow(*mask_, y), mask_->GetWidth(), bits);
  }

  u64 AskWord(const BYTE* at) const {
    if constexpr (Depth::kBits == 1) {
      return LoadBits(at) ^ (seed_ ? 0 : ~u64{0});
    } else {
      if (std::memcmp(at, allLike_, kWordBytes) == 0) return ~u64{0};
      return like_.AskWord(at);
    }
  }
  static void AskRow(const PixelsLikeSeed& self, const BYTE* row, int width, u64* bits) {
    ForEachWord<kWordBytes>(row, width, bits,
                            [&](const BYTE* at, u64& word) { word = self.AskWord(at); });
  }
  void AskMask(const BYTE* row, int width, u64* bits) const {
    ForEachWord<8>(row, width, bits,
                   [this](const BYTE* at, u64& word) { word &= LoadBits(at) ^ marked_; });
  }

  /// Calls `op` with the pixels of each word of bits; those behind the row are left 0.
  template <int kBytes, class Op>
  static void ForEachWord(const BYTE* row, int width, u64* bits, Op op) {
    for (; width >= kWord; width -= kWord, row += kBytes) op(row, *bits++);
    if (width == 0) return;
    BYTE rest[kBytes] = {};
    std::memcpy(rest, row, (static_cast<std::size_t>(width) * kBytes + kWord - 1) / kWord);
    op(rest, *bits);
    *bits &= ~(~u64{0} >> width);  // there is a bit behind the last pixel
  }

  const KXOffscreen& image_;
  const typename Depth::Pixel seed_;
  const KXOffscreen* const mask_;
  const u64 marked_;  // a word of the mask that is marked
  [[no_unique_address]] Like like_;
  BYTE allLike_[kWordBytes];  // a word of pixels like the seed
};

/// A fill, which paints pixels of `Depth` and widens a rectangle, inclusive at its right and
/// bottom.
template <class Depth>
class SeedFill {
 public:
  SeedFill(const KXOffscreen& painted, typename Depth::Pixel paint, kxw::OpenPixels& open)
      : painted_(painted), paint_(Depth::FillOf(paint)), open_(open) {}

  KXRect Run(const tagPOINT& seed) {
    box_ = KXRect(seed.x, seed.y, seed.x, seed.y);
    tagPOINT* const top = seeds_.Reserve(1);
    *top = seed;
    seeds_.SetTop(top + 1);
    while (!seeds_.IsEmpty()) {
      const tagPOINT next = seeds_.Pop();
      PaintRun(next.x, next.y);
      if (qmAbort()) break;
    }
    return box_;
  }

 private:
  /// Paints the seed, whatever it is, and the open pixels beside it, and looks for seeds below and
  /// above. Those above come off the stack first.
  void PaintRun(int x, int y) {
    u64* const row = open_.Row(y);
    const u64 *const below = open_.Row(y + 1), *const above = open_.Row(y - 1);
    const int word = x / kWord;
    const u64 closed = ~row[word], before = closed & ~BitsFrom(x % kWord);
    const u64 after = closed & BitsFrom(x % kWord) >> 1;
    if (before && after) {  // all in one word, as most runs are
      const int left = kWord - std::countr_zero(before), end = std::countl_zero(after);
      const u64 run = BitsFrom(left) & ~BitsFrom(end);
      row[word] &= ~run;
      Paint(y, word * kWord + left, word * kWord + end - 1);
      tagPOINT* const top = Push(below[word] & run, word, y + 1, 0, seeds_.Reserve(kWord));
      seeds_.SetTop(Push(above[word] & run, word, y - 1, 0, top));
    } else {
      const int left = LeftEnd(row, x), right = RightEnd(row, x);
      for (int i = left / kWord; i <= right / kWord; ++i) row[i] &= ~Between(i, left, right);
      Paint(y, left, right);
      Scan(below, y + 1, left, right);
      Scan(above, y - 1, left, right);
    }
  }

  void Paint(int y, int left, int right) {
    kxw::FillPixels<Depth>(kxw::ClassicRow(painted_, y), left, right - left + 1, paint_);
    box_.left = std::min(box_.left, left);
    box_.right = std::max(box_.right, right);
    box_.top = std::min(box_.top, y);
    box_.bottom = std::max(box_.bottom, y);
  }

  /// Pushes the last pixel of each run of open ones between two columns, from the left on.
  void Scan(const u64* row, int y, int left, int right) {
    const int last = right / kWord;
    u64 open = row[left / kWord] & Between(left / kWord, left, right);
    for (int i = left / kWord; i <= last; ++i) {
      const u64 next = i < last ? row[i + 1] & Between(i + 1, left, right) : 0;
      seeds_.SetTop(Push(open, i, y, next >> 63, seeds_.Reserve(kWord / 2 + 1)));
      open = next;
    }
  }

  /// Writes seeds for the runs of `open` in a word, of which the last goes on if `goesOn` is 1.
  static tagPOINT* Push(u64 open, int word, int y, u64 goesOn, tagPOINT* top) {
    u64 ends = open & ~(open << 1 | goesOn);
    // There is one or none most often, which is a toss: it is written, and the top moves or stays.
    int at = std::countl_zero(ends | 1);
    *top = {word * kWord + at, y};
    top += ends != 0;
    for (ends &= BitsFrom(at) >> 1; ends; ends &= BitsFrom(at) >> 1) {
      at = std::countl_zero(ends);
      *top++ = {word * kWord + at, y};
    }
    return top;
  }

  /// The bits from place `at`, up to 63, of a word on.
  static u64 BitsFrom(int at) { return ~u64{0} >> at; }
  /// The bits of word `i` for the columns from `left` to `right`, of which it holds some.
  static u64 Between(int i, int left, int right) {
    const int first = i * kWord;
    const u64 from = BitsFrom(std::max(left - first, 0));
    return right < first + kWord - 1 ? from & ~BitsFrom(right - first + 1) : from;
  }
  static int LeftEnd(const u64* row, int x) {
    int i = x / kWord;
    u64 closed = ~row[i] & ~BitsFrom(x % kWord);
    while (!closed) closed = ~row[--i];
    return i * kWord + kWord - std::countr_zero(closed);
  }
  static int RightEnd(const u64* row, int x) {
    int i = x / kWord;
    u64 closed = ~row[i] & BitsFrom(x % kWord) >> 1;
    while (!closed) closed = ~row[++i];
    return i * kWord + std::countl_zero(closed) - 1;
  }

  const KXOffscreen& painted_;
  const typename Depth::Fill paint_;
  kxw::OpenPixels& open_;
  kxw::SeedStack seeds_;
  KXRect box_;
};

/// Fills and tells the bounds, half-open. The images are locked.
template <class Depth>
void FillAndTell(const KXOffscreen& painted, typename Depth::Pixel paint, kxw::OpenPixels& open,
                 const tagPOINT& seed, tagRECT* bounds) {
  const KXRect box = SeedFill<Depth>(painted, paint, open).Run(seed);
  if (bounds) *bounds = {box.left, box.top, box.right + 1, box.bottom + 1};
}

/// Calls `op` with the lack of memory of the standard library as the library's own.
template <class Op>
void WithFailures(Op op) {
  try {
    op();
  } catch (const std::bad_alloc&) {
    kxThrowError(kxw::kErrorNotEnoughMemory);
  }
}

}  // namespace

void KXOffscreen::SeedScanFill(const tagPOINT& seed, tagRECT* bounds) {
  if (!PointInOffscreen(seed.x, seed.y)) return;
  const KXStLockOff lock(this);
  kxw::WithClassicDepth(GetBitCount(), [&](auto depth) {
    using Depth = decltype(depth);
    WithFailures([&] {
      const tagPOINT start = seed;  // which may be a part of the bounds
      PixelsLikeSeed<Depth> open(*this, start, nullptr, 0);
      if constexpr (Depth::kBits == 1) {
        if (open.Seed() == foreColor1_) return;
        FillAndTell<Depth>(*this, foreColor1_, open, start, bounds);
      } else if constexpr (Depth::kBits == 8) {
        if (open.Seed() == foreColor8_) return;
        FillAndTell<Depth>(*this, foreColor8_, open, start, bounds);
      } else {
        // A fore colour with an alpha is no pixel's colour: such a fill goes on where it paints
        // nothing new.
        if (Depth::To24(open.Seed()) == foreColor_) return;
        FillAndTell<Depth>(*this, Depth::From24(foreColor_), open, start, bounds);
      }
    });
  });
}

void KXOffscreen::SeedScanFill1BitMask(KXOffscreen& mask, const tagPOINT& seed, tagRECT* bounds) {
  if (mask.GetBitCount() != 1) return;
  if (IsValid() && (mask.GetWidth() != GetWidth() || mask.GetHeight() != GetHeight())) {
    kxThrowError(kxw::kFailureBadArgument);
  }
  if (!PointInOffscreen(seed.x, seed.y)) {
    // Callers count on it: both locks stay for them to end.
    Lock();
    try {
      mask.Lock();
    } catch (...) {
      Unlock();
      throw;
    }
    return;
  }
  const KXStLockOff lock(this), maskLock(&mask);
  kxw::WithClassicDepth(GetBitCount(), [&](auto depth) {
    WithFailures([&] {
      const tagPOINT start = seed;
      PixelsLikeSeed<decltype(depth)> open(*this, start, &mask, mask.foreColor1_);
      FillAndTell<kxw::Classic1>(mask, mask.foreColor1_, open, start, bounds);
    });
  });
}
