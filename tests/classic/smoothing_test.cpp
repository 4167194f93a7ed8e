#include <gtest/gtest.h>

#include <limits>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "tests/classic/smoothing_model.h"
#include "tests/support/failure.h"

namespace {

using namespace classic_test;

constexpr DWORD kUntouched = 0x00FFFFFF;

/// With the single passes in reach.
class Image : public KXOffscreen {
 public:
  using KXOffscreen::AveragePixel;
  using KXOffscreen::CalcRGBValue;
  using KXOffscreen::ExeSmoothing;
  using KXOffscreen::FindBorder;
  using KXOffscreen::FinishSmoothing;
  using KXOffscreen::ReadyLineData;

  Image(int width, int height, int bits = 32, DWORD color = kUntouched) {
    Create(width, height, bits, color, 1);
    Lock();
  }
  DWORD At(int x, int y) const { return Model::Get(*this, 32, x, y); }
  void Set(int x, int y, DWORD color) { Model::Set(*this, 32, color, x, y); }
  std::vector<DWORD> Pixels() const {
    std::vector<DWORD> pixels;
    for (int y = 0; y < GetHeight(); ++y) {
      for (int x = 0; x < GetWidth(); ++x) pixels.push_back(At(x, y));
    }
    return pixels;
  }
};

constexpr DWORD kWhite = 0xFFFFFFFF, kBlack = 0xFF000000;
DWORD Grey(int value) { return kBlack | static_cast<DWORD>(value) * 0x010101; }

/// Smooths a picture in which '.' is `light` and 'x' is `dark`. All but these pixels stay.
void ExpectSmoothed(const std::vector<std::string>& rows, DWORD light, DWORD dark,
                    const std::map<std::pair<int, int>, DWORD>& changed) {
  Image image(static_cast<int>(rows[0].size()), static_cast<int>(rows.size()));
  const auto before = [&](int x, int y) {
    return rows[std::size_t(y)][std::size_t(x)] == 'x' ? dark : light;
  };
  for (int y = 0; y < image.GetHeight(); ++y) {
    for (int x = 0; x < image.GetWidth(); ++x) image.Set(x, y, before(x, y));
  }
  image.Lock();  // one is taken
  image.DoSmoothing(nullptr, nullptr, nullptr, nullptr, nullptr);
  for (int y = 0; y < image.GetHeight(); ++y) {
    for (int x = 0; x < image.GetWidth(); ++x) {
      const auto found = changed.find({x, y});
      EXPECT_EQ(image.At(x, y), found == changed.end() ? before(x, y) : found->second)
          << x << ", " << y;
    }
  }
}

// A step of four pixels. Each side of it has two pixels: at the corner 1/32 and 3/32 of the pixel
// and the rest of a quarter each of the outer colour, and half of the pixel itself, and then 7/8.
TEST(Smoothing, OfAStepAlongRows) {
  const std::vector<std::string> rows = {"......xxxx", "..xxxxxxxx"};
  ExpectSmoothed(rows, kWhite, kBlack,
                 {{{4, 0}, Grey(223)},
                  {{5, 0}, Grey(127 + 7 + 23)},
                  {{2, 1}, Grey(55 + 39)},
                  {{3, 1}, Grey(31)}});
  // Where transparency takes part, the same goes into the alpha, and the colour is the dark one's.
  ExpectSmoothed(rows, 0x00FFFFFF, kBlack,
                 {{{4, 0}, DWORD{31} << 24},
                  {{5, 0}, DWORD{39 + 55} << 24},
                  {{2, 1}, DWORD{127 + 23 + 7} << 24},
                  {{3, 1}, DWORD{223} << 24}});
}

TEST(Smoothing, PartsForDerivedClasses) {
  Image image(5, 3, 32, kWhite);
  const int reds[] = {0, 42, 84, 127, 90};
  for (int x = 0; x < 5; ++x) image.Set(x, 1, kBlack | static_cast<DWORD>(reds[x]));
  KXOffscreen::_LData runs[5][3] = {};
  int positions[5][3] = {};
  image.ReadyLineData(&runs, &positions, 0, 1, 2, 0, 5);
  EXPECT_TRUE(runs[0][2].start == 0 && runs[0][2].end == 3 && runs[1][2].end == 5);
  EXPECT_TRUE(runs[0][2].color.red == 42 && runs[1][2].color.red == 108);  // of the end pixels
  for (int x = 0; x < 5; ++x) EXPECT_EQ(positions[x][2], x > 2);

  Random random(30);
  for (int i = 0; i < 2000; ++i) {
    const int alphas[] = {0, 1, 54, 200, 201, 254, 255};
    ModelSmoothing::Pixel p[2];
    for (auto& pixel : p) {
      pixel = {alphas[random.Int(0, 6)], random.Int(0, 30), random.Int(0, 30), random.Int(0, 30)};
    }
    tagQMRGBCOLOR a{p[0].a, p[0].r, p[0].g, p[0].b}, b{p[1].a, p[1].r, p[1].g, p[1].b};
    for (int threshold : {42, 64}) {
      ASSERT_EQ(image.FindBorder(&a, &b, threshold), ModelSmoothing::Border(p[0], p[1], threshold));
    }
  }
  const auto mean = image.AveragePixel({-3, 3, 254, 0}, {0, 0, 255, 1});
  EXPECT_TRUE(mean.alpha == -1 && mean.red == 1 && mean.green == 254 && mean.blue == 0);
  const auto ramp = image.CalcRGBValue({1, 255, 0, -9}, {0, 0, 100, 0}, 0.2, 0.25);
  EXPECT_TRUE(ramp.alpha == 1 && ramp.red == 12 && ramp.green == 20 && ramp.blue == 0);
}

TEST(Smoothing, CutsNoLinesThatAreNotThere) {
  Image image(5, 3, 32, kWhite);
  KXOffscreen::_LData runs[5][3] = {};
  int positions[5][3] = {};
  const auto fails = [&](int direction, int line, int slot, int start, int end) {
    return CodeOf(
        [&] { image.ReadyLineData(&runs, &positions, direction, line, slot, start, end); });
  };
  EXPECT_EQ(fails(2, 0, 0, 0, 3), 0x20010008);
  EXPECT_EQ(fails(0, 3, 0, 0, 5), 0x20010008);
  EXPECT_EQ(fails(0, 0, 3, 0, 5), 0x20010008);
  EXPECT_EQ(fails(1, 0, 0, 0, 4), 0x20010008);
  EXPECT_EQ(fails(0, 0, 0, 3, 3), 0x20010008);
}

/// Flat areas with stepped edges, of colours around the thresholds, some not opaque; or noise.
void Paint(Image& image, Random& random) {
  const DWORD base = random.OneIn(2) ? kBlack : random.Bits() | kBlack;
  const DWORD palette[] = {base,
                           base ^ 0x00002A,
                           base ^ 0x00002B,
                           base ^ 0x004000,
                           base ^ 0x004100,
                           kWhite,
                           kUntouched,
                           random.Bits() & 0x00FFFFFF,
                           random.Bits(),
                           0xFEFFFFFF & random.Bits()};
  const int colors = random.Int(1, 9), longest = random.OneIn(2) ? 4 : 40;
  const bool isNoise = random.OneIn(6);
  const int areas = random.Int(1, 12);
  for (int i = 0; i < areas; ++i) {
    // An area between two edges that wander from line to line, along the rows or the columns.
    const bool isTurned = random.OneIn(2);
    const int lines = isTurned ? image.GetWidth() : image.GetHeight();
    const int length = isTurned ? image.GetHeight() : image.GetWidth();
    const DWORD color = palette[random.Int(0, colors)];
    int from = random.Int(-5, length), to = random.Int(from, length);
    for (int line = 0; line < lines; ++line) {
      for (int p = std::max(from, 0); p < std::min(to, length); ++p) {
        image.Set(isTurned ? line : p, isTurned ? p : line, color);
      }
      if (random.OneIn(2)) from += random.Int(-longest, longest);
      if (random.OneIn(2)) to += random.Int(-longest, longest);
    }
  }
  for (int y = 0; isNoise && y < image.GetHeight(); ++y) {
    for (int x = 0; x < image.GetWidth(); ++x) {
      if (random.OneIn(3)) image.Set(x, y, palette[random.Int(0, 9)]);
    }
  }
}

tagRECT Widened(const tagRECT& rect, const Image& image) {
  return {std::max<LONG>(rect.left - 1, 0), std::max<LONG>(rect.top - 1, 0),
          std::min<LONG>(rect.right + 1, image.GetWidth()),
          std::min<LONG>(rect.bottom + 1, image.GetHeight())};
}

TEST(Smoothing, EveryFormEqualsTheModel) {
  Random random(31);
  for (int i = 0; i < 400; ++i) {
    SCOPED_TRACE(i);
    const int most = random.OneIn(4) ? 150 : 40;
    const int width = random.Int(1, most), height = random.Int(1, most);
    Image image(width, height, 32, random.Bits());
    Paint(image, random);
    tagRECT rect = {random.Int(-3, width), random.Int(-3, height), random.Int(0, width + 3),
                    random.Int(0, height + 3)};
    const bool isWhole = random.OneIn(3);
    tagRECT area = Widened(rect, image);
    if (isWhole) image.GetRect(area);
    ModelSmoothing model(image);
    const bool isEmpty = area.left >= area.right || area.top >= area.bottom;
    if (!isEmpty) model.Run(area.left, area.top, area.right, area.bottom);

    Image fast(image), withScratch(image), plain(image);
    for (Image* each : {&fast, &withScratch, &plain}) each->Lock();
    fast.Lock();
    fast.DoSmoothing(isWhole ? nullptr : &rect, nullptr, nullptr, nullptr, nullptr);
    ASSERT_EQ(fast.Pixels(), model.Image());

    Image first(width, height), second(width, height);
    withScratch.Lock();
    KXOffscreen* const given = random.OneIn(4) ? nullptr : &second;
    withScratch.DoSmoothing(isWhole ? nullptr : &rect, &first, given, nullptr, nullptr);
    ASSERT_EQ(withScratch.Pixels(), model.Image());
    ASSERT_EQ(first.Pixels(), model.Scratch1());
    if (given) {
      ASSERT_EQ(second.Pixels(), model.Scratch2());
    }

    if (isEmpty) continue;
    Image third(width, height), fourth(width, height);
    const auto entries = static_cast<std::size_t>(std::max(width, height));
    const auto runs = std::make_unique<KXOffscreen::_LData[][3]>(entries);
    const auto positions = std::make_unique<int[][3]>(entries);
    auto* const runTable = reinterpret_cast<KXOffscreen::_LData(*)[][3]>(runs.get());
    auto* const positionTable = reinterpret_cast<int(*)[][3]>(positions.get());
    plain.ExeSmoothing(&third, &fourth, runTable, positionTable, 0, area.left, area.top, area.right,
                       area.bottom);
    plain.ExeSmoothing(&third, &fourth, runTable, positionTable, 1, height - area.bottom, area.left,
                       height - area.top, area.right);
    plain.FinishSmoothing(&third, &fourth, area.left, area.top, area.right, area.bottom);
    ASSERT_EQ(plain.Pixels(), model.Image());
    ASSERT_EQ(third.Pixels(), first.Pixels());
  }
}

TEST(Smoothing, MergesInto24BitsToo) {
  Image image(3, 1, 24, 0x808080), first(3, 1), second(3, 1);
  first.Set(0, 0, 0x00204060);
  second.Set(0, 0, 0x00F00102);
  first.Set(1, 0, 0x03112233);
  image.FinishSmoothing(&first, &second, -5, -5, 9, 9);
  EXPECT_EQ(image.At(0, 0), 0xFF5081A2u);  // 0x40 each on top, and the sums wrap
  EXPECT_EQ(image.At(1, 0), 0xFF112233u);
  EXPECT_EQ(image.At(2, 0), 0xFF808080u);
}

int LocksOf(KXOffscreen& image) {
  int count = 0;
  for (; image.GetBaseAddress(); ++count) image.Unlock();
  return count;
}

TEST(Smoothing, TakesALockOfItsCaller) {
  for (const auto& [before, after] : {std::pair{0, 0}, {1, 0}, {2, 2}}) {
    Image image(9, 9), scratch1(9, 9), scratch2(9, 9);
    image.Unlock();
    for (int i = 0; i < before; ++i) image.Lock();
    image.DoSmoothing(nullptr, &scratch1, &scratch2, nullptr, nullptr);
    EXPECT_EQ(LocksOf(image), after);
    EXPECT_EQ(LocksOf(scratch1), 1);
    EXPECT_EQ(LocksOf(scratch2), 1);
  }
}

TEST(Smoothing, Arguments) {
  constexpr LONG kMin = std::numeric_limits<LONG>::min(), kMax = std::numeric_limits<LONG>::max();
  KXOffscreen none;
  none.DoSmoothing(nullptr, nullptr, nullptr, nullptr, nullptr);
  Image image(8, 8, 32, kWhite), scratch(8, 8), small(7, 8), grey(8, 8, 8), thin(8, 8, 24);
  KXOffscreen empty;
  empty.Create(0, 5, 32, 0, 0);
  empty.DoSmoothing(nullptr, nullptr, nullptr, nullptr, nullptr);
  const auto code = [&](KXOffscreen& on, KXOffscreen* first, KXOffscreen* second) {
    return CodeOf([&] { on.DoSmoothing(nullptr, first, second, nullptr, nullptr); });
  };
  EXPECT_EQ(code(grey, nullptr, nullptr), 0x20010008);
  EXPECT_EQ(code(thin, nullptr, nullptr), 0x20010008);
  for (KXOffscreen* wrong : {static_cast<KXOffscreen*>(&image), static_cast<KXOffscreen*>(&small),
                             static_cast<KXOffscreen*>(&grey), &none}) {
    EXPECT_EQ(code(image, wrong, nullptr), 0x20010008);
    EXPECT_EQ(code(image, &scratch, wrong), 0x20010008);
  }
  EXPECT_EQ(code(image, &scratch, &scratch), 0x20010008);
  image.Lock();
  for (tagRECT rect : {tagRECT{kMin, kMin, kMax, kMax},
                       {kMax, kMax, kMin, kMin},
                       {kMax, 0, kMax, 9},
                       {kMin, 0, kMin, 9}}) {
    image.DoSmoothing(&rect, nullptr, nullptr, nullptr, nullptr);
  }
  EXPECT_EQ(LocksOf(image), 2);
}

}  // namespace
