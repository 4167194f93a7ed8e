#pragma once

#include <cstddef>
#include <limits>
#include <string>

#include "kxwcmn/platform/export.h"

// Text of the library is multi-byte, in one code page for the whole process.

namespace kxw {

enum CodePage : int {
  kCodePageJapanese = 932,
  kCodePageUtf8 = 65001,
};

/// The process's code page; UTF-8 unless the application selects another. It is set once at
/// start-up, before any text is handled. 932, 936, 949 and 950 have double-byte characters.
KX_EXPORT void SetCodePage(int codePage);
KX_EXPORT int GetCodePage();

/// Whether `byte` can begin a double-byte character; never so in UTF-8.
bool IsLeadByte(char byte);

/// The length in bytes, 1 or 2, of the character at `text`, which stands before the text's end. A
/// pair that the end cuts off is a single byte.
inline int CharacterSize(const char* text) {
  // No code page has a lead byte among those of ASCII.
  const bool isAscii = static_cast<unsigned char>(text[0]) < 0x80;
  return !isAscii && IsLeadByte(text[0]) && text[1] ? 2 : 1;
}

/// The bytes of the longest run of whole characters at the front of a text that does not exceed
/// `limit`.
std::size_t WholeCharacters(const char* text, std::size_t limit);

/// Compares two texts, single-byte letters a to z without case: negative, 0 or positive.
int CompareNoCase(const char* a, const char* b);

/// The same for at most `count` bytes, and byte by byte: the second byte of a pair counts as a
/// letter where it looks like one.
int CompareBytesNoCase(const char* a, const char* b,
                       std::size_t count = std::numeric_limits<std::size_t>::max());

/// Conversion between the process's code page and UTF-8. False, with `*result` untouched, if a
/// character has no exact counterpart or the text is malformed.
bool ToUtf8(const std::string& text, std::string* result);
bool FromUtf8(const std::string& text, std::string* result);
/// The same with U+FFFD for each malformed byte; also if the host does not know the code page.
std::string ToUtf8Lossy(const std::string& text);

/// Conversion between the process's code page and UTF-16 in the host's byte order. What is
/// malformed becomes U+FFFD on the way in; on the way out a unit without an exact counterpart fails
/// as above.
bool ToWide(const std::string& text, std::u16string* result);
bool FromWide(const std::u16string& text, std::string* result);
/// The same with question marks for what has no counterpart.
std::string FromWideLossy(const std::u16string& text);

}  // namespace kxw

/// 1 if the byte at `index` is the first byte of a double-byte character, 2 if it is the second, 0
/// otherwise; 0 also outside the text.
KX_EXPORT int qmIsDoubleByteCheckEx(const char* text, int index);
