#include <cstdio>
#include <vector>

#include "kxwcmn/core/exception.h"
#include "kxwcmn/core/file.h"
#include "kxwcmn/core/versioninfo_internal.h"
#include "kxwcmn/platform/bytereader_internal.h"

namespace kxw {

namespace {

constexpr DWORD kVersionType = 16;              // among the types of resources
constexpr DWORD kSubfolder = 0x80000000;        // in a resource entry's offset: a folder, no data
constexpr DWORD kLongestVersion = 1 << 20;      // bytes; real ones have about a kilobyte
constexpr std::size_t kEntrySize = 8;           // of a resource folder
constexpr std::size_t kFolderHeadSize = 16;     // likewise
constexpr std::size_t kSectionSize = 40;        // of the table of sections
constexpr std::size_t kLongestTable = 1 << 20;  // bytes of a table of sections or entries

/// Parts of an open file, which may be shorter than they should be.
class FileParts {
 public:
  explicit FileParts(const KXFilePath& path) {
    file_.Open(path, static_cast<int>(kFileRead), kShareRead, kOpenExisting, 0);
    length_ = file_.GetLength();
  }

  ByteReader Read(i64 at, std::size_t size) {
    bytes_.clear();
    if (at < 0 || at >= length_) return {nullptr, 0};
    bytes_.resize(static_cast<std::size_t>(std::min(static_cast<i64>(size), length_ - at)));
    file_.Seek(at, kFromBegin);
    DWORD done = 0;
    file_.Read(bytes_.data(), static_cast<DWORD>(bytes_.size()), &done);
    return {bytes_.data(), done};
  }

 private:
  KXFile file_;
  i64 length_ = 0;
  std::vector<BYTE> bytes_;  // of the latest part
};

struct Section {
  DWORD address, size, fileOffset;
};

/// Where an address of the loaded program lies in the file; -1 if nowhere.
i64 FileOffset(const std::vector<Section>& sections, DWORD address) {
  for (const Section& section : sections) {
    if (address >= section.address && address - section.address < section.size) {
      return i64{section.fileOffset} + (address - section.address);
    }
  }
  return -1;
}

/// The offset field of a resource folder's entry with the id `id`, or of its first entry if that is
/// 0; 0 if there is none.
DWORD FindEntry(FileParts& file, i64 folderAt, DWORD id) {
  const ByteReader head = file.Read(folderAt, kFolderHeadSize);
  const std::size_t count = std::size_t{head.U16(12)} + head.U16(14);
  const ByteReader entries = file.Read(folderAt + static_cast<i64>(kFolderHeadSize),
                                       std::min(count * kEntrySize, kLongestTable));
  for (std::size_t at = 0; at + kEntrySize <= entries.Size(); at += kEntrySize) {
    if (id == 0 || entries.U32(at) == id) return entries.U32(at + 4);
  }
  return 0;
}

/// Where the first version resource of a program file lies.
bool FindVersionResource(FileParts& file, i64* at, DWORD* size) {
  const ByteReader start = file.Read(0, 64);
  if (start.U16(0) != 0x5A4D) return false;  // "MZ"
  const i64 headAt = start.U32(60);
  const ByteReader head = file.Read(headAt, 24 + 256);
  if (head.U32(0) != 0x4550) return false;  // "PE"
  const std::size_t sectionCount = head.U16(6);
  const WORD optionalSize = head.U16(20);
  const ByteReader optional = head.Part(24, optionalSize);
  const bool is64Bit = optional.U16(0) == 0x20B;
  const DWORD resources = optional.U32((is64Bit ? 112 : 96) + 2 * 8);  // the third of the tables
  if (resources == 0) return false;

  std::vector<Section> sections;
  const ByteReader table =
      file.Read(headAt + 24 + optionalSize, std::min(sectionCount * kSectionSize, kLongestTable));
  for (std::size_t i = 0; i + kSectionSize <= table.Size(); i += kSectionSize) {
    sections.push_back({table.U32(i + 12), table.U32(i + 16), table.U32(i + 20)});
  }

  // Three floors: types, names, languages.
  const i64 rootAt = FileOffset(sections, resources);
  if (rootAt < 0) return false;
  DWORD entry = FindEntry(file, rootAt, kVersionType);
  for (int floor = 0; floor < 2 && entry & kSubfolder; ++floor) {
    entry = FindEntry(file, rootAt + (entry & ~kSubfolder), 0);
  }
  if (entry == 0 || entry & kSubfolder) return false;
  const ByteReader data = file.Read(rootAt + entry, 8);
  *at = FileOffset(sections, data.U32(0));
  *size = std::min(data.U32(4), kLongestVersion);
  return *at >= 0;
}

std::size_t Aligned(std::size_t at) { return (at + 3) & ~std::size_t{3}; }

/// A block of a version resource: its length, its value's, a key, the value and other blocks, each
/// from a multiple of four bytes on.
class VersionBlock {
 public:
  explicit VersionBlock(const ByteReader& bytes) : bytes_(bytes.Part(0, bytes.U16(0))) {}

  bool IsEmpty() const { return bytes_.Size() < kHeadSize; }
  std::u16string Key() const { return bytes_.WideText(kHeadSize); }
  std::size_t Size() const { return bytes_.Size(); }

  /// The value; `unit` is the size in bytes of what its length counts.
  ByteReader Value(std::size_t unit) const { return bytes_.Part(ValueAt(), bytes_.U16(2) * unit); }

  /// The first block in this one whose key is `key` in ASCII, whatever the case; empty if there is
  /// none. `valueUnit` is that of this block's own value.
  VersionBlock Child(const std::string& key, std::size_t valueUnit) const {
    std::size_t at = Aligned(ValueAt() + bytes_.U16(2) * valueUnit);
    for (;;) {
      const VersionBlock child(bytes_.Part(at));
      if (child.IsEmpty() || IsSame(child.Key(), key)) return child;
      at += Aligned(child.Size());
    }
  }

 private:
  static constexpr std::size_t kHeadSize = 6;

  static bool IsSame(const std::u16string& a, const std::string& b) {
    const auto lower = [](unsigned c) { return c >= 'A' && c <= 'Z' ? c + ('a' - 'A') : c; };
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [&](char16_t x, char y) {
      return lower(x) == lower(static_cast<unsigned char>(y));
    });
  }

  std::size_t ValueAt() const { return Aligned(kHeadSize + (Key().size() + 1) * 2); }

  ByteReader bytes_;
};

}  // namespace

bool FindVersionText(const ByteReader& resource, const char* key, std::u16string* text) {
  text->clear();
  const VersionBlock root(resource);
  const ByteReader translation = root.Child("VarFileInfo", 1).Child("Translation", 1).Value(1);
  if (translation.Size() < 4) return false;
  char language[16];
  std::snprintf(language, sizeof language, "%04x%04x", unsigned{translation.U16(0)},
                unsigned{translation.U16(2)});
  const VersionBlock found = root.Child("StringFileInfo", 1).Child(language, 1).Child(key, 1);
  if (found.IsEmpty()) return false;
  *text = found.Value(2).WideText(0);
  return true;
}

bool ReadVersionText(const KXFilePath& path, const char* key, std::u16string* text) {
  text->clear();
  try {
    FileParts file(path);
    i64 at = 0;
    DWORD size = 0;
    return FindVersionResource(file, &at, &size) && FindVersionText(file.Read(at, size), key, text);
  } catch (const KXException&) {  // a file that cannot be read has none
    return false;
  }
}

}  // namespace kxw
