#pragma once

#include <algorithm>
#include <cstring>
#include <string>

#include "kxwcmn/persist/archive.h"

namespace testing_kxw {

/// An archive over a string, with a cache of a size of the test's own, 0 for none.
class StringArchive : public KXArchive {
 public:
  StringArchive(UINT mode, UINT cacheSize, const std::string& initial = "") : bytes(initial) {
    cacheEnabled_ = cacheSize > 0;
    Init(mode, cacheSize);
    length_ = static_cast<UINT>(bytes.size());
  }

  UINT WriteSelf(const void* data, UINT size) override {
    if (at_ + size > bytes.size()) bytes.resize(at_ + size);
    std::memcpy(bytes.data() + at_, data, size);
    at_ += size;
    return size;
  }
  UINT ReadSelf(void* data, UINT size) override {
    const std::size_t left = bytes.size() - std::min(at_, bytes.size());
    const UINT part = static_cast<UINT>(std::min<std::size_t>(size, left));
    std::memcpy(data, bytes.data() + std::min(at_, bytes.size()), part);
    at_ += part;
    return part;
  }
  UINT SeekSelf(int offset, UINT) override {
    at_ = static_cast<UINT>(offset);
    return static_cast<UINT>(offset);
  }

  /// What stands on the medium once everything is flushed.
  const std::string& Flushed() {
    DoFlush();
    return bytes;
  }
  using KXArchive::ReadMKStringLength;

  std::string bytes;

 private:
  std::size_t at_ = 0;
};

constexpr UINT kStoreBig = 9, kStoreLittle = 5, kLoadBig = 10, kLoadLittle = 6;

/// The bytes that hexadecimal digits stand for; spaces between bytes are free.
inline std::string Hex(const std::string& digits) {
  std::string bytes;
  for (std::size_t i = 0; i < digits.size();) {
    if (digits[i] == ' ') {
      ++i;
    } else {
      bytes += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
      i += 2;
    }
  }
  return bytes;
}

}  // namespace testing_kxw
