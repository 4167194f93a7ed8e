#include "kxwcmn/classic/bitkernels.h"

#include <gtest/gtest.h>

#include "tests/classic/bitsupport.h"

namespace {

using namespace classic_test;

template <class Function>
struct Kernel {
  int from, to;
  Function* run;
};

const Kernel<KXBitCopy> kCopies[] = {{1, 1, Copy1x1},     {1, 8, Copy1x8},     {1, 16, Copy1x16},
                                     {1, 24, Copy1x24},   {1, 32, Copy1x32},   {8, 8, Copy8x8},
                                     {8, 16, Copy8x16},   {8, 24, Copy8x24},   {8, 32, Copy8x32},
                                     {16, 16, Copy16x16}, {16, 24, Copy16x24}, {16, 32, Copy16x32},
                                     {24, 24, Copy24x24}, {24, 32, Copy24x32}, {32, 24, Copy32x24},
                                     {32, 32, Copy32x32}, {64, 24, Copy64x24}, {64, 32, Copy64x32}};
const Kernel<KXBitStretch> kReductions[] = {
    {1, 1, MinimizeCopy1x1},     {1, 8, MinimizeCopy1x8},     {1, 16, MinimizeCopy1x16},
    {1, 24, MinimizeCopy1x24},   {1, 32, MinimizeCopy1x32},   {8, 8, MinimizeCopy8x8},
    {8, 16, MinimizeCopy8x16},   {8, 24, MinimizeCopy8x24},   {8, 32, MinimizeCopy8x32},
    {16, 16, MinimizeCopy16x16}, {16, 24, MinimizeCopy16x24}, {16, 32, MinimizeCopy16x32},
    {24, 24, MinimizeCopy24x24}, {24, 32, MinimizeCopy24x32}, {32, 24, MinimizeCopy32x24},
    {32, 32, MinimizeCopy32x32}};
const Kernel<KXBitMinimizeDDA> kPartReductions[] = {
    {1, 32, MinimizeCopyDDA1x32}, {16, 24, MinimizeCopyDDA16x24}, {32, 24, MinimizeCopyDDA32x24}};
const Kernel<KXBitStretch> kEnlargements[] = {
    {1, 1, MaximizeCopy1x1},     {1, 8, MaximizeCopy1x8},     {1, 24, MaximizeCopy1x24},
    {1, 32, MaximizeCopy1x32},   {8, 8, MaximizeCopy8x8},     {8, 24, MaximizeCopy8x24},
    {8, 32, MaximizeCopy8x32},   {16, 16, MaximizeCopy16x16}, {16, 24, MaximizeCopy16x24},
    {16, 32, MaximizeCopy16x32}, {24, 24, MaximizeCopy24x24}, {24, 32, MaximizeCopy24x32},
    {32, 24, MaximizeCopy32x24}, {32, 32, MaximizeCopy32x32}};
const Kernel<KXBitMaximizeDDA> kPartEnlargements[] = {
    {1, 1, MaximizeCopyDDA1x1},     {1, 8, MaximizeCopyDDA1x8},     {1, 16, MaximizeCopyDDA1x16},
    {1, 24, MaximizeCopyDDA1x24},   {1, 32, MaximizeCopyDDA1x32},   {8, 8, MaximizeCopyDDA8x8},
    {8, 16, MaximizeCopyDDA8x16},   {8, 24, MaximizeCopyDDA8x24},   {8, 32, MaximizeCopyDDA8x32},
    {16, 16, MaximizeCopyDDA16x16}, {16, 24, MaximizeCopyDDA16x24}, {16, 32, MaximizeCopyDDA16x32},
    {24, 24, MaximizeCopyDDA24x24}, {24, 32, MaximizeCopyDDA24x32}, {32, 24, MaximizeCopyDDA32x24},
    {32, 32, MaximizeCopyDDA32x32}};

/// Pictures and positions of a random case. Rectangles reach the ends of both pictures in half of
/// the cases, behind which nothing may be touched.
struct Case {
  Case(int fromBits, int toBits, int width, int height, int fromWidth, int fromHeight,
       Random& random)
      : x(random.Int(0, 20)),
        y(random.Int(0, 3)),
        fromX(random.Int(0, 20)),
        fromY(random.Int(0, 3)),
        to(toBits, x + width + random.Int(0, 1) * 9, y + height, random),
        expected(to),
        from(fromBits, fromX + fromWidth + random.Int(0, 1) * 9, fromY + fromHeight, random) {}

