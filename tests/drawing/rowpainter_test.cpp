#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>

#include "tests/drawing/drawing_support.h"

// The row painters against the same rows painted pixel by pixel through the cursor.

namespace {

using namespace testing_kxw;

/// The colours of one row: 64 bits at the 64-bit depth, their narrow form at all others.
struct RowColor {
  u64 wide;
  DWORD narrow;
};

/// What the rule for `mode` does to the pixel under the cursor.
void PaintPixel(KXVOffscreen& o, RowColor color, int mode, bool clipBlack) {
  const DWORD c = color.narrow;
  const unsigned a = c >> 24, r = c & 255, g = c >> 8 & 255, b = c >> 16 & 255;
  const unsigned w = a ? a + 1 : 0;
  const auto over = [w](unsigned p, unsigned v) { return BYTE((p * (256 - w) + v * w) >> 8); };
  switch (o.GetBitCount()) {
    case 1: {
      const bool drawn = (c & 0x80808080) != 0;
      if (mode == 0 || mode == 2 || (mode == 1 && drawn)) o.Set1BitColor(drawn);
      return;
    }
    case 2: {
      const bool light = (c & 0x808080) != 0;
      const BYTE value = a <= 0x80 ? 0 : light ? 2 : 3;
      if (clipBlack && value == 2 && mode != 1) {
        if ((mode == 0 || mode == 2) && o.Get2BitColor() == 0) o.Set2BitColor(2);
      } else if (mode == 0 || mode == 2 || (mode == 1 && value == 3)) {
        o.Set2BitColor(value);
      }
      return;
    }
    case 8: {
      const unsigned d = o.Get8BitColor();
      if (mode == 0 || (mode == 1 && d < a)) o.Set8BitColor(BYTE(a));
      if (mode == 2) o.Set8BitColor(BYTE((d + a) / 2));
      if (mode == 3) o.Set8BitColor(BYTE(std::min(d, 255 - a)));
      return;
    }
    case 16: {
      const DWORD p = o.Get16BitColor(), grey = r * w >> 8;
      if (mode == 0 || (mode == 1 && p >> 24 < w)) o.Set16BitColor(0xFF000000 | grey * 0x10101);
      if (mode == 2) o.Set16BitColor((p >> 24) * w >> 8 << 24 | over(p & 255, r) * 0x10101u);
      return;
    }
    case 24:
    case 32: {
      const bool deep = o.GetBitCount() == 32;
      const DWORD p = deep ? o.Get32BitColor() : o.Get24BitColor();
      const unsigned pr = p & 255, pg = p >> 8 & 255, pb = p >> 16 & 255;
      const unsigned wr = r * w >> 8, wg = g * w >> 8, wb = b * w >> 8;
      const bool stronger = deep ? p >> 24 < w : (wr + wg + wb) / 3 < (pr + pg + pb) / 3;
      if (mode == 0 || (mode == 1 && stronger)) o.Set32BitColor(255, BYTE(wr), BYTE(wg), BYTE(wb));
      if (mode == 2) o.Set32BitColor(255, over(pr, r), over(pg, g), over(pb, b));
      return;
    }
    default: {
      const u64 p = o.Get64BitColor();
      const u64 alpha = color.wide >> 48, weight = alpha ? alpha + 1 : 0;
      u64 laid = 0xFFFF, mixed = 0xFFFF;
      for (int shift = 32; shift >= 0; shift -= 16) {
        const u64 v = color.wide >> shift & 0xFFFF, q = p >> shift & 0xFFFF;
        laid = laid << 16 | v * weight >> 16;
        mixed = mixed << 16 | (q * (65536 - weight) + v * weight) >> 16;
      }
      if (mode == 0 || (mode == 1 && p >> 48 < weight)) o.Set64BitColor(laid);
      if (mode == 2) o.Set64BitColor(mixed);
    }
  }
}

struct Row {
  int x1, x2, mode;
  RowColor color;
  bool clipBlack;
  int clipOffset;
  const BYTE* pattern;
};

void PaintFast(KXVOffscreen& o, const Row& row, KXVOffscreen* clip) {
  if (row.clipBlack) {
    static_cast<KXVOffscreen2Bit&>(o).FillLineRowForPolygonClipBlack(
        row.x1, row.x2, row.color.narrow, row.mode, clip, row.clipOffset, row.pattern);
  } else {
    o.FillLineRowForPolygon64(row.x1, row.x2, row.color.wide, row.mode, clip, row.clipOffset,
                              row.pattern);
  }
}

void PaintPlain(KXVOffscreen& o, const Row& row, KXVOffscreen* clip) {
  o.MoveCursorX(row.x1);
  for (int x = row.x1; x <= row.x2; ++x, o.NextCursorX()) {
    // At 32 bits the first pixel knows no offset.
    const int offset = x == row.x1 && o.GetBitCount() == 32 ? 0 : row.clipOffset;
    bool open = !row.pattern || row.pattern[x & 3];
    if (clip) {
      const double ratio = clip->GetResolution() / o.GetResolution();
      clip->MoveCursorX(int((x - o.GetOffset().x + offset) * ratio) + clip->GetOffset().x);
      open = open && clip->Get1BitColor() == 1;
    }
    if (open) PaintPixel(o, row.color, row.mode, row.clipBlack);
  }
}

TEST(RowPainter, EqualsPixelByPixel) {
  for (int bits : kAllDepths) {
    for (unsigned seed = 0; seed < 120; ++seed) {
      SCOPED_TRACE(testing::Message() << bits << " bits, seed " << seed);
      Random random(seed);
      const ImagePtr fast = Scribbled(bits, 600, 4, seed), plain = Scribbled(bits, 600, 4, seed);
      const ImagePtr clip = Scribbled(random.OneIn(4) ? 8 : 1, 400, 4, seed + 1);
      fast->SetOffset(KXPoint(random.Int(-40, 40), 0));
      plain->SetOffset(fast->GetOffset());
      clip->SetOffset(KXPoint(random.Int(-40, 40), 0));
      if (random.OneIn(2)) clip->SetResolution(random.OneIn(2) ? 30 : 144);
      Row row{};
      row.x1 = random.Edge(-20, 620);
      row.x2 = random.Edge(row.x1 - 2, 640);
      row.mode = random.Int(-1, 4);
      row.color.wide = AnyColor64(random);
      row.color.narrow = KXVOffscreen::QMCOLORREF64to32(row.color.wide);
      row.clipBlack = bits == 2 && random.OneIn(2);
      row.clipOffset = random.Int(-20, 20);
      BYTE pattern[4];
      for (BYTE& byte : pattern) byte = BYTE(random.Int(0, 1) * 7);
      row.pattern = random.OneIn(3) ? pattern : nullptr;
      const int y = random.OneIn(10) ? 4 : random.Int(0, 3), clipY = random.Int(-1, 3);
      const bool hasClip = random.OneIn(3);
      int cursors[2][5];
      for (const bool isFast : {true, false}) {
        KXVOffscreen& o = isFast ? *fast : *plain;
        KXVOffscreenAutoLock lock(&o, random.Int(-9, 9), y, 1);
        KXVOffscreenAutoLock clipLock(clip.get(), 0, clipY, 0);
        (isFast ? PaintFast : PaintPlain)(o, row, hasClip ? clip.get() : nullptr);
        int* const c = cursors[!isFast];
        o.GetCursorPos(c[0], c[1]);
        if (row.x1 <= row.x2) clip->GetCursorPos(c[2], c[3]);
        c[4] = int(o.GetLockCount());
      }
      EXPECT_EQ(cursors[0][0], cursors[1][0]);
      EXPECT_EQ(cursors[0][1], cursors[1][1]);
      EXPECT_EQ(cursors[0][4], cursors[1][4]);
      if (row.x1 >= 0 && row.x1 <= row.x2 && row.x2 < 600 && y < 4 && row.mode >= 0 &&
          row.mode < 3) {
        EXPECT_EQ(cursors[0][2], cursors[1][2]);
        EXPECT_EQ(cursors[0][3], cursors[1][3]);
      }
      ASSERT_TRUE(BytesOf(*fast) == BytesOf(*plain));
    }
  }
}

TEST(RowPainter, TakesColumnsFarOutsideAndMakesOnlyTheBlocksItWrites) {
  const ImagePtr image = MakeImage(8, 600, 300);
  KXVOffscreenAutoLock lock(image.get(), 1);
  image->MoveCursor(-1, 7);
  image->FillLineRowForPolygon(256, 511, 0x40000000, 0, nullptr, 0, nullptr);
  EXPECT_FALSE(image->GetBlockExist(0));
  EXPECT_FALSE(image->GetBlockExist(2));
  // Behind the row a move brings the next block about.
  EXPECT_EQ(image->GetCursorPosX(), 512);
  image->MoveCursor(512, 7);
  image->Set8BitColor(9);
  EXPECT_EQ(image->Get8BitColor(), 9);
  image->FillLineRowForPolygon(INT_MIN, INT_MAX, 0x50000000, 0, nullptr, 0, nullptr);
  EXPECT_EQ(image->GetCursorPosX(), INT_MIN);
  for (int x : {0, 255, 256, 599}) {
    image->MoveCursor(x, 7);
    EXPECT_EQ(image->Get8BitColor(), 0x50);
  }
  // The 64-bit depth has no painter for a narrow colour.
  const ImagePtr deep = MakeImage(64, 10, 10);
  KXVOffscreenAutoLock deepLock(deep.get(), 0, 0, 1);
  deep->FillLineRowForPolygon(0, 5, 0xFFFFFFFF, 0, nullptr, 0, nullptr);
  deep->MoveCursor(0, 0);
  EXPECT_EQ(deep->Get64BitColor(), 0x0000FFFFFFFFFFFFu);
}

TEST(RowPainter, SimpleRowsEqualPixelByPixel) {
  for (int bits : kAllDepths) {
    for (unsigned seed = 0; seed < 60; ++seed) {
      SCOPED_TRACE(testing::Message() << bits << " bits, seed " << seed);
      Random random(seed);
      const ImagePtr fast = Scribbled(bits, 530, 4, seed), plain = Scribbled(bits, 530, 4, seed);
      const u64 wide = random.OneIn(3) ? u64(random.Int(0, 3)) : AnyColor64(random);
      const DWORD color = DWORD(wide);
      const KXRect clip = AnyRect(random, 530, 4);
      const bool hasClip = random.OneIn(2), isWide = bits == 64 && random.OneIn(2);
      const int x1 = random.Edge(-20, 550), x2 = random.OneIn(9) ? INT_MAX : random.Edge(-20, 550);
      const int y = random.Int(-1, 4);
      {
        KXVOffscreenAutoLock lock(fast.get(), 1);
        if (isWide) {
          fast->FillLineRow64(x1, x2, y, wide, hasClip ? &clip : nullptr);
        } else {
          fast->FillLineRow(x1, x2, y, color, hasClip ? &clip : nullptr);
        }
      }
      ForEachPixel(*plain, KXRect(0, y, 530, y + 1), [&](int x, int) {
        if (x < x1 || x > x2 || (hasClip && !clip.PtInRect(KXPoint(x, y)))) return;
        if (bits == 1) plain->Set1BitColor((color & 0x80808080) != 0);
        if (bits == 2) plain->Set2BitColor(BYTE(color));
        if (bits == 8) plain->Set8BitColor(BYTE(255 - (color & 255)));
        if (bits == 16) plain->Set16BitColor(color);
        if (bits == 24) plain->Set24BitColor(color);
        if (bits == 32) plain->Set32BitColor(color);
        if (bits == 64) plain->Set64BitColor(isWide ? wide : KXVOffscreen::QMCOLORREF32to64(color));
      });
      ASSERT_TRUE(BytesOf(*fast) == BytesOf(*plain));
    }
  }
}

TEST(RowPainter, SearchFindsTheStrongestPixel) {
  for (int bits : kAllDepths) {
    for (unsigned seed = 0; seed < 40; ++seed) {
      SCOPED_TRACE(testing::Message() << bits << " bits, seed " << seed);
      Random random(seed);
      const ImagePtr image = Scribbled(bits, 530, 3, seed);
      KXVOffscreenAutoLock lock(image.get(), 0, random.Int(-1, 3), 0);
      const int y = image->GetCursorPosY();
      const int x1 = random.Edge(-5, 535), x2 = x1 + random.Int(-1, random.OneIn(2) ? 3 : 300);
      int strongest = 0, end = x1;
      for (image->MoveCursor(x1, y); end <= x2; ++end, image->NextCursorX()) {
        if (bits < 8) {
          strongest = (bits == 1 ? image->Get1BitColor() : image->Get2BitColor()) ? 255 : 0;
          if (strongest) break;
        } else {
          const int value = bits == 8    ? image->Get8BitColor()
                            : bits == 24 ? int(image->Get24BitColor() & 255)
                            : bits == 64 ? int(image->Get64BitColor() >> 48)
                                         : int(image->Get32BitColor() >> 24);
          strongest = std::max(strongest, value);
        }
      }
      EXPECT_EQ(image->SearchLineRowForPolygon(x1, x2), strongest);
      EXPECT_EQ(image->GetCursorPosX(), end);
    }
  }
}

}  // namespace
