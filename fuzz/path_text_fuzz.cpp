#include <algorithm>
#include <cstring>
#include <vector>

#include "fuzz/input.h"
#include "kxwcmn/core/filepath.h"
#include "kxwcmn/platform/filesystem.h"
#include "kxwcmn/platform/path.h"
#include "kxwcmn/platform/text.h"

// What paths do as texts: nothing here looks at a disk.

namespace {

using fuzz::Check;

std::string TextOf(const KXString& text) { return text.GetCStrPtr(); }

std::vector<std::string> Characters(const std::string& text) {
  std::vector<std::string> characters;
  for (std::size_t at = 0; at < text.size(); at += characters.back().size()) {
    const auto size = static_cast<std::size_t>(kxw::CharacterSize(text.c_str() + at));
    characters.push_back(text.substr(at, size));
  }
  return characters;
}

bool Contains(const std::string& text, const char* character) {
  const auto characters = Characters(text);
  return std::find(characters.begin(), characters.end(), character) != characters.end();
}

/// Whether what is appended would become the second byte of a pair.
bool IsCutOff(const std::string& text) {
  const auto characters = Characters(text);
  return !text.empty() && characters.back().size() == 1 && kxw::IsLeadByte(text.back());
}

/// The elements of a path, whatever stands between them.
std::vector<std::string> Elements(const std::string& path) {
  std::vector<std::string> elements;
  bool begins = true;
  for (const std::string& character : Characters(path)) {
    const bool isDelimiter = character == "\\" || character == "/";
    if (!isDelimiter && begins) elements.emplace_back();
    if (!isDelimiter) elements.back() += character;
    begins = isDelimiter;
  }
  return elements;
}

void CheckElements(const std::string& text) {
  const KXFilePath path(text.c_str());
  KXString folder, file, name, extension, root;
  path.GetFolderPath(folder);
  path.GetFileName(file);
  path.GetNameAndExtension(name, extension);
  std::vector<std::string> parts = Elements(TextOf(folder));
  if (!file.IsEmpty()) parts.push_back(TextOf(file));
  Check(parts == Elements(text));
  Check(!Contains(TextOf(extension), ".") && !Contains(TextOf(extension), "\\"));
  Check(TextOf(file) == TextOf(name) + (extension.IsEmpty() ? "" : ".") + extension.GetCStrPtr());
  Check(path.IsExtensionFile(extension));
  char buffer[260];
  Check(fuzz::Succeeds([&] { path.GetFileName(buffer); }) == (file.GetLength() < 260));

  Check(path.GetRootPath(root) == !root.IsEmpty());
  Check(text.starts_with(TextOf(root)) && kxw::RootOf(TextOf(root)) == TextOf(root));
  Check(root.IsEmpty() || kxw::IsRoot(TextOf(root)));

  if (name.IsEmpty() || IsCutOff(TextOf(name))) return;
  KXFilePath same(path);
  same.SetNameAndExtension(name, extension);
  Check(Elements(same.GetFullPath()) == Elements(text));
  same.ChangeExtension("x");
  Check(same.IsExtensionFile("X"));
  same.ChangeName("n");
  same.GetFileName(file);
  Check(file == "n.x");
}

void CheckDelimiters(const std::string& text) {
  KXString back(text.c_str()), front(text.c_str()), mac(text.c_str());
  const auto behind = static_cast<std::size_t>(KXFilePath::DeleteBackDelimiter(back));
  Check(TextOf(back) + std::string(behind, '\\') == text);
  Check(KXFilePath::DeleteBackDelimiter(back) == 0);
  const auto before = static_cast<std::size_t>(KXFilePath::DeleteFrontDelimiter(front));
  Check(std::string(before, '\\') + TextOf(front) == text);
  Check(KXFilePath::DeleteFrontDelimiter(front) == 0 && front.GetCStrPtr()[0] != '\\');

  KXFilePath::ConvertWinToMacSubPath(mac);
  Check(!Contains(TextOf(mac), "\\") && mac.GetLength() == static_cast<int>(text.size()));
  KXString win(mac);
  KXFilePath::ConvertMacToWinSubPath(win);
  auto expected = Characters(text);
  const bool keeps = mac.GetLength() > 2 && mac[1] == ':' && mac[2] == ':';
  for (std::size_t i = 0, at = 0; i < expected.size(); at += expected[i++].size()) {
    if (expected[i] == ":" || expected[i] == "\\") expected[i] = keeps && at == 1 ? ":" : "\\";
  }
  Check(Characters(TextOf(win)) == expected);
}

void CheckJoined(const std::string& front, const std::string& back) {
  KXFilePath path(front.c_str());
  path += back.c_str();
  const std::string joined = path.GetFullPath();
  if (front.empty() || back.empty()) Check(joined == front + back);
  KXFilePath none;
  Check(path == path && (path == none) == (none == path));
  if (front.empty() || back.empty() || IsCutOff(front)) return;
  Check(joined.empty() || Characters(joined).back() != "\\");
  std::vector<std::string> parts = Elements(front);
  for (const std::string& part : Elements(back)) parts.push_back(part);
  Check(Elements(joined) == parts);
  if (!IsCutOff(joined)) Check(path == (joined + "\\").c_str());
}

/// A path below one of the kinds of roots, of the elements that a relative way can name.
std::string Rooted(unsigned kind, const std::string& text) {
  static constexpr const char* kRoots[] = {"\\", "C:\\", "\\\\srv\\", "\\\\SRV\\share\\"};
  std::string path = kRoots[kind & 3];
  for (const std::string& element : Elements(text)) {
    if (element == ".." || element.substr(1, 1) == ":" || IsCutOff(element)) continue;
    path += element + "\\";
  }
  return path;
}

void CheckRelative(const std::string& base, const std::string& target) {
  KXString relative;
  KXFilePath::MakeRelativePath(relative, base.c_str(), target.c_str());
  KXFilePath remade;
  remade.RemakePath(relative, base.c_str());
  Check(remade == target.c_str());
}

void CheckHostForm(const std::string& text) {
  const std::string host = kxw::HostPath(text.c_str());
  std::string back;
  const bool isText = kxw::ToUtf8(text, &back);
  const auto single = Characters(text);
  const auto slashes = std::count(single.begin(), single.end(), "\\") +
                       std::count(single.begin(), single.end(), "/");
  Check((host.empty() && !isText) || std::count(host.begin(), host.end(), '/') == slashes);
  if (!isText) return;
  Check(kxw::LibraryPath(host, &back) && Elements(back).size() == Elements(text).size());
  Check(kxw::HostPath(back.c_str()) == host);
  KXFilePath path;
  path.SetNativePath(host.c_str());
  Check(back == path.GetFullPath());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Input input(data, size);
  const unsigned flags = input.Byte();
  kxw::SetCodePage(flags & 1 ? kxw::kCodePageJapanese : kxw::kCodePageUtf8);
  const std::string first = input.Take(input.Byte()).c_str();
  const std::string second = input.Rest().c_str();
  for (const std::string& text : {first, second}) {
    CheckElements(text);
    CheckDelimiters(text);
    CheckHostForm(text);
  }
  CheckJoined(first, second);
  CheckRelative(Rooted(flags >> 1, first), Rooted(flags >> 3, second));
  KXString relative;
  KXFilePath::MakeRelativePath(relative, first.c_str(), second.c_str());
  KXFilePath path;
  path.RemakePath(second.c_str(), first.c_str());
  path.CatSubPathForMac(second.c_str());
  return 0;
}
