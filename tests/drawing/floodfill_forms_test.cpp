#include <gtest/gtest.h>

#include <climits>

#include "kxwcmn/core/abort.h"
#include "kxwcmn/drawing/detail/floodrun.h"
#include "tests/drawing/drawing_support.h"
#include "tests/support/failure.h"

// The fill by bits against the fill by pixels, which defines it: the same answers and the same
// pixels, for every variant and every pair of depths, over half-painted images.

namespace {

using namespace testing_kxw;
using namespace kxw::flood;

/// Ground, thin lines and specks in a few colours, over the seams; a third of the blocks unwritten.
void Draw(KXVOffscreen& image, const DWORD* colors, Random& random) {
  KXVOffscreenAutoLock lock(&image, 1);
  const int width = image.GetWidth(), height = image.GetHeight();
  const auto plot = [&](int x, int y, DWORD color) {
    if (x < 0 || y < 0 || x >= width || y >= height) return;
    image.MoveCursor(x, y);
    image.Set32BitColor(color);
  };
  for (int i = 0; i < 4; ++i) {
    const DWORD color = colors[random.Int(0, 3)];
    const KXRect box(random.Edge(0, width), random.Edge(0, height), random.Edge(0, width),
                     random.Edge(0, height));
    for (int y = box.top; y < std::min<int>(box.bottom, box.top + 60); ++y) {
      for (int x = box.left; x < box.right; ++x) plot(x, y, color);
    }
  }
  for (int i = random.Int(0, 40); i > 0; --i) {
    const DWORD color = colors[random.Int(0, 3)];
    const int x = random.Edge(0, width), y = random.Edge(0, height);
    const bool isUpright = random.OneIn(2);
    for (int k = random.Int(1, 120); k > 0; --k) {
      plot(isUpright ? x : x + k, isUpright ? y + k : y, color);
    }
  }
  for (int i = random.OneIn(3) ? 6000 : 50; i > 0; --i) {
    plot(random.Int(0, width - 1), random.Int(0, height - 1), colors[random.Int(0, 3)]);
  }
}

template <class Variant>
void ExpectFormsAgree(int own, const char* name) {
  for (unsigned seed = 0; seed < 120; ++seed) {
    SCOPED_TRACE(testing::Message() << name << ", seed " << seed);
    Random random(seed);
    DWORD colors[4];
    for (DWORD& color : colors) color = KXVOffscreen::QMCOLORREF64to32(AnyColor(random));
    colors[1] = 0xFFFFFFFF;
    if (random.OneIn(3)) colors[2] = 0xFF000000;
    const int width = random.Int(258, 330), height = random.Int(258, 300);
    const bool isInPlace = random.OneIn(4);
    // The variant's own depth, or any.
    const auto depth = [&] { return random.OneIn(2) ? own : kAllDepths[random.Int(0, 6)]; };
    const int paintBits = depth(), referenceBits = isInPlace ? paintBits : depth();
    ImagePtr paint[2], reference[2];
    for (int i = 0; i < 2; ++i) {
      Random again(seed + 1000);
      paint[i] = MakeImage(paintBits, width, height, 72, RoomyManager());
      reference[i] = MakeImage(referenceBits, width - 9, height + 5, 72, RoomyManager());
      if (!again.OneIn(4) || isInPlace) Draw(*paint[i], colors, again);
      Draw(*reference[i], colors, again);
      if (again.OneIn(6)) {
        // Blocks made from here on hold anything, so all are made before.
        AreSame(*paint[i], *paint[i]);
        paint[i]->EnableClear(0);
      }
    }
    ImagePtr second = MakeImage(random.OneIn(2) ? 8 : 1, width + 20, height, 72, RoomyManager());
    Draw(*second, colors, random);

    const KXPoint at(random.Edge(0, width - 1), random.Edge(0, height - 1));
    const KXPoint origin = isInPlace || random.OneIn(3)
                               ? KXPoint(0, 0)
                               : KXPoint(random.Edge(-260, 260), random.Int(-9, 9));
    KXRect clip = paint[0]->GetRect();
    if (random.OneIn(2)) {
      clip = KXRect(random.Edge(-5, 100), random.Edge(-5, 100), random.Edge(90, width + 9),
                    random.Edge(90, height + 9));
    }
    if (random.OneIn(9)) clip.left = 255;
    if (random.OneIn(9)) clip.bottom = clip.top + random.Int(0, 2);
    const int ends[] = {INT_MIN, INT_MIN + 1, -1, height + 1, INT_MAX};
    if (random.OneIn(9)) clip.top = ends[random.Int(0, 4)];
    if (random.OneIn(9)) clip.bottom = ends[random.Int(0, 4)];
    const int margins[] = {0, 1, 16, 255, -3, 1 << 30};
    const int margin = margins[random.Int(0, 5)];
    const u64 wide = random.OneIn(2) ? kxw::WidenColor(colors[random.Int(0, 3)]) : AnyColor(random);
    const auto fill = [&]() -> typename Variant::Value {
      if constexpr (sizeof(typename Variant::Value) == 8) {
        return Variant::FillValue(wide);
      } else {
        return Variant::FillValue(KXVOffscreen::QMCOLORREF64to32(wide));
      }
    }();
    const bool hasSecond = Variant::kHasSecond && random.OneIn(2);

    Outcome outcome[2] = {};
    bool ran[2];
    for (int i = 0; i < 2; ++i) {
      Request request(*paint[i], isInPlace ? *paint[i] : *reference[i],
                      hasSecond && !isInPlace ? second.get() : nullptr, at, origin, clip, margin,
                      0);
      if (!IsForPlanes(request) || i == 0) {
        ran[i] = RunPlain<Variant>(request, fill, outcome[i]);
      } else {
        ran[i] = RunPlanes<Variant>(request, fill, outcome[i], random.OneIn(3) ? 1 : 4096,
                                    random.OneIn(2) ? 0 : random.Int(1, 300));
      }
      ASSERT_EQ(paint[i]->GetLockCount(), 0u);
    }
    ASSERT_EQ(ran[0], ran[1]);
    if (ran[0]) {
      ASSERT_EQ(outcome[0].count, outcome[1].count);
      ASSERT_EQ(outcome[0].box, outcome[1].box);
    }
    ASSERT_TRUE(AreSame(*paint[0], *paint[1]));
  }
}

TEST(FloodFill, ByBitsIsAsByPixels) {
  ExpectFormsAgree<From1>(1, "1 bit");
  ExpectFormsAgree<From2>(2, "2 bits");
  ExpectFormsAgree<From8>(8, "8 bits");
  ExpectFormsAgree<From8Exact>(8, "8 bits, exact");
  ExpectFormsAgree<From16>(16, "16 bits");
  ExpectFormsAgree<From16Exact>(16, "16 bits, exact");
  ExpectFormsAgree<From32>(32, "32 bits");
  ExpectFormsAgree<From32Exact>(32, "32 bits, exact");
  ExpectFormsAgree<From64>(64, "64 bits");
  ExpectFormsAgree<From64Exact>(64, "64 bits, exact");
  ExpectFormsAgree<FromGeneric>(24, "generic");
}

/// Ways of one pixel with walls between them, joined in every 60th row and cut off 30 rows below,
/// so that each has a dead end in the tile.
ImagePtr MakeComb() {
  ImagePtr image = MakeImage(8, 600, 520);
  KXVOffscreenAutoLock lock(image.get(), 1);
  for (int y = 0; y < 520; ++y) {
    for (int x = 0; x < 600; ++x) {
      const bool isWall = y % 60 == 30 ? x % 50 != 0 : y % 60 != 0 && x % 2 == 1;
      if (!isWall) continue;
      image->MoveCursor(x, y);
      image->Set8BitColor(255);
    }
  }
  return image;
}

// All by parts from the first run on. A pixel that matches but is filled already makes its band
// odd: the fill goes on behind it, down to the dead end, though the pixel is not painted.
TEST(FloodFill, ByPartsIsAsByPixelsInNarrowWays) {
  const ImagePtr comb = MakeComb();
  const KXPoint kFilled[] = {{2, 89}, {298, 80}, {598, 519}, {-1, -1}};
  for (const KXRect& clip :
       {KXRect(0, 0, 600, 520), KXRect(255, 0, 600, 520), KXRect(256, 0, 600, 256),
        KXRect(250, 3, 512, 514), KXRect(1, 257, 511, 512), KXRect(280, 240, 300, 520)}) {
    for (const KXPoint& filled : kFilled) {
      SCOPED_TRACE(testing::Message() << clip.left << " " << clip.top << ", " << filled.x);
      ImagePtr paint[2];
      Outcome outcome[2] = {};
      for (int i = 0; i < 2; ++i) {
        paint[i] = MakeImage(8, 600, 520);
        if (filled.x >= 0) {
          KXVOffscreenAutoLock lock(paint[i].get(), 1);
          paint[i]->MoveCursor(filled.x, filled.y);
          paint[i]->Set8BitColor(77);
        }
        const KXPoint seed(290, clip.top > 240 ? 300 : 60);
        const Request request(*paint[i], *comb, nullptr, seed, KXPoint(0, 0), clip, 0, 0);
        ASSERT_TRUE(i == 0 ? RunPlain<From8Exact>(request, 77, outcome[i])
                           : RunPlanes<From8Exact>(request, 77, outcome[i], 4096, 0));
      }
      EXPECT_EQ(outcome[0].count, outcome[1].count);
      EXPECT_EQ(outcome[0].box, outcome[1].box);
      EXPECT_TRUE(AreSame(*paint[0], *paint[1]));
    }
  }
}

int pollsLeft;
int StopAfterPolls() { return --pollsLeft < 0 ? 1 : 0; }

TEST(FloodFill, ByPartsKeepsWhatWasPaintedBeforeAnAbort) {
  const ImagePtr comb = MakeComb();
  i64 before = -1;
  for (const int most : {0, 1, 40, 300, 1000000}) {
    const ImagePtr paint = MakeImage(8, 600, 520);
    const Request request(*paint, *comb, nullptr, KXPoint(290, 60), KXPoint(0, 0), paint->GetRect(),
                          0, 1);
    Outcome outcome = {};
    pollsLeft = most;
    KXAbort::SetCallback(&StopAfterPolls);
    const int code = CodeOf([&] { RunPlanes<From8Exact>(request, 77, outcome, 4096, 0); });
    KXAbort::SetCallback(nullptr);
    EXPECT_EQ(code, most < 1000000 ? 0x20010004 : 0);
    EXPECT_EQ(outcome.count != 0, code == 0);
    EXPECT_EQ(paint->GetLockCount() + comb->GetLockCount(), 0u);
    i64 painted = 0;
    KXVOffscreenAutoLock paintLock(paint.get(), 0), combLock(comb.get(), 0);
    for (int y = 0; y < 520; ++y) {
      for (int x = 0; x < 600; ++x) {
        paint->MoveCursor(x, y);
        comb->MoveCursor(x, y);
        if (paint->Get8BitColor() == 0) continue;
        ++painted;
        ASSERT_TRUE(paint->Get8BitColor() == 77 && comb->Get8BitColor() == 0) << x << ", " << y;
      }
    }
    EXPECT_GT(painted, before) << "more with each poll, and nothing before the first one";
    EXPECT_EQ(painted == 0, most == 0);
    before = painted;
  }
}

}  // namespace
