#include <gtest/gtest.h>

#include <vector>

#include "kxwcmn/offscreen/autolock.h"
#include "tests/support/images.h"

// Fills of random pictures over the seams of blocks against a search pixel by pixel.

namespace {

using namespace testing_kxw;

struct Case {
  int bits, margin;
  bool hasSecond;
};

int Near(DWORD a, DWORD b, int margin, bool exact) {
  if (exact) return a == b;
  for (int shift = 0; shift < 24; shift += 8) {
    const int d = int(a >> shift & 255) - int(b >> shift & 255);
    if (d > margin || -d > margin) return 0;
  }
  return 1;
}

TEST(FloodFill, PaintsWhatASearchFinds) {
  constexpr int kWidth = 300, kHeight = 280;
  const Case kCases[] = {{1, 0, false}, {1, 0, true},   {2, 0, false},  {8, 0, false},
                         {8, 9, false}, {32, 0, false}, {24, 3, false}, {24, 3, true}};
  for (const Case& c : kCases) {
    for (unsigned seed = 0; seed < 14; ++seed) {
      SCOPED_TRACE(testing::Message() << c.bits << " bits, margin " << c.margin << ", second "
                                      << c.hasSecond << ", seed " << seed);
      Random random(seed * 31 + unsigned(c.bits));
      ImagePtr reference = MakeImage(c.bits, kWidth, kHeight, 72, RoomyManager());
      ImagePtr second = MakeImage(c.bits == 1 ? 1 : 8, kWidth, kHeight, 72, RoomyManager());
      ImagePtr paint = MakeImage(c.bits == 24 ? 32 : c.bits, kWidth, kHeight, 72, RoomyManager());
      const auto read = [&c](KXVOffscreen& o) -> DWORD {
        return c.bits == 1    ? o.Get1BitColor()
               : c.bits == 2  ? o.Get2BitColor()
               : c.bits == 8  ? o.Get8BitColor()
               : c.bits == 24 ? o.Get24BitColor()
                              : o.Get32BitColor();
      };
      // Noise, lines and open ground, so that spans leak to both sides.
      const int walls = random.Int(1, 3);
      for (KXVOffscreen* o : {reference.get(), second.get()}) {
        KXVOffscreenAutoLock lock(o, 1);
        for (int i = 0; i < 16000 / walls; ++i) {
          o->MoveCursor(random.Edge(0, kWidth - 1), random.Edge(0, kHeight - 1));
          o->Set8BitColor(BYTE(random.OneIn(2) ? 255 : random.Int(0, 20)));
        }
      }
      const KXPoint origin(random.Int(-3, 3), random.Int(-3, 3));
      const KXRect clip = random.OneIn(2) || c.bits == 24
                              ? paint->GetRect()
                              : KXRect(random.Edge(0, 150), random.Edge(0, 150),
                                       random.Edge(160, kWidth), random.Edge(160, kHeight));
      // Below the clip's last row the rule is another one.
      const KXPoint at(random.Edge(clip.left, clip.right - 1),
                       random.Edge(clip.top, clip.bottom - 2));
      KXRect box;
      int count = -1;
      const DWORD color = 0xFF204060;  // pure black is what an unpainted pixel reads as
      const int filled =
          paint->FloodFill(box, at, color, reference.get(), c.hasSecond ? second.get() : nullptr,
                           origin, clip, c.margin, &count, 0);
      ASSERT_EQ(filled, 1);

      std::vector<DWORD> judged(kWidth * kHeight), judgedToo(kWidth * kHeight);
      KXVOffscreenAutoLock lockR(reference.get(), 0), lockS(second.get(), 0);
      for (int y = 0; y < kHeight; ++y) {
        for (int x = 0; x < kWidth; ++x) {
          reference->MoveCursor(x - origin.x, y - origin.y);
          second->MoveCursor(x - origin.x, y - origin.y);
          judged[std::size_t(y * kWidth + x)] = read(*reference);
          judgedToo[std::size_t(y * kWidth + x)] =
              c.bits == 1 ? second->Get1BitColor() : second->Get8BitColor();
        }
      }
      const auto matches = [&](int x, int y) {
        const std::size_t i = std::size_t(y * kWidth + x), b = std::size_t(at.y * kWidth + at.x);
        const bool exact = c.bits <= 2 || (c.margin == 0 && c.bits != 24);
        return Near(judged[i], judged[b], c.margin, exact) &&
               (!c.hasSecond || Near(judgedToo[i], judgedToo[b], c.margin, c.bits == 1));
      };
      std::vector<bool> reached(kWidth * kHeight);
      std::vector<KXPoint> open;
      const auto reach = [&](int x, int y) {
        if (!clip.PtInRect(KXPoint(x, y)) || reached[std::size_t(y * kWidth + x)]) return;
        if (!matches(x, y)) return;
        reached[std::size_t(y * kWidth + x)] = true;
        open.emplace_back(x, y);
      };
      reach(at.x, at.y);
      int expected = 0;
      KXRect bounds;
      while (!open.empty()) {
        const KXPoint p = open.back();
        open.pop_back();
        ++expected;
        bounds |= KXRect(p.x, p.y, p.x + 1, p.y + 1);
        reach(p.x - 1, p.y), reach(p.x + 1, p.y), reach(p.x, p.y - 1), reach(p.x, p.y + 1);
      }
      ASSERT_EQ(count, expected);
      ASSERT_EQ(box | bounds, box) << "all of the paint is in the box";
      KXVOffscreenAutoLock lockP(paint.get(), 0);
      for (int y = 0; y < kHeight; ++y) {
        for (int x = 0; x < kWidth; ++x) {
          paint->MoveCursor(x, y);
          ASSERT_EQ(paint->Get8BitColor() != 0, reached[std::size_t(y * kWidth + x)])
              << x << "," << y;
        }
      }
    }
  }
}

}  // namespace
