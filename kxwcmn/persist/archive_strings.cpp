#include <cstring>
#include <limits>

#include "kxwcmn/core/exception.h"
#include "kxwcmn/core/string.h"
#include "kxwcmn/persist/archive.h"
#include "kxwcmn/persist/streams_internal.h"
#include "kxwcmn/platform/text.h"

// A line ends with CR LF in memory and with CR in store. A CR that is half of a double-byte
// character is none.

namespace {

constexpr char kCr = '\r', kLf = '\n';

/// Copies `text` to `out` without the byte behind each CR, and returns the length in store.
std::size_t DropLineFeeds(const char* text, char* out) {
  const char* const begin = out;
  while (*text) {
    const int size = kxw::CharacterSize(text);
    std::memcpy(out, text, static_cast<std::size_t>(size));
    // The byte behind a CR goes unseen, whatever it is. At the end that is the terminator, which
    // costs the CR its place: this is kept so.
    const bool isCr = size == 1 && *text == kCr;
    if (isCr && text[1] == 0) break;
    out += size;
    text += isCr ? 2 : size;
  }
  return static_cast<std::size_t>(out - begin);
}

int CountCrs(const char* text, UINT length) {
  int count = 0;
  for (const char* end = text + length; text < end;) {
    const int size = kxw::CharacterSize(text);
    count += size == 1 && *text == kCr;
    text += size;
  }
  return count;
}

/// Copies `text` with an LF behind each CR. Exactly one character behind the last CR gives its
/// place to the LF: this is kept so.
void AddLineFeeds(const char* text, char* out) {
  while (*text) {
    const int size = kxw::CharacterSize(text);
    std::memcpy(out, text, static_cast<std::size_t>(size));
    const bool isCr = size == 1 && *text == kCr;
    text += size;
    out += size;
    if (isCr) {
      *out++ = kLf;
      if (text[0] && !text[1]) ++text;
    }
  }
  *out = 0;
}

}  // namespace

std::string kxw::StoredText(const char* text) {
  std::string stored(std::strlen(text), 0);
  stored.resize(DropLineFeeds(text, stored.data()));
  return stored;
}

KXArchive& KXArchive::operator<<(const char* text) {
  WriteString(text);
  return *this;
}

KXArchive& KXArchive::operator<<(const KXString& text) { return *this << text.GetStr(); }

KXArchive& KXArchive::operator>>(KXString& text) {
  const kxw::PtrBlock block(reinterpret_cast<BYTE*>(ReadString()));
  if (block) {
    text = reinterpret_cast<const char*>(block.get());
  } else {
    text.Empty();
  }
  return *this;
}

void KXArchive::WriteString(const char* text) {
  const std::size_t length = text ? std::strlen(text) : 0;
  if (length % 0x10000 == 0) {
    *this << WORD{0};
    return;
  }
  if (length > std::numeric_limits<WORD>::max()) kxThrowError(kxw::kFailureBadArgument);
  const kxw::PtrBlock block = kxw::AllocateBlock(static_cast<DWORD>(length) + 1);
  const std::size_t stored = DropLineFeeds(text, reinterpret_cast<char*>(block.get()));
  *this << static_cast<WORD>(stored);
  if (stored > 0) Write(block.get(), static_cast<UINT>(stored));
}

char* KXArchive::ReadString() {
  WORD count;
  *this >> count;
  if (count == 0) return nullptr;
  kxw::PtrBlock block = kxw::AllocateBlock(count + 1u);
  Read(block.get(), count);
  char* text = reinterpret_cast<char*>(block.get());
  const int crs = CountCrs(text, count);
  if (crs > 0) {
    kxw::PtrBlock longer = kxw::AllocateBlock(static_cast<DWORD>(count + crs + 1));
    AddLineFeeds(text, reinterpret_cast<char*>(longer.get()));
    block.swap(longer);
  }
  return reinterpret_cast<char*>(block.release());
}

UINT KXArchive::ReadMKStringLength() {
  BYTE shortLength;
  *this >> shortLength;
  if (shortLength < 0xFF) return shortLength;
  WORD length;
  *this >> length;
  if (length == 0xFFFE) return 0;
  if (length < 0xFFFF) return length;
  UINT longLength;
  *this >> longLength;
  return longLength;
}

void KXArchive::ReadMKString(KXString& text) {
  const UINT length = ReadMKStringLength();
  if (length == 0) {
    text.Empty();
    return;
  }
  kxw::PtrBlock block;
  DWORD capacity = 0;
  const UINT read = kxw::ReadGrowing(*this, length, block, capacity);
  if (read == std::numeric_limits<UINT>::max()) kxThrowError(kxw::kErrorNotEnoughMemory);
  kxw::ResizeBlock(block, read + 1);
  block.get()[read] = 0;
  text = reinterpret_cast<const char*>(block.get());
}
