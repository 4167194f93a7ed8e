// Strings and paths beside those of the C++ standard library.
#include <benchmark/benchmark.h>

#include <filesystem>
#include <string>

#include "bench/table.h"
#include "kxwcmn/core/filepath.h"
#include "kxwcmn/core/string.h"

namespace {

using benchmark::DoNotOptimize;
using benchmark::State;

// --- Appends: a text built byte by byte and word by word -----------------------------------------

/// Runs `append(text)` on an empty text, and looks at its result outside the clock.
template <class String, class Append>
void Appends(State& state, const std::string& expected, Append append) {
  for (auto _ : state) {
    String text;
    append(text);
    DoNotOptimize(text);
  }
  String text;
  append(text);
  if (!(text == expected.c_str())) state.SkipWithError("wrong");
}

template <class String, int kLength>
void AppendBytes(State& state) {
  std::string expected(kLength, 0);
  for (std::size_t i = 0; i < kLength; ++i) expected[i] = static_cast<char>('a' + i % 26);
  Appends<String>(state, expected, [](String& text) {
    for (int i = 0; i < kLength; ++i) text += static_cast<char>('a' + i % 26);
  });
}

template <class String>
void AppendWords(State& state) {
  std::string expected(4096, 0);
  for (std::size_t i = 0; i < 4096; ++i) expected[i] = "sequence"[i % 8];
  Appends<String>(state, expected, [](String& text) {
    for (int i = 0; i < 512; ++i) text += "sequence";
  });
}

// --- Finds: one word at the end of 64 KiB --------------------------------------------------------

std::string Haystack() {
  std::string text;
  while (text.size() < 65536) text += "layer lines later ";
  return text + "layout";
}

void Find(State& state) {
  const KXString text(Haystack().c_str());
  for (auto _ : state) {
    int at = text.Find("layout");
    DoNotOptimize(at);
  }
  if (text.Find("layout") != text.GetLength() - 6) state.SkipWithError("wrong");
}

void FindNoCase(State& state) {
  const KXString text(Haystack().c_str());
  for (auto _ : state) {
    int at = text.Find("LAYOUT", 0, 1);
    DoNotOptimize(at);
  }
  if (text.Find("LAYOUT", 0, 1) != text.GetLength() - 6) state.SkipWithError("wrong");
}

/// What one would write without a library: every position, byte by byte.
void PlainFindNoCase(State& state) {
  const std::string text = Haystack(), word = "layout";
  const auto lower = [](char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
  };
  for (auto _ : state) {
    std::size_t at = 0;
    for (; at + word.size() <= text.size(); ++at) {
      std::size_t i = 0;
      while (i < word.size() && lower(text[at + i]) == word[i]) ++i;
      if (i == word.size()) break;
    }
    DoNotOptimize(at);
  }
}

void StdFind(State& state) {
  const std::string text = Haystack();
  for (auto _ : state) {
    std::size_t at = std::string(text.c_str()).find("layout");
    DoNotOptimize(at);
  }
}

// --- A million joins of paths --------------------------------------------------------------------

constexpr int kJoins = 1'000'000;

void JoinPaths(State& state) {
  const KXFilePath folder("C:\\production\\episode 12\\cut 034");
  for (auto _ : state) {
    for (int i = 0; i < kJoins; ++i) {
      KXFilePath path(folder);
      path.CatSubPath("A0001.cel");
      DoNotOptimize(path);
    }
  }
  KXFilePath path(folder);
  path.CatSubPath("A0001.cel");
  if (path != KXFilePath("C:\\production\\episode 12\\cut 034\\A0001.cel")) {
    state.SkipWithError("wrong");
  }
}

void StdJoinPaths(State& state) {
  const std::filesystem::path folder("/production/episode 12/cut 034");
  for (auto _ : state) {
    for (int i = 0; i < kJoins; ++i) {
      std::filesystem::path path(folder);
      path /= "A0001.cel";
      DoNotOptimize(path);
    }
  }
}

using kxw::bench::Add;

const bool kAdded = [] {
  Add("append 4,096 bytes one by one", 0, AppendBytes<KXString, 4096>, "std::string",
      AppendBytes<std::string, 4096>);
  Add("append 1,048,576 bytes one by one", 0, AppendBytes<KXString, 1 << 20>, "std::string",
      AppendBytes<std::string, 1 << 20>);
  Add("append 512 words of 8 bytes", 0, AppendWords<KXString>, "std::string",
      AppendWords<std::string>);
  Add("find a word behind 64 KiB", 0, Find, "std::string", StdFind);
  Add("find a word behind 64 KiB, without case", 0, FindNoCase, "plain loop", PlainFindNoCase);
  Add("1,000,000 joins of paths", 0, JoinPaths, "std::filesystem", StdJoinPaths);
  return true;
}();

}  // namespace
