#include "kxwcmn/compositing/mixrow_internal.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <vector>

#include "kxwcmn/compositing/mixkernels_internal.h"
#include "kxwcmn/compositing/pixelmixer.h"
#include "kxwcmn/compositing/voffpixelmask.h"
#include "kxwcmn/compositing/voffpixelmixer.h"
#include "kxwcmn/offscreen/autolock.h"
#include "kxwcmn/platform/detail/faults.h"
#include "tests/support/failure.h"
#include "tests/support/images.h"

// Rows laid by kernels, and by the form for other mixers, against rows laid by the rule, pixel by
// pixel: the same bytes in the same blocks, and the cursors left at the same places.

#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

namespace {

using namespace testing_kxw;

class OwnMixer : public KXPixelMixerBlend {
 public:
  void Do32Bit(KXVOffscreen* offscreen, DWORD, BYTE weight) override {
    Do32BitNext(offscreen, DWORD(offscreen->GetCursorPosX()), weight);
  }
};

/// Stretches of one kind of pixel, so that a kernel meets every kind whole and mixed; one block may
/// stay without memory. Every seventh row is the same, which no seam of blocks is in step with.
void Scribble(KXVOffscreen& image, Random& random) {
  KXVOffscreenAutoLock lock(&image, 1);
  const int pixel = std::max(image.GetBitCount() / 8, 1), row = image.GetBlockRowBytes();
  const int hole = random.Int(-1, 2);
  for (int block = 0; block < image.GetBlockCount(nullptr, nullptr); ++block) {
    if (block == hole) continue;
    image.MoveCursor(image.GetBlockByIndex(block).left, image.GetBlockByIndex(block).top);
    BYTE* base = image.GetBaseAddress();
    for (int at = 0, end = 0, kind = 0; at < 7 * row; ++at) {
      if (at == end) end += pixel * random.Int(1, 40), kind = random.Int(0, 3);
      const bool isAlpha = at % pixel >= pixel * 3 / 4;
      base[at] = kind == 0                ? 0
                 : kind == 1 && !isAlpha  ? BYTE(random.Bits())
                 : kind == 1 || kind == 2 ? 255
                                          : BYTE(random.Bits());
    }
    for (int y = 7; y < std::min(image.GetHeight(), 256); ++y) {
      std::memcpy(base + y * row, base + (y - 7) * row, std::size_t(row));
    }
  }
}

/// Everything that a row or an area needs, the same for the same seed.
struct Scene {
  Scene(unsigned seed, int imageHeight) : random(seed), height(imageHeight) {
    dst = Image(random.OneIn(3) ? random.Int(1, 600) : 601, 72);
    source = Image(random.OneIn(3) ? random.Int(1, 90) : 521, 72);
    PushMixers();
    mixer.SetDstOffscreen(dst.get());
    if (random.OneIn(9)) mixer.SetDstOffscreen(kAllDepths[random.Int(0, 6)], dst.get());
    mixer.SetColor(KXComplexColor(64, random.OneIn(4) ? ~0ull : random.Bits()));
    const KXPoint origin(random.OneIn(2) ? 0 : random.Int(-20, 20), random.Int(-2, 2) * 7);
    if (random.OneIn(2)) mixer.SetSrcOffscreen((random.OneIn(20) ? dst : source).get(), origin);
    for (int i = random.OneIn(2) ? random.Int(1, 3) : 0; i-- > 0;) SetMask(i);
    for (BYTE& cell : cells) cell = BYTE(random.Int(0, 1));
    if (random.OneIn(3)) pattern = cells;

    x1 = random.Edge(-20, 620);
    x2 = random.Edge(x1 - 1, 700);
    const int y = random.OneIn(8) ? 8 : random.Int(0, 7);
    dst->Lock(5, y, !random.OneIn(8));
    if (random.OneIn(8)) dst->MoveCursorBehindRow(255);
    source->Lock(random.Edge(-300, 520), random.OneIn(8) ? -1 : random.Int(0, 7), 0);
    for (ImagePtr& image : maskImages) {
      if (image) image->Lock(-1, -1, 0);
    }
    if (mask) mask->MoveCursorY(dst.get(), y + random.Int(0, 1));
  }

  ImagePtr Image(int width, double resolution) {
    // Often all of one depth, which is laid without conversion.
    const int bits = random.OneIn(2) ? depth : kAllDepths[random.Int(0, 6)];
    ImagePtr image = MakeImage(bits, width, height, resolution, RoomyManager());
    Scribble(*image, random);
    if (random.OneIn(2)) image->SetOffset(KXPoint(random.Int(-30, 30), random.Int(-1, 1)));
    return image;
  }

