#include "kxwcmn/compositing/mixrow_internal.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <vector>

#include "kxwcmn/compositing/mixkernels_internal.h"
#include "kxwcmn/compositing/pixelmixer.h"
#include "kxwcmn/compositing/voffpixelmask.h"
#include "kxwcmn/compositing/voffpixelmixer.h"
#include "kxwcmn/offscreen/autolock.h"
#include "tests/support/images.h"

// Rows laid by kernels against rows laid pixel by pixel through the virtual functions: the same
// bytes in the same blocks, and the cursors left at the same places.

#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

namespace {

using namespace testing_kxw;

// Several images are locked at once, each with a block of up to half a megabyte.
ImagePtr RowImage(int bits, int width, int height, double resolution = 72) {
  return MakeImage(bits, width, height, resolution, RoomyManager());
}

/// Half of the time one of the values at which a rule branches.
DWORD AnyColor(Random& random) {
  const DWORD alphas[] = {0, 1, 127, 128, 254, 255, 255, 0};
  const DWORD a = random.OneIn(2) ? alphas[random.Int(0, 7)] : DWORD(random.Int(0, 255));
  return a << 24 | (random.OneIn(4) ? 0xFFFFFF : DWORD(random.Bits()) & 0xFFFFFF);
}

/// Stretches of one kind of pixel, so that a kernel meets every kind whole and mixed; some blocks
/// stay without memory.
void Scribble(KXVOffscreen& image, Random& random) {
  KXVOffscreenAutoLock lock(&image, 1);
  for (int y = 0; y < image.GetHeight(); ++y) {
    DWORD color = 0;
    int kind = 0;
    for (int x = 0; x < image.GetWidth(); ++x) {
      if (x / 256 == 1 && image.GetWidth() % 2) continue;
      if (random.OneIn(20)) kind = random.Int(0, 2), color = AnyColor(random);
      image.MoveCursor(x, y);
      if (kind == 0) color = AnyColor(random);
      if (image.GetBitCount() == 64 && kind != 1) {
        image.Set64BitColor(random.Bits() | (random.OneIn(3) ? 0xFFFFull << 48 : 0));
      } else if (image.GetBitCount() <= 2) {
        image.Set2BitColor(BYTE(random.Int(0, 3)));
      } else {
        image.Set32BitColor(color);
      }
    }
  }
}

std::vector<BYTE> BytesOf(KXVOffscreen& image, int rows = 8) {
  std::vector<BYTE> bytes;
  KXVOffscreenAutoLock lock(&image, 0);
  for (int i = 0; i < image.GetBlockCount(nullptr, nullptr); ++i) {
    const KXRect rect = image.GetBlockByIndex(i);
    image.MoveCursor(rect.left, rect.top);
    bytes.push_back(image.GetBaseAddress() != nullptr);
    if (!image.GetBaseAddress()) continue;
    bytes.insert(bytes.end(), image.GetBaseAddress(),
                 image.GetBaseAddress() + rows * image.GetBlockRowBytes());
  }
  return bytes;
}

struct Mixers {
  KXPixelMixer replace;
  KXPixelMixerBlend blend;
  KXPixelMixerWeightCopy weightCopy;
  KXPixelMixerCompDark dark;
  KXPixelMixerCompLight light;
  KXPixelMixerAdd add;
  KXPixelMixerAlphaCopy alphaCopy;
  KXPixelMixerAlphaBlend alphaBlend;
  KXPixelMixerAlphaWeightCopy alphaWeightCopy;
  KXPixelMixerGradation gradation;
  KXPixelMixerGaussian gaussian, gaussianAlone;
  std::vector<BYTE> ramp = {255, 200, 120, 60, 10};

