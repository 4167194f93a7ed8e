#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "kxwcmn/core/exception.h"
#include "tests/classic/support.h"

namespace {

using namespace classic_test;

/// Shows what is for derived classes.
struct Open : KXOffscreen {
  using KXOffscreen::CalcPixelValue;
  using KXOffscreen::CalcPixValueHalf;
  using KXOffscreen::ChangeResolutionLow;
  using KXOffscreen::ChangeResolutionMostLow;
};

struct Job {
  int x, y, w, h, srcX, srcY, srcW, srcH;
};

std::ostream& operator<<(std::ostream& out, const Job& j) {
  return out << "to " << j.x << " " << j.y << " " << j.w << " " << j.h << " from " << j.srcX << " "
             << j.srcY << " " << j.srcW << " " << j.srcH;
}

int Floor(i64 i, int from, int size) { return static_cast<int>(i * from / size); }

/// Stores at (x, y) if that is in the image.
void Put(KXOffscreen& image, int x, int y, DWORD color) {
  if (image.PointInOffscreen(x, y)) Model::Set(image, 24, color, x, y);
}

void PickByRule(KXOffscreen& image, const KXOffscreen& source, const Job& j) {
  for (int y = 0; y < j.h; ++y) {
    for (int x = 0; x < j.w; ++x) {
      const int u = j.srcX + Floor(x, j.srcW, j.w), v = j.srcY + Floor(y, j.srcH, j.h);
      if (source.PointInOffscreen(u, v)) Put(image, j.x + x, j.y + y, Model::Get(source, 24, u, v));
    }
  }
}

/// The sums of some pixels' channels.
struct Pixels {
  int r = 0, g = 0, b = 0, count = 0;
  void Add(DWORD c) { r += Model::R(c), g += Model::G(c), b += Model::B(c), ++count; }
  DWORD Mean() const { return static_cast<DWORD>(r / count | g / count << 8 | b / count << 16); }
};

void AverageByRule(KXOffscreen& image, const KXOffscreen& source, const Job& j) {
  // Boxes must not pass the source's rectangle, as counted from its edge, nor the source.
  const int right = std::min(j.srcW, source.GetWidth());
  const int bottom = std::min(j.srcH, source.GetHeight());
  for (int y = 0; y < j.h; ++y) {
    for (int x = 0; x < j.w; ++x) {
      const int left = j.srcX + Floor(x, j.srcW, j.w), end = j.srcX + Floor(x + 1, j.srcW, j.w);
      const int top = j.srcY + Floor(y, j.srcH, j.h), low = j.srcY + Floor(y + 1, j.srcH, j.h);
      if (!source.PointInOffscreen(left, top)) continue;
      Pixels pixels;
      pixels.Add(Model::Get(source, 24, left, top));
      const bool isWide = j.srcW > j.w && end <= right;
      if (isWide) {
        for (int u = left; u < end; ++u) pixels.Add(Model::Get(source, 24, u, top));
      }
      if (j.srcH > j.h && low <= bottom) {
        for (int v = top; v < low; ++v) {
          for (int u = left; u < (isWide ? end : left + 1); ++u) {
            pixels.Add(Model::Get(source, 24, u, v));
          }
        }
      }
      Put(image, j.x + x, j.y + y, pixels.Mean());
    }
  }
}

/// The weights of a box's cells, the first of which is returned.
int WeightsByRule(double from, double to, std::vector<double>& weights) {
  const int first = static_cast<int>(from);
  const bool isWhole = from == first;
  weights = {isWhole ? 1.0 : std::ceil(from) - from};
  double border = isWhole ? from + 1 : std::ceil(from);
  if (from < to && border > to) weights[0] -= border - to;
  for (; from < to && border + 1 <= to; border += 1) weights.push_back(1.0);
  if (from < to && border < to) weights.push_back(to - static_cast<int>(to));
  return first;
}

DWORD BoxByRule(const KXOffscreen& source, int srcX, int srcY, double x0, double x1, double y0,
                double y1) {
  std::vector<double> columns, rows;
  const int left = srcX + WeightsByRule(x0, x1, columns);
  const int top = srcY + WeightsByRule(y0, y1, rows);
  double sums[3] = {};
  for (std::size_t j = 0; j < rows.size(); ++j) {
    for (std::size_t i = 0; i < columns.size(); ++i) {
      const int u = left + static_cast<int>(i), v = top + static_cast<int>(j);
      if (!source.PointInOffscreen(u, v)) continue;
      const DWORD c = Model::Get(source, 24, u, v);
      sums[0] += columns[i] * rows[j] * Model::R(c);
      sums[1] += columns[i] * rows[j] * Model::G(c);
      sums[2] += columns[i] * rows[j] * Model::B(c);
    }
  }
  DWORD result = 0;
  const double area = (x1 - x0) * (y1 - y0);
  for (int c = 0; c < 3; ++c) {
    const double value = std::min(area != 0 ? sums[c] * (1 / area) : sums[c], 255.0);
    result |= static_cast<DWORD>(std::lround(value)) << 8 * c;
  }
  return result;
}

void FilterByRule(KXOffscreen& image, const KXOffscreen& source, const Job& j) {
  const double rx = static_cast<double>(j.srcW) / j.w, ry = static_cast<double>(j.srcH) / j.h;
  double y0 = 0, y1 = ry;
  for (int y = 0; y < j.h; ++y, y0 = y1, y1 += ry) {
    double x0 = 0, x1 = rx;
    for (int x = 0; x < j.w; ++x, x0 = x1, x1 += rx) {
      if (!image.PointInOffscreen(j.x + x, j.y + y)) continue;
      Put(image, j.x + x, j.y + y, BoxByRule(source, j.srcX, j.srcY, x0, x1, y0, y1));
    }
  }
}

void HalveByRule(KXOffscreen& image, const KXOffscreen& source, const Job& j) {
  for (int y = j.y; y < j.h; ++y) {
    for (int x = 0; x < j.w; ++x) {
      if (y < 0 || !source.PointInOffscreen(2 * x + 1, 2 * y + 1)) continue;
      DWORD mean = 0;
      for (int shift = 0; shift < 24; shift += 8) {
        DWORD sum = 0;
        for (int k = 0; k < 4; ++k) {
          sum += Model::Get(source, 24, 2 * x + k % 2, 2 * y + k / 2) >> shift & 255;
        }
        mean |= sum / 4 << shift;
      }
      Put(image, j.y + x, y, mean);
    }
  }
}

void ChangeByRule(KXOffscreen& image, KXOffscreen& source, const Job& j, int level) {
  if (j.w == j.srcW && j.h == j.srcH) {
    return image.Copy(j.x, j.y, j.w, j.h, &source, j.srcX, j.srcY, 0);
  }
  if (level == KXOffscreen::cnMostLowLevelRes) return PickByRule(image, source, j);
  if (level == KXOffscreen::cnLowLevelRes) return AverageByRule(image, source, j);
  if (j.srcW == 2 * j.w && j.srcH == 2 * j.h) return HalveByRule(image, source, j);
  FilterByRule(image, source, j);
}

/// Lengths along one axis, as often as not of the ratios that have loops of their own.
void DrawLengths(Random& random, int most, int& to, int& from) {
  to = random.Int(1, most);
  from = random.OneIn(2) ? random.Int(1, 2 * most) : std::min(2 * most, to * random.Int(1, 9) / 2);
  from = std::max(from, 1);
}

TEST(ClassicResolution, EveryLevelAndPairOfDepthsEqualsItsRule) {
  Random random(21);
  for (int level = 0; level < 4; ++level) {
    for (int toBits : kDepths) {
      for (int fromBits : kDepths) {
        for (int i = 0; i < 24; ++i) {
          // A few longer than the pieces that loops do at a time.
          const int width = random.OneIn(6) ? 700 : 60;
          const auto image = MakeNoise(toBits, random.Int(1, width), random.Int(1, 30), random);
          const auto source =
              MakeNoise(fromBits, random.Int(1, 2 * width), random.Int(1, 60), random);
          Job j;
          DrawLengths(random, width, j.w, j.srcW);
          DrawLengths(random, 30, j.h, j.srcH);
          // Exactly half the size has a rule of its own, that of whole images, and so has the same.
          if (random.OneIn(8)) {
            const int times = random.Int(1, 2);
            j.srcW = times * j.w, j.srcH = times * j.h;
          }
          const int away = random.OneIn(2) ? 9 : 0;
          for (int* at : {&j.x, &j.y, &j.srcX, &j.srcY}) *at = random.Int(-away, away);
          SCOPED_TRACE(testing::Message()
                       << fromBits << " to " << toBits << " bits, level " << level << ", " << j);
          KXOffscreen expected(*image);
          expected.Lock();
          ChangeByRule(expected, *source, j, level);
          image->ChangeResolution(j.x, j.y, j.w, j.h, source.get(), j.srcX, j.srcY, j.srcW, j.srcH,
                                  level);
          ASSERT_EQ(BytesOf(*image), BytesOf(expected));
        }
      }
    }
  }
}

// Sums grow out of words and floats, boxes out of the pieces that are summed at a time.
TEST(ClassicResolution, OfLargeBoxesAndWideImagesEqualsItsRule) {
  Random random(22);
  constexpr Job kJobs[] = {{0, 0, 3, 2, 0, 0, 60, 700},        {0, 0, 9, 4, 0, 0, 1500, 90},
                           {0, 0, 5, 1, 5, 0, 6400, 3},        {0, 0, 2, 3, 0, 3, 9000, 40},
                           {0, 0, 3, 1, 0, 0, 17, 2100},       {0, 0, 4500, 2, 0, 0, 9900, 5},
                           {0, 0, 9100, 3, 1, 0, 700, 2},      {0, 0, 1, 1, 0, 0, 9000, 300},
                           {7, 0, 4400, 1, 0, 0, 6600, 3},     {-9, 0, 60, 40, 0, 0, 960, 640},
                           {0, 0, 31, 7, 0, 0, 1023, 98},      {-70000, 0, 70009, 2, 0, 0, 907, 3},
                           {-3000, 0, 3020, 2, 0, 0, 19000, 3}};
  for (const Job& j : kJobs) {
    for (int level = 0; level < 3; ++level) {
      const int bits = kDepths[random.Int(0, 3)];
      SCOPED_TRACE(testing::Message() << bits << " bits, level " << level << ", " << j);
      const auto source = MakeNoise(bits, j.srcW, j.srcH + 1, random);
      const auto image = MakeNoise(32, j.w, j.h, random);
      KXOffscreen expected(*image);
      expected.Lock();
      ChangeByRule(expected, *source, j, level);
      image->ChangeResolution(j.x, j.y, j.w, j.h, source.get(), j.srcX, j.srcY, j.srcW, j.srcH,
                              level);
      ASSERT_EQ(BytesOf(*image), BytesOf(expected));
    }
  }
}

// Sources of few values have many results that lie halfway between two whole numbers, which whole
// ratios meet exactly and others only in the order of the sums that defines them.
TEST(ClassicResolution, RoundsHalvesAsTheDefinedSumDoes) {
  Random random(23);
  for (int i = 0; i < 60; ++i) {
    const int bits = i % 2 ? 24 : 8;
    // Of half of them only the far end is seen, where the ends of boxes are long sums.
    const int away = random.OneIn(2) ? random.Int(1000, 3000) : 0, width = away + 40;
    const Job j = {
        -away, 0, width, 12, 0, 0, width * random.Int(4, 24) / 6, 12 * random.Int(4, 24) / 6};
    const auto source = MakeNoise(bits, j.srcW, j.srcH, random);
    for (i64 k = 0; k < source->GetBufferSize(); ++k) source->GetBaseAddress()[k] &= 3;
    const auto image = MakeNoise(24, 40, j.h, random);
    KXOffscreen expected(*image);
    expected.Lock();
    ChangeByRule(expected, *source, j, 2);
    image->ChangeResolution(j.x, 0, j.w, j.h, source.get(), 0, 0, j.srcW, j.srcH, 2);
    ASSERT_EQ(BytesOf(*image), BytesOf(expected)) << j;
  }
}

// Hand-made: columns 0, 90, 210 to two of 1.5 columns each.
TEST(ClassicResolution, WeighsThePartsOfPixels) {
  Open source;
  source.Create(3, 1, 24, 0, 1);
  source.Lock();
  const DWORD colors[] = {0x000000, 0x00005A, 0x0000D2};
  for (int x = 0; x < 3; ++x) source.Set24BitPixel(colors[x], x, 0);
  KXOffscreen image;
  image.Create(2, 1, 24, 0, 1);
  image.Lock();
  image.ChangeResolution(0, 0, 2, 1, &source, 0, 0, 3, 1, KXOffscreen::cnHighLevelRes);
  EXPECT_EQ(image.Get24BitPixel(0, 0), 30u);   // (0 + 90 / 2) / 1.5
  EXPECT_EQ(image.Get24BitPixel(1, 0), 170u);  // (90 / 2 + 210) / 1.5
  DWORD out = 7;
  source.CalcPixelValue(1, 0, 0.25, 0.75, 0.0, 0.5, out);  // a box smaller than its pixel
  EXPECT_EQ(out, 90u);
  source.CalcPixelValue(1, 0, 1.0, 3.0, 0.0, 1.0, out);  // of which one half is not there
  EXPECT_EQ(out, 105u);
  source.CalcPixelValue(1, 0, 0.0, 0.0, 0.0, 0.0, out);  // without an area
  EXPECT_EQ(out, 90u);
  source.CalcPixelValue(1, 0, 0.5, 0.25, 0.5, 0.25, out);  // reversed: four times the pixel
  EXPECT_EQ(out, 255u);
  for (double odd : {-1e300, -3.5, 1e300, std::nan("")}) {
    source.CalcPixelValue(0, 0, 0.0, odd, odd, 1.0, out);
    source.CalcPixelValue(std::numeric_limits<int>::max(), -5, odd, 1e9, 0.0, odd, out);
  }
  EXPECT_THROW(source.CalcPixValueHalf(1, 0, out), KXException);
}

TEST(ClassicResolution, OfAnImageToItselfReadsWhatWasThere) {
  Random random(26);
  for (int level = 0; level < 4; ++level) {
    const Job j = {5, 1, 12, 9, 0, 0, level == 3 ? 24 : 20, level == 3 ? 18 : 25};
    const auto image = MakeNoise(32, 30, 30, random);
    KXOffscreen before(*image), expected(*image);
    before.Lock();
    expected.Lock();
    ChangeByRule(expected, before, j, level);
    image->ChangeResolution(j.x, j.y, j.w, j.h, image.get(), 0, 0, j.srcW, j.srcH, level);
    EXPECT_EQ(BytesOf(*image), BytesOf(expected)) << level;
  }
}

TEST(ClassicResolution, NeedsLocksImagesAndSizes) {
  constexpr int kMin = std::numeric_limits<int>::min(), kMax = std::numeric_limits<int>::max();
  Random random(27);
  const auto image = MakeNoise(8, 20, 20, random), other = MakeNoise(8, 20, 20, random);
  KXOffscreen empty;
  const auto before = BytesOf(*image);
  other->Unlock();
  for (int level = 0; level < 3; ++level) {
    for (KXOffscreen* source : {static_cast<KXOffscreen*>(nullptr), &empty, other.get()}) {
      image->ChangeResolution(0, 0, 20, 20, source, 0, 0, 10, 9, level);
      empty.ChangeResolution(0, 0, 20, 20, source, 0, 0, 10, 9, level);
    }
    other->Lock();
    for (int size : {0, -1, kMin}) {
      image->ChangeResolution(0, 0, size, 20, other.get(), 0, 0, 10, 10, level);
      image->ChangeResolution(0, 0, 20, size, other.get(), 0, 0, 10, 10, level);
      image->ChangeResolution(0, 0, 20, 20, other.get(), 0, 0, size, 10, level);
      image->ChangeResolution(0, 0, 20, 20, other.get(), 0, 0, 10, size, level);
    }
    for (int at : {kMin, -30, 20, kMax - 5}) {
      image->ChangeResolution(at, 0, 25, 10, other.get(), 0, 0, 10, 9, level);
      image->ChangeResolution(0, at, 10, 25, other.get(), 0, 0, 9, 10, level);
    }
    EXPECT_EQ(BytesOf(*image), before);
    // Sizes of 31 bits, of which a corner or the far end is seen.
    image->ChangeResolution(-(kMax - 15), 0, kMax, 5, other.get(), 0, 0, 10, 10, level);
    image->ChangeResolution(kMin + 9, kMin + 9, kMax, kMax, other.get(), 0, 0, 10, 10, level);
    image->ChangeResolution(0, 0, 1, 1, other.get(), 0, 0, kMax, 1, level);
    image->ChangeResolution(0, 0, kMax, kMax, other.get(), 0, 0, 20, 20, level);
    image->ChangeResolution(0, 0, kMax, kMax, other.get(), kMin, kMax, kMax, 20, level);
    image->ChangeResolution(0, 0, 20, 20, other.get(), -9, 0, kMax, kMax, level);
    image->ChangeResolution(0, 0, 20, 20, other.get(), 19, 1, kMax - 19, 21, level);
    std::copy(before.begin(), before.end(), image->GetBaseAddress());
    other->Unlock();
  }
}

}  // namespace
