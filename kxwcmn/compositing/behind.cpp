#include "kxwcmn/compositing/detail/behind.h"

#include <algorithm>

#include "kxwcmn/compositing/detail/rows.h"
#include "kxwcmn/platform/vectorize_internal.h"

namespace kxw {
namespace {

void BehindRow1(BYTE* to, int toColumn, const BYTE* from, int fromColumn, int count) {
  ShiftedRow under(from, kRowBytes<Depth1>, fromColumn, toColumn, count);
  for (int i = toColumn >> 3; i < (toColumn + count + 7) >> 3; ++i) under.Bytes()[i] |= to[i];
  CopyBits(to, under.Bytes(), toColumn, toColumn + count);
}

void BehindRow2(BYTE* to, int toColumn, const BYTE* from, int fromColumn, int count) {
  ShiftedRow under(from, kRowBytes<Depth2>, 2 * fromColumn, 2 * toColumn, 2 * count);
  for (int i = toColumn >> 2; i < (toColumn + count + 3) >> 2; ++i) {
    const BYTE pixels = ReadPixels2(under.Bytes()[i]);  // 0, or the high bit is set
    const int drawn = (pixels & 0xAA) | (pixels >> 1 & 0x55);
    under.Bytes()[i] = static_cast<BYTE>((to[i] & ~drawn) | pixels);
  }
  CopyBits(to, under.Bytes(), 2 * toColumn, 2 * (toColumn + count));
}

/// A pixel of one word, as it stands in memory, with its alpha on top: the rules treat the colours
/// alike, and so take them in any order.
template <class Word>
using Raw KX_MAY_ALIAS = Word;

/// Whether anything is seen of `count` pixels behind others.
template <class Word>
inline bool IsAnySeen(const Raw<Word>* over, const Raw<Word>* under, int count) {
  if constexpr (sizeof(Word) == 1) return true;  // a density of 0 may count
  constexpr int kAlphaAt = sizeof(Word) * 6;
  Word seen = 0;
  for (int i = 0; i < count; ++i) {
    seen |= (under[i] >> kAlphaAt != 0) & (~over[i] >> kAlphaAt != 0);
  }
  return seen != 0;
}

/// Most pictures are clear or opaque over large parts, so that a look at a stretch pays.
template <class Word, Word (*kRule)(Word d, Word s)>
void LayWords(BYTE* to, int toColumn, const BYTE* from, int fromColumn, int count) {
  constexpr int kStretch = 64;
  auto* over = reinterpret_cast<Raw<Word>*>(to) + toColumn;
  const auto* under = reinterpret_cast<const Raw<Word>*>(from) + fromColumn;
  for (int n; count > 0; count -= n, over += n, under += n) {
    n = std::min(count, kStretch);
    if (!IsAnySeen<Word>(over, under, n)) continue;
    for (int i = 0; i < n; ++i) over[i] = kRule(over[i], under[i]);
  }
}

BYTE SkippedBehind(BYTE d, BYTE s) { return s ? DensityBehind(d, s) : d; }
BYTE RawBehind(BYTE d, BYTE s) { return d ? DensityBehind(d, s) : s; }

// Without a branch, which would keep the loops from vectors.

DWORD RawBehind(DWORD d, DWORD s) {
  const DWORD isTaken = -static_cast<DWORD>((s >> 24 == 255) & (d >> 24 == 0));
  return (s & isTaken) | (ColorBehind(d, s) & ~isTaken);
}

u64 RawBehind(u64 d, u64 s) {
  const u64 isTaken = -static_cast<u64>((s >> 48 == 65535) & (d >> 48 == 0));
  return (s & isTaken) | (Color64Behind(d, s) & ~isTaken);
}

u64 Color64BehindOrFor(u64 d, u64 s) {
  const u64 isTaken = -static_cast<u64>((s >> 48 != 0) & (d >> 48 == 0));
  return (s & isTaken) | (Color64Behind(d, s) & ~isTaken);
}

// As through 32 bits, where a grey is its own luminance.
void BehindRow16(BYTE* to, int toColumn, const BYTE* from, int fromColumn, int count) {
  const RowReader<Depth16> under(from, fromColumn, count), over(to, toColumn, count);
  RowWriter<Depth16> target(to, toColumn, count);
  for (int i = 0; i < count; ++i) {
    const Depth16::Pixel d = over[i], s = under[i];
    const DWORD seen = Behind8::Seen(d.alpha, s.alpha);
    target.Set(i, {static_cast<BYTE>(Behind8::Alpha(d.alpha, s.alpha)),
                   static_cast<BYTE>(Behind8::Channel(d.grey, s.grey, seen))});
  }
}

}  // namespace

RowFunc FindBehindRow(int bits) {
  switch (bits) {
    case 1:
      return BehindRow1;
    case 2:
      return BehindRow2;
    case 8:
      return InVectors<LayWords<BYTE, SkippedBehind>>;
    case 16:
      return InVectors<BehindRow16>;
    case 32:
      return InVectors<LayWords<DWORD, ColorBehind>>;
    case 64:
      return InVectors<LayWords<u64, Color64Behind>>;
    default:
      return nullptr;
  }
}

RowFunc FindRawBehindRow(int bits) {
  switch (bits) {
    case 8:
      return InVectors<LayWords<BYTE, RawBehind>>;
    case 32:
      return InVectors<LayWords<DWORD, RawBehind>>;
    case 64:
      return InVectors<LayWords<u64, RawBehind>>;
    default:
      return nullptr;
  }
}

RowFunc FindTakingBehindRow(int bits) {
  switch (bits) {
    case 32:
      return InVectors<LayWords<DWORD, ColorBehindOrFor>>;
    case 64:
      return InVectors<LayWords<u64, Color64BehindOrFor>>;
    default:
      return nullptr;
  }
}

}  // namespace kxw
