#pragma once

#include <string>

#include "kxwcmn/platform/types.h"

namespace testing_kxw {

/// A number of `size` bytes, low byte first.
inline std::string Bytes(u64 value, int size) {
  std::string bytes;
  for (; size > 0; --size, value >>= 8) bytes += static_cast<char>(value & 255);
  return bytes;
}

inline std::string Chunk(const std::string& tag, const std::string& content) {
  return tag + Bytes(content.size(), 4) + content;
}

/// The first 16 bytes of a WAVE file's format chunk.
inline std::string Format(unsigned channels, unsigned rate, unsigned bits, unsigned tag = 1) {
  const unsigned frame = channels * bits / 8;
  return Bytes(tag, 2) + Bytes(channels, 2) + Bytes(rate, 4) + Bytes(rate * frame, 4) +
         Bytes(frame, 2) + Bytes(bits, 2);
}

inline std::string Riff(const std::string& chunks) {
  return "RIFF" + Bytes(chunks.size() + 4, 4) + "WAVE" + chunks;
}

inline std::string Wave(unsigned channels, unsigned rate, unsigned bits, const std::string& data) {
  return Riff(Chunk("fmt ", Format(channels, rate, bits)) + Chunk("data", data));
}

}  // namespace testing_kxw
