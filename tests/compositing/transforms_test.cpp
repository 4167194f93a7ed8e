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

// --- What is painted under an image -------------------------------------------------------------

/// White or black under the pixel, as an even or odd `m` says.
void ModelReversePixel(KXVOffscreen& d, int m) {
  const int bits = d.GetBitCount();
  if (m != 0 && bits == 2 && d.Get2BitColor() == 0) d.Set2BitColor(m & 1 ? 3 : 2);
  // The channels in memory, and the alpha before them or behind them.
  BYTE* pixel = d.GetCurrentAddress();
  const int alphaAt = bits == 16 ? 0 : 3, alpha = pixel[alphaAt];
  if (m == 0 || alpha == 255 || (bits != 16 && bits != 32)) return;
  for (int i = 0; i < bits / 8; ++i) {
    const int darker = m & 1 ? std::max(pixel[i] - (255 - alpha), 0) : pixel[i];
    pixel[i] = static_cast<BYTE>(alpha == 0 ? (m & 1 ? 0 : 255) : darker);
  }
  pixel[alphaAt] = 255;
}

/// A square of one of two colours under the pixel, the second one lightened.
void ModelBackgroundPixel(KXVOffscreen& d, DWORD colorA, DWORD colorB) {
  const int bits = d.GetBitCount(), step = bits / 4;
  const bool second = (d.GetCursorPosX() ^ d.GetCursorPosY()) >> 3 & 1;
  const u64 full = bits == 64 ? 65535 : 255;
  u64 tile[4], complement[4];  // red, green, blue, grey
  for (int i = 0; i < 3; ++i) {
    tile[i] = (second ? colorB : colorA) >> 8 * i & 255;
    if (second && colorB != colorA) tile[i] = (tile[i] >> 1) + 127;
    complement[i] = 255 - tile[i];
  }
  tile[3] = (tile[0] + 2 * tile[2] + 4 * tile[1]) / 7;
  complement[3] = (complement[0] + 2 * complement[2] + 4 * complement[1]) / 7;
  const auto under = [&](u64 p, u64 alpha, int i) {
    if (alpha == 0) return tile[i] * (full / 255);
    const u64 ink = complement[i] * (full / 255) * (full - alpha) / full;
    return p > ink ? p - ink : 0;
  };
  BYTE* memory = d.GetCurrentAddress();
  u64 laid = full << 3 * step;
  const u64 p = bits == 64 ? d.Get64BitColor() : d.Get32BitColor();
  for (int i = 0; i < 3; ++i) laid |= under(p >> i * step & full, p >> 3 * step, i) << i * step;
  if (bits == 16) {
    memory[1] = static_cast<BYTE>(under(memory[1], memory[0], 3));
    memory[0] = 255;
  } else if (bits >= 32) {
    bits == 32 ? d.Set32BitColor(static_cast<DWORD>(laid)) : d.Set64BitColor(laid);
  }
}

TEST(Transforms, PaintUnderImagesPixelByPixel) {
  enum { kReverse, kTwoColors, kOneColor, kFillHoles, kWhite, kOperations };
  const KXRect area(3, -2, 505, 28);
  for (int bits : kAllDepths) {
    for (int operation = 0; operation < kOperations; ++operation) {
      SCOPED_TRACE(testing::Message() << "operation " << operation << " at " << bits);
      Random random(static_cast<unsigned>(bits * 8 + operation));
      const DWORD colorA = 0x00102030, colorB = operation == kOneColor ? colorA : 0x00F1E0D3;
      ImagePtr image = RandomImage(bits, 520, 40, random), mask = RandomImage(8, 400, 50, random);
      ImagePtr expected = Clone(*image);
      KXVOffscreen &d = *expected, &walked = operation == kReverse ? *mask : d;
      const bool paints = operation == kReverse ? bits == 2 || bits == 16 || bits == 32
                          : operation == kWhite ? bits == 32
                                                : bits == 16 || bits >= 32;
      {
        KXVOffscreenAutoLock maskLock(mask.get(), 0), lock(&d, 1);
        KXBlockGetter blocks(&walked, area & d.GetRect(), 1);
        for (KXRect part; paints && blocks.GetNextBlock(part);) {
          if (operation != kFillHoles && !walked.GetBlockExist(part.left, part.top)) continue;
          ForEachPixel(d, walked, part, 0, 0, [&] {
            if (operation == kReverse) {
              ModelReversePixel(d, mask->Get8BitColor());
            } else if (operation == kWhite) {
              if ((d.Get32BitColor() & 0xFFFFFF) == 0xFFFFFF) d.Set32BitColor(0x00FFFFFF);
            } else {
              ModelBackgroundPixel(d, colorA, colorB);
            }
          });
        }
      }
      if (operation == kReverse) {
        image->ReverseImage(mask.get(), area.left, area.top, area.Width(), area.Height());
      } else if (operation == kWhite) {
        image->ChangeWhiteToTrans(area);
      } else {
        image->RenderBackground(area, colorA, colorB, operation == kFillHoles);
      }
      ASSERT_NO_FATAL_FAILURE(ExpectSame(*image, d));
    }
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
