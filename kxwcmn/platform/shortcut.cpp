#include "kxwcmn/platform/shortcut.h"

#include <cstring>
#include <vector>

#include "kxwcmn/platform/bytereader_internal.h"
#include "kxwcmn/platform/error.h"
#include "kxwcmn/platform/file.h"
#include "kxwcmn/platform/filesystem.h"
#include "kxwcmn/platform/path.h"
#include "kxwcmn/platform/text.h"

// A shortcut file: a head of 76 bytes, a list of shell items, a record of the target's place, and
// then counted texts; the head's flags say which of them are there.

namespace kxw {

namespace {

constexpr DWORD kHeadSize = 76;
constexpr BYTE kClass[] = {0x01, 0x14, 0x02, 0, 0, 0, 0, 0, 0xC0, 0, 0, 0, 0, 0, 0, 0x46};
constexpr i64 kLongest = 1 << 20;  // bytes; real ones have a few kilobytes
constexpr int kMostSteps = 40;     // from link to link

enum ShortcutFlag : DWORD {
  kHasItems = 0x01,
  kHasPlace = 0x02,
  kHasName = 0x04,
  kHasRelativePath = 0x08,
  kIsWide = 0x80,
};

enum PlaceFlag : DWORD { kIsLocal = 1, kIsOnNetwork = 2 };

/// A text that stands in a place twice, in a code page and perhaps in UTF-16.
std::string TextOf(const ByteReader& block, std::size_t narrowAt, std::size_t wideAt) {
  std::string text;
  if (wideAt && FromWide(block.WideText(wideAt), &text) && !text.empty()) return text;
  return narrowAt ? block.Text(narrowAt) : "";
}

std::string Joined(const std::string& folder, const std::string& rest) {
  if (folder.empty() || rest.empty()) return folder + rest;
  return folder.substr(0, LengthWithoutBack(folder.c_str(), IsBackslash)) + '\\' + rest;
}

std::string PathOfPlace(const ByteReader& place) {
  const bool hasWide = place.U32(4) >= 0x24;
  const std::string suffix = TextOf(place, place.U32(24), hasWide ? place.U32(32) : 0);
  const DWORD flags = place.U32(8);
  if (flags & kIsLocal) {
    // A base that is a whole path, or a root and the path below it.
    return Joined(TextOf(place, place.U32(16), hasWide ? place.U32(28) : 0), suffix);
  }
  if (flags & kIsOnNetwork) {
    const ByteReader network = place.Part(place.U32(20));
    const DWORD nameAt = network.U32(8);
    return Joined(TextOf(network, nameAt, nameAt > 0x14 ? network.U32(0x14) : 0), suffix);
  }
  return "";
}

int ReadWholeFile(const char* path, std::vector<BYTE>* bytes) {
  FileHandle file = kNoFile;
  if (const int code = qmOpenFile(path, 0, 0, kFileRead, kShareRead, kOpenExisting, 0, &file)) {
    return code;
  }
  const i64 size = qmGetFileSize(file);
  int code = size < 0 ? qmGetLastError() : size > kLongest ? kErrorBadFormat : 0;
  if (code == 0) {
    bytes->resize(static_cast<std::size_t>(size));
    DWORD done = 0;
    code = qmReadFile(file, bytes->data(), static_cast<DWORD>(size), &done);
    bytes->resize(done);
  }
  qmCloseFile(file);
  return code;
}

bool Exists(const std::string& path) {
  FileInfo info;
  return !path.empty() && GetFileInfo(path.c_str(), &info) == 0;
}

int ReadShortcut(const char* path, std::string* target) {
  std::vector<BYTE> bytes;
  if (const int code = ReadWholeFile(path, &bytes)) return code;
  ShortcutTarget found;
  if (!ParseShortcut(bytes.data(), bytes.size(), &found)) return kErrorBadFormat;
  const std::string relative =
      found.relativePath.empty() ? "" : Joined(SplitPath(path).folder, found.relativePath);
  *target = Exists(found.path) || found.path.empty() || !Exists(relative) ? found.path : relative;
  if (target->empty()) *target = relative;
  return target->empty() ? kErrorBadFormat : 0;
}

bool IsShortcutName(const char* path) {
  return CompareNoCase(SplitExtension(SplitPath(path).name).extension.c_str(), "lnk") == 0;
}

}  // namespace

bool ParseShortcut(const void* data, std::size_t size, ShortcutTarget* target) {
  const ByteReader file(data, size);
  if (size < kHeadSize || file.U32(0) != kHeadSize) return false;
  if (std::memcmp(static_cast<const BYTE*>(data) + 4, kClass, sizeof kClass) != 0) return false;
  const DWORD flags = file.U32(20);
  std::size_t at = kHeadSize;
  if (flags & kHasItems) at += std::size_t{2} + file.U16(at);
  target->path.clear();
  if (flags & kHasPlace) {
    target->path = PathOfPlace(file.Part(at, file.U32(at)));
    at += file.U32(at);
  }
  const std::size_t unit = flags & kIsWide ? 2 : 1;
  if (flags & kHasName) at += 2 + file.U16(at) * unit;
  target->relativePath.clear();
  if (flags & kHasRelativePath) {
    const std::size_t length = file.U16(at);
    if (unit == 1) {
      target->relativePath = file.Text(at + 2, length);
    } else {
      FromWide(file.WideText(at + 2, length), &target->relativePath);
    }
  }
  return true;
}

int ResolveAlias(const char* path, std::string* target) {
  std::string at = path ? path : "";
  int code = ReadHostLink(at.c_str(), &at);
  if (code == kErrorNotSupported && IsShortcutName(at.c_str()))
    code = ReadShortcut(at.c_str(), &at);
  if (code == 0) {
    // What a link leads to may be another one; a shortcut is only read once.
    int steps = 1;
    while (steps < kMostSteps && ReadHostLink(at.c_str(), &at) == 0) ++steps;
    if (steps == kMostSteps) code = kErrorCannotResolveName;
  }
  if (code == 0) *target = at;
  qmSetLastError(code);
  return code;
}

}  // namespace kxw

int qmwGetShortcutLink(const char* path, char* target) {
  constexpr std::size_t kBufferSize = 260;
  std::string found;
  int code = target ? kxw::ResolveAlias(path, &found) : int{kxw::kErrorInvalidParameter};
  if (code == 0 && found.size() >= kBufferSize) code = kxw::kErrorNameTooLong;
  qmSetLastError(code);
  if (code == 0) std::memcpy(target, found.c_str(), found.size() + 1);
  return code == 0;
}
