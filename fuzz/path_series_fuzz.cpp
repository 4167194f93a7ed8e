#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <set>

#include "fuzz/input.h"
#include "kxwcmn/core/filepath.h"
#include "kxwcmn/core/findfile.h"
#include "kxwcmn/platform/text.h"
#include "tests/testfolder.h"

// The next file of a numbered series, in a folder of files whose names come from the input. Every
// file that is made where it says must be another one, and belong to the series.

namespace {

/// What can be the name of a file.
std::string NameOf(std::string text) {
  constexpr std::size_t kLongest = 40;
  text.resize(std::min(text.size(), kLongest));
  std::replace_if(
      text.begin(), text.end(), [](char c) { return !c || c == '/' || c == '\\'; }, '_');
  return text.empty() || text == "." || text == ".." ? "_" : text;
}

/// The names that a walk finds.
std::set<std::string> Walk(const KXFilePath& folder) {
  std::set<std::string> names;
  KXFindFile find;
  KXFilePath path;
  for (int found = find.First(folder); found; found = find.Next()) {
    if (find.IsParentFolder()) continue;
    find.GetFilePath(path);
    fuzz::Check(path.IsExistence() && !find.IsFolder() && names.insert(find.GetName()).second);
  }
  return names;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static constexpr const char* kExtensions[] = {nullptr, "", "tga", "x1"};
  kxw::SetCodePage(kxw::kCodePageUtf8);
  fuzz::Input input(data, size);
  const unsigned flags = input.Byte();
  const char* extension = kExtensions[flags & 3];
  const std::string prefix = flags & 4 ? NameOf(input.Take(input.Byte() % 8)) : "";
  const int digits = static_cast<int>(flags >> 3 & 7) - 1;
  const TestFolder folder;
  std::set<std::string> names;
  while (!input.IsAtEnd() && names.size() < 8) {
    const std::string name = NameOf(input.Take(input.Byte()));
    folder.WriteFile(name, "");
    names.insert(name);
  }
  const KXFilePath library(folder.Path().c_str());
  fuzz::Check(Walk(library) == names);

  // A prefix that hides the file or has a number of its own never counts as taken.
  const bool counts = prefix.find_first_of("0123456789") == std::string::npos && prefix[0] != '.';
  for (int i = 0; i < 3; ++i) {
    KXFilePath next;
    KXString name, own;
    next.GetSequencialFilePath(library, digits, extension, prefix.c_str());
    next.GetFolderPath(own);
    next.GetFileName(name);
    fuzz::Check(library == own && std::strncmp(name, prefix.c_str(), prefix.size()) == 0);
    fuzz::Check(!extension || !*extension || next.IsExtensionFile(extension));
    const char* number = name.GetCStrPtr() + prefix.size();
    const auto width = static_cast<int>(std::strspn(number, "0123456789"));
    fuzz::Check(width >= std::max(digits, 1));
    if (!counts || std::atoll(number) > 0x7FFFFFFF) break;
    fuzz::Check(!next.IsExistence());
    folder.WriteFile(name.GetCStrPtr(), "");
  }
  return 0;
}
