#pragma once

#include <algorithm>
#include <cstddef>
#include <string>

#include "kxwcmn/platform/types.h"

namespace kxw {

/// Reads little-endian fields of a block of bytes that may be hostile. Whatever lies outside the
/// block is 0 or empty, so that a parser needs no checks of its own but on what it loops over.
class ByteReader {
 public:
  ByteReader(const void* data, std::size_t size)
      : data_(static_cast<const BYTE*>(data)), size_(size) {}

  std::size_t Size() const { return size_; }

  WORD U16(std::size_t at) const {
    return Has(at, 2) ? static_cast<WORD>(data_[at] | data_[at + 1] << 8) : WORD{0};
  }
  DWORD U32(std::size_t at) const {
    return Has(at, 4) ? U16(at) | static_cast<DWORD>(U16(at + 2)) << 16 : 0;
  }

  /// The bytes from `at` on, `size` at most.
  ByteReader Part(std::size_t at, std::size_t size = static_cast<std::size_t>(-1)) const {
    if (at >= size_) return {nullptr, 0};
    return {data_ + at, std::min(size, size_ - at)};
  }

  /// A text that ends at a zero or with the block, and at most `most` bytes or units.
  std::string Text(std::size_t at, std::size_t most = static_cast<std::size_t>(-1)) const {
    std::string text;
    for (; at < size_ && data_[at] && text.size() < most; ++at) {
      text += static_cast<char>(data_[at]);
    }
    return text;
  }
  std::u16string WideText(std::size_t at, std::size_t most = static_cast<std::size_t>(-1)) const {
    std::u16string text;
    for (; Has(at, 2) && U16(at) && text.size() < most; at += 2) text += U16(at);
    return text;
  }

 private:
  bool Has(std::size_t at, std::size_t size) const { return at <= size_ && size <= size_ - at; }

  const BYTE* data_;
  std::size_t size_;
};

}  // namespace kxw
