#include "kxwcmn/core/stringresource.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>
#include <string_view>

#include "kxwcmn/core/exception.h"
#include "kxwcmn/core/file.h"
#include "kxwcmn/core/handle.h"
#include "kxwcmn/platform/error.h"
#include "kxwcmn/platform/memory.h"
#include "kxwcmn/platform/text.h"

namespace {

constexpr int kTableSize = 65535;

void* Allocate(std::size_t size) {
  if (size > std::numeric_limits<DWORD>::max()) kxThrowError(kxw::kErrorNotEnoughMemory);
  void* block = qmAllocPtr(static_cast<DWORD>(size), kxw::kAllocZeroed, nullptr);
  if (!block) kxThrowError(kxw::kErrorNotEnoughMemory);
  return block;
}

/// What a backslash in front of `c` makes of both; 0 if it stands for itself.
char Escaped(char c) {
  switch (c) {
    case '\\':
      return '\\';
    case 'n':
      return '\n';
    case 'r':
      return '\r';
    case 't':
      return '\t';
    default:
      return 0;
  }
}

/// What stands between the first and the last double quote of a text, with its escapes resolved.
/// False if there are not two.
bool QuotedText(const char* text, std::string* result) {
  const char* first = nullptr;
  const char* last = nullptr;
  for (const char* at = text; *at; at += kxw::CharacterSize(at)) {
    if (*at != '"') continue;
    if (!first) first = at;
    last = at;
  }
  if (first == last) return false;
  result->clear();
  for (const char* at = first + 1; at < last;) {
    const int size = kxw::CharacterSize(at);
    if (const char escaped = *at == '\\' ? Escaped(at[1]) : '\0') {
      *result += escaped;
      at += 2;
    } else {
      result->append(at, static_cast<std::size_t>(size));
      at += size;
    }
  }
  return true;
}

/// Reads one line: its number and its text. False for a line that defines nothing.
bool ReadLine(const std::string& line, int* id, std::string* text) {
  const std::size_t begin = line.find_first_not_of(" \t");
  if (begin == std::string::npos || line.compare(begin, 2, "//") == 0) return false;
  std::size_t end = begin;
  while (end < line.size() && line[end] != ' ' && line[end] != '\t') {
    end += static_cast<std::size_t>(kxw::CharacterSize(line.c_str() + end));
  }
  char* numberEnd = nullptr;
  const std::string token = line.substr(begin, end - begin);
  const long number = std::strtol(token.c_str(), &numberEnd, 10);
  if (numberEnd == token.c_str() || number < 0 || number >= kTableSize) return false;
  *id = static_cast<int>(number);
  return QuotedText(line.c_str() + end, text);
}

}  // namespace

KXStringResource& kxGetStringResource() {
  // Never destroyed: destructors of static objects may still ask.
  static KXStringResource& resource = *new KXStringResource;
  return resource;
}

KXStringResource::KXStringResource() { section_.Initialize(); }

KXStringResource::~KXStringResource() {
  for (char** table : tables_) FreeTextResource(table);
}

int KXStringResource::AddResource(HINSTANCE /*module*/, HRSRC resource) {
  if (!resource || !resource->data) return 0;
  if (resource->size > static_cast<DWORD>(std::numeric_limits<int>::max())) {
    kxThrowError(kxw::kFailureBadArgument);
  }
  CreateTextResource(static_cast<const char*>(resource->data), static_cast<int>(resource->size));
  return 1;
}

int KXStringResource::AddTextFile(const KXFilePath& path) {
  KXString text;
  if (!LoadTextFile(path, text)) return 0;
  CreateTextResource(text, text.GetLength());
  return 1;
}

int KXStringResource::LoadTextFile(const KXFilePath& path, KXString& text) {
  if (!path.IsExistence()) return 0;
  KXFile file;
  file.Open(path, static_cast<int>(kxw::kFileRead), kxw::kShareRead, kxw::kOpenExisting, 0);
  const i64 length = file.GetLength();
  if (length > std::numeric_limits<int>::max()) kxThrowError(kxw::kErrorNotEnoughMemory);
  text.SetLength(static_cast<int>(length));
  DWORD done = 0;
  file.Read(text.GetStr(), static_cast<DWORD>(length), &done);
  file.Close();
  return 1;
}

void KXStringResource::CreateTextResource(const char* text, int size) {
  if (!text || size < 0) kxThrowError(kxw::kFailureBadArgument);
  struct Table {
    ~Table() { owner.FreeTextResource(texts); }
    KXStringResource& owner;
    char** texts;
  } table{*this, static_cast<char**>(Allocate(kTableSize * sizeof(char*)))};

  const char* const end = std::find(text, text + size, '\0');
  // Editors put a mark in front of UTF-8.
  constexpr std::string_view kMark = "\xEF\xBB\xBF";
  const bool isMarked = kxw::GetCodePage() == kxw::kCodePageUtf8 &&
                        std::string_view(text, end).substr(0, kMark.size()) == kMark;
  for (const char* at = isMarked ? text + kMark.size() : text; at < end;) {
    const char* lineEnd = std::find_if(at, end, [](char c) { return c == '\r' || c == '\n'; });
    int id = 0;
    std::string found;
    if (ReadLine(std::string(at, lineEnd), &id, &found) && !table.texts[id]) {
      table.texts[id] = static_cast<char*>(Allocate(found.size() + 1));
      std::memcpy(table.texts[id], found.c_str(), found.size() + 1);
    }
    at = std::min(lineEnd + 1, end);
  }

  const KXCriticalSectionAutoLeave section(&section_);
  tables_.Add(table.texts);
  table.texts = nullptr;
}

void KXStringResource::FreeTextResource(char** table) {
  if (!table) return;
  for (int id = 0; id < kTableSize; ++id) qmFreePtr(table[id]);
  qmFreePtr(table);
}

const char* KXStringResource::FindText(int id) const {
  for (char** table : tables_) {
    if (table[id]) return table[id];
  }
  return nullptr;
}

int KXStringResource::LoadStringA(KXString& out, int id) {
  if (id < 0 || id >= kTableSize) return 0;
  const KXCriticalSectionAutoLeave section(&section_);
  out.Empty();
  const char* text = FindText(id);
  if (!text) return 0;
  out = text;
  return 1;
}

int KXStringResource::LoadStringA(char* out, int size, int id) {
  if (!out || size <= 0) return 0;
  std::memset(out, 0, static_cast<std::size_t>(size));
  KXString text;
  if (!LoadStringA(text, id)) return 0;
  text.GetStr(out, size);
  return 1;
}
