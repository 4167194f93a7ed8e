#include <filesystem>
#include <string>

#include "fuzz/input.h"
#include "kxwcmn/core/string.h"
#include "kxwcmn/persist/regkey.h"
#include "kxwcmn/platform/text.h"
#include "tests/testfolder.h"

// A key of any name stays below its root, and its file may hold any bytes.

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  namespace fs = std::filesystem;
  const TestFolder folder;
  fs::create_directory(folder.Host() / "root");
  fuzz::Input input(data, size);
  kxw::SetCodePage(input.Byte() & 1 ? kxw::kCodePageJapanese : kxw::kCodePageUtf8);
  const std::string name = input.Take(input.Byte()), bytes = input.Rest();
  const KXFilePath root = folder.Path("root").c_str();
  fuzz::Succeeds([&] {
    KXRegKey key;
    if (!key.Open(root, name.c_str(), 2)) return;
    key.SetValue(5, "mine");
    key.Close();
    int value = 0;
    fuzz::Check(key.Open(root, name.c_str(), 1) && key.GetValue(value, "mine") && value == 5);
  });
  fuzz::Check(std::distance(fs::directory_iterator(folder.Host()), {}) == 1);
  folder.WriteFile("root/?pref.pff", bytes);
  KXRegKey key;
  fuzz::Check(key.Open(root, "", 1));
  for (const char* label : {"a", "mine", "b", "a"}) {
    tagRECTD rect;
    i64 wide;
    KXString text;
    key.GetValue(rect, label);
    key.GetValue(wide, label);
    key.GetValue(text, label);
  }
  return 0;
}
