#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "kxwcmn/core/abort.h"
#include "kxwcmn/offscreen/autolock.h"
#include "tests/compositing/copymodel.h"
#include "tests/resample/processmanager.h"
#include "tests/support/failure.h"
#include "tests/support/images.h"

// Changes of resolution beside models written from their rules, pixel by pixel on the public
// cursor.
namespace {

using namespace testing_kxw;

constexpr auto kArea = KXVOffscreen::kResolutionArea;

struct Window {
  int x, y, w, h, sx, sy, sw, sh;
  bool behind;

  bool Cut(const KXVOffscreen& dst, const KXVOffscreen& src) {
    const auto cut = [](int& at, int& size, int limit) {
      const int end = std::min(at + size, limit);
      at = std::max(at, 0);
      size = end - at;
      return size > 0;
    };
    return cut(x, w, dst.GetWidth()) && cut(y, h, dst.GetHeight()) && cut(sx, sw, src.GetWidth()) &&
           cut(sy, sh, src.GetHeight());
  }
  friend std::ostream& operator<<(std::ostream& out, const Window& c) {
    return out << c.x << ',' << c.y << ' ' << c.w << 'x' << c.h << " from " << c.sx << ',' << c.sy
               << ' ' << c.sw << 'x' << c.sh << (c.behind ? " behind" : "");
  }
};

// --- The area filter
// ------------------------------------------------------------------------------

struct Box {
  int start, count;
  double first, last;
};

Box ModelBox(double from, double to) {
  const int start = static_cast<int>(from), end = static_cast<int>(to);
  if (start == end) return {start, 0, to - from, 0};
  if (to == end) return {start, end - 1 - start, 1.0 - (from - start), end - 1 > start ? 1.0 : 0.0};
  return {start, end - start, 1.0 - (from - start), to - end};
}

/// The channels of a pixel from the lowest on; `at` 1 bit and 2 bits count 0 and 1.
std::vector<int> ModelSamples(KXVOffscreen& src) {
  switch (src.GetBitCount()) {
    case 1:
      return {src.Get1BitColor()};
    case 2: {
      const int v = src.Get2BitColor();
      return {v == 3, v >= 2};
    }
    case 8:
      return {src.Get8BitColor()};
    case 16: {
      const DWORD c = src.Get16BitColor();
      return {static_cast<int>(c & 255), static_cast<int>(c >> 24)};
    }
    case 24: {
      const DWORD c = src.Get24BitColor();
      return {static_cast<int>(c & 255), static_cast<int>(c >> 8 & 255),
              static_cast<int>(c >> 16 & 255)};
    }
    default: {
      const u64 c = src.GetBitCount() == 32 ? src.Get32BitColor() : src.Get64BitColor();
      const int bits = src.GetBitCount() / 4;
      std::vector<int> samples;
      for (int i = 0; i < 4; ++i)
        samples.push_back(static_cast<int>(c >> i * bits & ((1u << bits) - 1)));
      return samples;
    }
  }
}

u64 ModelValue(KXVOffscreen& src, const Box& bx, const Box& by, int sx, int sy, double scale) {
  double sums[4] = {};
  std::size_t channels = 0;
  for (int j = 0; j <= by.count && sy + by.start + j < src.GetHeight(); ++j) {
    double row[4] = {};
    for (int i = 0; i <= bx.count && sx + bx.start + i < src.GetWidth(); ++i) {
      src.MoveCursor(sx + bx.start + i, sy + by.start + j);
      const std::vector<int> samples = ModelSamples(src);
      channels = samples.size();
      const double weight = i == 0 ? bx.first : i == bx.count ? bx.last : 1.0;
      for (std::size_t c = 0; c < channels; ++c) row[c] += samples[c] * weight;
    }
    const double weight = j == 0 ? by.first : j == by.count ? by.last : 1.0;
    for (int c = 0; c < 4; ++c) sums[c] += row[c] * weight;
  }
  const int bits = src.GetBitCount();
  u64 results[4];
  for (int c = 0; c < 4; ++c) {
    const double value = bits < 8 ? sums[c] * scale * 255.0 : sums[c] * scale;
    results[c] = static_cast<u64>(std::min(std::round(value), bits == 64 ? 65535.0 : 255.0));
  }
  if (bits == 64) return results[0] | results[1] << 16 | results[2] << 32 | results[3] << 48;
  if (channels > 2) return results[0] | results[1] << 8 | results[2] << 16 | results[3] << 24;
  return results[0] * 0x010101 | results[1] << 24;
}

void ModelStore(KXVOffscreen& dst, u64 value, bool behind) {
  const DWORD narrow = static_cast<DWORD>(value);
  const BYTE low = static_cast<BYTE>(value);
  if (dst.GetBitCount() == 64) {
    if (behind && value >> 48 == 0) return;
    if (behind) {
      const u64 v = ModelBehind(dst.Get64BitColor(), value, 16);
      DWORD packed = static_cast<DWORD>(v >> 48);
      for (int at = 32; at >= 0; at -= 16) packed = packed << 8 | static_cast<WORD>(v >> at);
      value = packed;
    }
    dst.Set64BitColor(value);
  } else if (dst.GetBitCount() <= 8) {
    if (!behind || low != 0) dst.Set8BitColor(low);
  } else if (!behind) {
    dst.Set32BitColor(narrow);
  } else if (narrow >> 24 != 0) {
    dst.SetColor(static_cast<DWORD>(ModelBehind(dst.Get32BitColor(), narrow, 8)));
  }
}

void ModelArea(KXVOffscreen& dst, KXVOffscreen& src, Window c) {
  if (!c.Cut(dst, src)) return;
  KXVOffscreenAutoLock dstLock(&dst, 1), srcLock(&src, 0);
  const double rx = static_cast<double>(c.sw) / c.w, ry = static_cast<double>(c.sh) / c.h;
  const double scale = 1.0 / (ry * rx);
  double top = 0;
  for (int j = 0; j < c.h; ++j, top += ry) {
    double left = 0;
    for (int i = 0; i < c.w; ++i, left += rx) {
      dst.MoveCursor(c.x + i, c.y + j);
      ModelStore(
          dst,
          ModelValue(src, ModelBox(left, left + rx), ModelBox(top, top + ry), c.sx, c.sy, scale),
          c.behind);
    }
  }
}

void ExpectArea(KXVOffscreen& dst, KXVOffscreen& src, const Window& c) {
  ImagePtr expected = Clone(dst);
  ModelArea(*expected, src, c);
  dst.ChangeResolution(c.x, c.y, c.w, c.h, &src, c.sx, c.sy, c.sw, c.sh, kArea, c.behind, 0);
  ExpectSame(dst, *expected);
}

TEST(AreaFilter, EqualsItsDefinitionAtEveryPairOfDepths) {
  Random random(1);
  for (const int to : kAllDepths) {
    for (const int from : kAllDepths) {
      if ((to == 64) != (from == 64)) continue;
      for (int i = 0; i < 3; ++i) {
        ImagePtr dst = RandomImage(to, 300, 270, random), src = RandomImage(from, 530, 300, random);
        Window c{random.Int(-9, 250), random.Int(-9, 250), random.Int(1, 90),
                 random.Int(1, 60),   random.Int(-9, 300), random.Int(-9, 250),
                 random.Int(1, 230),  random.Int(1, 90),   random.OneIn(3)};
        Window cut = c;
        if (!cut.Cut(*dst, *src) || (cut.w == cut.sw && cut.h == cut.sh)) continue;
        if ((cut.w * 2 == cut.sw && cut.h * 2 == cut.sh) ||
            (cut.w * 4 == cut.sw && cut.h * 4 == cut.sh))
          continue;
        SCOPED_TRACE(testing::Message() << to << " from " << from << ": " << c);
        ASSERT_NO_FATAL_FAILURE(ExpectArea(*dst, *src, c));
      }
    }
  }
}

// Weights of thirds, quarters and tenths land on halves by the thousand, where the order of sums
// decides; boxes wider than a block and images of one column are the other ends.
TEST(AreaFilter, RoundsTiesAsItsDefinitionDoes) {
  Random random(2);
  const int sizes[][4] = {{96, 96, 128, 128}, {90, 60, 120, 180}, {100, 70, 110, 77},
                          {40, 30, 60, 45},   {128, 96, 96, 72},  {3, 2, 900, 280},
                          {1, 1, 999, 299},   {120, 1, 7, 300}};
  for (const int bits : {1, 8, 16, 24, 32, 64}) {
    for (const auto& [w, h, sw, sh] : sizes) {
      ImagePtr dst = MakeImage(bits, 300, 300), src = RandomImage(bits, 1000, 300, random, false);
      SCOPED_TRACE(testing::Message()
                   << bits << " bits, " << sw << 'x' << sh << " to " << w << 'x' << h);
      ASSERT_NO_FATAL_FAILURE(ExpectArea(*dst, *src, {7, 5, w, h, 1, 0, sw, sh, false}));
    }
  }
}

TEST(AreaFilter, MakesNoBlockOfNothing) {
  ImagePtr dst = MakeImage(8, 20000, 20000), src = MakeImage(8, 60000, 60000);
  dst->ChangeResolution(0, 0, 20000, 20000, src.get(), 0, 0, 60000, 60000, kArea, 0, 0);
  EXPECT_EQ(dst->GetUsedMemory(0), 0u);
}

// A hole counts as what the depth reads there, also where a write lock of the caller would make it.
TEST(AreaFilter, LeavesHolesUnderAWriteLock) {
  const ImagePtr src = MakeImage(32, 600, 600);
  src->SetClearColor(DWORD{0x11223344});
  KXVOffscreen::_KXRESOLUTIONTABLE table;
  KXVOffscreen::SetResolutionTable(&table, 300, 302.5);
  const KXVOffscreenAutoLock lock(src.get(), 0, 0, 1);
  DWORD value = 1;
  src->CalcPixelValue(&table, &table, 0, 0, 1 / 6.25, value);
  EXPECT_EQ(value, 0u);
  EXPECT_FALSE(src->GetBlockExist(300, 300));
}

TEST(ResolutionTable, WeighsTheEnds) {
  const struct {
    double from, to;
    int start, end, count;
    double first, last;
  } cases[] = {{1.5, 3.0, 1, 2, 1, 0.5, 1.0},
               {1.25, 1.75, 1, 1, 0, 0.5, 0.0},
               {2.0, 3.0, 2, 2, 0, 1.0, 0.0},
               {0.5, 2.25, 0, 2, 2, 0.5, 0.25}};
  for (const auto& c : cases) {
    KXVOffscreen::_KXRESOLUTIONTABLE t;
    KXVOffscreen::SetResolutionTable(&t, c.from, c.to);
    EXPECT_EQ(std::tie(t.start, t.end, t.count, t.firstWeight, t.lastWeight),
              std::tie(c.start, c.end, c.count, c.first, c.last));
  }
}

// --- Integer ratios
// -------------------------------------------------------------------------------

enum Kind { kHalf, kQuarter, kDouble, kFourfold };

/// Reads and writes in one of the three terms: densities, 32 bits, 64 bits.
struct Terms {
  int bits;
  u64 Read(KXVOffscreen& image) const {
    return bits == 8    ? image.Get8BitColor()
           : bits == 32 ? image.Get32BitColor()
                        : image.Get64BitColor();
  }
  void Store(KXVOffscreen& dst, u64 v, bool behind) const {
    if (bits == 8) {
      if (behind && v == 0) return;
      dst.Set8BitColor(behind ? ModelDensityBehind(dst.Get8BitColor(), static_cast<int>(v))
                              : static_cast<BYTE>(v));
      return;
    }
    const int channel = bits / 4;
    if (behind) {
      if (v >> 3 * channel == 0) return;
      const u64 d = Read(dst);
      if (d >> 3 * channel != 0) v = ModelBehind(d, v, channel);
    }
    bits == 32 ? dst.Set32BitColor(static_cast<DWORD>(v)) : dst.Set64BitColor(v);
  }
};

void ModelRatio(KXVOffscreen& dst, KXVOffscreen& src, Kind kind, const Window& c) {
  const Terms terms{dst.GetBitCount() == 64                            ? 64
                    : dst.GetBitCount() == 8 && src.GetBitCount() == 8 ? 8
                                                                       : 32};
  const int n = kind == kHalf || kind == kDouble ? 2 : 4;
  KXRect area(c.sx, c.sy, c.sx + c.w * n, c.sy + c.h * n);
  if (kind == kDouble)
    area = KXRect(c.sx, c.sy, c.sx + c.w / 2 + c.w % 2, c.sy + c.h / 2 + c.h % 2);
  KXVOffscreenAutoLock dstLock(&dst, 1), srcLock(&src, 0);
  KXBlockGetter blocks(&src, area, 1);
  const auto put = [&](int x, int y, u64 v) {
    if (x < 0 || y < 0 || x >= dst.GetWidth() || y >= dst.GetHeight()) return;
    dst.MoveCursor(x, y);
    terms.Store(dst, v, c.behind);
  };
  for (KXRect part; blocks.GetNextBlock(part);) {
    if (!src.GetBlockExist(part.left, part.top)) continue;
    const int scale = kind <= kQuarter ? n : 1;
    for (int dy = (part.top - c.sy) / scale; dy < (part.bottom - c.sy) / scale; ++dy) {
      for (int dx = (part.left - c.sx) / scale; dx < (part.right - c.sx) / scale; ++dx) {
        if (kind > kQuarter) {
          src.MoveCursor(c.sx + dx, c.sy + dy);
          const u64 v = terms.Read(src);
          for (int i = 0; i < n * n; ++i) put(c.x + dx * n + i % n, c.y + dy * n + i / n, v);
          continue;
        }
        u64 sums[4] = {}, average = 0;
        const int channel = terms.bits == 8 ? 8 : terms.bits / 4;
        for (int i = 0; i < n * n; ++i) {
          src.MoveCursor(c.sx + dx * n + i % n, c.sy + dy * n + i / n);
          const u64 v = terms.Read(src);
          for (int k = 0; k < terms.bits / channel; ++k)
            sums[k] += v >> k * channel & ((1u << channel) - 1);
        }
        for (int k = 0; k < terms.bits / channel; ++k)
          average |= sums[k] / static_cast<unsigned>(n * n) << k * channel;
        put(c.x + dx, c.y + dy, average);
      }
    }
  }
}

void ChangeBy(KXVOffscreen& dst, KXVOffscreen* src, Kind kind, const Window& c) {
  if (kind == kHalf) return dst.ChangeResolutionHalf(c.x, c.y, c.w, c.h, src, c.sx, c.sy, c.behind);
  if (kind == kQuarter)
    return dst.ChangeResolutionQuarter(c.x, c.y, c.w, c.h, src, c.sx, c.sy, c.behind);
  if (kind == kDouble)
    return dst.ChangeResolutionDouble(c.x, c.y, c.w, c.h, src, c.sx, c.sy, c.behind);
  if (kind == kFourfold)
    return dst.ChangeResolutionFourfold(c.x, c.y, c.w, c.h, src, c.sx, c.sy, c.behind);
}

void ChangeAllBy(KXVOffscreen& dst, KXVOffscreen* src, Kind kind) {
  if (kind == kHalf) return dst.ChangeResolutionHalfAll(src);
  if (kind == kQuarter) return dst.ChangeResolutionQuarterAll(src);
  if (kind == kDouble) return dst.ChangeResolutionDoubleAll(src);
  if (kind == kFourfold) return dst.ChangeResolutionFourfoldAll(src);
}

TEST(IntegerRatios, EqualTheirRulesAtEveryPairOfDepths) {
  Random random(3);
  for (const int to : kAllDepths) {
    for (const int from : kAllDepths) {
      for (int kind = kHalf; kind <= kFourfold; ++kind) {
        ImagePtr dst = RandomImage(to, 300, 270, random), src = RandomImage(from, 530, 300, random);
        Window c{random.Int(-9, 200),
                 random.Int(-9, 200),
                 random.Edge(-1, 280),
                 random.Edge(-1, 130),
                 random.Edge(-9, 300),
                 random.Edge(-9, 280),
                 0,
                 0,
                 random.OneIn(2)};
        ImagePtr expected = Clone(*dst);
        const bool all = random.OneIn(4);
        if (all) c = Window{0, 0, 1000, 1000, 0, 0, 0, 0, false};
        SCOPED_TRACE(testing::Message() << to << " from " << from << " kind " << kind << ' ' << c);
        ModelRatio(*expected, *src, static_cast<Kind>(kind), c);
        all ? ChangeAllBy(*dst, src.get(), static_cast<Kind>(kind))
            : ChangeBy(*dst, src.get(), static_cast<Kind>(kind), c);
        ASSERT_NO_FATAL_FAILURE(ExpectSame(*dst, *expected));
      }
    }
  }
}

/// A grey of 200 in an image whose pixels are all that.
ImagePtr FlatImage(int bits, int width, int height) {
  ImagePtr image = MakeImage(bits, width, height);
  image->RectFill(image->GetRect(), 0, bits == 8 ? 0xC8000000 : 0xC8C8C8C8);
  return image;
}

DWORD At(KXVOffscreen& image, int x, int y) {
  KXVOffscreenAutoLock lock(&image, x, y, 0);
  return image.Get8BitColor();
}

TEST(IntegerRatios, FourfoldRunsToTheImagesEdge) {
  ImagePtr src = FlatImage(8, 400, 10), dst = MakeImage(8, 500, 20);
  dst->ChangeResolutionFourfold(0, 0, 100, 2, src.get(), 0, 0, 0);
  EXPECT_EQ(At(*dst, 499, 19), 200u);
}

// --- The choice among them
// ------------------------------------------------------------------------

TEST(ChangeResolution, ChoosesByTheCutSizes) {
  Random random(4);
  ImagePtr src = RandomImage(32, 300, 300, random, false);
  const auto with = [&](auto change) {
    ImagePtr dst = MakeImage(32, 450, 450);
    change(*dst);
    return Pixels(*dst);
  };
  using K = KXVOffscreen;
  const auto change = [&](int w, int sw, int mode) {
    return with([&](K& d) {
      d.ChangeResolution(0, 0, w, w, src.get(), 0, 0, sw, sw, K::CHANGE_RESOLUTION_MODE(mode), 0,
                         0);
    });
  };
  const auto change2 = [&](int w, int sw) {
    return with([&](K& d) { d.ChangeResolution2(0, 0, w, w, src.get(), 0, 0, sw, sw, kArea, 0); });
  };
  const auto doubled = [&](int w) {
    return with([&](K& d) { d.ChangeResolutionDouble(0, 0, w, w, src.get(), 0, 0, 0); });
  };
  EXPECT_EQ(change(100, 100, 7), with([&](K& d) { d.Copy(0, 0, 100, 100, src.get(), 0, 0, 1); }));
  EXPECT_EQ(change(100, 90, 2), with([](K&) {}));
  EXPECT_EQ(change(100, 200, 1),
            with([&](K& d) { d.ChangeResolutionHalf(0, 0, 100, 100, src.get(), 0, 0, 0); }));
  // Twice the size, which the area filter writes where the source has no memory, and double leaves.
  ImagePtr hole = MakeImage(32, 100, 100);
  const auto untouched = with([](K&) {});
  EXPECT_NE(with([&](K& d) {
              d.ChangeResolution(0, 0, 200, 200, hole.get(), 0, 0, 100, 100, kArea, 0, 0);
            }),
            untouched);
  EXPECT_EQ(with([&](K& d) {
              d.ChangeResolution2(0, 0, 200, 200, hole.get(), 0, 0, 100, 100, kArea, 0);
            }),
            untouched);
  EXPECT_EQ(change2(202, 100), doubled(202));
  EXPECT_EQ(change2(203, 100), change(203, 100, 1));
  EXPECT_EQ(change2(404, 100),
            with([&](K& d) { d.ChangeResolutionFourfold(0, 0, 404, 404, src.get(), 0, 0, 0); }));
  EXPECT_EQ(change2(71, 280),
            with([&](K& d) { d.ChangeResolutionQuarter(0, 0, 71, 71, src.get(), 0, 0, 0); }));
  // The source's cut to 300 makes the half a copy.
  EXPECT_EQ(change(300, 600, 1), with([&](K& d) { d.Copy(0, 0, 300, 300, src.get(), 0, 0, 1); }));
}

TEST(ChangeResolution, TakesAnyArguments) {
  constexpr int kMax = 0x7FFFFFFF, kMin = -kMax - 1;
  ImagePtr src = FlatImage(32, 300, 300), dst = MakeImage(32, 300, 300),
           none(KXVOffscreen::CreateOffscreen(32));
  for (int kind = kHalf; kind <= kFourfold; ++kind) {
    EXPECT_EQ(CodeOf([&] { ChangeBy(*dst, dst.get(), Kind(kind), {}); }), 0x20010008);
    ChangeBy(*dst, nullptr, Kind(kind), {});
    ChangeAllBy(*dst, nullptr, Kind(kind));
    ChangeAllBy(*dst, none.get(), Kind(kind));
    ChangeBy(*none, src.get(), Kind(kind), {0, 0, 9, 9, 0, 0, 0, 0, false});
    for (const int at : {kMin, kMax, 0}) {
      for (const int size : {kMin, -1, 0, kMax}) {
        ChangeBy(*dst, src.get(), Kind(kind), {at, at, size, size, 1, 0, 0, 0, true});
        ChangeBy(*dst, src.get(), Kind(kind), {1, 0, size, size, at, at, 0, 0, true});
        dst->ChangeResolution(at, 0, size, size, src.get(), 0, at, 77, size, kArea, 0, 0);
        dst->ChangeResolution2(0, at, 7, size, src.get(), at, 0, size, 3, kArea, 1);
      }
    }
  }
  // A ratio of 2^31, and values that mean nothing in a table.
  ImagePtr widest = MakeImage(8, KXVOffscreen::kMaxSize, 1), one = MakeImage(24, 1, 1);
  one->ChangeResolution(0, 0, 1, 1, widest.get(), 0, 0, kMax, 1, kArea, 0, 0);
  ImagePtr wide = MakeImage(24, 1 << 24, 1);
  one->ChangeResolution(0, 0, 1, 1, wide.get(), 0, 0, kMax, 1, kArea, 0, 0);
  {
    KXVOffscreenAutoLock lock(one.get(), 0, 0, 0);
    EXPECT_EQ(one->Get24BitColor(), 0xFFFFFFu);
  }
  KXVOffscreenAutoLock lock(src.get(), 0);
  DWORD value = 5;
  KXVOffscreen::_KXRESOLUTIONTABLE odd{kMin, 0, kMax, 1e300, -1e300};
  src->CalcPixelValue(&odd, &odd, kMin, kMax, -1e300, value);
  EXPECT_EQ(CodeOf([&] { src->CalcPixelValue(nullptr, &odd, 0, 0, 1, value); }), 0x20010008);
}

// --- Plain arrays
// ---------------------------------------------------------------------------------

TEST(CopyBitmap, LandsItsRowsOneLineUp) {
  Random random(5);
  std::vector<BYTE> bits(400 * 1200);
  for (BYTE& byte : bits) byte = static_cast<BYTE>(random.Bits());
  for (const int to : kAllDepths) {
    for (const int bitCount : {1, 8, 24, 32}) {
      for (const bool bottomUp : {false, true}) {
        ImagePtr dst = RandomImage(to, 290, 300, random), expected = Clone(*dst);
        const int order[4] = {random.Int(0, 2), 1, random.Int(0, 2),
                              random.Int(0, bitCount / 8 - (bitCount > 1))};
        const int x = random.Int(0, 9), height = 263, width = 285,
                  bytes = std::max(bitCount / 8, 1);
        {
          KXVOffscreenAutoLock lock(expected.get(), 1);
          for (int row = 0; row < height; ++row) {
            const BYTE* line =
                &bits[static_cast<std::size_t>(1200 * (2 + (bottomUp ? height - 1 - row : row)))];
            for (int i = 0; i < width; ++i) {
              expected->MoveCursor(i, std::max(row - 1, 0));
              const BYTE* p = line + (x + i) * bytes;
              const auto color = [&] { return p[order[2]] << 16 | p[order[1]] << 8 | p[order[0]]; };
              if (bitCount == 1) expected->Set1BitColor(line[(x + i) / 8] >> (7 - (x + i) % 8) & 1);
              if (bitCount == 8) expected->Set8BitColor(*p);
              if (bitCount == 24) expected->Set24BitColor(static_cast<DWORD>(color()));
              if (bitCount == 32)
                expected->Set32BitColor(static_cast<DWORD>(color()) |
                                        static_cast<DWORD>(p[order[3]]) << 24);
            }
          }
        }
        dst->CopyBitmap(99, 99, width, height, bits.data(), bitCount, 1200, order[0], order[1],
                        order[2], order[3], x, 2, width, bottomUp ? -height : height, kArea);
        SCOPED_TRACE(testing::Message()
                     << to << " from " << bitCount << (bottomUp ? " bottom up" : ""));
        ASSERT_NO_FATAL_FAILURE(ExpectSame(*dst, *expected));
      }
    }
  }
}

TEST(CopyBitmap, ScalesByAnImageOfItsOwn) {
  ProcessManager();
  BYTE bits[4 * 5];
  for (int i = 0; i < 20; ++i) bits[i] = static_cast<BYTE>(10 * i);
  ImagePtr dst = MakeImage(8, 20, 20), rows = MakeImage(8, 9, 7), expected = Clone(*dst);
  {
    KXVOffscreenAutoLock lock(rows.get(), 1);
    for (int i = 0; i < 16; ++i) {
      rows->MoveCursor(i % 4, i / 4);
      rows->Set8BitColor(bits[i + 4]);
    }
  }
  expected->ChangeResolution(3, 2, 9, 7, rows.get(), 0, 0, 4, 4, kArea, 0, 0);
  dst->CopyBitmap(3, 2, 9, 7, bits, 8, 4, 0, 0, 0, 0, 0, 0, 4, 4, kArea);
  ExpectSame(*dst, *expected);
  // Larger, bottom-up from row 0: the row in front of the array is not looked at.
  std::fill_n(bits, 4, BYTE{0});
  dst->CopyBitmap(3, 2, 9, 7, bits + 4, 8, 4, 0, 0, 0, 0, 0, 0, 4, -4, kArea);
  expected = Clone(*dst);
  std::fill_n(bits, 4, BYTE{255});
  dst->CopyBitmap(3, 2, 9, 7, bits + 4, 8, 4, 0, 0, 0, 0, 0, 0, 4, -4, kArea);
  ExpectSame(*dst, *expected);
  const auto copy = [&](int bitCount, int x, int blue, int size) {
    return CodeOf([&] {
      dst->CopyBitmap(0, 0, 9, 9, bits, bitCount, 4, 2, 1, blue, 3, x, 0, size, size, kArea);
    });
  };
  EXPECT_EQ(copy(7, 0, 0, 2), 0x20010008);
  EXPECT_EQ(copy(8, -1, 0, 2), 0x20010008);
  EXPECT_EQ(copy(24, 0, 3, 9), 0x20010008);
  EXPECT_EQ(copy(8, 0, 0, 0), 0);
  dst->CopyBitmap(0, 0, 9, 9, nullptr, 8, 4, 2, 1, 0, 3, 0, 0, 9, 9, kArea);
}

int Stop() { return 1; }

TEST(ChangeResolution, HearsTheWishToStop) {
  const ImagePtr src = FlatImage(32, 600, 600), dst = MakeImage(32, 600, 600);
  KXAbort::SetCallback(Stop);
  for (int size : {100, 150, 300}) {  // the filter, a quarter and a half
    EXPECT_EQ(CodeOf([&] {
                dst->ChangeResolution(0, 0, size, size, src.get(), 0, 0, 600, 600, kArea, 0, 0);
              }),
              0x20010004);
  }
  KXAbort::SetCallback(nullptr);
  EXPECT_EQ(dst->GetLockCount() + src->GetLockCount(), 0u);
}

}  // namespace
