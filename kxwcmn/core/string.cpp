#include "kxwcmn/core/string.h"

#include <algorithm>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string_view>
#include <utility>

#include "kxwcmn/core/exception.h"
#include "kxwcmn/core/handle.h"
#include "kxwcmn/core/stringresource.h"
#include "kxwcmn/platform/error.h"
#include "kxwcmn/platform/memory.h"
#include "kxwcmn/platform/module.h"
#include "kxwcmn/platform/number.h"
#include "kxwcmn/platform/text.h"

namespace {

constexpr char kUnsetLength = 0x2D;  // in the length byte until the Pascal form is asked for
constexpr UINT kOfStringResource = 65535;

/// Gives `*buffer` room for a text of `length` bytes and keeps as much of its own as fits. Returns
/// the block that was replaced, which the caller frees: a text in it may still have to be read.
void* AllocStr(int length, char** buffer) {
  const DWORD size = static_cast<DWORD>(std::max(length, 0)) + 2;
  DWORD kept = 0;
  if (*buffer) {
    const auto held = static_cast<DWORD>(std::strlen(*buffer + 1)) + 1;
    // So a text made one byte shorter keeps its block and all of its text. The block has room.
    if (size == held) return nullptr;
    kept = std::min(held, size);
  }
  auto* block = static_cast<char*>(qmAllocPtr(size, kxw::kAllocUninitialized, nullptr));
  if (!block) kxThrowError(kxw::kErrorNotEnoughMemory);
  if (kept > 0) std::memcpy(block, *buffer, kept);
  std::memset(block + kept, 0, size - kept);
  block[0] = kUnsetLength;
  block[size - 1] = 0;
  return std::exchange(*buffer, block);
}

/// A zeroed block of `size` bytes, with half as many ahead where there is memory for them: who has
/// appended twice will append again. Raises 8 where there is none for `size` bytes.
char* AllocWithRoomAhead(DWORD size) {
  constexpr DWORD kMost = std::numeric_limits<int>::max();
  void* block = qmAllocPtr(std::min(size + size / 2, kMost), kxw::kAllocZeroed, nullptr);
  if (!block) block = qmAllocPtr(size, kxw::kAllocZeroed, nullptr);
  if (!block) kxThrowError(kxw::kErrorNotEnoughMemory);
  return static_cast<char*>(block);
}

int CheckedLength(std::size_t length) {
  if (length > static_cast<std::size_t>(std::numeric_limits<int>::max()) - 2) {
    kxThrowError(kxw::kErrorNotEnoughMemory);
  }
  return static_cast<int>(length);
}

const char* TextOf(const char* text) { return text ? text : ""; }

/// A number as text of at most 255 bytes.
struct Printed {
  Printed(const char* format, ...) {
    if (!format) kxThrowError(kxw::kFailureBadArgument);
    std::va_list arguments;
    va_start(arguments, format);
    kxw::PrintText(text, sizeof text, format, arguments);
    va_end(arguments);
  }
  char text[256] = {};
};

template <class Change>
void ChangeSingleBytes(char* text, Change change) {
  while (*text) {
    const int size = kxw::CharacterSize(text);
    if (size == 1) *text = change(*text);
    text += size;
  }
}

}  // namespace

KXString::KXString() { Assign("", 0); }

KXString::KXString(const char* text) { Assign(TextOf(text), std::strlen(TextOf(text))); }

KXString::KXString(const KXString& other) : KXString(other.GetCStrPtr()) {}

KXString::~KXString() {
  qmFreePtr(buffer_);
  qmFreePtr(mid_);
}

KXString& KXString::operator=(const char* text) {
  Assign(TextOf(text), std::strlen(TextOf(text)));
  return *this;
}

KXString& KXString::operator=(const KXString& other) { return *this = other.GetCStrPtr(); }

KXString& KXString::operator=(char c) {
  Assign(&c, c ? 1 : 0);
  return *this;
}

KXString& KXString::operator+=(const char* text) {
  Append(TextOf(text), std::strlen(TextOf(text)));
  return *this;
}

KXString& KXString::operator+=(const KXString& other) { return *this += other.GetCStrPtr(); }

KXString& KXString::operator+=(char c) {
  if (c && appended_ != kUnknown && appended_ < room_) {
    // As in Append, without what only other texts need: many are made byte by byte.
    buffer_[0] = kUnsetLength;
    buffer_[1 + appended_++] = c;
  } else {
    Append(&c, c ? 1 : 0);
  }
  return *this;
}

void KXString::Assign(const char* text, std::size_t length) {
  const KXAutoPointer old(AllocStr(CheckedLength(length), &buffer_));
  appended_ = kUnknown;
  std::memmove(buffer_ + 1, text, length);
  buffer_[1 + length] = 0;
}

