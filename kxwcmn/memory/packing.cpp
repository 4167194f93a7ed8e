#include "kxwcmn/memory/packing_internal.h"

#include <algorithm>
#include <cstring>

// The packed form is a list of stretches: a head that counts words to copy in its low half and
// words to repeat in its high half, and the words to copy. The words in front of the block are 0.

namespace kxw {

namespace {

constexpr std::size_t kWord = 8;
constexpr std::size_t kBack = 3;  // words from a word to the one that it repeats
constexpr std::size_t kMostWords = 0xFFFFFFFF;

u64 WordAt(const BYTE* at) {
  u64 word;
  std::memcpy(&word, at, kWord);
  return word;
}

/// Whether word `i` repeats the one `kBack` in front of it.
bool Repeats(const BYTE* data, std::size_t i) {
  return WordAt(data + i * kWord) == (i < kBack ? 0 : WordAt(data + (i - kBack) * kWord));
}

/// The first word from `i` on that does not repeat; `words` if there is none.
std::size_t EndOfRepeats(const BYTE* data, std::size_t i, std::size_t words) {
  while (i < words && i < kBack && Repeats(data, i)) ++i;
  if (i < kBack) return i;
  constexpr std::size_t kChunk = 32;  // words that are compared at once
  const auto front = [&](std::size_t at) { return data + (at - kBack) * kWord; };
  while (words - i >= kChunk && std::memcmp(data + i * kWord, front(i), kChunk * kWord) == 0) {
    i += kChunk;
  }
  while (i < words && WordAt(data + i * kWord) == WordAt(front(i))) ++i;
  return i;
}

}  // namespace

std::size_t Pack(const BYTE* data, std::size_t size, BYTE* out, std::size_t room) {
  const std::size_t words = size / kWord;
  std::size_t made = 0;
  for (std::size_t i = 0; i < words;) {
    const std::size_t first = i;
    const std::size_t limit = first == 0 ? std::min(room, size / 16) : room;  // noise ends it soon
    // A repeat of one word is not worth a head of its own.
    while (i < words && !(Repeats(data, i) && (i + 1 == words || Repeats(data, i + 1)))) {
      if (made + (i + 2 - first) * kWord > limit) return 0;
      ++i;
    }
    const std::size_t copied = i - first;
    const std::size_t end = std::min(EndOfRepeats(data, i, words), i + kMostWords);
    if (made + (copied + 1) * kWord > room) return 0;
    const u64 head = copied | static_cast<u64>(end - i) << 32;
    std::memcpy(out + made, &head, kWord);
    std::memcpy(out + made + kWord, data + first * kWord, copied * kWord);
    made += (copied + 1) * kWord;
    i = end;
  }
  return made;
}

bool Unpack(const BYTE* packed, std::size_t packedSize, BYTE* data, std::size_t size) {
  const std::size_t words = size / kWord;
  std::size_t i = 0;
  for (std::size_t at = 0; i < words;) {
    if (packedSize - at < kWord) return false;
    const u64 head = WordAt(packed + at);
    const std::size_t copied = head & 0xFFFFFFFF, repeated = head >> 32;
    at += kWord;
    if (copied > (packedSize - at) / kWord || copied > words - i || repeated > words - i - copied ||
        copied + repeated == 0) {
      return false;
    }
    std::memcpy(data + i * kWord, packed + at, copied * kWord);
    at += copied * kWord;
    i += copied;
    const std::size_t end = i + repeated;
    for (; i < std::min(end, kBack); ++i) {
      std::memset(data + i * kWord, 0, kWord);
    }
    // The stretch doubles what it has so far.
    for (std::size_t begin = i - kBack; i < end;) {
      const std::size_t count = std::min(end - i, i - begin);
      std::memcpy(data + i * kWord, data + begin * kWord, count * kWord);
      i += count;
    }
  }
  return true;
}

}  // namespace kxw
