// Copies beside memcpy of the same bytes, and the loops over pixels (conversions, copies behind,
// reductions) beside plain loops over arrays.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <string>

#include "bench/pictures.h"
#include "bench/table.h"
#include "kxwcmn/compositing/pixelmixer.h"
#include "kxwcmn/compositing/voffpixelmixer.h"
#include "kxwcmn/offscreen/autolock.h"
#include "kxwcmn/offscreen/voffscreen.h"

namespace {

using benchmark::State;
using kxw::bench::Bytes;
using kxw::bench::BytesOf;
using kxw::bench::MakeImage;
using kxw::bench::Noise;
using kxw::bench::Read;
using kxw::bench::Write;

constexpr int kBlock = KXVOffscreen::kBlockSize;

void Check(State& state, KXVOffscreen& image, const Bytes& expected) {
  if (Read(image) != expected) state.SkipWithError("the pixels are wrong");
}

// --- Within one depth ----------------------------------------------------------------------------

constexpr int kSide = 4096;

/// The source's pixels from (x, y) on, so that the two grids agree, or not.
void CopyFrom(State& state, int bits, int x, int y) {
  const KXVOffscreenPtr src = MakeImage(bits, kSide + kBlock, kSide + kBlock);
  const KXVOffscreenPtr dst = MakeImage(bits, kSide, kSide);
  Write(*src, Noise(BytesOf(src->GetWidth(), bits) * std::size_t(src->GetHeight())));
  const auto copy = [&] { dst->Copy(0, 0, kSide, kSide, src.get(), x, y, 0); };
  copy();  // the host gives the memory of new blocks page by page, which is not what is compared
  for (auto _ : state) {
    copy();
    benchmark::ClobberMemory();
  }
  Check(state, *dst, Read(*src, KXRect(x, y, x + kSide, y + kSide)));
}

void Memcpy(State& state, std::size_t count) {
  const Bytes src = Noise(count);
  Bytes dst(count);
  for (auto _ : state) {
    std::memcpy(dst.data(), src.data(), count);
    benchmark::ClobberMemory();
  }
}

// --- Blocks without memory -----------------------------------------------------------------------

constexpr int kSparseSide = 32768;
constexpr int kUsed = kSparseSide / kBlock * kSparseSide / kBlock / 50;

/// A copy of `kUsed` blocks with memory, spread over the image or side by side.
template <bool kSpread>
void CopySparse(State& state, int offset) {
  const int height = kSpread ? kSparseSide : kBlock * kUsed / 8;
  const KXVOffscreenPtr src = MakeImage(32, (kSpread ? kSparseSide : kBlock * 8) + offset, height);
  const KXVOffscreenPtr dst = MakeImage(32, kSpread ? kSparseSide : kBlock * 8, height);
  {
    KXVOffscreenAutoLock lock(src.get(), 1);
    std::mt19937_64 random = kxw::bench::Random(3);
    const int columns = dst->GetWidth() / kBlock, count = columns * (height / kBlock);
    for (int left = kUsed, i = 0; i < count && left > 0; ++i) {
      if (static_cast<int>(random() % static_cast<u64>(count - i)) >= left) continue;
      --left;
      src->MoveCursor(i % columns * kBlock + offset, i / columns * kBlock);
      std::memset(src->GetBaseAddress(), i + 1, BytesOf(kBlock * kBlock, 32));
    }
  }
  const auto copy = [&] { dst->Copy(0, 0, dst->GetWidth(), height, src.get(), offset, 0, 0); };
  copy();  // which gives the blocks their memory, as above
  for (auto _ : state) {
    copy();
    benchmark::ClobberMemory();
  }
  for (int i = 0, bx = 0; i < dst->GetBlockCount(&bx, nullptr); ++i) {
    const int there = src->IsCreatedBlockByIndex(i % bx + offset / kBlock, i / bx);
    const int x = i % bx * kBlock, y = i / bx * kBlock;
    const KXRect to(x, y, x + kBlock, y + kBlock),
        from(x + offset, y, x + offset + kBlock, y + kBlock);
    if (!dst->GetBlockExist(i) == !there && (!there || Read(*dst, to) == Read(*src, from)))
      continue;
    state.SkipWithError("the blocks are not those of the source");
    return;
  }
}

// --- Rules of single pixels ----------------------------------------------------------------------

/// An operation whose result at a pixel is `rule(to, from, x, y)`, on pixels of `kTo` and `kFrom`
/// bytes in squares of `side` pixels.
template <int kTo, int kFrom, class Rule>
struct Plain {
  int side;
  Rule rule;

  std::size_t Pixels() const { return std::size_t(side) * std::size_t(side); }
  Bytes Under() const { return kxw::bench::MixedAlpha(8 * kTo, Pixels(), 192, 1); }
  Bytes Over() const { return kxw::bench::MixedAlpha(8 * kFrom, Pixels(), 64, 2); }

