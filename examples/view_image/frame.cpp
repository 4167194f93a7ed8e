#include "view_image/frame.h"

#include <algorithm>
#include <cstring>
#include <utility>
#include <vector>

namespace viewimage {
namespace {

constexpr int kBlock = KXVOffscreen::kBlockSize;
constexpr int kBlockRowBytes = 4 * kBlock;
/// Rows that are laid over the board while the processor still has them at hand.
constexpr int kStrip = 16;

DWORD* RowOf(KXBitImage& frame, int y) {
  return reinterpret_cast<DWORD*>(frame.GetBaseAddress() +
                                  static_cast<i64>(y) * frame.GetRowBytes());
}

/// Draws the blocks of one copy of a picture.
class BlockPainter {
 public:
  BlockPainter(KXVOffscreen& image, const View& view, const Ground& ground, KXBitImage& frame)
      : image_(image), view_(view), ground_(ground), frame_(frame), side_(view.Zoom().side) {}

  /// Draws a block in its square of the frame, of which `seen` is seen.
  void Paint(int column, int row, const KXRect& square, const KXRect& seen) {
    const bool exists = image_.IsCreatedBlockByIndex(column, row) != 0;
    if (!exists) {
      PaintNothing(seen);
      return;
    }
    // In its own memory, if that holds pixels as they are shown.
    KXVOffscreenAutoLock lock(&image_, column * kBlock, row * kBlock, 0);
    if (image_.GetBitCount() != 32) {
      const KXRect part =
          image_.GetBlockByIndex(image_.GetBlockIndex(column * kBlock, row * kBlock));
      converted_.assign(std::size_t{kBlock} * kBlock, 0);
      ReadAsShown(image_, part, converted_.data(), kBlock);
      Show(reinterpret_cast<BYTE*>(converted_.data()), square, seen);
    } else if (BYTE* const pixels = image_.GetCurrentAddress()) {
      Show(pixels, square, seen);
    } else {
      kxThrowError(kxw::kErrorNotEnoughMemory);
    }
  }

 private:
  /// Brings the block's pixels to the frame, and lays them over the board.
  void Show(BYTE* pixels, const KXRect& square, const KXRect& seen) {
    // Averages of a block are taken at once.
    const int strip = side_ < kBlock ? std::max(seen.Height(), 1) : kStrip;
    for (int top = seen.top; top < seen.bottom; top += strip) {
      const KXRect part(seen.left, top, seen.right, std::min<int>(top + strip, seen.bottom));
      Scale(pixels, square, part);
      ground_.board.LayOver(RowOf(frame_, part.top) + part.left, frame_.GetWidth(), part.Size(),
                            part.left - view_.Left(), part.top - view_.Top());
    }
  }

  void Scale(BYTE* pixels, const KXRect& square, const KXRect& seen) {
    const int x = seen.left - square.left, y = seen.top - square.top;
    BYTE* const to = frame_.GetBaseAddress();
    if (side_ == kBlock) {
      Copy32x32(to, seen.left, seen.top, seen.Width(), seen.Height(), frame_.GetRowBytes(), pixels,
                x, y, kBlockRowBytes);
    } else if (side_ > kBlock) {
      // The errors with which each pixel of the frame is the one of the block that it lies in.
      const int column = x * kBlock / side_, line = y * kBlock / side_;
      MaximizeCopyDDA32x32(to, seen.left, seen.top, seen.Width(), seen.Height(),
                           frame_.GetRowBytes(), pixels, column, line, kBlock, kBlock,
                           kBlockRowBytes, side_, side_, (column + 1) * side_ - 1 - x * kBlock,
                           (line + 1) * side_ - 1 - y * kBlock);
    } else {
      KXBitImage block;
      block.SetReference(pixels, kBlock, kBlock, 32);
      // Steps are cut to 1/4096 of a pixel, so that boxes of 256 pixels in all end in front of the
      // last one. Those of 257 end just behind it, for each of these sides.
      block.AntiAliasCopy32(&frame_, square.left, square.top, side_, side_, 0, 0, kBlock + 1,
                            kBlock + 1);
    }
  }