  BYTE* Dest() { return to.bytes.data(); }
  int RowBytes() const { return to.image.GetRowBytes(); }
  const BYTE* Source() const { return from.bytes.data(); }
  int SourceRowBytes() const { return from.image.GetRowBytes(); }

  int x, y, fromX, fromY;
  BitPicture to, expected, from;
};

template <class Function>
void ExpectCopies(const Kernel<Function>& kernel, int width, int height, int fromWidth,
                  int fromHeight, std::vector<int> (*steps)(int start, int from, int to),
                  Random& random) {
  Case c(kernel.from, kernel.to, width, height, fromWidth, fromHeight, random);
  ModelPick(c.expected, c.x, c.y, c.from, steps(c.fromX, fromWidth, width),
            steps(c.fromY, fromHeight, height));
  if constexpr (std::is_same_v<Function, KXBitCopy>) {
    kernel.run(c.Dest(), c.x, c.y, width, height, c.RowBytes(), c.Source(), c.fromX, c.fromY,
               c.SourceRowBytes());
  } else {
    kernel.run(c.Dest(), c.x, c.y, width, height, c.RowBytes(), c.Source(), c.fromX, c.fromY,
               fromWidth, fromHeight, c.SourceRowBytes());
  }
  ASSERT_EQ(c.to.bytes, c.expected.bytes) << kernel.from << " to " << kernel.to;
}

// A few are longer than the pieces that loops do at a time, and than what bits of these lie in.
TEST(BitKernels, CopyReduceAndEnlargeEachPairOfDepths) {
  Random random(51);
  const auto enlarged = [](int start, int from, int to) {
    return EnlargedSteps(start, from, to, to, to);
  };
  for (int i = 0; i < 60; ++i) {
    for (const auto& kernel : kCopies) {
      const int width = random.OneIn(8) ? random.Int(500, 600) : random.Int(0, 70);
      const int height = random.Int(0, 3);
      ExpectCopies(kernel, width, height, width, height, ReducedSteps, random);
    }
    for (const auto& kernel : kReductions) {
      const int width = random.OneIn(6) ? random.Int(250, 600) : random.Int(1, 70);
      const int height = random.Int(1, 9);
      const int more = random.OneIn(4) ? 0 : random.Int(0, random.OneIn(6) ? 3000 : 150);
      ExpectCopies(kernel, width, height, width + more,
                   height + (random.OneIn(4) ? 0 : random.Int(0, 20)), ReducedSteps, random);
    }
    for (const auto& kernel : kEnlargements) {
      const int fromWidth = random.OneIn(6) ? random.Int(150, 400) : random.Int(1, 40);
      const int fromHeight = random.Int(1, 9);
      const int width =
          random.OneIn(4) ? fromWidth * random.Int(1, 4) : fromWidth + random.Int(0, 90);
      const int height = random.OneIn(4) ? fromHeight * 2 : fromHeight + random.Int(0, 20);
      ExpectCopies(kernel, width, height, fromWidth, fromHeight, +enlarged, random);
    }
  }
}

// Only the copy of bits goes on to the next row one pixel earlier, and only from row to row.
TEST(BitKernels, EnlargeParts) {
  Random random(54);
  for (const auto& kernel : kPartEnlargements) {
    for (int i = 0; i < 60; ++i) {
      const int fromWidth = random.Int(1, 40), fromHeight = random.Int(1, 9);
      const int fullWidth = fromWidth * random.Int(1, 3) + random.Int(0, 1) * 7;
      const int fullHeight = fromHeight * random.Int(1, 3) + random.Int(0, 1) * 3;
      const int width = random.Int(1, fullWidth), height = random.Int(1, fullHeight);
      const int errorX = random.Int(1, fullWidth), errorY = random.Int(1, fullHeight);
      Case c(kernel.from, kernel.to, width, height, fromWidth + 1, fromHeight + 1, random);
      const int least = kernel.to == 1 ? 1 : 0;
      ModelPick(c.expected, c.x, c.y, c.from,
                EnlargedSteps(c.fromX, fromWidth, fullWidth, errorX, width),
                EnlargedSteps(c.fromY, fromHeight, fullHeight, errorY, height, least));
      kernel.run(c.Dest(), c.x, c.y, width, height, c.RowBytes(), c.Source(), c.fromX, c.fromY,
                 fromWidth, fromHeight, c.SourceRowBytes(), fullWidth, fullHeight, errorX, errorY);
      ASSERT_EQ(c.to.bytes, c.expected.bytes) << kernel.from << " to " << kernel.to;
    }
  }
}

// A reduction in two parts, the second with what the walk of the first leaves, is the whole one.
TEST(BitKernels, ReduceParts) {
  Random random(55);
  for (const auto& kernel : kPartReductions) {
    for (int i = 0; i < 60; ++i) {
      const int width = random.Int(2, 60), height = random.Int(1, 9);
      const int fromWidth = width + random.Int(0, 99), fromHeight = height + random.Int(0, 20);
      const int first = random.Int(1, width - 1);
      Case c(kernel.from, kernel.to, width, height, fromWidth, fromHeight, random);
      const std::vector<int> columns = ReducedSteps(c.fromX, fromWidth, width);
      ModelPick(c.expected, c.x, c.y, c.from, columns, ReducedSteps(c.fromY, fromHeight, height));
      const auto part = [&](int start, int count, int error) {
        kernel.run(c.Dest(), c.x + start, c.y, count, height, c.RowBytes(), c.Source(),
                   columns[static_cast<std::size_t>(start)], c.fromY, c.SourceRowBytes(), width,
                   height, error, height, fromWidth / width, fromWidth % width, fromHeight / height,
                   fromHeight % height);
      };
      int error = width;
      for (int k = 0; k < first; ++k) {
        error -= fromWidth % width;
        if (error < 0) error += width;
      }
      part(0, first, width);
      part(first, width - first, error);
      ASSERT_EQ(c.to.bytes, c.expected.bytes) << kernel.from << " to " << kernel.to;
    }
  }
}

TEST(BitKernels, OverlayWhereItIsOpaque) {
  Random random(56);
  for (int from : {16, 32}) {
    for (int i = 0; i < 60; ++i) {
      const int width = random.Int(0, 70), height = random.Int(0, 3);
      Case c(from, 24, width, height, width, height, random);
      BitPicture overlay(32, width + 2, height + 1, random);
      for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
          Channels over = overlay.Get(x + 2, y + 1);
          const bool isTaken = over[3] == 255;
          over.pop_back();
          c.expected.Set(
              c.x + x, c.y + y,
              isTaken ? over : Converted(c.from.Get(c.fromX + x, c.fromY + y), from, 24));
        }
      }
      (from == 16 ? Copy16x24_2 : Copy32x24_2)(
          c.Dest(), c.x, c.y, width, height, c.RowBytes(), c.Source(), c.fromX, c.fromY,
          c.SourceRowBytes(), overlay.bytes.data(), 2, 1, overlay.image.GetRowBytes());
      ASSERT_EQ(c.to.bytes, c.expected.bytes) << from;
    }
  }
}

}  // namespace
