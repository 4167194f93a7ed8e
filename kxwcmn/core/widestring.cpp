#include "kxwcmn/core/widestring.h"

#include <algorithm>
#include <cstdarg>
#include <cstring>
#include <limits>
#include <string>

#include "kxwcmn/core/exception.h"
#include "kxwcmn/core/wideformat_internal.h"
#include "kxwcmn/platform/error.h"
#include "kxwcmn/platform/memory.h"
#include "kxwcmn/platform/text.h"

namespace {

constexpr unsigned short kNothing[] = {0};

const unsigned short* TextOf(const unsigned short* text) { return text ? text : kNothing; }

std::size_t LengthOf(const unsigned short* text) {
  std::size_t length = 0;
  while (text && text[length]) ++length;
  return length;
}

const unsigned short* UnitsOf(const std::u16string& text) {
  return reinterpret_cast<const unsigned short*>(text.c_str());
}

std::u16string StringOf(const unsigned short* text) {
  const std::size_t length = LengthOf(text);
  std::u16string result(length, u'\0');
  if (length > 0) std::memcpy(result.data(), text, length * sizeof(char16_t));
  return result;
}

std::u16string WideOf(const char* text) {
  std::u16string wide;
  if (text && !kxw::ToWide(text, &wide)) kxThrowError(kxw::kErrorNotSupported);
  return wide;
}

bool IsLetter(unsigned short unit, char first) { return unit >= first && unit <= first + 25; }

unsigned short Lower(unsigned short unit) {
  return IsLetter(unit, 'A') ? static_cast<unsigned short>(unit + ('a' - 'A')) : unit;
}

unsigned short Upper(unsigned short unit) {
  return IsLetter(unit, 'a') ? static_cast<unsigned short>(unit - ('a' - 'A')) : unit;
}

/// Compares two texts, or their first `count` units.
int CompareUnits(const unsigned short* a, const unsigned short* b, bool noCase,
                 std::size_t count = std::numeric_limits<std::size_t>::max()) {
  for (std::size_t i = 0; i < count; ++i) {
    const int difference = noCase ? Lower(a[i]) - Lower(b[i]) : a[i] - b[i];
    if (difference != 0) return difference;
    if (a[i] == 0) break;
  }
  return 0;
}

template <class Change>
void ChangeUnits(unsigned short* text, Change change) {
  for (; text && *text; ++text) *text = change(*text);
}

}  // namespace

KXWideString::KXWideString(const unsigned short* text) { *this = text; }
KXWideString::KXWideString(const char* text) { *this = text; }
KXWideString::KXWideString(const KXString& text) { *this = text; }
KXWideString::KXWideString(const KXWideString& other) { *this = other; }

KXWideString::~KXWideString() { qmFreePtr(buffer_); }

KXWideString& KXWideString::operator=(const unsigned short* text) {
  ReplaceFrom(0, text, LengthOf(text));
  return *this;
}

KXWideString& KXWideString::operator=(const KXWideString& other) { return *this = other.buffer_; }

KXWideString& KXWideString::operator=(unsigned short unit) {
  ReplaceFrom(0, &unit, unit ? 1 : 0);
  return *this;
}

KXWideString& KXWideString::operator=(const char* text) { return *this = UnitsOf(WideOf(text)); }

KXWideString& KXWideString::operator=(const KXString& text) { return *this = text.GetCStrPtr(); }

KXWideString& KXWideString::operator=(char c) {
  const char text[] = {c, 0};
  return *this = text;
}

KXWideString& KXWideString::operator+=(const unsigned short* text) {
  ReplaceFrom(GetLength(), text, LengthOf(text));
  return *this;
}

KXWideString& KXWideString::operator+=(const KXWideString& other) { return *this += other.buffer_; }

KXWideString& KXWideString::operator+=(unsigned short unit) {
  ReplaceFrom(GetLength(), &unit, unit ? 1 : 0);
  return *this;
}

KXWideString& KXWideString::operator+=(const char* text) { return *this += UnitsOf(WideOf(text)); }

KXWideString& KXWideString::operator+=(const KXString& text) { return *this += text.GetCStrPtr(); }

KXWideString& KXWideString::operator+=(char c) {
  const char text[] = {c, 0};
  return *this += text;
}

KXWideString KXWideString::operator+(const KXWideString& other) const {
  KXWideString sum(*this);
  sum += other;
  return sum;
}

/// Gives the buffer room for `length` units; the text in it stays.
void KXWideString::AllocStr(int length) {
  const DWORD size = (static_cast<DWORD>(length) + 1) * static_cast<DWORD>(sizeof(unsigned short));
  void* block = buffer_ ? qmReAllocPtr(buffer_, size, kxw::kAllocZeroed, nullptr)
                        : qmAllocPtr(size, kxw::kAllocZeroed, nullptr);
  if (!block) kxThrowError(qmGetLastError());
  buffer_ = static_cast<unsigned short*>(block);
}

/// Puts `length` units, which may be the string's own, in place of all from `at` on.
void KXWideString::ReplaceFrom(int at, const unsigned short* text, std::size_t length) {
  const int before = GetLength();
  constexpr auto kLongest = static_cast<std::size_t>(std::numeric_limits<int>::max()) - 1;
  if (length > kLongest - static_cast<std::size_t>(at)) kxThrowError(kxw::kErrorNotEnoughMemory);
  const int after = at + static_cast<int>(length);
  if (after == 0 && before == 0) return;

  const auto ownOffset =
      reinterpret_cast<std::uintptr_t>(text) - reinterpret_cast<std::uintptr_t>(buffer_);
  const std::size_t ownBytes = (static_cast<std::size_t>(before) + 1) * sizeof(unsigned short);
  const bool isOwn = buffer_ && ownOffset < ownBytes;
  if (after > before || !buffer_) AllocStr(after);
  if (isOwn) text = buffer_ + ownOffset / sizeof(unsigned short);
  if (length > 0) std::memmove(buffer_ + at, text, length * sizeof(unsigned short));
  buffer_[after] = 0;
  if (after < before) AllocStr(after);
}

