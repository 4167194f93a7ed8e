#include <gtest/gtest.h>

#include <cmath>

#include "tests/compositing/copymodel.h"

namespace {

using namespace testing_kxw;

int ModelDither(int value, int x, int y) {
  const auto level = static_cast<std::size_t>(std::trunc(value * 0.0625 + 0.5));
  return KXVOffscreen::cbDitherTable[level][static_cast<std::size_t>(x & 3)]
                                    [static_cast<std::size_t>(y & 3)];
}

void ModelMonochromicPixel(KXVOffscreen& dst, KXVOffscreen& src, int invert, int useMask) {
  const int bits = src.GetBitCount(), dstBits = dst.GetBitCount();
  if (bits == 1) {
    const BYTE v = src.Get1BitColor();
    return dst.Set1BitColor(invert ? v != 1 : v);
  }
  BYTE v;
  if (bits == 2) {
    v = src.Get2BitColor();
    if (dstBits != 2 && v == 2) v = 0;
  } else {
    const int x = src.GetCursorPosX(), y = src.GetCursorPosY();
    const DWORD c = src.Get16BitColor();
    const int h = static_cast<int>(c >> 24), l = 255 - static_cast<int>(c & 255);
    const auto sorted = [&](int value) {
      return value < 15 ? 0 : value < 208 ? ModelDither(value, x, y) : 1;
    };
    int high, low;
    if (!useMask && (bits == 16 || bits == 32)) {
      high = sorted(h);
      low = high ? sorted(l) : 0;
    } else {
      low = l == 0 ? 0 : ModelDither(l, x, y);
      high = h == 0 ? 0 : ModelDither(h, x, y);
    }
    v = static_cast<BYTE>(2 * high + low);
    if (dstBits != 2 && dstBits != 16 && dstBits != 32 && (v == 1 || v == 2)) v = 0;
  }
  if (invert) v = v == 0 || v == 2 ? 3 : 0;
  dst.Set2BitColor(v);
}

void ModelGrayishPixel(KXVOffscreen& dst, KXVOffscreen& src, int invert) {
  const DWORD c = src.Get24BitColor();
  const DWORD grey = ((c & 255) + 2 * (c >> 16 & 255) + 4 * (c >> 8 & 255)) / 7;
  dst.Set8BitColor(static_cast<BYTE>(invert ? grey : 255 - grey));
}

TEST(Reduction, EqualsThePixelByPixelForm) {
  for (int bits : kAllDepths) {
    for (int srcBits : kAllDepths) {
      for (int mode = 0; mode < 5; ++mode) {
        Random random(static_cast<unsigned>(bits * 100 + srcBits + mode));
        ImagePtr dst = RandomImage(bits, 300, 70, random);
        ImagePtr src = RandomImage(srcBits, 520, 60, random);
        const CopyCase c(*dst, *src, random);
        SCOPED_TRACE(testing::Message() << srcBits << " to " << bits << " mode " << mode << c);
        const int invert = mode & 1, useMask = mode >> 1;
        ImagePtr expected = Clone(*dst);
        if (mode == 4 && bits == 16) {
          expected->Copy(c.dstX, c.dstY, c.width, c.height, src.get(), c.srcX, c.srcY, 1);
        } else {
          ForEachPart(*expected, *src, c, [&](const KXRect& part) {
            if (!src->GetBlockExist(part.left, part.top)) return;
            ForEachPixel(*expected, *src, part, c.dstX - c.srcX, c.dstY - c.srcY, [&] {
              if (mode == 4) {
                ModelGrayishPixel(*expected, *src, bits & 2);
              } else {
                ModelMonochromicPixel(*expected, *src, invert, useMask);
              }
            });
          });
        }
        if (mode == 4) {
          dst->Grayish(c.dstX, c.dstY, c.width, c.height, src.get(), c.srcX, c.srcY, bits & 2);
        } else {
          dst->Monochromic(c.dstX, c.dstY, c.width, c.height, src.get(), c.srcX, c.srcY, invert,
                           useMask);
        }
        ASSERT_NO_FATAL_FAILURE(ExpectSame(*dst, *expected));
      }
    }
  }
}

int AtLeast0(int value) { return std::max(value, 0); }

TEST(ReverseImage, PaintsWhiteOrBlackUnderTheImage) {
  for (int bits : kAllDepths) {
    Random random(static_cast<unsigned>(bits));
    ImagePtr image = RandomImage(bits, 520, 40, random), mask = RandomImage(8, 400, 50, random);
    ImagePtr expected = Clone(*image);
    KXVOffscreen& d = *expected;
    const CopyCase c = [&] {
      CopyCase place(d, *mask, random);
      place.dstX = place.srcX = 3;
      place.dstY = place.srcY = -2;
      place.width = place.height = 1000;
      return place;
    }();
    ForEachPart(d, *mask, c, [&](const KXRect& part) {
      if (!mask->GetBlockExist(part.left, part.top)) return;
      ForEachPixel(d, *mask, part, 0, 0, [&] {
        const int m = mask->Get8BitColor();
        if (m == 0) return;
        if (bits == 2 && d.Get2BitColor() == 0) d.Set2BitColor(m & 1 ? 3 : 2);
        if (bits != 16 && bits != 32) return;
        // The channels in memory, and the alpha before them or behind them.
        BYTE* pixel = d.GetCurrentAddress();
        const int alphaAt = bits == 16 ? 0 : 3, alpha = pixel[alphaAt];
        if (alpha == 255) return;
        for (int i = 0; i < bits / 8; ++i) {
          if (alpha == 0)
            pixel[i] = m & 1 ? 0 : 255;
          else if (m & 1)
            pixel[i] = static_cast<BYTE>(AtLeast0(pixel[i] - (255 - alpha)));
        }
        pixel[alphaAt] = 255;
      });
    });
    image->ReverseImage(mask.get(), 3, -2, 1000, 1000);
    SCOPED_TRACE(bits);
    ASSERT_NO_FATAL_FAILURE(ExpectSame(*image, d));
  }
}

TEST(RenderBackground, LaysACheckerboardUnderTheImage) {
  const DWORD colorA = 0x00102030, colorB = 0x00F1E0D3;
  for (int bits : kAllDepths) {
    for (int includeEmpty : {0, 1}) {
      Random random(static_cast<unsigned>(bits + 1000 * includeEmpty));
      ImagePtr image = RandomImage(bits, 700, 30, random), expected = Clone(*image);
      KXVOffscreen& d = *expected;
      const KXRect rect(5, -3, 690, 28);
      const DWORD other = includeEmpty ? colorB : colorA;
      if (bits == 16 || bits == 32 || bits == 64) {
        KXVOffscreenAutoLock lock(&d, 1);
        KXBlockGetter blocks(&d, rect, 1);
        for (KXRect part; blocks.GetNextBlock(part);) {
          if (!includeEmpty && d.CheckAreaType(part.left, part.top) != kAreaContents) continue;
          ForEachPixel(d, d, part, 0, 0, [&] {
            const int t = (d.GetCursorPosX() ^ d.GetCursorPosY()) >> 3 & 1;
            const u64 full = bits == 64 ? 65535 : 255, wide = full / 255;
            u64 tile[4], complement[4];  // red, green, blue, grey
            for (int i = 0; i < 3; ++i) {
              tile[i] = (t ? other : colorA) >> 8 * i & 255;
              if (t && other != colorA) tile[i] = (tile[i] >> 1) + 127;
              complement[i] = 255 - tile[i];
            }
            tile[3] = (tile[0] + 2 * tile[2] + 4 * tile[1]) / 7;
            complement[3] = (complement[0] + 2 * complement[2] + 4 * complement[1]) / 7;
            const auto under = [&](u64 p, u64 alpha, int i) {
              if (alpha == 0) return tile[i] * wide;
              const u64 ink = complement[i] * wide * (full - alpha) / full;
              return p > ink ? p - ink : 0;
            };
            if (bits == 16) {
              BYTE* p = d.GetCurrentAddress();
              p[1] = static_cast<BYTE>(under(p[1], p[0], 3));
              p[0] = 255;
              return;
            }
            const int step = bits / 4;
            const u64 p = bits == 32 ? d.Get32BitColor() : d.Get64BitColor();
            u64 laid = full << 3 * step;
            for (int i = 0; i < 3; ++i) {
              laid |= under(p >> i * step & full, p >> 3 * step, i) << i * step;
            }
            bits == 32 ? d.Set32BitColor(static_cast<DWORD>(laid)) : d.Set64BitColor(laid);
          });
        }
      }
      image->RenderBackground(rect, colorA, other, includeEmpty);
      SCOPED_TRACE(bits);
      ASSERT_NO_FATAL_FAILURE(ExpectSame(*image, d));
    }
  }
}

TEST(ChangeWhiteToTrans, MakesWhiteTransparentAt32Bits) {
  for (int bits : {24, 32}) {
    Random random(static_cast<unsigned>(bits));
    ImagePtr image = RandomImage(bits, 520, 20, random), expected = Clone(*image);
    KXVOffscreen& d = *expected;
    for (int bx = 0; bits == 32 && bx < 3; ++bx) {
      if (!d.IsCreatedBlockByIndex(bx, 0)) continue;
      KXVOffscreenAutoLock lock(&d, 1);
      ForEachPixel(d, d, KXRect(bx * 256, 2, std::min(bx * 256 + 256, 515), 18), 0, 0, [&] {
        if ((d.Get32BitColor() & 0xFFFFFF) == 0xFFFFFF) d.Set32BitColor(0x00FFFFFF);
      });
    }
    image->ChangeWhiteToTrans(KXRect(0, 2, 515, 18));
    ASSERT_NO_FATAL_FAILURE(ExpectSame(*image, d));
  }
}

// Images that are their own source or mask are read as they were, and null does nothing.
TEST(Transforms, TakeTheirOwnImageAndNull) {
  Random random(3);
  ImagePtr image = RandomImage(32, 300, 300, random), before = Clone(*image);
  ImagePtr expected = Clone(*image);
  expected->Monochromic(7, 9, 300, 300, before.get(), 0, 0, 0, 0);
  image->Monochromic(7, 9, 300, 300, image.get(), 0, 0, 0, 0);
  ImagePtr later = Clone(*expected);
  expected->ReverseImage(later.get(), 0, 0, 300, 300);
  image->ReverseImage(image.get(), 0, 0, 300, 300);
  image->Monochromic(0, 0, 300, 300, nullptr, 0, 0, 0, 0);
  image->Grayish(0, 0, 300, 300, nullptr, 0, 0, 0);
  image->ReverseImage(nullptr, 0, 0, 300, 300);
  ExpectSame(*image, *expected);
}

}  // namespace
