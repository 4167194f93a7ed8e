#include "kxwcmn/compositing/mixkernels_internal.h"

#include <algorithm>
#include <cstring>
#include <typeinfo>

#include "kxwcmn/compositing/blend32_internal.h"
#include "kxwcmn/compositing/detail/rows.h"
#include "kxwcmn/compositing/mixrules_internal.h"
#include "kxwcmn/compositing/pixelmixer.h"
#include "kxwcmn/offscreen/detail/depths.h"
#include "kxwcmn/platform/vectorize_internal.h"

namespace kxw {
namespace {

struct ReplaceRule {
  static constexpr bool Mix8(BYTE& pixel, BYTE value) {
    pixel = value;
    return true;
  }
};

// --- 1, 2 and 8 bits ----------------------------------------------------------------------------

/// A rule of densities at 1 and 2 bits: what it leaves is put back as it stands. A run may be of
/// several rows, which follow one another.
template <class Depth, class Rule>
void Run8Narrow(BYTE* row, int column, const void* incoming, int count, const RunWeight&) {
  const auto* values = static_cast<const BYTE*>(incoming);
  for (int n; count > 0; count -= n, values += n, row += kRowBytes<Depth>, column = 0) {
    n = std::min(count, KXVOffscreen::kBlockSize - column);
    const RowReader<Depth> pixels(row, column, n);
    RowWriter<Depth> target(row, column, n);
    for (int i = 0; i < n; ++i) {
      BYTE density = Depth::To8(pixels[i]);
      const bool isLaid = Rule::Mix8(density, values[i]);
      target.Set(i, isLaid ? Depth::From8(density) : pixels[i]);
    }
    target.Finish();
  }
}

/// A rule of densities at 8 bits, where an untouched pixel may be written back.
template <class Rule>
void Run8(BYTE* row, int column, const void* incoming, int count, const RunWeight&) {
  const auto* __restrict values = static_cast<const BYTE*>(incoming);
  BYTE* __restrict pixels = row + column;
  for (int i = 0; i < count; ++i) {
    BYTE pixel = pixels[i];
    Rule::Mix8(pixel, values[i]);
    pixels[i] = pixel;
  }
}

template <>
void Run8<ReplaceRule>(BYTE* row, int column, const void* incoming, int count, const RunWeight&) {
  std::memcpy(row + column, incoming, static_cast<std::size_t>(count));
}

template <class Rule>
MixKernel Kernel8(int bits) {
  return bits == 1   ? InVectors<Run8Narrow<Depth1, Rule>>
         : bits == 2 ? InVectors<Run8Narrow<Depth2, Rule>>
                     : &Run8<Rule>;
}

// --- 16 and 24 bits: every mixer replaces -------------------------------------------------------

template <class Depth>
void Run24(BYTE* row, int column, const void* incoming, int count, const RunWeight&) {
  const auto* colors = static_cast<const Word32*>(incoming);
  BYTE* at = row + ByteOfColumn<Depth>(column);
  for (int i = 0; i < count; ++i, at += Depth::kBits / 8) {
    Depth::Store(at, 0, Depth::From24(colors[i]));
  }
}

// --- 32 and 64 bits -----------------------------------------------------------------------------

template <class Word>
void RunReplace(BYTE* row, int column, const void* incoming, int count, const RunWeight&) {
  std::memcpy(row + column * int{sizeof(Word)}, incoming,
              static_cast<std::size_t>(count) * sizeof(Word));
}

constexpr int kLine = 64;  // bytes of a cache line
/// Pixels that are laid together.
template <class Word>
constexpr int kPiece = 4 * kLine / int{sizeof(Word)};

/// Calls `op(first, count)` for the pieces of a run, one behind the other, and asks for the memory
/// of those to come. An image and its source often stand at the same places of their pages, where
/// the processor's own look-ahead fails all but the shortest loops.
template <class Word, class Op>
inline void InPieces(const Word* pixels, const Word* colors, int count, Op op) {
  constexpr int kStep = kPiece<Word>, kAhead = 8 * kStep;
  for (int first = 0; first < count; first += kStep) {
    if (count - first >= kAhead + kStep) {
      for (int i = first + kAhead; i < first + kAhead + kStep; i += kLine / int{sizeof(Word)}) {
        KXW_PREFETCH(pixels + i);
        KXW_PREFETCH(colors + i);
      }
    }
    op(first, std::min(kStep, count - first));
  }
}

/// Applies `mix(pixel, color, weight)` to a run.
template <class Word, class Mix>
inline void ForRun(BYTE* row, int column, const void* incoming, int count, const RunWeight& weight,
                   Mix mix) {
  using Aliased KX_MAY_ALIAS = Word;
  auto* __restrict pixels = reinterpret_cast<Aliased*>(row) + column;
  const auto* __restrict colors = static_cast<const Aliased*>(incoming);
  const WORD* const each = weight.each;
  const WORD all = weight.all;
  InPieces<Word>(pixels, colors, count, [=](int first, int n) {
    if (each) {
      for (int i = first; i < first + n; ++i) pixels[i] = mix(pixels[i], colors[i], each[i]);
    } else {
      for (int i = first; i < first + n; ++i) pixels[i] = mix(pixels[i], colors[i], all);
    }
  });
}

// Rules that treat red, green and blue alike take the channels in memory order.

template <class Rule>
void Run32(BYTE* row, int column, const void* incoming, int count, const RunWeight& weight) {
  ForRun<DWORD>(row, column, incoming, count, weight, [](DWORD pixel, DWORD color, WORD w) {
    Rule::Mix32(pixel, color, static_cast<BYTE>(w));
    return pixel;
  });
}

template <class Rule>
void Run64(BYTE* row, int column, const void* incoming, int count, const RunWeight& weight) {
  ForRun<u64>(row, column, incoming, count, weight, [](u64 pixel, u64 color, WORD w) {
    Rule::Mix64(pixel, color, w);
    return pixel;
  });
}

// Rules of the mask channel look at the colour's red, which is not where they look for it in
// memory.

template <class Rule>
void RunMask32(BYTE* row, int column, const void* incoming, int count, const RunWeight& weight) {
  ForRun<DWORD>(row, column, incoming, count, weight, [](DWORD pixel, DWORD color, WORD w) {
    DWORD mask = pixel >> 24;
    Rule::Mask8(mask, Depth32::SwapRedBlue(color), w & 255u);
    return (pixel & 0x00FFFFFF) | mask << 24;
  });
}

template <class Rule>
void RunMask64(BYTE* row, int column, const void* incoming, int count, const RunWeight& weight) {
  ForRun<u64>(row, column, incoming, count, weight, [](u64 pixel, u64 color, WORD w) {
    DWORD mask = static_cast<DWORD>(pixel >> 48);
    Rule::Mask16(mask, Depth64::SwapRedBlue(color), w);
    return (pixel & 0x0000FFFFFFFFFFFF) | static_cast<u64>(mask) << 48;
  });
}

// --- The blend ----------------------------------------------------------------------------------

void RunBlend32(BYTE* row, int column, const void* incoming, int count, const RunWeight&) {
  BlendRun32(reinterpret_cast<Word32*>(row) + column, static_cast<const Word32*>(incoming), count);
}

/// BlendRule::Mix64 with its special cases as cases of the general one, and with one division a
/// pixel, by which all channels are multiplied: n / d in doubles, for n below 2^32 and d below
/// 2^16, is off by less than 2^-35, and no (n + 0.5) / d comes nearer than 2^-17 to a whole number.
constexpr u64 Blend64(u64 p, u64 c) {
  const DWORD pa = static_cast<DWORD>(p >> 48), a = static_cast<DWORD>(c >> 48);
  const DWORD under = Div65535(pa * (65535 - a));
  const DWORD alpha = 65535 - Div65535((65535 - pa) * (65535 - a));
  // Only where nothing lies on nothing is alpha 0.
  const double inverse = 1.0 / static_cast<int>(alpha | static_cast<DWORD>(alpha == 0));
  u64 result = static_cast<u64>(alpha) << 48;
  for (int shift = 0; shift < 48; shift += 16) {
    const DWORD np = 65535 - static_cast<DWORD>(p >> shift & 65535);
    const DWORD nc = 65535 - static_cast<DWORD>(c >> shift & 65535);
    const DWORD sum = np * under + nc * a;
    // Vectors convert signed numbers alone.
    const double half = static_cast<int>(sum ^ 0x80000000) + 2147483648.5;
    result |= static_cast<u64>(65535 - static_cast<int>(half * inverse)) << shift;
  }
  const u64 isClear = -static_cast<u64>(a == 0);
  return (p & isClear) | (result & ~isClear);
}

void RunBlend64(BYTE* row, int column, const void* incoming, int count, const RunWeight& weight) {
  ForRun<u64>(row, column, incoming, count, weight,
              [](u64 pixel, u64 color, WORD) { return Blend64(pixel, color); });
}

// --- The choice ---------------------------------------------------------------------------------

/// The kernels of a mixer class: densities, 32 and 64 bits.
struct RuleKernels {
  const std::type_info& type;
  MixKernel (*kernel8)(int bits);
  MixKernel kernel32, kernel64;
};

const RuleKernels kRules[] = {
    {typeid(KXPixelMixer), Kernel8<ReplaceRule>, RunReplace<DWORD>, RunReplace<u64>},
    {typeid(KXPixelMixerBlend), Kernel8<BlendRule>, RunBlend32, InVectors<RunBlend64>},
    {typeid(KXPixelMixerWeightCopy), Kernel8<ReplaceRule>, InVectors<Run32<WeightCopyRule>>,
     InVectors<Run64<WeightCopyRule>>},
    {typeid(KXPixelMixerCompDark), Kernel8<CompDarkRule>, InVectors<Run32<CompDarkRule>>,
     InVectors<Run64<CompDarkRule>>},
    {typeid(KXPixelMixerCompLight), Kernel8<CompLightRule>, InVectors<Run32<CompLightRule>>,
     InVectors<Run64<CompLightRule>>},
    {typeid(KXPixelMixerAdd), Kernel8<AddRule>, RunReplace<DWORD>, RunReplace<u64>},
    {typeid(KXPixelMixerAlphaCopy), Kernel8<ReplaceRule>, InVectors<RunMask32<AlphaCopyRule>>,
     InVectors<RunMask64<AlphaCopyRule>>},
    {typeid(KXPixelMixerAlphaBlend), Kernel8<AlphaBlendRule>, InVectors<RunMask32<AlphaBlendRule>>,
     InVectors<RunMask64<AlphaBlendRule>>},
    {typeid(KXPixelMixerAlphaWeightCopy), Kernel8<ReplaceRule>,
     InVectors<RunMask32<AlphaWeightCopyRule>>, InVectors<RunMask64<AlphaWeightCopyRule>>},
};

}  // namespace

namespace {

const RuleKernels* FindRule(const std::type_info& type) {
  // By address first: names are compared only where a class has two descriptions.
  for (const RuleKernels& rule : kRules) {
    if (&rule.type == &type) return &rule;
  }
  for (const RuleKernels& rule : kRules) {
    if (rule.type == type) return &rule;
  }
  return nullptr;
}

}  // namespace

MixKernel FindMixKernel(const KXPixelMixer* mixer, int bits) {
  const RuleKernels* rule = FindRule(mixer ? typeid(*mixer) : typeid(KXPixelMixer));
  if (!rule) return nullptr;
  switch (bits) {
    case 1:
    case 2:
    case 8:
      return rule->kernel8(bits);
    case 16:
      return Run24<Depth16>;
    case 24:
      return Run24<Depth24>;
    case 32:
      return rule->kernel32;
    case 64:
      return rule->kernel64;
    default:
      return nullptr;
  }
}

MixKernel FindDarkKernel(int bits) { return Kernel8<CompDarkRule>(bits); }

}  // namespace kxw
