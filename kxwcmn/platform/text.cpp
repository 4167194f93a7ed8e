#include "kxwcmn/platform/text.h"

#include <atomic>

namespace kxw {

namespace {

std::atomic<int> codePage = kCodePageUtf8;

unsigned char Lower(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return byte >= 'A' && byte <= 'Z' ? static_cast<unsigned char>(byte + ('a' - 'A')) : byte;
}

}  // namespace

void SetCodePage(int page) { codePage = page; }

int GetCodePage() { return codePage.load(std::memory_order_relaxed); }

bool IsLeadByte(char c) {
  const auto byte = static_cast<unsigned char>(c);
  switch (GetCodePage()) {
    case kCodePageJapanese:
      return (byte >= 0x81 && byte <= 0x9F) || (byte >= 0xE0 && byte <= 0xFC);
    case 936:
    case 949:
    case 950:
      return byte >= 0x81 && byte <= 0xFE;
    default:
      return false;
  }
}

int CompareNoCase(const char* a, const char* b) {
  for (;;) {
    const int size = CharacterSize(a) == 2 && CharacterSize(b) == 2 ? 2 : 1;
    for (int i = 0; i < size; ++i, ++a, ++b) {
      // The second byte of a pair is no letter, even where it looks like one.
      const int difference = i == 0
                                 ? Lower(*a) - Lower(*b)
                                 : static_cast<unsigned char>(*a) - static_cast<unsigned char>(*b);
      if (difference != 0) return difference;
      if (!*a) return 0;
    }
  }
}

int CompareBytesNoCase(const char* a, const char* b, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    if (const int difference = Lower(a[i]) - Lower(b[i])) return difference;
    if (!a[i]) break;
  }
  return 0;
}

std::string FromWideLossy(const std::u16string& text) {
  std::string result;
  if (FromWide(text, &result)) return result;
  for (std::size_t at = 0; at < text.size();) {
    const bool isPair =
        at + 1 < text.size() && (text[at] & 0xFC00) == 0xD800 && (text[at + 1] & 0xFC00) == 0xDC00;
    const std::size_t size = isPair ? 2 : 1;
    std::string character;
    result += FromWide(text.substr(at, size), &character) ? character : "?";
    at += size;
  }
  return result;
}

std::size_t WholeCharacters(const char* text, std::size_t limit) {
  std::size_t length = 0;
  while (text[length] && length < limit) {
    auto size = static_cast<std::size_t>(CharacterSize(text + length));
    if (GetCodePage() == kCodePageUtf8) {
      while (size < 4 && (text[length + size] & 0xC0) == 0x80) ++size;
    }
    if (size > limit - length) break;
    length += size;
  }
  return length;
}

}  // namespace kxw

int qmIsDoubleByteCheckEx(const char* text, int index) {
  if (!text || index < 0) return 0;
  for (int at = 0; at <= index && text[at];) {
    const int size = kxw::CharacterSize(text + at);
    if (size == 2 && index - at < 2) return index - at + 1;
    at += size;
  }
  return 0;
}
