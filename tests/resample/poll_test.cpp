#include <gtest/gtest.h>

#include "kxwcmn/core/abort.h"
#include "tests/compositing/copymodel.h"

// What is asked in the middle of an operation may paint the images on the screen.

namespace {

using namespace testing_kxw;

KXVOffscreen* g_shown[2];

/// Looks at each block of the images, which is more than the pool holds.
int ShowImages() {
  for (KXVOffscreen* image : g_shown) {
    for (int y = 0; y < image->GetHeight(); y += 256) {
      for (int x = 0; x < image->GetWidth(); x += 256) {
        if (!image->GetBlockExist(x, y)) continue;
        image->MoveCursor(x, y);
        image->Get64BitColor();
      }
    }
  }
  return 0;
}

TEST(Polling, MayMoveTheCursors) {
  const auto run = [](int way, KXVOffscreen& dst, KXVOffscreen& src) {
    const int w = src.GetWidth(), h = src.GetHeight();
    switch (way) {
      case 0:
        return dst.ChangeResolution(0, 0, 700, 200, &src, 0, 0, w, h, KXVOffscreen::kResolutionArea,
                                    0, 0);
      case 1:
        return dst.ChangeResolutionHalfAll(&src);
      case 2:
        return dst.ChangeResolutionDouble(3, 3, 900, 500, &src, 1, 1, 0);
      case 3:
        return dst.ChangeResolutionLow(0, 0, 700, 200, &src, 0, 0, w, h, 0, 0);
      case 4:
        return dst.StretchCopy(0, 0, 700, 200, &src, 0, 0, w, h);
    }
  };
  for (const int bits : {32, 64}) {
    Random random(static_cast<unsigned>(bits));
    const ImagePtr src = RandomImage(bits, 1900, 520, random);
    for (int way = 0; way < 5; ++way) {
      SCOPED_TRACE(testing::Message() << bits << " bits, operation " << way);
      const ImagePtr dst = MakeImage(bits, 1000, 600), expected = MakeImage(bits, 1000, 600);
      run(way, *expected, *src);
      g_shown[0] = src.get();
      g_shown[1] = dst.get();
      KXAbort::SetCallback(ShowImages);
      run(way, *dst, *src);
      KXAbort::SetCallback(nullptr);
      ASSERT_NO_FATAL_FAILURE(ExpectSame(*dst, *expected));
    }
  }
}

}  // namespace
