#include <gtest/gtest.h>

#include <vector>

#include "kxwcmn/compositing/complexcolor.h"
#include "kxwcmn/compositing/pixelmixer.h"
#include "kxwcmn/compositing/voffpixelmixer.h"
#include "kxwcmn/core/exception.h"
#include "tests/compositing/copymodel.h"

#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

namespace {

using namespace testing_kxw;

// Each pixel that a source lays goes, with its colour, to the mixer at its place: the picture is
// not pushed over the edge, and an empty part clears its own coordinates.
void ModelCommonCopy3(KXVOffscreen& dst, KXVOffscreen& src, CopyCase c, KXVOffPixelMixer& mixer,
                      u64 color, int ignoreWhite) {
  if (c.dstX < 0) c.width += c.dstX, c.dstX = 0;
  if (c.dstY < 0) c.height += c.dstY, c.dstY = 0;
  c.width = std::min(c.width, dst.GetWidth() - c.dstX);
  c.height = std::min(c.height, dst.GetHeight() - c.dstY);
  if (c.width < 0 || c.height < 0) return;
  const int dx = c.dstX - c.srcX, dy = c.dstY - c.srcY;
  KXVOffscreenAutoLock dstLock(&dst, 1), srcLock(&src, 0);
  KXBlockGetter blocks(&src, KXRect(c.srcX, c.srcY, c.srcX + c.width, c.srcY + c.height), 1);
  for (KXRect part; blocks.GetNextBlock(part);) {
    if (!src.GetBlockExist(part.left, part.top)) {
      if (c.clearMode != 1) continue;
      ForEachPixel(dst, src, part, 0, 0, [&] {
        if (dst.GetCurrentAddress()) dst.Set32BitColor(Clear32(dst));
      });
      continue;
    }
    ForEachPixel(dst, src, part, dx, dy, [&] {
      if (src.GetBitCount() <= 8) {
        const u64 m = src.Get8BitColor(), alpha = color >> 48;
        if (m)
          mixer.Do(KXComplexColor(src.GetBitCount(),
                                  (color & 0xFFFFFFFFFFFF) | m * alpha * 257 / 65535 << 48));
        return;
      }
      const DWORD pixel = src.Get32BitColor();
      if (pixel >> 24 && (!ignoreWhite || (pixel & 0xFFFFFF) < 0xFFFFFF)) {
        mixer.Do(KXComplexColor(src.GetBitCount(), pixel));
      }
    });
  }
}

/// A rule of an application's own, which has no loop over memory.
class OwnBlend : public KXPixelMixerBlend {};

TEST(CommonCopy3, LaysEachPixelThroughTheMixer) {
  KXPixelMixerBlend blend;
  OwnBlend ownBlend;
  KXPixelMixerWeightCopy weightCopy;
  KXPixelMixer* const rules[] = {&blend, &ownBlend, &weightCopy};
  for (int bits : kAllDepths) {
    for (int srcBits : kAllDepths) {
      for (unsigned seed = 0; seed < 3; ++seed) {
        Random random(seed + static_cast<unsigned>(bits * srcBits));
        ImagePtr dst = RandomImage(bits, 300, 280, random);
        ImagePtr src = RandomImage(srcBits, 290, 270, random);
        const CopyCase c(*dst, *src, random);
        SCOPED_TRACE(testing::Message() << srcBits << " to " << bits << " bits, " << c);
        const u64 color = random.Bits();
        ImagePtr expected = Clone(*dst);
        KXVOffPixelMixer mixer;
        mixer.SetNode(rules[seed]);
        mixer.SetColor(KXComplexColor(64, random.Bits()));  // its alpha weighs
        const int depth = random.OneIn(4) ? 48 : bits;      // of another depth's rule
        mixer.SetDstOffscreen(depth, expected.get());
        ModelCommonCopy3(*expected, *src, c, mixer, color, seed < 2);
        mixer.SetDstOffscreen(depth, dst.get());
        dst->CommonCopy3(c.dstX, c.dstY, c.width, c.height, src.get(), c.srcX, c.srcY, &mixer,
                         color, c.clearMode, seed < 2);
        ASSERT_NO_FATAL_FAILURE(ExpectSame(*dst, *expected));
      }
    }
  }
}

/// Replaces, after a look at each block of an image, whose cursor it puts back.
class Wanderer : public KXPixelMixer {
 public:
  explicit Wanderer(KXVOffscreen& image) : image_(image) {}
  void Do64Bit(KXVOffscreen* o, u64 color, WORD weight) override {
    int x, y;
    image_.GetCursorPos(x, y);
    for (int k = 0; k < image_.GetWidth(); k += 256) {
      image_.MoveCursor(k, y);
      image_.Get64BitColor();
    }
    image_.MoveCursor(x, y);
    KXPixelMixer::Do64Bit(o, color, weight);
  }

 private:
  KXVOffscreen& image_;
};

// The blocks that the mixer looks at do not fit into the pool together.
TEST(CommonCopy3, TakesEachPixelAnewForAMixerThatLooksElsewhere) {
  for (int bits : kAllDepths) {
    SCOPED_TRACE(testing::Message() << bits << " bits");
    Random random(static_cast<unsigned>(bits));
    ImagePtr src = RandomImage(bits, bits > 16 ? 4096 : 300, 2, random, false);
    ImagePtr dst = MakeImage(64, 300, 2), expected = MakeImage(64, 300, 2);
    Wanderer wanderer(*src);
    KXPixelMixer replace;
    KXVOffPixelMixer mixer;
    mixer.SetNode(&replace);
    mixer.SetDstOffscreen(expected.get());
    CopyCase c(*dst, *src, random);
    c.dstX = c.dstY = c.srcY = c.clearMode = 0;
    c.srcX = 70;
    c.width = 200;
    c.height = 2;
    ModelCommonCopy3(*expected, *src, c, mixer, ~u64{0}, 0);
    mixer.SetNode(&wanderer);
    mixer.SetDstOffscreen(dst.get());
    dst->CommonCopy3(0, 0, c.width, c.height, src.get(), c.srcX, 0, &mixer, ~u64{0}, 0, 0);
    ASSERT_NO_FATAL_FAILURE(ExpectSame(*dst, *expected));
  }
}

TEST(CommonCopy3, DropsWhiteOnRequestAndRefusesForeignMixers) {
  ImagePtr dst = MakeImage(32, 8, 1), src = MakeImage(32, 8, 1);
  const DWORD colors[] = {0x00FFFFFF, 0xFFFFFFFF, 0x80FFFFFF, 0xFFFFFFFE};
  {
    KXVOffscreenAutoLock lock(src.get(), 0, 0, 1);
    for (DWORD color : colors) src->Set32BitColor(color), src->NextCursorX();
  }
  KXPixelMixer replace;
  KXVOffPixelMixer mixer;
  mixer.SetNode(&replace);
  mixer.SetDstOffscreen(dst.get());
  dst->CommonCopy3(0, 0, 8, 1, src.get(), 0, 0, &mixer, 0, 0, 1);
  KXVOffscreenAutoLock lock(dst.get(), 0, 0, 0);
  for (int x = 0; x < 4; ++x, dst->NextCursorX()) {
    EXPECT_EQ(dst->Get32BitColor(), x == 3 ? 0xFFFFFFFE : 0x00FFFFFF);
  }
  EXPECT_THROW(src->CommonCopy3(0, 0, 8, 1, dst.get(), 0, 0, &mixer, 0, 0, 1), KXException);
  EXPECT_THROW(dst->CommonCopy3(0, 0, 8, 1, src.get(), 0, 0, nullptr, 0, 0, 1), KXException);
}

}  // namespace