  /// Gaussians in front of any mixer, or of none.
  void PushMixers() {
    KXPixelMixer* const ends[] = {&replace,   &blend,      &weightCopy,  &dark, &light, &add,
                                  &alphaCopy, &alphaBlend, &alphaWeight, &ramp, &own,   nullptr};
    KXPixelMixer* end = ends[random.Int(0, 11)];
    for (int i = random.OneIn(2) || !end ? random.Int(1, 3) : 0; i-- > 0;) {
      gaussians[i].CreateGaussTbl(random.Int(1, 40));
      gaussians[i].SetBaseup(BYTE(random.Int(0, 120)));
      gaussians[i].SetMapInfo({random.Int(0, 600), 3}, random.Int(8, 900), 40);
      mixer.PushNode(&gaussians[i]);
    }
    ramp.SetMapInfo({260, 3}, random.Int(0, 60));
    if (!random.OneIn(5)) ramp.RefColorTable(densities, 5);
    if (!end) return;
    mixer.PushNode(end);
    if (end != &own && random.OneIn(2)) mixer.PushNode(&own);  // never reached
  }

  void SetMask(int index) {
    maskImages[index] = Image(random.Int(20, 700), random.OneIn(2) ? 72 : random.Int(10, 300));
    KXVOffscreen* image = maskImages[index].get();
    if (random.OneIn(8)) image = nullptr;
    if (random.OneIn(6) && index < 2) image = maskImages[index + 1].get();
    if (random.OneIn(15)) {
      image = random.OneIn(2) ? dst.get() : mixer.GetSrcOffscreen();
      hasDoubleMask = true;
    }
    const KXPoint offset(random.Int(-30, 30), random.Int(0, 3));
    const DWORD color = random.OneIn(2) ? 0 : ~0u;
    masks.SetMaskInfo(index, {random.Int(0, 4), image, color, offset, random.Int(0, 1)});
    mask = &masks;
  }

  std::vector<BYTE> State() {
    std::vector<BYTE> state;
    for (KXVOffscreen* image : {dst.get(), source.get()}) {
      for (const int value : {image->GetCursorPosX(), image->GetCursorPosY()}) {
        state.insert(state.end(), {BYTE(value), BYTE(value >> 8)});
      }
      state.push_back(image->GetCurrentAddress() != nullptr);
    }
    dst->Unlock();
    dst->Lock(-1, -1, 0);
    for (int i = 0; i < dst->GetBlockCount(nullptr, nullptr); ++i) {
      dst->MoveCursor(dst->GetBlockByIndex(i).left, dst->GetBlockByIndex(i).top);
      const BYTE* base = dst->GetBaseAddress();
      state.push_back(base != nullptr);
      if (!base) continue;
      state.insert(state.end(), base, base + std::min(height, 256) * dst->GetBlockRowBytes());
    }
    return state;
  }

