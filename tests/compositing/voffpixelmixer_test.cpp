#include "kxwcmn/compositing/voffpixelmixer.h"

#include <gtest/gtest.h>

#include <vector>

#include "kxwcmn/compositing/pixelmixer.h"
#include "kxwcmn/compositing/voffpixelmask.h"
#include "kxwcmn/core/exception.h"
#include "kxwcmn/offscreen/autolock.h"
#include "tests/support/failure.h"
#include "tests/support/images.h"

// A mixer has no virtual destructor, so one that an application derives has none either.
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

namespace {

using namespace testing_kxw;

struct Call {
  int bits, x;
  u64 color;
  int weight;
  bool operator==(const Call&) const = default;
};

class Recorder : public KXPixelMixer {
 public:
  void Do1Bit(KXVOffscreen* o, BYTE v) override { Add(o, 1, v, -1); }
  void Do2Bit(KXVOffscreen* o, BYTE v) override { Add(o, 2, v, -1); }
  void Do8Bit(KXVOffscreen* o, BYTE v) override { Add(o, 8, v, -1); }
  void Do24Bit(KXVOffscreen* o, DWORD c) override { Add(o, 24, c, -1); }
  void Do32Bit(KXVOffscreen* o, DWORD c, BYTE w) override { Add(o, 32, c, w); }
  void Do48Bit(KXVOffscreen* o, u64 c, WORD w) override { Add(o, 48, c, w); }
  void Do64Bit(KXVOffscreen* o, u64 c, WORD w) override { Add(o, 64, c, w); }

  std::vector<Call> calls;