  void Run(Bytes& dst, const Bytes& src) const {
    BYTE* to = dst.data();
    const BYTE* from = src.data();
    for (int y = 0; y < side; ++y) {
      for (int x = 0; x < side; ++x, to += kTo, from += kFrom) rule(to, from, x, y);
    }
  }
};

/// Registers `ours(dst, src)` beside the plain loop. The destination is made anew for each run,
/// outside the clock, for pixels that something is laid behind become opaque.
template <int kTo, int kFrom, class Ours, class Rule>
void AddRule(const std::string& name, double wanted, int side, Ours ours, Rule rule) {
  const Plain<kTo, kFrom, Rule> plain{side, rule};
  kxw::bench::Add(
      name, wanted,
      [=](State& state) {
        const KXVOffscreenPtr dst = MakeImage(8 * kTo, side, side),
                              src = MakeImage(8 * kFrom, side, side);
        const Bytes under = plain.Under(), over = plain.Over();
        Write(*src, over);
        for (auto _ : state) {
          state.PauseTiming();
          Write(*dst, under);
          state.ResumeTiming();
          ours(*dst, *src);
          benchmark::ClobberMemory();
        }
        Bytes expected = under;
        plain.Run(expected, over);
        Check(state, *dst, expected);
      },
      "plain loop",
      [=](State& state) {
        const Bytes under = plain.Under(), over = plain.Over();
        Bytes dst = under;
        for (auto _ : state) {
          state.PauseTiming();
          dst = under;
          state.ResumeTiming();
          plain.Run(dst, over);
          benchmark::ClobberMemory();
        }
      });
}

constexpr int Luminance(int red, int green, int blue) { return (red + 4 * green + 2 * blue) / 7; }

/// The source laid behind, channels of one byte.
void Behind32(BYTE* to, const BYTE* from) {
  const int sa = from[3], da = to[3];
  if (sa == 0 || da == 255) return;
  const int seen = sa * (255 - da) / 255;
  for (int c = 0; c < 3; ++c) {
    to[c] = static_cast<BYTE>(std::max(to[c] - (255 - from[c]) * seen / 255, 0));
  }
  to[3] = static_cast<BYTE>(255 - (255 - sa) * (255 - da) / 255);
}

void Behind8(BYTE* to, const BYTE* from) {
  if (*from) *to = static_cast<BYTE>(255 - ((255 - *to) * (255 - *from) >> 8));
}

constexpr DWORD kPaper = 0x00C0D0E0, kTiles = 0x00406080;

/// A checkerboard laid under a pixel of 32 bits.
void PutPaper(BYTE* to, int x, int y) {
  const bool second = ((x ^ y) >> 3 & 1) != 0;
  const int seen = 255 - to[3];
  for (int c = 0; c < 3; ++c) {
    const int at = 8 * (2 - c);  // blue, green, red in memory, and red lowest in a colour
    const int paper = second ? static_cast<int>(kTiles >> at & 255) / 2 + 127
                             : static_cast<int>(kPaper >> at & 255);
    to[c] =
        static_cast<BYTE>(seen == 255 ? paper : std::max(to[c] - (255 - paper) * seen / 255, 0));
  }
  to[3] = 255;
}

/// Whether the dither sets a bit for a value, or what it is sorted into.
bool Sorted(int value, int x, int y) {
  if (value < 15) return false;
  if (value >= 208) return true;
  const auto level = static_cast<std::size_t>((value + 8) / 16);
  return KXVOffscreen::cbDitherTable[level][std::size_t(x & 3)][std::size_t(y & 3)] != 0;
}

void Converts(KXVOffscreen& dst, KXVOffscreen& src) {
  dst.CommonCopy(0, 0, kSide, kSide, &src, 0, 0, 0, 0);
}

void LaysBehind(KXVOffscreen& dst, KXVOffscreen& src) {
  dst.CommonCopy(0, 0, kSide, kSide, &src, 0, 0, 0, 1);
}

const bool kAdded = [] {
  using kxw::bench::Add;
  for (const int bits : {8, 32}) {
    const std::string depth = ", " + std::to_string(bits) + " bits";
    const auto add = [&](const std::string& name, double wanted, int x, int y) {
      Add(
          "Copy, " + name + depth, wanted, [=](State& s) { CopyFrom(s, bits, x, y); }, "memcpy",
          [=](State& s) { Memcpy(s, BytesOf(kSide, bits) * kSide); });
    };
    add("aligned", 0.9, kBlock, kBlock);
    add("aligned in x", 0.8, kBlock, 7);
    add("not aligned", 1, 13, 7);
  }
  Add(
      "Copy, 2 % of 32768 x 32768 with memory", 0.9, [](State& s) { CopySparse<true>(s, 0); },
      "the same blocks side by side", [](State& s) { CopySparse<false>(s, 0); });
  Add(
      "Copy, 2 % of 32768 x 32768, a block aside", 0.9,
      [](State& s) { CopySparse<true>(s, kBlock); }, "the same blocks side by side",
      [](State& s) { CopySparse<false>(s, kBlock); });

  AddRule<3, 1>("CommonCopy, 8 to 24 bits", 1, kSide, Converts,
                [](BYTE* to, const BYTE* from, int, int) {
                  to[0] = to[1] = to[2] = static_cast<BYTE>(255 - *from);
                });
  AddRule<4, 3>("CommonCopy, 24 to 32 bits", 1, kSide, Converts,
                [](BYTE* to, const BYTE* from, int, int) {
                  to[0] = from[0];
                  to[1] = from[1];
                  to[2] = from[2];
                  to[3] = 255;
                });
  AddRule<1, 4>("CommonCopy, 32 to 8 bits", 1, kSide, Converts,
                [](BYTE* to, const BYTE* from, int, int) {
                  const int density = 255 - Luminance(from[2], from[1], from[0]);
                  *to = static_cast<BYTE>(density * (from[3] + 1) >> 8);
                });
  AddRule<4, 8>("CommonCopy, 64 to 32 bits", 1, kSide, Converts,
                [](BYTE* to, const BYTE* from, int, int) {
                  for (int c = 0; c < 4; ++c) to[c] = from[2 * c + 1];
                });
  AddRule<4, 4>("CommonCopy behind, 32 bits", 2, kSide, LaysBehind,
                [](BYTE* to, const BYTE* from, int, int) { Behind32(to, from); });
  AddRule<1, 1>("CommonCopy behind, 8 bits", 2, kSide, LaysBehind,
                [](BYTE* to, const BYTE* from, int, int) { Behind8(to, from); });

  constexpr int kHalf = 2048;
  AddRule<4, 4>(
      "CommonCopy3, 2048 x 2048, 32 bits, replace", 1, kHalf,
      [](KXVOffscreen& dst, KXVOffscreen& src) {
        KXPixelMixer replace;
        KXVOffPixelMixer mixer;
        mixer.SetDstOffscreen(&dst);
        mixer.SetNode(&replace);
        dst.CommonCopy3(0, 0, kHalf, kHalf, &src, 0, 0, &mixer, 0, 0, 0);
      },
      [](BYTE* to, const BYTE* from, int, int) {
        if (from[3]) std::memcpy(to, from, 4);
      });
  AddRule<4, 4>(
      "RenderBackground, 2048 x 2048, 32 bits", 1, kHalf,
      [](KXVOffscreen& dst, KXVOffscreen&) {
        dst.RenderBackground(dst.GetRect(), kPaper, kTiles, 0);
      },
      [](BYTE* to, const BYTE*, int x, int y) { PutPaper(to, x, y); });
  AddRule<1, 4>(
      "Monochromic, 2048 x 2048, 32 to 8 bits", 1, kHalf,
      [](KXVOffscreen& dst, KXVOffscreen& src) {
        dst.Monochromic(0, 0, kHalf, kHalf, &src, 0, 0, 0, 0);
      },
      [](BYTE* to, const BYTE* from, int x, int y) {
        const int density = 255 - Luminance(from[2], from[1], from[0]);
        *to = Sorted(from[3], x, y) && Sorted(density, x, y) ? 255 : 0;
      });
  AddRule<1, 4>(
      "Grayish, 2048 x 2048, 32 to 8 bits", 1, kHalf,
      [](KXVOffscreen& dst, KXVOffscreen& src) { dst.Grayish(0, 0, kHalf, kHalf, &src, 0, 0, 0); },
      [](BYTE* to, const BYTE* from, int, int) {
        const int weight = from[3] + 1;
        const auto weigh = [weight](int c) { return c * weight >> 8; };
        *to = static_cast<BYTE>(255 - Luminance(weigh(from[2]), weigh(from[1]), weigh(from[0])));
      });
  AddRule<4, 1>(
      "ReverseImage, 2048 x 2048, 32 bits", 1, kHalf,
      [](KXVOffscreen& dst, KXVOffscreen& mask) { dst.ReverseImage(&mask, 0, 0, kHalf, kHalf); },
      [](BYTE* to, const BYTE* from, int, int) {
        if (*from == 0 || to[3] == 255) return;
        const int black = *from & 1, seen = black ? 255 - to[3] : 0;
        for (int c = 0; c < 3; ++c) {
          to[c] = static_cast<BYTE>(to[3] ? std::max(to[c] - seen, 0) : black ? 0 : 255);
        }
        to[3] = 255;
      });
  AddRule<4, 4>(
      "ChangeWhiteToTrans, 2048 x 2048, 32 bits", 1, kHalf,
      [](KXVOffscreen& dst, KXVOffscreen&) { dst.ChangeWhiteToTrans(dst.GetRect()); },
      [](BYTE* to, const BYTE*, int, int) {
        if ((to[0] & to[1] & to[2]) == 255) to[3] = 0;
      });
  return true;
}();

}  // namespace
