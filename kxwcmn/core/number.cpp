#include "kxwcmn/core/number.h"

#include <algorithm>
#include <cstring>

#include "kxwcmn/core/string.h"

namespace {

constexpr int kMaxNumber = 9999;
constexpr int kMaxLetters = 3;
constexpr int kAlphabet = 26;

bool IsDigit(char c) { return c >= '0' && c <= '9'; }
bool IsLetter(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }
char ToUpper(char c) { return c >= 'a' ? static_cast<char>(c - 'a' + 'A') : c; }

/// `letter` + `n` as a number, so that it can be seen to pass Z.
i64 Sum(char letter, int n) { return i64{letter} + n; }
char ByteOf(i64 letter) { return static_cast<char>(static_cast<BYTE>(letter)); }

int Plus(int a, int b) { return static_cast<int>(static_cast<DWORD>(a) + static_cast<DWORD>(b)); }

}  // namespace

void KXNumber::GetNumber(KXString& text, const char* format) const {
  KXString letters;
  GetSuffix(letters);
  text.SetNumber(number, format ? format : "%d");
  text += letters;
}

void KXNumber::SetNumber(int n, const char* letters) {
  char taken[sizeof suffix] = {};  // `letters` may be the suffix itself
  for (int i = 0; letters && i < kMaxLetters && letters[i]; ++i) taken[i] = letters[i];
  number = n;
  std::memcpy(suffix, taken, sizeof suffix);
}

void KXNumber::SetNumber(const char* text) {
  _QMNUMBER read;
  if (GetNumberFromString(read, text)) SetNumber(read);
}

void KXNumber::GetSuffix(KXString& text) const {
  char letters[sizeof suffix] = {};  // terminated, whatever an application put into the fields
  std::memcpy(letters, suffix, kMaxLetters);
  text = letters;
}

void KXNumber::IncrementSuffix(int n) {
  KXString letters;
  GetSuffix(letters);
  IncrementSuffix(letters, n);
  AddSuffix(letters);
}

std::strong_ordering KXNumber::operator<=>(const KXNumber& other) const {
  if (number != other.number) return number <=> other.number;
  return std::strncmp(suffix, other.suffix, sizeof suffix) <=> 0;
}

KXNumber KXNumber::operator+(int n) const {
  KXNumber sum(*this);
  sum.number = Plus(number, n);
  return sum;
}

KXNumber KXNumber::operator-(int n) const {
  KXNumber difference(*this);
  difference.number = Plus(number, Plus(~n, 1));
  return difference;
}

int KXNumber::GetNumberFromString(_QMNUMBER& out, const char* text) {
  out = {};
  if (!text) return 0;
  _QMNUMBER read{};
  for (; IsDigit(*text); ++text) {
    read.number = std::min(read.number * 10 + (*text - '0'), kMaxNumber + 1);
  }
  for (int letters = 0; IsLetter(*text); ++text) {
    if (letters == kMaxLetters) return 0;
    read.suffix[letters++] = ToUpper(*text);
  }
  if (*text != 0 || read.number < 1 || read.number > kMaxNumber) return 0;
  out = read;
  return 1;
}

int KXNumber::IsValid(const char* text) {
  _QMNUMBER read;
  return GetNumberFromString(read, text);
}

void KXNumber::IncrementSuffix(KXString& suffix, int n) {
  const int length = suffix.GetLength();
  char letters[kMaxLetters + 1] = {};
  if (length == 1) {
    const i64 sum = Sum(suffix.At(0), n);
    if (sum > 'Z') {
      letters[0] = 'A';
      letters[1] = ByteOf(sum - kAlphabet);
    } else {
      letters[0] = ByteOf(sum);
    }
  } else if (length == 2) {
    i64 first = suffix.At(0), second = Sum(suffix.At(1), n);
    if (second > 'Z') {
      second -= kAlphabet;
      if (++first > 'Z') {
        letters[2] = ByteOf(first - kAlphabet);
        first = 'A';
      }
    }
    letters[0] = ByteOf(first);
    letters[1] = ByteOf(second);
  } else {
    return;
  }
  suffix = letters;
}
