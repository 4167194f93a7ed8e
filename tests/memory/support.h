#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <memory>
#include <numeric>
#include <random>
#include <vector>

#include "kxwcmn/memory/swapblock.h"
#include "kxwcmn/memory/virtualmemory.h"
#include "tests/support/failure.h"
#include "tests/testfolder.h"

/// Entries in a folder.
inline long CountEntries(const TestFolder& folder) {
  return std::distance(std::filesystem::directory_iterator(folder.Host()), {});
}

class Random {
 public:
  explicit Random(unsigned seed) : engine_(seed) {}
  /// From 0 up to, not including, `bound`.
  template <class T>
  T Below(T bound) {
    return static_cast<T>(engine_() % static_cast<unsigned>(bound));
  }
  bool OneIn(int count) { return Below(count) == 0; }

 private:
  std::mt19937 engine_;
};

/// Added to a word, contents of one colour, and of nearly one, which go packed.
constexpr std::uint32_t kFlat = 1u << 30, kPacked = 2u << 30;

/// Contents that `first` names and that do not repeat: words that count on from it.
inline void Fill(void* at, std::uint64_t bytes, std::uint32_t first) {
  auto* words = static_cast<std::uint32_t*>(at);
  auto* const end = words + bytes / sizeof first;
  if (first < kFlat) return std::iota(words, end, first * 0x9E3779B1u);
  std::fill(words, end, first);
  if (first >= kPacked) words[first % 1000] = ~first;
}

inline bool Holds(const void* at, std::uint64_t bytes, std::uint32_t first) {
  std::vector<std::uint32_t> expected(bytes / sizeof first);
  Fill(expected.data(), bytes, first);
  return std::memcmp(at, expected.data(), bytes) == 0;
}

/// A manager with its swap file in a folder of its own.
class Memory : public testing::Test {
 protected:
  static constexpr unsigned kTile = 65536;
  static constexpr unsigned kMiB = 1 << 20;

  void Create(unsigned budget) { manager->Create(budget, folder.Path().c_str()); }

  /// A new block with the contents that `word` names.
  KXSwapBlock* Painted(unsigned size, std::uint32_t word) {
    KXSwapBlock* block = manager->Allocate(size);
    Paint(block, word);
    return block;
  }
  /// Blocks of 64 KiB, with the contents 0, 1, 2 and so on.
  std::vector<KXSwapBlock*> PaintedTiles(unsigned count) {
    std::vector<KXSwapBlock*> tiles;
    for (unsigned i = 0; i < count; ++i) tiles.push_back(Painted(kTile, i));
    return tiles;
  }
  void Paint(KXSwapBlock* block, std::uint32_t word) {
    Fill(manager->Lock(block, 1, nullptr), block->GetSize(), word);
    manager->Unlock(block);
  }
  bool Reads(KXSwapBlock* block, std::uint32_t word) {
    const void* at = manager->Lock(block, 0, nullptr);
    const bool same = at && Holds(at, block->GetSize(), word);
    manager->Unlock(block);
    return same;
  }
  void ExpectTiles(const std::vector<KXSwapBlock*>& tiles) {
    for (std::uint32_t i = 0; i < tiles.size(); ++i) EXPECT_TRUE(Reads(tiles[i], i)) << i;
  }

  TestFolder folder;
  std::unique_ptr<KXVirtualMemory> manager = std::make_unique<KXVirtualMemory>();
};
