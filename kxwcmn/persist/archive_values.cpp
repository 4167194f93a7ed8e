#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>

#include "kxwcmn/core/color.h"
#include "kxwcmn/core/exception.h"
#include "kxwcmn/persist/archive.h"

namespace {

constexpr BYTE Reverse(BYTE bits) { return bits; }
constexpr WORD Reverse(WORD bits) { return static_cast<WORD>(bits << 8 | bits >> 8); }
constexpr DWORD Reverse(DWORD bits) {
  return DWORD{Reverse(static_cast<WORD>(bits))} << 16 | Reverse(static_cast<WORD>(bits >> 16));
}
constexpr u64 Reverse(u64 bits) {
  return u64{Reverse(static_cast<DWORD>(bits))} << 32 | Reverse(static_cast<DWORD>(bits >> 32));
}

constexpr bool kHostIsBigEndian = std::endian::native == std::endian::big;

/// The 32 bits that a long has in store.
template <class Stored, class Long>
Stored Narrow(Long value) {
  if (value < std::numeric_limits<Stored>::min() || value > std::numeric_limits<Stored>::max()) {
    kxThrowError(kxw::kFailureBadArgument);
  }
  return static_cast<Stored>(value);
}

}  // namespace

template <class Bits>
inline void KXArchive::Put(Bits bits) {
  if ((ModeChk(kxw::kArchiveBigEndian) != 0) != kHostIsBigEndian) bits = Reverse(bits);
  // Into bytes already pending and with room behind them; all else is Write's business.
  const u64 end = u64{cachePosition_} + sizeof bits;
  if (cacheState_ == kCachePending && end <= cacheSize_ &&
      position_ + end <= std::numeric_limits<UINT>::max() && cacheEnabled_ && !IsLoading()) {
    std::memcpy(static_cast<BYTE*>(cache_) + cachePosition_, &bits, sizeof bits);
    cachePosition_ = cacheFill_ = static_cast<UINT>(end);
  } else {
    Write(&bits, sizeof bits);
  }
}

template <class Bits>
inline Bits KXArchive::Get() {
  Bits bits = 0;
  // From bytes read ahead, which end before the stream's length.
  if (cacheState_ == kCacheRead && cacheEnabled_ &&
      u64{cachePosition_} + sizeof bits <= cacheFill_ && u64{position_} + sizeof bits <= length_) {
    std::memcpy(&bits, static_cast<const BYTE*>(cache_) + cachePosition_, sizeof bits);
    cachePosition_ += UINT{sizeof bits};
    position_ += UINT{sizeof bits};
  } else {
    Read(&bits, sizeof bits);
  }
  return (ModeChk(kxw::kArchiveBigEndian) != 0) != kHostIsBigEndian ? Reverse(bits) : bits;
}

// --- Integers and floating values ----------------------------------------------------------------

KXArchive& KXArchive::operator<<(unsigned char value) {
  Put(BYTE{value});
  return *this;
}
KXArchive& KXArchive::operator<<(short value) { return *this << static_cast<WORD>(value); }
KXArchive& KXArchive::operator<<(unsigned short value) {
  Put(WORD{value});
  return *this;
}
KXArchive& KXArchive::operator<<(int value) { return *this << static_cast<DWORD>(value); }
KXArchive& KXArchive::operator<<(unsigned int value) {
  Put(DWORD{value});
  return *this;
}
KXArchive& KXArchive::operator<<(long value) { return *this << Narrow<int>(value); }
KXArchive& KXArchive::operator<<(unsigned long value) { return *this << Narrow<DWORD>(value); }
KXArchive& KXArchive::operator<<(i64 value) { return *this << static_cast<u64>(value); }
KXArchive& KXArchive::operator<<(u64 value) {
  Put(value);
  return *this;
}
KXArchive& KXArchive::operator<<(float value) { return *this << std::bit_cast<DWORD>(value); }
KXArchive& KXArchive::operator<<(double value) { return *this << std::bit_cast<u64>(value); }

KXArchive& KXArchive::operator>>(unsigned char& value) {
  value = Get<BYTE>();
  return *this;
}
KXArchive& KXArchive::operator>>(short& value) {
  value = static_cast<short>(Get<WORD>());
  return *this;
}
KXArchive& KXArchive::operator>>(unsigned short& value) {
  value = Get<WORD>();
  return *this;
}
KXArchive& KXArchive::operator>>(int& value) {
  value = static_cast<int>(Get<DWORD>());
  return *this;
}
KXArchive& KXArchive::operator>>(unsigned int& value) {
  value = Get<DWORD>();
  return *this;
}
KXArchive& KXArchive::operator>>(long& value) {
  value = static_cast<int>(Get<DWORD>());
  return *this;
}
KXArchive& KXArchive::operator>>(unsigned long& value) {
  value = Get<DWORD>();
  return *this;
}
KXArchive& KXArchive::operator>>(i64& value) {
  value = static_cast<i64>(Get<u64>());
  return *this;
}
KXArchive& KXArchive::operator>>(u64& value) {
  value = Get<u64>();
  return *this;
}
KXArchive& KXArchive::operator>>(float& value) {
  value = std::bit_cast<float>(Get<DWORD>());
  return *this;
}
KXArchive& KXArchive::operator>>(double& value) {
  value = std::bit_cast<double>(Get<u64>());
  return *this;
}

// --- Colours -------------------------------------------------------------------------------------

template <class Color>
KXArchive& KXArchive::PutWords(const Color& color) {
  const auto& [first, second, third, fourth] = color;
  return *this << second << third << fourth << first;
}

template <class Color>
KXArchive& KXArchive::GetWords(Color& color) {
  auto& [first, second, third, fourth] = color;
  return *this >> second >> third >> fourth >> first;
}

KXArchive& KXArchive::operator<<(const tagQMRGBCOLOR16& color) { return PutWords(color); }
KXArchive& KXArchive::operator<<(const tagQMHSVCOLOR16& color) { return PutWords(color); }
KXArchive& KXArchive::operator>>(tagQMRGBCOLOR16& color) { return GetWords(color); }
KXArchive& KXArchive::operator>>(tagQMHSVCOLOR16& color) { return GetWords(color); }
