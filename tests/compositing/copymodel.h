#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <ostream>
#include <vector>

#include "kxwcmn/offscreen/autolock.h"
#include "kxwcmn/offscreen/blockgetter.h"
#include "kxwcmn/offscreen/voffscreen_depths.h"
#include "tests/support/images.h"

// Copies pixel by pixel through the public cursor, as the rules tell them, and what it takes to
// compare images with holes.
namespace testing_kxw {

/// Noise in which 0 and 255 are frequent, in about half of the blocks or in all.
inline ImagePtr RandomImage(int bits, int width, int height, Random& random, bool holes = true) {
  ImagePtr image = MakeImage(bits, width, height);
  image->SetClearColor(static_cast<BYTE>(random.OneIn(2) ? 0 : 0xB4));
  image->SetClearColor(static_cast<DWORD>(random.OneIn(2) ? 0x00FFFFFF : 0x40306090));
  if (bits == 64 && random.OneIn(2)) {
    static_cast<KXVOffscreen64Bit&>(*image).SetClearQMCOLORREF64(0x4000300060009000);
  }
  KXVOffscreenAutoLock lock(image.get(), 1);
  KXBlockGetter blocks(image.get(), image->GetRect(), 1);
  for (KXRect part; blocks.GetNextBlock(part);) {
    if (holes && random.OneIn(2)) continue;
    image->MoveCursor(part.left, part.top);
    for (int i = 0; i < image->GetBlockRowBytes() * 256; ++i) {
      const u64 dice = random.Bits();
      image->GetBaseAddress()[i] = static_cast<BYTE>(dice & 256 ? dice : dice & 512 ? 0 : 255);
    }
  }
  return image;
}

/// The pixel under the cursor as the bits that stand in memory.
inline u64 RawPixel(const KXVOffscreen& image) {
  const int bits = image.GetBitCount();
  u64 raw = 0;
  if (bits >= 8) {
    std::memcpy(&raw, image.GetCurrentAddress(), static_cast<std::size_t>(bits / 8));
    return raw;
  }
  const int place = image.GetCursorPosX() * bits & 7;
  return *image.GetCurrentAddress() >> (8 - bits - place) & ((1 << bits) - 1);
}

inline void SetRawPixel(KXVOffscreen& image, u64 raw) {
  const int bits = image.GetBitCount();
  if (bits >= 8) {
    std::memcpy(image.GetCurrentAddress(), &raw, static_cast<std::size_t>(bits / 8));
    return;
  }
  const int shift = 8 - bits - (image.GetCursorPosX() * bits & 7);
  BYTE& byte = *image.GetCurrentAddress();
  byte = static_cast<BYTE>((byte & ~(((1 << bits) - 1) << shift)) | raw << shift);
}

/// The bytes of all pixels, block by block. Holes become blocks, and so hold the clear value.
inline std::vector<BYTE> Pixels(KXVOffscreen& image) {
  std::vector<BYTE> bytes;
  KXVOffscreenAutoLock lock(&image, 1);
  KXBlockGetter blocks(&image, image.GetRect(), 1);
  for (KXRect part; blocks.GetNextBlock(part);) {
    const int bits = part.Width() * image.GetBitCount();
    for (int y = part.top; y < part.bottom; ++y) {
      image.MoveCursor(part.left, y);
      const BYTE* row = image.GetCurrentAddress();
      bytes.insert(bytes.end(), row, row + (bits + 7) / 8);
      if (bits & 7) bytes.back() &= static_cast<BYTE>(0xFF00 >> (bits & 7));
    }
  }
  return bytes;
}

inline ImagePtr Clone(KXVOffscreen& image) {
  ImagePtr copy = MakeImage(image.GetBitCount(), image.GetWidth(), image.GetHeight());
  BYTE byte;
  DWORD color;
  image.GetClearColor(&byte);
  image.GetClearColor(&color);
  copy->SetClearColor(byte);
  copy->SetClearColor(color);
  if (image.GetBitCount() == 64) {
    static_cast<KXVOffscreen64Bit&>(*copy).SetClearQMCOLORREF64(
        static_cast<KXVOffscreen64Bit&>(image).GetClearQMCOLORREF64());
  }
  KXVOffscreenAutoLock lock(&image, 0), copyLock(copy.get(), 1);
  for (int i = 0; i < image.GetBlockCount(nullptr, nullptr); ++i) {
    if (!image.GetBlockExist(i)) continue;
    const KXRect block = image.GetBlockByIndex(i);
    image.MoveCursor(block.left, block.top);
    copy->MoveCursor(block.left, block.top);
    std::memcpy(copy->GetBaseAddress(), image.GetBaseAddress(),
                static_cast<std::size_t>(image.GetBlockRowBytes()) * 256);
  }
  return copy;
}

/// The same pixels; and no block in `actual` that `expected` has not. One that holds nothing but
/// the clear value may be missing. Holes become blocks.
inline void ExpectSame(KXVOffscreen& actual, KXVOffscreen& expected) {
  for (int i = 0; i < actual.GetBlockCount(nullptr, nullptr); ++i) {
    ASSERT_TRUE(!actual.GetBlockExist(i) || expected.GetBlockExist(i)) << "block " << i;
  }
  const std::vector<BYTE> a = Pixels(actual), b = Pixels(expected);
  ASSERT_EQ(a.size(), b.size());
  const auto at = std::mismatch(a.begin(), a.end(), b.begin()).first - a.begin();
  ASSERT_TRUE(a == b) << "byte " << at << " of the pixels: " << int{a[static_cast<std::size_t>(at)]}
                      << " for " << int{b[static_cast<std::size_t>(at)]};
}

struct CopyCase {
  int dstX, dstY, width, height, srcX, srcY, clearMode, behind;

