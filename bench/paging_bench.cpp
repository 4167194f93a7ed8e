// The paged memory and the image's plain services beside what the machine can do at best.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "bench/pictures.h"
#include "bench/table.h"
#include "kxwcmn/memory/virtualmemory.h"
#include "kxwcmn/offscreen/autolock.h"
#include "kxwcmn/offscreen/voffscreen.h"
#include "kxwcmn/platform/memory.h"

namespace {

using benchmark::DoNotOptimize;
using benchmark::State;

constexpr unsigned kBlock = 262144;

std::unique_ptr<KXVirtualMemory> Manager(unsigned budget) {
  auto manager = std::make_unique<KXVirtualMemory>();
  manager->Create(budget, nullptr);
  return manager;
}

KXVOffscreenPtr Image(KXVirtualMemory* manager, int bits, int width, int height) {
  return KXVOffscreen::Make(bits, width, height, 72, manager);
}

/// Whether every pixel of an image of 32 bits reads as `color`, in the order of memory.
bool IsFlat(KXVOffscreen& image, DWORD color) {
  std::vector<DWORD> row(static_cast<std::size_t>(image.GetWidth()));
  for (int y = 0; y < image.GetHeight(); ++y) {
    image.ReadPixels(KXRect(0, y, image.GetWidth(), y + 1), KXPixelFormat::kNative, row.data());
    if (std::any_of(row.begin(), row.end(), [=](DWORD pixel) { return pixel != color; })) {
      return false;
    }
  }
  return true;
}

// --- A lock of a block on memory -----------------------------------------------------------------

void LockPair(State& state) {
  auto manager = Manager(64 << 20);
  KXSwapBlock* block = manager->Allocate(kBlock);
  for (auto _ : state) {
    DoNotOptimize(manager->Lock(block, 0, nullptr));
    manager->Unlock(block);
    benchmark::ClobberMemory();
  }
}

struct Flagged {
  void* address;
  int locked, chunkLocks;
};
__attribute__((noinline)) void* RaiseLock(Flagged* f) {
  f->locked = 1;
  ++f->chunkLocks;
  return f->address;
}
__attribute__((noinline)) void LowerLock(Flagged* f) {
  f->locked = 0;
  --f->chunkLocks;
}
void LockFloor(State& state) {
  Flagged f{&f, 0, 0};
  for (auto _ : state) {
    DoNotOptimize(RaiseLock(&f));
    LowerLock(&f);
    benchmark::ClobberMemory();
  }
}

// --- Walking the cursor over a resident image ----------------------------------------------------

constexpr int kWalk = 2048;  // pixels of a side

struct Resident {
  std::unique_ptr<KXVirtualMemory> manager = Manager(64 << 20);
  KXVOffscreenPtr image = Image(manager.get(), 32, kWalk, kWalk);
  std::vector<DWORD> pixels = std::vector<DWORD>(std::size_t{kWalk} * kWalk);
  DWORD expected = 0;  // the sum of the pixels, as a cursor reads them

