#include <gtest/gtest.h>

#include <algorithm>
#include <limits>

#include "tests/classic/support.h"

namespace {

using namespace classic_test;

bool IsIn(const KXOffscreen& image, int x, int y) {
  return x >= 0 && y >= 0 && x < image.GetWidth() && y < image.GetHeight();
}

DWORD MinimumOfBytes(DWORD a, DWORD b) {
  DWORD result = 0;
  for (int shift = 0; shift < 32; shift += 8) {
    result |= std::min(a >> shift & 255, b >> shift & 255) << shift;
  }
  return result;
}

struct Place {
  int x, y;
};

/// A copy of random size and places, half of which leave the images.
struct Case {
  Case(Random& random, int width, int height) {
    const bool leaves = random.OneIn(2);
    const int low = leaves ? -20 : 0;
    size = {random.Int(0, width + 10), random.Int(0, height + 5)};
    for (Place* place : {&to, &from, &mask}) {
      *place = {random.Int(low, width), random.Int(low, height)};
    }
  }
  Place to, from, mask, size;
};

enum class Kind { kCopy, kMinimum, kMask, kKey, kOthers };

/// What a copy is by its definition, a pixel at a time; `source` and `mask` as they were before.
void ModelCopy(Kind kind, const Case& c, KXOffscreen& image, const KXOffscreen& source,
               const KXOffscreen& mask, DWORD key) {
  for (int y = 0; y < c.size.y; ++y) {
    for (int x = 0; x < c.size.x; ++x) {
      const Place to = {c.to.x + x, c.to.y + y}, from = {c.from.x + x, c.from.y + y};
      const Place gate = {c.mask.x + x, c.mask.y + y};
      if (!IsIn(image, to.x, to.y) || !IsIn(source, from.x, from.y)) continue;
      if (kind == Kind::kMask && !IsIn(mask, gate.x, gate.y)) continue;
      int terms = image.GetBitCount();
      if (kind == Kind::kMask) {
        if (!Model::Get(mask, 1, gate.x, gate.y)) continue;
        if (terms == 32) terms = 24;
      } else if (kind == Kind::kKey || kind == Kind::kOthers) {
        terms = source.GetBitCount();
      }
      DWORD value = Model::Get(source, terms, from.x, from.y);
      if (kind == Kind::kKey || kind == Kind::kOthers) {
        const DWORD wanted = terms <= 8 ? key & 255 : key;
        if ((value == wanted) != (kind == Kind::kKey)) continue;
      }
      if (kind == Kind::kMinimum) {
        value = MinimumOfBytes(value, Model::Get(image, terms, to.x, to.y));
      }
      Model::Set(image, terms, value, to.x, to.y);
    }
  }
}

void RunCopy(Kind kind, const Case& c, KXOffscreen& image, KXOffscreen& source, KXOffscreen& mask,
             DWORD key) {
  switch (kind) {
    case Kind::kCopy:
    case Kind::kMinimum:
      return image.Copy(c.to.x, c.to.y, c.size.x, c.size.y, &source, c.from.x, c.from.y,
                        kind == Kind::kMinimum ? 1 : 0);
    case Kind::kMask:
      return image.CopyMask(c.to.x, c.to.y, c.size.x, c.size.y, &source, c.from.x, c.from.y, &mask,
                            c.mask.x, c.mask.y);
    case Kind::kKey:
      return image.CopyMaskColor(c.to.x, c.to.y, c.size.x, c.size.y, &source, c.from.x, c.from.y,
                                 key);
    case Kind::kOthers:
      return image.CopyMaskColorEx(c.to.x, c.to.y, c.size.x, c.size.y, &source, c.from.x, c.from.y,
                                   key);
  }
}

TEST(ClassicCopy, EveryPairOfDepthsEqualsThePixelByPixelCopy) {
  Random random(11);
  for (Kind kind : {Kind::kCopy, Kind::kMinimum, Kind::kMask, Kind::kKey, Kind::kOthers}) {
    for (int toBits : kDepths) {
      for (int fromBits : kDepths) {
        for (int i = 0; i < 30; ++i) {
          const int width = random.OneIn(4) ? 600 : 61;  // longer than what loops do at a time
          const auto image = MakeNoise(toBits, width - random.Int(0, 40), 9, random);
          const int wider = i == 0 ? image->GetWidth() - width : random.Int(0, 40);
          const auto source = MakeNoise(fromBits, width + wider, 8, random);
          const auto mask = MakeNoise(random.OneIn(3) ? 8 : 1, width, 10, random);
          Case c(random, width, 9);
          if (i == 0) {  // rows without a gap between them may be moved at once
            c.to = {0, 3}, c.from = {0, 1}, c.size = {image->GetWidth(), 4};
          }
          const int x = random.Int(0, 20), y = random.Int(0, 7);
          const DWORD key = Model::Get(*source, fromBits, x, y) | (fromBits <= 8 ? 0xABCD00u : 0u);
          SCOPED_TRACE(testing::Message() << fromBits << " to " << toBits << " bits, kind "
                                          << static_cast<int>(kind) << ", case " << i);
          KXOffscreen expected(*image);
          expected.Lock();
          ModelCopy(kind, c, expected, *source, *mask, key);
          RunCopy(kind, c, *image, *source, *mask, key);
          ASSERT_EQ(BytesOf(*image), BytesOf(expected));
        }
      }
    }
  }
}

TEST(ClassicCopy, OfAnImageToItselfReadsWhatWasThere) {
  Random random(12);
  for (int bits : kDepths) {
    for (int i = 0; i < 60; ++i) {
      const auto image = MakeNoise(bits, 70, 40, random);
      KXOffscreen before(*image), expected(*image);
      before.Lock();
      expected.Lock();
      const Case c(random, 70, 40);
      // The mask is this very image too.
      const Kind kind = random.OneIn(2) ? Kind::kMask : Kind::kCopy;
      ModelCopy(kind, c, expected, before, before, 0);
      RunCopy(kind, c, *image, *image, *image, 0);
      ASSERT_EQ(BytesOf(*image), BytesOf(expected)) << bits << " bits, case " << i;
    }
  }
}

TEST(ClassicCopy, NeedsLocksAndImages) {
  Random random(13);
  const auto image = MakeNoise(8, 20, 20, random), other = MakeNoise(8, 20, 20, random);
  KXOffscreen empty;
  const auto before = BytesOf(*image);
  other->Unlock();
  for (KXOffscreen* source : {static_cast<KXOffscreen*>(nullptr), &empty, other.get()}) {
    image->Copy(0, 0, 20, 20, source, 0, 0, 0);
    image->CopyEx(0, 0, 20, 20, source, 0, 0, 1, 1);
    image->CopyMask(0, 0, 20, 20, source, 0, 0, image.get(), 0, 0);
    image->CopyMask(0, 0, 20, 20, image.get(), 3, 3, source, 0, 0);
    image->CopyMaskColorEx(0, 0, 20, 20, source, 0, 0, 999);
    image->CopyScamp(0, 0, 20, 20, source);
    image->CopyAlign8Bit(0, 0, 20, 20, source, 0, 0);
    empty.Copy(0, 0, 20, 20, source, 0, 0, 0);
  }
  constexpr int kMin = std::numeric_limits<int>::min(), kMax = std::numeric_limits<int>::max();
  other->Lock();
  for (int at : {kMin, kMin + 1, -20, 20, kMax - 1, kMax}) {
    for (int size : {kMin, -1, 0, 20, kMax}) {
      if (i64{at} + size > 0 && at < 20) continue;
      image->Copy(at, 0, size, 20, other.get(), 0, 0, 0);
      image->Copy(0, 0, 20, size, other.get(), 0, at, 1);
      image->CopyScamp(at, 0, size, 1, other.get());
    }
  }
  EXPECT_EQ(BytesOf(*image), before);
}

}  // namespace
