// Blocks of the platform beside those of the C heap.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <cstring>
#include <vector>

#include "bench/table.h"
#include "kxwcmn/platform/memory.h"

namespace {

using benchmark::DoNotOptimize;
using benchmark::State;

constexpr DWORD kChunk = 0x100000;
constexpr DWORD kChunks = 64;

template <void* (*Alloc)(std::size_t), void (*Free)(void*), DWORD kSize, DWORD kCount>
void FirstWrite(State& state) {
  std::vector<void*> blocks(kCount);
  for (auto _ : state) {
    for (void*& block : blocks) {
      block = Alloc(kSize);
      std::memset(block, 1, kSize);
      DoNotOptimize(block);
    }
    benchmark::ClobberMemory();
    for (void* block : blocks) Free(block);
  }
}

template <void* (*Alloc)(std::size_t), void (*Free)(void*)>
void Pair(State& state) {
  for (auto _ : state) {
    void* block = Alloc(kChunk);
    DoNotOptimize(block);
    Free(block);
  }
}

void* Zeroed(std::size_t size) { return qmAllocPtr(static_cast<DWORD>(size), 0, nullptr); }

void* Uninitialized(std::size_t size) {
  return qmAllocPtr(static_cast<DWORD>(size), kxw::kAllocUninitialized, nullptr);
}

const bool kAdded =
    kxw::bench::Add("first write of 64 MiB in one block", 2,
                    FirstWrite<Zeroed, qmFreePtr, kChunk * kChunks, 1>, "malloc and memset",
                    FirstWrite<std::malloc, std::free, kChunk * kChunks, 1>) &&
    kxw::bench::Add("first write of 64 MiB in blocks of 1 MiB", 2,
                    FirstWrite<Uninitialized, qmFreePtr, kChunk, kChunks>, "malloc and memset",
                    FirstWrite<std::malloc, std::free, kChunk, kChunks>) &&
    kxw::bench::Add("free and make a block of 1 MiB", 0, Pair<Uninitialized, qmFreePtr>, "malloc",
                    Pair<std::malloc, std::free>);

}  // namespace