  CopyCase(const KXVOffscreen& dst, const KXVOffscreen& src, Random& random) {
    const int kind = random.Int(0, 3);  // free, aligned in x, in both, exactly over each other
    srcX = random.Edge(-40, src.GetWidth());
    srcY = random.Edge(-40, src.GetHeight());
    dstX = kind > 0 ? srcX + 256 * random.Int(-1, 1) : random.Edge(-40, dst.GetWidth());
    dstY = kind > 1 ? srcY + 256 * random.Int(-1, 1) : random.Edge(-40, dst.GetHeight());
    if (kind == 3) dstX = srcX, dstY = srcY;
    width = random.OneIn(2) ? 1000 : random.Edge(-2, 520);
    height = random.OneIn(2) ? 1000 : random.Edge(-2, 520);
    clearMode = random.Int(-1, 2);
    behind = random.Int(0, 1);
  }
  friend std::ostream& operator<<(std::ostream& out, const CopyCase& c) {
    return out << "dst " << c.dstX << ',' << c.dstY << " size " << c.width << ',' << c.height
               << " src " << c.srcX << ',' << c.srcY << " clear " << c.clearMode << " behind "
               << c.behind;
  }
};

/// Calls `op(part)` for the parts of the source's blocks that a copy reads.
template <class Op>
void ForEachPart(KXVOffscreen& dst, KXVOffscreen& src, const CopyCase& c, Op op) {
  const KXRect inDst = KXRect(c.dstX, c.dstY, c.dstX + c.width, c.dstY + c.height) & dst.GetRect();
  const KXRect inSrc = KXRect(c.srcX, c.srcY, c.srcX + c.width, c.srcY + c.height) & src.GetRect();
  KXRect area;
  if (!area.IntersectWithOffset(inSrc, inDst, c.dstX - c.srcX, c.dstY - c.srcY)) return;
  KXVOffscreenAutoLock dstLock(&dst, 1), srcLock(&src, 0);
  KXBlockGetter blocks(&src, area, 1);
  for (KXRect part; blocks.GetNextBlock(part);) op(part);
}

/// Calls `op()` with both cursors on each pixel of a part.
template <class Op>
void ForEachPixel(KXVOffscreen& dst, KXVOffscreen& src, const KXRect& part, int dx, int dy, Op op) {
  for (int y = part.top; y < part.bottom; ++y) {
    for (int x = part.left; x < part.right; ++x) {
      src.MoveCursor(x, y);
      dst.MoveCursor(x + dx, y + dy);
      op();
    }
  }
}

// --- The rules ----------------------------------------------------------------------------------

inline DWORD Clear32(const KXVOffscreen& image) {
  DWORD color;
  image.GetClearColor(&color);
  return color;
}

/// The channel rule of the copies behind, from alpha down to the first channel.
inline u64 ModelBehind(u64 d, u64 s, int channelBits) {
  const u64 full = (1ull << channelBits) - 1;
  const int alphaAt = 3 * channelBits;
  const u64 sa = s >> alphaAt & full, da = d >> alphaAt & full;
  if (sa == 0 || da == full) return d;
  const u64 seen = sa * (full - da) / full;
  u64 result = (full - (full - sa) * (full - da) / full) << alphaAt;
  for (int at = 0; at < alphaAt; at += channelBits) {
    const u64 ink = (full - (s >> at & full)) * seen / full, channel = d >> at & full;
    result |= (channel > ink ? channel - ink : 0) << at;
  }
  return result;
}

inline BYTE ModelDensityBehind(int d, int s) {
  return static_cast<BYTE>(255 - ((255 - d) * (255 - s) >> 8));
}

inline void ModelPixelBehind(KXVOffscreen& dst, KXVOffscreen& src) {
  switch (src.GetBitCount()) {
    case 1:
      if (const BYTE v = src.Get1BitColor()) dst.Set1BitColor(v);
      break;
    case 2:
      if (const BYTE v = src.Get2BitColor()) dst.Set2BitColor(v);
      break;
    case 8:
      if (const BYTE s = src.Get8BitColor()) {
        dst.Set8BitColor(ModelDensityBehind(dst.Get8BitColor(), s));
      }
      break;
    case 64:
      dst.Set64BitColor(ModelBehind(dst.Get64BitColor(), src.Get64BitColor(), 16));
      break;
    default:
      dst.Set32BitColor(
          static_cast<DWORD>(ModelBehind(dst.Get32BitColor(), src.Get32BitColor(), 8)));
  }
}

inline bool IsAll(const KXVOffscreen& dst, const KXVOffscreen& src, const CopyCase& c) {
  return c.dstX == 0 && c.dstY == 0 && c.srcX == 0 && c.srcY == 0 && c.width == dst.GetWidth() &&
         c.height == dst.GetHeight() && c.width == src.GetWidth() && c.height == src.GetHeight() &&
         dst.GetBitCount() == src.GetBitCount();
}

inline void ModelCopyAll(KXVOffscreen& dst, KXVOffscreen& src) {
  dst.DestroyAllBlock();
  KXVOffscreenAutoLock dstLock(&dst, 1), srcLock(&src, 0);
  ForEachPixel(dst, src, src.GetRect(), 0, 0, [] {});  // makes too much: dropped below
  for (int i = 0; i < src.GetBlockCount(nullptr, nullptr); ++i) {
    const KXRect part = src.GetBlockByIndex(i) & src.GetRect();
    if (!src.GetBlockExist(i)) {
      dst.DestroyBlock(i);
    } else {
      ForEachPixel(dst, src, part, 0, 0, [&] { SetRawPixel(dst, RawPixel(src)); });
    }
  }
}

/// CommonCopy, and with `wide` Copy64.
inline void ModelCommonCopy(KXVOffscreen& dst, KXVOffscreen& src, const CopyCase& c, bool wide) {
  if (!c.behind && IsAll(dst, src, c)) return ModelCopyAll(dst, src);
  const bool same = dst.GetBitCount() == src.GetBitCount();
  const bool isGrey = src.GetBitCount() == 8 && dst.GetBitCount() == 24;
  ForEachPart(dst, src, c, [&](const KXRect& part) {
    const bool hole = !src.GetBlockExist(part.left, part.top);
    if (hole && (c.clearMode == 0 || (!c.behind && c.clearMode != 1))) return;
    ForEachPixel(dst, src, part, c.dstX - c.srcX, c.dstY - c.srcY, [&] {
      if (hole && !c.behind) {
        if (wide) {
          dst.Set64BitColor(static_cast<KXVOffscreen64Bit&>(dst).GetClearQMCOLORREF64());
        } else {
          dst.Set32BitColor(Clear32(dst));
        }
      } else if (same && c.behind) {
        ModelPixelBehind(dst, src);
      } else if (same && dst.GetBitCount() == 64) {
        dst.Set64BitColor(src.Get64BitColor());
      } else if (same) {
        dst.SetColor(src.GetColor());
      } else if (isGrey) {
        dst.Set24BitColor((255u - src.Get8BitColor()) * 0x010101u | 0xFF000000);
      } else {
        dst.Set32BitColor(src.Get32BitColor());
      }
    });
  });
}

/// The clear of the copy within one depth; `grade` is 0 for runs of whole rows, 1 where columns
/// agree, 2 elsewhere.
inline void ModelClear(KXVOffscreen& dst, int grade) {
  BYTE byte;
  dst.GetClearColor(&byte);
  const int bits = dst.GetBitCount();
  if (bits == 8) return dst.Set8BitColor(byte);
  if (bits == 32) return dst.Set32BitColor(Clear32(dst));
  const u64 fromByte = byte >> (8 - bits - (dst.GetCursorPosX() * bits & 7)) & ((1 << bits) - 1);
  SetRawPixel(dst, grade == 0 || (grade == 2 && bits == 1) ? fromByte : 0);
}

inline void ModelCopy(KXVOffscreen& dst, KXVOffscreen& src, CopyCase c) {
  c.behind = 0;
  const int bits = dst.GetBitCount();
  if (bits == 64) return ModelCommonCopy(dst, src, c, true);
  if (bits == 16 || bits == 24 || bits != src.GetBitCount()) {
    return ModelCommonCopy(dst, src, c, false);
  }
  if (IsAll(dst, src, c)) return ModelCopyAll(dst, src);
  const int dx = c.dstX - c.srcX, dy = c.dstY - c.srcY;
  std::vector<int> freed;
  ForEachPart(dst, src, c, [&](const KXRect& part) {
    const bool run = dx % 256 == 0 && dy % 256 == 0 && part.Width() == 256;
    const int grade = run ? 0 : dx % 256 == 0 ? 1 : 2;
    if (src.GetBlockExist(part.left, part.top)) {
      ForEachPixel(dst, src, part, dx, dy, [&] {
        if (grade < 2) {
          SetRawPixel(dst, RawPixel(src));
        } else {
          dst.SetColor(src.GetColor());
        }
      });
    } else if (run && part.Height() == 256) {
      freed.push_back(dst.GetBlockIndex(part.left + dx, part.top + dy));
    } else if (c.clearMode == 1) {
      ForEachPixel(dst, src, part, dx, dy, [&] { ModelClear(dst, grade); });
    }
  });
  for (int index : freed) dst.DestroyBlock(index);
}

}  // namespace testing_kxw