  Random random;
  int height;
  int depth = random.OneIn(3) ? 32 : kAllDepths[random.Int(0, 6)];
  ImagePtr dst, source, maskImages[3];
  KXPixelMixer replace;
  KXPixelMixerBlend blend;
  KXPixelMixerWeightCopy weightCopy;
  KXPixelMixerCompDark dark;
  KXPixelMixerCompLight light;
  KXPixelMixerAdd add;
  KXPixelMixerAlphaCopy alphaCopy;
  KXPixelMixerAlphaBlend alphaBlend;
  KXPixelMixerAlphaWeightCopy alphaWeight;
  KXPixelMixerGradation ramp;
  KXPixelMixerGaussian gaussians[3];
  OwnMixer own;
  BYTE densities[5] = {255, 200, 120, 60, 10}, cells[16];
  KXVOffPixelMask masks;
  KXVOffPixelMixer mixer;
  KXVOffPixelMask* mask = nullptr;
  const BYTE* pattern = nullptr;
  int x1 = 0, x2 = 0;
  bool hasDoubleMask = false;  // one whose cursor is moved for another part as well
};

/// The rule: every pixel that neither stipple nor mask holds back, and a step of both cursors.
void LayRow(KXVOffscreen& dst, int x1, int x2, KXVOffPixelMixer& mixer, KXVOffPixelMask* mask,
            const BYTE* pattern) {
  dst.MoveCursorX(x1);
  for (int x = x1; x <= x2; ++x) {
    if ((!pattern || pattern[x & 3]) && (!mask || mask->IsMaskFreeX(&dst, dst.GetCursorPosX()))) {
      mixer.GetSrcOffscreen() ? mixer.DoSrc() : mixer.Do();
    }
    x < x2 ? dst.NextCursorX() : dst.MoveCursorBehindRow(x2);  // which makes no block
    mixer.NextSrcCursorX();
  }
}

TEST(MixRow, LaysEachPixelAsTheRuleDoes) {
  int served = 0;
  for (unsigned seed = 0; seed < 1200; ++seed) {
    Scene fast(seed, 8), plain(seed, 8);
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    // Pixels outside, which are passed over at once, would lead such a cursor astray.
    const bool isInside =
        fast.x1 >= 0 && fast.x2 < fast.dst->GetWidth() && fast.dst->GetCursorPosY() < fast.height;
    if (fast.hasDoubleMask && !isInside) continue;
    if (kxw::MixRowByKernel(*fast.dst, fast.x1, fast.x2, fast.mixer, fast.mask, fast.pattern)) {
      ++served;
    } else {
      kxw::MixRowPlain(*fast.dst, fast.x1, fast.x2, fast.mixer, fast.mask, fast.pattern);
    }
    LayRow(*plain.dst, plain.x1, plain.x2, plain.mixer, plain.mask, plain.pattern);
    ASSERT_TRUE(fast.State() == plain.State());
  }
  EXPECT_GT(served, 600);
}

// Rows and rectangles of any width take no more than the image's columns.
TEST(MixRow, PassesOverWhatLiesOutsideTheImage) {
  struct Counter : KXPixelMixer {
    int calls = 0;
    void Do32Bit(KXVOffscreen* offscreen, DWORD color, BYTE) override {
      ++calls;
      offscreen->Set32BitColor(color);
    }
  } counter;
  const ImagePtr image = MakeImage(32, 9, 4), source = MakeImage(32, 40, 1);
  KXVOffPixelMixer mixer;
  mixer.SetDstOffscreen(image.get());
  mixer.SetNode(&counter);
  mixer.SetSrcOffscreen(source.get(), {0, 0});
  KXVOffscreenAutoLock lock(image.get(), 1), sourceLock(source.get(), 30, 0, 1);
  source->Set32BitColor(7);
  for (const int y : {-1, 2, 4}) {
    image->MoveCursor(0, y);
    source->MoveCursor(25 + INT_MIN, 0);  // so that column 25 goes to column 0
    image->FillLineRowForPolygon(INT_MIN, INT_MAX, &mixer, nullptr, nullptr);
    EXPECT_EQ(image->GetCursorPosX(), INT_MIN);
    EXPECT_EQ(source->GetCursorPosX(), 25 + INT_MIN);
  }
  EXPECT_EQ(counter.calls, 9);
  image->MoveCursor(5, 2);
  EXPECT_EQ(image->Get32BitColor(), 7u);
}

// An area is laid block by block, and by whole blocks where it can: against its rows.
TEST(MixRow, AreasAreTheirRows) {
  for (unsigned seed = 0; seed < 120; ++seed) {
    Scene fast(seed, 270), plain(seed, 270);
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    KXRect rect(fast.x1, fast.random.Edge(-9, 250), fast.x2 + 1, fast.random.Edge(1, 280));
    if (seed % 3 == 0) rect = fast.dst->GetRect();
    fast.dst->RectFill(rect, &fast.mixer, fast.mask, nullptr, fast.pattern ? fast.cells : nullptr);
    {
      const KXVOffscreenAutoLock lock(plain.dst.get(), 1);
      const KXRect part = rect & plain.dst->GetRect();
      for (int y = part.top; y < part.bottom; ++y) {
        plain.dst->MoveCursor(part.left, y);
        if (plain.mask) plain.mask->MoveCursorY(plain.dst.get(), y);
        plain.mixer.RelativeSrcCursor(part.left - rect.left, y - rect.top);
        LayRow(*plain.dst, part.left, part.right - 1, plain.mixer, plain.mask,
               plain.pattern ? plain.pattern + (y & 3) * 4 : nullptr);
      }
    }
    ASSERT_TRUE(fast.State() == plain.State());
  }
}

// A block that exists and cannot be read back is no hole: nothing is erased, or painted past a
// mask.
TEST(MixRow, FailsWhereABlockCannotBeBroughtIn) {
  OwnMixer own;
  KXPixelMixer replace;
  for (KXPixelMixer* node : {static_cast<KXPixelMixer*>(&own), &replace}) {
    for (const std::size_t lost : {0u, 1u, 2u}) {
      ImagePtr images[3];  // painted, source and mask
      for (ImagePtr& image : images) {
        image = MakeImage(32, 9, 9);
        image->RectFill(image->GetRect(), 0xFF123456, 0, nullptr, nullptr, nullptr);
      }
      KXVOffPixelMixer mixer;
      mixer.SetDstOffscreen(images[0].get());
      mixer.SetNode(node);
      mixer.SetSrcOffscreen(images[1].get(), {0, 0});
      KXVOffPixelMask mask;
      mask.SetMaskInfo(0, {1, images[2].get(), 0xFF123456, {}, 0});
      images[lost]->UnloadAllBlock();
      for (const int code : {8, 0}) {
        KXVOffscreenAutoLock source(images[1].get(), 0), gate(images[2].get(), 0);
        kxw::detail::ScopedFaults faults;
        faults.Fail(kxw::detail::FaultPoint::kRead, 1, code, 9);
        EXPECT_EQ(CodeOf([&] {
                    images[0]->RectFill({1, 1, 8, 8}, &mixer, &mask, nullptr, nullptr);
                  }),
                  code)
            << lost;
        EXPECT_EQ(images[0]->GetLockCount(), 0u);
      }
    }
  }
}

}  // namespace