void KXString::Append(const char* text, std::size_t length) {
  if (length == 0) return;
  const bool again = appended_ != kUnknown;
  const std::size_t before = again ? static_cast<std::size_t>(appended_) : std::strlen(buffer_ + 1);
  const int whole = CheckedLength(before + length);
  KXAutoPointer old(nullptr);
  if (!again) {
    old = AllocStr(whole, &buffer_);
    room_ = whole;
  } else if (whole > room_) {
    char* block = AllocWithRoomAhead(static_cast<DWORD>(whole) + 2);
    room_ = static_cast<int>(qmGetPtrSize(block)) - 2;
    std::memcpy(block, buffer_, before + 1);
    old = std::exchange(buffer_, block);
  }
  buffer_[0] = kUnsetLength;
  std::memcpy(buffer_ + 1 + before, text, length);
  appended_ = whole;
}

void KXString::GetStr(char* out, int size) const {
  if (!out || size <= 0) return;
  std::memcpy(out, buffer_ + 1,
              std::min<std::size_t>(std::strlen(buffer_ + 1) + 1, static_cast<std::size_t>(size)));
}

char& KXString::At(int index) {
  std::as_const(*this).At(index);
  return GetStr()[index];
}

char KXString::At(int index) const {
  if (index < 0 || index > GetLength()) kxThrowError(kxw::kFailureBadArgument);
  return buffer_[1 + index];
}

char& KXString::operator[](int index) {
  std::as_const(*this)[index];
  return GetStr()[index];
}

char KXString::operator[](int index) const {
  if (index < 0 || static_cast<DWORD>(index) + 1 >= qmGetPtrSize(buffer_)) {
    kxThrowError(kxw::kFailureBadArgument);
  }
  return buffer_[1 + index];
}

int KXString::CountStr(const char* text) { return text ? static_cast<int>(std::strlen(text)) : 0; }

void KXString::SetLength(int length) {
  CheckedLength(static_cast<std::size_t>(std::max(length, 0)));
  const KXAutoPointer old(AllocStr(length, &buffer_));
  appended_ = kUnknown;
}

void KXString::Empty() { Assign("", 0); }

int KXString::Compare(const char* text) const { return std::strcmp(buffer_ + 1, TextOf(text)); }

int KXString::CompareNoCase(const char* text) const {
  return kxw::CompareBytesNoCase(buffer_ + 1, TextOf(text));
}

namespace {

bool MatchesNoCase(const char* at, const char* text, int length) {
  return kxw::CompareBytesNoCase(at, text, static_cast<std::size_t>(length)) == 0;
}

/// A byte in the two forms that count as one without case.
struct AnyCase {
  explicit AnyCase(char c)
      : upper(c >= 'a' && c <= 'z' ? static_cast<char>(c - ('a' - 'A')) : c),
        lower(c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c) {}
  char upper, lower;
};

/// Whether text `text` of `length` bytes may begin at one of the `kChunk` bytes from `at`: its
/// first and last byte do. A loop without a branch, for vectors.
constexpr int kChunk = 64;
bool MayBegin(const char* at, AnyCase first, AnyCase last, int length) {
  const char* end = at + length - 1;
  int any = 0;
  for (int i = 0; i < kChunk; ++i) {
    any |= ((at[i] == first.upper) | (at[i] == first.lower)) &
           ((end[i] == last.upper) | (end[i] == last.lower));
  }
  return any != 0;
}

int PositionOf(std::size_t found) {
  return found == std::string_view::npos ? -1 : static_cast<int>(found);
}

}  // namespace

int KXString::Find(const char* text, int start, int noCase) const {
  if (IsEmpty() || !text || start < 0) return -1;
  if (!noCase) {
    return PositionOf(std::string_view(GetCStrPtr()).find(text, static_cast<std::size_t>(start)));
  }
  const int length = CountStr(text);
  const int last = GetLength() - length;
  if (length == 0) return start <= last ? start : -1;
  const AnyCase front(text[0]), back(text[length - 1]);
  for (int at = start; at <= last;) {
    const int end = at + std::min(kChunk, last - at + 1);
    if (end - at < kChunk || MayBegin(buffer_ + 1 + at, front, back, length)) {
      for (int i = at; i < end; ++i) {
        if (MatchesNoCase(buffer_ + 1 + i, text, length)) return i;
      }
    }
    at = end;
  }
  return -1;
}

int KXString::ReverseFind(const char* text, int noCase) const {
  if (IsEmpty() || !text) return -1;
  if (!noCase) return PositionOf(std::string_view(GetCStrPtr()).rfind(text));
  const int length = CountStr(text);
  for (int at = GetLength() - length; at >= 0; --at) {
    if (MatchesNoCase(buffer_ + 1 + at, text, length)) return at;
  }
  return -1;
}

