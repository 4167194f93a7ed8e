#include "kxwcmn/memory/packing_internal.h"

#include <gtest/gtest.h>

#include <vector>

#include "kxwcmn/core/filepath.h"
#include "tests/memory/support.h"

namespace {

using Bytes = std::vector<BYTE>;

/// Stretches of noise and of colours of 1 to 24 bytes, some of them black, `noise` of 100 noise.
Bytes Paint(Random& random, std::size_t size, int noise) {
  Bytes bytes;
  while (bytes.size() < size) {
    const int length = 1 + random.Below(random.OneIn(3) ? 2000 : 60);
    const int period = random.Below(100) < noise ? length : 1 << random.Below(4) << random.Below(2);
    BYTE color[2000];
    for (int i = 0; i < period; ++i) {
      color[i] =
          period < length && random.OneIn(3) ? BYTE{0} : static_cast<BYTE>(random.Below(256));
    }
    for (int i = 0; i < length; ++i) bytes.push_back(color[i % period]);
  }
  bytes.resize(size);
  return bytes;
}

TEST(Packing, ComesBackAsItWas) {
  for (unsigned seed = 0; seed < 200; ++seed) {
    Random random(seed);
    const std::size_t size = 8u * static_cast<unsigned>(1 + random.Below(4000));
    const Bytes data = Paint(random, size, random.Below(4) * 10);
    // The worst that packing may take: a head and a word to copy, for every three words.
    Bytes packed(2 * size + 16), back(size, 0xEE);
    const std::size_t made = kxw::Pack(data.data(), size, packed.data(), packed.size());
    if (made == 0) continue;  // it began with noise
    ASSERT_TRUE(kxw::Unpack(packed.data(), made, back.data(), size));
    ASSERT_EQ(back, data) << seed;
    // Room that is just enough, and just not.
    Bytes exact(made);
    EXPECT_EQ(kxw::Pack(data.data(), size, exact.data(), made), made);
    EXPECT_EQ(kxw::Pack(data.data(), size, exact.data(), made - 1), 0u);
    // Cut off or damaged, it is refused or gives something else within the room.
    for (std::size_t cut = 0; cut < made; cut += 1 + made / 7) {
      EXPECT_FALSE(
          kxw::Unpack(Bytes(packed.begin(), packed.begin() + static_cast<long>(cut)).data(), cut,
                      back.data(), size));
    }
    for (int i = 0; i < 20; ++i) {
      Bytes damaged(packed.begin(), packed.begin() + static_cast<long>(made));
      damaged[random.Below(made)] ^= static_cast<BYTE>(1 << random.Below(8));
      kxw::Unpack(damaged.data(), made, back.data(), size);
    }
  }
}

TEST(Packing, PaysForPaintAndLeavesNoise) {
  Random random(1);
  Bytes out(1 << 16);
  const Bytes noise = Paint(random, 1 << 18, 100), black(1 << 18);
  EXPECT_EQ(kxw::Pack(noise.data(), noise.size(), out.data(), out.size()), 0u);
  EXPECT_EQ(kxw::Pack(black.data(), black.size(), out.data(), out.size()), 8u);
  Bytes cel(1 << 18, 0xC0);  // 256 rows, two lines across each
  for (std::size_t y = 0; y < 256; ++y) {
    for (std::size_t x : {y, 900 - y}) std::fill_n(&cel[y * 1024 + x], 12, BYTE{0});
  }
  EXPECT_LT(kxw::Pack(cel.data(), cel.size(), out.data(), out.size()), cel.size() / 7);
}

}  // namespace