unsigned short KXWideString::At(int index) const {
  if (index < 0 || index > GetLength()) kxThrowError(kxw::kFailureBadArgument);
  return TextOf(buffer_)[index];
}

unsigned short KXWideString::GetAt(int index) const {
  return index < 0 || index > GetLength() ? static_cast<unsigned short>(0) : TextOf(buffer_)[index];
}

void KXWideString::SetAt(unsigned short unit, int index) {
  if (index >= 0 && index < GetLength()) buffer_[index] = unit;
}

int KXWideString::GetLength() const { return static_cast<int>(LengthOf(buffer_)); }

void KXWideString::Empty() {
  qmFreePtr(buffer_);
  buffer_ = nullptr;
}

int KXWideString::Compare(const unsigned short* text) const {
  return CompareUnits(TextOf(buffer_), TextOf(text), false);
}

int KXWideString::CompareNoCase(const unsigned short* text) const {
  return CompareUnits(TextOf(buffer_), TextOf(text), true);
}

int KXWideString::Find(const unsigned short* text, int start, int noCase) const {
  if (IsEmpty() || !text || start < 0) return -1;
  const std::size_t length = LengthOf(text);
  const int last = GetLength() - static_cast<int>(length);
  for (int at = start; at <= last; ++at) {
    if (CompareUnits(buffer_ + at, text, noCase != 0, length) == 0) return at;
  }
  return -1;
}

int KXWideString::ReverseFind(const unsigned short* text, int noCase) const {
  if (IsEmpty() || !text) return -1;
  const std::size_t length = LengthOf(text);
  for (int at = GetLength() - static_cast<int>(length); at >= 0; --at) {
    if (CompareUnits(buffer_ + at, text, noCase != 0, length) == 0) return at;
  }
  return -1;
}

void KXWideString::MakeLower() { ChangeUnits(buffer_, Lower); }

void KXWideString::MakeUpper() { ChangeUnits(buffer_, Upper); }

void KXWideString::Replace(unsigned short from, unsigned short to) {
  ChangeUnits(buffer_, [=](unsigned short unit) { return unit == from ? to : unit; });
}

KXWideString KXWideString::Mid(int start, int length) const {
  const int whole = GetLength();
  KXWideString part;
  if (start >= 0 && start < whole) {
    part.ReplaceFrom(0, buffer_ + start,
                     static_cast<std::size_t>(std::clamp(length, 0, whole - start)));
  }
  return part;
}

KXWideString KXWideString::Mid(int start) const {
  return Mid(start, std::numeric_limits<int>::max());
}

void KXWideString::Format(const unsigned short* format, ...) {
  if (!format) kxThrowError(kxw::kFailureBadArgument);
  std::va_list arguments;
  va_start(arguments, format);
  const std::u16string text = kxw::FormatWide(StringOf(format), arguments);
  va_end(arguments);
  *this = UnitsOf(text);
}

int KXWideString::LoadStringA(unsigned int id, unsigned int second, HINSTANCE module) {
  KXString text;
  const int found = text.LoadStringA(id, second, module);
  *this = text;
  return found;
}

void KXWideString::SwapWideCharEndian(unsigned short* text) {
  ChangeUnits(text, [](unsigned short unit) {
    return static_cast<unsigned short>((unit << 8) | (unit >> 8));
  });
}

int KXWideString::ConvertWideToAnsi(KXString& out) const {
  std::string text;
  const bool isExact = kxw::FromWide(StringOf(buffer_), &text);
  out = text.c_str();
  return isExact;
}

void KXWideString::ConvertToUTF8(KXString& out) const {
  std::string text;
  for (const unsigned short* at = TextOf(buffer_); *at; ++at) {
    const unsigned unit = *at;
    if (unit < 0x80) {
      text += static_cast<char>(unit);
    } else if (unit < 0x800) {
      text += static_cast<char>(0xC0 | (unit >> 6));
      text += static_cast<char>(0x80 | (unit & 0x3F));
    } else {
      text += static_cast<char>(0xE0 | (unit >> 12));
      text += static_cast<char>(0x80 | ((unit >> 6) & 0x3F));
      text += static_cast<char>(0x80 | (unit & 0x3F));
    }
  }
  out = text.c_str();
}

int KXWideString::ConvertAnsiToWide(unsigned short* target, const char* source, int size) {
  if (!target || size <= 0) return 0;
  target[0] = 0;
  if (!source || !source[0]) return 1;
  std::u16string wide;
  if (!kxw::ToWide(source, &wide) || wide.size() >= static_cast<std::size_t>(size)) return 0;
  std::memcpy(target, wide.c_str(), (wide.size() + 1) * sizeof(char16_t));
  return 1;
}

int KXWideString::ConvertWideToAnsi(char* target, const unsigned short* source, int size) {
  if (!target || size <= 0) return 0;
  target[0] = 0;
  std::string text;
  if (!kxw::FromWide(StringOf(source), &text)) return 0;
  if (text.size() >= static_cast<std::size_t>(size)) return 0;
  std::memcpy(target, text.c_str(), text.size() + 1);
  return 1;
}
