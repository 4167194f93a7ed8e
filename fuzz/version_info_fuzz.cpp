#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "fuzz/input.h"
#include "kxwcmn/core/versioninfo_internal.h"
#include "kxwcmn/platform/bytereader_internal.h"

// Version information of any bytes, by itself and in a program file; of well-made bytes of the
// input's texts; and program files of any bytes.

namespace {

std::string Number(std::size_t value, int size) {
  std::string bytes;
  for (int i = 0; i < size; ++i, value >>= 8) bytes += static_cast<char>(value & 0xFF);
  return bytes;
}

std::string Wide(const std::string& text) {
  std::string bytes;
  for (const char c : text) bytes += Number(static_cast<BYTE>(c), 2);
  return bytes;
}

std::string Aligned(std::string bytes) { return bytes.append((4 - bytes.size() % 4) % 4, '\0'); }

std::string Block(const std::string& key, std::size_t valueLength, const std::string& rest) {
  const std::string head =
      Aligned("##" + Number(valueLength, 2) + Number(1, 2) + Wide(key) + Number(0, 2));
  const std::string bytes = Aligned(head + rest);
  return Number(bytes.size(), 2) + bytes.substr(2);
}

/// A program file of nothing but one resource.
std::string Program(const std::string& resource) {
  constexpr unsigned kBase = 0x3000;
  const auto floor = [](unsigned id, unsigned offset) {
    return std::string(12, '\0') + Number(0, 2) + Number(1, 2) + Number(id, 4) + Number(offset, 4);
  };
  const std::string resources = floor(16, 0x80000018u) + floor(1, 0x80000030u) + floor(1, 0x48) +
                                Number(kBase + 0x58, 4) + Number(resource.size(), 4) +
                                Number(0, 8) + resource;
  const std::string optional =
      Number(0x10B, 2) + std::string(110, '\0') + Number(kBase, 4) + Number(0, 4);
  const std::string file = "MZ" + std::string(58, '\0') + Number(64, 4) + "PE" + Number(0, 4) +
                           Number(1, 2) + Number(0, 12) + Number(optional.size(), 2) +
                           Number(0, 2) + optional;
  return file + std::string(12, '\0') + Number(kBase, 4) + Number(resources.size(), 4) +
         Number(file.size() + 40, 4) + std::string(16, '\0') + resources;
}

/// Reads from a file that lies in memory only.
bool ReadProgram(const std::string& bytes, const char* key, std::u16string* text) {
  const int file = memfd_create("program", MFD_CLOEXEC);
  fuzz::Check(file >= 0 &&
              write(file, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()));
  const std::string path = "\\proc\\self\\fd\\" + std::to_string(file);
  const bool isThere = kxw::ReadVersionText(path.c_str(), key, text);
  close(file);
  return isThere;
}

/// Both ways to a text must give the same.
bool Read(const std::string& resource, const std::string& key, std::u16string* text) {
  std::u16string inFile;
  const std::vector<char> bytes(resource.begin(), resource.end());  // whose end is guarded
  const bool isThere =
      kxw::FindVersionText(kxw::ByteReader(bytes.data(), bytes.size()), key.c_str(), text);
  fuzz::Check(ReadProgram(Program(resource), key.c_str(), &inFile) == isThere && inFile == *text);
  fuzz::Check((isThere || text->empty()) && text->size() * 2 <= resource.size());
  fuzz::Check(text->find(u'\0') == std::u16string::npos);
  return isThere;
}

/// The texts in the order in which they stand; the first of a key counts.
void CheckBuilt(fuzz::Input& input, const std::string& wanted) {
  constexpr std::size_t kMost = 60;  // so that all lengths fit their fields
  const unsigned language = input.Word(), codePage = input.Word();
  char name[17];  // as the compiler counts: two words of 32 bits
  std::snprintf(name, sizeof name, "%04X%04x", language, codePage);
  const auto lower = [](std::string text) {
    for (char& c : text) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
    return text;
  };
  std::string blocks;
  bool isExpected = false;
  std::u16string expected, found;
  for (std::size_t i = 0; i < kMost && !input.IsAtEnd(); ++i) {
    const std::string key = input.Take(input.Byte()).c_str();
    const std::string value = input.Take(input.Byte()).c_str();
    blocks += Block(key, value.size() + 1, Wide(value) + Number(0, 2));
    if (isExpected || lower(key) != lower(wanted)) continue;
    isExpected = true;
    for (const char c : value) expected += static_cast<BYTE>(c);
  }
  const std::string strings = Block("stringfileinfo", 0, Block(name, 0, blocks));
  const std::string version =
      Block("VS_VERSION_INFO", 4,
            "info" + strings +
                Block("VarFileInfo", 0,
                      Block("Translation", 4, Number(language, 2) + Number(codePage, 2))));
  if (version.size() > 0xFFFF) return;
  fuzz::Check(Read(version, wanted, &found) == isExpected && found == expected);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Input input(data, size);
  const unsigned flags = input.Byte();
  const std::string key = flags & 4 ? input.Take(input.Byte()).c_str() : "FileVersion";
  std::u16string text;
  switch (flags & 3) {
    case 0:
      Read(input.Rest(), key, &text);
      break;
    case 1:
      CheckBuilt(input, key);
      break;
    default:
      ReadProgram(input.Rest(), key.c_str(), &text);
      fuzz::Check(text.size() * 2 <= size);
  }
  return 0;
}
