#include "kxwcmn/persist/regkey.h"

#include <cstring>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "kxwcmn/core/exception.h"
#include "kxwcmn/core/string.h"
#include "kxwcmn/persist/records_internal.h"
#include "kxwcmn/platform/path.h"
#include "kxwcmn/platform/text.h"

namespace {

enum OpenFlags : WORD { kRead = 1, kWrite = 2 };

/// The fields of a value in the order in which they are stored.
template <class Value>
auto FieldsOf(Value& value) {
  if constexpr (requires { value.left; }) {
    return std::tie(value.left, value.top, value.right, value.bottom);
  } else if constexpr (requires { value.x; }) {
    return std::tie(value.x, value.y);
  } else if constexpr (requires { value.cx; }) {
    return std::tie(value.cx, value.cy);
  } else {
    return std::tie(value);
  }
}

template <class Field>
constexpr int kStoredSize = std::is_same_v<Field, long> ? 4 : int{sizeof(Field)};

template <class... Fields>
constexpr int SizeOf(const std::tuple<Fields&...>&) {
  return (kStoredSize<std::remove_const_t<Fields>> + ...);
}

/// A length with its gap named, so that no bytes of chance are stored.
struct StoredLength {
  double value;
  LONG unit;
  LONG gap;
  double resolution;
};
static_assert(sizeof(StoredLength) == 24 && sizeof(_QMLENGTH) == sizeof(StoredLength));

/// Goes on behind the next element of a key's name, and returns it.
std::string NextElement(const char*& name) {
  const char* const begin = name;
  const auto isSeparator = [](char c) { return kxw::IsAnyDelimiter(c) || c == ':'; };
  while (*name && !isSeparator(*name)) name += kxw::CharacterSize(name);
  std::string element(begin, name);
  if (*name) ++name;
  return element;
}

}  // namespace

KXRegKey::KXRegKey() = default;

KXRegKey::~KXRegKey() {
  try {
    Close();
  } catch (...) {
    // Whoever has to know closes before.
  }
}

int KXRegKey::Open(const KXRegKey& parent, const char* keyName, WORD flags) {
  const KXFilePath root = parent.folder_;  // which goes with the closing, if it is this key
  if (parent.flags_ == 0) {
    Close();
    return 0;
  }
  return Open(root, keyName, flags);
}

int KXRegKey::Open(const KXFilePath& root, const char* keyName, WORD flags) {
  Close();
  std::vector<std::string> elements;
  for (const char* name = keyName ? keyName : ""; *name;) {
    std::string element = NextElement(name);
    if (element == "." || element == "..") return 0;
    if (!element.empty()) elements.push_back(std::move(element));
  }
  KXFilePath folder = root;
  for (const std::string& element : elements) {
    folder += element.c_str();
    if (folder.IsFolder()) continue;
    if (flags & kRead) return 0;
    folder.CreateFolder();
  }
  if (!(flags & (kRead | kWrite))) return 0;
  KXFilePath file = folder;
  file += "?pref.pff";
  if (flags & kRead) {
    reader_ = std::make_unique<kxw::RecordFile>(file);
  } else {
    writer_.Init(kxw::kArchiveStore | kxw::kArchiveBigEndian, 0);
  }
  folder_ = folder;
  file_ = file;
  flags_ = flags;
  return 1;
}

void KXRegKey::Close() {
  const bool isWriting = !(flags_ & kRead) && (flags_ & kWrite);
  if (isWriting && writer_.GetPosition() > 0) kxw::SearchSet(file_, writer_, false);
  writer_.MemFree();
  reader_.reset();
  folder_.Empty();
  file_.Empty();
  flags_ = 0;
}

template <class Value>
void KXRegKey::Set(const Value& value, const char* name) {
  const auto fields = FieldsOf(value);
  kxw::AppendRecord(writer_, name, SizeOf(fields), [&] {
    std::apply([this](const auto&... field) { (writer_ << ... << field); }, fields);
  });
}

template <class Value>
int KXRegKey::Get(Value& value, const char* name) {
  auto fields = FieldsOf(value);
  KXArchive* const archive = reader_ ? reader_->SearchLabel(name, SizeOf(fields)) : nullptr;
  if (!archive) return 0;
  std::apply([archive](auto&... field) { (*archive >> ... >> field); }, fields);
  return 1;
}

