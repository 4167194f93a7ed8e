#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string_view>

#include "fuzz/input.h"
#include "kxwcmn/core/stringresource.h"
#include "kxwcmn/platform/module.h"
#include "kxwcmn/platform/text.h"

// A text resource beside a plain reading of its lines, and a text of the library cut to a buffer.

namespace {

/// A line with the bytes of pairs and what is cut off at its end told from single characters.
struct Line {
  explicit Line(std::string_view line) : text(line), mask(line) {
    for (std::size_t at = 0; at < text.size(); ++at) {
      const auto byte = static_cast<unsigned char>(text[at]);
      const bool isLead = (byte >= 0x81 && byte <= 0x9F) || (byte >= 0xE0 && byte <= 0xFC);
      if (kxw::GetCodePage() != kxw::kCodePageJapanese || !isLead || at + 1 == text.size())
        continue;
      mask[at] = mask[at + 1] = '#';
      ++at;
    }
  }
  std::string text, mask;
};

/// What stands between two places, with its escapes resolved.
std::string Resolved(const Line& line, std::size_t at, std::size_t end) {
  constexpr std::string_view kNames = "\\nrt", kMeant = "\\\n\r\t";
  std::string result;
  for (; at < end; ++at) {
    const std::size_t escape =
        line.mask[at] == '\\' ? kNames.find(line.mask[at + 1]) : std::string_view::npos;
    if (escape == std::string_view::npos) {
      result += line.text[at];
    } else {
      result += kMeant[escape];
      ++at;
    }
  }
  return result;
}

std::map<long, std::string> ReadLines(std::string_view text) {
  std::map<long, std::string> texts;
  text = text.substr(0, text.find('\0'));
  constexpr std::string_view kMark = "\xEF\xBB\xBF";  // of UTF-8
  if (kxw::GetCodePage() == kxw::kCodePageUtf8 && text.starts_with(kMark)) {
    text.remove_prefix(kMark.size());
  }
  while (!text.empty()) {
    const std::size_t size = std::min(text.find_first_of("\r\n"), text.size());
    const Line line(text.substr(0, size));
    text.remove_prefix(std::min(size + 1, text.size()));
    const std::size_t token = line.mask.find_first_not_of(" \t");
    if (token == std::string::npos || line.mask.compare(token, 2, "//") == 0) continue;
    const std::size_t end = line.mask.find_first_of(" \t", token);
    const std::size_t first = line.mask.find('"', end), last = line.mask.rfind('"');
    if (end == std::string::npos || first == std::string::npos || first == last) continue;
    char* numberEnd = nullptr;
    const std::string number = line.text.substr(token, end - token);
    const long id = std::strtol(number.c_str(), &numberEnd, 10);
    if (numberEnd != number.c_str() && id >= 0 && id < 65535) {
      texts.emplace(id, Resolved(line, first + 1, last));
    }
  }
  return texts;
}

void CheckResource(const std::string& text, const std::string& second) {
  KXStringResource resource;
  HRSRC__ block{text.data(), static_cast<DWORD>(text.size())};
  HRSRC__ behind{second.data(), static_cast<DWORD>(second.size())};
  fuzz::Check(resource.AddResource(nullptr, &block));
  if (!second.empty()) fuzz::Check(resource.AddResource(nullptr, &behind));
  std::map<long, std::string> texts = ReadLines(text);
  texts.merge(ReadLines(second));
  KXString found;
  for (const auto& [id, expected] : texts) {
    fuzz::Check(resource.LoadStringA(found, static_cast<int>(id)) && found == expected.c_str());
    char cut[8] = "#######";
    fuzz::Check(resource.LoadStringA(cut, 5, static_cast<int>(id)));
    fuzz::Check(std::strncmp(cut, expected.c_str(), 5) == 0 && cut[5] == '#');
    if (!texts.contains(id + 1)) {
      fuzz::Check(!resource.LoadStringA(found, static_cast<int>(id) + 1));
    }
  }
}

void CheckLibraryText(UINT id, std::size_t size) {
  constexpr std::size_t kLongest = 4;  // bytes of a character
  char whole[1024], cut[256];
  const auto all = static_cast<std::size_t>(
      qmLoadString(kxw::LibraryModule(), id, 0, whole, static_cast<int>(sizeof whole)));
  const auto part = static_cast<std::size_t>(
      qmLoadString(kxw::LibraryModule(), id, 0, cut, static_cast<int>(size)));
  fuzz::Check(all == std::strlen(whole) && part <= all);
  if (size == 0) return;
  fuzz::Check(part < size && part == std::strlen(cut) && std::memcmp(cut, whole, part) == 0);
  fuzz::Check(part == all || part + kLongest >= size);
  fuzz::Check(kxw::WholeCharacters(whole, part) == part);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Input input(data, size);
  const unsigned flags = input.Byte();
  kxw::SetCodePage(flags & 1 ? kxw::kCodePageJapanese : kxw::kCodePageUtf8);
  kxw::SetLanguage(flags & 2 ? kxw::kLanguageJapanese : kxw::kLanguageEnglish);
  const UINT id = input.Byte();
  CheckLibraryText(id, input.Byte());
  const std::string second = input.Take(input.Byte());
  CheckResource(input.Rest(), second);
  return 0;
}