  void PaintNothing(const KXRect& seen) {
    if (image_.GetBitCount() == 24) {
      frame_.RectFill(seen, 0xFFFFFFFF, 0);
    } else {
      ground_.board.Fill(RowOf(frame_, seen.top) + seen.left, frame_.GetWidth(), seen.Size(),
                         seen.left - view_.Left(), seen.top - view_.Top());
    }
  }

  KXVOffscreen& image_;
  const View& view_;
  const Ground& ground_;
  KXBitImage& frame_;
  int side_;
  std::vector<DWORD> converted_;
};

/// Draws what stands for blocks of reduced copies until they are made: pixels of the finer parts
/// that are at hand, picked here and there. It brings no block into memory, for nobody may wait.
class RoughPainter {
 public:
  RoughPainter(Pyramid& pyramid, const View& view, const Ground& ground, KXBitImage& frame)
      : pyramid_(pyramid), view_(view), ground_(ground), frame_(frame) {}

  /// Draws what is known of a block that is not made, in its square of the frame.
  void Paint(int level, int column, int row, const KXRect& square, const KXRect& seen) {
    KXVOffscreen& finer = pyramid_.Level(level - 1);
    // One answer for all parts of a level, of which some are a pixel wider than others.
    const bool hasParts = view_.Zoom().side >> (view_.Zoom().level - (level - 1)) >= 2 * kLeast;
    int columns, rows;
    finer.GetBlockCount(&columns, &rows);
    for (int i = 0; i < 4; ++i) {
      const int x = 2 * column + i % 2, y = 2 * row + i / 2;
      const KXRect part = Quarter(square, i % 2, i / 2), visible = part & seen;
      if (x >= columns || y >= rows || visible.IsRectEmpty()) continue;
      if (!pyramid_.IsMade(level - 1, x, y)) {
        if (hasParts) Paint(level - 1, x, y, part, visible);
      } else if (finer.IsBlockOnMemory(x * kBlock, y * kBlock)) {
        Pick(finer, KXPoint(x * kBlock, y * kBlock), part, visible);
      }
    }
  }

 private:
  /// The least side of what is drawn, so that parts are not as many as pixels.
  static constexpr int kLeast = 8;

  static KXRect Quarter(const KXRect& square, int isRight, int isLower) {
    const int x = square.left + square.Width() / 2, y = square.top + square.Height() / 2;
    return KXRect(isRight ? x : square.left, isLower ? y : square.top, isRight ? square.right : x,
                  isLower ? square.bottom : y);
  }

  /// Each pixel of the frame becomes one of the block at `origin` that `part` stands for.
  void Pick(KXVOffscreen& image, KXPoint origin, const KXRect& part, const KXRect& visible) {
    const int width = std::min(kBlock, image.GetWidth() - origin.x);
    const int height = std::min(kBlock, image.GetHeight() - origin.y);
    const auto column = [&](int x) {
      return std::min((x - part.left) * kBlock / part.Width(), width - 1);
    };
    const int first = column(visible.left), count = column(visible.right - 1) + 1 - first;
    DWORD pixels[kBlock];
    for (int y = visible.top; y < visible.bottom; ++y) {
      const int line = origin.y + std::min((y - part.top) * kBlock / part.Height(), height - 1);
      const int left = origin.x + first;
      ReadAsShown(image, KXRect(left, line, left + count, line + 1), pixels, count);
      DWORD* const row = RowOf(frame_, y);
      for (int x = visible.left; x < visible.right; ++x) row[x] = pixels[column(x) - first];
    }
    ground_.board.LayOver(RowOf(frame_, visible.top) + visible.left, frame_.GetWidth(),
                          visible.Size(), visible.left - view_.Left(), visible.top - view_.Top());
  }

