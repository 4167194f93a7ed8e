#include "kxwcmn/offscreen/uniformrun_internal.h"

#include <cstring>

#include "kxwcmn/platform/vectorize_internal.h"

namespace kxw {
namespace {

bool IsUniform(const BYTE* at, std::size_t bytes, u64 value, u64 used) {
  // Long stretches are looked at without a branch.
  constexpr std::size_t kStretch = 4096;
  const auto differenceAt = [value](const BYTE* p) {
    u64 word;
    std::memcpy(&word, p, sizeof word);
    return word ^ value;
  };
  for (; bytes >= kStretch; bytes -= kStretch, at += kStretch) {
    u64 seen = 0;
    for (std::size_t i = 0; i < kStretch; i += sizeof(u64)) seen |= differenceAt(at + i);
    if (seen & used) return false;
  }
  u64 seen = 0;
  for (std::size_t i = 0; i < bytes; i += sizeof(u64)) seen |= differenceAt(at + i);
  return (seen & used) == 0;
}

}  // namespace

bool IsUniformRun(const BYTE* at, std::size_t bytes, u64 value, u64 used) {
  return InVectors<IsUniform>(at, bytes, value, used);
}

}  // namespace kxw
