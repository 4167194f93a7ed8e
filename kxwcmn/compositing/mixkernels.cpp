#include "kxwcmn/compositing/mixkernels_internal.h"

#include <cstring>
#include <typeinfo>

#include "kxwcmn/compositing/mixrules_internal.h"
#include "kxwcmn/compositing/pixelmixer.h"
#include "kxwcmn/offscreen/detail/depths.h"
#include "kxwcmn/platform/vectorize.h"

namespace kxw {
namespace {

struct ReplaceRule {
  static constexpr bool Mix8(BYTE& pixel, BYTE value) {
    pixel = value;
    return true;
  }
};

// --- 1, 2 and 8 bits ----------------------------------------------------------------------------

/// A rule of densities at 1 and 2 bits.
template <class Depth, class Rule>
void Run8Narrow(BYTE* row, int column, const void* incoming, int count, const RunWeight&) {
  const auto* values = static_cast<const BYTE*>(incoming);
  for (int i = 0; i < count; ++i) {
    BYTE* at = row + ByteOfColumn<Depth>(column + i);
    const BYTE mask = MaskOfColumn<Depth>(column + i);
    BYTE pixel = Depth::To8(Depth::Load(at, mask));
    if (Rule::Mix8(pixel, values[i])) Depth::Store(at, mask, Depth::From8(pixel));
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
  return bits == 1   ? &Run8Narrow<Depth1, Rule>
         : bits == 2 ? &Run8Narrow<Depth2, Rule>
                     : &Run8<Rule>;
}

// --- 16 and 24 bits: every mixer replaces -------------------------------------------------------

template <class Depth>
void Run24(BYTE* row, int column, const void* incoming, int count, const RunWeight&) {
  const auto* colors = static_cast<const QMCOLORREF*>(incoming);
  BYTE* at = row + ByteOfColumn<Depth>(column);
  for (int i = 0; i < count; ++i, at += Depth::kBits / 8) {
    Depth::Store(at, 0, Depth::From24(colors[i]));
  }
}

// --- 32 and 64 bits -----------------------------------------------------------------------------

/// The words of a run, as the image has them in memory.
template <class Word>
Word LoadWord(const void* at, int index) {
  Word word;
  std::memcpy(&word, static_cast<const BYTE*>(at) + index * int{sizeof(Word)}, sizeof word);
  return word;
}
template <class Word>
void StoreWord(void* at, int index, Word word) {
  std::memcpy(static_cast<BYTE*>(at) + index * int{sizeof(Word)}, &word, sizeof word);
}

template <class Word>
void RunReplace(BYTE* row, int column, const void* incoming, int count, const RunWeight&) {
  std::memcpy(row + column * int{sizeof(Word)}, incoming,
              static_cast<std::size_t>(count) * sizeof(Word));
}

/// A rule that treats red, green and blue alike, and so may take the channels in memory order.
template <class Rule>
void Run32(BYTE* row, int column, const void* incoming, int count, const RunWeight& weight) {
  BYTE* pixels = row + column * 4;
  for (int i = 0; i < count; ++i) {
    DWORD pixel = LoadWord<DWORD>(pixels, i);
    const WORD w = weight.each ? weight.each[i] : weight.all;
    Rule::Mix32(pixel, LoadWord<DWORD>(incoming, i), static_cast<BYTE>(w));
    StoreWord(pixels, i, pixel);
  }
}

template <class Rule>
void Run64(BYTE* row, int column, const void* incoming, int count, const RunWeight& weight) {
  BYTE* pixels = row + column * 8;
  for (int i = 0; i < count; ++i) {
    u64 pixel = LoadWord<u64>(pixels, i);
    const WORD w = weight.each ? weight.each[i] : weight.all;
    Rule::Mix64(pixel, LoadWord<u64>(incoming, i), w);
    StoreWord(pixels, i, pixel);
  }
}

/// A rule of the mask channel, which looks at the colour's red.
template <class Rule>
void RunMask32(BYTE* row, int column, const void* incoming, int count, const RunWeight& weight) {
  BYTE* alphas = row + column * 4 + 3;
  for (int i = 0; i < count; ++i) {
    const WORD w = weight.each ? weight.each[i] : weight.all;
    const QMCOLORREF color = Depth32::SwapRedBlue(LoadWord<DWORD>(incoming, i));
    Rule::Mask8(alphas[i * 4], color, static_cast<BYTE>(w));
  }
}

template <class Rule>
void RunMask64(BYTE* row, int column, const void* incoming, int count, const RunWeight& weight) {
  BYTE* alphas = row + column * 8 + 6;
  for (int i = 0; i < count; ++i) {
    const WORD w = weight.each ? weight.each[i] : weight.all;
    WORD alpha = LoadWord<WORD>(alphas, i * 4);
    Rule::Mask16(alpha, Depth64::SwapRedBlue(LoadWord<u64>(incoming, i)), w);
    StoreWord(alphas, i * 4, alpha);
  }
}

// --- The 32-bit blend ---------------------------------------------------------------------------

// Blending is what most pixels of a production go through, so its run is taken apart: stretches
// that change nothing or replace everything are told by their alphas alone; over opaque pixels the
// rule is pure integers for every alpha, 0 and 255 included; only the rest needs the floating form,
// which is computed for a whole stretch and chosen pixel by pixel.

constexpr int kStretch = 16;  // pixels

/// One channel over an opaque pixel; `shift` is its place in the word.
constexpr DWORD BlendOpaqueChannel(DWORD p, DWORD c, DWORD a, int shift) {
  const DWORD density = (255 - (p >> shift & 255)) * (255 - a) + (255 - (c >> shift & 255)) * a;
  return (255 - Div255(density)) << shift;
}

constexpr DWORD BlendOpaque(DWORD p, DWORD c) {
  const DWORD a = c >> 24;
  return 0xFF000000 | BlendOpaqueChannel(p, c, a, 0) | BlendOpaqueChannel(p, c, a, 8) |
         BlendOpaqueChannel(p, c, a, 16);
}

KXW_WIDE_VECTORS
void BlendOverOpaque(DWORD* __restrict pixels, const DWORD* __restrict colors, int count) {
  for (int i = 0; i < count; ++i) pixels[i] = BlendOpaque(pixels[i], colors[i]);
}

/// Any pixels: every form is computed, and the one that holds is taken.
KXW_WIDE_VECTORS
void BlendOverAny(DWORD* __restrict pixels, const DWORD* __restrict colors) {
  // The channels of the floating form are those of BlendRule, operation by operation.
  int product[kStretch], ca[kStretch];
  double x[kStretch], inverse[kStretch];
  DWORD mixed[kStretch];
  for (int i = 0; i < kStretch; ++i) {
    // A transparent colour changes nothing: its lane computes with another, so that none divides
    // by zero.
    const int a = static_cast<int>(colors[i] >> 24);
    ca[i] = a == 0 ? 255 : a;
    product[i] = static_cast<int>(pixels[i] >> 24) * (255 - ca[i]);
  }
  for (int i = 0; i < kStretch; ++i) {
    x[i] = static_cast<double>(product[i]) * 0.00392156862745098;
    const double y = x[i] + ca[i];
    inverse[i] = 1.0 / y;
    mixed[i] = static_cast<DWORD>(static_cast<int>(y + 0.5)) << 24;
  }
  for (int shift = 0; shift < 24; shift += 8) {
    for (int i = 0; i < kStretch; ++i) {
      const int p = static_cast<int>(pixels[i] >> shift & 255);
      const int c = static_cast<int>(colors[i] >> shift & 255);
      const double density = ((255 - p) * x[i] + (255 - c) * ca[i]) * inverse[i];
      mixed[i] |= static_cast<DWORD>(255 - static_cast<int>(density + 0.5)) << shift;
    }
  }
  for (int i = 0; i < kStretch; ++i) {
    const DWORD p = pixels[i], c = colors[i], pa = p >> 24, a = c >> 24;
    DWORD result = pa == 255 ? BlendOpaque(p, c) : mixed[i];
    result = (pa == 0) | (a == 255) ? c : result;
    pixels[i] = a == 0 ? p : result;
  }
}

void RunBlend32(BYTE* row, int column, const void* incoming, int count, const RunWeight&) {
  BYTE* at = row + column * 4;
  const BYTE* from = static_cast<const BYTE*>(incoming);
  DWORD pixels[kStretch], colors[kStretch];
  for (int n; count > 0; count -= n, at += n * 4, from += n * 4) {
    n = count < kStretch ? count : kStretch;
    const auto bytes = static_cast<std::size_t>(n) * 4;
    if (n < kStretch) std::memset(colors, 0, sizeof colors);
    std::memcpy(colors, from, bytes);
    DWORD any = 0, all = ~0u;
    for (int i = 0; i < kStretch; ++i) {
      any |= colors[i];
      all &= colors[i];
    }
    if (any >> 24 == 0) continue;
    if (all >> 24 == 255) {
      std::memcpy(at, from, bytes);
      continue;
    }
    if (n < kStretch) std::memset(pixels, 0xFF, sizeof pixels);
    std::memcpy(pixels, at, bytes);
    DWORD opaque = ~0u;
    for (int i = 0; i < kStretch; ++i) opaque &= pixels[i];
    if (opaque >> 24 == 255) {
      BlendOverOpaque(pixels, colors, kStretch);
    } else {
      BlendOverAny(pixels, colors);
    }
    std::memcpy(at, pixels, bytes);
  }
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
    {typeid(KXPixelMixerBlend), Kernel8<BlendRule>, RunBlend32, Run64<BlendRule>},
    {typeid(KXPixelMixerWeightCopy), Kernel8<ReplaceRule>, Run32<WeightCopyRule>,
     Run64<WeightCopyRule>},
    {typeid(KXPixelMixerCompDark), Kernel8<CompDarkRule>, Run32<CompDarkRule>, Run64<CompDarkRule>},
    {typeid(KXPixelMixerCompLight), Kernel8<CompLightRule>, Run32<CompLightRule>,
     Run64<CompLightRule>},
    {typeid(KXPixelMixerAdd), Kernel8<AddRule>, RunReplace<DWORD>, RunReplace<u64>},
    {typeid(KXPixelMixerAlphaCopy), Kernel8<ReplaceRule>, RunMask32<AlphaCopyRule>,
     RunMask64<AlphaCopyRule>},
    {typeid(KXPixelMixerAlphaBlend), Kernel8<AlphaBlendRule>, RunMask32<AlphaBlendRule>,
     RunMask64<AlphaBlendRule>},
    {typeid(KXPixelMixerAlphaWeightCopy), Kernel8<ReplaceRule>, RunMask32<AlphaWeightCopyRule>,
     RunMask64<AlphaWeightCopyRule>},
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
