// The classic images: fills beside memset and copies beside memcpy of the same bytes, and changes
// of depth beside the plain loop over pixels.
#include <benchmark/benchmark.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "bench/table.h"
#include "kxwcmn/classic/offscreen.h"

namespace {

using benchmark::State;

constexpr int kSide = 4096;

void MakeLocked(KXOffscreen& image, int bits) {
  image.Create(kSide, kSide, bits, 0xFFFFFF, 1);
  image.Lock();
}

void AddNoise(KXOffscreen& image) {
  std::mt19937 random(1);
  for (i64 i = 0; i < image.GetBufferSize(); i += 4) {
    const std::uint32_t word = static_cast<std::uint32_t>(random());
    std::memcpy(image.GetBaseAddress() + i, &word, 4);
  }
}

std::size_t SizeOf(const KXOffscreen& image) {
  return static_cast<std::size_t>(image.GetBufferSize());
}

// --- Fills ---------------------------------------------------------------------------------------

void RectFill(State& state, int bits) {
  KXOffscreen image;
  MakeLocked(image, bits);
  image.SetForeColor(DWORD{0xFF336699});
  for (auto _ : state) {
    image.RectFill({0, 0, kSide, kSide});
    benchmark::ClobberMemory();
  }
  if (image.Get32BitPixel(kSide - 1, kSide - 1) != image.Get32BitPixel(0, 0)) {
    state.SkipWithError("the pixels are wrong");
  }
}

void Memset(State& state, int bits) {
  std::vector<BYTE> bytes(std::size_t{kSide} * kSide * std::size_t(bits) / 8);
  for (auto _ : state) {
    std::memset(bytes.data(), 0x55, bytes.size());
    benchmark::ClobberMemory();
  }
}

// --- Copies --------------------------------------------------------------------------------------

void Copy(State& state, int toBits, int fromBits) {
  KXOffscreen image, source;
  MakeLocked(image, toBits);
  MakeLocked(source, fromBits);
  AddNoise(source);
  for (auto _ : state) {
    image.Copy(0, 0, kSide, kSide, &source, 0, 0, 0);
    benchmark::ClobberMemory();
  }
  if (toBits == fromBits &&
      std::memcmp(image.GetBaseAddress(), source.GetBaseAddress(), SizeOf(image)) != 0) {
    state.SkipWithError("the pixels are wrong");
  }
}

void Memcpy(State& state, int bits) {
  std::vector<BYTE> to(std::size_t{kSide} * kSide * std::size_t(bits) / 8), from(to.size(), 7);
  for (auto _ : state) {
    std::memcpy(to.data(), from.data(), to.size());
    benchmark::ClobberMemory();
  }
}

/// The same by a loop over the pixels of each row, as a reader of the rules would write it.
template <class Loop>
void Plain(State& state, int toBits, int fromBits, Loop loop) {
  KXOffscreen image, source, expected;
  MakeLocked(image, toBits);
  MakeLocked(source, fromBits);
  MakeLocked(expected, toBits);
  AddNoise(source);
  for (auto _ : state) {
    for (int y = 0; y < kSide; ++y) {
      loop(image.GetBaseAddress() + y * image.GetRowBytes(),
           source.GetBaseAddress() + y * source.GetRowBytes());
    }
    benchmark::ClobberMemory();
  }
  expected.Copy(0, 0, kSide, kSide, &source, 0, 0, 0);
  if (std::memcmp(image.GetBaseAddress(), expected.GetBaseAddress(), SizeOf(image)) != 0) {
    state.SkipWithError("the pixels are wrong");
  }
}

void Plain32To8(State& state) {
  Plain(state, 8, 32, [](BYTE* to, const BYTE* from) {
    for (int x = 0; x < kSide; ++x, from += 4) {
      to[x] = static_cast<BYTE>(255.0 - (from[1] + from[2] + from[3]) * 0.333);
    }
  });
}

void Plain24To1(State& state) {
  Plain(state, 1, 24, [](BYTE* to, const BYTE* from) {
    for (int x = 0; x < kSide; ++x, from += 3) {
      const int bit = 0x80 >> (x & 7);
      const bool isBlack = from[0] + from[1] + from[2] < 382;
      to[x / 8] = static_cast<BYTE>(isBlack ? to[x / 8] | bit : to[x / 8] & ~bit);
    }
  });
}

const bool kAdded = [] {
  for (int bits : {8, 24, 32}) {
    kxw::bench::Add(
        "classic RectFill 4096², " + std::to_string(bits) + " bits", 0.9,
        [=](State& state) { RectFill(state, bits); }, "memset",
        [=](State& state) { Memset(state, bits); });
  }
  for (int bits : {1, 8, 24, 32}) {
    kxw::bench::Add(
        "classic Copy 4096², " + std::to_string(bits) + " bits", 0.9,
        [=](State& state) { Copy(state, bits, bits); }, "memcpy",
        [=](State& state) { Memcpy(state, bits); });
  }
  kxw::bench::Add(
      "classic Copy 4096², 32 to 8 bits", 1, [](State& state) { Copy(state, 8, 32); }, "plain loop",
      Plain32To8);
  kxw::bench::Add(
      "classic Copy 4096², 24 to 1 bit", 1, [](State& state) { Copy(state, 1, 24); }, "plain loop",
      Plain24To1);
  return true;
}();

}  // namespace
