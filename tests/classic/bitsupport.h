#pragma once

#include <algorithm>
#include <ostream>
#include <vector>

#include "kxwcmn/classic/bitimage.h"
#include "tests/classic/support.h"

namespace classic_test {

/// The channels of a pixel as they stand in memory: bytes, words at 64 bits, a bit at 1.
using Channels = std::vector<int>;

/// A bit image around bytes of the test's own, with nothing readable behind them.
struct BitPicture {
  BitPicture(int bits, int width, int height, Random& random) {
    bytes.resize(static_cast<std::size_t>(std::max((width * bits + 31) / 32 * 4 * height, 1)));
    const int kind = random.Int(0, 2);
    for (BYTE& byte : bytes) {
      byte = static_cast<BYTE>(random.Bits());
      if (kind == 1 || (kind == 2 && random.OneIn(2))) byte = byte & 1 ? 255 : 0;
    }
    image.SetReference(bytes.data(), width, height, bits);
  }
  BitPicture(const BitPicture& other) : bytes(other.bytes) {
    image.SetReference(bytes.data(), other.image.GetWidth(), other.image.GetHeight(),
                       other.image.GetBitCount());
  }
  BitPicture& operator=(const BitPicture&) = delete;

  Channels Get(int x, int y) const {
    const BYTE* const row = bytes.data() + y * image.GetRowBytes();
    const int bits = image.GetBitCount();
    if (bits == 1) return {row[x / 8] >> (7 - x % 8) & 1};
    Channels channels;
    for (int i = 0; i < bits / 8; i += bits == 64 ? 2 : 1) {
      const BYTE* const at = row + x * (bits / 8) + i;
      channels.push_back(bits == 64 ? at[0] + 256 * at[1] : at[0]);
    }
    return channels;
  }
  void Set(int x, int y, const Channels& channels) {
    BYTE* const row = bytes.data() + y * image.GetRowBytes();
    if (image.GetBitCount() == 1) {
      const int bit = 128 >> x % 8;
      row[x / 8] = static_cast<BYTE>(channels[0] ? row[x / 8] | bit : row[x / 8] & ~bit);
      return;
    }
    BYTE* at = row + x * (image.GetBitCount() / 8);
    for (int channel : channels) *at++ = static_cast<BYTE>(channel);
  }

  std::vector<BYTE> bytes;
  KXBitImage image;
};

/// What a pixel becomes at another depth; nothing for pairs that have no rule.
inline Channels Converted(const Channels& p, int from, int to) {
  if (to == 1) return from == 1 ? p : Channels{};
  if (to == 8) return from == 1 ? Channels{p[0] * 255} : from == 8 ? p : Channels{};
  if (to == 16) {
    if (from == 1) return p[0] ? Channels{255, 0} : Channels{0, 255};
    if (from == 8) return p[0] ? Channels{p[0], 255} : Channels{0, 0};
    return from == 16 ? p : Channels{};
  }
  if (to != 24 && to != 32) return {};
  Channels bgra;
  if (from == 1) bgra = {p[0] * 255, p[0] * 255, p[0] * 255, 255};
  if (from == 8) bgra = {p[0], p[0], p[0], 255};
  if (from == 16) bgra = {p[1], p[1], p[1], p[0]};
  if (from == 24) bgra = {p[0], p[1], p[2], 255};
  if (from == 32) bgra = p;
  if (from == 64) bgra = {p[2] / 257, p[1] / 257, p[0] / 257, p[3] / 257};
  if (to == 24) bgra.resize(3);
  return bgra;
}

/// The source's pixels for those of an axis, by the walks' rules, one step after another.
inline std::vector<int> ReducedSteps(int start, int from, int to) {
  std::vector<int> steps;
  for (int i = 0, at = start, error = to; i < to; ++i) {
    steps.push_back(at);
    at += from / to;
    error -= from % to;
    if (error < 0) {
      error += to;
      at += 1;
    }
  }
  return steps;
}
/// Of a destination of `to` pixels in all, `count` from that on which has `error`. `least` is what
/// the error must not fall below.
inline std::vector<int> EnlargedSteps(int start, int from, int to, int error, int count,
                                      int least = 0) {
  std::vector<int> steps;
  for (int i = 0, at = start; i < count; ++i) {
    steps.push_back(at);
    error -= from;
    if (error < least) {
      error += to;
      at += 1;
    }
  }
  return steps;
}

/// Writes the source's pixels of these columns and rows, from (x, y) on.
inline void ModelPick(BitPicture& to, int x, int y, const BitPicture& from,
                      const std::vector<int>& columns, const std::vector<int>& rows) {
  for (std::size_t j = 0; j < rows.size(); ++j) {
    for (std::size_t i = 0; i < columns.size(); ++i) {
      to.Set(x + static_cast<int>(i), y + static_cast<int>(j),
             Converted(from.Get(columns[i], rows[j]), from.image.GetBitCount(),
                       to.image.GetBitCount()));
    }
  }
}

}  // namespace classic_test
