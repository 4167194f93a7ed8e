#include <array>
#include <bit>
#include <cstring>

#include "kxwcmn/memory/checksum_internal.h"

#if defined(__x86_64__) && defined(__GNUC__)
#include <cpuid.h>
#include <immintrin.h>
#define KXW_AES_ROUNDS 1
#endif

namespace kxw {

namespace {

constexpr std::size_t kStripe = 128;      // bytes of a step
constexpr u64 kOdd = 0x9E3779B97F4A7C15;  // 2^64 over the golden ratio

#ifdef KXW_AES_ROUNDS

// A round of AES a 16 bytes: each is mixed by all rounds behind it, so that a change, an exchange
// and a shift all show. It takes what reading the bytes from the cache takes: for a block of 256
// KiB a sixth of the time that the host needs to copy it to or from its own. With a multiplication
// a word, or a CRC, it would be twice that and more. Summing piece by piece between shorter reads
// and writes is no faster: what the nearer cache saves goes into the calls.
constexpr int kLanes = kStripe / 16;

__attribute__((target("aes"))) u64 FoldLanes(const __m128i* lanes) {
  const __m128i key = _mm_set1_epi64x(static_cast<i64>(kOdd));
  __m128i sum = key;
  for (int i = 0; i < kLanes; ++i) {
    // Two rounds spread every byte of the lane's last stripe over the whole.
    sum = _mm_aesenc_si128(_mm_aesenc_si128(_mm_xor_si128(sum, lanes[i]), key), key);
  }
  return static_cast<u64>(_mm_cvtsi128_si64(sum));
}

__attribute__((target("aes"))) u64 AesBlockChecksum(const void* data, std::size_t size) {
  const auto* at = static_cast<const BYTE*>(data);
  __m128i lanes[kLanes];
  for (int i = 0; i < kLanes; ++i)
    lanes[i] = _mm_set1_epi64x(static_cast<i64>(kOdd * static_cast<u64>(i + 1)));
  for (const BYTE* end = at + size; at != end; at += kStripe) {
    for (int i = 0; i < kLanes; ++i) {
      const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(at) + i);
      lanes[i] = _mm_aesenc_si128(lanes[i], bytes);
    }
  }
  return FoldLanes(lanes);
}

/// The same lanes, two in one register.
__attribute__((target("avx2,vaes"))) u64 WideAesBlockChecksum(const void* data, std::size_t size) {
  const auto* at = static_cast<const BYTE*>(data);
  __m256i pairs[kLanes / 2];
  for (int i = 0; i < kLanes / 2; ++i) {
    const u64 even = kOdd * static_cast<u64>(2 * i + 1);
    pairs[i] = _mm256_set_m128i(_mm_set1_epi64x(static_cast<i64>(even + kOdd)),
                                _mm_set1_epi64x(static_cast<i64>(even)));
  }
  for (const BYTE* end = at + size; at != end; at += kStripe) {
    for (int i = 0; i < kLanes / 2; ++i) {
      const __m256i bytes = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(at) + i);
      pairs[i] = _mm256_aesenc_epi128(pairs[i], bytes);
    }
  }
  __m128i lanes[kLanes];
  std::memcpy(lanes, pairs, sizeof lanes);
  return FoldLanes(lanes);
}

/// Whether the processor has AES rounds over 32 bytes, and the host keeps their registers.
bool HasWideAes() {
  unsigned a, b, c = 0, d;
  return __builtin_cpu_supports("avx2") && __get_cpuid_count(7, 0, &a, &b, &c, &d) && c & bit_VAES;
}

#endif

using Checksum = u64 (*)(const void*, std::size_t);

Checksum ChooseChecksum() {
#ifdef KXW_AES_ROUNDS
  if (HasWideAes()) return WideAesBlockChecksum;
  if (__builtin_cpu_supports("aes")) return AesBlockChecksum;
#endif
  return detail::PlainBlockChecksum;
}

}  // namespace

u64 BlockChecksum(const void* data, std::size_t size) {
  static const Checksum checksum = ChooseChecksum();
  return checksum(data, size);
}

u64 detail::NarrowBlockChecksum(const void* data, std::size_t size) {
#ifdef KXW_AES_ROUNDS
  if (__builtin_cpu_supports("aes")) return AesBlockChecksum(data, size);
#endif
  return PlainBlockChecksum(data, size);
}

u64 detail::PlainBlockChecksum(const void* data, std::size_t size) {
  constexpr std::size_t kWords = 8;
  const auto* at = static_cast<const BYTE*>(data);
  std::array<u64, kWords> lanes;
  for (std::size_t i = 0; i < kWords; ++i) lanes[i] = kOdd * (i + 1);
  for (const BYTE* end = at + size; at != end; at += sizeof lanes) {
    for (std::size_t i = 0; i < kWords; ++i) {
      u64 word;
      std::memcpy(&word, at + i * sizeof word, sizeof word);
      lanes[i] = std::rotl((lanes[i] ^ word) * kOdd, 29);
    }
  }
  u64 sum = 0;
  for (const u64 lane : lanes) sum = std::rotl((sum ^ lane) * kOdd, 29);
  return sum ^ (sum >> 32);
}

}  // namespace kxw
