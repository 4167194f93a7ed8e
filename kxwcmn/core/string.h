#pragma once

#include <compare>
#include <cstddef>

#include "kxwcmn/platform/export.h"
#include "kxwcmn/platform/types.h"

/// The narrow string: text in the process's code page. Operations that walk characters step over
/// double-byte ones as wholes; lengths and positions count bytes.
///
/// The text lies in one block behind a byte for its length, so that it serves as a C string and as
/// a Pascal string without a copy. Every assignment makes a block that just holds its text; appends
/// one after the other make blocks with room ahead, so that a long text built from short ones costs
/// what its length costs, as long as nobody asks for a text that may be written to in between.
/// `GetLength` walks the text. Numbers are printed and read with the full
/// stop, whatever the locale. Where there is no memory, KXException with code 8 is raised and the
/// text stays as it was. A null text counts as an empty one.
class KX_EXPORT KXString {
 public:
  KXString();
  KXString(const char* text);
  KXString(const KXString& other);
  virtual ~KXString();
  KXString& operator=(const char* text);
  KXString& operator=(const KXString& other);
  KXString& operator=(char c);

  KXString& operator+=(const char* text);
  KXString& operator+=(const KXString& other);
  KXString& operator+=(char c);

  /// The text, valid until this object is changed. It may be written to within its length, and
  /// within what `SetLength` has made room for if it stays terminated.
  operator char*() { return GetStr(); }
  operator const char*() const { return buffer_ + 1; }
  char* GetStr() {
    appended_ = kUnknown;
    return buffer_ + 1;
  }
  const char* GetStr() const { return buffer_ + 1; }
  const char* GetCStrPtr() const { return buffer_ + 1; }
  /// Copies the text with its terminator, but at most `size` bytes: a longer text comes without.
  void GetStr(char* out, int size) const;

  /// A byte of the text; its length gives the terminator. Others raise 0x20010008.
  char& At(int index);
  char At(int index) const;
  /// A byte of the text's block, in constant time; others raise 0x20010008. The block ends with the
  /// text or a little later, and what is written behind the text's end may be lost.
  char& operator[](int index);
  char operator[](int index) const;

  /// The length in bytes.
  int GetLength() const { return CountStr(buffer_ + 1); }
  int GetCount() const { return GetLength(); }
  int CountStr() const { return GetLength(); }
  static int CountStr(const char* text);
  bool IsEmpty() const { return buffer_[1] == 0; }

  /// Cuts the text to `length` bytes or makes room for as many; what is new is zero. One byte less
  /// than the present length changes nothing, which is kept so.
  void SetLength(int length);
  void Empty();

  /// Byte by byte: negative, 0 or positive. Without case, the letters a to z count as A to Z, in
  /// second bytes of pairs too.
  int Compare(const char* text) const;
  int CompareNoCase(const char* text) const;
  bool operator==(const KXString& other) const { return Compare(other) == 0; }
  bool operator==(const char* text) const { return Compare(text) == 0; }
  std::strong_ordering operator<=>(const KXString& other) const { return Compare(other) <=> 0; }
  std::strong_ordering operator<=>(const char* text) const { return Compare(text) <=> 0; }

  /// The byte position of the first occurrence from `start` on, or of the last one; -1 if there is
  /// none, and in an empty string. Pairs are not considered: a match may begin at a second byte.
  int Find(const char* text, int start = 0, int noCase = 0) const;
  int ReverseFind(const char* text, int noCase = 0) const;

  /// A copy of up to `length` bytes from `start`, valid until the next `Mid` on this object. What
  /// begins outside the text is empty.
  char* Mid(int start, int length);

  /// These change single-byte characters only.
  void MakeLower();
  void MakeUpper();
  void Replace(char from, char to);

  /// Of the byte at `index`: 1 for the first of a pair, 2 for the second, 0 otherwise.
  int IsDoubleByte(int index) const;

  /// Appends or takes a number, printed with `format`, which must fit the number's type. What
  /// exceeds 255 bytes is cut.
  void AddNumber(int value, const char* format = "%d");
  void AddNumber(unsigned int value, const char* format = "%u");
  void AddNumber(float value, const char* format = "%f");
  void AddNumber(double value, const char* format = "%f");
  void SetNumber(int value, const char* format = "%d");
  void SetNumber(unsigned int value, const char* format = "%u");
  void SetNumber(float value, const char* format = "%f");
  void SetNumber(double value, const char* format = "%f");

  /// The number at the front of the text, 0 if there is none; integers saturate.
  int GetINT32() const;
  double GetFLOAT() const { return GetDOUBLE(); }
  double GetDOUBLE() const;

  void Format(const char* format, ...) KX_PRINTF(2, 3);

  /// Takes a size in bytes as people read it: "1000 byte", " 1.0 KB" and so on up to TB.
  void ByteToString(i64 size);

  /// Loads text `id` of `module`; of the application's instance if that is null, and of the string
  /// resource if `second` is 65535. Returns 1, or 0 if there is none.
  int LoadStringA(unsigned int id, unsigned int second = 0, HINSTANCE module = nullptr);

  /// The Pascal form in place: the length byte, which takes the low byte of the length, and the
  /// text behind it.
  char* GetPascal();
  /// Copies it: the length byte and as many bytes as it says, up to 256 in all.
  void GetPascal(char* const out) const;
  /// Takes a Pascal string. One of 128 bytes or more comes out empty, for its length counts as
  /// negative; this is kept.
  void SetPascal(const char* const pascal);
  const char* GetPStrPtr() const { return buffer_; }

 private:
  void Assign(const char* text, std::size_t length);
  void Append(const char* text, std::size_t length);

  char* buffer_ = nullptr;  // the length byte and the text; null only while being constructed
  char* mid_ = nullptr;     // the result of Mid in the same form, or null
  // The text's length as the last append left it; unknown where a caller may have written since.
  static constexpr int kUnknown = -1;
  int appended_ = kUnknown;
  int room_ = 0;  // the longest text that the block holds, where the length is known
};
