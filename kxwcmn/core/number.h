#pragma once

#include <compare>

#include "kxwcmn/platform/export.h"
#include "kxwcmn/platform/types.h"

class KXArchive;
class KXString;

/// The plain form of a KXNumber.
struct _QMNUMBER {
  int number;
  char suffix[4];  ///< Up to three letters, upper case by convention, and zeros.
};

/// A sequence number with an optional suffix of letters, as frames and cels are numbered: 12, 12A.
///
/// The order is that of the numbers, and of the suffixes, byte by byte, where these are equal. A
/// plain integer compares as the number without a suffix. A null text counts as an empty one.
class KX_EXPORT KXNumber : public _QMNUMBER {
 public:
  KXNumber() : _QMNUMBER{} {}
  KXNumber(int n) : _QMNUMBER{n, {}} {}
  /// A fourth byte of the suffix is dropped: it is where the text ends.
  KXNumber(const _QMNUMBER& other) { SetNumber(other); }
  KXNumber& operator=(int n) {
    SetNumber(n, nullptr);
    return *this;
  }

  int GetNumber() const { return number; }
  /// Writes the number as `format` prints an int, "%d" if it is null, and the suffix behind it.
  void GetNumber(KXString& text, const char* format) const;
  void SetNumber(const _QMNUMBER& other) { SetNumber(other.number, other.suffix); }
  /// Takes up to three bytes of the suffix.
  void SetNumber(int n, const char* letters);
  /// Takes what `GetNumberFromString` makes of the text; an invalid one changes nothing.
  void SetNumber(const char* text);

  /// Whether the number is 0 and has no suffix.
  bool IsEmpty() const { return number == 0 && IsEmptySuffix(); }
  void Empty() { SetNumber(0, nullptr); }

  void GetSuffix(KXString& text) const;
  bool IsEmptySuffix() const { return suffix[0] == 0; }
  /// Takes up to three bytes in the place of the present suffix.
  void AddSuffix(const char* letters) { SetNumber(number, letters); }
  void DeleteSuffix() { SetNumber(number, nullptr); }
  /// As the static form; what three letters do not hold is dropped.
  void IncrementSuffix(int n);

  std::strong_ordering operator<=>(const KXNumber& other) const;
  std::strong_ordering operator<=>(int n) const { return *this <=> KXNumber(n); }
  bool operator==(const KXNumber& other) const { return *this <=> other == 0; }
  bool operator==(int n) const { return *this <=> n == 0; }

  /// The number changed, wrapping at 32 bits, with the same suffix.
  KXNumber operator+(int n) const;
  KXNumber operator-(int n) const;

  /// Store and restore the number in 4 bytes and the 4 of the suffix. What an archive without a
  /// cache does not hold any more reads as 0, as everywhere. Written in room persist.
  void ReadArchive(KXArchive& archive);
  void WriteArchive(KXArchive& archive) const;

  /// Reads digits and up to three letters behind them, which become upper case. Returns 1 if the
  /// text is that and nothing else and the number is one from 1 to 9999; otherwise 0, with `out`
  /// zero.
  static int GetNumberFromString(_QMNUMBER& out, const char* text);
  static int IsValid(const char* text);

  /// Counts a suffix of one or two letters on by `n`, 1 to 26: behind Z the letter begins anew at A
  /// and one more letter follows, so Z becomes AA and ZZ becomes AAA. Other lengths stay. Letters
  /// are single bytes: a larger step gives whatever byte it leads to.
  static void IncrementSuffix(KXString& suffix, int n);
};

/// As `WriteArchive` and `ReadArchive`.
KX_EXPORT KXArchive& operator<<(KXArchive& archive, const _QMNUMBER& number);
KX_EXPORT KXArchive& operator>>(KXArchive& archive, _QMNUMBER& number);
