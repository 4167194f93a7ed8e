// Laying one image over another through mixers: beside pixman, which does it on premultiplied
// pixels, and beside plain loops over arrays.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "bench/pictures.h"
#include "bench/table.h"
#include "kxwcmn/compositing/pixelmixer.h"
#include "kxwcmn/compositing/voffpixelmask.h"
#include "kxwcmn/compositing/voffpixelmixer.h"
#include "kxwcmn/offscreen/autolock.h"
#include "kxwcmn/offscreen/voffscreen.h"
#ifdef KXWCMN_WITH_PIXMAN
#include <pixman.h>
#endif

namespace {

using benchmark::State;

constexpr int kSide = 4096;
using kxw::bench::Bytes;
using Pixels = std::vector<DWORD>;  // a 32-bit picture as an image has it in memory

Pixels PixelsOf(const Bytes& bytes) {
  Pixels pixels(bytes.size() / 4);
  std::memcpy(pixels.data(), bytes.data(), bytes.size());
  return pixels;
}

/// A painted cel: half of it transparent, flat colours, soft edges of a few pixels.
Pixels Cel() { return PixelsOf(kxw::bench::LineArt(32, kSide, kSide)); }

Pixels Photograph() { return PixelsOf(kxw::bench::Photograph(32, kSide, kSide)); }

Pixels Noise(u64 salt, bool opaque) {
  Pixels pixels = PixelsOf(kxw::bench::Noise(std::size_t{kSide} * kSide * 4, salt));
  if (opaque) {
    for (DWORD& pixel : pixels) pixel |= 0xFF000000;
  }
  return pixels;
}

/// Mixed alpha as a picture has it: a third clear, a third opaque, a third between.
Pixels Mixed(u64 salt) {
  return PixelsOf(kxw::bench::MixedAlpha(32, std::size_t{kSide} * kSide, 64, salt));
}

KXVOffscreenPtr ImageOf(int bits, const Pixels& pixels) {
  KXVOffscreenPtr image = kxw::bench::MakeImage(bits, kSide, kSide);
  image->WritePixels(image->GetRect(), KXPixelFormat::kBgra8, pixels.data());
  return image;
}

template <class Pixel>
std::vector<Pixel> Flat(KXVOffscreen& image) {
  std::vector<Pixel> pixels(std::size_t{kSide} * kSide);
  image.ReadPixels(image.GetRect(), KXPixelFormat::kNative, pixels.data());
  return pixels;
}

/// A picture that a mixer lays over another.
struct Layers {
  Layers(KXPixelMixer& node, int bits, const Pixels& over, const Pixels& under)
      : dst(ImageOf(bits, under)), src(ImageOf(bits, over)) {
    mixer.SetDstOffscreen(dst.get());
    mixer.SetNode(&node);
    mixer.SetColor(KXComplexColor(64, u64{0x8000000000000000}));
    mixer.SetSrcOffscreen(src.get(), {0, 0});
  }
  void Lay(KXVOffPixelMask* mask = nullptr, BYTE* pattern = nullptr) {
    KXVOffscreenAutoLock lock(dst.get(), 1), lockSrc(src.get(), 0);
    dst->RectFill(dst->GetRect(), &mixer, mask, nullptr, pattern);
  }
  KXVOffscreenPtr dst, src;
  KXVOffPixelMixer mixer;
};

/// One pixel of 32 bits over another, as densities: truncated over an opaque one, else rounded.
DWORD Blend32(DWORD p, DWORD c) {
  const DWORD a = c >> 24, pa = p >> 24;
  if (a == 0) return p;
  if (pa == 0 || a == 255) return c;
  const double x = pa * (255 - a) * 0.00392156862745098, y = x + a;
  DWORD result = (pa == 255 ? 255 : static_cast<DWORD>(y + 0.5)) << 24;
  for (int shift = 0; shift < 24; shift += 8) {
    const DWORD from = 255 - (p >> shift & 255), to = (255 - (c >> shift & 255)) * a;
    const DWORD density = pa == 255 ? (from * (255 - a) + to) / 255
                                    : static_cast<DWORD>((from * x + to) * (1.0 / y) + 0.5);
    result |= (255 - density) << shift;
  }
  return result;
}

/// Blends the whole picture over one that is put back outside the clock, for what lies under a
/// second pass is no longer the picture that the line names.
void Blend(State& state, const Pixels& over, const Pixels& under, bool isMasked = false,
           BYTE* pattern = nullptr) {
  KXPixelMixerBlend node;
  Layers layers(node, 32, over, under);
  const KXVOffscreenPtr line = kxw::bench::MakeImage(8, kSide, kSide);
  KXVOffPixelMask mask;
  if (isMasked) {
    kxw::bench::Write(*line, kxw::bench::LineArt(8, kSide, kSide));
    KXVOffPixelMask::MaskInfo info;
    info.offscreen = line.get();
    info.mode = 1;  // drawing is held back where the mask is not black: beside the discs
    info.color = 0xFF000000;
    mask.SetMaskInfo(0, info);
  }
  KXVOffscreenAutoLock lock(line.get(), 0);
  for (auto _ : state) {
    state.PauseTiming();
    layers.dst->WritePixels(layers.dst->GetRect(), KXPixelFormat::kBgra8, under.data());
    state.ResumeTiming();
    layers.Lay(isMasked ? &mask : nullptr, pattern);
  }
  state.SetItemsProcessed(state.iterations() * kSide * kSide);

  const Pixels result = Flat<DWORD>(*layers.dst);
  const std::vector<BYTE> cover = Flat<BYTE>(*line);
  for (std::size_t i = 0; i < result.size(); ++i) {
    const std::size_t cell = i / kSide % 4 * 4 + i % 4;
    const bool isHeld = (isMasked && cover[i] != 255) || (pattern && !pattern[cell]);
    if (result[i] == (isHeld ? under[i] : Blend32(under[i], over[i]))) continue;
    state.SkipWithError("the pixels are wrong");
    return;
  }
}

#ifdef KXWCMN_WITH_PIXMAN
void PixmanOver(State& state, Pixels over, Pixels under) {
  for (Pixels* picture : {&over, &under}) {
    for (DWORD& p : *picture) {
      const DWORD a = p >> 24;
      const auto times = [a](DWORD c) { return (c & 255) * a / 255; };
      p = a << 24 | times(p >> 16) << 16 | times(p >> 8) << 8 | times(p);
    }
  }
  const auto make = [](Pixels& pixels) {
    return pixman_image_create_bits(PIXMAN_a8r8g8b8, kSide, kSide, pixels.data(), kSide * 4);
  };
  Pixels pixels = under;
  pixman_image_t *src = make(over), *dst = make(pixels);
  for (auto _ : state) {
    state.PauseTiming();
    std::memcpy(pixels.data(), under.data(), under.size() * sizeof(DWORD));
    state.ResumeTiming();
    pixman_image_composite32(PIXMAN_OP_OVER, src, nullptr, dst, 0, 0, 0, 0, 0, 0, kSide, kSide);
    benchmark::ClobberMemory();
  }
  pixman_image_unref(src);
  pixman_image_unref(dst);
  state.SetItemsProcessed(state.iterations() * kSide * kSide);
}
#endif

/// The limit of a blend that computes for nothing: one picture is read, and another written.
void CopyPicture(State& state) {
  const Pixels from = Noise(1, false);
  Pixels to = Noise(2, false);
  for (auto _ : state) {
    std::memcpy(to.data(), from.data(), from.size() * sizeof(DWORD));
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * kSide * kSide);
}

// --- Plain loops: what a user would write over two arrays ----------------------------------------

/// A mixer over noise beside the loop that does the same. What lies under is put back each time.
template <class Mixer, class Pixel, class Rule>
void AddBesideLoop(const char* name, Rule rule) {
  constexpr int kBits = 8 * sizeof(Pixel);
  const auto loop = [rule](std::vector<Pixel>& dst, const std::vector<Pixel>& src) {
    for (std::size_t i = 0; i < dst.size(); ++i) dst[i] = rule(dst[i], src[i]);
  };
  kxw::bench::Add(
      name, 1,
      [loop](State& state) {
        Mixer node;
        Layers layers(node, kBits, Noise(1, false), Noise(2, false));
        const std::vector<Pixel> under = Flat<Pixel>(*layers.dst);
        for (auto _ : state) {
          state.PauseTiming();
          layers.dst->WritePixels(layers.dst->GetRect(), KXPixelFormat::kNative, under.data());
          state.ResumeTiming();
          layers.Lay();
        }
        state.SetItemsProcessed(state.iterations() * kSide * kSide);
        std::vector<Pixel> expected = under;
        loop(expected, Flat<Pixel>(*layers.src));
        if (Flat<Pixel>(*layers.dst) != expected) state.SkipWithError("the pixels are wrong");
      },
      "plain loop",
      [loop](State& state) {
        const std::vector<Pixel> under = Flat<Pixel>(*ImageOf(kBits, Noise(2, false)));
        const std::vector<Pixel> src = Flat<Pixel>(*ImageOf(kBits, Noise(1, false)));
        std::vector<Pixel> dst(under.size());
        for (auto _ : state) {
          state.PauseTiming();
          std::copy(under.begin(), under.end(), dst.begin());
          state.ResumeTiming();
          loop(dst, src);
          benchmark::ClobberMemory();
        }
        state.SetItemsProcessed(state.iterations() * kSide * kSide);
      });
}

DWORD WeightCopy(DWORD p, DWORD c) {
  DWORD result = 0;
  for (int shift = 0; shift < 32; shift += 8) {
    const int from = p >> shift & 255, to = c >> shift & 255;
    result |= static_cast<DWORD>(from + (to - from) * 128 / 255) << shift;
  }
  return result;
}

u64 Blend64(u64 p, u64 c) {
  const DWORD a = static_cast<DWORD>(c >> 48), pa = static_cast<DWORD>(p >> 48);
  if (a == 0) return p;
  if (pa == 0 || a == 65535) return c;
  const DWORD t = pa * (65535 - a) / 65535;
  const DWORD alpha = 65535 - (65535 - pa) * (65535 - a) / 65535;
  u64 result = static_cast<u64>(alpha) << 48;
  for (int shift = 0; shift < 48; shift += 16) {
    const DWORD from = p >> shift & 65535, to = c >> shift & 65535;
    result |= static_cast<u64>(65535 - ((65535 - from) * t + (65535 - to) * a) / alpha) << shift;
  }
  return result;
}

const bool kAdded = [] {
  using kxw::bench::Add;
  const struct {
    const char* name;
    double wanted;
    Pixels (*over)();
    Pixels (*under)();
  } kBlends[] = {
      {"blend, cel over opaque", 1.3, Cel, [] { return Noise(2, true); }},
      {"blend, cel over photograph", 1.3, Cel, Photograph},
      {"blend, cel over mixed alpha", 1, Cel, [] { return Mixed(2); }},
      {"blend, cel over random alpha", 1, Cel, [] { return Noise(2, false); }},
      {"blend, noise over opaque", 1.3, [] { return Noise(1, false); },
       [] { return Noise(2, true); }},
      {"blend, noise over mixed alpha", 1, [] { return Noise(1, false); }, [] { return Mixed(2); }},
      {"blend, noise over random alpha", 1, [] { return Noise(1, false); },
       [] { return Noise(2, false); }},
      {"blend, photograph over random alpha", 1, Photograph, [] { return Noise(2, false); }},
  };
  for (const auto& blend : kBlends) {
    kxw::bench::AddOurs(blend.name, blend.wanted,
                        [blend](State& s) { Blend(s, blend.over(), blend.under()); });
#ifdef KXWCMN_WITH_PIXMAN
    kxw::bench::AddSide(blend.name, "pixman OVER",
                        [blend](State& s) { PixmanOver(s, blend.over(), blend.under()); });
#endif
  }
  Add(
      "blend, noise over opaque, limit", 0.7,
      [](State& s) { Blend(s, Noise(1, false), Noise(2, true)); }, "memcpy", CopyPicture);
  // Three times the time is what masks and patterns may cost: the wanted ratio is a third.
  const auto plain = [](State& s) { Blend(s, Cel(), Noise(2, true)); };
  Add(
      "blend, cel over opaque, one mask", 0.33,
      [](State& s) { Blend(s, Cel(), Noise(2, true), true); }, "without", plain);
  Add(
      "blend, cel over opaque, pattern", 0.33,
      [](State& s) {
        static BYTE pattern[16] = {1, 0, 1, 1, 0, 1, 1, 1, 1, 1, 1, 0, 1, 0, 1, 1};
        Blend(s, Cel(), Noise(2, true), false, pattern);
      },
      "without", plain);

  AddBesideLoop<KXPixelMixer, DWORD>("replace, 32 bits", [](DWORD, DWORD c) { return c; });
  AddBesideLoop<KXPixelMixerWeightCopy, DWORD>("weight copy, 32 bits", WeightCopy);
  AddBesideLoop<KXPixelMixerCompDark, DWORD>(
      "comp dark, 32 bits", [](DWORD p, DWORD c) { return p >> 24 < c >> 24 ? c : p; });
  AddBesideLoop<KXPixelMixerAdd, BYTE>(
      "add, 8 bits", [](BYTE p, BYTE c) { return static_cast<BYTE>(std::min(p + c, 255)); });
  AddBesideLoop<KXPixelMixerAlphaCopy, DWORD>("alpha copy, 32 bits", [](DWORD p, DWORD c) {
    return (p & 0xFFFFFF) | (c >> 16 & 255) * (c >> 24) / 255 << 24;
  });
  AddBesideLoop<KXPixelMixerBlend, u64>("blend, 64 bits", Blend64);
  return true;
}();

}  // namespace