  Pyramid& pyramid_;
  const View& view_;
  const Ground& ground_;
  KXBitImage& frame_;
};

/// The part of the window that the picture covers, flips undone.
KXRect Covered(const View& view) {
  const auto cut = [](i64 at, int window) {
    return static_cast<int>(std::clamp<i64>(at, 0, window));
  };
  const KXSize window = view.Window(), picture = view.Picture();
  return KXRect(cut(view.Left(), window.cx), cut(view.Top(), window.cy),
                cut(view.Left() + view.Zoom().Shown(picture.cx), window.cx),
                cut(view.Top() + view.Zoom().Shown(picture.cy), window.cy));
}

void PaintBeside(const View& view, const KXRect& covered, DWORD color, KXBitImage& frame) {
  const int width = view.Window().cx, height = view.Window().cy;
  if (covered.IsRectEmpty()) {
    frame.RectFill(KXRect(0, 0, width, height), color, 0);
    return;
  }
  frame.RectFill(KXRect(0, 0, width, covered.top), color, 0);
  frame.RectFill(KXRect(0, covered.top, covered.left, covered.bottom), color, 0);
  frame.RectFill(KXRect(covered.right, covered.top, width, covered.bottom), color, 0);
  frame.RectFill(KXRect(0, covered.bottom, width, height), color, 0);
}

void Mirror(const View& view, KXBitImage& frame) {
  const int width = view.Window().cx, height = view.Window().cy;
  if (view.IsFlippedHorz()) {
    for (int y = 0; y < height; ++y) std::reverse(RowOf(frame, y), RowOf(frame, y) + width);
  }
  if (view.IsFlippedVert()) {
    for (int y = 0; y < height / 2; ++y) {
      std::swap_ranges(RowOf(frame, y), RowOf(frame, y) + width, RowOf(frame, height - 1 - y));
    }
  }
}

}  // namespace

KXRect VisibleBlocks(const View& view) {
  const KXRect covered = Covered(view);
  if (covered.IsRectEmpty()) return KXRect(0, 0, 0, 0);
  const int side = view.Zoom().side;
  const auto block = [&](i64 shown) { return static_cast<int>(shown / side); };
  return KXRect(block(covered.left - view.Left()), block(covered.top - view.Top()),
                block(covered.right - 1 - view.Left()) + 1,
                block(covered.bottom - 1 - view.Top()) + 1);
}

bool IsComplete(Pyramid& pyramid, const View& view) {
  const KXRect blocks = VisibleBlocks(view);
  for (int row = blocks.top; row < blocks.bottom; ++row) {
    for (int column = blocks.left; column < blocks.right; ++column) {
      if (!pyramid.IsMade(view.Zoom().level, column, row)) return false;
    }
  }
  return true;
}

void DrawFrame(Pyramid& pyramid, const View& view, const Ground& ground, KXBitImage& frame) {
  const int level = view.Zoom().level, side = view.Zoom().side;
  const KXRect covered = Covered(view), blocks = VisibleBlocks(view);
  BlockPainter painter(pyramid.Level(level), view, ground, frame);
  RoughPainter rough(pyramid, view, ground, frame);
  for (int row = blocks.top; row < blocks.bottom; ++row) {
    for (int column = blocks.left; column < blocks.right; ++column) {
      const int left = static_cast<int>(view.Left() + i64{column} * side);
      const int top = static_cast<int>(view.Top() + i64{row} * side);
      const KXRect square(left, top, left + side, top + side), seen = square & covered;
      if (seen.IsRectEmpty()) continue;
      if (pyramid.IsMade(level, column, row)) {
        painter.Paint(column, row, square, seen);
      } else {
        frame.RectFill(seen, ground.unmade, 0);
        rough.Paint(level, column, row, square, seen);
      }
    }
  }
  // Last, for averages pass the picture's edge.
  PaintBeside(view, covered, ground.beside, frame);
  Mirror(view, frame);
}

}  // namespace viewimage
