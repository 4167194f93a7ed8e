#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>

#include "tests/drawing/drawing_support.h"

// The row painters against the same rows painted pixel by pixel through the cursor.

namespace {

using namespace testing_kxw;

/// What the rule for `mode` does to the pixel under the cursor.
void PaintPixel(KXVOffscreen& o, u64 color, int mode, bool clipBlack) {
  const int bits = o.GetBitCount();
  const DWORD narrow = Narrowed(color);
  const unsigned alpha = narrow >> 24;
  const bool isLight = (narrow & 0x808080) != 0;
  if (bits == 1) {
    const bool drawn = (narrow & 0x80808080) != 0;
    if (mode == 0 || mode == 2 || (mode == 1 && drawn)) o.Set1BitColor(drawn);
  } else if (bits == 2) {
    const BYTE value = alpha <= 0x80 ? 0 : isLight ? 2 : 3;
    if (clipBlack && value == 2 && mode != 1) {
      if ((mode == 0 || mode == 2) && o.Get2BitColor() == 0) o.Set2BitColor(2);
    } else if (mode == 0 || mode == 2 || (mode == 1 && value == 3)) {
      o.Set2BitColor(value);
    }
  } else if (bits == 8) {
    const unsigned d = o.Get8BitColor();
    if (mode == 0 || (mode == 1 && d < alpha)) o.Set8BitColor(BYTE(alpha));
    if (mode == 2) o.Set8BitColor(BYTE((d + alpha) / 2));
    if (mode == 3) o.Set8BitColor(BYTE(std::min(d, 255 - alpha)));
  } else {
    // Channels of n bits, red first and alpha last. At 16 bits red stands for all three colours.
    const int n = bits == 64 ? 16 : 8;
    const u64 p = n == 16 ? o.Get64BitColor() : KXVOffscreen::QMCOLORREF32to64(o.Get32BitColor());
    const auto channel = [n](u64 v, int i) { return (v >> 16 * i & 0xFFFF) >> (16 - n); };
    const u64 full = (1ull << n) - 1, a = channel(color, 3), w = a ? a + 1 : 0;
    u64 laid = full, mixed = bits == 16 ? channel(p, 3) * w >> n : full, sumLaid = 0, sum = 0;
    for (int i = 2; i >= 0; --i) {
      const u64 v = channel(color, bits == 16 ? 0 : i), below = channel(p, i);
      laid = laid << n | v * w >> n;
      mixed = mixed << n | (below * (full + 1 - w) + v * w) >> n;
      sumLaid += v * w >> n;
      sum += below;
    }
    const bool isStronger = bits == 24 ? sumLaid / 3 < sum / 3 : channel(p, 3) < w;
    if (mode < 0 || mode > 2 || (mode == 1 && !isStronger)) return;
    const u64 result = mode == 2 ? mixed : laid;
    if (bits == 16) return o.Set16BitColor(DWORD(result));
    n == 16 ? o.Set64BitColor(result) : o.Set32BitColor(DWORD(result));
  }
}

struct Row {
  int x1, x2, mode, clipOffset;
  bool clipBlack;
  KXVOffscreen* clip;
};

void PaintFast(Twins& t, const Row& row) {
  if (row.clipBlack) {
    static_cast<KXVOffscreen2Bit&>(*t.fast).FillLineRowForPolygonClipBlack(
        row.x1, row.x2, Narrowed(t.color), row.mode, row.clip, row.clipOffset, t.stipple);
  } else {
    t.fast->FillLineRowForPolygon64(row.x1, row.x2, t.color, row.mode, row.clip, row.clipOffset,
                                    t.stipple);
  }
}

void PaintPlain(Twins& t, const Row& row) {
  KXVOffscreen& o = *t.plain;
  o.MoveCursorX(row.x1);
  for (int x = row.x1; x <= row.x2; ++x, o.NextCursorX()) {
    // At 32 bits the first pixel knows no offset.
    const int offset = x == row.x1 && t.bits == 32 ? 0 : row.clipOffset;
    bool open = !t.stipple || t.stipple[x & 3];
    if (row.clip) {
      const double ratio = row.clip->GetResolution() / o.GetResolution();
      row.clip->MoveCursorX(int((x - o.GetOffset().x + offset) * ratio) + row.clip->GetOffset().x);
      open = open && row.clip->Get1BitColor() == 1;
    }
    if (open) PaintPixel(o, t.color, row.mode, row.clipBlack);
  }
}

TEST(RowPainter, EqualsPixelByPixel) {
  for (unsigned seed = 0; seed < 900; ++seed) {
    SCOPED_TRACE(seed);
    Twins t(seed, kAllDepths[seed % 7], 600, 4);
    Random& random = t.random;
    const ImagePtr clip = Scribbled(random.OneIn(4) ? 8 : 1, 400, 4, seed + 1);
    const KXPoint offset(random.Int(-40, 40), 0);
    t.fast->SetOffset(offset);
    t.plain->SetOffset(offset);
    clip->SetOffset(KXPoint(random.Int(-40, 40), 0));
    if (random.OneIn(2)) clip->SetResolution(random.OneIn(2) ? 30 : 144);
    Row row{};
    row.x1 = random.Edge(-20, 620);
    row.x2 = random.Edge(row.x1 - 2, 640);
    row.mode = random.Int(-1, 4);
    row.clipOffset = random.Int(-20, 20);
    row.clipBlack = t.bits == 2 && random.OneIn(2);
    row.clip = random.OneIn(3) ? clip.get() : nullptr;
    const int x = random.Int(-9, 9), y = random.Int(0, 4), clipY = random.Int(-1, 3);
    KXVOffscreenAutoLock fastLock(t.fast.get(), x, y, 1), plainLock(t.plain.get(), x, y, 1);
    KXVOffscreenAutoLock clipLock(clip.get(), 0, clipY, 0);
    PaintFast(t, row);
    clip->MoveCursor(0, clipY);
    PaintPlain(t, row);
    EXPECT_EQ(t.fast->GetCursorPosX(), t.plain->GetCursorPosX());
    EXPECT_EQ(t.fast->GetCursorPosY(), t.plain->GetCursorPosY());
    ASSERT_TRUE(t.Agree());
  }
}

TEST(RowPainter, TakesColumnsFarOutsideAndMakesOnlyTheBlocksItWrites) {
  const ImagePtr image = MakeImage(8, 600, 300);
  KXVOffscreenAutoLock lock(image.get(), -1, 7, 1);
  image->FillLineRowForPolygon(256, 511, 0x40000000, 0, nullptr, 0, nullptr);
  EXPECT_FALSE(image->GetBlockExist(0) || image->GetBlockExist(2));
  // Behind the row, a move brings the next block about.
  EXPECT_EQ(image->GetCursorPosX(), 512);
  image->MoveCursor(512, 7);
  EXPECT_TRUE(image->GetBlockExist(2));
  image->FillLineRowForPolygon(INT_MIN, INT_MAX, 0x50000000, 0, nullptr, 0, nullptr);
  EXPECT_EQ(image->GetCursorPosX(), INT_MIN);
  image->MoveCursor(599, 7);
  EXPECT_EQ(image->Get8BitColor(), 0x50);
  // The 64-bit depth has no painter for a narrow colour.
  const ImagePtr deep = MakeImage(64, 10, 10);
  KXVOffscreenAutoLock deepLock(deep.get(), 0, 0, 1);
  deep->FillLineRowForPolygon(0, 5, 0xFFFFFFFF, 0, nullptr, 0, nullptr);
  deep->MoveCursor(0, 0);
  EXPECT_EQ(deep->Get64BitColor(), 0x0000FFFFFFFFFFFFu);
  // A search at 24 bits takes what is away for white, at other depths for nothing.
  const ImagePtr white = MakeImage(24, 10, 10), none = MakeImage(8, 10, 10);
  for (KXVOffscreen* o : {white.get(), none.get()}) {
    KXVOffscreenAutoLock readLock(o, 0, 3, 1);
    o->RectFill(o->GetRect(), 0, o == white.get() ? 0 : 0xFFFFFF);
    EXPECT_EQ(o->SearchLineRowForPolygon(0, 9), 0);
    EXPECT_EQ(o->SearchLineRowForPolygon(5, 10), o == white.get() ? 255 : 0);
    EXPECT_EQ(o->SearchLineRowForPolygon(-1, 3), o == white.get() ? 255 : 0);
    EXPECT_EQ(o->GetCursorPosX(), 4);
  }
}

}  // namespace