void KXRegKey::SetValue(BYTE value, const char* name) { Set(value, name); }
void KXRegKey::SetValue(short value, const char* name) { Set(value, name); }
void KXRegKey::SetValue(WORD value, const char* name) { Set(value, name); }
void KXRegKey::SetValue(int value, const char* name) { Set(value, name); }
void KXRegKey::SetValue(UINT value, const char* name) { Set(value, name); }
void KXRegKey::SetValue(long value, const char* name) { Set(value, name); }
void KXRegKey::SetValue(i64 value, const char* name) { Set(value, name); }
void KXRegKey::SetValue(u64 value, const char* name) { Set(value, name); }
void KXRegKey::SetValue(float value, const char* name) { Set(value, name); }
void KXRegKey::SetValue(double value, const char* name) { Set(value, name); }
void KXRegKey::SetValue(const tagRECT& value, const char* name) { Set(value, name); }
void KXRegKey::SetValue(const tagRECTF& value, const char* name) { Set(value, name); }
void KXRegKey::SetValue(const tagRECTD& value, const char* name) { Set(value, name); }
void KXRegKey::SetValue(const tagPOINT& value, const char* name) { Set(value, name); }
void KXRegKey::SetValue(const tagPOINTF& value, const char* name) { Set(value, name); }
void KXRegKey::SetValue(const tagPOINTD& value, const char* name) { Set(value, name); }
void KXRegKey::SetValue(const tagSIZE& value, const char* name) { Set(value, name); }
void KXRegKey::SetValue(const tagSIZEF& value, const char* name) { Set(value, name); }
void KXRegKey::SetValue(const tagSIZED& value, const char* name) { Set(value, name); }

void KXRegKey::SetValue(const _QMLENGTH& value, const char* name) {
  const StoredLength stored{value.value, value.unit, 0, value.resolution};
  kxw::AppendBlock(writer_, name, sizeof stored, &stored);
}

void KXRegKey::SetValue(const char* text, const char* name) {
  kxw::AppendText(writer_, name, text);
}
void KXRegKey::SetValue(const KXString& text, const char* name) {
  SetValue(text.GetCStrPtr(), name);
}
void KXRegKey::SetValue(const KXFilePath& path, const char* name) {
  SetValue(path.GetFullPath(), name);
}
void KXRegKey::SetValue(const void* data, int size, const char* name) {
  kxw::AppendBlock(writer_, name, size, data);
}

int KXRegKey::GetValue(BYTE& value, const char* name) { return Get(value, name); }
int KXRegKey::GetValue(short& value, const char* name) { return Get(value, name); }
int KXRegKey::GetValue(WORD& value, const char* name) { return Get(value, name); }
int KXRegKey::GetValue(int& value, const char* name) { return Get(value, name); }
int KXRegKey::GetValue(UINT& value, const char* name) { return Get(value, name); }
int KXRegKey::GetValue(long& value, const char* name) { return Get(value, name); }
int KXRegKey::GetValue(i64& value, const char* name) { return Get(value, name); }
int KXRegKey::GetValue(u64& value, const char* name) { return Get(value, name); }
int KXRegKey::GetValue(float& value, const char* name) { return Get(value, name); }
int KXRegKey::GetValue(double& value, const char* name) { return Get(value, name); }
int KXRegKey::GetValue(tagRECT& value, const char* name) { return Get(value, name); }
int KXRegKey::GetValue(tagRECTF& value, const char* name) { return Get(value, name); }
int KXRegKey::GetValue(tagRECTD& value, const char* name) { return Get(value, name); }
int KXRegKey::GetValue(tagPOINT& value, const char* name) { return Get(value, name); }
int KXRegKey::GetValue(tagPOINTF& value, const char* name) { return Get(value, name); }
int KXRegKey::GetValue(tagPOINTD& value, const char* name) { return Get(value, name); }
int KXRegKey::GetValue(tagSIZE& value, const char* name) { return Get(value, name); }
int KXRegKey::GetValue(tagSIZEF& value, const char* name) { return Get(value, name); }
int KXRegKey::GetValue(tagSIZED& value, const char* name) { return Get(value, name); }

int KXRegKey::GetValue(_QMLENGTH& value, const char* name) {
  StoredLength stored;
  if (!GetValue(&stored, sizeof stored, name)) return 0;
  value = {stored.value, stored.unit, stored.resolution};
  return 1;
}

int KXRegKey::GetValue(KXString& text, const char* name) {
  return reader_ && kxw::ReadTextOrEmpty(*reader_, name, text);
}

int KXRegKey::GetValue(KXFilePath& path, const char* name) {
  KXString text;
  if (!GetValue(text, name)) return 0;
  path = text;
  return 1;
}

int KXRegKey::GetValue(void* data, int size, const char* name) {
  KXArchive* const archive = reader_ ? reader_->SearchLabel(name, size) : nullptr;
  if (!archive || !data) return 0;
  archive->Read(data, static_cast<UINT>(size));
  return 1;
}