char* KXString::Mid(int start, int length) {
  const int whole = GetLength();
  const int count = start < 0 || start > whole ? 0 : std::clamp(length, 0, whole - start);
  const KXAutoPointer old(AllocStr(count, &mid_));
  std::memcpy(mid_ + 1, buffer_ + 1 + (count > 0 ? start : 0), static_cast<std::size_t>(count));
  mid_[1 + count] = 0;
  return mid_ + 1;
}

void KXString::MakeLower() {
  ChangeSingleBytes(buffer_ + 1, [](char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
  });
}

void KXString::MakeUpper() {
  ChangeSingleBytes(buffer_ + 1, [](char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - ('a' - 'A')) : c;
  });
}

void KXString::Replace(char from, char to) {
  ChangeSingleBytes(GetStr(), [=](char c) { return c == from ? to : c; });  // `to` may be the end
}

int KXString::IsDoubleByte(int index) const { return qmIsDoubleByteCheckEx(buffer_ + 1, index); }

void KXString::AddNumber(int value, const char* format) { *this += Printed(format, value).text; }

void KXString::AddNumber(unsigned int value, const char* format) {
  *this += Printed(format, value).text;
}

void KXString::AddNumber(float value, const char* format) {
  AddNumber(static_cast<double>(value), format);
}

void KXString::AddNumber(double value, const char* format) { *this += Printed(format, value).text; }

void KXString::SetNumber(int value, const char* format) { *this = Printed(format, value).text; }

void KXString::SetNumber(unsigned int value, const char* format) {
  *this = Printed(format, value).text;
}

void KXString::SetNumber(float value, const char* format) {
  SetNumber(static_cast<double>(value), format);
}

void KXString::SetNumber(double value, const char* format) { *this = Printed(format, value).text; }

int KXString::GetINT32() const {
  const long long value = std::strtoll(buffer_ + 1, nullptr, 10);
  return static_cast<int>(std::clamp<long long>(value, std::numeric_limits<int>::min(),
                                                std::numeric_limits<int>::max()));
}

double KXString::GetDOUBLE() const { return kxw::ParseNumber(buffer_ + 1); }

void KXString::Format(const char* format, ...) {
  if (!format) kxThrowError(kxw::kFailureBadArgument);
  std::va_list arguments, again;
  va_start(arguments, format);
  va_copy(again, arguments);
  const int length = kxw::PrintText(nullptr, 0, format, arguments);
  void* text =
      length < 0 ? nullptr : qmAllocPtr(static_cast<DWORD>(length) + 1, kxw::kAllocZeroed, nullptr);
  if (text)
    kxw::PrintText(static_cast<char*>(text), static_cast<std::size_t>(length) + 1, format, again);
  va_end(again);
  va_end(arguments);
  if (length < 0) kxThrowError(kxw::kFailureBadArgument);
  if (!text) kxThrowError(kxw::kErrorNotEnoughMemory);
  const KXAutoPointer owner(text);
  *this = static_cast<const char*>(text);
}

void KXString::ByteToString(i64 size) {
  const auto rounded = static_cast<float>(size);
  const auto exact = static_cast<double>(size);
  if (rounded < 1024.0f) {
    Format("%lld byte", size);
  } else if (rounded < 1048576.0f) {
    Format("%4.1f KB", exact * 0.0009765625);
  } else if (rounded < 1073741824.0f) {
    Format("%4.1f MB", exact * 9.5367431640625e-07);
  } else if (rounded < 1099511627776.0f) {
    Format("%4.1f GB", exact * 9.313225746154785e-10);
  } else {
    Format("%4.1f TB", exact * 9.094947017729282e-13);
  }
}

int KXString::LoadStringA(unsigned int id, unsigned int second, HINSTANCE module) {
  if (second == kOfStringResource) {
    return kxGetStringResource().LoadStringA(*this, static_cast<int>(id));
  }
  char text[1024];
  const int length =
      qmLoadString(module ? module : kxwGetInstanceHandle(), id, second, text, sizeof text);
  *this = text;
  return length > 0;
}

char* KXString::GetPascal() {
  buffer_[0] = static_cast<char>(GetLength() & 0xFF);
  appended_ = kUnknown;
  return buffer_;
}

void KXString::GetPascal(char* const out) const {
  if (!out) return;
  const int length = GetLength() & 0xFF;
  out[0] = static_cast<char>(length);
  std::memcpy(out + 1, buffer_ + 1, static_cast<std::size_t>(length));
}

void KXString::SetPascal(const char* const pascal) {
  const int length = pascal ? std::max<int>(static_cast<signed char>(pascal[0]), 0) : 0;
  const char lengthByte = pascal ? pascal[0] : static_cast<char>(0);
  Assign(pascal ? pascal + 1 : "", static_cast<std::size_t>(length));
  buffer_[0] = lengthByte;
}