 private:
  void Add(KXVOffscreen* o, int bits, u64 color, int weight) {
    calls.push_back({bits, o->GetCursorPosX(), color, weight});
  }
};

TEST(VOffPixelMixer, DepthSelectsTheOperation) {
  ImagePtr image = MakeImage(64, 4, 4);
  Recorder node;
  KXVOffPixelMixer mixer;
  mixer.SetColor(KXComplexColor(64, u64{0x8070000000000000}));
  mixer.SetDstOffscreen(64, image.get());
  mixer.Do();  // no node: nothing
  EXPECT_EQ(mixer.SetNode(&node), nullptr);
  const KXComplexColor laid(8, BYTE{9});  // the weight stays that of the mixer's own colour
  for (int depth : {1, 2, 8, 16, 24, 32, 48, 64, 7}) {
    mixer.SetDstOffscreen(depth, image.get());
    mixer.Do(laid);
  }
  const Call narrow{8, 0, 9, -1}, grey{24, 0, 0xFFF6F6F6, -1};
  const u64 white = 0xFFFFF6F6F6F6F6F6;
  const std::vector<Call> expected = {narrow,
                                      narrow,
                                      narrow,
                                      grey,
                                      grey,
                                      {32, 0, 0xFFF6F6F6, 0x80},
                                      {48, 0, white, 0x8070},
                                      {64, 0, white, 0x8070}};
  EXPECT_EQ(node.calls, expected);
  mixer.SetDstOffscreen(image.get());
  mixer.Do();
  EXPECT_EQ(node.calls.back(), (Call{64, 0, 0x8070000000000000, 0x8070}));
}

TEST(VOffPixelMixer, ChainGrowsAtItsTail) {
  Recorder a, b, c;
  KXVOffPixelMixer mixer;
  EXPECT_EQ(mixer.PushNode(&a), nullptr);
  EXPECT_EQ(mixer.PushNode(&b), &a);
  EXPECT_EQ(mixer.PushNode(&c), &b);
  EXPECT_EQ(b.GetNext(), &c);
  EXPECT_THROW(mixer.PushNode(&a), KXException);  // it would never end
  EXPECT_EQ(mixer.SetNode(&c), &a);
  c.SetNext(&b);  // which is followed by c
  EXPECT_THROW(mixer.PushNode(&a), KXException);
}

/// A rule of an application's own, which passes calls on.
class OwnGaussian : public KXPixelMixerGaussian {};

TEST(VOffPixelMixer, RefusesAChainThatLeadsIntoItself) {
  for (const int bits : {8, 32, 64}) {
    KXPixelMixerGaussian a, b;
    OwnGaussian own;
    for (KXPixelMixer* second :
         {static_cast<KXPixelMixer*>(&b), static_cast<KXPixelMixer*>(&own)}) {
      SCOPED_TRACE(testing::Message() << bits << " bits" << (second == &b ? "" : ", own rule"));
      a.SetNext(second);
      second->SetNext(&a);
      ImagePtr image = MakeImage(bits, 8, 8), source = MakeImage(bits, 8, 8);
      KXVOffPixelMixer mixer;
      mixer.SetNode(&a);
      mixer.SetDstOffscreen(image.get());
      KXVOffscreenAutoLock lock(image.get(), 0, 0, 1), sourceLock(source.get(), 0, 0, 1);
      const auto draw = [&](int way) {
        switch (way) {
          case 0:
            return mixer.Do();
          case 1:
            return image->RectFill(KXRect(1, 1, 1, 1), &mixer, nullptr, nullptr, nullptr);
          case 2:
            return image->RectFill(KXRect(1, 1, 3, 3), &mixer, nullptr, nullptr, nullptr);
          case 3:
            return image->Circle(4, 4, 2, 0, &mixer, nullptr, nullptr, nullptr);
          case 4:
            return image->FillLineRowForPolygon(0, 3, &mixer, nullptr, nullptr);
          case 5:
            return image->CommonCopy3(0, 0, 8, 8, source.get(), 0, 0, &mixer, ~u64{0}, 0, 0);
          default:
            mixer.SetSrcOffscreen(source.get(), {0, 0});
            mixer.RelativeSrcCursor(0, 0);
            return mixer.DoSrc();
        }
      };
      source->Set64BitColor(0xFFFF800040002000);
      for (int way = 0; way <= 6; ++way) {
        EXPECT_EQ(CodeOf([&] { draw(way); }), 0x20010008) << way;
      }
      // The longest chain that holds is used again and again.
      second->SetNext(nullptr);
      mixer.SetSrcOffscreen(nullptr, {});
      for (int i = 0; i < 300; ++i) draw(1);
    }
  }
}

TEST(VOffPixelMixer, SourceWithoutMemoryErases) {
  ImagePtr image = MakeImage(32, 4, 4), source = MakeImage(8, 600, 8);
  source->Lock(300, 5, 1);
  source->Set8BitColor(0x40);
  source->Unlock();
  KXVOffscreenAutoLock lock(image.get(), 0, 0, 1), sourceLock(source.get(), 0);
  Recorder node;
  KXVOffPixelMixer mixer;
  mixer.SetColor(KXComplexColor::cWhite);
  mixer.SetDstOffscreen(image.get());
  mixer.SetNode(&node);
  mixer.SetSrcOffscreen(source.get(), {290, 4});
  mixer.RelativeSrcCursor(10, 1);
  mixer.DoSrc();
  mixer.RelativeSrcCursorX(-290);
  mixer.DoSrc();
  mixer.RelativeSrcCursorY(0);
  mixer.NextSrcCursorX();
  EXPECT_EQ(source->GetCursorPosX(), 1);
  EXPECT_EQ(source->GetCursorPosY(), 4);
  const std::vector<Call> expected = {{32, 0, 0x40000000, 255}, {32, 0, 0x00FFFFFF, 255}};
  EXPECT_EQ(node.calls, expected);
}

TEST(VOffPixelMask, Comparisons) {
  const struct {
    DWORD a, b;
    int whiteEqual;
    bool sameColor, sameAlpha;
  } cases[] = {
      {0x80123456, 0x80123456, 0, true, true},  {0x80123456, 0x81123456, 0, false, false},
      {0x00123456, 0x00654321, 0, true, true},  {0x00FFFFFF, 0xFFFFFFFF, 0, false, false},
      {0x00FFFFFF, 0xFFFFFFFF, 1, true, false}, {0xFFFFFFFF, 0xFFFFFFFE, 1, false, true},
  };
  const KXVOffPixelMask mask;
  for (const auto& c : cases) {
    EXPECT_EQ(mask.IsMaskCompare(0, c.a, c.b, c.whiteEqual), c.sameColor);
    EXPECT_EQ(mask.IsMaskCompare(1, c.a, c.b, c.whiteEqual), !c.sameColor);
    EXPECT_EQ(mask.IsMaskCompare(2, c.a, c.b, c.whiteEqual), c.sameAlpha);
    EXPECT_EQ(mask.IsMaskCompare(3, c.a, c.b, c.whiteEqual), !c.sameAlpha);
    EXPECT_EQ(mask.IsMaskCompare(96, c.a, c.b, c.whiteEqual), 0);
    EXPECT_EQ(mask.IsMaskCompare(-1, c.a, c.b, c.whiteEqual), 0);
  }
}

TEST(VOffPixelMask, ListEndsAtTheFirstEmptyEntry) {
  ImagePtr image = MakeImage(32, 20, 20), first = MakeImage(8, 20, 20),
           third = MakeImage(8, 20, 20);
  KXVOffscreenAutoLock lock(image.get(), 0), lock1(first.get(), 1), lock3(third.get(), 1);
  KXVOffPixelMask mask;
  EXPECT_FALSE(mask.IsMaskEnable());
  EXPECT_EQ(mask.IsMaskFree(image.get(), 3, 3), 1);
  mask.SetMaskInfo(0, {2, first.get(), 0xFF000000, {2, 1}, 0});
  mask.SetMaskInfo(2, {3, third.get(), 0x12000000, {0, 0}, 0});  // would hold all back
  EXPECT_TRUE(mask.IsMaskEnable());
  EXPECT_THROW(mask.SetMaskInfo(4, {}), KXException);
  EXPECT_EQ(mask.GetMaskInfo(-1), nullptr);

  first->MoveCursor(5, 6);
  first->Set8BitColor(255);
  EXPECT_EQ(mask.IsMaskFree(image.get(), 7, 7), 0);
  EXPECT_EQ(mask.IsMaskFree(image.get(), 8, 7), 1);
  mask.MoveCursorY(image.get(), 7);
  EXPECT_EQ(third->GetCursorPosY(), 7);
  EXPECT_EQ(third->GetCursorPosX(), -1);  // where the lock had put it
  EXPECT_EQ(mask.IsMaskFreeX(image.get(), 7), 0);
  EXPECT_EQ(mask.IsMaskFreeX(image.get(), 6), 1);
  mask.GetMaskInfo(1)->offscreen = third.get();
  mask.GetMaskInfo(1)->mode = 96;
  EXPECT_EQ(mask.IsMaskFree(image.get(), 8, 7), 0);  // now the third entry is reached
}

}  // namespace