  Mixers() {
    gradation.SetMapInfo({260, 3}, 40);
    gradation.RefColorTable(ramp.data(), int(ramp.size()));
    for (KXPixelMixerGaussian* g : {&gaussian, &gaussianAlone}) {
      g->CreateGaussTbl(16);
      g->SetBaseup(100);
      g->SetMapInfo({250, 3}, 300, 40);
    }
    gaussian.SetNext(&weightCopy);
  }
  std::vector<KXPixelMixer*> All() {
    return {&replace,   &blend,      &weightCopy,      &dark,      &light,    &add,
            &alphaCopy, &alphaBlend, &alphaWeightCopy, &gradation, &gaussian, &gaussianAlone};
  }
};

TEST(MixRow, KernelsLayWhatTheVirtualFunctionsLay) {
  Mixers mixers;
  unsigned seed = 0;
  for (int bits : kAllDepths) {
    for (std::size_t node = 0; node < mixers.All().size(); ++node) {
      for (int round = 0; round < 8; ++round) {
        Random random(++seed);
        SCOPED_TRACE(testing::Message() << bits << " bits, mixer " << node << ", seed " << seed);
        const int width = random.OneIn(2) ? 601 : 600;
        ImagePtr fast = RowImage(bits, width, 8), plain = RowImage(bits, width, 8);
        Scribble(*fast, random);
        KXVOffscreenAutoLock lockFast(fast.get(), 0, 3, 1);
        {
          KXVOffscreenAutoLock lock(plain.get(), 1);
          for (int i = 0; i < 3; ++i) {
            if (!fast->GetBlockExist(i)) continue;
            fast->MoveCursor(i * 256, 0);
            plain->MoveCursor(i * 256, 0);
            std::memcpy(plain->GetBaseAddress(), fast->GetBaseAddress(),
                        std::size_t(fast->GetBlockRowBytes()) * 256);
          }
        }
        const int sourceBits = kAllDepths[random.Int(0, 6)];
        ImagePtr source = RowImage(sourceBits, random.OneIn(2) ? 500 : 521, 6);
        Scribble(*source, random);
        ImagePtr maskA = RowImage(random.OneIn(2) ? 32 : 8, 400, 8, random.OneIn(3) ? 36 : 72);
        ImagePtr maskB = RowImage(2, 601, 8);
        Scribble(*maskA, random);
        Scribble(*maskB, random);
        KXVOffPixelMask mask;
        KXVOffPixelMask::MaskInfo info;
        info.offscreen = maskA.get();
        info.mode = random.Int(0, 4);
        info.color = random.OneIn(2) ? 0 : 0xFFFFFFFF;
        info.whiteEqual = random.Int(0, 1);
        info.offset = KXPoint(random.Int(-30, 30), 1);
        mask.SetMaskInfo(0, info);
        if (random.OneIn(2)) {
          info.offscreen = maskB.get();
          info.mode = 2;
          mask.SetMaskInfo(1, info);
        }
        BYTE pattern[4];
        for (BYTE& cell : pattern) cell = BYTE(random.Int(0, 1));
        const int x1 = random.Edge(-20, 610), x2 = random.Edge(x1 - 1, 640);
        const int y = random.OneIn(8) ? 8 : random.Int(0, 7);
        const int sx = random.Edge(-20, 520), sy = random.OneIn(8) ? -1 : random.Int(0, 5);
        const bool hasSource = random.OneIn(2), hasMask = random.OneIn(3);
        const BYTE* rowPattern = random.OneIn(3) ? pattern : nullptr;
        const KXComplexColor color(64, random.OneIn(4) ? ~0ull : random.Bits());
        KXVOffscreenAutoLock lockPlain(plain.get(), 0, 3, 1), lockSource(source.get(), 0);
        KXVOffscreenAutoLock lockA(maskA.get(), 0), lockB(maskB.get(), 0);
        int cursors[2][4];
        for (bool isFast : {false, true}) {
          KXVOffscreen& dst = isFast ? *fast : *plain;
          KXVOffPixelMixer mixer;
          mixer.SetDstOffscreen(&dst);
          mixer.SetNode(mixers.All()[node]);
          mixer.SetColor(color);
          if (hasSource) mixer.SetSrcOffscreen(source.get(), {0, 0});
          dst.MoveCursor(5, y);
          source->MoveCursor(sx, sy);
          if (hasMask) mask.MoveCursorY(&dst, y);
          KXVOffPixelMask* rowMask = hasMask ? &mask : nullptr;
          if (isFast) {
            ASSERT_EQ(kxw::MixRowByKernel(dst, x1, x2, mixer, rowMask, rowPattern), x1 <= x2);
          } else if (x1 <= x2) {
            kxw::MixRowPlain(dst, x1, x2, mixer, rowMask, rowPattern);
          }
          dst.GetCursorPos(cursors[isFast][0], cursors[isFast][1]);
          source->GetCursorPos(cursors[isFast][2], cursors[isFast][3]);
        }
        ASSERT_EQ(0, std::memcmp(cursors[0], cursors[1], sizeof cursors[0]));
        ASSERT_EQ(BytesOf(*fast), BytesOf(*plain)) << "x " << x1 << ".." << x2;
      }
    }
  }
}

// An area is laid block by block, and by whole blocks where it can: against its rows, each laid
// pixel by pixel.
TEST(MixRow, AreasAreTheirRows) {
  Mixers mixers;
  const auto nodes = mixers.All();
  for (unsigned seed = 0; seed < 60; ++seed) {
    Random random(seed);
    SCOPED_TRACE(seed);
    const int bits = kAllDepths[random.Int(0, 6)];
    ImagePtr fast = RowImage(bits, 530, 270), plain = RowImage(bits, 530, 270);
    ImagePtr source = RowImage(random.OneIn(2) ? bits : 32, 601, 280), line = RowImage(8, 530, 270);
    Scribble(*source, random);
    Scribble(*line, random);
    KXVOffPixelMask mask;
    KXVOffPixelMask::MaskInfo info;
    info.offscreen = line.get();
    info.mode = 3;
    info.offset = KXPoint(random.Int(-9, 9), random.Int(-9, 9));
    mask.SetMaskInfo(0, info);
    BYTE pattern[16];
    for (BYTE& cell : pattern) cell = BYTE(random.Int(0, 1));
    KXVOffPixelMask* const used = random.OneIn(3) ? &mask : nullptr;
    BYTE* const stipple = random.OneIn(3) ? pattern : nullptr;
    KXVOffPixelMixer mixer;
    mixer.SetNode(nodes[std::size_t(random.Int(0, int(nodes.size()) - 1))]);
    mixer.SetColor(KXComplexColor(64, random.Bits()));
    const KXPoint origin(random.OneIn(2) ? 0 : random.Int(-20, 20), random.Int(-2, 2) * 7);
    const bool hasSource = !random.OneIn(4);
    if (hasSource) mixer.SetSrcOffscreen(source.get(), origin);
    const KXRect rect = random.OneIn(3) ? fast->GetRect()
                                        : KXRect(random.Edge(-9, 500), random.Edge(-9, 250),
                                                 random.Edge(1, 540), random.Edge(1, 280));
    KXVOffscreenAutoLock lockSource(source.get(), 0), lockLine(line.get(), 0);
    mixer.SetDstOffscreen(fast.get());
    fast->RectFill(rect, &mixer, used, nullptr, stipple);
    mixer.SetDstOffscreen(plain.get());
    {
      KXVOffscreenAutoLock lockPlain(plain.get(), 1);
      const KXRect part = rect & plain->GetRect();
      for (int y = part.top; y < part.bottom; ++y) {
        plain->MoveCursor(part.left, y);
        if (used) used->MoveCursorY(plain.get(), y);
        mixer.RelativeSrcCursor(part.left - rect.left, y - rect.top);
        kxw::MixRowPlain(*plain, part.left, part.right - 1, mixer, used,
                         stipple ? stipple + (y & 3) * 4 : nullptr);
      }
    }
    ASSERT_EQ(BytesOf(*fast, 256), BytesOf(*plain, 256));
  }
}

// The blend's three forms meet in one kernel: every pair of alphas, over several channels.
TEST(MixRow, BlendOfEveryPairOfAlphas) {
  KXPixelMixerBlend blend;
  const kxw::MixKernel kernel = kxw::FindMixKernel(&blend, 32);
  ImagePtr image = RowImage(32, 256, 1);
  KXVOffscreenAutoLock lock(image.get(), 0, 0, 1);
  for (DWORD pa = 0; pa < 256; ++pa) {
    for (DWORD channels : {0x000000u, 0x7F8001u, 0xFE02FFu}) {
      DWORD pixels[256], colors[256];
      for (DWORD a = 0; a < 256; ++a) {
        pixels[a] = pa << 24 | (channels ^ a * 0x010305 % 0xFFFFFF);
        colors[a] = a << 24 | (channels * 7 + a * 0x050301) % 0xFFFFFF;
      }
      for (int x = 0; x < 256; ++x) {
        image->MoveCursor(x, 0);
        std::memcpy(image->GetCurrentAddress(), &pixels[x], 4);
        const DWORD c = colors[x];
        blend.Do32Bit(image.get(), (c & 0xFF00FF00) | (c & 255) << 16 | (c >> 16 & 255), 0);
      }
      kernel(reinterpret_cast<BYTE*>(pixels), 0, colors, 256, {0, nullptr});
      ASSERT_EQ(0, std::memcmp(pixels, image->GetBaseAddress(), sizeof pixels)) << pa;
    }
  }
}

class OwnMixer : public KXPixelMixerBlend {
 public:
  void Do32Bit(KXVOffscreen* offscreen, DWORD, BYTE) override {
    offscreen->Set32BitColor(DWORD(offscreen->GetCursorPosX()));
  }
};

TEST(MixRow, AnApplicationsMixerIsCalledPixelByPixel) {
  ImagePtr image = RowImage(32, 600, 4);
  OwnMixer own;
  KXVOffPixelMixer mixer;
  mixer.SetDstOffscreen(image.get());
  mixer.SetNode(&own);
  KXVOffscreenAutoLock lock(image.get(), 0, 2, 1);
  image->FillLineRowForPolygon(250, 262, &mixer, nullptr, nullptr);
  for (int x = 250; x <= 262; ++x) {
    image->MoveCursor(x, 2);
    EXPECT_EQ(image->Get32BitColor(), DWORD(x));
  }
}

TEST(MixRow, MakesNoBlockBehindTheRow) {
  for (bool isOwn : {false, true}) {
    ImagePtr image = RowImage(32, 600, 4);
    KXPixelMixer replace;
    OwnMixer own;
    KXVOffPixelMixer mixer;
    mixer.SetDstOffscreen(image.get());
    mixer.SetNode(isOwn ? &own : &replace);
    KXVOffscreenAutoLock lock(image.get(), 0, 2, 1);
    image->FillLineRowForPolygon(200, 255, &mixer, nullptr, nullptr);
    EXPECT_EQ(image->GetBlockExist(1), 0);
    EXPECT_EQ(image->GetCursorPosX(), 256);
    image->MoveCursor(256, 2);
    image->Set32BitColor(7);
    EXPECT_EQ(image->Get32BitColor(), 7u);
  }
}

}  // namespace
