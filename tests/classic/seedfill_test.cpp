#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <set>

#include "kxwcmn/platform/detail/faults.h"
#include "kxwcmn/platform/error.h"
#include "kxwcmn/platform/host.h"
#include "tests/classic/support.h"
#include "tests/support/failure.h"

namespace {

using namespace classic_test;
using kxw::detail::FaultPoint;
using kxw::detail::ScopedFaults;

/// Says stop at poll number `last`, and counts.
class Polls {
 public:
  explicit Polls(int last = std::numeric_limits<int>::max()) {
    kxw::HostProcedures host;
    host.abort = [this, last] { return ++count_ >= last; };
    kxw::SetHostProcedures(host);
  }
  ~Polls() { kxw::SetHostProcedures({}); }
  int Count() const { return count_; }

 private:
  int count_ = 0;
};

/// The fill by its definition, a pixel at a time. A pixel that was painted is done, whatever it
/// reads as. Returns how often the user is asked; `bounds` is left if there is nothing to do.
int ModelFill(KXOffscreen& image, KXOffscreen* mask, int seedX, int seedY, int polls,
              tagRECT& bounds) {
  const int bits = image.GetBitCount(), terms = std::min(bits, 24);
  const DWORD fore[] = {image.Get1BitForeColor(), image.Get8BitForeColor(), image.GetForeColor()};
  const DWORD paint = fore[terms == 1 ? 0 : terms == 8 ? 1 : 2];
  const DWORD seed = Model::Get(image, terms, seedX, seedY);
  if (!mask && seed == paint) return 0;
  std::set<std::pair<int, int>> painted;
  const auto fillable = [&](int x, int y) {
    if (painted.contains({x, y}) || Model::Get(image, terms, x, y) != seed) return false;
    return !mask || Model::Get(*mask, 1, x, y) != mask->Get1BitForeColor();
  };
  const auto set = [&](int x, int y) {
    painted.insert({x, y});
    if (mask) {
      Model::Set(*mask, 1, mask->Get1BitForeColor(), x, y);
    } else {
      Model::Set(image, terms, paint, x, y);
    }
  };
  std::vector<std::pair<int, int>> stack = {{seedX, seedY}};
  int asked = 0;
  bounds = {seedX, seedY, seedX, seedY};
  while (!stack.empty()) {
    const auto [x, y] = stack.back();
    stack.pop_back();
    int left = x, right = x;
    set(x, y);
    for (; right + 1 < image.GetWidth() && fillable(right + 1, y); ++right) set(right + 1, y);
    for (; left > 0 && fillable(left - 1, y); --left) set(left - 1, y);
    bounds = {std::min<LONG>(bounds.left, left), std::min<LONG>(bounds.top, y),
              std::max<LONG>(bounds.right, right), std::max<LONG>(bounds.bottom, y)};
    for (int row : {y + 1, y - 1}) {
      if (row < 0 || row >= image.GetHeight()) continue;
      for (int i = left; i <= right; ++i) {
        if (fillable(i, row) && (i == right || !fillable(i + 1, row))) stack.emplace_back(i, row);
      }
    }
    if (++asked == polls) break;
  }
  ++bounds.right, ++bounds.bottom;
  return asked;
}

bool operator==(const tagRECT& a, const tagRECT& b) {
  return a.left == b.left && a.top == b.top && a.right == b.right && a.bottom == b.bottom;
}

/// Makes most pixels of an image alike, so that regions are large, and some of them in runs.
void Clot(KXOffscreen& image, Random& random) {
  const int share = random.Int(3, 9);
  for (int y = 0; y < image.GetHeight(); ++y) {
    for (int x = 0; x < image.GetWidth(); ++x) {
      if (random.Int(0, 9) > share) continue;
      Model::Set(image, 32, image.GetBitCount() == 1 ? 0xFFFFFF : 0x40302010, x, y);
    }
  }
}

TEST(SeedFill, EqualsTheFillByPixelsToTheLastPoll) {
  Random random(21);
  for (int i = 0; i < 700; ++i) {
    const int bits = kDepths[i % 4];
    const int width = random.OneIn(2) ? random.Int(1, 70) : random.Int(100, 300);
    const int height = random.Int(1, 40);
    const auto image = MakeNoise(bits, width, height, random);
    Clot(*image, random);
    const DWORD colors[] = {0, 0xFFFFFF, 0x302010, 0xFF302010, random.Bits()};
    image->SetForeColor(colors[random.Int(0, 4)]);
    image->SetClipRect({1, 1, 2, 2});  // neither counts here
    image->SetTransparency(0);
    auto mask = random.OneIn(2) ? MakeNoise(1, width, height, random) : nullptr;
    if (mask) {
      Clot(*mask, random);
      mask->SetForeColor(DWORD{random.OneIn(2) ? 0u : 0xFFFFFF});
    }
    // The image that is read may be the mask that is painted.
    const bool isOwnMask = bits == 1 && random.OneIn(4);
    KXOffscreen* const gate = isOwnMask ? image.get() : mask.get();
    KXOffscreen* const painted = gate ? gate : image.get();
    KXOffscreen before(*image), expected(*painted);
    before.Lock();
    expected.SetForeColor(painted->GetForeColor());
    expected.Lock();
    const tagPOINT seed = {random.Int(0, width - 1), random.Int(0, height - 1)};
    const int last = random.OneIn(2) ? random.Int(1, 20) : 1 << 30;
    tagRECT bounds = {-7, -7, -7, -7}, expectedBounds = bounds;
    SCOPED_TRACE(testing::Message() << bits << " bits, case " << i);
    const int asked = ModelFill(gate && !isOwnMask ? before : expected, gate ? &expected : nullptr,
                                seed.x, seed.y, last, expectedBounds);
    const Polls polls(last);
    tagRECT* const box = random.OneIn(9) ? nullptr : &bounds;
    if (gate) {
      image->SeedScanFill1BitMask(*gate, seed, box);
      if (!isOwnMask) {
        ASSERT_EQ(BytesOf(*image), BytesOf(before));
      }
    } else {
      image->SeedScanFill(seed, box);
    }
    ASSERT_EQ(BytesOf(*painted), BytesOf(expected));
    ASSERT_EQ(polls.Count(), asked);
    if (box) {
      ASSERT_TRUE(bounds == expectedBounds);
    }
  }
}

/// A white row above one in which every second pixel is black: a seed for each white one.
void MakeComb(KXOffscreen& image, int teeth) {
  image.Create(2 * teeth, 3, 8, 0xFFFFFF, 1);
  image.Lock();
  for (int x = 1; x < 2 * teeth; x += 2) Model::Set(image, 8, 255, x, 1);
}

TEST(SeedFill, KeepsMoreSeedsThanTheFirst1024) {
  KXOffscreen image;
  MakeComb(image, 5000);
  tagRECT bounds;
  image.SeedScanFill({17, 0}, &bounds);
  const std::vector<BYTE> bytes = BytesOf(image);
  EXPECT_EQ(std::count(bytes.begin(), bytes.end(), 255), 30000);
  EXPECT_TRUE((bounds == tagRECT{0, 0, 10000, 3}));
}

TEST(SeedFill, OutOfMemoryKeepsWhatIsPainted) {
  // Each tooth is pushed from above, and all but the first one taken from below again. The first
  // 1024 seeds need no memory.
  for (int teeth : {512, 5000}) {
    KXOffscreen image;
    MakeComb(image, teeth);
    image.Unlock();
    ScopedFaults faults;
    faults.Fail(FaultPoint::kAlloc, 1, kxw::kErrorNotEnoughMemory);
    tagRECT bounds = {1, 2, 3, 4};
    EXPECT_EQ(CodeOf([&] { image.SeedScanFill({0, 0}, &bounds); }), teeth == 512 ? 0 : 8);
    EXPECT_EQ(image.GetBaseAddress(), nullptr);
    EXPECT_TRUE((bounds == tagRECT{1, 2, 3, 4}) == (teeth != 512));
    image.Lock();
    for (int x : {0, 1, 999, 2 * teeth - 1}) EXPECT_EQ(Model::Get(image, 8, x, 0), 255u);
    EXPECT_EQ(Model::Get(image, 8, 0, 2), teeth == 512 ? 255u : 0u);
  }
}

int LocksOf(KXOffscreen& image) {
  int count = 0;
  for (; image.GetBaseAddress(); ++count) image.Unlock();
  return count;
}

TEST(SeedFill, ArgumentsOutsideTheImage) {
  constexpr int kMin = std::numeric_limits<int>::min(), kMax = std::numeric_limits<int>::max();
  KXOffscreen image, mask, wide, grey, none;
  image.Create(10, 10, 8, 0xFFFFFF, 1);
  mask.Create(10, 10, 1, 0xFFFFFF, 1);
  wide.Create(11, 10, 1, 0xFFFFFF, 1);
  grey.Create(10, 10, 8, 0xFFFFFF, 1);
  tagRECT bounds = {1, 2, 3, 4};
  for (const tagPOINT& seed : {tagPOINT{-1, 5}, {5, -1}, {10, 5}, {5, 10}, {kMin, kMax}}) {
    image.SeedScanFill(seed, &bounds);
    EXPECT_EQ(LocksOf(image), 0);
    // Meant: the caller is left with a lock on both.
    image.Lock();
    image.SeedScanFill1BitMask(mask, seed, &bounds);
    EXPECT_EQ(LocksOf(image), 2);
    EXPECT_EQ(LocksOf(mask), 1);
    none.SeedScanFill1BitMask(mask, seed, &bounds);
    EXPECT_EQ(LocksOf(mask), 1);
  }
  const tagPOINT seed = {5, 5};
  image.SeedScanFill1BitMask(grey, seed, &bounds);
  image.SeedScanFill1BitMask(none, seed, &bounds);
  none.SeedScanFill(seed, &bounds);
  EXPECT_EQ(CodeOf([&] { image.SeedScanFill1BitMask(wide, seed, &bounds); }), 0x20010008);
  EXPECT_TRUE((bounds == tagRECT{1, 2, 3, 4}));
  for (KXOffscreen* each : {&image, &mask, &wide, &grey}) {
    EXPECT_EQ(LocksOf(*each), 0);
    each->Lock();
    EXPECT_EQ(Model::Get(*each, 8, 5, 5), 0u);
  }
}

}  // namespace
