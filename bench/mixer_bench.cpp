// Laying one image over another through mixers: beside pixman, which does it on premultiplied
// pixels, and beside plain loops over arrays.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "bench/table.h"
#include "kxwcmn/compositing/pixelmixer.h"
#include "kxwcmn/compositing/voffpixelmask.h"
#include "kxwcmn/compositing/voffpixelmixer.h"
#include "kxwcmn/memory/virtualmemory.h"
#include "kxwcmn/offscreen/autolock.h"
#include "kxwcmn/offscreen/voffscreen.h"
#ifdef KXWCMN_WITH_PIXMAN
#include <pixman.h>
#endif

namespace {

using benchmark::State;

constexpr int kSide = 4096;
using Pixels = std::vector<DWORD>;  // a 32-bit picture as an image has it in memory

/// A painted cel: half of it transparent, flat colours, soft edges of a few pixels.
Pixels Cel() {
  Pixels pixels(std::size_t{kSide} * kSide);
  for (int y = 0; y < kSide; ++y) {
    for (int x = 0; x < kSide; ++x) {
      // Discs of different colours in a grid; their edges are three pixels wide.
      const int cx = x / 512, cy = y / 512;
      const double d = std::hypot(x % 512 - 256, y % 512 - 256) - 204;
      const double cover = std::clamp(0.5 - d / 3, 0.0, 1.0);
      const DWORD a = static_cast<DWORD>(cover * 255 + 0.5);
      const DWORD color = static_cast<DWORD>(cx * 0x1F2A33 + cy * 0x07411B) & 0xFFFFFF;
      pixels[std::size_t(y) * kSide + std::size_t(x)] = a << 24 | (a ? color : 0xFFFFFF);
    }
  }
  return pixels;
}

Pixels Noise(unsigned seed, bool opaque) {
  Pixels pixels(std::size_t{kSide} * kSide);
  std::mt19937 random(seed);
  for (DWORD& pixel : pixels) pixel = static_cast<DWORD>(random()) | (opaque ? 0xFF000000 : 0);
  return pixels;
}

/// Mixed alpha as a picture has it: a third clear, a third opaque, a third between.
Pixels Mixed(unsigned seed) {
  Pixels pixels = Noise(seed, false);
  for (std::size_t i = 0; i < pixels.size(); ++i) {
    const std::size_t kind = i / 64 % 3;
    if (kind == 0) pixels[i] &= 0x00FFFFFF;
    if (kind == 1) pixels[i] |= 0xFF000000;
  }
  return pixels;
}

struct DeleteImage {
  void operator()(KXVOffscreen* image) const { KXVOffscreen::DeleteOffscreen(image); }
};
using ImagePtr = std::unique_ptr<KXVOffscreen, DeleteImage>;

KXVirtualMemory* Manager() {
  static KXVirtualMemory* const manager = [] {
    static KXVirtualMemory instance;
    instance.Create(1u << 30, nullptr);
    return &instance;
  }();
  return manager;
}

ImagePtr ImageOf(int bits, const Pixels& pixels) {
  ImagePtr image(KXVOffscreen::CreateOffscreen(bits));
  image->Create(Manager(), kSide, kSide, 72);
  KXVOffscreenAutoLock lock(image.get(), 1);
  for (int y = 0; y < kSide; ++y) {
    for (int x = 0; x < kSide; x += 256) {
      image->MoveCursor(x, y);
      const DWORD* from = &pixels[std::size_t(y) * kSide + std::size_t(x)];
      if (bits == 32) {
        std::memcpy(image->GetCurrentAddress(), from, 1024);
      } else {
        for (int i = 0; i < 256; ++i, image->NextCursorXFastest()) {
          image->Set32BitColor(from[i]);
        }
      }
    }
  }
  return image;
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
  ImagePtr dst, src;
  KXVOffPixelMixer mixer;
};

/// Lays the whole picture.
void Lay(State& state, KXPixelMixer& node, int bits, const Pixels& over, const Pixels& under,
         bool isMasked = false, BYTE* pattern = nullptr) {
  Layers layers(node, bits, over, under);
  ImagePtr line(KXVOffscreen::CreateOffscreen(8));
  KXVOffPixelMask mask;
  if (isMasked) {
    line = ImageOf(8, Cel());
    KXVOffPixelMask::MaskInfo info;
    info.offscreen = line.get();
    info.mode = 1;  // drawing is held back where the mask is not black
    info.color = 0xFF000000;
    mask.SetMaskInfo(0, info);
  }
  KXVOffscreenAutoLock lock(line.get(), 0);
  for (auto _ : state) layers.Lay(isMasked ? &mask : nullptr, pattern);
  state.SetItemsProcessed(state.iterations() * kSide * kSide);
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
  pixman_image_t *src = make(over), *dst = make(under);
  for (auto _ : state) {
    pixman_image_composite32(PIXMAN_OP_OVER, src, nullptr, dst, 0, 0, 0, 0, 0, 0, kSide, kSide);
    benchmark::ClobberMemory();
  }
  pixman_image_unref(src);
  pixman_image_unref(dst);
  state.SetItemsProcessed(state.iterations() * kSide * kSide);
}
#endif

// --- Plain loops: what a user would write over two arrays
// -----------------------------------------

template <class Pixel>
std::vector<Pixel> Flat(KXVOffscreen& image) {
  std::vector<Pixel> pixels(std::size_t{kSide} * kSide);
  KXVOffscreenAutoLock lock(&image, 0);
  for (std::size_t i = 0; i < pixels.size(); i += 256) {
    image.MoveCursor(int(i % kSide), int(i / kSide));
    std::memcpy(&pixels[i], image.GetCurrentAddress(), 256 * sizeof(Pixel));
  }
  return pixels;
}

template <class Mixer, class Pixel, class Rule>
void Loop(State& state, Rule rule) {
  Mixer node;
  Layers layers(node, 8 * sizeof(Pixel), Noise(1, false), Noise(2, false));
  std::vector<Pixel> dst = Flat<Pixel>(*layers.dst);
  const std::vector<Pixel> src = Flat<Pixel>(*layers.src);
  const auto lay = [&] {
    for (std::size_t i = 0; i < dst.size(); ++i) dst[i] = rule(dst[i], src[i]);
    benchmark::ClobberMemory();
  };
  lay();
  layers.Lay();
  if (dst != Flat<Pixel>(*layers.dst)) state.SkipWithError("the mixer lays something else");
  for (auto _ : state) lay();
  state.SetItemsProcessed(state.iterations() * kSide * kSide);
}

/// Adds a mixer over noise beside the loop that does the same.
template <class Mixer, class Pixel, class Rule>
void AddBesideLoop(const char* name, Rule rule) {
  kxw::bench::Add(
      name, 1,
      [](State& s) {
        Mixer node;
        Lay(s, node, 8 * sizeof(Pixel), Noise(1, false), Noise(2, false));
      },
      "plain loop", [rule](State& s) { Loop<Mixer, Pixel>(s, rule); });
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
      {"blend, cel over opaque", 1, Cel, [] { return Noise(2, true); }},
      {"blend, cel over mixed alpha", 1, Cel, [] { return Mixed(2); }},
      {"blend, noise over opaque", 0.7, [] { return Noise(1, false); },
       [] { return Noise(2, true); }},
      {"blend, noise over mixed alpha", 0.3, [] { return Noise(1, false); },
       [] { return Mixed(2); }},
  };
  for (const auto& blend : kBlends) {
    kxw::bench::AddOurs(blend.name, blend.wanted, [blend](State& s) {
      KXPixelMixerBlend node;
      Lay(s, node, 32, blend.over(), blend.under());
    });
#ifdef KXWCMN_WITH_PIXMAN
    kxw::bench::AddSide(blend.name, "pixman OVER",
                        [blend](State& s) { PixmanOver(s, blend.over(), blend.under()); });
#endif
  }
  // Three times the time is what masks and patterns may cost: the wanted ratio is a third.
  const auto plain = [](State& s) {
    KXPixelMixerBlend node;
    Lay(s, node, 32, Cel(), Noise(2, true));
  };
  Add(
      "blend, cel over opaque, one mask", 0.33,
      [](State& s) {
        KXPixelMixerBlend node;
        Lay(s, node, 32, Cel(), Noise(2, true), true);
      },
      "without", plain);
  Add(
      "blend, cel over opaque, pattern", 0.33,
      [](State& s) {
        KXPixelMixerBlend node;
        static BYTE pattern[16] = {1, 0, 1, 1, 0, 1, 1, 1, 1, 1, 1, 0, 1, 0, 1, 1};
        Lay(s, node, 32, Cel(), Noise(2, true), false, pattern);
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
