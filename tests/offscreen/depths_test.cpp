#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "kxwcmn/offscreen/voffscreen_depths.h"
#include "tests/support/images.h"

// The seven encodings against a second telling of them: a pixel is four channels (or a level), and
// each read and write is a formula over channels, worked out in plain integers.

namespace {

using namespace testing_kxw;

int Luma(int r, int g, int b) { return (r + 4 * g + 2 * b) / 7; }
int Part(int v, int a) { return v * (a + 1) / 256; }
u64 Rgb(u64 a, u64 r, u64 g, u64 b) { return a * 0x1000000 + b * 0x10000 + g * 0x100 + r; }
u64 Wide(u64 a, u64 r, u64 g, u64 b) { return a << 48 | b << 32 | g << 16 | r; }
u64 Byte(u64 v, int index) { return v >> (8 * index) & 255; }
u64 Word(u64 v, int index) { return v >> (16 * index) & 65535; }
u64 Narrowed(u64 c) {
  return Rgb(Word(c, 3) >> 8, Word(c, 0) >> 8, Word(c, 1) >> 8, Word(c, 2) >> 8);
}

struct Reads {
  u64 r1, r2, r8, r16, r24, r32, r48, r64, image8, image24, mask8, mask16;
};

Reads CheckedReadsOf(KXVOffscreen& o) {
  return {o.Get1BitColor(),  o.Get2BitColor(),  o.Get8BitColor(),  o.Get16BitColor(),
          o.Get24BitColor(), o.Get32BitColor(), o.Get48BitColor(), o.Get64BitColor(),
          o.Get8BitImage(),  o.Get24BitImage(), o.Get8BitMask(),   u64(o.Get16BitMask())};
}

Reads ReadsOf(KXVOffscreen& o) {
  const Reads fast = {o.Get1BitColorFast(),  o.Get2BitColorFast(),  o.Get8BitColorFast(),
                      o.Get16BitColorFast(), o.Get24BitColorFast(), o.Get32BitColorFast(),
                      o.Get48BitColorFast(), o.Get64BitColorFast(), o.Get8BitImageFast(),
                      o.Get24BitImageFast(), o.Get8BitMaskFast(),   u64(o.Get16BitMaskFast())};
  const Reads slow = CheckedReadsOf(o);
  EXPECT_EQ(0, std::memcmp(&fast, &slow, sizeof fast));
  return slow;
}

constexpr u64 kWhite48 = 0x0000FFFFFFFFFFFF;

/// What a stored pixel reads as. `raw` is the level below 16 bits, (alpha, grey) at 16 bits, and
/// the colour value above.
Reads Model(int bits, u64 raw) {
  const int v = static_cast<int>(raw & 255);
  const int r = static_cast<int>(Byte(raw, 0)), g = static_cast<int>(Byte(raw, 1));
  const int b = static_cast<int>(Byte(raw, 2)), a = static_cast<int>(Byte(raw, 3));
  const u64 y = static_cast<u64>(Luma(r, g, b));
  switch (bits) {
    case 1:
      if (v) return {1, 3, 255, 0xFF000000, 0, 0xFF000000, 0, 0xFFFFull << 48, 255, 0, 255, 65535};
      return {0, 0, 0, 0, 0xFFFFFF, 0, 0xFFFFFF, 0, 0, 0xFFFFFF, 255, 65535};
    case 2: {
      const Reads table[] = {
          {0, 0, 0, 0, 0xFFFFFF, 0, kWhite48, 0, 0, 0xFFFFFF, 0, 0},
          {0, 0, 0, 0, 0xFFFFFF, 0, kWhite48, 0, 255, 0, 0, 0},
          {0, 2, 0, 0xFFFFFFFF, 0xFFFFFF, 0xFFFFFFFF, kWhite48, ~0ull, 0, 0xFFFFFF, 255, 65535},
          {1, 3, 255, 0xFF000000, 0, 0xFF000000, 0, 0xFFFFull << 48, 255, 0, 255, 65535}};
      return table[v];
    }
    case 8: {
      const u64 p = static_cast<u64>(v), c = 255 - p, paper = Rgb(255, c, c, c);
      return {p > 127,
              p >= 128 ? 3u : 0u,
              p,
              p << 24,
              paper,
              p << 24,
              Wide(65535, c * 257, c * 257, c * 257),
              Wide(p * 257, 0, 0, 0),
              p,
              paper,
              255,
              65535};
    }
    case 16: {
      const u64 al = Byte(raw, 0), gr = Byte(raw, 1), c = Rgb(al, gr, gr, gr);
      const u64 wide = Wide(al * 257, gr * 257, gr * 257, gr * 257);
      return {al >= 128, al < 128 ? 0u : gr < 128 ? 3u : 2u,
              al,        c,
              c,         c,
              wide,      wide,
              255 - gr,  Rgb(255, gr, gr, gr),
              al,        al * 257};
    }
    case 24: {
      const u64 w = Wide(0, u64(r) * 257, u64(g) * 257, u64(b) * 257), c = raw & 0xFFFFFF;
      return {y < 129, y < 129 ? 3u : 2u,
              255 - y, 0xFF000000 + c,
              c,       0xFF000000 + c,
              w,       w + (0xFFFFull << 48),
              255 - y, c,
              255,     65535};
    }
    case 32: {
      const u64 p = static_cast<u64>(Part(255 - int(y), a));
      const u64 pr = u64(Part(r, a)), pg = u64(Part(g, a)), pb = u64(Part(b, a));
      return {p >= 128,
              a >= 128   ? 0u
              : y <= 128 ? 3u
                         : 2u,
              p,
              Rgb(u64(a), y, y, y),
              Rgb(255, pr, pg, pb),
              raw,
              Wide(65535, pr * 257, pg * 257, pb * 257),
              Wide(u64(a) * 257, u64(r) * 257, u64(g) * 257, u64(b) * 257),
              255 - y,
              Rgb(255, u64(r), u64(g), u64(b)),
              u64(a),
              u64(a) * 257};
    }
    default: {
      Reads reads = Model(32, Narrowed(raw));
      const u64 w = Word(raw, 3) + 1;
      reads.r48 =
          Wide(65535, Word(raw, 0) * w >> 16, Word(raw, 1) * w >> 16, Word(raw, 2) * w >> 16);
      reads.r64 = raw;
      reads.mask16 = Word(raw, 3);
      return reads;
    }
  }
}

/// Stores the raw value as the encoding has it in memory, at a whole byte.
void Poke(KXVOffscreen& o, u64 raw) {
  BYTE* at = o.GetCurrentAddress();
  const BYTE b[4] = {BYTE(raw), BYTE(raw >> 8), BYTE(raw >> 16), BYTE(raw >> 24)};
  switch (o.GetBitCount()) {
    case 1:
      *at = static_cast<BYTE>((*at & 0x7F) | b[0] << 7);
      break;
    case 2:
      *at = static_cast<BYTE>((*at & 0x3F) | b[0] << 6);
      break;
    case 8:
      at[0] = b[0];
      break;
    case 16:
      at[0] = b[0], at[1] = b[1];
      break;
    case 24:
      at[0] = b[2], at[1] = b[1], at[2] = b[0];
      break;
    case 32:
      at[0] = b[2], at[1] = b[1], at[2] = b[0], at[3] = b[3];
      break;
    default: {
      const WORD w[4] = {WORD(raw >> 32), WORD(raw >> 16), WORD(raw), WORD(raw >> 48)};
      std::memcpy(at, w, sizeof w);
    }
  }
}

std::vector<u64> Samples(int bits, Random& random) {
  std::vector<u64> values;
  if (bits <= 16) {
    const u64 count = 1ull << bits;
    for (u64 v = 0; v < count; ++v) values.push_back(v);
    return values;
  }
  const u64 mask = bits == 64 ? ~0ull : (1ull << bits) - 1;
  for (int i = 0; i < 30000; ++i) values.push_back(random.Bits() & mask);
  // The thresholds: greys around the middle under every alpha, and the extremes.
  for (u64 a = 0; a < 256; ++a) {
    for (u64 c = 120; c < 136; ++c) {
      const u64 color = Rgb(a, c, c, c);
      values.push_back((bits == 64 ? KXVOffscreen::QMCOLORREF32to64(DWORD(color)) : color) & mask);
    }
  }
  values.insert(values.end(), {0, mask, mask >> 1});
  return values;
}

TEST(Depths, ReadAsTheirEncodingSays) {
  for (int bits : kAllDepths) {
    Random random(static_cast<unsigned>(bits));
    ImagePtr image = MakeImage(bits, 10, 10);
    image->Lock(8, 3, 1);
    for (u64 raw : Samples(bits, random)) {
      Poke(*image, raw);
      const Reads got = ReadsOf(*image), want = Model(bits, raw);
      ASSERT_EQ(0, std::memcmp(&got, &want, sizeof got)) << bits << " bits, pixel " << raw;
    }
    image->Unlock();
  }
}

constexpr int kWrites[] = {1, 2, 8, 16, 24, 32, 48, 64};

/// What a write leaves in the pixel, as `Poke` would have it.
u64 Written(int bits, int op, u64 c) {
  if (op == 48 && bits != 64) return Written(bits, 24, Narrowed(c));
  if (op == 64 && bits != 64) return Written(bits, bits == 24 ? 24 : 32, Narrowed(c));
  const u64 v = Byte(c, 0), blue = Byte(c, 2), a = Byte(c, 3), paper = 255 - v;
  const u64 y = static_cast<u64>(Luma(int(v), int(Byte(c, 1)), int(blue)));
  const u64 ink16 = u64(Part(255 - int(blue), int(a))), ink32 = u64(Part(255 - int(y), int(a)));
  const u64 color = c & 0xFFFFFF, wide = Wide(0, v * 257, Byte(c, 1) * 257, blue * 257);
  const u64 full = 0xFFFFull << 48, wideAlpha = (a * 257) << 48;
  const bool white = v == 2, black = v == 3;
  // By the bits of the write, as far as 32; the clear colours are those of the test.
  const u64 written[][6] = {{v != 0, v >> 1 & 1, v >= 128, ink16 >= 128, y <= 127, ink32 >= 128},
                            {v ? 3u : 0u, white || black ? v : 0, v >= 127 ? 3u : 0u,
                             a < 127       ? 0u
                             : blue >= 127 ? 2u
                                           : 3u,
                             y >= 127 ? 2u : 0u,
                             a < 128    ? 0u
                             : y >= 127 ? 2u
                                        : 3u},
                            {v ? 255u : 0u, v ? 255u : 0u, v, ink16, 255 - y, ink32},
                            {v ? 255u : 0u,
                             white   ? 0xFFFFu
                             : black ? 0xFFu
                                     : 0u,
                             v, a + blue * 256, 255 + y * 256, a + y * 256},
                            {v ? 0u : 0xFFFFFFu, black ? 0u : 0xFFFFFFu,
                             Rgb(0, paper, paper, paper), color, color, color},
                            {v ? 0xFF000000u : 0x00332211u,
                             white   ? 0xFFFFFFFFu
                             : black ? 0xFF000000u
                                     : 0u,
                             v << 24, c & 0xFFFFFFFF, 0xFF000000 + color, c & 0xFFFFFFFF},
                            {v ? full : 0x0000333322221111,
                             white   ? ~0ull
                             : black ? full
                                     : 0,
                             (v * 257) << 48, wideAlpha | wide, full | wide, wideAlpha | wide}};
  if (op == 48) return full | c;
  if (op == 64) return c;
  const auto row = std::ranges::find(kAllDepths, bits) - kAllDepths;
  return written[row][std::ranges::find(kWrites, op) - kWrites];
}

void Write(KXVOffscreen& o, int op, u64 c) {
  if (op == 1) return o.Set1BitColor(BYTE(c));
  if (op == 2) return o.Set2BitColor(BYTE(c));
  if (op == 8) return o.Set8BitColor(BYTE(c));
  if (op == 16) return o.Set16BitColor(DWORD(c));
  if (op == 24) return o.Set24BitColor(DWORD(c));
  if (op == 32) return o.Set32BitColor(DWORD(c));
  if (op == 48) return o.Set48BitColor(c);
  return o.Set64BitColor(c);
}

TEST(Depths, WriteAsTheirEncodingSays) {
  for (int bits : kAllDepths) {
    Random random(static_cast<unsigned>(bits));
    ImagePtr image = MakeImage(bits, 300, 10), expected = MakeImage(bits, 300, 10);
    for (KXVOffscreen* o : {image.get(), expected.get()}) {
      o->SetClearColor(DWORD{0x99332211});
      if (bits == 64) {
        static_cast<KXVOffscreen64Bit*>(o)->SetClearQMCOLORREF64(0x9999333322221111);
      }
      o->Lock(264, 3, 1);
    }
    for (int op : kWrites) {
      for (u64 value : Samples(op <= 8 ? 8 : op >= 48 ? 64 : 32, random)) {
        Write(*image, op, value);
        Poke(*expected, Written(bits, op, value));
        ASSERT_EQ(image->Get64BitColor(), expected->Get64BitColor())
            << bits << " bits, write of " << op << " bits, " << std::hex << value;
        ASSERT_EQ(0, std::memcmp(image->GetCurrentAddress(), expected->GetCurrentAddress(),
                                 std::size_t(bits + 7) / 8));
      }
    }
    image->Unlock();
    expected->Unlock();
  }
}

TEST(Depths, WritesLeaveTheNeighboursAlone) {
  // A row across a seam, written in random order, against plain numbers.
  for (int bits : {1, 2, 8, 16, 32, 64}) {
    Random random(7);
    ImagePtr image = MakeImage(bits, 520, 4);
    std::vector<int> plain(520, 0);
    image->Lock(0, 1, 1);
    for (int i = 0; i < 5000; ++i) {
      const int x = random.Edge(0, 519), value = random.OneIn(2) ? 255 : 0;
      image->MoveCursor(x, 1);
      image->Set8BitColor(BYTE(value));
      plain[std::size_t(x)] = value;
    }
    for (int x = 0; x < 520; ++x) {
      image->MoveCursor(x, 1);
      ASSERT_EQ(image->Get8BitColor(), plain[std::size_t(x)]) << bits << " bits, x " << x;
    }
    image->Unlock();
  }
}

TEST(Depths, UnwrittenAreasReadAsTheDepthsDefaults) {
  // Columns: 1, 2, 8, 16, 24, 32, 48, 64 bits, image 8 and 24, mask 8 and 16.
  const u64 white24 = 0xFFFFFF;
  const Reads table[] = {{0, 0, 0, 0, white24, 0, white24, 0, 0, white24, 255, 65535},
                         {0, 0, 0, 0, white24, 0, kWhite48, 0, 0, white24, 0, 65535},
                         {0, 0, 0, 0, white24, 0, kWhite48, 0, 0, white24, 255, 65535},
                         {0, 0, 0, 0, white24, 0, kWhite48, 0, 0, white24, 0, 0},
                         {0, 2, 0, 0, white24, 0, kWhite48, 0, 0, white24, 255, 65535},
                         {0, 0, 0, 0xFFFFFFFF, white24, 0, kWhite48, 0, 0, white24, 0, 0},
                         {0, 0, 0, 0xFFFFFFFF, white24, 0, 0, 0, 0, white24, 0, 0}};
  for (int i = 0; i < 7; ++i) {
    ImagePtr image = MakeImage(kAllDepths[i], 10, 10);
    for (int x : {0, -1}) {  // a block without memory, and off the image
      image->Lock(x, 0, 0);
      KXVOffscreen& o = *image;
      const Reads got = CheckedReadsOf(o);
      EXPECT_EQ(0, std::memcmp(&got, &table[i], sizeof got)) << kAllDepths[i] << " bits";
      EXPECT_TRUE(o.IsTransparent(0));
      o.SetColor(~0u);  // a write without memory does nothing
      o.Set64BitColor(~0ull);
      image->Unlock();
    }
    EXPECT_EQ(image->GetUsedMemory(0), 0u);
  }
}

TEST(Depths, MaskWritesLeaveTheColourAlone) {
  const struct {
    int bits;
    u64 before, after8, after16;
  } table[] = {{1, 1, 1, 1},
               {2, 2, 3, 0},
               {8, 77, 77, 77},
               {16, 0x1234, 0x12C8, 0x1201},
               {24, 0x123456, 0x123456, 0x123456},
               {32, 0x11223344, 0xC8223344, 0x01223344},
               {64, 0x1111222233334444, 0xC8C8222233334444, 0x0102222233334444}};
  for (const auto& row : table) {
    ImagePtr image = MakeImage(row.bits, 10, 10), expected = MakeImage(row.bits, 10, 10);
    image->Lock(8, 0, 1);
    expected->Lock(8, 0, 1);
    for (bool wide : {false, true}) {
      Poke(*image, row.before);
      wide ? image->Set16BitMask(0x0102) : image->Set8BitMask(200);
      Poke(*expected, wide ? row.after16 : row.after8);
      EXPECT_EQ(image->Get64BitColor(), expected->Get64BitColor()) << row.bits << " bits";
    }
    image->Unlock();
    expected->Unlock();
  }
}

TEST(Depths, TransparencyAndNativeColours) {
  const struct {
    int bits;
    u64 paper, white, solid;  // of which `white` is transparent only where white is asked for
  } table[] = {{1, 0, 0, 1},
               {2, 0, 2, 3},
               {8, 0, 0, 1},
               {16, 0xFF00, 0, 0xFF01},
               {24, 0xFFFFFF, 0xFFFFFF, 0xFFFFFE},
               {32, 0x00FFFFFF, 0xFFFFFFFF, 0x01FFFFFE},
               {64, 0x0000123456789ABC, 0x0001FFFFFFFFFFFF, 0x0001FFFFFFFFFFFE}};
  for (const auto& row : table) {
    ImagePtr image = MakeImage(row.bits, 10, 10);
    image->Lock(0, 0, 1);
    for (u64 raw : {row.paper, row.white, row.solid}) {
      Poke(*image, raw);
      const bool plain = row.bits != 24 && (raw == row.paper || (row.bits == 16 && raw == 0));
      EXPECT_EQ(image->IsTransparent(0) != 0, plain) << row.bits << " " << raw;
      EXPECT_EQ(image->IsTransparentFast(1) != 0, raw != row.solid) << row.bits << " " << raw;
    }
    image->Unlock();
  }
  Random random(3);
  for (u64 c : Samples(32, random)) {
    const u64 y = u64(Luma(int(Byte(c, 0)), int(Byte(c, 1)), int(Byte(c, 2)))), a = Byte(c, 3);
    const u64 native[] = {Written(1, 32, c),
                          Written(2, 32, c),
                          Written(8, 32, c),
                          a << 24 | y << 16,
                          c & 0xFFFFFF,
                          c,
                          0};
    for (int i = 0; i < 7; ++i) {
      ImagePtr image(KXVOffscreen::CreateOffscreen(kAllDepths[i]));
      ASSERT_EQ(image->MakeNativeColor(DWORD(c)), native[i]) << kAllDepths[i] << " " << c;
      if (c > 1000) break;  // all depths for the small values, the first for all
    }
  }
}

TEST(Depths, NewBlocksHoldTheClearColour) {
  // Odd bytes, so that each order shows: the 32-bit and 64-bit fills have red and blue swapped.
  const struct {
    int bits;
    BYTE byte;
    DWORD color;
    std::vector<BYTE> bytes;
  } table[] = {{1, 0xA5, 0, {0xA5}},
               {2, 0xA5, 0x11223344, {0}},
               {8, 0x33, 0, {0x33}},
               {16, 0, 0x11223344, {0x11, 0x22}},
               {24, 0, 0x11223344, {0x22, 0x33, 0x44}},
               {32, 0, 0x11223344, {0x44, 0x33, 0x22, 0x11}},
               {64, 0, 0, {8, 7, 6, 5, 4, 3, 2, 1}}};
  for (const auto& row : table) {
    ImagePtr image = MakeImage(row.bits, 300, 300);
    image->SetClearColor(row.byte);
    image->SetClearColor(row.color);
    if (row.bits == 64) {
      static_cast<KXVOffscreen64Bit&>(*image).SetClearQMCOLORREF64(0x0102030405060708);
    }
    image->Lock(299, 299, 1);
    const BYTE* base = image->GetBaseAddress();
    for (int i = 0; i < image->GetBlockRowBytes() * 256; ++i) {
      ASSERT_EQ(base[i], row.bytes[std::size_t(i) % row.bytes.size()]) << row.bits << " " << i;
    }
    image->Unlock();
  }
}

TEST(Colours, StaticConversionsAndTolerance) {
  EXPECT_EQ(KXVOffscreen::QMCOLORREF32to64(0xFF0102AB), 0xFFFF01010202ABABull);
  EXPECT_EQ(KXVOffscreen::QMCOLORREF64to32(0xFFFF010102FFABCD), 0xFF0102ABu);
  EXPECT_EQ(KXVOffscreen::QMCOLORREFtoBYTE1(0x7F7F7F80), 1);
  EXPECT_EQ(KXVOffscreen::QMCOLORREFtoBYTE2(0x80FFFFFF), 0);
  EXPECT_EQ(KXVOffscreen::QMCOLORREFtoBYTE2(0x8180007F), 2);
  EXPECT_EQ(KXVOffscreen::QMCOLORREFtoBYTE2(0x817F7F7F), 3);
  EXPECT_EQ(KXVOffscreen::BYTE8toQMCOLORREF(0x10), 0xEFEFEFu);
  EXPECT_TRUE(KXVOffscreen::IsEqualRGBA(0x00123456, 0x00654321, 0));
  EXPECT_FALSE(KXVOffscreen::IsEqualRGBA(0x01123456, 0x00123456, 0));
  EXPECT_TRUE(KXVOffscreen::IsEqualRGB(0x01101010, 0xFF0E1210, 2));
  EXPECT_FALSE(KXVOffscreen::IsEqualRGB(0x101010, 0x0D1210, 2));
  EXPECT_TRUE(KXVOffscreen::IsEqualB(0, 255, 0x7FFFFFFF));
  EXPECT_FALSE(KXVOffscreen::IsEqual2B(7, 7, -1));
  EXPECT_TRUE(KXVOffscreen::IsEqualQMCOLORREF64(0x0000111122223333, 0x0000999988887777, 0));
  EXPECT_FALSE(KXVOffscreen::IsEqualRGB64(0x100000000, 0x300000000, 1));
}

TEST(Colours, InkDarkensOverPaper) {
  // A transparent destination counts as white paper; a full ink then gives its own colour.
  WORD paper[4] = {1, 2, 3, 0}, ink[4] = {0x1000, 0x2000, 0x3000, 0xFFFF};
  KXVOffscreen::RenderPixelColor64Alpha(paper, ink);
  EXPECT_EQ(paper[0], 0x1000 + 1);  // the weight is a shift: 65535 of 65536
  EXPECT_EQ(paper[2], 0x3000 + 1);
  EXPECT_EQ(paper[3], 0xFFFF);
  WORD black[4] = {0, 0, 0, 0x8000};
  KXVOffscreen::RenderPixelColor64Alpha(black, ink);
  EXPECT_EQ(black[1], 0);
  EXPECT_EQ(black[3], 0xFFFF);
}

}  // namespace
