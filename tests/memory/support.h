#pragma once

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <random>

#include "kxwcmn/core/exception.h"
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

inline void Fill(void* at, std::uint64_t bytes, std::uint32_t word) {
  std::fill_n(static_cast<std::uint32_t*>(at), bytes / sizeof word, word);
}

inline bool Holds(const void* at, std::uint64_t bytes, std::uint32_t word) {
  const auto* words = static_cast<const std::uint32_t*>(at);
  return std::all_of(words, words + bytes / sizeof word, [&](auto w) { return w == word; });
}

/// The code of the KXException that `operation` raises, 0 if it raises none.
int CodeOf(auto operation) {
  try {
    operation();
  } catch (const KXException& e) {
    return e.GetErrorCode();
  }
  return 0;
}
