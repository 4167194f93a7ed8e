#include <cstring>
#include <vector>

#include "fuzz/input.h"
#include "kxwcmn/core/filepath.h"
#include "kxwcmn/platform/shortcut.h"
#include "kxwcmn/platform/text.h"

// Shortcut files of any bytes; or, where the first bit says so, well-made ones of the input's
// texts.

namespace {

std::string Number(std::size_t value, int size) {
  std::string bytes;
  for (int i = 0; i < size; ++i, value >>= 8) bytes += static_cast<char>(value & 0xFF);
  return bytes;
}

/// UTF-16 text as bytes, without zeros.
std::string Units(std::string text) {
  text.resize(text.size() & ~std::size_t{1});
  for (std::size_t at = 0; at < text.size(); at += 2) {
    if (!text[at] && !text[at + 1]) text[at] = '_';
  }
  return text;
}

/// What the library shows of it; empty if the code page cannot.
std::string Shown(const std::string& units) {
  std::u16string wide;
  for (std::size_t at = 0; at + 1 < units.size(); at += 2) {
    wide +=
        static_cast<char16_t>(static_cast<BYTE>(units[at]) | static_cast<BYTE>(units[at + 1]) << 8);
  }
  std::string text;
  return kxw::FromWide(wide, &text) ? text : "";
}

std::string Head(unsigned flags) {
  return Number(76, 4) + std::string("\1\x14\2\0\0\0\0\0\xC0\0\0\0\0\0\0\x46", 16) +
         Number(flags, 4) + std::string(52, '\0');
}

/// The record of a local target's place; texts in UTF-16 count before the others.
std::string Place(const std::string& base, const std::string& suffix, bool isWide) {
  const std::size_t head = isWide ? 36 : 28;
  const std::string end(isWide ? 2 : 1, '\0'), none(isWide ? 1 : 0, '\0');
  const std::size_t baseAt = head + none.size(), suffixAt = baseAt + base.size() + end.size();
  std::string place = Number(head, 4) + Number(1, 4) + Number(0, 4) +
                      Number(isWide ? head : baseAt, 4) + Number(0, 4) +
                      Number(isWide ? head : suffixAt, 4);
  if (isWide) place += Number(baseAt, 4) + Number(suffixAt, 4);
  place += none + base + end + suffix + end;
  return Number(place.size() + 4, 4) + place;
}

std::string Joined(std::string base, const std::string& suffix) {
  if (base.empty() || suffix.empty()) return base + suffix;
  KXString front(base.c_str());
  KXFilePath::DeleteBackDelimiter(front);
  return front.GetCStrPtr() + ("\\" + suffix);
}

void CheckBuilt(fuzz::Input& input, unsigned flags) {
  const bool isWide = flags & 4;
  const auto text = [&](bool wide) {
    const std::string taken = input.Take(input.Byte());
    return wide ? Units(taken) : std::string(taken.c_str());
  };
  const auto shown = [](const std::string& made, bool wide) { return wide ? Shown(made) : made; };
  const std::string items = input.Take(input.Byte());
  const std::string base = text(isWide), suffix = text(isWide);
  const bool isUnicode = flags & 8;
  const std::size_t unit = isUnicode ? 2 : 1;
  const std::string name = text(isUnicode), relative = text(isUnicode);
  const std::string bytes = Head(isUnicode ? 0x8F : 0x0F) + Number(items.size(), 2) + items +
                            Place(base, suffix, isWide) + Number(name.size() / unit, 2) + name +
                            Number(relative.size() / unit, 2) + relative + input.Rest();
  kxw::ShortcutTarget target;
  fuzz::Check(kxw::ParseShortcut(bytes.data(), bytes.size(), &target));
  fuzz::Check(target.path == Joined(shown(base, isWide), shown(suffix, isWide)));
  fuzz::Check(target.relativePath == shown(relative, isUnicode));
}

void CheckAny(const std::string& text) {
  const std::vector<char> bytes(text.begin(), text.end());  // whose end the sanitizer guards
  kxw::ShortcutTarget target{"path", "relative"}, again;
  if (!kxw::ParseShortcut(bytes.data(), bytes.size(), &target)) {
    fuzz::Check(!text.starts_with(Head(0).substr(0, 20)) || text.size() < 76);
    return;
  }
  fuzz::Check(kxw::ParseShortcut(text.data(), text.size(), &again));
  fuzz::Check(again.path == target.path && again.relativePath == target.relativePath);
  for (const std::string& found : {target.path, target.relativePath}) {
    fuzz::Check(found.find('\0') == std::string::npos && found.size() <= 3 * text.size());
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Input input(data, size);
  const unsigned flags = input.Byte();
  kxw::SetCodePage(flags & 2 ? kxw::kCodePageJapanese : kxw::kCodePageUtf8);
  if (flags & 1) {
    CheckBuilt(input, flags);
  } else {
    CheckAny(input.Rest());
  }
  return 0;
}
