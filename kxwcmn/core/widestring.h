#pragma once

#include <compare>
#include <cstddef>

#include "kxwcmn/core/string.h"
#include "kxwcmn/platform/export.h"
#include "kxwcmn/platform/types.h"

/// The wide string: text in 16-bit units, UTF-16 in the host's byte order. Lengths and positions
/// count units. Narrow texts are in the process's code page.
///
/// An empty string may have no buffer at all; the two are the same. Null texts count as empty.
/// Where there is no memory, KXException with the platform's code is raised and the text stays as
/// it was.
class KX_EXPORT KXWideString {
 public:
  KXWideString() = default;
  KXWideString(const unsigned short* text);
  /// What is malformed in a narrow text becomes U+FFFD.
  KXWideString(const char* text);
  KXWideString(const KXString& text);
  KXWideString(const KXWideString& other);
  virtual ~KXWideString();

  KXWideString& operator=(const unsigned short* text);
  KXWideString& operator=(const KXWideString& other);
  KXWideString& operator=(unsigned short unit);
  KXWideString& operator=(const char* text);
  KXWideString& operator=(const KXString& text);
  KXWideString& operator=(char c);

  KXWideString& operator+=(const unsigned short* text);
  KXWideString& operator+=(const KXWideString& other);
  KXWideString& operator+=(unsigned short unit);
  KXWideString& operator+=(const char* text);
  KXWideString& operator+=(const KXString& text);
  KXWideString& operator+=(char c);

  KXWideString operator+(const KXWideString& other) const;

  /// A unit of the text; its length gives the terminator. Others raise 0x20010008.
  unsigned short At(int index) const;
  unsigned short operator[](int index) const { return At(index); }
  /// The same, but 0 outside the text.
  unsigned short GetAt(int index) const;
  /// At or beyond the length this does nothing.
  void SetAt(unsigned short unit, int index);

  /// The buffer, valid until this object is changed; null if there is none.
  unsigned short* GetStr() { return buffer_; }
  const unsigned short* GetStr() const { return buffer_; }
  const unsigned short* GetCStrPtr() const { return buffer_; }

  int GetLength() const;
  bool IsEmpty() const { return GetLength() == 0; }
  void Empty();

  /// Unit by unit: negative, 0 or positive. Without case, the letters a to z count as A to Z.
  int Compare(const unsigned short* text) const;
  int Compare(const KXWideString& other) const { return Compare(other.buffer_); }
  int CompareNoCase(const unsigned short* text) const;
  int CompareNoCase(const KXWideString& other) const { return CompareNoCase(other.buffer_); }
  bool operator==(const KXWideString& other) const { return Compare(other) == 0; }
  bool operator==(const unsigned short* text) const { return Compare(text) == 0; }
  std::strong_ordering operator<=>(const KXWideString& other) const { return Compare(other) <=> 0; }
  std::strong_ordering operator<=>(const unsigned short* text) const { return Compare(text) <=> 0; }

  /// The position of the first occurrence from `start` on, or of the last one; -1 if there is none,
  /// and in an empty string.
  int Find(const unsigned short* text, int start = 0, int noCase = 0) const;
  int ReverseFind(const unsigned short* text, int noCase = 0) const;

  /// Change the letters A to Z and a to z.
  void MakeLower();
  void MakeUpper();
  void Replace(unsigned short from, unsigned short to);

  /// A copy of up to `length` units from `start`, or of all from there. What begins outside the
  /// text is empty.
  KXWideString Mid(int start, int length) const;
  KXWideString Mid(int start) const;

  /// Prints as the runtime does. `%s` and `%c` take wide texts and units, `%hs`, `%S`, `%hc` and
  /// `%C` narrow ones; `%I64d` is known too. Fields have at most 65535 units.
  void Format(const unsigned short* format, ...);

  /// As `KXString::LoadStringA`.
  int LoadStringA(unsigned int id, unsigned int second = 0, HINSTANCE module = nullptr);

  /// Turn the bytes of every unit round.
  void SwapEndian() { SwapWideCharEndian(buffer_); }
  static void SwapWideCharEndian(unsigned short* text);

  /// Converts to the code page. Returns 1, or 0 with `out` empty if a character has no exact
  /// counterpart there.
  int ConvertWideToAnsi(KXString& out) const;
  /// Encodes every unit by itself in one to three bytes, so that the two halves of a surrogate pair
  /// come apart.
  void ConvertToUTF8(KXString& out) const;

  /// Convert a text into a buffer of `size` units or bytes. Return 1; 0, with an empty text, if the
  /// buffer is too small for text and terminator or a character has no counterpart. An empty or
  /// null source gives 1.
  static int ConvertAnsiToWide(unsigned short* target, const char* source, int size);
  static int ConvertWideToAnsi(char* target, const unsigned short* source, int size);

 private:
  void AllocStr(int length);
  void ReplaceFrom(int at, const unsigned short* text, std::size_t length);

  unsigned short* buffer_ = nullptr;
};