  Resident() {
    for (std::size_t i = 0; i < pixels.size(); ++i) {
      pixels[i] = static_cast<DWORD>(i % kWalk * 31 + i / kWalk);
      // Red and blue change places between memory and a colour.
      expected += (pixels[i] & 0xFF00FF00) | (pixels[i] & 255) << 16 | (pixels[i] >> 16 & 255);
    }
    image->WritePixels(image->GetRect(), KXPixelFormat::kNative, pixels.data());
  }
};

void WalkChecked(State& state) {
  Resident r;
  KXVOffscreen* o = r.image.get();
  KXVOffscreenAutoLock lock(o, 0);
  DWORD sum = 0;
  for (auto _ : state) {
    sum = 0;
    for (int y = 0; y < kWalk; ++y) {
      o->MoveCursor(0, y);
      for (int x = 0; x < kWalk; ++x, o->NextCursorX()) sum += o->Get32BitColor();
    }
    DoNotOptimize(sum);
  }
  if (sum != r.expected) state.SkipWithError("the sum is wrong");
  state.SetItemsProcessed(state.iterations() * kWalk * kWalk);
}

void WalkFastest(State& state) {
  Resident r;
  KXVOffscreen* o = r.image.get();
  KXVOffscreenAutoLock lock(o, 0);
  DWORD sum = 0;
  for (auto _ : state) {
    sum = 0;
    for (int y = 0; y < kWalk; ++y) {
      for (int left = 0; left < kWalk; left += 256) {
        o->MoveCursor(left, y);
        for (int x = 0; x < 256; ++x, o->NextCursorXFastest()) sum += o->Get32BitColorFast();
      }
    }
    DoNotOptimize(sum);
  }
  if (sum != r.expected) state.SkipWithError("the sum is wrong");
  state.SetItemsProcessed(state.iterations() * kWalk * kWalk);
}

void WalkArray(State& state) {
  std::vector<DWORD> pixels(kWalk * kWalk, 3);
  DoNotOptimize(pixels.data());
  for (auto _ : state) {
    DWORD sum = 0;
    for (DWORD pixel : pixels) sum += pixel;
    DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * kWalk * kWalk);
}

// --- 1 GiB through a pool of 128 MiB -------------------------------------------------------------

constexpr int kBlocks = 4096;

enum Contents { kNoise, kPaint, kOneColor };

/// A block that `i` names: its last byte. Paint has a line across each of its rows.
template <Contents kContents>
void FillBlock(void* at, int i) {
  auto* bytes = static_cast<BYTE*>(at);
  if (kContents == kNoise) {
    static const kxw::bench::Bytes noise = kxw::bench::Noise(kBlock);
    std::memcpy(bytes, noise.data(), kBlock);
    bytes[kBlock - 1] = static_cast<BYTE>(i);
    return;
  }
  std::memset(bytes, i & 255, kBlock);
  if (kContents == kOneColor) return;
  for (std::size_t y = 0; y < 256; ++y) std::memset(bytes + y * 1024 + y * 3, ~i & 255, 12);
}

constexpr int kInPool = 512;

/// Out: the pool is full of blocks that have to go, its memory long at hand, as it is in a program
/// that runs for a while. In: all blocks are in the file.
template <bool kMeasureRead, Contents kContents>
void PageThrough(State& state) {
  for (auto _ : state) {
    state.PauseTiming();
    auto manager = Manager(kInPool * kBlock);
    std::vector<KXSwapBlock*> blocks;
    const auto make = [&] {
      KXSwapBlock* block = manager->Allocate(kBlock);
      FillBlock<kContents>(manager->Lock(block, 1, nullptr), static_cast<int>(blocks.size()));
      manager->Unlock(block);
      blocks.push_back(block);
    };
    for (int i = 0; i < kInPool; ++i) make();
    const auto gone = [&] {
      const KXVMStatistics statistics = manager->GetStatistics();
      return statistics.blocksWritten + statistics.blocksFlat;
    };
    const u64 before = gone();
    if (!kMeasureRead) state.ResumeTiming();
    for (int i = 0; i < kBlocks; ++i) make();
    if (!kMeasureRead) state.PauseTiming();
    if (gone() - before < u64{kBlocks}) state.SkipWithError("blocks stayed that should have gone");
    for (KXSwapBlock* block : blocks) manager->Purge(block);
    if (kMeasureRead) state.ResumeTiming();
    int wrong = 0;
    for (int i = 0; i < kBlocks; ++i) {
      KXSwapBlock* block = blocks[static_cast<std::size_t>(i)];
      const auto* at = static_cast<const BYTE*>(manager->Lock(block, 0, nullptr));
      wrong += at[kBlock - 1] != (i & 255);
      manager->Unlock(block);
    }
    if (wrong) state.SkipWithError("a block came back changed");
    if (kMeasureRead) state.PauseTiming();
    manager.reset();
    state.ResumeTiming();
  }
  state.SetBytesProcessed(state.iterations() * i64{kBlocks} * kBlock);
}

// The same number of bytes that leave and enter the pool, with the same memory in use.
template <bool kMeasureRead, Contents kContents>
void RawFile(State& state) {
  std::vector<BYTE> pool(std::size_t{kInPool} * kBlock);
  for (auto _ : state) {
    state.PauseTiming();
    char name[] = "/tmp/kxwcmn-bench-XXXXXX";
    const int file = mkstemp(name);
    unlink(name);
    if (ftruncate(file, 128 << 20) != 0) state.SkipWithError("no room");
    if (!kMeasureRead) state.ResumeTiming();
    for (int i = 0; i < kBlocks; ++i) {
      BYTE* at = pool.data() + std::size_t(i % kInPool) * kBlock;
      FillBlock<kContents>(at, i);
      if (pwrite(file, at, kBlock, off_t{i} * kBlock) != kBlock) state.SkipWithError("no room");
    }
    if (kMeasureRead) state.ResumeTiming();
    if (!kMeasureRead) state.PauseTiming();
    int wrong = 0;
    for (int i = 0; i < kBlocks; ++i) {
      BYTE* at = pool.data() + std::size_t(i % kInPool) * kBlock;
      if (pread(file, at, kBlock, off_t{i} * kBlock) != kBlock) state.SkipWithError("cut short");
      wrong += at[kBlock - 1] != (i & 255);
    }
    if (wrong) state.SkipWithError("a block came back changed");
    if (kMeasureRead) state.PauseTiming();
    close(file);
    state.ResumeTiming();
  }
  state.SetBytesProcessed(state.iterations() * i64{kBlocks} * kBlock);
}

// --- Eviction of clean blocks --------------------------------------------------------------------

void DropAndRemake(State& state) {
  auto manager = Manager(16 << 20);
  std::vector<KXSwapBlock*> blocks;
  for (int i = 0; i < 256; ++i) blocks.push_back(manager->Allocate(kBlock));
  std::size_t next = 0;
  for (auto _ : state) {
    KXSwapBlock* block = blocks[next];
    next = (next + 1) % blocks.size();
    DoNotOptimize(manager->Lock(block, 0, nullptr));
    manager->Unlock(block);
  }
  if (manager->GetStatistics().bytesWritten) state.SkipWithError("a clean block was written");
  state.SetItemsProcessed(state.iterations());
}

// --- Images of several depths that come and go ---------------------------------------------------

u64 ResidentBytes() {
  u64 pages = 0;
  std::ifstream("/proc/self/statm") >> pages >> pages;
  return pages * static_cast<u64>(sysconf(_SC_PAGESIZE));
}

/// Paints `count` images of 1024 x 1024 pixels.
void PaintImages(KXVirtualMemory* manager, int bits, int count,
                 std::vector<KXVOffscreenPtr>& images) {
  for (int i = 0; i < count; ++i) {
    images.push_back(Image(manager, bits, 1024, 1024));
    KXVOffscreenAutoLock lock(images.back().get(), 1);
    for (int block = 0; block < 16; ++block) {
      images.back()->MoveCursor(block % 4 * 256, block / 4 * 256);
      images.back()->Set32BitColor(0xFF010203);
    }
  }
}

/// Three depths fill the budget one after the other, and most of each goes. Those that stay are
/// spread, so that memory of the other sizes has to come from between them. With `kBetween` that is
/// how it goes; without, every depth is painted in a manager and memory of its own.
template <bool kBetween>
void ComeAndGo(State& state) {
  constexpr unsigned kBudget = 256u << 20;
  u64 most = 0;
  for (auto _ : state) {
    state.PauseTiming();
    kxw::TrimIdleMemory(0);
    const u64 before = ResidentBytes();
    auto manager = Manager(kBudget);
    std::vector<KXVOffscreenPtr> images;
    for (const auto& [bits, count] : {std::pair{32, 64}, {64, 31}, {24, 76}}) {
      if (!kBetween) {
        images.clear();
        manager = Manager(kBudget);
        kxw::TrimIdleMemory(0);
      }
      const std::size_t first = images.size();
      state.ResumeTiming();
      PaintImages(manager.get(), bits, count, images);
      state.PauseTiming();
      most = std::max(most, ResidentBytes() - before);
      for (std::size_t i = first; i + 1 < images.size(); ++i) {
        if (i != first + images.size() / 2) images[i].reset();
      }
    }
    images.clear();
    manager.reset();
    state.ResumeTiming();
  }
  state.counters["MiB resident, of 256"] = static_cast<double>(most >> 20);
}

// --- A sparse image ------------------------------------------------------------------------------

void Sparse(State& state) {
  auto manager = Manager(512u << 20);
  u64 used = 0;
  for (auto _ : state) {
    KXVOffscreenPtr image = Image(manager.get(), 32, 100000, 100000);
    image->EnableClear(0);  // the clearing of blocks has a line of its own
    image->Lock(-1, -1, 1);
    for (int i = 0; i < 1000; ++i) {
      // Each column of blocks comes again every 391 times, then in another row.
      image->MoveCursor(static_cast<int>(i * 7919LL % 391) * 256,
                        static_cast<int>((i * 104729LL + i / 391) % 391) * 256);
      std::memset(image->GetBaseAddress(), 0, 64);
      image->Set32BitColor(0xFF000000 + static_cast<DWORD>(i));
    }
    image->Unlock();
    tagRECT extent;
    image->GetExtentBlock(extent);
    image->Optimize();
    used = image->GetUsedMemory(0);
    image->Destroy();
  }
  if (used < u64{1000} * kBlock) state.SkipWithError("blocks are missing");
  state.counters["MiB of blocks"] = static_cast<double>(used >> 20);
}

// --- The first write of a new image --------------------------------------------------------------

void FirstWrite(State& state) {
  bool isWhole = true;
  for (auto _ : state) {
    state.PauseTiming();
    auto manager = Manager(128u << 20);
    KXVOffscreenPtr image = Image(manager.get(), 32, 4096, 4096);
    state.ResumeTiming();
    image->Lock(-1, -1, 1);
    for (int y = 0; y < 4096; y += 256) {
      for (int x = 0; x < 4096; x += 256) {
        image->MoveCursor(x, y);
        image->Set32BitColor(0xFF010203);
      }
    }
    image->Unlock();
    state.PauseTiming();
    isWhole &= image->GetUsedMemory(0) >= u64{4} * 4096 * 4096;
    image.reset();
    manager.reset();
    state.ResumeTiming();
  }
  if (!isWhole) state.SkipWithError("blocks are missing");
}

void MallocAndSet(State& state) {
  for (auto _ : state) {
    void* pixels = std::malloc(64u << 20);
    std::memset(pixels, 0xFF, 64u << 20);
    DoNotOptimize(pixels);
    benchmark::ClobberMemory();
    state.PauseTiming();
    std::free(pixels);
    state.ResumeTiming();
  }
}

// --- Clearing and looking for empty blocks -------------------------------------------------------

constexpr int kSide = 4096;

void Clear(State& state) {
  auto manager = Manager(128u << 20);
  KXVOffscreenPtr image = Image(manager.get(), 32, kSide, kSide);
  image->Lock(-1, -1, 1);
  for (auto _ : state) {
    for (int y = 0; y < kSide; y += 256) {
      for (int x = 0; x < kSide; x += 256) {
        image->MoveCursor(x, y);
        image->ClearBlock(nullptr);
      }
    }
  }
  image->Unlock();
  if (!IsFlat(*image, 0x00FFFFFF)) state.SkipWithError("the pixels are wrong");
  state.SetBytesProcessed(state.iterations() * 4 * kSide * kSide);
}

/// `kPart` bytes by each call. A large part goes past the caches, which a block that is going to be
/// painted had better not.
template <std::size_t kPart>
void Set(State& state) {
  std::vector<BYTE> pixels(4u * kSide * kSide);
  for (auto _ : state) {
    for (std::size_t i = 0; i < pixels.size(); i += kPart) {
      std::memset(pixels.data() + i, 0xFF, kPart);
    }
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * 4 * kSide * kSide);
}

void OptimizeFull(State& state) {
  auto manager = Manager(128u << 20);
  KXVOffscreenPtr image = Image(manager.get(), 8, kSide, kSide);
  image->Lock(-1, -1, 1);
  for (int y = 0; y < kSide; y += 256) {
    for (int x = 0; x < kSide; x += 256) {
      image->MoveCursor(x + 255, y + 255);  // the last pixel that the test looks at
      image->Set8BitColor(1);
    }
  }
  image->Unlock();
  for (auto _ : state) image->Optimize();
  if (image->GetUsedMemory(0) < u64{kSide} * kSide) state.SkipWithError("a painted block is gone");
  state.SetBytesProcessed(state.iterations() * kSide * kSide);
}

void Memchr(State& state) {
  std::vector<BYTE> pixels(std::size_t{kSide} * kSide);
  pixels.back() = 1;
  for (auto _ : state) DoNotOptimize(std::memchr(pixels.data(), 1, pixels.size()));
  state.SetBytesProcessed(state.iterations() * kSide * kSide);
}

using kxw::bench::Add;

const bool kAdded = [] {
  Add("Lock and Unlock of a resident block", 0, LockPair, "two function calls", LockFloor);
  Add("walk, NextCursorX + Get32BitColor, 2048 x 2048", 0, WalkChecked, "array", WalkArray);
  Add("walk, NextCursorXFastest + Get32BitColorFast", 0, WalkFastest, "array", WalkArray);
  kxw::bench::AddReal("1 GiB of blocks out, 128 MiB budget", 0.9, PageThrough<false, kNoise>,
                      "pwrite", RawFile<false, kNoise>);
  kxw::bench::AddReal("1 GiB of blocks in, 128 MiB budget", 0.9, PageThrough<true, kNoise>, "pread",
                      RawFile<true, kNoise>);
  kxw::bench::AddReal("1 GiB of painted blocks out", 0, PageThrough<false, kPaint>, "pwrite",
                      RawFile<false, kPaint>);
  kxw::bench::AddReal("1 GiB of painted blocks in", 0, PageThrough<true, kPaint>, "pread",
                      RawFile<true, kPaint>);
  kxw::bench::AddReal("1 GiB of blocks of one colour out", 0, PageThrough<false, kOneColor>,
                      "pwrite", RawFile<false, kOneColor>);
  kxw::bench::AddReal("1 GiB of blocks of one colour in", 0, PageThrough<true, kOneColor>, "pread",
                      RawFile<true, kOneColor>);
  kxw::bench::AddReal("images of three depths come and go, 256 MiB budget", 0, ComeAndGo<true>,
                      "each in fresh memory", ComeAndGo<false>);
  Add("first write of a 4096 x 4096 image", 2, FirstWrite, "malloc and memset", MallocAndSet);
  Add("ClearBlock, 4096 x 4096, 32 bits", 0.95, Clear, "memset", Set<4u * kSide * kSide>);
  kxw::bench::AddSide("ClearBlock, 4096 x 4096, 32 bits", "memset of a block at a time",
                      Set<4u * 256 * 256>);
  Add("Optimize of full blocks, 4096 x 4096, 8 bits", 0.8, OptimizeFull, "memchr", Memchr);
  benchmark::RegisterBenchmark("clean block dropped and remade|ours", DropAndRemake);
  benchmark::RegisterBenchmark("sparse 100,000 x 100,000, 1000 blocks|ours", Sparse);
  return true;
}();

}  // namespace
